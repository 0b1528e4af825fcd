#pragma once

#include <cstdint>

namespace platform {

inline constexpr uint32_t OPER_STATE_UP = 1;
inline constexpr uint32_t OPER_STATE_DOWN = 2;

/// Reads the operational state of an interface, OPER_STATE_*. @return 0; -1 when the kernel gives
/// none, @p state untouched
int32_t interfaceOperState(uint32_t ifindex, uint32_t* state);

} // namespace platform
