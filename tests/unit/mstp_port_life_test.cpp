// Bridge ports after their initialisation: disabling, deletion, flushes, link events, and the
// machines of one port.

#include "test_objects.h"

namespace {

using objects::arm;
using objects::armAll;
using objects::armed;
using objects::armedOf;
using objects::Bytes;
using objects::flushes;
using objects::macFlushes;
using objects::machinesRun;
using objects::setVlans;
using objects::unitsOf;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// ---- mstpBridgePortDisable, mstpBridgePortDelete

TEST(PortDisable, DisablesEveryInstancePortAndThePort) {
    TestBridge bridge;
    bridge.addInstance(1);
    tMstpPort* port = bridge.addUpPort(1);

    EXPECT_EQ(mstpBridgePortDisable(port), 0);

    EXPECT_EQ(port->state, MSTP_SLOT_DISABLED);
    EXPECT_EQ(bridge.xstPort(0, 1)->state, MSTP_SLOT_DISABLED);
    EXPECT_EQ(bridge.xstPort(1, 1)->state, MSTP_SLOT_DISABLED);
}

TEST(PortDisable, StopsItsFiveTimers) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    armAll(port);

    mstpBridgePortDisable(port);

    EXPECT_EQ(armedOf(port), 0U);
}

TEST(PortDisable, IsTraced) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgePortDisable(port);

    EXPECT_EQ(bridge.sw.traces.front(), "mstp port port1 disable");
}

TEST(PortDisable, RefusesAFreeSlot) {
    TestBridge bridge;
    bridge.trace(0xFFFFFFFF);

    EXPECT_EQ(mstpBridgePortDisable(&gMstp.ports[3]), -1);

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
}

TEST(PortDelete, ZeroesTheRecordButKeepsItsArray) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    tMstpXstPort* array = port->xstPorts;
    armAll(port);

    EXPECT_EQ(mstpBridgePortDelete(bridge.bridge, port), 0);

    const auto* bytes = reinterpret_cast<const uint8_t*>(port);
    EXPECT_THAT(Bytes(bytes, bytes + offsetof(tMstpPort, xstPortList)), Each(0));
    EXPECT_EQ(port->xstPorts, array);
    EXPECT_TRUE(listEmpty(&port->xstPortList));
}

TEST(PortDelete, LeavesTheBridgeAndItsInstances) {
    TestBridge bridge;
    bridge.addInstance(1);
    tMstpPort* port = bridge.addUpPort(1);
    bridge.addUpPort(2);

    mstpBridgePortDelete(bridge.bridge, port);

    EXPECT_THAT(unitsOf(bridge.bridge), ElementsAre(2));
    EXPECT_THAT(unitsOf(bridge.xst(0)), ElementsAre(2));
    EXPECT_THAT(unitsOf(bridge.xst(1)), ElementsAre(2));
    EXPECT_EQ(bridge.bridge->portCount, 1);
}

TEST(PortDelete, IsTracedBeforeItsInstancePorts) {
    TestBridge bridge;
    bridge.addInstance(1);
    tMstpPort* port = bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_OBJECT);

    mstpBridgePortDelete(bridge.bridge, port);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("bridge 1 del port port1", "msti 0 del port port1",
                                              "msti 1 del port port1"));
}

TEST(PortDelete, HasThePlatformStopDeliveringItsBpdus) {
    TestBridge bridge;
    mstpBridgePortDelete(bridge.bridge, bridge.addUpPort(1));

    EXPECT_FALSE(bridge.sw.interfaces[1].attached);
}

TEST(PortDelete, LastPortStopsTheOneSecondTimer) {
    TestBridge bridge;
    tMstpPort* first = bridge.addUpPort(1);
    tMstpPort* second = bridge.addUpPort(2);

    mstpBridgePortDelete(bridge.bridge, first);
    EXPECT_TRUE(armed(bridge.bridge->oneSecondTimer));
    mstpBridgePortDelete(bridge.bridge, second);

    EXPECT_FALSE(armed(bridge.bridge->oneSecondTimer));
}

TEST(PortDelete, RootPortOfAnInstanceResetsIt) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.addUpPort(2);
    bridge.xstPort(0, 1)->role = MSTP_PORT_ROLE_ROOT;
    bridge.trace(MSTP_DEBUG_ACTIVITY);

    mstpBridgePortDelete(bridge.bridge, port);

    EXPECT_TRUE(bridge.sw.traced("msti 0 reset"));
}

TEST(PortDelete, TimersThatStillRanNoLongerFire) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.addUpPort(2);

    mstpBridgePortDelete(bridge.bridge, port);
    bridge.advance(1000);

    const auto* bytes = reinterpret_cast<const uint8_t*>(port);
    EXPECT_THAT(Bytes(bytes, bytes + offsetof(tMstpPort, xstPortList)), Each(0));
}

// ---- mstpPortFlush

struct FlushPort : TestBridge {
    FlushPort() {
        port = addUpPort(1);
        bitListSet(vlans, 0);
        bitListSet(vlans, 1);
        trace(0);
        sw.forget();
    }

    void flush(uint32_t length = 1) {
        octetstring list = {reinterpret_cast<int8_t*>(vlans), length};
        mstpPortFlush(port, &list);
    }

    tMstpPort* port;
    uint8_t vlans[MSTP_VLAN_LIST_SIZE] = {};
};

TEST(PortFlush, ForgetsAddressesThenTheTablesAboveThem) {
    FlushPort port;

    port.flush();

    EXPECT_THAT(port.sw.calls,
                ElementsAre("kelIfSetApi:98 unit=1 vlans=1-2", "kelIfSetApi:99 unit=1 vlans=1-2",
                            "kelIfSetApi:101 unit=1 vlans=1-2",
                            "kelIfSetApi:100 unit=1 vlans=1-2"));
}

TEST(PortFlush, EmptyListFlushesNothing) {
    FlushPort port;
    port.port->arpFlush = 1;

    port.flush(0);

    EXPECT_THAT(port.sw.calls, IsEmpty());
    EXPECT_EQ(port.port->arpFlush, 1);
}

TEST(PortFlush, MarkedPortFlushesOnlyAddressesWhileTheDaemonIsTold) {
    FlushPort port;
    port.port->arpFlush = 1;
    gMstp.onlyFlushMac = 1;

    port.flush();

    EXPECT_THAT(port.sw.calls, ElementsAre("kelIfSetApi:98 unit=1 vlans=1-2"));
    EXPECT_EQ(port.port->arpFlush, 0);
}

TEST(PortFlush, MarkAloneDoesNotLimitTheFlushAndIsCleared) {
    FlushPort port;
    port.port->arpFlush = 1;

    port.flush();

    EXPECT_THAT(port.sw.calls, SizeIs(4));
    EXPECT_EQ(port.port->arpFlush, 0);
}

TEST(PortFlush, PortWithoutTheMarkFlushesAllWhateverTheDaemonIsTold) {
    FlushPort port;
    gMstp.onlyFlushMac = 1;

    port.flush();

    EXPECT_THAT(port.sw.calls, SizeIs(4));
}

TEST(PortFlush, FailureIsTracedWhateverTheMaskAndTheNextFlushStillRuns) {
    FlushPort port;
    for (const char* call :
         {"kelIfSetApi:98", "kelIfSetApi:99", "kelIfSetApi:100", "kelIfSetApi:101"}) {
        port.sw.results[call] = -1;
    }

    port.flush();

    EXPECT_THAT(port.sw.calls, SizeIs(4));
    EXPECT_THAT(port.sw.traces,
                ElementsAre("\r\n if port1 flush mac error", "\r\n if port1 flush arp error",
                            "\r\n if port1 flush arl error", "\r\n if port1 flush nd error"));
}

// ---- mstpBridgePortFSM

TEST(PortDriver, RunsNeitherTheReceiveNorTheTransmitMachine) {
    TestBridge bridge;
    bridge.addInstance(1);
    tMstpPort* port = bridge.addUpPort(1);
    bridge.trace(MSTP_DEBUG_MACHINE);

    mstpBridgePortFSM(port);

    EXPECT_THAT(machinesRun(bridge),
                ElementsAre("mstp port port1  Port Protocol Migration state machine",
                            "mstp port port1 Bridge Detection state machine",
                            "msti 0 port port1 Port Information state machine",
                            "msti 0 Port Role Selection state machine",
                            "msti 0 port port1 Port Role Transitions state machine",
                            "msti 0 port 1 Port State Transition state machine",
                            "msti 0 port port1  Topology Change state machine",
                            "msti 1 port port1 Port Information state machine",
                            "msti 1 Port Role Selection state machine",
                            "msti 1 port port1 Port Role Transitions state machine",
                            "msti 1 port 1 Port State Transition state machine",
                            "msti 1 port port1  Topology Change state machine"));
}

TEST(PortDriver, IsTracedEvenWhenTheLinkIsDown) {
    TestBridge bridge;
    tMstpPort* port = bridge.addDownPort(1);
    bridge.trace(MSTP_DEBUG_ACTIVITY | MSTP_DEBUG_MACHINE);

    mstpBridgePortFSM(port);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port1 FSM process"));
}

TEST(PortDriver, KeepsTheReceivedMessageFlags) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    port->rcvdAnyMsg = 1;
    port->rcvdCistMsg = 1;
    port->rcvdMstiMsg = 1;

    mstpBridgePortFSM(port);

    EXPECT_EQ(port->rcvdAnyMsg, 1);
    EXPECT_EQ(port->rcvdCistMsg, 1);
    EXPECT_EQ(port->rcvdMstiMsg, 1);
}

struct SettledPort : TestBridge {
    SettledPort() {
        port = addUpPort(1);
        setVlans(xst(0), {5});
        mstpBridgePortFSM(port);
        mstpBridgePortFSM(port);
        sw.forget();
        xstPort(0, 1)->fdbFlush = 1;
    }

    tMstpPort* port;
};

TEST(PortDriver, FlushesWhatItsInstancePortsAskFor) {
    SettledPort bridge;

    mstpBridgePortFSM(bridge.port);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=1 vlans=5"));
    EXPECT_EQ(bridge.xstPort(0, 1)->fdbFlush, 0);
}

TEST(PortDriver, EveryCallStartsWithAnEmptyList) {
    SettledPort bridge;
    mstpBridgePortFSM(bridge.port);
    bridge.sw.forget();
    setVlans(bridge.xst(0), {6});
    bridge.xstPort(0, 1)->fdbFlush = 1;

    mstpBridgePortFSM(bridge.port);

    EXPECT_THAT(macFlushes(bridge), ElementsAre("kelIfSetApi:98 unit=1 vlans=6"));
}

TEST(PortDriver, UnderProtectionAFlushStartsTheHoldOff) {
    SettledPort bridge;
    bridge.bridge->tcProtection = 1;

    mstpBridgePortFSM(bridge.port);

    EXPECT_THAT(macFlushes(bridge), SizeIs(1));
    EXPECT_EQ(timerRemain(&bridge.xstPort(0, 1)->tcHoldoffTimer), 1000);
}

TEST(PortDriver, HoldOffKeepsTheRequestPending) {
    SettledPort bridge;
    bridge.bridge->tcProtection = 1;
    arm(bridge.xstPort(0, 1)->tcHoldoffTimer, 100);

    mstpBridgePortFSM(bridge.port);

    EXPECT_THAT(flushes(bridge), IsEmpty());
    EXPECT_EQ(bridge.xstPort(0, 1)->fdbFlush, 1);
}

TEST(PortDriver, ExpiryOfTheHoldOffDoesNothingByItself) {
    SettledPort bridge;
    bridge.bridge->tcProtection = 1;
    mstpBridgePortFSM(bridge.port);
    bridge.trace(MSTP_DEBUG_ACTIVITY);
    bridge.sw.forget();

    tTimerNode* timer = &bridge.xstPort(0, 1)->tcHoldoffTimer;
    timer->callBack(timer->arg1, timer->arg2, timer->arg3);
    mstpPortDoNothing();

    EXPECT_THAT(bridge.sw.traces, IsEmpty());
    EXPECT_THAT(bridge.sw.calls, IsEmpty());
}

// ---- Link events

TEST(PortLink, UpIsTracedAndReadsTheLinkAnew) {
    TestBridge bridge;
    tMstpPort* port = bridge.addDownPort(1);
    bridge.sw.interfaces[1].up = true;
    bridge.trace(MSTP_DEBUG_OBJECT);

    EXPECT_EQ(mstpPortLinkUp(port), 0);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port1 link up"));
    EXPECT_NE(port->upTime, 0U);
}

TEST(PortLink, DownIsTracedAndReadsTheLinkAnew) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.sw.interfaces[1].up = false;
    bridge.trace(MSTP_DEBUG_OBJECT);

    EXPECT_EQ(mstpPortLinkDown(port), 0);

    EXPECT_THAT(bridge.sw.traces, ElementsAre("port port1 link down"));
    EXPECT_EQ(port->upTime, 0U);
}

// What counts is the link as the platform tells it, not the name of the event.
TEST(PortLink, UpOfALinkThatIsDownLeavesThePortDown) {
    TestBridge bridge;
    tMstpPort* port = bridge.addUpPort(1);
    bridge.sw.interfaces[1].up = false;

    mstpPortLinkUp(port);

    EXPECT_EQ(port->upTime, 0U);
}

TEST(PortLink, EitherEventInitialisesThePortAndWakesTheLoop) {
    for (int32_t (*event)(tMstpPort*) : {mstpPortLinkUp, mstpPortLinkDown}) {
        TestBridge bridge;
        tMstpPort* port = bridge.addUpPort(1);
        port->inited = 0;
        bridge.bridge->event = 0;
        timerStop(&gMstp.timerList, &gMstp.msgTimer);

        event(port);

        EXPECT_EQ(port->inited, 1);
        EXPECT_EQ(bridge.bridge->event, uint32_t{MSTP_EVENT_FSM});
        EXPECT_TRUE(armed(gMstp.msgTimer));
    }
}

} // namespace
