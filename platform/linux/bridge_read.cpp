// Reading the kernel's bridge as a whole: at the start, when it appears, and after news were lost.
// What is found is compared with what is known. A port that is not found has left; since nobody
// knows what else happened meanwhile, every state is written again.

#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "bridge_vlans.h"
#include "kept_vlans.h"
#include "kernel_bridge.h"
#include "link_socket.h"
#include "port_table.h"
#include "process.h"

namespace {

using platform::BridgePort;
using platform::Bytes;
using platform::KernelBridge;
using platform::kernelBridge;
using platform::LinkInfo;
using platform::Untold;

struct Found {
    LinkInfo link;
    bool known; // it is the bridge that was served before, whatever its name is now
    bool any;
};

void keepBridge(const LinkInfo& link, void* context) {
    auto* found = static_cast<Found*>(context);
    const bool known = link.ifindex == kernelBridge()->ifindex;
    if (link.kind == platform::LinkKind::BRIDGE && !found->known &&
        (known || strcmp(link.name, platform::bridgeName()) == 0)) {
        found->link = link;
        found->known = known;
        found->any = true;
    }
}

void keepPort(const LinkInfo& link, void* context) {
    if (!platform::isPortOfBridge(link)) {
        return;
    }
    BridgePort* port = platform::findBridgePort(link.ifindex);
    if (port == nullptr) {
        port = platform::joinBridge(link.ifindex, *static_cast<Untold*>(context));
    }
    if (port != nullptr) {
        port->seen = true;
    }
}

// The daemon is told of it when it is told of all ports.
void portLeft(BridgePort* port) {
    platform::PortEntry* entry = platform::findPort(port->ifindex);
    if (entry != nullptr) {
        entry->left = true;
        platform::reportAllPorts();
    }
    platform::leaveBridge(port);
}

void dropUnseen() {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t i = bridge->portsEnd; i > 0; i--) {
        if (bridge->ports[i - 1].ifindex != 0 && !bridge->ports[i - 1].seen) {
            portLeft(&bridge->ports[i - 1]);
        }
    }
}

int32_t readPorts(Untold untold) {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t i = 0; i < bridge->portsEnd; i++) {
        bridge->ports[i].seen = false;
    }
    const int32_t error = platform::visitLinks(keepPort, &untold, AF_BRIDGE);
    if (error == 0) {
        dropUnseen();
    }
    return error;
}

void takeVlans(const Bytes& message, void* /*context*/) {
    if (platform::messageHeader(message).nlmsg_type == RTM_NEWVLAN) {
        platform::readVlans(message, true);
    }
}

// A kernel that cannot tell of VLANs has no instances either.
bool isUnknown(int32_t error) {
    return error == EOPNOTSUPP || error == EINVAL;
}

int32_t readVlansOfAll() {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t i = 0; i < bridge->portsEnd; i++) {
        memset(bridge->ports[i].vlans, 0, sizeof bridge->ports[i].vlans);
    }
    memset(bridge->ownVlans, 0, sizeof bridge->ownVlans);
    memset(bridge->holders, 0, sizeof bridge->holders);
    memset(bridge->instance, 0, sizeof bridge->instance);
    int32_t error = platform::dumpVlans(0, 0, takeVlans, nullptr);
    if (error == 0 && bridge->mst) {
        error =
            platform::dumpVlans(bridge->ifindex, BRIDGE_VLANDB_DUMPF_GLOBAL, takeVlans, nullptr);
    }
    return isUnknown(error) ? 0 : error;
}

void dropAll() {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t i = bridge->portsEnd; i > 0; i--) {
        if (bridge->ports[i - 1].ifindex != 0) {
            portLeft(&bridge->ports[i - 1]);
        }
    }
    platform::bindBridge(nullptr);
}

} // namespace

namespace platform {

int32_t readPortVlans(BridgePort* port) {
    const int32_t error = dumpVlans(port->ifindex, 0, takeVlans, nullptr);
    return isUnknown(error) ? 0 : error;
}

int32_t rereadBridge() {
    Found found = {};
    int32_t error = visitLinks(keepBridge, &found);
    if (error != 0) {
        return error;
    }
    KernelBridge* bridge = kernelBridge();
    Untold untold = Untold::BLOCK;
    if (!found.known) {
        dropAll();
        if (!found.any) {
            return 0;
        }
        bindBridge(&found.link);
        bridge->rereadWanted = true;
        untold = Untold::KEEP;
    }
    noteBridge(found.link);
    error = readPorts(untold);
    if (error == 0 && untold == Untold::KEEP && putBackVlansOfEarlierLife()) {
        fprintf(stderr, "mstp: bridge %s: VLANs that an interrupted start took off are put back\n",
                bridgeName());
    }
    if (error == 0) {
        error = readVlansOfAll();
    }
    for (uint32_t i = 0; i < bridge->portsEnd; i++) {
        unsettlePort(&bridge->ports[i]);
    }
    bridge->rereadWanted = error != 0;
    return error;
}

} // namespace platform
