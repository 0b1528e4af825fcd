#include "words.h"

#include <gtest/gtest.h>

#include "mstp/management.h"

TEST(Words, ADurationHasItsTwoLargestUnits) {
    EXPECT_EQ(durationWord(0), "0s");
    EXPECT_EQ(durationWord(59), "59s");
    EXPECT_EQ(durationWord(60), "1m00s");
    EXPECT_EQ(durationWord(3599), "59m59s");
    EXPECT_EQ(durationWord(3600), "1h00m");
    EXPECT_EQ(durationWord(86399), "23h59m");
    EXPECT_EQ(durationWord(86400 * 3 + 3600 * 5), "3d05h");
}

TEST(Words, HoldsAreNamedInTheOrderOfTheirBits) {
    EXPECT_EQ(protectionWord(0), "-");
    EXPECT_EQ(protectionWord(MSTP_PROTECTION_BPDU_GUARD), "bpdu-guard");
    EXPECT_EQ(protectionWord(MSTP_PROTECTION_ROOT | MSTP_PROTECTION_TC), "root,topology-change");
}

TEST(Words, AnUnknownNumberIsShownAsOne) {
    EXPECT_EQ(roleWord(99), "99");
    EXPECT_EQ(stateWord(5), "5");
    EXPECT_EQ(rowStatusWord(7), "7");
}

TEST(Words, ABridgeIdIsPriorityAndAddress) {
    EXPECT_EQ(bridgeIdWord({0x80, 0x01, 0, 0x11, 0x22, 0x33, 0x44, 0x55}), "32769.0011-2233-4455");
}

TEST(Words, ABridgeIdOfAnotherLengthIsNone) {
    EXPECT_EQ(bridgeIdWord({}), "-");
    EXPECT_EQ(bridgeIdWord({1, 2, 3}), "-");
}

TEST(Words, APortIdIsPriorityAndNumber) {
    EXPECT_EQ(portIdWord({0x81, 0x02}), "128.258");
    EXPECT_EQ(portIdWord({0, 0}), "-");
}

TEST(Words, VlansAreRanges) {
    std::vector<uint8_t> list(512);
    list[0] = 0xE0;
    list[511] = 0x04;
    EXPECT_EQ(vlanWord(list), "1-3,4094");
    EXPECT_EQ(vlanWord({}), "none");
}
