// The command line reaches the platform first of all, through kelCatchSegFault. Its first argument
// is the bridge's name, which is also the name of the kernel's bridge device, if there is one.

#include "process.h"

#include <cstdio>
#include <cstdlib>
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

RunPath runPath(const char* name) {
    RunPath path = {};
    const char* folder = getenv("MSTP_RUN_DIR");
    const int length =
        snprintf(path.text, sizeof path.text, "%s/%s.%s",
                 folder != nullptr && folder[0] != '\0' ? folder : "/tmp", name, gBridgeName);
    if (length < 0 || static_cast<size_t>(length) >= sizeof path.text) {
        path.text[0] = '\0';
    }
    return path;
}

} // namespace platform
