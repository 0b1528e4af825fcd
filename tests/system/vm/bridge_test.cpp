// The Linux platform on a real kernel bridge, in the virtual machine: what is read back by iproute2
// is what the groups say, whatever the order of events. The test plays the daemon.
//
// Spanning tree is left to user space only in the first network namespace, so everything happens
// there.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if_bridge.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "kept_vlans.h"
#include "kernel_bridge.h"
#include "membership.h"
#include "netlink.h"
#include "netlink_request.h"
#include "platform/hardware.h"
#include "platform/interfaces.h"
#include "platform/joined_ports.h"
#include "platform/octets.h"
#include "platform/seam.h"
#include "platform/stg.h"
#include "process.h"

namespace {

using nlohmann::json;
using platform::Bytes;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using VlanList = std::array<uint8_t, platform::VLAN_LIST_SIZE>;

VlanList vlans(const std::vector<uint32_t>& list) {
    VlanList set = {};
    for (const uint32_t vlan : list) {
        platform::addBit(set.data(), vlan - 1);
    }
    return set;
}

std::vector<uint32_t> range(uint32_t first, uint32_t last) {
    std::vector<uint32_t> list;
    for (uint32_t vlan = first; vlan <= last; vlan++) {
        list.push_back(vlan);
    }
    return list;
}

void run(const std::string& command) {
    ASSERT_EQ(system(command.c_str()), 0) << command;
}

json output(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> part;
    size_t length = 0;
    while ((length = fread(part.data(), 1, part.size(), pipe)) > 0) {
        text.append(part.data(), length);
    }
    pclose(pipe);
    return text.empty() ? json::array() : json::parse(text, nullptr, false);
}

uint32_t indexOf(const std::string& name) {
    return if_nametoindex(name.c_str());
}

// The kernel starts this program to ask whether user space runs spanning tree.
void leaveSpanningTreeToUserSpace() {
    run("mkdir -p /proc/1/root/sbin");
    run("printf '#!/bin/busybox sh\\nexit 0\\n' >/proc/1/root/sbin/bridge-stp");
    run("chmod +x /proc/1/root/sbin/bridge-stp");
}

class Bridge : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        leaveSpanningTreeToUserSpace();
        platform::setPacketSocket(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0));
    }

    void SetUp() override {
        addBridge("vlan_filtering 1 vlan_default_pvid 0");
        run("printf 'link add %s up type veth peer name %s\\nlink set %s up\\n' "
            "pa pa-peer pa-peer pb pb-peer pb-peer | ip -batch -");
        start();
    }

    void TearDown() override {
        for (const uint32_t unit : std::set<uint32_t>(m_attached)) {
            detach(unit);
        }
        for (const uint32_t group : m_groups) {
            stgShrProtocolDel(group);
        }
        run("printf 'link del %s\\n' pa pb br0 | ip -force -batch - 2>/dev/null || true");
        serve();
        close(m_fd);
        platform::bindBridge(nullptr);
    }

    static void addBridge(const std::string& options) {
        run("ip link add br0 up type bridge stp_state 1 mcast_snooping 0 " + options);
    }

    // What the daemon does when it starts: the link socket, and the CIST's group with all VLANs.
    void start() {
        char name[] = "br0";
        char program[] = "mstp-daemon";
        char* arguments[] = {program, name};
        platform::setBridgeName(2, arguments);
        m_fd = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE);
        sockaddr_nl address = {};
        address.nl_family = AF_NETLINK;
        ASSERT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        std::array<uint32_t, PLATFORM_LINK_GROUPS_MAX> groups = {};
        const uint32_t count = platformLinkGroups(groups.data());
        for (uint32_t i = 0; i < count; i++) {
            ASSERT_EQ(
                setsockopt(m_fd, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &groups[i], sizeof groups[i]),
                0);
        }
        m_cist = addGroup(range(1, platform::VLAN_MAX));
        serve();
    }

    // The daemon's end, without a farewell; what the kernel has stays.
    void crash() {
        platform::bindBridge(nullptr);
        for (const uint32_t unit : std::set<uint32_t>(m_attached)) {
            detach(unit);
        }
        for (const uint32_t group : m_groups) {
            stgShrProtocolDel(group);
        }
        m_groups.clear();
        close(m_fd);
    }

    uint32_t addGroup(const std::vector<uint32_t>& members) {
        uint32_t group = 0;
        EXPECT_EQ(stgShrProtocolAdd(&group, KEL_KIND_CUSTOMER), 0);
        m_groups.push_back(group);
        const VlanList list = vlans(members);
        EXPECT_EQ(stgShrProtocolVlanAdd(group, list.data(), list.size()), 0);
        return group;
    }

    static void moveVlans(uint32_t from, uint32_t to, const std::vector<uint32_t>& moved) {
        const VlanList list = vlans(moved);
        stgShrProtocolVlanDel(from, list.data(), list.size());
        stgShrProtocolVlanAdd(to, list.data(), list.size());
    }

    void deleteGroup(uint32_t group, const std::vector<uint32_t>& members) {
        moveVlans(group, m_cist, members);
        stgShrProtocolDel(group);
        std::erase(m_groups, group);
    }

    void attach(uint32_t unit) {
        uint32_t kind = KEL_KIND_CUSTOMER;
        EXPECT_EQ(kelIfSetApi(unit, KEL_IF_BPDU_ATTACH, &kind), 0);
        m_attached.insert(unit);
    }

    void detach(uint32_t unit) {
        uint32_t kind = KEL_KIND_CUSTOMER;
        kelIfSetApi(unit, KEL_IF_BPDU_DETACH, &kind);
        m_attached.erase(unit);
    }

    void join(const std::string& port) {
        run("ip link set " + port + " master br0");
        serve();
    }

    // Both ports in the bridge and run by the daemon, both states told.
    void tellBoth(uint32_t group, uint32_t a, uint32_t b) {
        stgShrProtocolPortStateSet(group, indexOf("pa"), a);
        stgShrProtocolPortStateSet(group, indexOf("pb"), b);
    }

    void runBoth() {
        for (const char* port : {"pa", "pb"}) {
            join(port);
            attach(indexOf(port));
        }
        serve();
    }

    // Turns of the daemon's loop until there is nothing to do.
    void serve() {
        while (readable()) {
            takeMessages();
        }
    }

    bool readable() {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(m_fd, &set);
        timeval timeout = {0, 20'000};
        return platformSelect(m_fd + 1, &set, nullptr, nullptr, &timeout) > 0;
    }

    void takeMessages() {
        std::array<uint8_t, 2048> buffer;
        const int32_t length = platformLinkRecv(m_fd, buffer.data(), buffer.size());
        ASSERT_GE(length, 16);
        Bytes rest = {buffer.data(), static_cast<uint32_t>(length)};
        Bytes message;
        while (platform::nextMessage(&rest, &message)) {
            takeMessage(message);
        }
    }

    void takeMessage(const Bytes& message) {
        const uint16_t type = platform::messageHeader(message).nlmsg_type;
        platform::LinkInfo link;
        if (type == NLMSG_NOOP || !platform::readLink(message, &link)) {
            return;
        }
        if (type == RTM_DELLINK) {
            m_gone.push_back(link.ifindex);
            stgShrProtocolPortStateSet(m_cist, link.ifindex, STG_PORT_FORWARDING);
            detach(link.ifindex);
            return;
        }
        Bytes attributes = {message.data + 32, message.length - 32};
        uint16_t attribute = 0;
        Bytes value;
        while (platform::nextAttribute(&attributes, &attribute, &value)) {
            if (attribute == PLATFORM_LINK_VLAN) {
                m_vlans.push_back(link.ifindex);
            } else if (attribute == PLATFORM_LINK_SYSTEM_MAC) {
                m_address.assign(value.data, value.data + value.length);
            }
        }
    }

    // Serves until @p told holds, for as long as a busy machine may need.
    void serveUntil(const std::function<bool()>& holds) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        do {
            serve();
        } while (!holds() && std::chrono::steady_clock::now() < end);
    }

    static std::string portState(const std::string& port) {
        const json links = output("bridge -j -d link show dev " + port);
        return links.empty() || !links[0].contains("state") ? "none" : links[0]["state"];
    }

    // The state of each VLAN of the port, by the kernel's own word.
    static std::map<uint32_t, std::string> vlanStates(const std::string& port) {
        std::map<uint32_t, std::string> states;
        for (const json& link : output("bridge -j -d vlan show dev " + port)) {
            for (const json& each : link["vlans"]) {
                const uint32_t first = each["vlan"];
                const uint32_t last = each.value("vlanEnd", first);
                for (uint32_t vlan = first; vlan <= last; vlan++) {
                    states[vlan] = each.value("state", "none");
                }
            }
        }
        return states;
    }

    void expectStates(const std::string& port, const std::map<uint32_t, std::string>& expected) {
        serveUntil([&] { return vlanStates(port) == expected; });
        EXPECT_EQ(vlanStates(port), expected) << "port " << port;
    }

    void expectPortState(const std::string& port, const std::string& expected) {
        serveUntil([&] { return portState(port) == expected; });
        EXPECT_EQ(portState(port), expected) << "port " << port;
    }

    int m_fd = -1;
    uint32_t m_cist = 0;
    std::vector<uint32_t> m_groups;
    std::set<uint32_t> m_attached;
    std::vector<uint32_t> m_gone;
    std::vector<uint32_t> m_vlans;
    std::vector<uint8_t> m_address;
};

// ---- orders

// V: VLANs 10 and 11 come. I: the instance of VLAN 10 comes. P: the ports join. S: the daemon tells
// the states: of VLAN 10 it lets port a forward, of the others port b.
class BridgeOrder : public Bridge, public testing::WithParamInterface<const char*> {
  protected:
    void addVlans() {
        run("bridge vlan add dev br0 self vid 10-11");
        m_hasVlans = true;
        addPortVlans();
    }

    void addPortVlans() const {
        if (m_hasVlans && m_hasPorts) {
            run("bridge vlan add dev pa vid 10-11");
            run("bridge vlan add dev pb vid 10-11");
        }
    }

    void addInstance() {
        m_instance = addGroup({});
        moveVlans(m_cist, m_instance, {10});
    }

    void addPorts() {
        join("pa");
        join("pb");
        m_hasPorts = true;
        addPortVlans();
    }

    void tellStates() {
        attach(indexOf("pa"));
        attach(indexOf("pb"));
        tellBoth(m_cist, STG_PORT_BLOCKING, STG_PORT_FORWARDING);
        tellBoth(m_instance, STG_PORT_FORWARDING, STG_PORT_BLOCKING);
    }

    uint32_t m_instance = 0;
    bool m_hasVlans = false;
    bool m_hasPorts = false;
};

TEST_P(BridgeOrder, EndsInTheStatesThatWereTold) {
    testing::internal::CaptureStderr();
    for (const char* step = GetParam(); *step != '\0'; step++) {
        switch (*step) {
        case 'V':
            addVlans();
            break;
        case 'I':
            addInstance();
            break;
        case 'P':
            addPorts();
            break;
        default:
            tellStates();
            break;
        }
        serve();
    }
    expectStates("pa", {{10, "forwarding"}, {11, "blocking"}});
    expectStates("pb", {{10, "blocking"}, {11, "forwarding"}});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

INSTANTIATE_TEST_SUITE_P(All, BridgeOrder,
                         testing::Values("VIPS", "VISP", "VPIS", "IVPS", "IVSP", "IPVS", "IPSV",
                                         "ISVP", "ISPV", "PVIS", "PIVS", "PISV"),
                         [](const auto& order) { return std::string(order.param); });

// ---- groups and VLANs

class BridgeGroups : public Bridge {
  protected:
    void SetUp() override {
        Bridge::SetUp();
        runBoth();
        m_one = addGroup({});
        m_two = addGroup({});
        tellBoth(m_cist, STG_PORT_FORWARDING, STG_PORT_BLOCKING);
        tellBoth(m_one, STG_PORT_BLOCKING, STG_PORT_FORWARDING);
        tellBoth(m_two, STG_PORT_LEARNING, STG_PORT_BLOCKING);
        moveVlans(m_cist, m_one, {10});
        run("bridge vlan add dev pa vid 10-12");
        run("bridge vlan add dev pb vid 10-12");
        serve();
    }

    // Behind the daemon's back.
    static void mapVlan(uint16_t vlan, uint16_t instance) {
        br_vlan_msg body = {};
        body.family = AF_BRIDGE;
        body.ifindex = indexOf("br0");
        platform::NetlinkRequest request;
        platform::requestBegin(&request, RTM_NEWVLAN, 0, &body, sizeof body);
        const uint32_t nest = platform::requestNest(&request, BRIDGE_VLANDB_GLOBAL_OPTIONS);
        platform::requestPutValue(&request, BRIDGE_VLANDB_GOPTS_ID, vlan);
        platform::requestPutValue(&request, BRIDGE_VLANDB_GOPTS_MSTI, instance);
        platform::requestEndNest(&request, nest);
        ASSERT_EQ(platform::netlinkRequest(&request, nullptr, nullptr), 0);
    }

    /// Takes a VLAN off in the words of the VLAN table; iproute2 uses those of the link.
    static void takeVlanOff(const char* port, uint16_t vlan) {
        br_vlan_msg body = {};
        body.family = AF_BRIDGE;
        body.ifindex = indexOf(port);
        platform::NetlinkRequest request;
        platform::requestBegin(&request, RTM_DELVLAN, 0, &body, sizeof body);
        const uint32_t nest = platform::requestNest(&request, BRIDGE_VLANDB_ENTRY);
        const bridge_vlan_info info = {0, vlan};
        platform::requestPutValue(&request, BRIDGE_VLANDB_ENTRY_INFO, info);
        platform::requestEndNest(&request, nest);
        ASSERT_EQ(platform::netlinkRequest(&request, nullptr, nullptr), 0);
    }

    uint32_t m_one = 0;
    uint32_t m_two = 0;
};

TEST_F(BridgeGroups, VlanThatChangesGroupsTakesTheOtherGroupsStates) {
    moveVlans(m_one, m_two, {10});
    expectStates("pa", {{10, "learning"}, {11, "forwarding"}, {12, "forwarding"}});
    expectStates("pb", {{10, "blocking"}, {11, "blocking"}, {12, "blocking"}});
}

TEST_F(BridgeGroups, VlansOfAGroupThatGoesFollowTheCist) {
    deleteGroup(m_one, {10});
    expectStates("pa", {{10, "forwarding"}, {11, "forwarding"}, {12, "forwarding"}});
    expectStates("pb", {{10, "blocking"}, {11, "blocking"}, {12, "blocking"}});
}

TEST_F(BridgeGroups, LastVlanOfThePortThatReturnsToTheCistTakesItsState) {
    run("bridge vlan del dev pa vid 11-12");
    deleteGroup(m_one, {10});
    expectStates("pa", {{10, "forwarding"}});
}

TEST_F(BridgeGroups, VlanThatLeavesAllPortsAndReturnsHasItsStatesAgain) {
    run("bridge vlan del dev pa vid 10; bridge vlan del dev pb vid 10");
    run("bridge vlan add dev pb vid 10; bridge vlan add dev pa vid 10");
    expectStates("pa", {{10, "blocking"}, {11, "forwarding"}, {12, "forwarding"}});
    expectStates("pb", {{10, "forwarding"}, {11, "blocking"}, {12, "blocking"}});
}

TEST_F(BridgeGroups, VlanThatSomebodyElseMapsIsMappedBack) {
    mapVlan(11, 77);
    ASSERT_EQ(vlanStates("pa")[11], "disabled");
    expectStates("pa", {{10, "blocking"}, {11, "forwarding"}, {12, "forwarding"}});
}

TEST_F(BridgeGroups, StateThatSomebodyElseSetsIsSetBack) {
    run("bridge link set dev pb state 3");
    expectPortState("pb", "blocking");
}

TEST_F(BridgeGroups, PortWhoseLinkReturnsHasItsStateAgain) {
    run("ip link set pa-peer down");
    expectPortState("pa", "disabled");
    run("ip link set pa-peer up");
    expectPortState("pa", "forwarding");
    expectStates("pa", {{10, "blocking"}, {11, "forwarding"}, {12, "forwarding"}});
}

TEST_F(BridgeGroups, DaemonIsToldOnceOfTheVlansThatComeToAPort) {
    m_vlans.clear();
    run("bridge vlan add dev pb vid 20-29");
    serveUntil([&] { return !m_vlans.empty(); });
    EXPECT_THAT(m_vlans, ElementsAre(indexOf("pb")));
}

// ---- ports

TEST_F(BridgeGroups, PortThatLeavesTheBridgeIsGone) {
    run("ip link set pa nomaster");
    serveUntil([&] { return !m_gone.empty(); });
    EXPECT_THAT(m_gone, ElementsAre(indexOf("pa")));
}

// The kernel tells of it as it tells of a port that leaves.
TEST_F(BridgeGroups, PortThatLosesAVlanStays) {
    takeVlanOff("pa", 12);
    expectStates("pa", {{10, "blocking"}, {11, "forwarding"}});
    EXPECT_THAT(m_gone, IsEmpty());
}

TEST_F(BridgeGroups, PortThatReturnsDiscardsUntilTold) {
    run("ip link set pa nomaster; ip link set pa master br0; bridge vlan add dev pa vid 10-11");
    expectPortState("pa", "blocking");
    expectStates("pa", {{10, "blocking"}, {11, "blocking"}});
    attach(indexOf("pa"));
    tellBoth(m_cist, STG_PORT_FORWARDING, STG_PORT_BLOCKING);
    expectStates("pa", {{10, "blocking"}, {11, "forwarding"}});
}

TEST_F(BridgeGroups, PortThatTheDaemonLetsGoOfForwards) {
    for (const uint32_t group : {m_cist, m_one, m_two}) {
        stgShrProtocolPortStateSet(group, indexOf("pb"), STG_PORT_FORWARDING);
    }
    detach(indexOf("pb"));
    moveVlans(m_cist, addGroup({}), {12});
    expectStates("pb", {{10, "forwarding"}, {11, "forwarding"}, {12, "forwarding"}});
}

TEST_F(BridgeGroups, EveryPortIsGoneWhenTheBridgeIs) {
    run("ip link del br0");
    serveUntil([&] { return m_gone.size() >= 2; });
    EXPECT_THAT(m_gone, testing::UnorderedElementsAre(indexOf("pa"), indexOf("pb")));
}

TEST_F(BridgeGroups, BridgeThatIsMadeAnewIsServedAgain) {
    run("ip link del br0");
    serveUntil([&] { return m_gone.size() >= 2; });
    addBridge("vlan_filtering 1 vlan_default_pvid 0");
    runBoth();
    tellBoth(m_one, STG_PORT_LEARNING, STG_PORT_BLOCKING);
    run("bridge vlan add dev pa vid 10");
    expectStates("pa", {{10, "learning"}});
}

TEST_F(BridgeGroups, BridgeIsStillServedUnderAnotherName) {
    run("ip link set br0 down; ip link set br0 name other; ip link set other up");
    tellBoth(m_one, STG_PORT_LEARNING, STG_PORT_BLOCKING);
    expectStates("pa", {{10, "learning"}, {11, "forwarding"}, {12, "forwarding"}});
    run("ip link set other down; ip link set other name br0");
}

TEST_F(BridgeGroups, NewAddressOfTheBridgeIsTold) {
    std::array<uint8_t, 6> mac = {};
    octetstring octets = {reinterpret_cast<int8_t*>(mac.data()), 0};
    ASSERT_EQ(kelScalarGetApi(0, KEL_SCALAR_SYSTEM_MAC, &octets), 0);
    run("ip link set br0 address 02:11:22:33:44:55");
    serveUntil([&] { return !m_address.empty(); });
    EXPECT_THAT(m_address, ElementsAre(0x02, 0x11, 0x22, 0x33, 0x44, 0x55));
}

TEST_F(BridgeGroups, NothingIsMissedWhenNewsAreLost) {
    const int smallest = 1;
    setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &smallest, sizeof smallest);
    run("for i in 1 2 3 4 5 6; do ip link set lo down; ip link set lo up; done");
    run("bridge vlan del dev pa vid 10-12; bridge vlan add dev pa vid 10");
    run("ip link set pb nomaster");
    expectStates("pa", {{10, "blocking"}});
    EXPECT_THAT(m_gone, ElementsAre(indexOf("pb")));
}

TEST_F(BridgeGroups, StatesOutliveTheDaemon) {
    crash();
    start();
    EXPECT_EQ(vlanStates("pa"), (std::map<uint32_t, std::string>{
                                    {10, "blocking"}, {11, "forwarding"}, {12, "forwarding"}}));
    EXPECT_EQ(vlanStates("pb"), (std::map<uint32_t, std::string>{
                                    {10, "forwarding"}, {11, "blocking"}, {12, "blocking"}}));
}

TEST_F(BridgeGroups, PortThatANewDaemonRunsDiscardsUntilTold) {
    crash();
    start();
    attach(indexOf("pa"));
    expectStates("pa", {{10, "blocking"}, {11, "blocking"}, {12, "blocking"}});
}

// ---- ports that are offered

std::vector<uint32_t> gOffered;
int32_t gAnswer;

int32_t takeOffer(uint32_t unit) {
    gOffered.push_back(unit);
    return gAnswer;
}

class BridgeOffers : public Bridge {
  protected:
    void SetUp() override {
        Bridge::SetUp();
        gOffered.clear();
        platformOnPortJoined(takeOffer);
    }

    void TearDown() override {
        platformOnPortJoined(nullptr);
        Bridge::TearDown();
    }
};

TEST_F(BridgeOffers, PortThatJoinsIsOfferedOnce) {
    gAnswer = PLATFORM_PORT_TAKEN;
    join("pa");
    serve();
    EXPECT_THAT(gOffered, ElementsAre(indexOf("pa")));
}

TEST_F(BridgeOffers, PortThatIsNotWantedYetIsOfferedAgain) {
    gAnswer = PLATFORM_PORT_LATER;
    join("pa");
    gOffered.clear();
    gAnswer = PLATFORM_PORT_REFUSED;
    serve();
    serve();
    EXPECT_THAT(gOffered, ElementsAre(indexOf("pa")));
}

TEST_F(BridgeOffers, PortsThatAreThereBeforeTheDaemonAreOffered) {
    crash();
    run("ip link set pa master br0; ip link set pb master br0");
    gAnswer = PLATFORM_PORT_TAKEN;
    start();
    EXPECT_THAT(gOffered, testing::UnorderedElementsAre(indexOf("pa"), indexOf("pb")));
}

// ---- modes

class BridgeModes : public Bridge {
  protected:
    void remake(const std::string& options) {
        run("ip link del br0");
        serve();
        addBridge(options);
    }
};

TEST_F(BridgeModes, PlainBridgeFollowsTheCistAndSaysSoOnce) {
    testing::internal::CaptureStderr();
    remake("vlan_filtering 0");
    runBoth();
    tellBoth(m_cist, STG_PORT_FORWARDING, STG_PORT_BLOCKING);
    tellBoth(addGroup({10}), STG_PORT_BLOCKING, STG_PORT_FORWARDING);
    expectPortState("pa", "forwarding");
    expectPortState("pb", "blocking");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "mstp: bridge br0: VLAN filtering is off: all VLANs follow the CIST\n");
}

// A bridge whose ports have VLANs already when the daemon comes.
class BridgeWithVlans : public Bridge {
  protected:
    void SetUp() override {
        Bridge::SetUp();
        crash();
        run("ip link del br0");
        addBridge("vlan_filtering 1 vlan_default_pvid 1");
        run("ip link set pa master br0; ip link set pb master br0");
        run("bridge vlan add dev pa vid 10-19; bridge vlan add dev pa vid 20 pvid untagged");
        run("bridge vlan add dev pb vid 10 untagged; bridge vlan add dev pb vid 4000-4094");
        run("bridge vlan add dev br0 self vid 10-12");
        run("bridge link set dev pa vlan_tunnel on; bridge vlan add dev pa vid 30-31");
        run("bridge vlan add dev pa vid 30-31 tunnel_info id 1030-1031");
        run("bridge vlan set dev pa vid 11 mcast_router 2");
        run("bridge vlan global set dev br0 vid 15 mcast_igmp_version 3");
        m_before = everything();
    }

    // All that the kernel tells of VLANs but their states and instances.
    static std::string everything() {
        std::string text;
        for (const char* command : {"bridge -j -d vlan show", "bridge -j vlan tunnelshow",
                                    "bridge -j vlan global show dev br0"}) {
            json all = output(command);
            forget(&all);
            text += all.dump(1) + "\n";
        }
        return text;
    }

    static void forget(json* part) {
        if (part->is_object()) {
            part->erase("state");
            part->erase("msti");
        }
        for (json& each : *part) {
            if (each.is_structured()) {
                forget(&each);
            }
        }
    }

    std::string startAndListen() {
        testing::internal::CaptureStderr();
        start();
        return testing::internal::GetCapturedStderr();
    }

    std::string m_before;
};

TEST_F(BridgeWithVlans, KeepsThemAllWhenItsModeChangesAndSaysSo) {
    EXPECT_THAT(startAndListen(), testing::MatchesRegex("mstp: bridge br0: MST mode is on; the "
                                                        "VLANs of its ports were off for that for "
                                                        "[0-9]+ ms\n"));
    EXPECT_EQ(everything(), m_before);
}

TEST_F(BridgeWithVlans, FollowsItsInstances) {
    startAndListen();
    attach(indexOf("pa"));
    attach(indexOf("pb"));
    const uint32_t group = addGroup({});
    moveVlans(m_cist, group, {10});
    tellBoth(m_cist, STG_PORT_FORWARDING, STG_PORT_BLOCKING);
    tellBoth(group, STG_PORT_BLOCKING, STG_PORT_FORWARDING);
    serveUntil([] { return vlanStates("pb")[10] == "forwarding"; });
    EXPECT_EQ(vlanStates("pa")[10], "blocking");
    EXPECT_EQ(vlanStates("pa")[11], "forwarding");
    EXPECT_EQ(vlanStates("pb")[4094], "blocking");
}

TEST_F(BridgeWithVlans, HasThemAgainAfterAStartThatWasKilled) {
    startAndListen();
    ASSERT_EQ(platform::keepPortVlans(), 0);
    ASSERT_EQ(platform::takePortVlansOff(), 0);
    ASSERT_NE(everything(), m_before);
    crash();
    EXPECT_THAT(startAndListen(),
                HasSubstr("VLANs that an interrupted start took off are put back"));
    EXPECT_EQ(everything(), m_before);
}

TEST_F(BridgeModes, VlanFilteringStaysOnWhereStatesWouldNotCountWithoutIt) {
    runBoth();
    run("bridge vlan add dev pa vid 10");
    serve();
    testing::internal::CaptureStderr();
    run("ip link set br0 type bridge vlan_filtering 0");
    serveUntil([] {
        return output("ip -d -j link show br0")[0]["linkinfo"]["info_data"]["vlan_filtering"] == 1;
    });
    EXPECT_EQ(output("ip -d -j link show br0")[0]["linkinfo"]["info_data"]["vlan_filtering"], 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("VLAN filtering is on again"));
}

TEST_F(BridgeModes, KernelThatRunsSpanningTreeItselfIsNamed) {
    run("rm /proc/1/root/sbin/bridge-stp");
    testing::internal::CaptureStderr();
    remake("vlan_filtering 1 vlan_default_pvid 0");
    leaveSpanningTreeToUserSpace();
    runBoth();
    tellBoth(m_cist, STG_PORT_BLOCKING, STG_PORT_BLOCKING);
    std::string said;
    serveUntil([&] {
        said += testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        return said.find("the kernel runs spanning tree itself") != std::string::npos;
    });
    testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("the kernel runs spanning tree itself"));
}

// ---- flush

class BridgeFlush : public BridgeGroups {
  protected:
    static void learn(uint32_t vlan) {
        const std::string text = std::to_string(vlan);
        run("bridge fdb replace 02:00:00:00:00:" + text + " dev pa vlan " + text +
            " master dynamic");
        run("bridge fdb replace 02:00:00:00:01:" + text + " dev pa vlan " + text +
            " master static");
    }

    static std::vector<std::string> known() {
        std::vector<std::string> addresses;
        for (const json& entry : output("bridge -j fdb show dev pa")) {
            const std::string mac = entry["mac"];
            if (mac.starts_with("02:00:00:00:0")) {
                addresses.push_back(mac);
            }
        }
        return addresses;
    }

    static int32_t flush(uint32_t attribute, const std::vector<uint32_t>& list) {
        VlanList set = vlans(list);
        octetstring octets = {reinterpret_cast<int8_t*>(set.data()), set.size()};
        return kelIfSetApi(indexOf("pa"), attribute, &octets);
    }
};

TEST_F(BridgeFlush, ForgetsWhatWasLearnedInTheVlan) {
    learn(10);
    learn(11);
    EXPECT_EQ(flush(KEL_IF_FLUSH_MAC, {10}), 0);
    EXPECT_THAT(known(), testing::UnorderedElementsAre("02:00:00:00:01:10", "02:00:00:00:00:11",
                                                       "02:00:00:00:01:11"));
}

TEST_F(BridgeFlush, ForgetsTheWholePortForAllItsVlans) {
    learn(10);
    learn(11);
    EXPECT_EQ(flush(KEL_IF_FLUSH_MAC, range(1, 4094)), 0);
    EXPECT_THAT(known(), testing::UnorderedElementsAre("02:00:00:00:01:10", "02:00:00:00:01:11"));
}

TEST_F(BridgeFlush, OfVlansThatThePortDoesNotHaveForgetsNothing) {
    learn(10);
    EXPECT_EQ(flush(KEL_IF_FLUSH_MAC, {13}), 0);
    EXPECT_THAT(known(), Contains("02:00:00:00:00:10"));
}

TEST_F(BridgeFlush, OfAnInterfaceOutsideTheBridgeDoesNothing) {
    run("ip link set pa nomaster");
    serve();
    EXPECT_EQ(flush(KEL_IF_FLUSH_MAC, {10}), 0);
}

TEST_F(BridgeFlush, NeighboursOfTheBridgeAreProvedAndNotDropped) {
    run("bridge vlan add dev br0 self vid 10-11");
    run("ip link add br0.10 link br0 type vlan id 10; ip link set br0.10 up");
    run("ip link add br0.11 link br0 type vlan id 11; ip link set br0.11 up");
    run("ip addr add 192.0.2.1/28 dev br0.10; ip addr add 192.0.2.17/28 dev br0.11");
    run("ip neigh replace 192.0.2.2 lladdr 02:00:00:00:00:01 dev br0.10 nud reachable");
    run("ip neigh replace 192.0.2.18 lladdr 02:00:00:00:00:02 dev br0.11 nud reachable");
    EXPECT_EQ(flush(KEL_IF_FLUSH_ARP, {10}), 0);
    platform::settleBridge();
    EXPECT_EQ(output("ip -j neigh show dev br0.10")[0]["state"][0], "PROBE");
    EXPECT_EQ(output("ip -j neigh show dev br0.10")[0]["lladdr"], "02:00:00:00:00:01");
    EXPECT_EQ(output("ip -j neigh show dev br0.11")[0]["state"][0], "REACHABLE");
}

} // namespace
