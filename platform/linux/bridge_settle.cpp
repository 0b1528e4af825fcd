// Brings the kernel's bridge in step with the groups.
//
// The kernel has instances of its own. Instance 0 is the state of the port proper; each other is
// known only by the VLANs that are mapped to it, and the state belongs to each of these VLANs on
// each port that has it. So nothing can be said about an instance without VLANs, about a VLAN that
// no port and not the bridge itself has, or about a port outside it; and what was said is forgotten
// with the last VLAN. Groups, VLANs, ports and states come in any order, so what is wanted is kept
// with the groups, and whatever the kernel newly has is brought in step with it:
//
// - The VLAN comes to its first port: the kernel makes it in instance 0, in the state of that port.
//   It is mapped, which makes the kernel take over the state of another VLAN of the instance on
//   that port, or disable it; then the state is written. Until it is mapped it follows the CIST,
//   where the port discards as long as the machines have not let it forward.
// - The VLAN is mapped already and comes to a further port: the kernel gives it the state of that
//   port, not of the instance. The state of the instance is written.
// - The group comes, or gets the VLAN, after the VLAN: it is mapped as above, on all ports at once,
//   and the states are written. A group gets a kernel instance when it first has a VLAN that
//   exists: the one that its VLANs are in already, from an earlier life of the daemon, or one that
//   no VLAN is in, where every port starts disabled.
// - The group goes: its VLANs move to the CIST's or another group; the kernel disables a VLAN that
//   moves to instance 0 on a port without other VLANs there, so the state of the port is written
//   again.
// - The state comes before the VLAN, the port or the group's instance: it waits with the group.
// - The port comes after all of them: its VLANs are fresh, and it discards until told.
// - A link that goes down leaves the states of VLANs as they are while the port itself is disabled;
//   the kernel takes no other state for it until the link returns, and then starts it anew. The
//   state is written when the kernel tells of it.
// - After a restart nothing is told yet, but the kernel still has the states of the daemon's
// earlier
//   life. They are left alone, and VLANs of such ports stay in their instances, until the daemon
//   runs ports there, or a time has passed in which it could have.
//
// Whenever there is a choice, closing comes before mapping and mapping before opening: states that
// discard are written first, for all ports, then VLANs are mapped, and states that forward come
// last.

#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "bridge_mode.h"
#include "kernel_bridge.h"
#include "netlink_request.h"
#include "platform/interfaces.h"
#include "platform/joined_ports.h"
#include "platform/stg.h"
#include "platform/timer.h"
#include "process.h"

namespace {

using platform::BridgePort;
using platform::kernelBridge;
using platform::KernelBridge;
using platform::NetlinkRequest;
using platform::Untold;
using platform::VLAN_MAX;

constexpr uint32_t kRoomOfRange = 64; // more than one range of VLANs takes in a request
constexpr uint32_t kRoomOfState = 32;
constexpr uint8_t kFailuresToldOf = 8;
constexpr uint64_t kRetrySoon = 100'000;
constexpr uint64_t kRetryLater = 1'000'000;

NetlinkRequest gRequest;
uint16_t gTarget[VLAN_MAX + 1];          // the kernel's instance that each VLAN belongs in
uint8_t gHeld[platform::VLAN_LIST_SIZE]; // VLANs that are not to be moved now
int32_t (*gPortJoined)(uint32_t unit);

// ---- messages

void beginLink(uint16_t type, uint8_t family, uint32_t ifindex) {
    ifinfomsg body = {};
    body.ifi_family = family;
    body.ifi_index = static_cast<int>(ifindex);
    platform::requestBegin(&gRequest, type, 0, &body, sizeof body);
}

int32_t writePortState(uint32_t ifindex, uint8_t state) {
    beginLink(RTM_SETLINK, AF_BRIDGE, ifindex);
    const uint32_t nest = platform::requestNest(&gRequest, IFLA_PROTINFO);
    platform::requestPutValue(&gRequest, IFLA_BRPORT_STATE, state);
    platform::requestEndNest(&gRequest, nest);
    return platform::netlinkRequest(&gRequest, nullptr, nullptr);
}

void putInstanceState(uint16_t instance, uint8_t state) {
    const uint32_t nest = platform::requestNest(&gRequest, IFLA_BRIDGE_MST_ENTRY);
    platform::requestPutValue(&gRequest, IFLA_BRIDGE_MST_ENTRY_MSTI, instance);
    platform::requestPutValue(&gRequest, IFLA_BRIDGE_MST_ENTRY_STATE, state);
    platform::requestEndNest(&gRequest, nest);
}

void putMapping(uint32_t first, uint32_t last, uint16_t instance) {
    const uint32_t nest = platform::requestNest(&gRequest, BRIDGE_VLANDB_GLOBAL_OPTIONS);
    platform::requestPutValue(&gRequest, BRIDGE_VLANDB_GOPTS_ID, static_cast<uint16_t>(first));
    if (last != first) {
        platform::requestPutValue(&gRequest, BRIDGE_VLANDB_GOPTS_RANGE,
                                  static_cast<uint16_t>(last));
    }
    platform::requestPutValue(&gRequest, BRIDGE_VLANDB_GOPTS_MSTI, instance);
    platform::requestEndNest(&gRequest, nest);
}

void beginMappings() {
    br_vlan_msg body = {};
    body.family = AF_BRIDGE;
    body.ifindex = kernelBridge()->ifindex;
    platform::requestBegin(&gRequest, RTM_NEWVLAN, 0, &body, sizeof body);
}

// ---- which instance each VLAN belongs in

void findHeld(uint64_t now) {
    const KernelBridge* bridge = kernelBridge();
    memset(gHeld, 0, sizeof gHeld);
    for (uint32_t i = 0; i < bridge->portsEnd && now < bridge->keepUntil; i++) {
        const BridgePort& port = bridge->ports[i];
        for (uint32_t b = 0; port.untold == Untold::KEEP && b < sizeof gHeld; b++) {
            gHeld[b] = static_cast<uint8_t>(gHeld[b] | port.vlans[b]);
        }
    }
}

bool needsInstance(uint32_t vlan) {
    const uint32_t group = platform::groupOfVlan(vlan);
    return kernelBridge()->holders[vlan] != 0 && group != 0 &&
           platform::groupInstance(group) == platform::INSTANCE_NONE;
}

void adoptInstances() {
    for (uint32_t vlan = 1; vlan <= VLAN_MAX; vlan++) {
        const uint16_t instance = kernelBridge()->instance[vlan];
        if (instance != 0 && needsInstance(vlan) && platform::groupOfInstance(instance) == 0) {
            platform::setGroupInstance(platform::groupOfVlan(vlan), instance);
        }
    }
}

uint16_t emptyInstance() {
    uint8_t used[platform::VLAN_LIST_SIZE] = {};
    for (uint32_t vlan = 1; vlan <= VLAN_MAX; vlan++) {
        platform::addBit(used, kernelBridge()->instance[vlan]);
    }
    for (uint16_t instance = 1; instance < VLAN_MAX; instance++) {
        if (!platform::hasBit(used, instance) && platform::groupOfInstance(instance) == 0) {
            return instance;
        }
    }
    return platform::INSTANCE_NONE;
}

void planInstances() {
    adoptInstances();
    for (uint32_t vlan = 1; vlan <= VLAN_MAX; vlan++) {
        if (needsInstance(vlan)) {
            platform::setGroupInstance(platform::groupOfVlan(vlan), emptyInstance());
        }
        const uint16_t instance = platform::groupInstance(platform::groupOfVlan(vlan));
        gTarget[vlan] = instance == platform::INSTANCE_NONE ? 0 : instance;
    }
}

bool mustMove(uint32_t vlan) {
    const KernelBridge* bridge = kernelBridge();
    return bridge->holders[vlan] != 0 && bridge->instance[vlan] != gTarget[vlan] &&
           !platform::hasVlan(gHeld, vlan);
}

// ---- mapping

void noteMoved(uint32_t first, uint32_t last) {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t vlan = first; vlan <= last; vlan++) {
        if (!mustMove(vlan)) {
            continue;
        }
        bridge->instance[vlan] = gTarget[vlan];
        for (uint32_t i = 0; i < bridge->portsEnd; i++) {
            if (platform::hasVlan(bridge->ports[i].vlans, vlan)) {
                platform::addBit(bridge->ports[i].fresh, vlan - 1);
                bridge->ports[i].unsettled = true;
            }
        }
    }
}

// One by one, after the whole was refused: a VLAN that has just gone spoils what comes with it. Its
// going is still to be told.
void moveSingly(uint32_t first, uint32_t last) {
    for (uint32_t vlan = first; vlan <= last; vlan++) {
        if (!mustMove(vlan)) {
            continue;
        }
        beginMappings();
        putMapping(vlan, vlan, gTarget[vlan]);
        const int32_t error = platform::netlinkRequest(&gRequest, nullptr, nullptr);
        if (error == 0) {
            noteMoved(vlan, vlan);
        } else if (error != ENOENT) {
            kernelBridge()->mappingUnsettled = true;
            kernelBridge()->settleAt = platformClock() + kRetryLater;
        }
    }
}

void sendMappings(uint32_t first, uint32_t last) {
    if (platform::netlinkRequest(&gRequest, nullptr, nullptr) == 0) {
        noteMoved(first, last);
    } else {
        moveSingly(first, last);
    }
}

uint32_t endOfRange(uint32_t first) {
    uint32_t last = first;
    while (last < VLAN_MAX && mustMove(last + 1) && gTarget[last + 1] == gTarget[first]) {
        last++;
    }
    return last;
}

// As many ranges in a message as it takes.
void writeMappings() {
    uint32_t begun = 0; // first VLAN of the message, 0: none begun
    uint32_t last = 0;
    for (uint32_t vlan = 1; vlan <= VLAN_MAX; vlan = last + 1) {
        last = vlan;
        if (!mustMove(vlan)) {
            continue;
        }
        if (begun != 0 && platform::requestRoom(&gRequest) < kRoomOfRange) {
            sendMappings(begun, vlan - 1);
            begun = 0;
        }
        if (begun == 0) {
            beginMappings();
            begun = vlan;
        }
        last = endOfRange(vlan);
        putMapping(vlan, last, gTarget[vlan]);
    }
    if (begun != 0) {
        sendMappings(begun, VLAN_MAX);
    }
}

// ---- states

constexpr int32_t kLeave = -1; // the state is not the daemon's to set

int32_t kernelStateOf(uint32_t state) {
    switch (state) {
    case STG_PORT_DISABLE:
    case STG_PORT_BROKEN:
        return BR_STATE_DISABLED;
    case STG_PORT_LISTENING:
        return BR_STATE_LISTENING;
    case STG_PORT_LEARNING:
        return BR_STATE_LEARNING;
    case STG_PORT_FORWARDING:
        return BR_STATE_FORWARDING;
    default:
        return BR_STATE_BLOCKING;
    }
}

int32_t wantedState(const BridgePort& port, uint16_t instance) {
    const uint32_t told =
        platform::groupStateOfNumber(platform::groupOfInstance(instance), port.number);
    if (told != 0) {
        return kernelStateOf(told);
    }
    switch (port.untold) {
    case Untold::KEEP:
        return kLeave;
    case Untold::FORWARD:
        return BR_STATE_FORWARDING;
    default:
        return BR_STATE_BLOCKING;
    }
}

bool opens(int32_t state) {
    return state == BR_STATE_LEARNING || state == BR_STATE_FORWARDING;
}

void complain(BridgePort* port, const char* reason) {
    if (port->complained) {
        return;
    }
    port->complained = true;
    char name[KEL_IF_NAME_SIZE];
    kelIfUnit2Name(port->ifindex, name);
    fprintf(stderr, "mstp: bridge %s: port %s does not take its state: %s\n",
            platform::bridgeName(), name, reason);
}

const char* reasonOf(int32_t error) {
    if (error == EBUSY && kernelBridge()->stpState == 1) {
        return "the kernel runs spanning tree itself";
    }
    if (error == 0) {
        return "spanning tree is not left to user space";
    }
    return strerror(error);
}

// @p error  0 when the kernel took the state and changed it afterwards: it may only be late news of
// an earlier state, so the next write does not wait at first.
void noteFailure(BridgePort* port, int32_t error) {
    uint64_t wait = error == 0 ? 0 : kRetrySoon;
    if (port->failures < kFailuresToldOf) {
        port->failures++;
    } else {
        complain(port, reasonOf(error));
        wait = kRetryLater;
    }
    KernelBridge* bridge = kernelBridge();
    port->retryAt = platformClock() + wait;
    bridge->settleAt =
        bridge->settleAt == 0 ? port->retryAt : std::min(bridge->settleAt, port->retryAt);
}

void settlePortState(BridgePort* port, bool opening) {
    const int32_t wanted = wantedState(*port, 0);
    if (!platform::hasBit(port->stale, 0) || (wanted != kLeave && opens(wanted) != opening)) {
        return;
    }
    int32_t error = 0;
    if (wanted != kLeave) {
        error = writePortState(port->ifindex, static_cast<uint8_t>(wanted));
    }
    // A port whose link is down is disabled, and news come when it is not.
    if (error != 0 && error != ENETDOWN) {
        noteFailure(port, error);
        return;
    }
    platform::dropBit(port->stale, 0);
    port->written = wanted != kLeave && error == 0;
}

// Puts the states that open, or do not, into one message. @return how many
uint32_t putInstanceStates(const BridgePort& port, bool opening, uint8_t* put) {
    uint32_t count = 0;
    for (uint16_t instance = 1; instance <= VLAN_MAX; instance++) {
        if (port.stale[instance / 8] == 0) {
            instance = static_cast<uint16_t>(instance | 7);
            continue;
        }
        const int32_t wanted =
            platform::hasBit(port.stale, instance) ? wantedState(port, instance) : kLeave;
        if (wanted != kLeave && opens(wanted) == opening &&
            platform::requestRoom(&gRequest) >= kRoomOfState) {
            putInstanceState(instance, static_cast<uint8_t>(wanted));
            platform::addBit(put, instance);
            count++;
        }
    }
    return count;
}

// @return false when there is nothing more to write
bool settleSomeInstanceStates(BridgePort* port, bool opening) {
    uint8_t put[platform::VLAN_LIST_SIZE] = {};
    beginLink(RTM_SETLINK, AF_BRIDGE, port->ifindex);
    const uint32_t spec = platform::requestNest(&gRequest, IFLA_AF_SPEC);
    const uint32_t mst = platform::requestNest(&gRequest, IFLA_BRIDGE_MST);
    if (putInstanceStates(*port, opening, put) == 0) {
        return false;
    }
    platform::requestEndNest(&gRequest, mst);
    platform::requestEndNest(&gRequest, spec);
    const int32_t error = platform::netlinkRequest(&gRequest, nullptr, nullptr);
    if (error != 0) {
        noteFailure(port, error);
        return false;
    }
    for (uint32_t b = 0; b < sizeof put; b++) {
        port->stale[b] = static_cast<uint8_t>(port->stale[b] & ~put[b]);
    }
    return true;
}

void settleStates(bool opening, uint64_t now) {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t i = 0; i < bridge->portsEnd; i++) {
        BridgePort* port = &bridge->ports[i];
        if (!port->unsettled || port->retryAt > now) {
            continue;
        }
        settlePortState(port, opening);
        if (bridge->mst) {
            while (settleSomeInstanceStates(port, opening)) {
            }
        }
    }
}

// The instances of the fresh VLANs are stale, but for VLANs that are about to move to another.
void stateFresh(BridgePort* port) {
    const KernelBridge* bridge = kernelBridge();
    for (uint32_t vlan = 1; vlan <= VLAN_MAX; vlan++) {
        if (port->fresh[(vlan - 1) / 8] == 0) {
            vlan = ((vlan - 1) | 7) + 1;
        } else if (platform::hasVlan(port->fresh, vlan) && !mustMove(vlan)) {
            platform::addBit(port->stale, bridge->instance[vlan]);
        }
    }
    memset(port->fresh, 0, sizeof port->fresh);
}

void stateFreshOfAll() {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t i = 0; i < bridge->portsEnd; i++) {
        if (bridge->ports[i].unsettled && bridge->mst) {
            stateFresh(&bridge->ports[i]);
        }
    }
}

// What is left of a port that the kernel refused nothing of is not the daemon's to set.
void endSettling(uint64_t now) {
    KernelBridge* bridge = kernelBridge();
    for (uint32_t i = 0; i < bridge->portsEnd; i++) {
        BridgePort* port = &bridge->ports[i];
        if (port->unsettled && port->retryAt <= now) {
            port->unsettled = false;
            memset(port->stale, 0, sizeof port->stale);
            memset(port->fresh, 0, sizeof port->fresh);
        }
    }
}

void settle(uint64_t now) {
    KernelBridge* bridge = kernelBridge();
    bridge->unsettled = false;
    platform::chooseMode();
    const bool mapping = bridge->mst && bridge->mappingUnsettled;
    if (mapping) {
        bridge->mappingUnsettled = false;
        findHeld(now);
        planInstances();
    }
    stateFreshOfAll();
    settleStates(false, now);
    if (mapping) {
        writeMappings();
        stateFreshOfAll();
        settleStates(false, now);
    }
    settleStates(true, now);
    endSettling(now);
}

// A port is offered until it is taken or refused.
void announceJoined() {
    KernelBridge* bridge = kernelBridge();
    bridge->unannounced = false;
    for (uint32_t i = 0; i < bridge->portsEnd && gPortJoined != nullptr; i++) {
        BridgePort* port = &bridge->ports[i];
        if (port->unannounced) {
            port->unannounced = gPortJoined(port->ifindex) == PLATFORM_PORT_LATER;
            port->returns = port->returns && port->unannounced;
            bridge->unannounced = bridge->unannounced || port->unannounced;
        }
    }
}

} // namespace

namespace platform {

void notePortState(BridgePort* port, uint8_t state, bool up) {
    const int32_t wanted = wantedState(*port, 0);
    if (!up || wanted == kLeave) {
        return;
    }
    if (state == wanted) {
        port->failures = 0;
        port->complained = false;
        return;
    }
    if (port->written) {
        port->written = false;
        noteFailure(port, 0);
    }
    addBit(port->stale, 0);
    port->unsettled = true;
    kernelBridge()->unsettled = true;
}

void settleBridge() {
    KernelBridge* bridge = kernelBridge();
    if (bridge->rereadWanted && rereadBridge() != 0) {
        return;
    }
    if (bridge->ifindex == 0) {
        bridge->unsettled = false;
        return;
    }
    const uint64_t now = bridge->unsettled || bridge->settleAt != 0 ? platformClock() : 0;
    if (bridge->settleAt != 0 && now >= bridge->settleAt) {
        bridge->settleAt = now < bridge->keepUntil ? bridge->keepUntil : 0;
        bridge->mappingUnsettled = true;
        bridge->unsettled = true;
    }
    if (bridge->unsettled) {
        settle(now);
    }
    proveNeighboursNow();
}

void serveBridge() {
    settleBridge();
    if (kernelBridge()->unannounced) {
        announceJoined();
        settleBridge();
    }
}

} // namespace platform

void platformOnPortJoined(int32_t (*callBack)(uint32_t unit)) {
    gPortJoined = callBack;
}

void platformOfferPortAgain(uint32_t unit) {
    BridgePort* port = platform::findBridgePort(unit);
    if (port != nullptr) {
        port->returns = true;
        port->unannounced = true;
        kernelBridge()->unannounced = true;
    }
}
