#include "platform/adr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;

// A stream over a buffer of its own, with guard bytes behind the limit.
struct Message {
    explicit Message(std::vector<uint8_t> content) : bytes(std::move(content)) {
        stream.limit = static_cast<uint32_t>(bytes.size());
        bytes.resize(bytes.size() + 16, 0xEE);
        adr_start(&stream, bytes.data(), nullptr);
    }

    std::vector<uint8_t> content() const {
        return std::vector<uint8_t>(bytes.begin(), bytes.begin() + stream.limit);
    }

    std::vector<uint8_t> beyond() const {
        return std::vector<uint8_t>(bytes.begin() + stream.limit, bytes.end());
    }

    std::vector<uint8_t> bytes;
    tAdrStream stream{};
};

std::vector<uint8_t> header() {
    return {0x41, 0x44, 0x52, 0x31, 0, 0, 0, 9, 0, 0, 0, 5, 0xFF, 0xFF, 0xFF, 0xFE, 0, 0, 1, 2};
}

TEST(Adr, StartStandsAtTheFirstByteAndKeepsTheFlag) {
    Message message(header());
    int flag = 0;
    message.stream.pos = 7;
    adr_start(&message.stream, message.bytes.data(), &flag);
    EXPECT_EQ(adr_count(&message.stream), 0U);
    EXPECT_EQ(message.stream.flag, &flag);
    EXPECT_EQ(message.stream.limit, 20U);
}

TEST(Adr, HeaderIsReadInOrder) {
    Message message(header());
    uint32_t function = 0;
    int32_t retcode = 0;
    uint32_t command = 0;
    EXPECT_EQ(adr_decodefunc(&message.stream, &function), 0);
    EXPECT_EQ(function, 5U);
    EXPECT_EQ(adr_count(&message.stream), static_cast<uint32_t>(ADR_OFFSET_RETCODE));
    EXPECT_EQ(adr_decoderetcode(&message.stream, &retcode), 0);
    EXPECT_EQ(retcode, -2);
    EXPECT_EQ(adr_decodecmd(&message.stream, &command), 0);
    EXPECT_EQ(command, 0x102U);
    EXPECT_EQ(adr_count(&message.stream), static_cast<uint32_t>(ADR_OFFSET_INDEX));
}

TEST(Adr, MessageWithOtherFirstBytesIsRefused) {
    for (size_t i = 0; i < 4; i++) {
        auto bytes = header();
        bytes[i] ^= 0x20;
        Message message(bytes);
        uint32_t function = 77;
        EXPECT_EQ(adr_decodefunc(&message.stream, &function), -1);
        EXPECT_EQ(function, 77U);
    }
}

TEST(Adr, MessageThatEndsInsideTheSelectorIsRefused) {
    for (size_t length = 0; length < 12; length++) {
        auto bytes = header();
        bytes.resize(length);
        Message message(bytes);
        uint32_t function = 77;
        EXPECT_EQ(adr_decodefunc(&message.stream, &function), -1) << length;
    }
}

TEST(Adr, IntegersAreBigEndian) {
    Message message({0x12, 0xFE, 0xDC, 0x80, 0x00, 0x00, 0x01, 0x89, 0xAB, 0xCD, 0xEF});
    uint8_t byte = 0;
    uint16_t half = 0;
    int32_t number = 0;
    uint32_t word = 0;
    EXPECT_EQ(adr_getchar(&message.stream, &byte), 0);
    EXPECT_EQ(adr_getushort(&message.stream, &half), 0);
    EXPECT_EQ(adr_getint32(&message.stream, &number), 0);
    EXPECT_EQ(adr_getuint32(&message.stream, &word), 0);
    EXPECT_EQ(byte, 0x12);
    EXPECT_EQ(half, 0xFEDC);
    EXPECT_EQ(number, static_cast<int32_t>(0x80000001));
    EXPECT_EQ(word, 0x89ABCDEFU);
}

TEST(Adr, ReadThatCrossesTheLimitFailsAndMovesNothing) {
    Message message({1, 2, 3});
    uint8_t byte = 7;
    uint16_t half = 7;
    int32_t number = 7;
    uint32_t word = 7;
    EXPECT_EQ(adr_getint32(&message.stream, &number), -1);
    EXPECT_EQ(adr_getuint32(&message.stream, &word), -1);
    EXPECT_EQ(adr_offset(&message.stream, 2), 0);
    EXPECT_EQ(adr_getushort(&message.stream, &half), -1);
    EXPECT_EQ(adr_count(&message.stream), 2U);
    EXPECT_EQ(adr_offset(&message.stream, 1), 0);
    EXPECT_EQ(adr_getchar(&message.stream, &byte), -1);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(word, 7U);
    EXPECT_EQ(half, 7);
    EXPECT_EQ(byte, 7);
}

TEST(Adr, OffsetBeyondTheLimitFailsWhateverItsSize) {
    Message message({1, 2, 3});
    EXPECT_EQ(adr_offset(&message.stream, 3), 0);
    EXPECT_EQ(adr_offset(&message.stream, 1), -1);
    EXPECT_EQ(adr_offset(&message.stream, 0xFFFFFFFF), -1);
    EXPECT_EQ(adr_count(&message.stream), 3U);
}

TEST(Adr, PositionMayBeSetUpToTheLimit) {
    Message message({1, 2, 3});
    EXPECT_EQ(adr_pos(&message.stream, 3), 0);
    EXPECT_EQ(adr_pos(&message.stream, 4), -1);
    EXPECT_EQ(adr_count(&message.stream), 3U);
    EXPECT_EQ(adr_pos(&message.stream, 0), 0);
    EXPECT_EQ(adr_count(&message.stream), 0U);
}

TEST(Adr, IntegerIsWrittenBigEndianAtThePosition) {
    Message message({9, 9, 9, 9, 9, 9});
    adr_pos(&message.stream, 1);
    EXPECT_EQ(adr_int32(&message.stream, -2), 0);
    EXPECT_THAT(message.content(), ElementsAre(9, 0xFF, 0xFF, 0xFF, 0xFE, 9));
    EXPECT_EQ(adr_count(&message.stream), 5U);
}

TEST(Adr, IntegerThatCrossesTheLimitIsDroppedWhole) {
    Message message({9, 9, 9});
    EXPECT_EQ(adr_int32(&message.stream, 1), -1);
    EXPECT_THAT(message.content(), Each(9));
    EXPECT_THAT(message.beyond(), Each(0xEE));
    EXPECT_EQ(adr_count(&message.stream), 0U);
}

TEST(Adr, ValueItemOfOneIntegerIsTagTypeLengthAndInteger) {
    Message message(std::vector<uint8_t>(8, 9));
    const uint32_t value = 0x01020304;
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_INT32, 4, &value), 0);
    EXPECT_THAT(message.content(), ElementsAre(3, 2, 0, 4, 1, 2, 3, 4));
}

TEST(Adr, ValueItemOfTwoIntegersKeepsTheirOrder) {
    Message message(std::vector<uint8_t>(12, 9));
    const uint32_t values[2] = {0x01020304, 0x05060708};
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_PAIR, 8, values), 0);
    EXPECT_THAT(message.content(), ElementsAre(3, 4, 0, 8, 1, 2, 3, 4, 5, 6, 7, 8));
}

TEST(Adr, ValueItemOfOctetsIsCopied) {
    Message message(std::vector<uint8_t>(8, 9));
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_OCTETS, 3, "abc"), 0);
    EXPECT_THAT(message.content(), ElementsAre(3, 0, 0, 3, 'a', 'b', 'c', 9));
    EXPECT_EQ(adr_count(&message.stream), 7U);
}

TEST(Adr, ValueItemOfNoOctetsNeedsNoData) {
    Message message(std::vector<uint8_t>(4, 9));
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_OCTETS, 0, nullptr), 0);
    EXPECT_THAT(message.content(), ElementsAre(3, 0, 0, 0));
}

TEST(Adr, ValueItemMayLieInTheBufferThatItIsWrittenTo) {
    Message message({9, 9, 9, 9, 'a', 'b', 'c'});
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_OCTETS, 3, &message.bytes[4]), 0);
    EXPECT_THAT(message.content(), ElementsAre(3, 0, 0, 3, 'a', 'b', 'c'));
}

TEST(Adr, ValueItemThatCrossesTheLimitIsDroppedWhole) {
    for (uint32_t limit = 0; limit < 8; limit++) {
        Message message(std::vector<uint8_t>(limit, 9));
        const uint32_t value = 1;
        EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_INT32, 4, &value), -1);
        EXPECT_THAT(message.content(), Each(9));
        EXPECT_THAT(message.beyond(), Each(0xEE));
        EXPECT_EQ(adr_count(&message.stream), 0U);
    }
}

TEST(Adr, LongestValueItemFitsExactly) {
    Message message(std::vector<uint8_t>(4 + 0xFFFF, 9));
    const std::vector<uint8_t> data(0xFFFF, 5);
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_OCTETS, 0xFFFF, data.data()), 0);
    EXPECT_THAT(message.beyond(), Each(0xEE));
    EXPECT_EQ(adr_count(&message.stream), 4U + 0xFFFF);
}

TEST(Adr, IntegerItemOfBrokenLengthIsDropped) {
    Message message(std::vector<uint8_t>(16, 9));
    const uint32_t values[2] = {1, 2};
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_INT32, 3, values), -1);
    EXPECT_EQ(adr_encodedata(&message.stream, ADR_TYPE_PAIR, 7, values), -1);
    EXPECT_THAT(message.content(), Each(9));
}

TEST(Adr, LimitBeforeThePositionFailsEveryStep) {
    Message message({1, 2, 3, 4, 5, 6, 7, 8});
    adr_pos(&message.stream, 8);
    message.stream.limit = 4;
    uint8_t byte = 0;
    EXPECT_EQ(adr_getchar(&message.stream, &byte), -1);
    EXPECT_EQ(adr_int32(&message.stream, 1), -1);
    EXPECT_EQ(adr_offset(&message.stream, 0), -1);
}

} // namespace
