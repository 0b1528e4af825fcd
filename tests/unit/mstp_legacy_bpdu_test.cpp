// The pre-standard MST form: where every field goes in either direction, and which lengths are
// refused.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mstp/context.h"
#include "mstp_bpdu.h"
#include "mstp_io.h"
#include "test_bpdu.h"

using testbpdu::Bytes;
using testbpdu::put;
using testbpdu::put16;
using testbpdu::slice;

namespace {

// Bytes 1 to 255 and again, so that no byte stands for its neighbour and none is zero.
Bytes pattern(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; i++) {
        bytes[i] = static_cast<uint8_t>(i % 255 + 1);
    }
    return bytes;
}

Bytes patternedLegacy(uint32_t mstis) {
    Bytes bytes = pattern(103 + 26 * mstis);
    put16(bytes, 37, 64 + 26 * mstis);
    return bytes;
}

Bytes patternedStandard(uint32_t mstis) {
    Bytes bytes = pattern(102 + 16 * mstis);
    put16(bytes, 36, 64 + 16 * mstis);
    return bytes;
}

// Heap copies of exact size let a sanitizer see a read beyond the input.
Bytes toStandard(const Bytes& legacy, int32_t* length) {
    Bytes out(MSTP_LEGACY_BUFFER_SIZE);
    *length = mstpLegacyBpduToStandard(reinterpret_cast<tMstpBpdu*>(out.data()), legacy.data(),
                                       static_cast<uint32_t>(legacy.size()));
    return out;
}

Bytes toStandard(const Bytes& legacy) {
    int32_t length = 0;
    Bytes out = toStandard(legacy, &length);
    out.resize(static_cast<size_t>(length));
    return out;
}

Bytes toLegacy(const Bytes& standard, uint32_t bpduLen, int32_t* length) {
    Bytes in = standard;
    in.resize(std::max(in.size(), sizeof(tMstpBpdu)));
    Bytes out(MSTP_LEGACY_BUFFER_SIZE);
    *length = mstpStandardBpduToLegacy(out.data(), reinterpret_cast<const tMstpBpdu*>(in.data()),
                                       bpduLen);
    return out;
}

Bytes toLegacy(const Bytes& standard) {
    int32_t length = 0;
    Bytes out = toLegacy(standard, static_cast<uint32_t>(standard.size()), &length);
    out.resize(static_cast<size_t>(length));
    return out;
}

int32_t legacyResult(const Bytes& standard, uint32_t bpduLen) {
    int32_t length = -1;
    toLegacy(standard, bpduLen, &length);
    return length;
}

void expectRefused(const Bytes& legacy) {
    int32_t length = -1;
    const Bytes out = toStandard(legacy, &length);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(out, Bytes(MSTP_LEGACY_BUFFER_SIZE));
}

// ---- pre-standard to standard

TEST(LegacyToStandard, BpduOfANeighbourBecomesTheStandardBpduWithTheSameContent) {
    for (uint32_t mstis = 0; mstis < 4; mstis++) {
        EXPECT_EQ(toStandard(testbpdu::legacyMst(mstis)), testbpdu::mst(mstis));
    }
}

TEST(LegacyToStandard, CistFieldsGoToTheirPlaces) {
    const Bytes legacy = patternedLegacy(0);
    const Bytes standard = toStandard(legacy);
    ASSERT_EQ(standard.size(), 102u);
    EXPECT_EQ(slice(standard, 0, 17), slice(legacy, 0, 17));
    EXPECT_EQ(slice(standard, 17, 8), slice(legacy, 89, 8)); // regional root
    EXPECT_EQ(slice(standard, 25, 11), slice(legacy, 25, 11));
    EXPECT_EQ(slice(standard, 36, 2), (Bytes{0, 64}));
    EXPECT_EQ(standard[38], 0); // format selector
    EXPECT_EQ(slice(standard, 39, 32), slice(legacy, 39, 32));
    EXPECT_EQ(slice(standard, 71, 2), slice(legacy, 71, 2));
    EXPECT_EQ(slice(standard, 73, 16), slice(legacy, 73, 16));
    EXPECT_EQ(slice(standard, 89, 4), slice(legacy, 97, 4));
    EXPECT_EQ(slice(standard, 93, 8), slice(legacy, 17, 8)); // sender
    EXPECT_EQ(standard[101], legacy[101]);
}

TEST(LegacyToStandard, FormatSelectorIsZeroWhateverTheBufferHeld) {
    Bytes out(MSTP_LEGACY_BUFFER_SIZE, 0xEE);
    const Bytes legacy = testbpdu::legacyMst(1);
    ASSERT_EQ(mstpLegacyBpduToStandard(reinterpret_cast<tMstpBpdu*>(out.data()), legacy.data(),
                                       static_cast<uint32_t>(legacy.size())),
              118);
    EXPECT_EQ(slice(out, 0, 118), testbpdu::mst(1));
    EXPECT_EQ(out[118], 0xEE);
}

TEST(LegacyToStandard, MstiFieldsGoToTheirPlaces) {
    const Bytes legacy = patternedLegacy(2);
    const Bytes standard = toStandard(legacy);
    ASSERT_EQ(standard.size(), 134u);
    for (size_t i = 0; i < 2; i++) {
        const Bytes from = slice(legacy, 103 + 26 * i, 26);
        const Bytes to = slice(standard, 102 + 16 * i, 16);
        EXPECT_EQ(to[0], from[1]);        // flag
        EXPECT_EQ(to[1], from[2] & 0xF0); // regional root's priority
        EXPECT_EQ(to[2], from[0]);        // instance
        EXPECT_EQ(slice(to, 3, 6), slice(from, 4, 6));
        EXPECT_EQ(slice(to, 9, 4), slice(from, 10, 4));
        EXPECT_EQ(to[13], from[14] & 0xF0);
        EXPECT_EQ(to[14], from[22] & 0xF0);
        EXPECT_EQ(to[15], from[24]);
    }
}

TEST(LegacyToStandard, InstanceNumberReplacesAllTwelveBitsOfTheExtension) {
    Bytes legacy = testbpdu::legacyMst(1);
    put(legacy, 103, {0xFE});
    put(legacy, 105, {0xAF, 0x55});
    const Bytes standard = toStandard(legacy);
    EXPECT_EQ(slice(standard, 103, 2), (Bytes{0xA0, 0xFE}));
}

TEST(LegacyToStandard, PrioritiesKeepTheirUpperFourBits) {
    Bytes legacy = testbpdu::legacyMst(1);
    put(legacy, 103 + 14, {0xF9});
    put(legacy, 103 + 22, {0xE7});
    const Bytes standard = toStandard(legacy);
    EXPECT_EQ(standard[102 + 13], 0xF0);
    EXPECT_EQ(standard[102 + 14], 0xE0);
}

TEST(LegacyToStandard, TwoAnnouncedMstisGive134BytesWithVersion3Length96) {
    const Bytes legacy = testbpdu::legacyMst(2);
    ASSERT_EQ(slice(legacy, 37, 2), (Bytes{0, 116}));
    const Bytes standard = toStandard(legacy);
    EXPECT_EQ(standard.size(), 134u);
    EXPECT_EQ(slice(standard, 36, 2), (Bytes{0, 96}));
}

TEST(LegacyToStandard, ConvertedBpduParsesAsMstp) {
    gMstp = {};
    gMstp.xstLimit = 64;
    const Bytes standard = toStandard(testbpdu::legacyMst(2));
    tMstpBpdu bpdu;
    EXPECT_EQ(mstpParse(&bpdu, standard.data(), static_cast<uint32_t>(standard.size())), 0);
    EXPECT_EQ(mstpBig16(bpdu.protocolType), MSTP_PROTOCOL_TYPE_MSTP);
    EXPECT_EQ(mstpBig16(bpdu.mstiCount), 2);
    gMstp = {};
}

TEST(LegacyToStandard, NothingInTheCommonPartIsAskedFor) {
    const Bytes legacy = patternedLegacy(1);
    EXPECT_EQ(toStandard(legacy).size(), 118u);
}

TEST(LegacyToStandard, RstBpduPaddedWithZerosIsRefused) {
    Bytes rst = testbpdu::rst();
    rst.resize(60);
    expectRefused(rst);
    rst.resize(200);
    expectRefused(rst);
}

TEST(LegacyToStandard, EveryInputShorterThanTheCistsPartIsRefused) {
    const Bytes whole = testbpdu::legacyMst(0);
    for (size_t size = 0; size < 103; size++) {
        expectRefused(slice(whole, 0, size));
    }
}

TEST(LegacyToStandard, InputOneByteShorterThanItsMstisIsRefused) {
    for (uint32_t mstis = 1; mstis < 4; mstis++) {
        const Bytes whole = testbpdu::legacyMst(mstis);
        expectRefused(slice(whole, 0, whole.size() - 1));
        EXPECT_EQ(toStandard(whole).size(), 102 + 16 * mstis);
    }
}

TEST(LegacyToStandard, BytesBehindTheMstisAreIgnored) {
    Bytes legacy = testbpdu::legacyMst(1);
    legacy.resize(300, 0xAA);
    EXPECT_EQ(toStandard(legacy), testbpdu::mst(1));
}

TEST(LegacyToStandard, Version3LengthMustBe64AndAMultipleOf26) {
    Bytes legacy = testbpdu::legacyMst(4);
    for (uint32_t length = 64; length <= 64 + 26 * 4; length++) {
        put16(legacy, 37, length);
        if ((length - 64) % 26 == 0) {
            EXPECT_EQ(toStandard(legacy).size(), 102 + 16 * ((length - 64) / 26));
        } else {
            expectRefused(legacy);
        }
    }
}

TEST(LegacyToStandard, EveryVersion3LengthBelow64IsRefusedEvenWhereTheDifferenceWraps) {
    Bytes legacy = testbpdu::legacyMst(0);
    legacy.resize(MSTP_LEGACY_BUFFER_SIZE);
    for (uint32_t length = 0; length < 64; length++) {
        put16(legacy, 37, length);
        expectRefused(legacy);
    }
}

TEST(LegacyToStandard, LargestCountThatFillsTheBufferIsConverted) {
    const Bytes standard = toStandard(patternedLegacy(121));
    EXPECT_EQ(standard.size(), 2038u);
    EXPECT_EQ(standard[102 + 16 * 120 + 2], patternedLegacy(121)[103 + 26 * 120]);
}

TEST(LegacyToStandard, CountWhoseResultExceedsTheBufferIsRefused) {
    expectRefused(patternedLegacy(122));
    expectRefused(patternedLegacy(2000));
}

// ---- standard to pre-standard

TEST(StandardToLegacy, OwnBpduBecomesThePreStandardBpduWithTheSameContent) {
    for (uint32_t mstis = 0; mstis < 4; mstis++) {
        EXPECT_EQ(toLegacy(testbpdu::mst(mstis)), testbpdu::legacyMst(mstis));
    }
}

TEST(StandardToLegacy, BpduWithoutMstisGives103BytesWithVersion3Length64) {
    const Bytes legacy = toLegacy(testbpdu::mst(0));
    EXPECT_EQ(legacy.size(), 103u);
    EXPECT_EQ(slice(legacy, 37, 2), (Bytes{0, 64}));
}

TEST(StandardToLegacy, CistFieldsGoToTheirPlaces) {
    const Bytes standard = patternedStandard(0);
    const Bytes legacy = toLegacy(standard);
    ASSERT_EQ(legacy.size(), 103u);
    EXPECT_EQ(slice(legacy, 0, 17), slice(standard, 0, 17));
    EXPECT_EQ(slice(legacy, 17, 8), slice(standard, 93, 8)); // sender
    EXPECT_EQ(slice(legacy, 25, 11), slice(standard, 25, 11));
    EXPECT_EQ(legacy[36], 0);
    EXPECT_EQ(slice(legacy, 37, 2), (Bytes{0, 64}));
    EXPECT_EQ(slice(legacy, 39, 32), slice(standard, 39, 32));
    EXPECT_EQ(slice(legacy, 71, 2), slice(standard, 71, 2));
    EXPECT_EQ(slice(legacy, 73, 16), slice(standard, 73, 16));
    EXPECT_EQ(slice(legacy, 89, 8), slice(standard, 17, 8)); // regional root
    EXPECT_EQ(slice(legacy, 97, 4), slice(standard, 89, 4));
    EXPECT_EQ(legacy[101], standard[101]);
    EXPECT_EQ(legacy[102], 0);
}

TEST(StandardToLegacy, MstiFieldsGoToTheirPlaces) {
    const Bytes standard = patternedStandard(2);
    const Bytes legacy = toLegacy(standard);
    ASSERT_EQ(legacy.size(), 155u);
    EXPECT_EQ(slice(legacy, 37, 2), (Bytes{0, 116}));
    for (size_t i = 0; i < 2; i++) {
        const Bytes from = slice(standard, 102 + 16 * i, 16);
        const Bytes to = slice(legacy, 103 + 26 * i, 26);
        EXPECT_EQ(to[0], from[2]); // instance
        EXPECT_EQ(to[1], from[0]); // flag
        EXPECT_EQ(slice(to, 2, 8), slice(from, 1, 8));
        EXPECT_EQ(slice(to, 10, 4), slice(from, 9, 4));
        EXPECT_EQ(to[14], (from[13] & 0xF0) | (from[1] & 0x0F));
        EXPECT_EQ(to[15], from[2]);
        EXPECT_EQ(slice(to, 16, 6), slice(standard, 95, 6)); // sender's MAC
        EXPECT_EQ(to[22], (from[14] & 0xF0) | (standard[25] & 0x0F));
        EXPECT_EQ(to[23], standard[26]);
        EXPECT_EQ(to[24], from[15]);
        EXPECT_EQ(to[25], 0);
    }
}

TEST(StandardToLegacy, MstiOfInstance5CarriesItsNumberTwice) {
    const Bytes legacy = toLegacy(testbpdu::mst(5));
    const Bytes fifth = slice(legacy, 103 + 26 * 4, 26);
    EXPECT_EQ(fifth[0], 5);
    EXPECT_EQ(fifth[15], 5);
}

TEST(StandardToLegacy, ReservedBytesAreLeftToTheCaller) {
    const Bytes standard = testbpdu::mst(1);
    Bytes in = standard;
    in.resize(sizeof(tMstpBpdu));
    Bytes out(MSTP_LEGACY_BUFFER_SIZE, 0xEE);
    ASSERT_EQ(
        mstpStandardBpduToLegacy(out.data(), reinterpret_cast<const tMstpBpdu*>(in.data()), 118),
        129);
    for (const size_t reserved : {36U, 102U, 103U + 25U, 129U}) {
        EXPECT_EQ(out[reserved], 0xEE);
    }
}

TEST(StandardToLegacy, FewerThan36BytesAreRefused) {
    EXPECT_EQ(legacyResult(testbpdu::mst(0), 35), 0);
    EXPECT_EQ(legacyResult(testbpdu::mst(0), 0), 0);
    EXPECT_EQ(legacyResult(testbpdu::mst(0), 36), 103);
}

TEST(StandardToLegacy, Version3LengthBelow64IsRefused) {
    for (uint32_t length = 0; length < 64; length++) {
        Bytes standard = testbpdu::mst(0);
        put16(standard, 36, length);
        EXPECT_EQ(legacyResult(standard, 102), 0);
    }
}

TEST(StandardToLegacy, Version3LengthBetweenTwoCountsGivesTheSmallerOne) {
    Bytes standard = testbpdu::mst(2);
    put16(standard, 36, 64 + 31);
    EXPECT_EQ(legacyResult(standard, 134), 103 + 26);
}

TEST(StandardToLegacy, MessagesThatTheLengthDoesNotCoverAreRefused) {
    EXPECT_EQ(legacyResult(testbpdu::mst(3), 149), 0);
    EXPECT_EQ(legacyResult(testbpdu::mst(3), 102), 0);
    EXPECT_EQ(legacyResult(testbpdu::mst(3), 150), 103 + 26 * 3);
}

TEST(StandardToLegacy, AsManyMessagesAsARecordHoldsAreConverted) {
    EXPECT_EQ(toLegacy(patternedStandard(64)).size(), 1767u);
}

TEST(StandardToLegacy, CountWhoseResultExceedsTheBufferIsRefused) {
    EXPECT_EQ(legacyResult(patternedStandard(74), 102 + 16 * 74), 2027);
    EXPECT_EQ(legacyResult(patternedStandard(75), 102 + 16 * 75), 0);
}

TEST(LegacyBpdu, ConvertingThereAndBackGivesTheSameBpdu) {
    for (uint32_t mstis = 0; mstis <= 64; mstis++) {
        EXPECT_EQ(toStandard(toLegacy(testbpdu::mst(mstis))), testbpdu::mst(mstis));
    }
}

} // namespace
