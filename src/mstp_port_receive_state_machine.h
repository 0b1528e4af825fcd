#pragma once

/// Port Receive, 13.28 of IEEE 802.1Q-2005.

#include "mstp/bpdu.h"
#include "mstp/records.h"

/// Entry of DISCARD: forgets what was received and restarts edgeDelayWhile for migrateTime seconds.
void mstpPortDicscard(tMstpPort* port);

/// Entry of RECEIVE: notes the neighbour's version and region, spreads the message over the
/// instances, and restarts edgeDelayWhile for migrateTime seconds.
///
/// @param bpdu  as mstpParse left it. Without one, and while the port's CIST record is not in use,
///              nothing happens at all: the state is not entered and rcvdBpdu stays.
void mstpPortReceive(tMstpPort* port, tMstpBpdu* bpdu);

/// Runs the machine once. The receive path sets rcvdBpdu first and hands over the BPDU.
///
/// @param bpdu  null when the driver runs the machine: a pending BPDU then stays pending
void mstpPortReceiveFSM(tMstpPort* port, tMstpBpdu* bpdu);
