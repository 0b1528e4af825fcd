#pragma once

/// BPDUs in and out, the pre-standard format, and hardware spanning tree groups.

#include <cstdint>

#include "mstp/bpdu.h"
#include "mstp/records.h"

/// Takes in one received BPDU: applies BPDU filter and BPDU guard, counts it, detects a second
/// peer, and runs the machines of the port and of the bridge.
///
/// Drops are traced: by filter and guard whatever the debug mask says, the others under
/// MSTP_DEBUG_REFUSAL. A drop leaves the port untouched, save that by BPDU guard, which has counted
/// the BPDU, set rcvdBpdu and holds the port.
///
/// @param buf  first byte after the LLC header
/// @param len  bytes available there, padding included
/// @return 0 if it was handed to the machines, -1 if it was dropped
int32_t mstpInput(tMstpPort* port, const uint8_t* buf, uint32_t len);

/// Counts a received BPDU of kind @p protocolType (MSTP_PROTOCOL_TYPE_*, host order).
/// @return 0, -1 for an unknown kind
int32_t mstpCountReceived(tMstpPort* port, uint16_t protocolType);

/// Bytes before the BPDU in a message between control units: bridge index, unit, 0; 4 bytes each,
/// most significant byte first.
inline constexpr uint32_t MSTP_SYNC_HEADER_SIZE = 12;

/// Mirrors a received BPDU to the peer control unit. One of more than 2036 bytes is not mirrored.
/// @param bridgeId  the bridge's index
/// @param pbuf  first byte after the LLC header
/// @return 0
int32_t mstpRxSync(uint32_t bridgeId, uint32_t unit, const uint8_t* pbuf, uint32_t len);

/// Takes in a BPDU mirrored by the peer, header included.
/// @return 0 also when the BPDU was dropped, -1 for a short message or an unknown bridge or port
int32_t mstpSyncRx(octetstring* octet);

/// Counts and sends a BPDU in wire form. An MST BPDU leaves in the pre-standard form on a port
/// whose snoopingEnable is 1.
/// @param len  bytes of the BPDU: 4 TCN, 35 configuration, 36 RST, 102 + 16 x MSTI messages MST
/// @return 0 if sent or withheld in standby, -1 if the port filters BPDUs, is not in use, or the
/// send failed
int32_t mstpOutput(tMstpPort* port, tMstpBpdu* bpdu, uint32_t len);

/// Sends @p len bytes behind an IEEE 802.3 and LLC header as a frame of the port, without blocking.
/// @return 0 if sent or withheld in standby, -1 if the send failed
int32_t mstpTx(tMstpPort* port, const uint8_t* buf, uint32_t len);

/// Have the platform deliver the port's BPDUs, or stop it. A refusal to deliver is reported on the
/// debug channel whatever the mask says.
/// @return the platform's result, 0 for success
int32_t mstpAttach(tMstpPort* port);
int32_t mstpDetach(tMstpPort* port);

/// Rewrites a pre-standard MST BPDU in the standard form. Refused are fewer than 103 bytes, a
/// `version3Length` that is not 64 + 26 x count, and a count for which @p buf is too short or the
/// result would not fit.
///
/// @param bpdu  where the standard form goes: MSTP_LEGACY_BUFFER_SIZE bytes, more than the record
/// @param buf  first byte after the LLC header
/// @return the length of the standard form, 0 if @p buf is not a pre-standard MST BPDU
int32_t mstpLegacyBpduToStandard(tMstpBpdu* bpdu, const uint8_t* buf, uint32_t legacyLen);

/// Rewrites an MST BPDU to be sent in the pre-standard form. Refused are fewer than 36 bytes, a
/// `version3Length` below 64, and a count of MSTI messages that @p bpduLen bytes do not hold or
/// whose result would not fit.
///
/// @param buf  MSTP_LEGACY_BUFFER_SIZE zero bytes; the reserved ones are not written
/// @return the length of the pre-standard form, 0 if there is none
int32_t mstpStandardBpduToLegacy(uint8_t* buf, const tMstpBpdu* bpdu, uint32_t bpduLen);

/// Binds an instance to a hardware group of its own. The CIST takes every VLAN (1 to 4094) that no
/// other instance has; an MSTI takes its VLANs from the CIST. A group gets only VLANs that exist on
/// the switch.
/// @return 0, -1 when there is no group
int32_t mstpStgAdd(tMstpXst* xst);

/// Releases the instance's group; an MSTI's VLANs go back to the CIST. Failures are printed.
/// @return 0, -1 when there is no group or the platform fails: stgId then keeps its value
int32_t mstpStgDel(tMstpXst* xst);

/// Programs hwState into the instance's group (every state but discarding and learning forwards)
/// and notifies management while `trap` is on.
/// @return the group service's result, -1 without a group
int32_t mstpStgPortSet(tMstpXstPort* xstPort);

/// Read the link's speed (Mb/s, 100 when that fails), its operational state (down when that fails),
/// the system's MAC address (unchanged when that fails), and the port number (12 bits).
void mstpUpdtPortSpeed(tMstpPort* port);
void mstpUpdtPortOperState(tMstpPort* port);
void mstpUpdtBridgeMac(tMstpBridge* bridge);
void mstpUpdtPortIndex(tMstpPort* port);
