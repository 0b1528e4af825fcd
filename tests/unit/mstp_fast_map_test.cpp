// The fast VLAN map from a client's three requests to the trees, the groups and the digest that
// come of it.

#include <algorithm>

#include "management_request.h"
#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_command_server.h"
#include "mstp_nm.h"
#include "restore_file.h"
#include "test_bridge.h"

using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

constexpr uint32_t OLD_MSTI = 5;

Request setVlans() {
    return Request(MSTP_GEN_SETAPI, MSTP_GEN_FASTMAPSETVLANS).index({}).octets({0xFC}); // 1 to 6
}

Request setXsts() {
    return Request(MSTP_GEN_SETAPI, MSTP_GEN_FASTMAPSETXSTS).index({}).octets({0xE0}); // 0, 1, 2
}

Request enable() {
    return Request(MSTP_GEN_SETAPI, MSTP_GEN_FASTMAPENABLE).index({}).int32(1);
}

/// A running bridge with two ports and an MSTI that holds VLAN 2.
class FastMap : public testing::Test {
  protected:
    FastMap() {
        unlink(restorePath().c_str());
        mstpBridgeInit(bridge.bridge);
        bridge.addInstance(OLD_MSTI);
        Octets vlans = Octets::vlans({2});
        mstpXstSetApi(OLD_MSTI, MSTP_XST_VLANLIST, vlans.value());
        bridge.addUpPort(3);
        bridge.addUpPort(4);
        bridge.advance(2);
        bridge.sw.forget();
    }
    ~FastMap() override { unlink(restorePath().c_str()); }

    /// Serves @p request. @return its result
    static int32_t serve(Request request) {
        answer = std::move(request);
        const auto length = static_cast<int32_t>(answer.bytes().size());
        EXPECT_EQ(mstpCmdProcess(answer.bytes().data(), length, nullptr), length);
        return answer.result();
    }

    /// What a get of octets answers.
    static std::vector<uint8_t> octetsOf(Request request) {
        EXPECT_EQ(serve(request.octets({}).room(MSTP_VLAN_LIST_SIZE)), 0);
        const auto value = answer.bytes().begin() + static_cast<long>(answer.valueOffset());
        const long length = value[2] << 8 | value[3];
        return {value + 4, value + 4 + length};
    }

    static std::string vlansOf(uint32_t xstId) {
        const std::vector<uint8_t> list =
            octetsOf(Request(MSTP_XST_GETAPI, MSTP_XST_VLANLIST).index({xstId}));
        return sim::vlanText(list.data(), static_cast<uint32_t>(list.size()));
    }

    std::string groupOf(uint32_t xstId) {
        return sim::vlanText(bridge.sw.groups[bridge.xst(xstId)->stgId].vlans.data(),
                             MSTP_VLAN_LIST_SIZE);
    }

    /// Asks for the map without letting the loop make it.
    static void ask() {
        EXPECT_EQ(serve(setVlans()), 0);
        EXPECT_EQ(serve(setXsts()), 0);
        EXPECT_EQ(serve(enable()), 0);
    }

    void map() {
        ask();
        bridge.advance(2);
    }

    static inline Request answer = Request(0, 0);
    TestBridge bridge;
};

TEST_F(FastMap, TakesThePortsBeforeTheLoopMakesIt) {
    ask();
    EXPECT_EQ(serve(Request(MSTP_PORT_GETFIRST, 0).index({0}).int32(0)), -1);
    EXPECT_FALSE(bridge.sw.interfaces[3].attached);
    EXPECT_FALSE(bridge.sw.interfaces[4].attached);
}

TEST_F(FastMap, WantsThePortsBackThatOthersGaveToTheBridge) {
    ask();
    EXPECT_THAT(bridge.sw.offeredAgain, ElementsAre(3U, 4U));
}

TEST_F(FastMap, LeavesTheInstancesToTheLoop) {
    ask();
    EXPECT_EQ(vlansOf(OLD_MSTI), "2");
    EXPECT_EQ(vlansOf(0), "1,3-4094");
}

TEST_F(FastMap, DealsTheVlansAndLeavesTheRestToTheCist) {
    map();
    EXPECT_EQ(vlansOf(0), "1,4,7-4094");
    EXPECT_EQ(vlansOf(1), "2,5");
    EXPECT_EQ(vlansOf(2), "3,6");
}

TEST_F(FastMap, EndsTheInstancesThatWereThere) {
    map();
    EXPECT_EQ(serve(Request(MSTP_XST_GETAPI, MSTP_XST_ROWSTATUS).index({OLD_MSTI}).int32(0)), -1);
}

TEST_F(FastMap, EndsAnInstanceOutOfServiceToo) {
    mstpXstDisable(bridge.xst(OLD_MSTI));
    ASSERT_EQ(bridge.xst(OLD_MSTI)->rowStatus, MSTP_NOTINSERVICE);
    map();
    EXPECT_EQ(bridge.xst(OLD_MSTI), nullptr);
    EXPECT_EQ(bridge.bridge->xstCount, 3);
}

TEST_F(FastMap, PutsTheVlansOfEachInstanceIntoAGroupOfItsOwn) {
    map();
    EXPECT_EQ(groupOf(0), "1,4,7-4094");
    EXPECT_EQ(groupOf(1), "2,5");
    EXPECT_EQ(groupOf(2), "3,6");
}

TEST_F(FastMap, ReleasesTheGroupsOfTheInstancesThatWereThere) {
    const uint32_t cists = bridge.xst(0)->stgId;
    const uint32_t mstis = bridge.xst(OLD_MSTI)->stgId;
    map();
    EXPECT_EQ(bridge.sw.groups.count(cists), 0U);
    EXPECT_EQ(bridge.sw.groups.count(mstis), 0U);
}

// The digest of VLANs 2 and 5 in instance 1 and 3 and 6 in instance 2, computed elsewhere.
TEST_F(FastMap, EndsWithTheDigestOfItsTable) {
    map();
    EXPECT_THAT(octetsOf(Request(MSTP_GEN_GETAPI, MSTP_GEN_CFGIDDIGEST).index({})),
                ElementsAre(0x2A, 0xDA, 0xA9, 0xE7, 0x53, 0x74, 0xCA, 0xE5, 0x0C, 0x9F, 0x00, 0x74,
                            0x9B, 0xA4, 0x4C, 0xBC));
}

TEST_F(FastMap, StartsTheInstancesAndTheBridge) {
    map();
    for (const uint32_t xstId : {0U, 1U, 2U}) {
        EXPECT_EQ(serve(Request(MSTP_XST_GETAPI, MSTP_XST_ROWSTATUS).index({xstId}).int32(0)), 0);
        EXPECT_EQ(answer.value(), MSTP_ACTIVE);
    }
    EXPECT_EQ(bridge.bridge->inited, 1);
}

// The busy state is offered to the management layer and not asked for here.
TEST_F(FastMap, LetsRequestsBeServedWhileItIsPending) {
    ask();
    ASSERT_EQ(mstpGetBusyErrno(), -1);
    EXPECT_EQ(serve(Request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME).index({}).int32(9)), 0);
    EXPECT_EQ(bridge.bridge->txHoldCount, 9);
}

TEST_F(FastMap, TakesPortsThatCameWhileItWasPendingWithTheLastInstance) {
    ask();
    const Request add = Request(MSTP_PORT_SETAPI, MSTP_PORT_ADMINNONSTP).index({3});
    EXPECT_EQ(serve(Request(add).int32(MSTP_FALSE)), 0);
    ASSERT_NE(bridge.port(3), nullptr);
    bridge.advance(2);
    EXPECT_EQ(bridge.port(3), nullptr);
    EXPECT_EQ(bridge.bridge->portCount, 0);
    EXPECT_FALSE(bridge.sw.interfaces[3].attached);
}

TEST_F(FastMap, TakesInPortsThatComeAfterIt) {
    map();
    const Request add = Request(MSTP_PORT_SETAPI, MSTP_PORT_ADMINNONSTP).index({3});
    EXPECT_EQ(serve(Request(add).int32(MSTP_FALSE)), 0);
    bridge.advance(2);
    for (const uint32_t xstId : {0U, 1U, 2U}) {
        EXPECT_NE(bridge.xstPort(xstId, 3), nullptr) << xstId;
    }
}

TEST_F(FastMap, LeavesItsThreeRequestsInTheRestoreFileInTheirOrder) {
    map();
    std::vector<uint8_t> expected;
    for (const Request& request : {setVlans(), setXsts(), enable()}) {
        const std::vector<uint8_t> framed = request.framed();
        expected.insert(expected.end(), framed.begin(), framed.end());
    }
    EXPECT_THAT(restoreFile(), ElementsAreArray(expected));
}

} // namespace
