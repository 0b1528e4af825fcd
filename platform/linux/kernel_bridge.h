#pragma once

/// What the daemon knows of the kernel's bridge: its ports, their VLANs, the kernel's instance of
/// each VLAN, and what the kernel has yet to be told.

#include <cstdint>

#include "groups.h"
#include "netlink.h"

namespace platform {

inline constexpr uint32_t VLAN_MAX = 4094;
inline constexpr uint32_t VLAN_LIST_SIZE = 512;
inline constexpr uint32_t BRIDGE_PORTS_MAX = 1024; // the kernel's own limit

/// Sets of numbers. VLAN v is number v - 1, so that VLAN 1 is the top bit of the first byte.
inline bool hasBit(const uint8_t* set, uint32_t number) {
    return (set[number / 8] & (0x80U >> (number % 8))) != 0;
}
inline void addBit(uint8_t* set, uint32_t number) {
    set[number / 8] = static_cast<uint8_t>(set[number / 8] | (0x80U >> (number % 8)));
}
inline void dropBit(uint8_t* set, uint32_t number) {
    set[number / 8] = static_cast<uint8_t>(set[number / 8] & ~(0x80U >> (number % 8)));
}
inline bool hasVlan(const uint8_t* set, uint32_t vlan) {
    return hasBit(set, vlan - 1);
}

/// The state of a port in a group that the daemon has set no state in.
enum class Untold : uint8_t {
    KEEP,    ///< as the kernel has it: found at the start, and not decided on yet
    BLOCK,   ///< it joined later, or the daemon runs a port on it
    FORWARD, ///< the daemon has let go of it: spanning tree does not block it
};

struct BridgePort {
    uint32_t ifindex; ///< 0: free
    uint32_t number;  ///< in the port table; 0: none was free
    Untold untold;
    bool seen;        ///< in the present reading of the bridge
    bool unannounced; ///< whoever wants to know of ports that join has yet to take it
    bool plain;       ///< no switching chip is behind it; found out when it is first flushed
    bool returns;     ///< the daemon lets go of it to take it anew
    bool unsettled;   ///< something is fresh or stale
    bool written;     ///< the kernel has taken the state of the port itself
    bool complained;
    uint8_t failures; ///< writes in a row that did not hold
    uint64_t retryAt; ///< no write before, in microseconds of platformClock()
    uint8_t vlans[VLAN_LIST_SIZE];
    uint8_t fresh[VLAN_LIST_SIZE]; ///< VLANs whose state may not be that of their instance
    uint8_t stale[VLAN_LIST_SIZE]; ///< kernel instances whose state is to be written; bit n is n
    uint8_t
        news[GROUP_MAX / 8]; ///< groups, from 0 on, of which the daemon is to be told a new VLAN
};

struct KernelBridge {
    uint32_t ifindex; ///< 0: there is none
    uint32_t stpState;
    bool vlanFiltering;
    bool mst;
    bool mstKnown;         ///< the kernel can turn it on
    bool mstRefused;       ///< but has refused to
    bool wholePortsOnly;   ///< the kernel forgets addresses of whole ports only
    bool oneStateTold;     ///< that all VLANs follow the CIST has been said
    bool unsettled;        ///< the kernel has yet to be told something
    bool mappingUnsettled; ///< which may be instances of VLANs
    bool rereadWanted;     ///< what is known may be wrong
    bool newsWait;         ///< some port has news
    bool unannounced;      ///< some port is
    bool hasAddress;
    uint8_t address[LINK_ADDRESS_SIZE];
    uint64_t keepUntil;               ///< VLANs of ports that are kept are not moved before
    uint64_t settleAt;                ///< look again then; 0: no need
    uint32_t portsEnd;                ///< ports beyond are free
    uint8_t ownVlans[VLAN_LIST_SIZE]; ///< of the bridge itself
    uint16_t holders[VLAN_MAX + 1];   ///< ports in the VLAN, and the bridge itself
    uint16_t instance[VLAN_MAX + 1];  ///< the kernel's; 0 for a VLAN that it does not have
    BridgePort ports[BRIDGE_PORTS_MAX];
};

KernelBridge* kernelBridge();

/// The port of the bridge on interface @p ifindex, null for none.
BridgePort* findBridgePort(uint32_t ifindex);

/// True when a link message of family bridge is about a port of the bridge.
bool isPortOfBridge(const LinkInfo& link);
/// Asks the kernel whether interface @p ifindex is a port of the bridge now. @return false also
/// when it does not answer
bool isStillPortOfBridge(uint32_t ifindex);

/// Starts anew with the bridge @p link, or with none.
void bindBridge(const LinkInfo* link);

/// Takes over the bridge's settings from news about it.
void noteBridge(const LinkInfo& link);

/// The interface is a port of the bridge now. @return null when there are too many
BridgePort* joinBridge(uint32_t ifindex, Untold untold);
void leaveBridge(BridgePort* port);

/// The kernel tells the state of the port itself. @p up: its link is up
void notePortState(BridgePort* port, uint8_t state, bool up);

/// The VLAN came to, or left, the port; null: the bridge itself.
void noteVlan(BridgePort* port, uint32_t vlan, bool member);

/// The kernel tells its instance of the VLAN.
void noteInstance(uint32_t vlan, uint16_t instance);

/// All that has been written to the port may be wrong.
void unsettlePort(BridgePort* port);

// What the rest of the platform tells.

/// The daemon runs a port on the interface from now on, or no longer.
void bridgePortAttached(uint32_t ifindex);
void bridgePortReleased(uint32_t ifindex);

/// VLANs have changed their groups.
void bridgeGroupsChanged();

/// The state of an interface in a group changed, whose kernel instance is @p instance.
void bridgeStateChanged(uint32_t ifindex, uint16_t instance);

/// Tells the kernel what it has yet to be told, as far as that is possible now. Nothing that the
/// daemon has asked for since takes effect before. Called before each frame is sent, before each
/// flush and before the daemon waits.
void settleBridge();

/// The daemon is about to wait: settles the bridge, and offers ports that have joined.
void serveBridge();

/// Reads the bridge anew. Ports that have left are marked so in the port table.
/// @return 0 or an errno value: to be tried again
int32_t rereadBridge();

/// Reads the VLANs of a port that has joined.
int32_t readPortVlans(BridgePort* port);

/// Forgets the learned addresses of the VLANs (a set of @p length bytes) on the interface.
/// @return 0, also when it is no port of the bridge, or -1
int32_t flushLearned(uint32_t ifindex, const uint8_t* vlans, uint32_t length);

/// Has the bridge's own neighbours of @p family (AF_INET, AF_INET6) in the VLANs proved, with the
/// next settleBridge.
void proveNeighbours(uint8_t family, const uint8_t* vlans, uint32_t length);
void proveNeighboursNow();

} // namespace platform
