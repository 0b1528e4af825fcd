#pragma once

/// The bridge, the driver of the state machines, and the MST region's configuration (13.7, 13.8).

#include <cstdint>

#include "mstp/records.h"

/// Creates bridge @p index (1..bridgeLimit) with its defaults (the times of 13.23 in seconds, the
/// system's address, the daemon's name as the region's) and links it into gMstp.bridgeList. It is
/// not initialised yet. Called on a bridge that exists, it starts over: what hung on the bridge is
/// unlinked from it.
/// @return the bridge, none for a number out of range
tMstpBridge* mstpBridgeAdd(uint32_t index);

/// @return none for 0, a number above bridgeLimit, or a free slot
tMstpBridge* mstpBridgeGet(uint32_t index);

/// Disables all instances, then all ports, and frees the slot. The ports' own slots stay disabled.
/// @return 0
int32_t mstpBridgeDelete(tMstpBridge* bridge);

/// (Re)initialises a bridge and starts it: its ports, its active instances (below full MSTP the
/// CIST alone, all others are deleted), its digest, one pass of the machines with BEGIN (13.23),
/// its one-second timer.
/// @return the result of starting that timer, 0 for success
int32_t mstpBridgeInit(tMstpBridge* bridge);

/// Initialises the ports added since the last initialisation, whether or not their link is up.
void mstpBridgeInitPorts(tMstpBridge* bridge);

/// Sets tick (13.24) on every live port and runs its Port Timers machine. @return 0
int32_t mstpBridgeTimerProcess(tMstpBridge* bridge);

/// Runs the Port Transmit machine of every live port.
void mstpBridgeIntervalTx(tMstpBridge* bridge);

/// The driver: exactly one pass of all machines over the live ports, ascending by unit. On the way
/// due address flushes are made; afterwards the received-message flags of the live ports are
/// cleared. Another pass needs another MSTP_EVENT_FSM.
void mstpBridgeFSM(tMstpBridge* bridge);

/// Asks the main loop for a reset of the bridge (MSTP_EVENT_REINIT). Further calls before the loop
/// runs do nothing.
void mstpBridgeReset(tMstpBridge* bridge);

/// Call-back of timers that only measure time.
void mstpBridgePortDoNothing();

/// Recomputes cfgIdDigest from the instances' VLAN lists (13.7): HMAC-MD5 of 4096 entries of 16
/// bits, big-endian, entry v holding the instance of VLAN v. A VLAN in two lists counts for the
/// higher instance. Costly (8 KiB are hashed), so it is called where the map
/// has changed for good: start-up, initialisation, reset and the end of a management request.
void mstpBridgeDigest(tMstpBridge* bridge);

/// Deletes all instances, and with them all ports, adds those of fastXsts and deals the VLANs of
/// fastVlans (1 to 4094) over them in turn. The instances are left MSTP_ACTIVE but uninitialised:
/// the caller runs mstpBridgeInit next.
void mstpBridgeFastMapVlan(tMstpBridge* bridge);

/// Sets @p bits of the bridge's event word and posts MSTP_MSG_NULL to the main loop.
void mstpBridgePost(tMstpBridge* bridge, uint32_t bits);

/// (Re)starts the bridge's one-second timer, 100 ticks. @return the result of the start, 0 for
/// success
int32_t mstpBridgeStartOneSecondTimer(tMstpBridge* bridge);

/// What one driver pass collects on the way: the VLANs to flush.
struct tMstpFlushList {
    uint8_t vlans[MSTP_VLAN_LIST_SIZE];
    octetstring list; ///< refers to vlans: the record must not be copied
};

/// Makes the list empty.
void mstpFlushListInit(tMstpFlushList* flush);

/// Runs the five machines of each instance port of @p port in ascending instance order, then
/// flushes the port's learnt addresses if any instance asks for it. Under topology change
/// protection a request that comes less than tcHoldOffTime seconds after the instance port's last
/// flush stays pending.
/// @param flush  VLANs collected so far in this pass; those of earlier ports are flushed here too
/// @param expired  call-back of the hold-off timer, which only measures time
void mstpDriveXstPorts(tMstpPort* port, tMstpFlushList* flush, TIMERFUNCPTR expired);
