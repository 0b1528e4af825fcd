// A VLAN message names an interface, a port or the bridge itself, and holds entries. An entry has a
// VLAN and, if it stands for several, the last one. Options that the bridge has for a VLAN as a
// whole, among them its instance, come in entries of another kind.

#include "bridge_vlans.h"

#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>

#include "kernel_bridge.h"

namespace {

using platform::BridgePort;
using platform::Bytes;
using platform::kernelBridge;
using platform::VLAN_MAX;

struct Entry {
    uint32_t first; // 0: the entry names no VLAN
    uint32_t last;
    bool hasInstance;
    uint16_t instance;
};

uint16_t numberIn(const Bytes& value) {
    uint16_t number = 0;
    if (value.length >= sizeof number) {
        memcpy(&number, value.data, sizeof number);
    }
    return number;
}

void readInfo(const Bytes& value, Entry* entry) {
    bridge_vlan_info info = {};
    if (value.length >= sizeof info) {
        memcpy(&info, value.data, sizeof info);
        entry->first = info.vid;
    }
}

// @return false when it is no entry of VLANs that there can be
bool finish(Entry* entry) {
    if (entry->last == 0) {
        entry->last = entry->first;
    }
    return entry->first >= 1 && entry->first <= entry->last && entry->last <= VLAN_MAX;
}

bool readMembership(Bytes data, Entry* entry) {
    *entry = {};
    uint16_t type;
    Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        if (type == BRIDGE_VLANDB_ENTRY_INFO) {
            readInfo(value, entry);
        } else if (type == BRIDGE_VLANDB_ENTRY_RANGE) {
            entry->last = numberIn(value);
        }
    }
    return finish(entry);
}

bool readOptions(Bytes data, Entry* entry) {
    *entry = {};
    uint16_t type;
    Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        if (type == BRIDGE_VLANDB_GOPTS_ID) {
            entry->first = numberIn(value);
        } else if (type == BRIDGE_VLANDB_GOPTS_RANGE) {
            entry->last = numberIn(value);
        } else if (type == BRIDGE_VLANDB_GOPTS_MSTI) {
            entry->instance = numberIn(value);
            entry->hasInstance = true;
        }
    }
    return finish(entry) && entry->hasInstance && entry->instance <= VLAN_MAX;
}

// The daemon is told of one new VLAN in each group: the state is the group's.
void noteNews(BridgePort* port, uint32_t vlan) {
    const uint32_t group = platform::groupOfVlan(vlan);
    if (group != 0) {
        platform::addBit(port->news, group - 1);
        kernelBridge()->newsWait = true;
    }
}

void takeMembership(const Entry& entry, BridgePort* port, bool member) {
    for (uint32_t vlan = entry.first; vlan <= entry.last; vlan++) {
        if (port != nullptr && member && !platform::hasVlan(port->vlans, vlan)) {
            noteNews(port, vlan);
        }
        platform::noteVlan(port, vlan, member);
    }
}

void takeEntry(uint16_t type, const Bytes& value, BridgePort* port, bool member) {
    Entry entry;
    if (type == BRIDGE_VLANDB_ENTRY && readMembership(value, &entry)) {
        takeMembership(entry, port, member);
    } else if (type == BRIDGE_VLANDB_GLOBAL_OPTIONS && port == nullptr && member &&
               readOptions(value, &entry)) {
        for (uint32_t vlan = entry.first; vlan <= entry.last; vlan++) {
            platform::noteInstance(vlan, entry.instance);
        }
    }
}

} // namespace

namespace platform {

void readVlans(const Bytes& message, bool member) {
    br_vlan_msg body;
    if (message.length < NLMSG_HDRLEN + sizeof body) {
        return;
    }
    memcpy(&body, message.data + NLMSG_HDRLEN, sizeof body);
    BridgePort* port = findBridgePort(body.ifindex);
    if (port == nullptr && (body.ifindex == 0 || body.ifindex != kernelBridge()->ifindex)) {
        return;
    }
    Bytes rest = {message.data + NLMSG_HDRLEN + sizeof body,
                  message.length - static_cast<uint32_t>(NLMSG_HDRLEN + sizeof body)};
    uint16_t type;
    Bytes value;
    while (nextAttribute(&rest, &type, &value)) {
        takeEntry(type, value, port, member);
    }
}

int32_t dumpVlans(uint32_t ifindex, uint32_t flags, MessageVisitor visit, void* context) {
    br_vlan_msg body = {};
    body.family = AF_BRIDGE;
    body.ifindex = ifindex;
    NetlinkRequest request;
    requestBegin(&request, RTM_GETVLAN, NLM_F_DUMP, &body, sizeof body);
    if (flags != 0) {
        requestPutValue(&request, BRIDGE_VLANDB_DUMP_FLAGS, flags);
    }
    return netlinkRequest(&request, visit, context);
}

} // namespace platform
