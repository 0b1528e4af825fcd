#pragma once

/// The VLANs of the bridge's ports while they are taken off: the kernel turns its MST mode on only
/// while no port has any.

#include <cstdint>

namespace platform {

/// Reads what all ports have, with its options, into memory and into a file. @return 0 or an errno
/// value: there is nothing to be taken off then
int32_t keepPortVlans();

/// Takes off what was kept. @return 0 or an errno value: some of it may be off
int32_t takePortVlansOff();

/// Puts back what was kept, and says what the kernel does not take back. The file goes with the
/// last that was put back.
void putPortVlansBack();

/// Puts back what an earlier life of the daemon kept and did not put back. @return true if it had
/// left something
bool putBackVlansOfEarlierLife();

} // namespace platform
