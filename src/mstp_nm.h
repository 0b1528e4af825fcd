#pragma once

/// Management: attributes of the bridge, its ports, its instances and its instance ports. Every
/// entry works on bridge 1. A value is a uint32_t* or, for identifiers, names and lists, an
/// octetstring*. Times are hundredths of a second; truth values are MSTP_TRUE and MSTP_FALSE.

#include <cstdint>

#include "mstp/management.h"
#include "mstp/records.h"

/// Added to an attribute's number when a change is offered to the platform.
enum : uint32_t {
    MSTP_GEN_SYNC_BASE = 0x50000,
    MSTP_PORT_SYNC_BASE = 0x4040000,
    MSTP_XST_SYNC_BASE = 0x6dcc000,
    MSTP_XSTPORT_SYNC_BASE = 0x8d08000,
};

/// Flags of the set and of the sync entries, passed to the platform.
enum : uint32_t { MSTP_SYNC_FLAG = 1, MSTP_SET_FLAG = 3 };

/// The get, set and sync entries of the four tables.
///
/// A get writes to @p value; for octets it fills the caller's buffer, which has room for the
/// longest answer (MSTP_VLAN_LIST_SIZE bytes), and sets the length. A set or a sync first offers
/// the change to the platform, with its flag, and makes it only when the platform takes it; octets
/// longer than their field are refused before that. A VLAN list that is given to
/// MSTP_XST_VLANLISTDEL comes back without the VLANs that the instance does not hold.
///
/// @param index      bridge (general table): any, passed to the platform
/// @param unit       port: the interface's unit
/// @param xstId      instance: 0 (the CIST) to 63
/// @param attribute  MSTP_GEN_*, MSTP_PORT_*, MSTP_XST_* or MSTP_XSTPORT_*
/// @param value      uint32_t* or octetstring*, by the attribute; null is refused where one is
///                   needed
/// @return 0, -1 for an unknown key, an unknown or read-only attribute or a refused value, else
/// what the platform answered
int32_t mstpGeneralGetApi(uint32_t index, uint32_t attribute, void* value);
int32_t mstpGeneralSetApi(uint32_t index, uint32_t attribute, void* value);
int32_t mstpGeneralSyncApi(uint32_t index, uint32_t attribute, void* value);
int32_t mstpPortGetApi(uint32_t unit, uint32_t attribute, void* value);
int32_t mstpPortSetApi(uint32_t unit, uint32_t attribute, void* value);
int32_t mstpPortSyncApi(uint32_t unit, uint32_t attribute, void* value);
int32_t mstpXstGetApi(uint32_t xstId, uint32_t attribute, void* value);
int32_t mstpXstSetApi(uint32_t xstId, uint32_t attribute, void* value);
int32_t mstpXstSyncApi(uint32_t xstId, uint32_t attribute, void* value);
int32_t mstpXstPortGetApi(tMstpXstPortIndex* index, uint32_t attribute, void* value);
int32_t mstpXstPortSetApi(tMstpXstPortIndex* index, uint32_t attribute, void* value);
int32_t mstpXstPortSyncApi(tMstpXstPortIndex* index, uint32_t attribute, void* value);

/// The set and sync entries with their flag (MSTP_SET_FLAG, MSTP_SYNC_FLAG).
int32_t _mstpGeneralSetApi(uint32_t index, uint32_t attribute, void* value, uint32_t flag);
int32_t _mstpPortSetApi(uint32_t unit, uint32_t attribute, void* value, uint32_t flag);
int32_t _mstpXstSetApi(uint32_t xstId, uint32_t attribute, void* value, uint32_t flag);
int32_t _mstpXstPortSetApi(tMstpXstPortIndex* index, uint32_t attribute, void* value,
                           uint32_t flag);

/// True if the value of @p attribute is an octetstring.
bool mstpGeneralIsOctets(uint32_t attribute);
bool mstpPortIsOctets(uint32_t attribute);
bool mstpXstIsOctets(uint32_t attribute);
bool mstpXstPortIsOctets(uint32_t attribute);

/// -1 while the daemon rebuilds its VLAN map and serves no request, else 0.
int32_t mstpGetBusyErrno();

/// Walks over bridge 1 in ascending order of the keys. Get-next finds the first key after the given
/// one, which need not exist; key and answer may be the same object.
/// @return 0, -1 at the end, where the answer is left as it was
int32_t mstpPortGetFirst(uint32_t* unit);
int32_t mstpPortGetNext(uint32_t* unit, uint32_t* next);
int32_t mstpXstGetFirst(uint32_t* xstId);
int32_t mstpXstGetNext(uint32_t* xstId, uint32_t* next);
int32_t mstpXstPortGetFirst(tMstpXstPortIndex* index);
int32_t mstpXstPortGetNext(tMstpXstPortIndex* index, tMstpXstPortIndex* next);

/// Notifications; the caller has checked that `trap` is on.

/// Another root: carries the root identifier that @p xst has now.
void mstpTrapNewRoot(tMstpXst* xst);

/// @p xstPort became the root port of its instance.
void mstpTrapNewRootPort(tMstpXstPort* xstPort);

/// The state of @p xstPort in @p xst changed to its hwState.
void mstpTrapTopologyChange(tMstpXst* xst, tMstpXstPort* xstPort);
