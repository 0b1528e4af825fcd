#pragma once

/// The global context: all mutable state of the core hangs on gMstp, mstpTimeProcessEnable and
/// mstpRestoring. Swapping the three swaps the daemon.

#include <cstdint>

#include "mstp/records.h"

struct tMstp {
    int32_t taskId;        ///< platform task, 0 in this daemon
    uint32_t priority;     ///< recorded only
    uint32_t stackSize;    ///< recorded only
    uint32_t busyDoing;    ///< MSTP_BUSY_*
    int8_t bridgeName[32]; ///< not NUL-terminated when 32 characters long
    uint8_t bridgeLen;
    uint8_t xstLimit;   ///< instances per bridge, CIST included
    uint8_t xstCount;   ///< instances initialised
    uint8_t msgQDeepth; ///< recorded only
    int8_t taskName[32];
    uint8_t taskLen;
    uint8_t bridgeLimit;
    uint16_t portLimit;
    uint32_t debug; ///< MSTP_DEBUG_*
    uint8_t debugPriority;
    uint8_t debugAction;
    uint8_t trap;         ///< notifications are sent
    uint8_t onlyFlushMac; ///< flushes marked by arpFlush leave ARP and neighbours alone
    int32_t pktSocketFd;  ///< -1 when not open, like the two below
    tTimerNode msgTimer;  ///< posts work to the loop
    int32_t rtSocketFd;
    int32_t cmdSocketFd;
    tTimerLst timerList;
    list_head bridgeList;
    tMstpBridge* bridges;
    tMstpPort* ports;
    tMstpXst* xsts;
    tMstpXstPort* xstPorts;
};

extern tMstp gMstp;

/// Non-zero: the one-second work also runs the Port Timers machines. Never set by the daemon.
extern int32_t mstpTimeProcessEnable;

extern uint32_t mstpRestoring;

/// for (tMstpBridge* bridge : bridges()): ascending by index.
inline tMstpBridgeRange bridges() {
    return tMstpBridgeRange(&gMstp.bridgeList);
}

/// True if any of @p bits of the debug mask is set.
inline bool mstpTracing(uint32_t bits) {
    return (gMstp.debug & bits) != 0;
}
