#pragma once

/// Scalars of the system and of the switching hardware, and the offering of every management
/// change to the hardware and to the peer control unit before it is applied.

#include <cstdint>

struct tMstpXstPortIndex;

enum : uint32_t {
    KEL_HW_PEER_ABSENT = 44,    ///< kelHwScalarGet: with 53, non-zero results mean no peer unit
    KEL_HW_UNIT_ROLE = 52,      ///< kelHwScalarGet, uint32_t: KEL_UNIT_STANDBY on the standby
    KEL_HW_PEER_SYNC = 53,      ///< see KEL_HW_PEER_ABSENT
    KEL_SCALAR_SYSTEM_MAC = 11, ///< kelScalarGetApi, octetstring with room for 6 bytes
    KEL_VLAN_EXISTS = 276,      ///< kelVlanGetApi: 0 when the VLAN exists on the switch
    KEL_UNIT_STANDBY = 2,
};

/// Added to the flag of a sync call whose value is an octetstring.
inline constexpr uint32_t KEL_SYNC_OCTETS = 0x80000000;

/// Reads hardware scalar @p attribute into @p value (a uint32_t; null for a mere test).
/// @return 0 on success; a test answers 0 for yes
int32_t kelHwScalarGet(uint32_t index, uint32_t attribute, void* value);

/// Reads system scalar @p attribute. @p value is an octetstring for KEL_SCALAR_SYSTEM_MAC.
int32_t kelScalarGetApi(uint32_t index, uint32_t attribute, void* value);

/// KEL_VLAN_EXISTS: 0 when VLAN @p vlan (1 to 4094) exists on the switch. @p value is null.
int32_t kelVlanGetApi(uint32_t vlan, uint32_t attribute, void* value);

/// Offer a management change; @p value is a uint32_t* or, with KEL_SYNC_OCTETS in @p flag, an
/// octetstring*, and may be null where the change needs none. @return 0 to accept, anything else to
/// refuse: passed back to management as it is
int32_t kelHwScalarSync(uint32_t index, uint32_t attribute, void* value, uint32_t flag);
int32_t kelHwIfSync(uint32_t unit, uint32_t attribute, void* value, uint32_t flag);
int32_t kelHwMstpXstSync(uint32_t xstId, uint32_t attribute, void* value, uint32_t flag);
int32_t kelHwMstpXstPortSync(tMstpXstPortIndex* index, uint32_t attribute, void* value,
                             uint32_t flag);
