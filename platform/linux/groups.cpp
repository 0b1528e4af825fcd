// Spanning tree groups: which VLANs share one state per port, and that state. Interfaces outside a
// kernel bridge forward nothing between each other, so there is nothing to program for them; the
// groups are kept here as the daemon set them.

#include "groups.h"

#include <cstring>

#include "platform/interfaces.h"
#include "platform/stg.h"
#include "port_table.h"

namespace {

constexpr uint32_t kVlanListSize = 512;
constexpr uint32_t kVlanMax = 4094;

struct Group {
    uint32_t kind; // 0: free
    uint8_t vlans[kVlanListSize];
    uint8_t states[platform::PORT_NUMBER_MAX + 1]; // by port number
};

Group gGroups[platform::GROUP_MAX]; // element n is group n + 1

Group* findGroup(uint32_t stgId) {
    if (stgId == 0 || stgId > platform::GROUP_MAX || gGroups[stgId - 1].kind == 0) {
        return nullptr;
    }
    return &gGroups[stgId - 1];
}

} // namespace

namespace platform {

bool groupHasVlan(uint32_t stgId, uint32_t vlan) {
    const Group* group = findGroup(stgId);
    if (group == nullptr || vlan == 0 || vlan > kVlanMax) {
        return false;
    }
    return (group->vlans[(vlan - 1) / 8] & (0x80U >> ((vlan - 1) % 8))) != 0;
}

uint32_t groupPortState(uint32_t stgId, uint32_t ifindex) {
    const Group* group = findGroup(stgId);
    const PortEntry* port = findPort(ifindex);
    return group != nullptr && port != nullptr ? group->states[portNumber(port)] : 0;
}

void forgetGroupPort(uint32_t number) {
    for (Group& group : gGroups) {
        group.states[number] = 0;
    }
}

} // namespace platform

int32_t stgShrProtocolAdd(uint32_t* stgId, uint32_t kind) {
    if (kind != KEL_KIND_CUSTOMER && kind != KEL_KIND_PROVIDER) {
        return -1;
    }
    for (uint32_t i = 0; i < platform::GROUP_MAX; i++) {
        if (gGroups[i].kind == 0) {
            gGroups[i] = {};
            gGroups[i].kind = kind;
            *stgId = i + 1;
            return 0;
        }
    }
    return -1;
}

int32_t stgShrProtocolDel(uint32_t stgId) {
    Group* group = findGroup(stgId);
    if (group == nullptr) {
        return -1;
    }
    group->kind = 0;
    return 0;
}

int32_t stgShrProtocolVlanAdd(uint32_t stgId, const uint8_t* bitmap, uint32_t length) {
    Group* group = findGroup(stgId);
    if (group == nullptr || length > kVlanListSize) {
        return -1;
    }
    for (uint32_t i = 0; i < length; i++) {
        group->vlans[i] = static_cast<uint8_t>(group->vlans[i] | bitmap[i]);
    }
    return 0;
}

int32_t stgShrProtocolVlanDel(uint32_t stgId, const uint8_t* bitmap, uint32_t length) {
    Group* group = findGroup(stgId);
    if (group == nullptr || length > kVlanListSize) {
        return -1;
    }
    for (uint32_t i = 0; i < length; i++) {
        group->vlans[i] = static_cast<uint8_t>(group->vlans[i] & ~bitmap[i]);
    }
    return 0;
}

int32_t stgShrProtocolPortStateSet(uint32_t stgId, uint32_t unit, uint32_t state) {
    Group* group = findGroup(stgId);
    const platform::PortEntry* port = platform::findPort(unit);
    if (group == nullptr || port == nullptr || state < STG_PORT_DISABLE ||
        state > STG_PORT_BROKEN) {
        return -1;
    }
    group->states[platform::portNumber(port)] = static_cast<uint8_t>(state);
    return 0;
}
