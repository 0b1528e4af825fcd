// How the kernel's bridge is brought in step: what is written, in which order, in how many
// messages, and what happens when the kernel refuses. The kernel is played; the interfaces are
// real, since they need port numbers.

#include <sys/stat.h>

#include <array>
#include <chrono>
#include <fstream>
#include <iterator>

#include "bridge_vlans.h"
#include "fake_bridge.h"
#include "kept_vlans.h"
#include "kernel_bridge.h"
#include "link_translate.h"
#include "linux_test.h"
#include "membership.h"
#include "platform/joined_ports.h"
#include "platform/octets.h"
#include "platform/seam.h"
#include "platform/stg.h"
#include "process.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using VlanList = std::array<uint8_t, platform::VLAN_LIST_SIZE>;

VlanList range(uint32_t first, uint32_t last) {
    VlanList list = {};
    for (uint32_t vlan = first; vlan <= last; vlan++) {
        platform::addBit(list.data(), vlan - 1);
    }
    return list;
}

class BridgeSettle : public LinuxTest {
  protected:
    void SetUp() override {
        LinuxTest::SetUp();
        platform::setPacketSocket(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
        char program[] = "mstp-daemon";
        char name[] = "fake";
        char* arguments[] = {program, name};
        platform::setBridgeName(2, arguments);
        m_cist = addGroup(range(1, platform::VLAN_MAX));
    }

    void TearDown() override {
        for (const uint32_t group : m_groups) {
            stgShrProtocolDel(group);
        }
        platform::bindBridge(nullptr);
        platform::setBridgeName(0, nullptr);
        LinuxTest::TearDown();
    }

    uint32_t addGroup(const VlanList& list) {
        uint32_t group = 0;
        EXPECT_EQ(stgShrProtocolAdd(&group, KEL_KIND_CUSTOMER), 0);
        EXPECT_EQ(stgShrProtocolVlanAdd(group, list.data(), platform::VLAN_LIST_SIZE), 0);
        m_groups.push_back(group);
        return group;
    }

    // A port of the bridge that the daemon will find.
    uint32_t addPort(const std::string& name) {
        const uint32_t unit = addWire(name);
        m_fake.ports[unit] = {};
        return unit;
    }

    // The daemon starts on the bridge as it is, and runs its ports.
    void start() {
        platform::kernelBridge()->rereadWanted = true;
        platform::settleBridge();
        for (const auto& [unit, port] : m_fake.ports) {
            attach(unit);
        }
        platform::settleBridge();
        m_fake.told.clear();
        m_fake.messages = 0;
    }

    void hear(platform::NetlinkRequest message) {
        std::array<uint8_t, 256> buffer;
        platform::LinkOutput output = {buffer.data(), buffer.size(), 0};
        platform::translateMessage(FakeBridge::bytes(&message), &output);
        platform::settleBridge();
    }

    static void set(uint32_t group, uint32_t unit, uint32_t state) {
        EXPECT_EQ(stgShrProtocolPortStateSet(group, unit, state), 0);
    }

    static std::string text(uint32_t number) { return std::to_string(number); }

    FakeBridge m_fake;
    uint32_t m_cist = 0;
    std::vector<uint32_t> m_groups;
};

TEST_F(BridgeSettle, ClosingComesBeforeMappingAndMappingBeforeOpening) {
    const uint32_t a = addPort("wa");
    const uint32_t b = addPort("wb");
    m_fake.addVlan(a, 10);
    m_fake.addVlan(b, 10);
    start();
    set(m_cist, a, STG_PORT_FORWARDING);
    platform::settleBridge();
    m_fake.told.clear();
    const uint32_t group = addGroup(range(10, 10));
    set(group, a, STG_PORT_FORWARDING);
    set(group, b, STG_PORT_BLOCKING);
    set(m_cist, b, STG_PORT_FORWARDING);
    set(m_cist, a, STG_PORT_BLOCKING);
    platform::settleBridge();
    EXPECT_THAT(m_fake.told,
                ElementsAre("port " + text(a) + " 4", "map 10-10 1", "states " + text(b) + " 1=4",
                            "states " + text(a) + " 1=3", "port " + text(b) + " 3"));
}

TEST_F(BridgeSettle, NothingIsWrittenWhenNothingChanges) {
    const uint32_t a = addPort("wa");
    m_fake.addVlan(a, 10);
    start();
    set(m_cist, a, STG_PORT_FORWARDING);
    platform::settleBridge();
    m_fake.told.clear();
    set(m_cist, a, STG_PORT_FORWARDING);
    hear(m_fake.portMessage(a));
    hear(FakeBridge::vlanMessage(RTM_NEWVLAN, a, 10, 10));
    EXPECT_THAT(m_fake.told, IsEmpty());
}

class ManyInstances : public BridgeSettle {
  protected:
    static constexpr uint32_t kVlans = 1000;
    static constexpr uint32_t kInstances = 64;
    static constexpr uint32_t kPerInstance = 16;
    static constexpr uint32_t kWires = 8;

    void SetUp() override {
        BridgeSettle::SetUp();
        for (uint32_t i = 0; i < kWires; i++) {
            m_units.push_back(addPort("w" + text(i)));
        }
        for (const uint32_t unit : m_units) {
            for (uint32_t vlan = 1; vlan <= kVlans; vlan++) {
                m_fake.addVlan(unit, vlan);
            }
        }
        start();
        for (uint32_t i = 0; i + 1 < kInstances; i++) {
            const uint32_t first = 1 + i * kPerInstance;
            m_mstis.push_back(addGroup(range(first, std::min(kVlans, first + kPerInstance - 1))));
        }
    }

    void setAll(uint32_t state) {
        for (const uint32_t unit : m_units) {
            for (const uint32_t group : m_mstis) {
                set(group, unit, state);
            }
        }
    }

    std::vector<uint32_t> m_units;
    std::vector<uint32_t> m_mstis;
};

TEST_F(ManyInstances, VlansAreMappedInOneMessage) {
    platform::settleBridge();
    EXPECT_EQ(m_fake.messages, 1U);
    EXPECT_EQ(m_fake.instances.at(kVlans), kInstances - 1);
}

TEST_F(ManyInstances, StatesOfAllInstancesTakeOneMessagePerPort) {
    platform::settleBridge();
    m_fake.told.clear();
    setAll(STG_PORT_FORWARDING);
    platform::settleBridge();
    EXPECT_EQ(m_fake.told.size(), kWires);
    for (const auto& [unit, port] : m_fake.ports) {
        EXPECT_EQ(port.vlans.at(kVlans), BR_STATE_FORWARDING);
    }
}

TEST_F(BridgeSettle, VlanThatHasJustGoneDoesNotKeepOthersFromTheirInstance) {
    const uint32_t a = addPort("wa");
    for (uint32_t vlan = 10; vlan <= 14; vlan++) {
        m_fake.addVlan(a, vlan);
    }
    start();
    m_fake.ports[a].vlans.erase(12);
    m_fake.instances.erase(12);
    addGroup(range(10, 14));
    platform::settleBridge();
    EXPECT_THAT(m_fake.instances, ElementsAre(testing::Pair(10, 1), testing::Pair(11, 1),
                                              testing::Pair(13, 1), testing::Pair(14, 1)));
}

TEST_F(BridgeSettle, VlanOnAFurtherPortGetsTheStateOfItsInstance) {
    const uint32_t a = addPort("wa");
    const uint32_t b = addPort("wb");
    m_fake.addVlan(a, 10);
    start();
    const uint32_t group = addGroup(range(10, 10));
    set(m_cist, b, STG_PORT_FORWARDING);
    set(group, b, STG_PORT_BLOCKING);
    platform::settleBridge();
    m_fake.addVlan(b, 10);
    EXPECT_EQ(m_fake.ports[b].vlans[10], BR_STATE_FORWARDING);
    hear(FakeBridge::vlanMessage(RTM_NEWVLAN, b, 10, 10));
    EXPECT_EQ(m_fake.ports[b].vlans[10], BR_STATE_BLOCKING);
}

TEST_F(BridgeSettle, StateWaitsForTheLink) {
    const uint32_t a = addPort("wa");
    start();
    m_fake.ports[a].up = false;
    m_fake.ports[a].state = BR_STATE_DISABLED;
    hear(m_fake.portMessage(a));
    set(m_cist, a, STG_PORT_FORWARDING);
    platform::settleBridge();
    EXPECT_THAT(m_fake.told, IsEmpty());
    m_fake.ports[a].up = true;
    m_fake.ports[a].state = BR_STATE_BLOCKING;
    hear(m_fake.portMessage(a));
    EXPECT_THAT(m_fake.told, ElementsAre("port " + text(a) + " 3"));
}

TEST_F(BridgeSettle, RefusedStateIsTriedAgain) {
    const uint32_t a = addPort("wa");
    start();
    m_fake.refusal = ENOBUFS;
    set(m_cist, a, STG_PORT_FORWARDING);
    platform::settleBridge();
    m_fake.refusal = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (m_fake.told.empty() && std::chrono::steady_clock::now() < end) {
        platform::settleBridge();
    }
    EXPECT_THAT(m_fake.told, ElementsAre("port " + text(a) + " 3"));
}

TEST_F(BridgeSettle, LastingRefusalIsToldOnce) {
    const uint32_t a = addPort("wa");
    start();
    testing::internal::CaptureStderr();
    for (int i = 0; i < 40; i++) {
        m_fake.ports[a].state = BR_STATE_FORWARDING;
        hear(m_fake.portMessage(a));
    }
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "mstp: bridge fake: port wa does not take its state: spanning tree is not left to user "
        "space\n");
}

std::vector<uint32_t> gOffered;

int32_t takeOffer(uint32_t unit) {
    gOffered.push_back(unit);
    return PLATFORM_PORT_TAKEN;
}

class BridgeSettleOffers : public BridgeSettle {
  protected:
    void SetUp() override {
        BridgeSettle::SetUp();
        m_unit = addPort("wa");
        platformOnPortJoined(takeOffer);
        platform::kernelBridge()->rereadWanted = true;
        platform::serveBridge();
        attach(m_unit);
        set(m_cist, m_unit, STG_PORT_FORWARDING);
        platform::serveBridge();
        gOffered.clear();
        m_fake.told.clear();
    }

    void TearDown() override {
        platformOnPortJoined(nullptr);
        BridgeSettle::TearDown();
    }

    uint32_t m_unit = 0;
};

TEST_F(BridgeSettleOffers, PortThatTheDaemonLetsGoOfToTakeItAnewIsOfferedAgain) {
    platformOfferPortAgain(m_unit);
    detach(m_unit);
    platform::serveBridge();
    platform::serveBridge();
    EXPECT_THAT(gOffered, ElementsAre(m_unit));
}

TEST_F(BridgeSettleOffers, PortThatIsToComeBackDiscardsUntilThen) {
    platformOfferPortAgain(m_unit);
    detach(m_unit);
    platform::settleBridge();
    EXPECT_THAT(m_fake.told, ElementsAre("port " + text(m_unit) + " 4"));
}

TEST_F(BridgeSettleOffers, PortThatTheDaemonLetsGoOfForGoodStaysOut) {
    detach(m_unit);
    platform::serveBridge();
    EXPECT_THAT(gOffered, IsEmpty());
}

TEST_F(BridgeSettleOffers, PortThatCameBackIsNotKeptWhenTheDaemonLetsGoOfItForGood) {
    platformOfferPortAgain(m_unit);
    detach(m_unit);
    platform::serveBridge();
    attach(m_unit);
    platform::serveBridge();
    m_fake.told.clear();
    detach(m_unit);
    platform::serveBridge();
    EXPECT_THAT(m_fake.told, ElementsAre("port " + text(m_unit) + " 3"));
}

TEST_F(BridgeSettleOffers, InterfaceOutsideTheBridgeIsNotOffered) {
    platformOfferPortAgain(addWire("wb"));
    platform::serveBridge();
    EXPECT_THAT(gOffered, IsEmpty());
}

TEST_F(BridgeSettle, ReadingThatFailsIsTriedAgain) {
    const uint32_t a = addPort("wa");
    m_fake.dumpsToRefuse = 3;
    platform::kernelBridge()->rereadWanted = true;
    for (int i = 0; i < 4; i++) {
        platform::settleBridge();
    }
    EXPECT_NE(platform::findBridgePort(a), nullptr);
}

TEST_F(BridgeSettle, PortFromAnEarlierLifeIsLeftAlone) {
    const uint32_t a = addPort("wa");
    m_fake.ports[a].state = BR_STATE_FORWARDING;
    m_fake.addVlan(a, 10);
    m_fake.instances[10] = 5;
    platform::kernelBridge()->rereadWanted = true;
    platform::settleBridge();
    hear(m_fake.portMessage(a));
    EXPECT_THAT(m_fake.told, IsEmpty());
}

TEST_F(BridgeSettle, GroupTakesTheInstanceThatItsVlansAreInAlready) {
    const uint32_t a = addPort("wa");
    m_fake.addVlan(a, 10);
    m_fake.instances[10] = 5;
    platform::kernelBridge()->rereadWanted = true;
    platform::settleBridge();
    const uint32_t group = addGroup(range(10, 10));
    platform::settleBridge();
    EXPECT_EQ(platform::groupInstance(group), 5);
    EXPECT_THAT(m_fake.told, IsEmpty());
}

// ---- MST mode on a bridge whose ports have VLANs

class BridgeSettleMode : public BridgeSettle {
  protected:
    void SetUp() override {
        BridgeSettle::SetUp();
        m_folder = testing::TempDir() + "mstp-mode-" + text(static_cast<uint32_t>(getpid()));
        ASSERT_EQ(mkdir(m_folder.c_str(), 0700), 0);
        setenv("MSTP_RUN_DIR", m_folder.c_str(), 1);
        m_fake.mst = false;
        m_unit = addPort("wa");
        for (const uint32_t vlan : {1U, 10U, 11U}) {
            m_fake.addVlan(m_unit, vlan);
        }
        m_fake.ports[m_unit].flags[1] = BRIDGE_VLAN_INFO_PVID | BRIDGE_VLAN_INFO_UNTAGGED;
        m_fake.ports[m_unit].flags[11] = BRIDGE_VLAN_INFO_UNTAGGED;
    }

    void TearDown() override {
        unsetenv("MSTP_RUN_DIR");
        runQuietly("rm -rf " + m_folder);
        BridgeSettle::TearDown();
    }

    // What the daemon says while it meets the bridge.
    std::string meet() {
        testing::internal::CaptureStderr();
        platform::kernelBridge()->rereadWanted = true;
        platform::settleBridge();
        return testing::internal::GetCapturedStderr();
    }

    bool fileIsLeft() const { return access((m_folder + "/mstpVlans.fake").c_str(), F_OK) == 0; }

    void expectAllVlans() {
        const FakeBridge::Port& port = m_fake.ports.at(m_unit);
        std::vector<uint32_t> members;
        for (const auto& [vlan, state] : port.vlans) {
            members.push_back(vlan);
        }
        EXPECT_THAT(members, ElementsAre(1U, 10U, 11U));
        EXPECT_THAT(port.flags, ElementsAre(testing::Pair(1, 6), testing::Pair(11, 4)));
    }

    uint32_t m_unit = 0;
    std::string m_folder;
};

TEST_F(BridgeSettleMode, IsTurnedOnWhileTheVlansAreOff) {
    EXPECT_THAT(meet(), testing::MatchesRegex(
                            "mstp: bridge fake: MST mode is on; the VLANs of its ports were off "
                            "for that for [0-9]+ ms\n"));
    EXPECT_TRUE(m_fake.mst);
    expectAllVlans();
    EXPECT_FALSE(fileIsLeft());
}

TEST_F(BridgeSettleMode, RefusalPutsAllVlansBackAndIsToldOnce) {
    m_fake.mstRefusal = EOPNOTSUPP;
    EXPECT_EQ(meet(), "mstp: bridge fake: MST mode cannot be turned on: Operation not supported: "
                      "all VLANs follow the CIST\n");
    expectAllVlans();
    EXPECT_FALSE(fileIsLeft());
    m_fake.told.clear();
    EXPECT_EQ(meet(), "");
    EXPECT_THAT(m_fake.told, testing::Not(testing::Contains("mst")));
}

TEST_F(BridgeSettleMode, KernelWithoutItLeavesTheVlansAlone) {
    m_fake.mstKnown = false;
    EXPECT_EQ(meet(), "mstp: bridge fake: the kernel has no MST mode: all VLANs follow the CIST\n");
    EXPECT_THAT(m_fake.told, testing::Each(testing::StartsWith("port ")));
}

TEST_F(BridgeSettleMode, VlansThatCannotBeKeptInAFileStayOn) {
    setenv("MSTP_RUN_DIR", (m_folder + "/missing").c_str(), 1);
    EXPECT_EQ(meet(), "mstp: bridge fake: MST mode cannot be turned on: No such file or directory: "
                      "all VLANs follow the CIST\n");
    EXPECT_THAT(m_fake.told, testing::Each(testing::StartsWith("port ")));
}

// As after a start that was killed between two messages.
class BridgeSettleModeInterrupted : public BridgeSettleMode {
  protected:
    void SetUp() override {
        BridgeSettleMode::SetUp();
        m_fake.mstKnown = false;
        meet();
        ASSERT_EQ(platform::keepPortVlans(), 0);
        ASSERT_EQ(platform::takePortVlansOff(), 0);
        ASSERT_TRUE(m_fake.ports[m_unit].vlans.empty());
        platform::bindBridge(nullptr);
    }
};

TEST_F(BridgeSettleModeInterrupted, VlansArePutBackByTheNextStart) {
    EXPECT_THAT(meet(),
                testing::HasSubstr("VLANs that an interrupted start took off are put back"));
    expectAllVlans();
    EXPECT_FALSE(fileIsLeft());
}

TEST_F(BridgeSettleModeInterrupted, PortThatIsInTheBridgeNoMoreGetsNone) {
    m_fake.ports.erase(m_unit);
    meet();
    EXPECT_THAT(m_fake.told, testing::Not(testing::Contains(testing::StartsWith("on "))));
}

TEST_F(BridgeSettleModeInterrupted, FileThatIsCutAnywhereIsNoFile) {
    const std::string path = m_folder + "/mstpVlans.fake";
    std::ifstream file(path, std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(file)), {});
    for (size_t length = 0; length < whole.size(); length++) {
        std::ofstream(path, std::ios::binary) << whole.substr(0, length);
        EXPECT_THAT(meet(), testing::Not(testing::HasSubstr("put back"))) << length;
        platform::bindBridge(nullptr);
    }
    EXPECT_TRUE(m_fake.ports[m_unit].vlans.empty());
}

TEST_F(BridgeSettleModeInterrupted, FileOfAnotherBootOrBridgeIsNoFile) {
    const std::string path = m_folder + "/mstpVlans.fake";
    std::ifstream file(path, std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(file)), {});
    for (const size_t changed : {0U, 8U, 43U, 44U}) {
        std::string other = whole;
        other[changed] = static_cast<char>(other[changed] + 1);
        std::ofstream(path, std::ios::binary) << other;
        EXPECT_THAT(meet(), testing::Not(testing::HasSubstr("put back"))) << changed;
        platform::bindBridge(nullptr);
    }
}

TEST_F(BridgeSettle, OlderKernelForgetsTheWholePort) {
    const uint32_t a = addPort("wa");
    m_fake.addVlan(a, 10);
    m_fake.addVlan(a, 11);
    start();
    m_fake.knowsBulk = false;
    VlanList list = range(10, 10);
    EXPECT_EQ(platform::flushLearned(a, list.data(), platform::VLAN_LIST_SIZE), 0);
    EXPECT_THAT(m_fake.told, ElementsAre("flush " + text(a)));
}

TEST_F(BridgeSettle, ForgettingWalksTheKernelsTableOnce) {
    const uint32_t a = addPort("wa");
    m_fake.addVlan(a, 10);
    start();
    VlanList list = range(1, platform::VLAN_MAX);
    EXPECT_EQ(platform::flushLearned(a, list.data(), platform::VLAN_LIST_SIZE), 0);
    EXPECT_THAT(m_fake.told, ElementsAre("bulk " + text(a)));
}

TEST_F(BridgeSettle, WhatASwitchingChipLearnedIsForgottenToo) {
    const uint32_t a = addPort("wa");
    m_fake.ports[a].offloads = true;
    m_fake.addVlan(a, 10);
    start();
    VlanList list = range(1, platform::VLAN_MAX);
    EXPECT_EQ(platform::flushLearned(a, list.data(), platform::VLAN_LIST_SIZE), 0);
    EXPECT_THAT(m_fake.told, ElementsAre("bulk " + text(a), "bulk " + text(a)));
}

TEST_F(BridgeSettle, VlanMessageWithFalseLengthsIsHarmless) {
    const uint32_t a = addPort("wa");
    start();
    platform::NetlinkRequest message = FakeBridge::vlanMessage(RTM_NEWVLAN, a, 10, 12);
    const platform::Bytes whole = FakeBridge::bytes(&message);
    for (uint32_t length = 0; length < whole.length; length++) {
        const std::vector<uint8_t> part(whole.data, whole.data + length);
        if (length >= NLMSG_HDRLEN) {
            platform::readVlans({part.data(), length}, true);
        }
    }
    EXPECT_FALSE(platform::hasVlan(platform::findBridgePort(a)->vlans, 10));
}

TEST_F(BridgeSettle, VlansThatThereCannotBeAreIgnored) {
    const uint32_t a = addPort("wa");
    start();
    for (const auto& [first, last] :
         {std::pair{0U, 5U}, {4095U, 4095U}, {4000U, 5000U}, {9U, 8U}}) {
        hear(FakeBridge::vlanMessage(RTM_NEWVLAN, a, first, last));
    }
    const platform::BridgePort* port = platform::findBridgePort(a);
    EXPECT_EQ(std::count(std::begin(port->vlans), std::end(port->vlans), 0),
              static_cast<std::ptrdiff_t>(sizeof port->vlans));
}

// ---- requests

TEST(NetlinkRequest, ThatIsTooLongIsNotSent) {
    platform::NetlinkRequest request;
    platform::requestBegin(&request, RTM_NEWLINK, 0, nullptr, 0);
    const std::vector<uint8_t> much(platform::NETLINK_REQUEST_SIZE);
    platform::requestPut(&request, IFLA_IFNAME, much.data(), platform::NETLINK_REQUEST_SIZE - 8);
    EXPECT_EQ(platform::netlinkRequest(&request, nullptr, nullptr), EMSGSIZE);
}

TEST(NetlinkRequest, NestHoldsWhatWasPutIntoIt) {
    platform::NetlinkRequest request;
    platform::requestBegin(&request, RTM_NEWLINK, 0, nullptr, 0);
    const uint32_t nest = platform::requestNest(&request, 7);
    platform::requestPutValue(&request, 8, uint8_t{9});
    platform::requestEndNest(&request, nest);
    platform::Bytes rest = {request.data + NLMSG_HDRLEN, request.length - NLMSG_HDRLEN};
    uint16_t type = 0;
    platform::Bytes outer;
    platform::Bytes inner;
    ASSERT_TRUE(platform::nextAttribute(&rest, &type, &outer));
    EXPECT_EQ(type, 7);
    ASSERT_TRUE(platform::nextAttribute(&outer, &type, &inner));
    EXPECT_EQ(type, 8);
    EXPECT_EQ(inner.data[0], 9);
}

} // namespace
