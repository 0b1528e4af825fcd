// States per VLAN take VLAN filtering and the bridge's MST mode. Without them all VLANs follow the
// CIST.
//
// The kernel changes the mode only while no port has VLANs, so it is turned on as soon as the
// bridge is there. Ports that have VLANs by then lose them for a moment: nothing is open then that
// was not open before, since a VLAN that comes back has the state of its port.

#include "bridge_mode.h"

#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "kept_vlans.h"
#include "kernel_bridge.h"
#include "netlink_request.h"
#include "platform/timer.h"
#include "process.h"

namespace {

using platform::kernelBridge;
using platform::KernelBridge;
using platform::NetlinkRequest;

NetlinkRequest gRequest;

// Writes settings of the bridge: each of the two as it is to be.
int32_t writeBridge(bool filtering, bool mst) {
    ifinfomsg body = {};
    body.ifi_index = static_cast<int>(kernelBridge()->ifindex);
    platform::requestBegin(&gRequest, RTM_NEWLINK, 0, &body, sizeof body);
    const uint32_t info = platform::requestNest(&gRequest, IFLA_LINKINFO);
    platform::requestPut(&gRequest, IFLA_INFO_KIND, "bridge", sizeof "bridge");
    const uint32_t data = platform::requestNest(&gRequest, IFLA_INFO_DATA);
    if (filtering != kernelBridge()->vlanFiltering) {
        platform::requestPutValue(&gRequest, IFLA_BR_VLAN_FILTERING,
                                  static_cast<uint8_t>(filtering));
    }
    if (mst != kernelBridge()->mst) {
        br_boolopt_multi option = {};
        option.optmask = 1U << BR_BOOLOPT_MST_ENABLE;
        option.optval = mst ? option.optmask : 0;
        platform::requestPutValue(&gRequest, IFLA_BR_MULTI_BOOLOPT, option);
    }
    platform::requestEndNest(&gRequest, data);
    platform::requestEndNest(&gRequest, info);
    const int32_t error = platform::netlinkRequest(&gRequest, nullptr, nullptr);
    if (error == 0) {
        kernelBridge()->vlanFiltering = filtering;
        kernelBridge()->mst = mst;
    }
    return error;
}

bool hasAny(const uint8_t* set, uint32_t size) {
    return std::any_of(set, set + size, [](uint8_t byte) { return byte != 0; });
}

bool portsHaveVlans() {
    const KernelBridge* bridge = kernelBridge();
    for (uint32_t i = 0; i < bridge->portsEnd; i++) {
        if (hasAny(bridge->ports[i].vlans, sizeof bridge->ports[i].vlans)) {
            return true;
        }
    }
    return false;
}

void tellOneState(const char* reason) {
    if (!kernelBridge()->oneStateTold) {
        kernelBridge()->oneStateTold = true;
        fprintf(stderr, "mstp: bridge %s: %s: all VLANs follow the CIST\n", platform::bridgeName(),
                reason);
    }
}

// With instances but without VLAN filtering the kernel heeds no state at all.
void leaveBlindMode() {
    if (writeBridge(false, false) == 0) {
        return;
    }
    const bool filtering = writeBridge(true, true) == 0;
    if (filtering || !kernelBridge()->oneStateTold) {
        kernelBridge()->oneStateTold = true;
        fprintf(stderr,
                "mstp: bridge %s: without VLAN filtering its MST mode ignores port states%s\n",
                platform::bridgeName(),
                filtering ? ": VLAN filtering is on again" : ", and neither can be changed");
    }
}

// @return 0 or an errno value
int32_t turnOnWithoutVlans() {
    const uint64_t begin = platformClock();
    int32_t error = platform::keepPortVlans();
    if (error != 0) {
        return error;
    }
    error = platform::takePortVlansOff();
    if (error == 0) {
        error = writeBridge(true, true);
    }
    platform::putPortVlansBack();
    if (error == 0) {
        fprintf(stderr,
                "mstp: bridge %s: MST mode is on; the VLANs of its ports were off for that for "
                "%" PRIu64 " ms\n",
                platform::bridgeName(), (platformClock() - begin) / 1000);
    }
    return error;
}

// Once: a bridge that refuses keeps its VLANs in peace.
void turnOn() {
    KernelBridge* bridge = kernelBridge();
    const int32_t error = portsHaveVlans() ? turnOnWithoutVlans() : writeBridge(true, true);
    if (error != 0) {
        char reason[128];
        snprintf(reason, sizeof reason, "MST mode cannot be turned on: %s", strerror(error));
        bridge->mstRefused = true;
        tellOneState(reason);
    }
}

} // namespace

namespace platform {

void chooseMode() {
    KernelBridge* bridge = kernelBridge();
    if (bridge->mst && !bridge->vlanFiltering) {
        leaveBlindMode();
    }
    if (bridge->mst || bridge->mstRefused) {
        return;
    }
    if (!bridge->vlanFiltering) {
        tellOneState("VLAN filtering is off");
    } else if (!bridge->mstKnown) {
        tellOneState("the kernel has no MST mode");
    } else {
        turnOn();
    }
}

} // namespace platform
