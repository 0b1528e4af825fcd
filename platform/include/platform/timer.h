#pragma once

/// The timer list: one-shot nodes embedded in the records that own them, in ticks of 10 ms.
/// Arming and stopping a node cost the same however many nodes are armed.

#include <cstdint>

#include "platform/list.h"

using TIMERFUNCPTR = void (*)(void* arg1, void* arg2, void* arg3);

struct tTimerNode {
    list_head node;      ///< link in the timer list; null while idle
    uint64_t expireTime; ///< absolute expiry, in microseconds of platformClock()
    TIMERFUNCPTR callBack;
    void* arg1;
    void* arg2;
    void* arg3;
};

/// The head of a timer list. What hangs on it is the list's own business; a copy of the head is as
/// good as the head.
using tTimerLst = list_head;

inline constexpr uint32_t TIMER_TICKS_PER_SECOND = 100;
inline constexpr uint32_t TIMER_NO_TIMEOUT = 0xFFFFFFFF;

/// Makes @p list an empty timer list. Called once at start-up; the only call that allocates.
/// @return 0, or -1 when there is no memory: every timerStart on the list then fails
int32_t timerListInit(tTimerLst* list);

/// Gives back what timerListInit took. Nodes still armed become idle.
void timerListRelease(tTimerLst* list);

/// Ticks until the earliest node is due, rounded up: 0 when one is due now,
/// TIMER_NO_TIMEOUT when none is armed. So that the two are not confused, a delay of as many ticks
/// is told one tick short.
uint32_t timerListNextTimeout(tTimerLst* list);

/// Runs the call-backs of all nodes that are due, in the order of their expiry (armed first, runs
/// first among equals). A node is idle before its call-back runs. What a call-back arms waits for
/// the next check; what it stops does not run.
void timerListCheck(tTimerLst* list);

/// Arms @p node once.
///
/// The node fires from timerListCheck(), never earlier than @p ticks after now, and is then
/// idle again. A node that is already armed must be stopped first; 0 ticks fires at the next
/// check.
///
/// @param ticks  delay in ticks of 10 ms
/// @return 0, or -1 when the list was never initialised
int32_t timerStart(tTimerLst* list, tTimerNode* node, uint32_t ticks, TIMERFUNCPTR callBack,
                   void* arg1, void* arg2, void* arg3);

/// Disarms @p node; harmless on an idle node.
/// @return 0
int32_t timerStop(tTimerLst* list, tTimerNode* node);

/// Ticks left until @p node is due, rounded up: 0 for an idle or overdue node. A delay above
/// 0x7FFFFFFF ticks reads as a negative number.
int32_t timerRemain(const tTimerNode* node);

/// Microseconds of a clock that only goes forward. The timer list asks nothing else of the
/// platform that it runs on.
uint64_t platformClock();
