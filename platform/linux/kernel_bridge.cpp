// The kernel's bridge, as far as its own messages and answers tell: a record that is never ahead of
// the kernel. News may be late: what they tell may have changed again since. They come in the order
// of the changes, though, so after the last of them the record is true, and what was written on
// older grounds is written once more.

#include "kernel_bridge.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/timer.h"
#include "port_table.h"

namespace {

using platform::BridgePort;
using platform::KernelBridge;

// Machines decide on a port within two forward delays of its start.
constexpr uint64_t kKeepTime = 30'000'000;

KernelBridge gBridge;

uint8_t* vlansOf(BridgePort* port) {
    return port != nullptr ? port->vlans : gBridge.ownVlans;
}

void forgetPort(BridgePort* port) {
    *port = {};
    while (gBridge.portsEnd > 0 && gBridge.ports[gBridge.portsEnd - 1].ifindex == 0) {
        gBridge.portsEnd--;
    }
}

BridgePort* freePort() {
    for (BridgePort& port : gBridge.ports) {
        if (port.ifindex == 0) {
            return &port;
        }
    }
    return nullptr;
}

// The VLAN's instance is the one that its group has already: the kernel has set the right state.
bool followsPortState(uint32_t vlan) {
    return gBridge.instance[vlan] == 0 && platform::groupInstance(platform::groupOfVlan(vlan)) == 0;
}

} // namespace

namespace platform {

KernelBridge* kernelBridge() {
    return &gBridge;
}

BridgePort* findBridgePort(uint32_t ifindex) {
    for (uint32_t i = 0; ifindex != 0 && i < gBridge.portsEnd; i++) {
        if (gBridge.ports[i].ifindex == ifindex) {
            return &gBridge.ports[i];
        }
    }
    return nullptr;
}

// The kernel calls the bridge its own master in messages about VLANs of its own.
bool isPortOfBridge(const LinkInfo& link) {
    return gBridge.ifindex != 0 && link.master == gBridge.ifindex &&
           link.ifindex != gBridge.ifindex;
}

bool isStillPortOfBridge(uint32_t ifindex) {
    LinkInfo link = {};
    return queryLink(ifindex, &link) == 0 && isPortOfBridge(link);
}

void bindBridge(const LinkInfo* link) {
    // Most of the record is ports that there never were: it stays untouched.
    for (uint32_t i = 0; i < gBridge.portsEnd; i++) {
        gBridge.ports[i] = {};
    }
    memset(static_cast<void*>(&gBridge), 0, offsetof(KernelBridge, ports));
    if (link != nullptr) {
        gBridge.ifindex = link->ifindex;
        gBridge.keepUntil = platformClock() + kKeepTime;
        gBridge.settleAt = gBridge.keepUntil;
        noteBridge(*link);
    }
}

void noteBridge(const LinkInfo& link) {
    if (link.kind != LinkKind::BRIDGE) {
        return;
    }
    gBridge.stpState = link.stpState;
    if (link.hasAddress) {
        memcpy(gBridge.address, link.address, sizeof gBridge.address);
        gBridge.hasAddress = true;
    }
    gBridge.mstKnown = link.mstKnown;
    if (gBridge.vlanFiltering == link.vlanFiltering && gBridge.mst == link.mstEnabled) {
        return;
    }
    gBridge.vlanFiltering = link.vlanFiltering;
    gBridge.mst = link.mstEnabled;
    gBridge.mstRefused = false;
    gBridge.oneStateTold = false;
    for (uint32_t i = 0; i < gBridge.portsEnd; i++) {
        unsettlePort(&gBridge.ports[i]);
    }
    bridgeGroupsChanged();
}

BridgePort* joinBridge(uint32_t ifindex, Untold untold) {
    BridgePort* port = freePort();
    if (port == nullptr) {
        return nullptr;
    }
    const PortEntry* entry = obtainPort(ifindex);
    *port = {};
    port->ifindex = ifindex;
    port->number = entry != nullptr ? portNumber(entry) : 0;
    port->untold = entry != nullptr && portAttached(entry) ? Untold::BLOCK : untold;
    port->unannounced = true;
    gBridge.unannounced = true;
    gBridge.portsEnd = std::max(gBridge.portsEnd, static_cast<uint32_t>(port - gBridge.ports) + 1);
    unsettlePort(port);
    return port;
}

void leaveBridge(BridgePort* port) {
    for (uint32_t vlan = 1; vlan <= VLAN_MAX; vlan++) {
        noteVlan(port, vlan, false);
    }
    forgetPort(port);
}

// The kernel makes a VLAN with its first member, in instance 0, and forgets it with the last.
void noteVlan(BridgePort* port, uint32_t vlan, bool member) {
    uint8_t* vlans = vlansOf(port);
    if (hasVlan(vlans, vlan) == member) {
        return;
    }
    gBridge.mappingUnsettled = true;
    gBridge.unsettled = true;
    if (!member) {
        dropBit(vlans, vlan - 1);
        if (--gBridge.holders[vlan] == 0) {
            gBridge.instance[vlan] = 0;
        }
        return;
    }
    addBit(vlans, vlan - 1);
    gBridge.holders[vlan]++;
    if (port != nullptr && !followsPortState(vlan)) {
        addBit(port->fresh, vlan - 1);
        port->unsettled = true;
    }
}

void noteInstance(uint32_t vlan, uint16_t instance) {
    if (gBridge.holders[vlan] != 0 && gBridge.instance[vlan] != instance) {
        gBridge.instance[vlan] = instance;
        gBridge.mappingUnsettled = true;
        gBridge.unsettled = true;
    }
}

void unsettlePort(BridgePort* port) {
    memcpy(port->fresh, port->vlans, sizeof port->fresh);
    addBit(port->stale, 0);
    port->unsettled = true;
    gBridge.unsettled = true;
    gBridge.mappingUnsettled = true;
}

// What was set before the daemon ran a port here is void: it blocks until the machines decide.
void bridgePortAttached(uint32_t ifindex) {
    BridgePort* port = findBridgePort(ifindex);
    if (port != nullptr) {
        forgetGroupPort(port->number);
        port->returns = false;
        port->untold = Untold::BLOCK;
        unsettlePort(port);
    }
}

void bridgePortReleased(uint32_t ifindex) {
    BridgePort* port = findBridgePort(ifindex);
    const PortEntry* entry = findPort(ifindex);
    if (port != nullptr && port->returns) {
        forgetGroupPort(port->number);
        port->untold = Untold::BLOCK;
        unsettlePort(port);
    } else if (port != nullptr) {
        port->untold = Untold::FORWARD;
        unsettlePort(port);
    } else if (entry != nullptr) {
        forgetGroupPort(portNumber(entry));
    }
}

void bridgeGroupsChanged() {
    gBridge.mappingUnsettled = true;
    gBridge.unsettled = true;
}

void bridgeStateChanged(uint32_t ifindex, uint16_t instance) {
    BridgePort* port = findBridgePort(ifindex);
    if (port == nullptr || instance == INSTANCE_NONE) {
        return;
    }
    addBit(port->stale, instance);
    port->failures = 0;
    port->retryAt = 0;
    port->unsettled = true;
    gBridge.unsettled = true;
}

} // namespace platform
