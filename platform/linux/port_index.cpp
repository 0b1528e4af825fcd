// Positions of interfaces. A port of a Linux switch sits in no slot: its position is slot 0 and its
// number.

#include "interface_request.h"
#include "platform/interfaces.h"
#include "port_table.h"

namespace {

int32_t writePosition(const platform::PortEntry* port, void* result) {
    if (port == nullptr) {
        return -1;
    }
    auto* position = static_cast<tPhyIfIndex*>(result);
    *position = {};
    position->port = platform::portNumber(port);
    position->virtualnum = platform::portNumber(port);
    position->endType = KEL_END_PORT;
    return 0;
}

} // namespace

// A vanished interface is still known as the port that it was: the daemon asks while it handles the
// news.
int32_t kelIndexTrans(uint32_t ifindex, uint32_t kind, void* result) {
    if (kind != KEL_INDEX_POSITION) {
        return -1;
    }
    const platform::PortEntry* known = platform::findPort(ifindex);
    return writePosition(known != nullptr ? known : platform::obtainPort(ifindex), result);
}

int32_t sysIndexTrans(uint32_t unit, uint32_t kind, void* result) {
    if (kind == KEL_INDEX_POSITION) {
        return kelIndexTrans(unit, kind, result);
    }
    if (kind == KEL_INDEX_IFINDEX) {
        *static_cast<uint32_t*>(result) = unit;
        return 0;
    }
    return -1;
}

// No interface belongs to a port other than itself.
int32_t sysIFGet(uint32_t /*ifindex*/, uint32_t /*attribute*/, uint32_t* /*value*/) {
    return -1;
}
