#pragma once

/// Signals from the operator, for a platform whose daemon is a process.

#include <cstdint>

/// Has @p callBack called whenever the process got the signal @p number.
///
/// The call comes from within platformSelect, on the loop's thread and outside any signal handler,
/// so it may do whatever a timer's call-back may. The wait that it comes from ends at once, without
/// more descriptors readable than are: to the loop it is a wait whose time is over. A signal that
/// arrives between two waits is served by the next, and one that arrives several times before it
/// is served counts once. A second registration of a number replaces the first.
///
/// Called by mstpStart. A platform without signals leaves the function out.
///
/// @return 0, -1 when the platform cannot tell of this signal, which then keeps its old effect
int32_t platformOnSignal(int32_t number, void (*callBack)()) __attribute__((weak));
