// What the kernel tells of its bridge while the daemon runs.
//
// A port that joins is read as a whole, since its VLANs may have been told before its joining. The
// bridge itself may come late, change its address or its settings, or go: then its ports have left
// it, as the kernel has told of each by then. It is known by its interface, whatever its name
// becomes.
//
// The daemon is told of the address when it differs from the one that it read, and of a VLAN on a
// port that it runs, once for each group and not for each VLAN.

#include "bridge_news.h"

#include <cstring>

#include "kernel_bridge.h"
#include "port_table.h"
#include "process.h"
#include "system_mac.h"

namespace {

using platform::BridgePort;
using platform::KernelBridge;
using platform::kernelBridge;
using platform::LinkOutput;

bool addressIsNews() {
    const KernelBridge* bridge = kernelBridge();
    return bridge->hasAddress && platform::systemMacDiffers(bridge->address);
}

bool daemonRuns(const BridgePort& port) {
    const platform::PortEntry* entry = platform::findPort(port.ifindex);
    return entry != nullptr && platform::portAttached(entry);
}

// Some VLAN of the group that the port has, 0 when it has none any more.
uint16_t vlanOfGroup(const BridgePort& port, uint32_t group) {
    for (uint16_t vlan = 1; vlan <= platform::VLAN_MAX; vlan++) {
        if (platform::hasVlan(port.vlans, vlan) && platform::groupOfVlan(vlan) == group) {
            return vlan;
        }
    }
    return 0;
}

// @return false when not all of it fits
bool putVlanNews(BridgePort* port, LinkOutput* output) {
    const bool told = daemonRuns(*port);
    for (uint32_t i = 0; i < platform::GROUP_MAX; i++) {
        if (!platform::hasBit(port->news, i)) {
            continue;
        }
        const uint16_t vlan = told ? vlanOfGroup(*port, i + 1) : 0;
        if (vlan != 0 && !platform::putVlan(output, port->ifindex, vlan)) {
            return false;
        }
        platform::dropBit(port->news, i);
    }
    return true;
}

} // namespace

namespace platform {

void noteBridgePort(const LinkInfo& link) {
    KernelBridge* bridge = kernelBridge();
    if (!isPortOfBridge(link)) {
        return;
    }
    BridgePort* port = findBridgePort(link.ifindex);
    if (port == nullptr) {
        port = joinBridge(link.ifindex, Untold::BLOCK);
        if (port == nullptr) {
            return;
        }
        if (readPortVlans(port) != 0) {
            bridge->rereadWanted = true;
        }
    }
    if (link.portState >= 0) {
        notePortState(port, static_cast<uint8_t>(link.portState), linkIsUp(link));
    }
}

void noteBridgeLink(const LinkInfo& link, bool there) {
    KernelBridge* bridge = kernelBridge();
    if (bridge->ifindex != 0 && link.ifindex == bridge->ifindex) {
        bridge->rereadWanted = bridge->rereadWanted || !there;
        noteBridge(link);
    } else if (there && bridge->ifindex == 0 && link.kind == LinkKind::BRIDGE &&
               strcmp(link.name, bridgeName()) == 0) {
        bridge->rereadWanted = true;
    }
}

bool bridgeNewsWait() {
    return kernelBridge()->newsWait || addressIsNews();
}

void putBridgeNews(LinkOutput* output) {
    KernelBridge* bridge = kernelBridge();
    if (addressIsNews() && putSystemMac(output, bridge->ifindex, bridge->address)) {
        noteSystemMac(bridge->address);
    }
    for (uint32_t i = 0; bridge->newsWait && i < bridge->portsEnd; i++) {
        if (!putVlanNews(&bridge->ports[i], output)) {
            return;
        }
    }
    bridge->newsWait = false;
}

} // namespace platform
