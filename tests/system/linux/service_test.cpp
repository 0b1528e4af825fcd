// The services that need no network: groups in memory, scalars, notifications, the debug channel,
// the clock, the crash handler.

#include <sys/resource.h>
#include <syslog.h>

#include <array>
#include <csignal>
#include <cstring>
#include <thread>

#include "groups.h"
#include "linux_test.h"
#include "platform/debug.h"
#include "platform/hardware.h"
#include "platform/notify.h"
#include "platform/stg.h"
#include "platform/timer.h"

namespace {

using VlanList = std::array<uint8_t, 512>;

class Groups : public LinuxTest {
  protected:
    void SetUp() override {
        LinuxTest::SetUp();
        ASSERT_EQ(stgShrProtocolAdd(&m_group, KEL_KIND_CUSTOMER), 0);
    }

    void TearDown() override {
        stgShrProtocolDel(m_group);
        LinuxTest::TearDown();
    }

    // An interface with a port number.
    static uint32_t port() {
        tPhyIfIndex position = {};
        const uint32_t unit = indexOf("lo");
        EXPECT_EQ(sysIndexTrans(unit, KEL_INDEX_POSITION, &position), 0);
        return unit;
    }

    uint32_t m_group = 0;
};

TEST_F(Groups, HaveNumbersOtherThanZero) {
    EXPECT_NE(m_group, 0U);
}

TEST_F(Groups, AreDifferent) {
    uint32_t other = 0;
    EXPECT_EQ(stgShrProtocolAdd(&other, KEL_KIND_PROVIDER), 0);
    EXPECT_NE(other, m_group);
    EXPECT_EQ(stgShrProtocolDel(other), 0);
}

TEST_F(Groups, OfUnknownKindAreRefused) {
    uint32_t other = 77;
    EXPECT_NE(stgShrProtocolAdd(&other, 9), 0);
    EXPECT_EQ(other, 77U);
}

TEST_F(Groups, AreKeptByWhoAsksForHisAgain) {
    uint32_t again = m_group;
    EXPECT_EQ(stgShrProtocolAdd(&again, KEL_KIND_PROVIDER), 0);
    EXPECT_EQ(again, m_group);
    EXPECT_EQ(stgShrProtocolDel(again), 0);
    EXPECT_NE(stgShrProtocolDel(again), 0) << "the group was there twice";
    ASSERT_EQ(stgShrProtocolAdd(&m_group, KEL_KIND_CUSTOMER), 0);
}

TEST_F(Groups, AreEnoughForEveryInstance) {
    std::vector<uint32_t> groups;
    for (uint32_t group = 0; stgShrProtocolAdd(&group, KEL_KIND_CUSTOMER) == 0; group = 0) {
        groups.push_back(group);
    }
    EXPECT_GE(groups.size(), 255U - 1);
    for (const uint32_t each : groups) {
        EXPECT_EQ(stgShrProtocolDel(each), 0);
    }
}

TEST_F(Groups, KeepTheirVlans) {
    VlanList list = {};
    list[0] = 0x80;   // VLAN 1
    list[511] = 0x04; // VLAN 4094
    EXPECT_EQ(stgShrProtocolVlanAdd(m_group, list.data(), 512), 0);
    EXPECT_TRUE(platform::groupHasVlan(m_group, 1));
    EXPECT_FALSE(platform::groupHasVlan(m_group, 2));
    EXPECT_TRUE(platform::groupHasVlan(m_group, 4094));
    list[511] = 0;
    EXPECT_EQ(stgShrProtocolVlanDel(m_group, list.data(), 512), 0);
    EXPECT_FALSE(platform::groupHasVlan(m_group, 1));
    EXPECT_TRUE(platform::groupHasVlan(m_group, 4094));
}

TEST_F(Groups, TakeNoMoreVlansThanThereAre) {
    const std::array<uint8_t, 513> list = {};
    EXPECT_NE(stgShrProtocolVlanAdd(m_group, list.data(), 513), 0);
    EXPECT_NE(stgShrProtocolVlanDel(m_group, list.data(), 513), 0);
    EXPECT_EQ(stgShrProtocolVlanAdd(m_group, nullptr, 0), 0);
    EXPECT_FALSE(platform::groupHasVlan(m_group, 0));
    EXPECT_FALSE(platform::groupHasVlan(m_group, 4095));
}

TEST_F(Groups, KeepTheStateOfAPort) {
    const uint32_t unit = port();
    EXPECT_EQ(platform::groupPortState(m_group, unit), 0U);
    for (const uint32_t state : {STG_PORT_BLOCKING, STG_PORT_LEARNING, STG_PORT_FORWARDING}) {
        EXPECT_EQ(stgShrProtocolPortStateSet(m_group, unit, state), 0);
        EXPECT_EQ(platform::groupPortState(m_group, unit), state);
    }
}

TEST_F(Groups, RefuseUnknownStatesPortsAndGroups) {
    EXPECT_NE(stgShrProtocolPortStateSet(m_group, port(), 0), 0);
    EXPECT_NE(stgShrProtocolPortStateSet(m_group, port(), 7), 0);
    EXPECT_NE(stgShrProtocolPortStateSet(m_group, 12345, STG_PORT_BLOCKING), 0);
    for (const uint32_t group : {0U, 9999U, m_group + 1}) {
        EXPECT_NE(stgShrProtocolPortStateSet(group, port(), STG_PORT_BLOCKING), 0);
        EXPECT_NE(stgShrProtocolVlanAdd(group, nullptr, 0), 0);
        EXPECT_NE(stgShrProtocolVlanDel(group, nullptr, 0), 0);
        EXPECT_NE(stgShrProtocolDel(group), 0);
    }
}

TEST_F(Groups, ForgetWhatTheyHeldWhenReleased) {
    VlanList list = {};
    list.fill(0xFF);
    const uint32_t unit = port();
    stgShrProtocolVlanAdd(m_group, list.data(), 512);
    stgShrProtocolPortStateSet(m_group, unit, STG_PORT_FORWARDING);
    stgShrProtocolDel(m_group);
    ASSERT_EQ(stgShrProtocolAdd(&m_group, KEL_KIND_CUSTOMER), 0);
    EXPECT_FALSE(platform::groupHasVlan(m_group, 1));
    EXPECT_EQ(platform::groupPortState(m_group, unit), 0U);
}

TEST_F(Groups, ForgetThePortWhoseNumberBecomesFree) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    stgShrProtocolPortStateSet(m_group, unit, STG_PORT_FORWARDING);
    tPhyIfIndex position = {};
    ASSERT_EQ(sysIndexTrans(unit, KEL_INDEX_POSITION, &position), 0);
    platform::forgetGroupPort(position.virtualnum);
    EXPECT_EQ(platform::groupPortState(m_group, unit), 0U);
}

TEST(Scalars, ThereIsNoPeerUnit) {
    EXPECT_NE(kelHwScalarGet(0, KEL_HW_PEER_SYNC, nullptr), 0);
    EXPECT_NE(kelHwScalarGet(0, KEL_HW_PEER_ABSENT, nullptr), 0);
}

TEST(Scalars, ThisUnitIsNotTheStandby) {
    uint32_t role = 77;
    EXPECT_EQ(kelHwScalarGet(0, KEL_HW_UNIT_ROLE, &role), 0);
    EXPECT_EQ(role, 1U);
}

TEST(Scalars, UnknownOnesAreRefused) {
    uint32_t value = 77;
    EXPECT_NE(kelHwScalarGet(0, 9999, &value), 0);
    EXPECT_EQ(value, 77U);
}

TEST(Scalars, EveryVlanExists) {
    for (uint32_t vlan = 1; vlan <= 4094; vlan++) {
        ASSERT_EQ(kelVlanGetApi(vlan, KEL_VLAN_EXISTS, nullptr), 0) << vlan;
    }
    EXPECT_NE(kelVlanGetApi(0, KEL_VLAN_EXISTS, nullptr), 0);
    EXPECT_NE(kelVlanGetApi(4095, KEL_VLAN_EXISTS, nullptr), 0);
    EXPECT_NE(kelVlanGetApi(1, 9999, nullptr), 0);
}

TEST(Scalars, EveryManagementChangeIsAccepted) {
    uint32_t value = 1;
    EXPECT_EQ(kelHwScalarSync(0, 0x50001, &value, 0), 0);
    EXPECT_EQ(kelHwIfSync(1, 0x4040001, &value, 0), 0);
    EXPECT_EQ(kelHwMstpXstSync(1, 0x6dcc001, &value, 0), 0);
    EXPECT_EQ(kelHwMstpXstPortSync(nullptr, 0x8d08001, &value, 0), 0);
}

// The system log is made to copy its lines to standard error.
class Notifications : public LinuxTest {
  protected:
    void SetUp() override {
        LinuxTest::SetUp();
        std::string program = "mstp-daemon";
        std::string name = "sw1";
        char* argv[] = {program.data(), name.data(), nullptr};
        kelCatchSegFault(2, argv);
        openlog("mstp", LOG_PERROR, LOG_DAEMON);
        testing::internal::CaptureStderr();
    }

    void TearDown() override {
        closelog();
        LinuxTest::TearDown();
    }

    static std::string logged() { return testing::internal::GetCapturedStderr(); }
};

TEST_F(Notifications, TellOfANewRoot) {
    const uint8_t root[8] = {0x80, 0x05, 0x02, 0x00, 0x00, 0x00, 0xAB, 0x01};
    EXPECT_EQ(sendStpNewRootTrap(5, root), 0);
    EXPECT_EQ(logged(),
              "mstp: event=new-root bridge=sw1 instance=5 old-root=8005.02:00:00:00:ab:01\n");
}

TEST_F(Notifications, TellOfANewRootPort) {
    EXPECT_EQ(sendStpNewRootPortTrap(0, indexOf("lo")), 0);
    EXPECT_EQ(logged(), "mstp: event=new-root-port bridge=sw1 instance=0 port=lo ifindex=1\n");
}

TEST_F(Notifications, TellOfAChangedState) {
    const char* const names[] = {"disabled", "discarding", "learning", "forwarding", "unknown"};
    std::string expected;
    for (uint32_t state = 0; state < 5; state++) {
        EXPECT_EQ(sendStpTopoChgTrap(2, indexOf("lo"), state), 0);
        expected += std::string("mstp: event=topology-change bridge=sw1 instance=2 port=lo "
                                "ifindex=1 state=") +
                    names[state] + "\n";
    }
    EXPECT_EQ(logged(), expected);
}

TEST_F(Notifications, NameAVanishedPortByItsNumber) {
    sendStpNewRootPortTrap(1, 12345);
    EXPECT_EQ(logged(),
              "mstp: event=new-root-port bridge=sw1 instance=1 port=12345 ifindex=12345\n");
}

TEST(DebugOutput, PutsTextOutAsItStands) {
    testing::internal::CaptureStderr();
    NM_DEBUG_OUTPUT("[MSTP]:info=100%s of it\n\r");
    NM_DEBUG_OUTPUT("");
    NM_DEBUG_OUTPUT("\r\n more");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[MSTP]:info=100%s of it\n\r\r\n more");
}

TEST(DebugOutput, IsNotCutHoweverLong) {
    const std::string text(100000, 'x');
    testing::internal::CaptureStderr();
    NM_DEBUG_OUTPUT(text.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
}

TEST(Clock, GoesForwardInMicroseconds) {
    const uint64_t before = platformClock();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const uint64_t passed = platformClock() - before;
    EXPECT_GE(passed, 2000U);
    EXPECT_LT(passed, 60'000'000U);
}

} // namespace

#ifdef MSTP_SANITIZED
// The sanitizer would take the crashes for itself.
extern "C" const char* __asan_default_options() {
    return "handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0";
}
#endif

// Outside the anonymous namespace, and not inlined, so that the backtrace can name them.
struct Crasher {
    [[gnu::noinline]] static int readThrough(volatile int* pointer) { return *pointer + 1; }
    [[gnu::noinline]] static int overflowStack(uint32_t depth, volatile bool* forever) {
        volatile char block[4096] = {};
        block[depth % sizeof block] = 1;
        return *forever ? overflowStack(depth + 1, forever) + block[0] : 0;
    }
};

namespace {

void install() {
    std::string program = "mstp-daemon";
    char* argv[] = {program.data(), nullptr};
    kelCatchSegFault(1, argv);
}

class CrashHandler : public testing::Test {
  protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

using CrashHandlerDeathTest = CrashHandler;

// Too few for a pipe. A sanitizer needs one to end well.
void leaveOneDescriptor() {
    constexpr rlim_t FEW = 32;
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = FEW;
    setrlimit(RLIMIT_NOFILE, &limit);
    int last = -1;
    for (int fd = dup(STDERR_FILENO); fd != -1; fd = dup(fd)) {
        last = fd;
    }
    close(last);
}

TEST_F(CrashHandlerDeathTest, NamesTheSignalAndTheFunctionsInCpp) {
    EXPECT_EXIT(
        {
            install();
            volatile int* nowhere = nullptr;
            Crasher::readThrough(nowhere);
        },
        testing::KilledBySignal(SIGSEGV),
        "crashed: SIGSEGV, invalid memory reference\n(.*\n)*.*\\(Crasher::readThrough\\(int "
        "volatile\\*\\)\\+0x");
}

TEST_F(CrashHandlerDeathTest, WorksWhenTheStackIsUsedUp) {
    EXPECT_EXIT(
        {
            install();
            volatile bool forever = true;
            Crasher::overflowStack(1, &forever);
        },
        testing::KilledBySignal(SIGSEGV), "crashed: SIGSEGV(.*\n)*.*Crasher::overflowStack");
}

TEST_F(CrashHandlerDeathTest, NamesFunctionsAsTheyAreWhenTheirNamesCannotBeTranslated) {
    EXPECT_EXIT(
        {
            leaveOneDescriptor();
            install();
            volatile int* nowhere = nullptr;
            Crasher::readThrough(nowhere);
        },
        testing::KilledBySignal(SIGSEGV),
        "crashed: SIGSEGV(.*\n)*.*\\(_ZN7Crasher11readThroughEPVi\\+0x");
}

TEST_F(CrashHandlerDeathTest, LeavesOtherSignalsTheirDefaultAction) {
    EXPECT_EXIT(
        {
            install();
            abort();
        },
        testing::KilledBySignal(SIGABRT), "crashed: SIGABRT, abort");
    EXPECT_EXIT(
        {
            install();
            raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "^$");
}

TEST_F(CrashHandlerDeathTest, IsNotInstalledOverAnotherHandler) {
    EXPECT_EXIT(
        {
            signal(SIGFPE, [](int) { _exit(42); });
            install();
            raise(SIGFPE);
        },
        testing::ExitedWithCode(42), "^$");
}

TEST_F(CrashHandlerDeathTest, LetsWritesToAClosedPeerFail) {
    EXPECT_EXIT(
        {
            install();
            int ends[2] = {};
            const bool opened = pipe(ends) == 0;
            close(ends[0]);
            _exit(opened && write(ends[1], "x", 1) < 0 ? 42 : 1);
        },
        testing::ExitedWithCode(42), "^$");
}

} // namespace
