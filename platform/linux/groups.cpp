// Spanning tree groups: which VLANs share one state per port, and that state, as the daemon set
// them. Interfaces outside a kernel bridge forward nothing between each other, so there is nothing
// to program for them; what concerns the kernel's bridge is written to it from here when the bridge
// is settled.
//
// The daemon makes the CIST's group first, and numbers are given out from the lowest free one, so
// the CIST's group is the first, also when it is given back and taken anew.

#include "groups.h"

#include <algorithm>
#include <cstring>

#include "kernel_bridge.h"
#include "platform/interfaces.h"
#include "platform/stg.h"
#include "port_table.h"

namespace {

constexpr uint32_t kVlanListSize = 512;
constexpr uint32_t kVlanMax = 4094;

struct Group {
    uint32_t kind;     // 0: free
    uint16_t instance; // the kernel's
    uint8_t vlans[kVlanListSize];
    uint8_t states[platform::PORT_NUMBER_MAX + 1]; // by port number
};

Group gGroups[platform::GROUP_MAX]; // element n is group n + 1
uint32_t gGroupsEnd;                // groups from this element on are free

// Derived from the groups, when asked for.
bool gOfVlanIsValid;
uint16_t gOfVlan[kVlanMax + 1];

Group* findGroup(uint32_t stgId) {
    if (stgId == 0 || stgId > platform::GROUP_MAX || gGroups[stgId - 1].kind == 0) {
        return nullptr;
    }
    return &gGroups[stgId - 1];
}

// A VLAN that changes groups may be in both for a moment: the CIST, being first, yields.
void deriveGroupsOfVlans() {
    memset(gOfVlan, 0, sizeof gOfVlan);
    for (uint32_t i = 0; i < gGroupsEnd; i++) {
        for (uint32_t vlan = 1; gGroups[i].kind != 0 && vlan <= kVlanMax; vlan++) {
            if (platform::hasVlan(gGroups[i].vlans, vlan)) {
                gOfVlan[vlan] = static_cast<uint16_t>(i + 1);
            }
        }
    }
    gOfVlanIsValid = true;
}

void groupsChanged() {
    gOfVlanIsValid = false;
    platform::bridgeGroupsChanged();
}

} // namespace

namespace platform {

bool groupHasVlan(uint32_t stgId, uint32_t vlan) {
    const Group* group = findGroup(stgId);
    return group != nullptr && vlan != 0 && vlan <= kVlanMax && hasVlan(group->vlans, vlan);
}

uint32_t groupPortState(uint32_t stgId, uint32_t ifindex) {
    const PortEntry* port = findPort(ifindex);
    return port != nullptr ? groupStateOfNumber(stgId, portNumber(port)) : 0;
}

uint32_t groupStateOfNumber(uint32_t stgId, uint32_t number) {
    const Group* group = findGroup(stgId);
    return group != nullptr ? group->states[number] : 0;
}

void forgetGroupPort(uint32_t number) {
    for (Group& group : gGroups) {
        group.states[number] = 0;
    }
}

uint32_t groupOfVlan(uint32_t vlan) {
    if (!gOfVlanIsValid) {
        deriveGroupsOfVlans();
    }
    return gOfVlan[vlan];
}

bool manyGroups() {
    for (uint32_t i = GROUP_OF_PORTS; i < gGroupsEnd; i++) {
        if (gGroups[i].kind != 0) {
            return true;
        }
    }
    return false;
}

uint16_t groupInstance(uint32_t stgId) {
    const Group* group = findGroup(stgId);
    return group != nullptr ? group->instance : INSTANCE_NONE;
}

void setGroupInstance(uint32_t stgId, uint16_t instance) {
    Group* group = findGroup(stgId);
    if (group != nullptr) {
        group->instance = instance;
    }
}

uint32_t groupOfInstance(uint16_t instance) {
    for (uint32_t i = 0; i < gGroupsEnd; i++) {
        if (gGroups[i].kind != 0 && gGroups[i].instance == instance) {
            return i + 1;
        }
    }
    return 0;
}

} // namespace platform

int32_t stgShrProtocolAdd(uint32_t* stgId, uint32_t kind) {
    if (kind != KEL_KIND_CUSTOMER && kind != KEL_KIND_PROVIDER) {
        return -1;
    }
    Group* held = findGroup(*stgId);
    if (held != nullptr) {
        held->kind = kind;
        return 0;
    }
    for (uint32_t i = 0; i < platform::GROUP_MAX; i++) {
        if (gGroups[i].kind == 0) {
            gGroups[i] = {};
            gGroups[i].kind = kind;
            *stgId = i + 1;
            gGroups[i].instance = *stgId == platform::GROUP_OF_PORTS ? 0 : platform::INSTANCE_NONE;
            gGroupsEnd = std::max(gGroupsEnd, i + 1);
            groupsChanged();
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
    groupsChanged();
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
    groupsChanged();
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
    groupsChanged();
    return 0;
}

int32_t stgShrProtocolPortStateSet(uint32_t stgId, uint32_t unit, uint32_t state) {
    Group* group = findGroup(stgId);
    const platform::PortEntry* port = platform::findPort(unit);
    if (group == nullptr || port == nullptr || state < STG_PORT_DISABLE ||
        state > STG_PORT_BROKEN) {
        return -1;
    }
    uint8_t* kept = &group->states[platform::portNumber(port)];
    if (*kept != state) {
        *kept = static_cast<uint8_t>(state);
        platform::bridgeStateChanged(unit, group->instance);
    }
    return 0;
}
