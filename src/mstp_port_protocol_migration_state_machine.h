#pragma once

/// Port Protocol Migration, 13.29 of IEEE 802.1Q-2005.

#include "mstp/records.h"

/// Entry of CHECKING_RSTP: speaks the newer protocol if the bridge's version allows it, and
/// restarts mdelayWhile for migrateTime seconds.
void mstpPortProtocolMigrationCheckingRstp(tMstpPort* port);

/// Entry of SELECTING_STP: speaks STP, and restarts mdelayWhile for migrateTime seconds.
void mstpPortProtocolMigrationSelectingStp(tMstpPort* port);

/// Entry of SENSING: forgets which versions were heard.
void mstpPortProtocolMigrationSending(tMstpPort* port);

/// Runs the machine, MSTP_FSM_PASSES passes at the most, and brings the port's forwardDelay up to
/// date whether or not it moved.
void mstpPortProtocolMigrationFSM(tMstpPort* port);
