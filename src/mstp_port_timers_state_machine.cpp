// Port Timers, IEEE 802.1Q-2005 13.27. The standard decrements every timer once a second. Here each
// counter in whole seconds is backed by a one-shot node of the platform's timer list instead:
// whoever loads the counter starts its node, and the node's expiry clears the counter and posts the
// state machines to the main loop. So a timer ends on the tick and not on the next full second, and
// an idle bridge has nothing to count.
//
// The standard's machine stands beside it and runs only while mstpTimeProcessEnable is set, which
// the daemon itself never does.

#include "mstp_port_timers_state_machine.h"

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_main.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_trace.h"

static int32_t restart(tTimerNode* timer, uint32_t ticks, TIMERFUNCPTR callBack, void* arg1,
                       void* arg2, void* arg3) {
    timerStop(&gMstp.timerList, timer);
    return timerStart(&gMstp.timerList, timer, ticks, callBack, arg1, arg2, arg3);
}

static void counterExpired(void* bridge, void* timer, void* event) {
    mstpNonIntervalTimerExpire(static_cast<tMstpBridge*>(bridge), timer, event);
}

void mstpLoadCounter(tMstpBridge* bridge, uint8_t* counter, tTimerNode* timer, uint32_t seconds,
                     uint32_t event) {
    *counter = static_cast<uint8_t>(seconds);
    restart(timer, *counter * TIMER_TICKS_PER_SECOND, counterExpired, bridge, counter,
            reinterpret_cast<void*>(static_cast<uintptr_t>(event)));
}

void mstpClearCounter(uint8_t* counter, tTimerNode* timer) {
    *counter = 0;
    timerStop(&gMstp.timerList, timer);
}

int32_t mstpRestartTimer(tTimerNode* timer, uint32_t ticks, TIMERFUNCPTR callBack, void* arg1) {
    return restart(timer, ticks, callBack, arg1, nullptr, nullptr);
}

int32_t mstpRemain(tTimerNode* timer) {
    return timerRemain(timer) / static_cast<int32_t>(TIMER_TICKS_PER_SECOND);
}

static void countDown(uint8_t* counter) {
    if (*counter != 0) {
        (*counter)--;
    }
}

void mstpIntervalTimerExpire(tMstpBridge* bridge, void* /*arg2*/, void* /*arg3*/) {
    bridge->event |= MSTP_EVENT_TICK;
    for (tMstpPort* port : portsOf(bridge)) {
        countDown(&port->txCount);
    }
    mstpBridgeStartOneSecondTimer(bridge);
    mstpBridgeFSM(bridge);
}

void mstpNonIntervalTimerExpire(tMstpBridge* bridge, void* timer, void* event) {
    bridge->event |= static_cast<uint32_t>(reinterpret_cast<uintptr_t>(event));
    *static_cast<uint8_t*>(timer) = 0;
    mstpSendMsg(MSTP_MSG_NULL);
}

void mstpPortP2pTimeOut(tMstpPort* port) {
    port->operPointToPointMAC = port->adminPointToPointMAC;
}

void mstpIntervalTimerExpired(void* bridge, void* arg2, void* arg3) {
    mstpIntervalTimerExpire(static_cast<tMstpBridge*>(bridge), arg2, arg3);
}

void mstpP2pHoldExpired(void* port, void* /*arg2*/, void* /*arg3*/) {
    mstpPortP2pTimeOut(static_cast<tMstpPort*>(port));
}

void mstpXstPortHoldExpired(void* xstPort, void* /*arg2*/, void* /*arg3*/) {
    enableForwarding(static_cast<tMstpXstPort*>(xstPort));
}

void mstpBpduGuardExpired(void* port, void* /*arg2*/, void* /*arg3*/) {
    enableForwardingAll(static_cast<tMstpPort*>(port));
}

void mstpPortTimerOneSecond(tMstpPort* port) {
    port->tick = 0;
    port->fsmState[MSTP_PORT_TIMER_FSM] = MSTP_PORT_TIMER_ONE_SECOND;
}

static void countDownInstance(tMstpXstPort* xstPort) {
    countDown(&xstPort->tcWhile);
    countDown(&xstPort->fdWhile);
    countDown(&xstPort->rcvdInfoWhile);
    countDown(&xstPort->rrWhile);
    countDown(&xstPort->rbWhile);
}

void mstpPortTimerTick(tMstpPort* port) {
    countDown(&port->helloWhen);
    countDown(&port->mdelayWhile);
    countDown(&port->edgeDelayWhile);
    countDown(&port->txCount);
    // Departs from 13.27 on purpose: only instances that are not in use are ticked, the counters of
    // live ones depend on their nodes alone.
    for (uint32_t i = 0; i < gMstp.xstLimit; i++) {
        if (port->bridge->xsts[i].rowStatus == 0) {
            countDownInstance(&port->xstPorts[i]);
        }
    }
    port->fsmState[MSTP_PORT_TIMER_FSM] = MSTP_PORT_TIMER_TICK;
}

void mstpPortTimerFSM(tMstpPort* port) {
    tracePort(MSTP_DEBUG_MACHINE, "mstp port %s  port timer state machine", port);
    if (port->bridge->begin != 0) {
        mstpPortTimerOneSecond(port);
    }
    if (port->tick == 1) {
        mstpPortTimerTick(port);
        mstpPortTimerOneSecond(port);
    }
}
