// Times: five values, each in its own field.

#include "mstp_time.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(TimesRecord, EveryValueIsStoredInTheFieldOfItsName) {
    tMstpTime time = {};
    mstpTimeCreate(&time, 1, 20, 15, 2, 19);

    EXPECT_EQ(time.messageAge, 1);
    EXPECT_EQ(time.maxAge, 20);
    EXPECT_EQ(time.forwardDelay, 15);
    EXPECT_EQ(time.helloTime, 2);
    EXPECT_EQ(time.remainingHops, 19);
}

TEST(TimesRecord, LargestValuesAreKept) {
    tMstpTime time = {};
    mstpTimeCreate(&time, 251, 252, 253, 254, 255);

    const tMstpTime expected = {251, 252, 253, 254, 255, {0, 0, 0}};
    EXPECT_TRUE(mstpSameTimes(&time, &expected));
}

TEST(TimesRecord, ReservedBytesKeepWhatTheyHeld) {
    tMstpTime time = {};
    time.reserved[0] = 0xA1;
    time.reserved[1] = 0xB2;
    time.reserved[2] = 0xC3;
    mstpTimeCreate(&time, 1, 20, 15, 2, 19);

    EXPECT_EQ(time.reserved[0], 0xA1);
    EXPECT_EQ(time.reserved[1], 0xB2);
    EXPECT_EQ(time.reserved[2], 0xC3);
}

TEST(TimesRecord, EarlierValuesAreReplaced) {
    tMstpTime time;
    memset(&time, 0xFF, sizeof time);
    mstpTimeCreate(&time, 0, 0, 0, 0, 0);

    const tMstpTime expected = {0, 0, 0, 0, 0, {0xFF, 0xFF, 0xFF}};
    EXPECT_TRUE(mstpSameTimes(&time, &expected));
}

} // namespace
