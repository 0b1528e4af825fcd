#pragma once

#include <cstdint>

namespace platform {

/// The descriptor that becomes readable when a registered signal has arrived, -1 before the first
/// registration.
int32_t signalDescriptor();

/// Calls the call-back of every registered signal that has arrived.
void serveSignals();

} // namespace platform
