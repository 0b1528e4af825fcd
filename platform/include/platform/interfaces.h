#pragma once

/// Interfaces of the switch: names, attributes, positions. A unit is the platform's number of an
/// interface (the kernel's interface index on Linux). Every call returns 0 on success.

#include <cstdint>

/// Room that a caller gives for an interface name, the terminating NUL included.
inline constexpr uint32_t KEL_IF_NAME_SIZE = 128;

enum : uint32_t {
    KEL_IF_SPEED = 15,         ///< get, uint32_t: Mb/s
    KEL_IF_OPER_STATUS = 31,   ///< get, uint32_t: 1 = up
    KEL_IF_FLUSH_MAC = 98,     ///< set, octetstring of VLANs: forget learnt addresses
    KEL_IF_FLUSH_ARP = 99,     ///< set, octetstring of VLANs: forget ARP entries
    KEL_IF_FLUSH_ND = 100,     ///< set, octetstring of VLANs: forget IPv6 neighbours
    KEL_IF_FLUSH_ARL = 101,    ///< set, octetstring of VLANs: forget address resolution entries
    KEL_IF_PROTOCOL_USE = 304, ///< get, 18 bytes: which protocols own the interface
    KEL_IF_BPDU_ATTACH = 305,  ///< set, uint32_t filter kind: deliver BPDUs and link events
    KEL_IF_BPDU_DETACH = 306,  ///< set, uint32_t filter kind: stop delivering them
    KEL_IF_IS_MEMBER = 160,    ///< sysIFGet, uint32_t: the interface belongs to a port
    KEL_IF_OWNER_UNIT = 161,   ///< sysIFGet, uint32_t: the unit of that port
    KEL_INDEX_POSITION = 6,    ///< index translation into a tPhyIfIndex
    KEL_INDEX_IFINDEX = 4,     ///< index translation into an interface index (uint32_t)
};

inline constexpr uint32_t KEL_IF_PROTOCOL_USE_SIZE = 18;

/// Filter kinds of KEL_IF_BPDU_ATTACH and kinds of spanning tree groups.
enum : uint32_t { KEL_KIND_CUSTOMER = 4, KEL_KIND_PROVIDER = 5 };

enum : int32_t { KEL_END_PORT = 2, KEL_END_VLAN = 3 };

/// Where an interface sits.
struct tPhyIfIndex {
    uint32_t unit;
    uint32_t slot; ///< 0: not in a slot, virtualnum is the port number
    uint32_t port;
    uint32_t channel;
    uint32_t virtualnum; ///< port number, or VLAN ID of a VLAN interface
    int32_t endType;     ///< KEL_END_PORT, KEL_END_VLAN or another kind
    uint32_t card;
};

/// Writes the name of interface @p unit into @p name (KEL_IF_NAME_SIZE bytes), NUL-terminated.
/// For an interface that is gone the name is its number. Called for every trace line.
int32_t kelIfUnit2Name(uint32_t unit, char* name);

/// Reads @p attribute of interface @p unit into @p value, whose type the attribute gives.
/// On failure @p value is untouched.
int32_t kelIfGetApi(uint32_t unit, uint32_t attribute, void* value);

/// Writes @p attribute of interface @p unit.
int32_t kelIfSetApi(uint32_t unit, uint32_t attribute, void* value);

/// Translates interface index @p ifindex into a position (@p kind KEL_INDEX_POSITION, @p result a
/// tPhyIfIndex). Called for link messages, also for the one that tells of a port's end: a port is
/// translated until it has been detached.
int32_t kelIndexTrans(uint32_t ifindex, uint32_t kind, void* result);

/// Translates @p unit into a position (KEL_INDEX_POSITION) or an interface index
/// (KEL_INDEX_IFINDEX, @p result a uint32_t).
int32_t sysIndexTrans(uint32_t unit, uint32_t kind, void* result);

/// Reads attribute KEL_IF_IS_MEMBER or KEL_IF_OWNER_UNIT of @p ifindex.
int32_t sysIFGet(uint32_t ifindex, uint32_t attribute, uint32_t* value);
