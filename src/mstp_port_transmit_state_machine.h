#pragma once

/// Port Transmit, 13.31 of IEEE 802.1Q-2005.

#include "mstp/records.h"

/// Entry of INIT: there is news for everybody and nothing was sent in this second.
void mstpPortTransmitInit(tMstpPort* port);

/// Entry of PERIODIC: brings the summary of the port's roles up to date and makes the news that a
/// designated port, or a root port in a topology change, sends every hello time.
void mstpPortTransmitPeriodic(tMstpPort* port);

/// Entries of CONFIG, TCN and RSTP: send one BPDU of the kind and count it, whether or not the
/// sending succeeds.
void mstpPortTransmitConfig(tMstpPort* port);
void mstpPortTransmitTcn(tMstpPort* port);
void mstpPortTransmitRstp(tMstpPort* port);

/// Entry of IDLE, which also traces it: restarts helloWhen for the designated hello time of the
/// port's CIST record, in seconds.
void mstpPortTransmitIdle(tMstpPort* port);

/// Runs the machine, MSTP_FSM_PASSES passes at the most. A port without a CIST record in use never
/// sends.
void mstpPortTransmitFSM(tMstpPort* port);
