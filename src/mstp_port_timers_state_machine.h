#pragma once

/// Port Timers (IEEE 802.1Q-2005 13.27): the counters in whole seconds and the one-shot timer nodes
/// that drive them. Every node stands on gMstp.timerList and counts ticks of 10 ms. A counter is
/// not 0 for as long as its node is armed.

#include <cstdint>

#include "mstp/records.h"

/// Loads @p counter with @p seconds, of which the low 8 bits count, and restarts its node for as
/// many seconds, also for 0: the node then fires at the next check.
/// @param event  MSTP_EVENT_* bit that the expiry sets
void mstpLoadCounter(tMstpBridge* bridge, uint8_t* counter, tTimerNode* timer, uint32_t seconds,
                     uint32_t event);

/// Sets @p counter to 0 and stops its node.
void mstpClearCounter(uint8_t* counter, tTimerNode* timer);

/// Stops @p timer and starts it for @p ticks (10 ms) with one argument.
/// @return the result of the start
int32_t mstpRestartTimer(tTimerNode* timer, uint32_t ticks, TIMERFUNCPTR callBack, void* arg1);

/// Whole seconds left, truncated; 0 for a stopped node and below one second. A node armed for more
/// than 0x7FFFFFFF ticks gives a negative number: running is what is not 0.
int32_t mstpRemain(tTimerNode* timer);

/// Call-back of the bridge's one-second timer: marks MSTP_EVENT_TICK, lowers txCount of every port
/// that is not at 0, re-arms the timer and runs the bridge's machines at once. The other two
/// arguments are ignored.
void mstpIntervalTimerExpire(tMstpBridge* bridge, void* arg2, void* arg3);

/// Call-back of every node that backs a counter: clears the counter and posts the event; the
/// machines run from the main loop.
/// @param timer  the counter, a uint8_t
/// @param event  MSTP_EVENT_* bits, as a number in the pointer
void mstpNonIntervalTimerExpire(tMstpBridge* bridge, void* timer, void* event);

/// Call-back of p2pHoldTimer: operPointToPointMAC (6.4.3) is again what management chose.
void mstpPortP2pTimeOut(tMstpPort* port);

/// The two above and enableForwarding / enableForwardingAll as the timer list calls them. The first
/// argument is the record that each is named after, the others are ignored.
void mstpIntervalTimerExpired(void* bridge, void* arg2, void* arg3);
void mstpP2pHoldExpired(void* port, void* arg2, void* arg3);
void mstpXstPortHoldExpired(void* xstPort, void* arg2, void* arg3); ///< enableForwarding
void mstpBpduGuardExpired(void* port, void* arg2, void* arg3);      ///< enableForwardingAll

/// Entry of ONE_SECOND: the tick is consumed.
void mstpPortTimerOneSecond(tMstpPort* port);

/// Entry of TICK: lowers the port's counters by a second, and those of the instances that are not
/// in use (13.27 lowers those of all).
void mstpPortTimerTick(tMstpPort* port);

/// One run of the machine. Its state is fsmState[MSTP_PORT_TIMER_FSM] of the port.
void mstpPortTimerFSM(tMstpPort* port);
