// The command line reaches the platform first of all, through kelCatchSegFault. Its first argument
// is the bridge's name, which is also the name of the kernel's bridge device, if there is one.

#include "process.h"

#include <cstring>

namespace {

char gBridgeName[platform::BRIDGE_NAME_SIZE];

} // namespace

namespace platform {

void setBridgeName(int32_t argc, char** argv) {
    memset(gBridgeName, 0, sizeof gBridgeName);
    if (argc > 1) {
        memcpy(gBridgeName, argv[1], strnlen(argv[1], sizeof gBridgeName - 1));
    }
}

const char* bridgeName() {
    return gBridgeName;
}

} // namespace platform
