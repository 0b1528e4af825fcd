#pragma once

/// Spanning tree instances (13.5 of IEEE 802.1Q-2005): the CIST (instance 0) and the MSTIs.

#include <cstdint>

#include "mstp/records.h"

/// Takes instance @p index (0 to xstLimit - 1) of @p bridge, with bridge priority 32768 and without
/// VLANs. Its rowStatus stays 0 until the caller sets it. Called on an instance that exists, it
/// starts over: ports that are members are unlinked from it.
/// @return the instance, none if @p index is not below xstLimit
tMstpXst* mstpXstAdd(tMstpBridge* bridge, uint32_t index);

/// @return none for a number not below xstLimit or a free slot
tMstpXst* mstpXstGet(tMstpBridge* bridge, uint32_t index);

/// Frees the instance, which the caller has disabled; the last one takes all ports of the bridge
/// with it.
/// @return 0, -1 for a free slot
int32_t mstpXstDelete(tMstpXst* xst);

/// Starts the instance with this bridge as its root (BridgePriority and BridgeTimes,
/// 13.23), binds it to a hardware group, takes in every port of the bridge, clears the record of
/// topology changes and posts a pass of the machines. @return 0, -1 unless MSTP_ACTIVE
int32_t mstpXstInit(tMstpXst* xst);

/// Starts the instance afresh with the ports that it has: this bridge is the root again, every
/// instance port is initialised, a pass of the machines is posted. Address, group and the record of
/// topology changes stay. @return 0, -1 unless MSTP_ACTIVE
int32_t mstpXstReset(tMstpXst* xst);

/// Disables and deletes the instance's ports, releases its hardware group and leaves the instance
/// MSTP_NOTINSERVICE.
/// @return 0, -1 unless MSTP_ACTIVE
int32_t mstpXstDisable(tMstpXst* xst);

/// Merges @p len bytes of VLAN list into the instance, or takes them out; bytes beyond
/// MSTP_VLAN_LIST_SIZE are ignored. Afterwards vlanLen reaches the last byte that is not 0. Neither
/// recomputes the digest nor touches hardware. @return 0
int32_t mstpXstVlanAdd(tMstpXst* xst, const uint8_t* vlanList, uint32_t len);
int32_t mstpXstVlanDelete(tMstpXst* xst, const uint8_t* vlanList, uint32_t len);
