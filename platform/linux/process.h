#pragma once

/// What the platform knows of the process it serves.

#include <cstdint>

namespace platform {

inline constexpr uint32_t BRIDGE_NAME_SIZE = 33;

/// Keeps the bridge's name from the command line; the first 32 characters count.
void setBridgeName(int32_t argc, char** argv);

/// The bridge's name, empty before setBridgeName.
const char* bridgeName();

} // namespace platform
