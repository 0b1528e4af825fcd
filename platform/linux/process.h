#pragma once

/// What the platform knows of the process it serves.

#include <cstdint>

namespace platform {

inline constexpr uint32_t BRIDGE_NAME_SIZE = 33;

/// Keeps the bridge's name from the command line; the first 32 characters count.
void setBridgeName(int32_t argc, char** argv);

/// The bridge's name, empty before setBridgeName.
const char* bridgeName();

/// A file of the daemon's own for its bridge. Empty: the name would be too long.
struct RunPath {
    char text[256];
};

/// The file @p name of the bridge in MSTP_RUN_DIR, or in /tmp.
RunPath runPath(const char* name);

} // namespace platform
