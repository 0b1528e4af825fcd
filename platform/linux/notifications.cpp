// Notifications go to the system log, one line each, as pairs of key and value that a log collector
// can take apart and turn into SNMP notifications.

#include "platform/notify.h"

#include <syslog.h>

#include "platform/interfaces.h"
#include "process.h"

namespace {

constexpr int kPriority = LOG_DAEMON | LOG_NOTICE;

const char* stateName(uint32_t state) {
    static const char* const kNames[] = {"disabled", "discarding", "learning", "forwarding"};
    return state < sizeof kNames / sizeof kNames[0] ? kNames[state] : "unknown";
}

} // namespace

int32_t sendStpNewRootTrap(uint32_t xstId, const uint8_t* rootId) {
    syslog(kPriority,
           "event=new-root bridge=%s instance=%u old-root=%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x",
           platform::bridgeName(), xstId, rootId[0], rootId[1], rootId[2], rootId[3], rootId[4],
           rootId[5], rootId[6], rootId[7]);
    return 0;
}

int32_t sendStpNewRootPortTrap(uint32_t xstId, uint32_t unit) {
    char name[KEL_IF_NAME_SIZE];
    kelIfUnit2Name(unit, name);
    syslog(kPriority, "event=new-root-port bridge=%s instance=%u port=%s ifindex=%u",
           platform::bridgeName(), xstId, name, unit);
    return 0;
}

int32_t sendStpTopoChgTrap(uint32_t xstId, uint32_t unit, uint32_t state) {
    char name[KEL_IF_NAME_SIZE];
    kelIfUnit2Name(unit, name);
    syslog(kPriority, "event=topology-change bridge=%s instance=%u port=%s ifindex=%u state=%s",
           platform::bridgeName(), xstId, name, unit, stateName(state));
    return 0;
}
