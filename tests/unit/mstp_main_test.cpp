// Start-up: the command line, the context, the pools and the sockets, and every way in which it
// fails.

#include "mstp_main.h"

#include <csignal>

#include "mstp_bridge.h"
#include "mstp_nm.h"
#include "mstp_show.h"
#include "platform/joined_ports.h"
#include "test_bridge.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

std::string bridgeName() {
    return {reinterpret_cast<const char*>(gMstp.bridgeName), gMstp.bridgeLen};
}

/// A switch without a daemon; what a test starts is released at its end.
class StartUp : public testing::Test {
  protected:
    StartUp() {
        setenv("MSTP_RUN_DIR", "/nonexistent", 1);
        sim::swapIn(&sw);
    }
    ~StartUp() override {
        sim::failAllocation(0);
        mstpRelease();
        sim::swapIn(nullptr);
    }

    int32_t init(const std::string& name = "sw1", uint32_t queue = 0, uint8_t bridges = 0,
                 uint8_t xsts = 0, uint16_t ports = 0) {
        mstpRelease();
        sw.forget();
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const int32_t result = mstpInit(name.c_str(), 0, 0, queue, bridges, xsts, ports);
        output = testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
        return result;
    }

    /// Start-up fails with @p text on standard output, and everything is given back.
    void expectFailure(const std::string& text) {
        EXPECT_EQ(init(), -1);
        EXPECT_EQ(output, text);
        expectReleased();
    }

    void expectReleased() {
        EXPECT_EQ(gMstp.bridges, nullptr);
        EXPECT_EQ(gMstp.ports, nullptr);
        EXPECT_EQ(gMstp.xsts, nullptr);
        EXPECT_EQ(gMstp.xstPorts, nullptr);
        EXPECT_EQ(gMstp.pktSocketFd, -1);
        EXPECT_EQ(gMstp.rtSocketFd, -1);
        EXPECT_EQ(gMstp.cmdSocketFd, -1);
    }

    sim::Switch sw;
    std::string output;
    std::string errors;
};

} // namespace

// ---- the context

TEST_F(StartUp, EmptyBridgeNameBecomesRegion) {
    init("");
    EXPECT_EQ(bridgeName(), "region");
    EXPECT_EQ(gMstp.bridgeLen, 6);
}

TEST_F(StartUp, NameOf40CharactersKeepsItsFirst32) {
    init("abcdefghijklmnopqrstuvwxyz01234567890123");
    EXPECT_EQ(bridgeName(), "abcdefghijklmnopqrstuvwxyz012345");
}

TEST_F(StartUp, NameOf32CharactersIsKeptWhole) {
    init(std::string(32, 'n'));
    EXPECT_EQ(bridgeName(), std::string(32, 'n'));
}

TEST_F(StartUp, NameOf256CharactersCountsAsEmpty) {
    init(std::string(256, 'n'));
    EXPECT_EQ(bridgeName(), "region");
}

TEST_F(StartUp, NameOf257CharactersKeepsOne) {
    init(std::string(257, 'n'));
    EXPECT_EQ(bridgeName(), "n");
}

TEST_F(StartUp, QueueDepthOf256IsCutToZeroAndTakesNoDefault) {
    init("sw1", 256);
    EXPECT_EQ(gMstp.msgQDeepth, 0);
}

TEST_F(StartUp, ZeroArgumentsTakeTheirDefaults) {
    EXPECT_EQ(init(), 0);
    EXPECT_EQ(gMstp.msgQDeepth, 128);
    EXPECT_EQ(gMstp.priority, 50U);
    EXPECT_EQ(gMstp.stackSize, 32768U);
    EXPECT_EQ(gMstp.bridgeLimit, 1);
    EXPECT_EQ(gMstp.xstLimit, 64);
    EXPECT_EQ(gMstp.portLimit, 64);
}

TEST_F(StartUp, GivenArgumentsAreTaken) {
    mstpRelease();
    EXPECT_EQ(mstpInit("sw1", 7, 8, 9, 2, 3, 4), 0);
    EXPECT_EQ(gMstp.priority, 7U);
    EXPECT_EQ(gMstp.stackSize, 8U);
    EXPECT_EQ(gMstp.msgQDeepth, 9);
    EXPECT_EQ(gMstp.bridgeLimit, 2);
    EXPECT_EQ(gMstp.xstLimit, 3);
    EXPECT_EQ(gMstp.portLimit, 4);
}

TEST_F(StartUp, TaskIsNamedAndIdle) {
    init();
    EXPECT_EQ(gMstp.taskLen, 5);
    EXPECT_STREQ(reinterpret_cast<const char*>(gMstp.taskName), "tMstp");
    EXPECT_EQ(gMstp.taskId, 0);
    EXPECT_EQ(gMstp.busyDoing, MSTP_BUSY_NULL);
    EXPECT_EQ(gMstp.debug, 0U);
}

TEST_F(StartUp, LeavesBridgeOneAddedWithItsDigestButNotInitialised) {
    init();
    const tMstpBridge* bridge = mstpBridgeGet(1);
    ASSERT_NE(bridge, nullptr);
    EXPECT_EQ(bridge->inited, 0);
    EXPECT_EQ(bridge->cfgIdDigest[0], 0xAC);
    EXPECT_EQ(bridge->xstCount, 0);
}

// ---- the pools

TEST_F(StartUp, BridgesSlicesStartAsManyRecordsApartAsThereAreBridges) {
    init("sw1", 0, 3, 5, 2);
    EXPECT_EQ(gMstp.bridges[0].xsts, gMstp.xsts);
    EXPECT_EQ(gMstp.bridges[1].xsts, gMstp.xsts + 3);
    EXPECT_EQ(gMstp.bridges[2].xsts, gMstp.xsts + 6);
}

TEST_F(StartUp, PortsSlicesHoldOneRecordAnInstance) {
    init("sw1", 0, 1, 5, 3);
    EXPECT_EQ(gMstp.ports[0].xstPorts, gMstp.xstPorts);
    EXPECT_EQ(gMstp.ports[2].xstPorts, gMstp.xstPorts + 10);
}

TEST_F(StartUp, PoolCoversEverySliceAlsoWithMoreBridgesThanInstances) {
    init("sw1", 0, 4, 2, 1);
    // The last slice starts at 3 x 4 and holds 2; under a sanitizer a short pool is caught here.
    gMstp.bridges[3].xsts[1].xstId = 9;
    EXPECT_EQ(gMstp.xsts[13].xstId, 9);
}

TEST_F(StartUp, ListsStartEmpty) {
    init("sw1", 0, 2, 2, 2);
    EXPECT_TRUE(listEmpty(&gMstp.bridges[1].portsList));
    EXPECT_TRUE(listEmpty(&gMstp.bridges[1].xstList));
    EXPECT_TRUE(listEmpty(&gMstp.xsts[3].xstPortList));
    EXPECT_TRUE(listEmpty(&gMstp.ports[1].xstPortList));
}

TEST_F(StartUp, NothingIsAllocatedAfterIt) {
    TestBridge bridge;
    const uint64_t before = sim::allocations();
    bridge.addInstance(1);
    bridge.addUpPort(1);
    bridge.advance(1000);
    EXPECT_EQ(sim::allocations(), before);
}

TEST_F(StartUp, FailsWithoutMemoryForItsTimers) {
    sim::failAllocation(5);
    expectFailure("");
    EXPECT_EQ(errors, "no memory for the timer list,mstp init failed\n");
}

struct PoolCase {
    uint32_t allocation;
    const char* text;
};

class PoolFailure : public StartUp, public testing::WithParamInterface<PoolCase> {};

TEST_P(PoolFailure, IsNamedAndThePoolsAlreadyMadeAreFreed) {
    sim::failAllocation(GetParam().allocation);
    expectFailure(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Pools, PoolFailure,
                         testing::Values(PoolCase{1, "bridge malloc failed,mstp init failed\n\r"},
                                         PoolCase{2, "ports malloc failed,mstp init failed\n\r"},
                                         PoolCase{3, "xsts malloc failed,mstp init failed\n\r"},
                                         PoolCase{4,
                                                  "xstPorts malloc failed,mstp init failed\n\r"}));

// ---- the sockets

TEST_F(StartUp, SocketsAreOpenedInOrder) {
    init();
    EXPECT_THAT(sw.calls,
                ElementsAre("socket:packet type=3 protocol=16896", // 0x0042 in network order
                            "setsockopt:packet level=263 option=20 value=65535",
                            "platformPktSocketSetup fd=packet", "socket:link type=2 protocol=0",
                            "bind:link length=12", "setsockopt:link level=270 option=1 value=32",
                            "setsockopt:link level=270 option=1 value=31",
                            "setsockopt:link level=270 option=1 value=40",
                            "setsockopt:link level=270 option=1 value=1",
                            "socket:command type=1 protocol=0", "bind:command length=110",
                            "listen:command backlog=10"));
}

TEST_F(StartUp, RefusedPacketOptionIsNotChecked) {
    sw.results["setsockopt:packet"] = 1;
    EXPECT_EQ(init(), 0);
}

struct SocketCase {
    const char* call;
    const char* text;
};

class SocketFailure : public StartUp, public testing::WithParamInterface<SocketCase> {};

TEST_P(SocketFailure, IsNamedAndEverythingIsReleased) {
    sw.results[GetParam().call] = 1;
    expectFailure(GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Sockets, SocketFailure,
    testing::Values(SocketCase{"socket:packet", "pktSocketFd failed\n\r"},
                    SocketCase{"platformPktSocketSetup", "pktSocketFd failed\n\r"},
                    SocketCase{"socket:link", "rtSocketFd failed\n\r"},
                    SocketCase{"bind:link", "rtSocketFd bind failed\n\r"},
                    SocketCase{"setsockopt:link", "rtSocketFd setsockopt failed\n\r"},
                    SocketCase{"socket:command", "cmdSocketFd failed\n\r"}));

TEST_F(StartUp, FailedBindOfTheCommandSocketIsNamedWithTheSystemsReason) {
    sw.results["bind:command"] = 1;
    expectFailure("");
    EXPECT_EQ(errors, "bind failed!\n\r: Input/output error\n");
}

TEST_F(StartUp, FailedListenIsNamedWithTheSystemsReason) {
    sw.results["listen:command"] = 1;
    expectFailure("");
    EXPECT_EQ(errors, "listen failed!\n\r: Input/output error\n");
}

TEST_F(StartUp, OpenSocketsAreClosedWhenALaterStepFails) {
    sw.results["socket:command"] = 1;
    init();
    EXPECT_THAT(sw.calls, Contains("close:packet"));
    EXPECT_THAT(sw.calls, Contains("close:link"));
    EXPECT_THAT(sw.calls, Not(Contains("close:command")));
}

// ---- the command line

class CommandLine : public StartUp {
  protected:
    int32_t start(std::vector<std::string> words) {
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        // The loop never returns: start-up is made to fail at its last socket, and what it had
        // taken in by then is looked at.
        sw.results["listen:command"] = 1;
        testing::internal::CaptureStderr();
        const int32_t result = mstpStart(static_cast<int32_t>(words.size()), argv.data());
        errors = testing::internal::GetCapturedStderr();
        return result;
    }
};

TEST_F(CommandLine, CrashHandlerIsInstalledBeforeAnythingElse) {
    start({"mstp-daemon", "sw1"});
    EXPECT_THAT(sw.calls, ElementsAre("kelCatchSegFault argc=2"));
}

TEST_F(CommandLine, FewerThanSevenWordsAreRefused) {
    EXPECT_EQ(start({"mstp-daemon", "sw1", "0", "0", "0", "0"}), -1);
    EXPECT_THAT(errors, StartsWith("usage: mstp-daemon BRIDGE "));
}

TEST_F(CommandLine, SeventhArgumentMayBeAbsentAndTakesItsDefault) {
    EXPECT_EQ(start({"mstp-daemon", "sw1", "0", "0", "0", "0", "5"}), 0);
    EXPECT_EQ(gMstp.xstLimit, 5);
    EXPECT_EQ(gMstp.portLimit, 64);
}

TEST_F(CommandLine, LimitsOf256And65536AreCutToZeroAndTakeTheirDefaults) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "256", "256", "65536"});
    EXPECT_EQ(gMstp.bridgeLimit, 1);
    EXPECT_EQ(gMstp.xstLimit, 64);
    EXPECT_EQ(gMstp.portLimit, 64);
}

TEST_F(CommandLine, EveryArgumentReachesItsField) {
    start({"mstp-daemon", "lab", "1", "2", "3", "4", "5", "6"});
    EXPECT_EQ(bridgeName(), "lab");
    EXPECT_EQ(gMstp.priority, 1U);
    EXPECT_EQ(gMstp.stackSize, 2U);
    EXPECT_EQ(gMstp.msgQDeepth, 3);
    EXPECT_EQ(gMstp.bridgeLimit, 4);
    EXPECT_EQ(gMstp.xstLimit, 5);
    EXPECT_EQ(gMstp.portLimit, 6);
}

TEST_F(CommandLine, FailedStartEndsWithSuccess) {
    EXPECT_EQ(start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"}), 0);
    EXPECT_THAT(errors, HasSubstr("listen failed!"));
}

TEST_F(CommandLine, WordThatIsNoNumberIsNamed) {
    start({"mstp-daemon", "sw1", "0", "12x", "0", "0", "0", "0"});
    EXPECT_THAT(errors, HasSubstr("argument 3, \"12x\", is not a decimal number; taken as 12"));
}

TEST_F(CommandLine, NumberThatIsTooGreatIsNamed) {
    start({"mstp-daemon", "sw1", "0", "4294967296", "0", "0", "0", "0"});
    EXPECT_THAT(errors, HasSubstr("argument 3, \"4294967296\", is too great; taken as 0"));
}

TEST_F(CommandLine, NumberThatNoMachineHoldsIsNamed) {
    start({"mstp-daemon", "sw1", "0", "99999999999999999999", "0", "0", "0", "0"});
    EXPECT_THAT(errors, HasSubstr("argument 3, \"99999999999999999999\", is too great"));
}

// ---- signals

TEST_F(CommandLine, SignalUsr1PrintsEverything) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    TestBridge bridge;
    bridge.addUpPort(1);
    testing::internal::CaptureStdout();
    mstpInfoShow();
    const std::string everything = testing::internal::GetCapturedStdout();

    testing::internal::CaptureStdout();
    sw.signals.at(SIGUSR1)();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), everything);
    EXPECT_THAT(everything, HasSubstr("\r\n unit:1\r\n"));
}

TEST_F(CommandLine, SignalUsr2TurnsEveryTraceOnAndThenOff) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    sw.signals.at(SIGUSR2)();
    EXPECT_EQ(gMstp.debug, 0xFFFFFFFFU);
    sw.signals.at(SIGUSR2)();
    EXPECT_EQ(gMstp.debug, 0U);
}

TEST_F(CommandLine, SignalUsr2TurnsOffTheTracesThatManagementChose) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    gMstp.debug = MSTP_DEBUG_REFUSAL;
    sw.signals.at(SIGUSR2)();
    EXPECT_EQ(gMstp.debug, 0U);
}

TEST_F(CommandLine, ARefusedCommandLineTakesNoSignals) {
    start({"mstp-daemon", "sw1"});
    EXPECT_TRUE(sw.signals.empty());
}

TEST_F(CommandLine, ABridgeThatSomebodyElseKeepsIsNotStarted) {
    sw.results["platformTakeOver"] = -1;
    EXPECT_EQ(start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"}), -1);
    EXPECT_EQ(sw.portJoined, nullptr);
}

// ---- ports that join the bridge outside the daemon

TEST_F(CommandLine, APortThatJoinsTheBridgeBecomesAPortLikeOneOfManagement) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);
    bridge.sw.add(7);
    EXPECT_EQ(sw.portJoined(7), PLATFORM_PORT_TAKEN);
    ASSERT_NE(bridge.port(7), nullptr);
    EXPECT_EQ(bridge.port(7)->portEnabled, 1);
}

TEST_F(CommandLine, APortThatJoinsABridgeThatIsNotRunningYetIsAskedToComeLater) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    TestBridge bridge;
    EXPECT_EQ(sw.portJoined(7), PLATFORM_PORT_LATER);
    EXPECT_EQ(bridge.port(7), nullptr);
}

TEST_F(CommandLine, APortThatJoinsDuringAFastMapIsAskedToComeLaterAndThenTaken) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    TestBridge bridge;
    mstpBridgeInit(bridge.bridge);
    bridge.sw.add(7);
    uint32_t value = 1;
    bridge.bridge->fastXsts[0] = 0xC0; // instances 0 and 1
    ASSERT_EQ(mstpGeneralSetApi(0, MSTP_GEN_FASTMAPENABLE, &value), 0);
    EXPECT_EQ(sw.portJoined(7), PLATFORM_PORT_LATER);
    bridge.advance(2);
    EXPECT_EQ(sw.portJoined(7), PLATFORM_PORT_TAKEN);
    EXPECT_NE(bridge.xstPort(1, 7), nullptr);
}

TEST_F(CommandLine, APortThatJoinsABridgeWithoutCommonTreeIsAskedToComeLater) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    TestBridgeOptions options;
    options.withCist = false;
    TestBridge bridge(options);
    mstpBridgeInit(bridge.bridge);
    EXPECT_EQ(sw.portJoined(7), PLATFORM_PORT_LATER);
}

TEST_F(CommandLine, APortThatJoinsAFullBridgeIsRefused) {
    start({"mstp-daemon", "sw1", "0", "0", "0", "0", "0", "0"});
    TestBridgeOptions options;
    options.portLimit = 1;
    TestBridge bridge(options);
    bridge.addUpPort(1);
    mstpBridgeInit(bridge.bridge);
    EXPECT_EQ(sw.portJoined(7), PLATFORM_PORT_REFUSED);
}

// ---- small services

TEST(RunPath, LiesInTmpWithoutAFolder) {
    unsetenv("MSTP_RUN_DIR");
    char path[MSTP_PATH_SIZE];
    EXPECT_EQ(mstpRunPath(path, "mstpCmd.socket"), 0);
    EXPECT_STREQ(path, "/tmp/mstpCmd.socket");
}

TEST(RunPath, LiesInTheFolderThatTheEnvironmentNames) {
    setenv("MSTP_RUN_DIR", "/run/sw1", 1);
    char path[MSTP_PATH_SIZE];
    EXPECT_EQ(mstpRunPath(path, "mstpCmd.restore"), 0);
    EXPECT_STREQ(path, "/run/sw1/mstpCmd.restore");
}

TEST(RunPath, ThatIsTooLongIsRefused) {
    setenv("MSTP_RUN_DIR", std::string(100, 'x').c_str(), 1);
    char path[MSTP_PATH_SIZE];
    EXPECT_EQ(mstpRunPath(path, "mstpCmd.socket"), -1);
    EXPECT_STREQ(path, "");
}

TEST(SysUpTime, IsTheSystemsUpTimeInSeconds) {
    sim::setNow(1'234'567'890);
    EXPECT_EQ(mstpGetSysUpTime(), 1234U);
}
