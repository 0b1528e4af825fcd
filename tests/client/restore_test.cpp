// The daemon's record of requests: each with its length before it.

#include "restore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "mstp/management.h"
#include "settings.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

static std::string framed(uint32_t length, size_t bytes) {
    std::string text(sizeof length + bytes, 'x');
    memcpy(text.data(), &length, sizeof length);
    return text;
}

static void expectDamaged(const std::string& record, const std::string& where) {
    EXPECT_THAT([&] { splitRecord(record); }, ThrowsMessage<Refused>(HasSubstr(where)));
}

TEST(SplitRecord, AnEmptyRecordHasNoRequests) {
    EXPECT_THAT(splitRecord(""), IsEmpty());
}

TEST(SplitRecord, RequestsComeApartAtTheirLengths) {
    const auto requests = splitRecord(framed(26, 26) + framed(MSTP_CMD_SIZE, MSTP_CMD_SIZE));

    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].size(), 26U);
    EXPECT_EQ(requests[1].size(), MSTP_CMD_SIZE);
}

TEST(SplitRecord, ALengthThatNoRequestHasIsDamage) {
    for (const uint32_t length : {0U, 25U, MSTP_CMD_SIZE + 1, 0x80000000U, 0xFFFFFFFFU}) {
        expectDamaged(framed(26, 26) + framed(length, 30),
                      "offset 30: no request is " + std::to_string(length) + " bytes long");
    }
}

TEST(SplitRecord, ARequestThatIsCutShortIsDamage) {
    expectDamaged(framed(26, 26) + framed(40, 39), "offset 30: a request of 40 bytes is cut short");
}

TEST(SplitRecord, ALengthThatIsCutShortIsDamage) {
    expectDamaged(framed(26, 26) + "abc", "offset 30: a length is cut short");
}

TEST(SplitRecord, AnyBytesAreARecordOrDamage) {
    std::mt19937 random(3);
    size_t whole = 0;
    for (int i = 0; i < 5000; i++) {
        std::string bytes;
        for (size_t part = random() % 4; part > 0; part--) {
            const auto length = static_cast<uint32_t>(20 + random() % 40);
            bytes += framed(length, length);
        }
        bytes.resize(bytes.size() - std::min<size_t>(bytes.size(), random() % 3));
        size_t total = 0;
        try {
            for (const auto& request : splitRecord(bytes)) {
                total += 4 + request.size();
            }
            EXPECT_EQ(total, bytes.size());
            whole++;
        } catch (const Refused&) {
        }
    }
    EXPECT_GT(whole, 0U);
}
