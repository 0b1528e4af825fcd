#pragma once

/// Who else might run spanning tree on the bridge.

#include <cstdint>

/// Sees to it that nobody else runs spanning tree on the bridge that the daemon was started for,
/// and that the bridge is given back when the process is asked to end.
///
/// Called by mstpStart before anything is opened. A platform on which nobody else could leaves the
/// function out.
///
/// @return 0; -1, having said why, when the daemon must not start
int32_t platformTakeOver() __attribute__((weak));
