#pragma once

/// Bridge ports, and each port's presence in each instance (13.24 of IEEE 802.1Q-2005).

#include <cstdint>

#include "mstp/records.h"

/// Adds interface @p unit to the bridge and to its active instances and has the platform deliver
/// its BPDUs. The port is not initialised yet: MSTP_EVENT_INIT_PORTS or a link event does that.
/// @return the port, none at the port limit, for an interface owned by another protocol, without a
/// free slot
tMstpPort* mstpBridgePortAdd(tMstpBridge* bridge, uint32_t unit);

/// Frees the port's slot. The bridge's last port stops the one-second timer; an instance that loses
/// its root or master port is reset. @return 0
int32_t mstpBridgePortDelete(tMstpBridge* bridge, tMstpPort* port);

/// @return none for no bridge or an unknown unit
tMstpPort* mstpBridgePortGet(tMstpBridge* bridge, uint32_t unit);

/// (Re)initialises the port and its instance ports: takes the bridge's settings, reads the link's
/// state and speed, zeroes counters and timers, enters the machines' first states, and posts a pass
/// of the machines. @return 0
int32_t mstpBridgePortInit(tMstpPort* port);

/// Stops the port's timers and disables its instance ports. @return 0, -1 for a free slot
int32_t mstpBridgePortDisable(tMstpPort* port);

/// Takes the port out of its bridge: disabled, then deleted.
inline void mstpBridgePortRemove(tMstpPort* port) {
    port->portEnabled = 0;
    mstpBridgePortDisable(port);
    mstpBridgePortDelete(port->bridge, port);
}

/// Makes the port a member of the instance, without initialising it. A member is linked anew.
/// @return the port's record of that instance, none for an instance number not below xstLimit
tMstpXstPort* mstpXstPortAdd(tMstpXst* xst, tMstpPort* port);

/// Takes the record out of both lists and zeroes it. The root or master port of an instance resets
/// it. @return 0, -1 for a record not in use
int32_t mstpXstPortDelete(tMstpXstPort* xstPort);

/// (Re)initialises an instance port: discarding, with this bridge's own vector and times, all
/// timers idle, its machines in their first states and the instance's roles selected anew. Marks
/// MSTP_EVENT_FSM without waking the loop. @return 0
int32_t mstpXstPortInit(tMstpXstPort* xstPort);

/// Stops the instance port's timers and leaves it forwarding, deliberately. @return 0
int32_t mstpXstPortDisable(tMstpXstPort* xstPort);

/// @return none if the instance has no port of that unit
tMstpXstPort* mstpXstPortGet(tMstpXst* xst, uint32_t unit);

/// Path cost from the port's speed (Mb/s, 0 = unknown) by the bridge's pathCostDefault; never 0.
/// @return the new operPathCost
uint32_t mstpUpdtPortOperPathcost(tMstpPort* port);

/// Forgets what was learnt on the port in the VLANs of @p vlanList: MAC addresses, then ARP
/// entries, address resolution table and IPv6 neighbours, unless arpFlush and onlyFlushMac spare
/// them. An empty list does nothing. Failures are reported whatever the debug mask.
void mstpPortFlush(tMstpPort* port, octetstring* vlanList);

/// The driver for one port, without its receive and transmit machines and without clearing the
/// received-message flags. Does nothing while the link is down.
void mstpBridgePortFSM(tMstpPort* port);

/// Call-back of timers that only measure time.
void mstpPortDoNothing();

/// The link changed: the port is initialised anew, which reads what the link has become. The two do
/// the same work. @return 0
int32_t mstpPortLinkUp(tMstpPort* port);
int32_t mstpPortLinkDown(tMstpPort* port);
