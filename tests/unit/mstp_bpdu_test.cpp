// The parser: which bytes are which kind of BPDU, what the record then holds, and what is refused.

#include "mstp_bpdu.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mstp/context.h"
#include "sim_platform.h"
#include "test_bpdu.h"

using testbpdu::Bytes;
using testbpdu::bytesOf;
using testbpdu::put;
using testbpdu::put16;
using testbpdu::slice;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class BpduParser : public ::testing::Test {
  protected:
    void SetUp() override {
        sim::swapIn(&sw);
        gMstp = {};
        gMstp.xstLimit = 64;
        gMstp.debug = MSTP_DEBUG_REFUSAL;
        memset(&bpdu, 0xEE, sizeof bpdu);
    }

    void TearDown() override {
        gMstp = {};
        sim::swapIn(nullptr);
    }

    int32_t parse(const Bytes& bytes) {
        return mstpParse(&bpdu, bytes.data(), static_cast<uint32_t>(bytes.size()));
    }

    uint16_t kind() const { return mstpBig16(bpdu.protocolType); }
    uint16_t count() const { return mstpBig16(bpdu.mstiCount); }

    // The record's bytes as they lie in memory.
    Bytes record(size_t offset, size_t size) const { return slice(bytesOf(bpdu), offset, size); }

    void expectRefused(const Bytes& bytes, const std::string& why) {
        sw.traces.clear();
        EXPECT_EQ(parse(bytes), -1);
        EXPECT_THAT(sw.traces, ElementsAre(why));
    }

    void expectKind(const Bytes& bytes, uint16_t expected) {
        sw.traces.clear();
        ASSERT_EQ(parse(bytes), 0);
        EXPECT_EQ(kind(), expected);
        EXPECT_THAT(sw.traces, IsEmpty());
    }

    sim::Switch sw;
    tMstpBpdu bpdu;
};

Bytes cut(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

const Bytes SENDER = {0x30, 0x00, 0x02, 0, 0, 0, 0, 0x03};
const Bytes REGIONAL_ROOT = {0x50, 0x00, 0x02, 0, 0, 0, 0, 0x02};
const Bytes ZERO_ID(8);

// ---- protocol identifier and topology change notifications

TEST_F(BpduParser, ProtocolIdentifierMustBeZeroInItsFirstByte) {
    expectRefused({1, 0, 0, 0x80}, "protocol id invalid");
}

TEST_F(BpduParser, ProtocolIdentifierMustBeZeroInItsSecondByte) {
    expectRefused({0, 1, 0, 0x80}, "protocol id invalid");
}

TEST_F(BpduParser, ProtocolIdentifierIsLookedAtBeforeTheLength) {
    expectRefused({1}, "protocol id invalid");
}

TEST_F(BpduParser, ThreeByteFrameIsTooShortForATopologyChangeNotification) {
    expectRefused({0, 0, 0}, "TCN bpduLen invalid");
}

TEST_F(BpduParser, MissingSecondByteOfTheProtocolIdentifierReadsAsZero) {
    expectRefused({0}, "TCN bpduLen invalid");
}

TEST_F(BpduParser, EmptyFrameIsTooShort) {
    const uint8_t none = 0;
    EXPECT_EQ(mstpParse(&bpdu, &none, 0), -1);
    EXPECT_THAT(sw.traces, ElementsAre("TCN bpduLen invalid"));
}

TEST_F(BpduParser, FourByteNotificationIsValidWhateverItsVersion) {
    for (int version = 0; version < 256; version++) {
        Bytes bytes = testbpdu::tcn();
        put(bytes, 2, {version});
        expectKind(bytes, MSTP_PROTOCOL_TYPE_TCN);
    }
}

TEST_F(BpduParser, NothingBehindANotificationsTypeIsLookedAt) {
    Bytes bytes = testbpdu::mst(2);
    put(bytes, 3, {0x80});
    expectKind(bytes, MSTP_PROTOCOL_TYPE_TCN);
    EXPECT_EQ(record(27, 8), slice(bytes, 27, 8));
    EXPECT_EQ(count(), 0);
}

// ---- configuration BPDUs

TEST_F(BpduParser, ConfigurationBpduOf35BytesIsValid) {
    expectKind(testbpdu::config(), MSTP_PROTOCOL_TYPE_CONFIG);
}

TEST_F(BpduParser, ConfigurationBpduOf34BytesIsRefused) {
    expectRefused(cut(testbpdu::config(), 34), "config bpduLen invalid");
}

TEST_F(BpduParser, ConfigurationBpduIsValidWhateverItsVersion) {
    for (int version = 0; version < 256; version++) {
        Bytes bytes = testbpdu::config();
        put(bytes, 2, {version});
        expectKind(bytes, MSTP_PROTOCOL_TYPE_CONFIG);
    }
}

TEST_F(BpduParser, ConfigurationBpduKeepsItsDesignatedBridgeWhateverThePadding) {
    Bytes bytes = testbpdu::config();
    bytes.resize(110, 0xFF);
    ASSERT_EQ(parse(bytes), 0);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId), SENDER);
}

TEST_F(BpduParser, FieldsBeforeTheTimesAreTakenAsTheyTravel) {
    const Bytes bytes = testbpdu::config();
    ASSERT_EQ(parse(bytes), 0);
    EXPECT_EQ(record(0, 27), slice(bytes, 0, 27));
}

TEST_F(BpduParser, TimesBecomeWholeSecondsAndLoseTheirFraction) {
    ASSERT_EQ(parse(testbpdu::config()), 0);
    EXPECT_EQ(record(27, 8), (Bytes{0, 1, 0, 20, 0, 2, 0, 15}));
    EXPECT_EQ(mstpBig16(bpdu.messageAge), 1);
    EXPECT_EQ(mstpBig16(bpdu.maxAge), 20);
    EXPECT_EQ(mstpBig16(bpdu.helloTime), 2);
    EXPECT_EQ(mstpBig16(bpdu.forwardDelay), 15);
}

TEST_F(BpduParser, TimesOf255SecondsKeepTheirValue) {
    Bytes bytes = testbpdu::rst();
    put(bytes, 27, {255, 255, 255, 255, 255, 255, 255, 255});
    ASSERT_EQ(parse(bytes), 0);
    EXPECT_EQ(record(27, 8), (Bytes{0, 255, 0, 255, 0, 255, 0, 255}));
}

// ---- RST BPDUs

TEST_F(BpduParser, RstBpduOf35BytesIsRefused) {
    expectRefused(cut(testbpdu::rst(), 35), "rstp/mstp bpduLen invalid");
}

TEST_F(BpduParser, BpduOfUnknownTypeMustHave36BytesToo) {
    Bytes bytes = cut(testbpdu::rst(), 35);
    put(bytes, 3, {0x77});
    expectRefused(bytes, "rstp/mstp bpduLen invalid");
}

TEST_F(BpduParser, RstBpduOf36BytesNamesItsDesignatedBridgeAtOffset17) {
    expectKind(testbpdu::rst(), MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId), SENDER);
    EXPECT_EQ(record(27, 8), (Bytes{0, 1, 0, 20, 0, 2, 0, 15}));
}

TEST_F(BpduParser, RstBpduPaddedWithZerosKeepsItsDesignatedBridge) {
    expectKind(cut(testbpdu::rst(), 60), MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId), SENDER);
}

TEST_F(BpduParser, RstBpduWithNonZeroPaddingIsStillRstpButNamesNoBridgeWhenShort) {
    for (const size_t offset : {36U, 37U}) {
        Bytes bytes = cut(testbpdu::rst(), 60);
        put(bytes, offset, {1});
        expectKind(bytes, MSTP_PROTOCOL_TYPE_RSTP);
        EXPECT_EQ(bytesOf(bpdu.regionalRootId), ZERO_ID);
    }
}

TEST_F(BpduParser, RstBpduWithNonZeroPaddingTakesItsDesignatedBridgeFromOffset93) {
    Bytes bytes = cut(testbpdu::rst(), 102);
    put16(bytes, 36, 64);
    put(bytes, 93, {0x91, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98});
    expectKind(bytes, MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId),
              (Bytes{0x91, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98}));
    EXPECT_EQ(count(), 0);
}

// ---- MST BPDUs

TEST_F(BpduParser, MstBpduOf102BytesIsMstpWithoutMessages) {
    expectKind(testbpdu::mst(0), MSTP_PROTOCOL_TYPE_MSTP);
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId), REGIONAL_ROOT);
    EXPECT_EQ(bytesOf(bpdu.bridgeId), SENDER);
}

TEST_F(BpduParser, MstBpduKeepsEveryFieldAndMessage) {
    const Bytes bytes = testbpdu::mst(3);
    expectKind(bytes, MSTP_PROTOCOL_TYPE_MSTP);
    EXPECT_EQ(record(35, bytes.size() - 35), slice(bytes, 35, bytes.size() - 35));
    EXPECT_EQ(count(), 3);
}

TEST_F(BpduParser, KindAndCountAreHeldMostSignificantByteFirst) {
    ASSERT_EQ(parse(testbpdu::mst(3)), 0);
    EXPECT_EQ(record(1126, 4), (Bytes{0, 3, 0, 0}));
    ASSERT_EQ(parse(testbpdu::tcn()), 0);
    EXPECT_EQ(record(1126, 4), (Bytes{0, 0, 0, 3}));
}

TEST_F(BpduParser, AnyVersionFrom3OnIsMstp) {
    for (int version = 3; version < 256; version++) {
        Bytes bytes = testbpdu::mst(1);
        put(bytes, 2, {version});
        expectKind(bytes, MSTP_PROTOCOL_TYPE_MSTP);
    }
}

TEST_F(BpduParser, Version3BpduOf101BytesIsRstpOfTheSender) {
    expectKind(cut(testbpdu::mst(0), 101), MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId), SENDER);
    EXPECT_EQ(count(), 0);
}

TEST_F(BpduParser, Version3BpduTooShortForASenderIsRstpWithoutDesignatedBridge) {
    expectKind(cut(testbpdu::mst(0), 36), MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId), ZERO_ID);
}

TEST_F(BpduParser, Version3BpduWithVersion1LengthIsRstpOfTheSender) {
    Bytes bytes = testbpdu::mst(1);
    put(bytes, 35, {1});
    expectKind(bytes, MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(bytesOf(bpdu.regionalRootId), SENDER);
    EXPECT_EQ(count(), 0);
}

TEST_F(BpduParser, Version3LengthThatIsNoMultipleOf16MakesItRstp) {
    for (const uint32_t length : {72u, 65u, 79u, 8u, 0xFFFFu}) {
        Bytes bytes = testbpdu::mst(1);
        put16(bytes, 36, length);
        expectKind(bytes, MSTP_PROTOCOL_TYPE_RSTP);
        EXPECT_EQ(bytesOf(bpdu.regionalRootId), SENDER);
    }
}

TEST_F(BpduParser, Version3LengthBelow64IsInvalid) {
    for (const uint32_t length : {0u, 16u, 32u, 48u}) {
        Bytes bytes = testbpdu::mst(1);
        put16(bytes, 36, length);
        expectRefused(bytes, "bpdu invalid");
    }
}

TEST_F(BpduParser, CountComesFromTheAnnouncedLengthNotFromTheBytes) {
    Bytes bytes = testbpdu::mst(0);
    put16(bytes, 36, 64 + 16 * 3);
    expectKind(bytes, MSTP_PROTOCOL_TYPE_MSTP);
    EXPECT_EQ(count(), 3);
    EXPECT_EQ(record(102, 48), Bytes(48));
}

TEST_F(BpduParser, MessagesBeyondTheAnnouncedLengthAreNotCounted) {
    Bytes bytes = testbpdu::mst(3);
    put16(bytes, 36, 64 + 16);
    expectKind(bytes, MSTP_PROTOCOL_TYPE_MSTP);
    EXPECT_EQ(count(), 1);
}

TEST_F(BpduParser, SixtyThreeMessagesAreValid) {
    expectKind(testbpdu::mst(63), MSTP_PROTOCOL_TYPE_MSTP);
    EXPECT_EQ(count(), 63);
}

TEST_F(BpduParser, SixtyFourMessagesAreInvalid) {
    expectRefused(testbpdu::mst(64), "bpdu invalid");
}

TEST_F(BpduParser, HugestAnnouncedCountIsInvalid) {
    Bytes bytes = testbpdu::mst(1);
    put16(bytes, 36, 0xFFF0);
    expectRefused(bytes, "bpdu invalid");
}

// ---- anything else

TEST_F(BpduParser, RstTypeWithVersionBelow2IsInvalid) {
    for (const int version : {0, 1}) {
        Bytes bytes = testbpdu::mst(0);
        put(bytes, 2, {version});
        expectRefused(bytes, "bpdu invalid");
    }
}

TEST_F(BpduParser, UnknownTypesAreInvalid) {
    for (int type = 1; type < 256; type++) {
        if (type == 0x02 || type == 0x80) {
            continue;
        }
        Bytes bytes = testbpdu::mst(0);
        put(bytes, 3, {type});
        expectRefused(bytes, "bpdu invalid");
    }
}

// ---- the copy and its bounds

TEST_F(BpduParser, BytesThatWereNotReceivedReadAsZero) {
    ASSERT_EQ(parse(testbpdu::rst()), 0);
    EXPECT_EQ(record(36, 1126 - 36), Bytes(1126 - 36));
}

TEST_F(BpduParser, CopyStopsAt1126BytesWithTheDefaultInstanceLimit) {
    Bytes bytes = testbpdu::mst(63);
    bytes.resize(1200, 0xAA);
    ASSERT_EQ(parse(bytes), 0);
    EXPECT_EQ(record(1110, 16), Bytes(16, 0xAA));
    EXPECT_EQ(count(), 63);
    EXPECT_EQ(kind(), MSTP_PROTOCOL_TYPE_MSTP);
}

TEST_F(BpduParser, CopyStopsAtTheRecordWhenMoreInstancesAreAllowed) {
    gMstp.xstLimit = 255;
    Bytes bytes = testbpdu::rst();
    bytes.resize(1200, 0xAA);
    struct {
        tMstpBpdu record;
        uint8_t behind[64];
    } memory = {};
    ASSERT_EQ(mstpParse(&memory.record, bytes.data(), 1200), 0);
    EXPECT_EQ(memory.record.mstiCount, 0);
    EXPECT_EQ(mstpBig16(memory.record.protocolType), MSTP_PROTOCOL_TYPE_RSTP);
    EXPECT_EQ(bytesOf(memory.behind), Bytes(64));
}

TEST_F(BpduParser, CopyEndsWithTheLastInstanceThatTheBridgeCanHave) {
    gMstp.xstLimit = 2;
    Bytes bytes = testbpdu::mst(4);
    ASSERT_EQ(parse(bytes), 0);
    EXPECT_EQ(record(0, 27), slice(bytes, 0, 27));
    EXPECT_EQ(record(102, 32), slice(bytes, 102, 32));
    EXPECT_EQ(record(134, 32), Bytes(32));
    EXPECT_EQ(count(), 4);
}

TEST_F(BpduParser, WithoutInstancesTheCistsPartIsStillTaken) {
    gMstp.xstLimit = 0;
    expectKind(testbpdu::mst(1), MSTP_PROTOCOL_TYPE_MSTP);
    EXPECT_EQ(record(102, 16), Bytes(16));
}

TEST_F(BpduParser, RefusalsAreTracedUnderTheirBitOnly) {
    gMstp.debug = ~MSTP_DEBUG_REFUSAL;
    Bytes foreign = testbpdu::tcn();
    put(foreign, 0, {1});
    Bytes unknown = testbpdu::rst();
    put(unknown, 3, {0x77});
    EXPECT_EQ(parse(foreign), -1);
    EXPECT_EQ(parse({0, 0, 0}), -1);
    EXPECT_EQ(parse(cut(testbpdu::config(), 34)), -1);
    EXPECT_EQ(parse(cut(testbpdu::rst(), 35)), -1);
    EXPECT_EQ(parse(unknown), -1);
    EXPECT_EQ(parse(testbpdu::mst(64)), -1);
    EXPECT_THAT(sw.traces, IsEmpty());
}

} // namespace
