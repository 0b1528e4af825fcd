// Trace lines, dumps and the debug mask.

#include "mstp_debug.h"

#include "test_bridge.h"

namespace {

class Debug : public testing::Test {
  protected:
    /// What the dump of @p length bytes 00, 01, 02 ... puts out.
    std::string dump(uint32_t length) {
        std::vector<uint8_t> bytes(length);
        for (uint32_t i = 0; i < length; i++) {
            bytes[i] = static_cast<uint8_t>(i);
        }
        mstpPktPrint(bytes.data(), length);
        return bridge.sw.debugOutput;
    }
    TestBridge bridge;
};

constexpr const char* FULL_LINE = "\n\r00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f ";

TEST_F(Debug, TraceIsOneLineWithPrefixAndBreak) {
    mstpDebug("port %s,len %d", "port5", 60);
    EXPECT_EQ(bridge.sw.debugOutput, "[MSTP]:info=port port5,len 60\n\r");
}

TEST_F(Debug, TraceDoesNotAskTheMask) {
    gMstp.debug = 0;
    mstpDebug("always");
    EXPECT_EQ(bridge.sw.debugOutput, "[MSTP]:info=always\n\r");
}

TEST_F(Debug, TraceOfAnyLengthEndsItsLine) {
    const std::string text(5000, 'x');
    mstpDebug("%s", text.c_str());
    const std::string& output = bridge.sw.debugOutput;
    EXPECT_EQ(output.substr(0, 20), "[MSTP]:info=xxxxxxxx");
    EXPECT_EQ(output.substr(output.size() - 2), "\n\r");
}

TEST_F(Debug, DumpOf20BytesIsOneFullLineAndOneOf4) {
    EXPECT_EQ(dump(20), std::string(FULL_LINE) + "\n\r10 11 12 13 \n\r");
}

TEST_F(Debug, DumpOfAMultipleOf16EndsWithoutABreak) {
    EXPECT_EQ(dump(16), FULL_LINE);
}

TEST_F(Debug, DumpOfTwoFullLines) {
    EXPECT_EQ(dump(32),
              std::string(FULL_LINE) + "\n\r10 11 12 13 14 15 16 17 18 19 1a 1b 1c 1d 1e 1f ");
}

TEST_F(Debug, DumpOfOneByte) {
    EXPECT_EQ(dump(1), "\n\r00 \n\r");
}

TEST_F(Debug, DumpOfNothingIsNothing) {
    EXPECT_EQ(dump(0), "");
}

TEST_F(Debug, OnSetsTheWholeMaskAndOffClearsIt) {
    mstpDebugOn();
    EXPECT_EQ(gMstp.debug, 0xFFFFFFFFU);
    mstpDebugOff();
    EXPECT_EQ(gMstp.debug, 0U);
}

TEST_F(Debug, FlushSwitchTakesEveryValueButZeroAsOn) {
    mstpPortFlushDebug(5);
    EXPECT_EQ(gMstp.onlyFlushMac, 1);
    mstpPortFlushDebug(0);
    EXPECT_EQ(gMstp.onlyFlushMac, 0);
}

} // namespace
