#pragma once

/// Port Information, 13.32 of IEEE 802.1Q-2005, with loop protection and root protection.

#include "mstp/records.h"

/// Entry of DISABLED: forgets message and agreements, stops rcvdInfoWhile, asks for new roles.
void mstpPortInformationDisabled(tMstpXstPort* xstPort);

/// Entry of AGED: the information is nobody's, asks for new roles.
void mstpPortInformationAged(tMstpXstPort* xstPort);

/// Entry of UPDATE: the port's information becomes this bridge's own designated information and is
/// to be sent. What the neighbour agreed to holds on only if that is no worse than before.
void mstpPortInformationUpdate(tMstpXstPort* xstPort);

/// Entry of SUPERIOR_DESIGNATED: records the message and asks for new roles.
void mstpPortInformationSuperior(tMstpXstPort* xstPort);

/// Entry of REPEATED_DESIGNATED: the information is as known; its flags are read and it lives on.
void mstpPortInformationRepeatedDesignated(tMstpXstPort* xstPort);

/// Entry of INFERIOR_DESIGNATED: somebody worse believes to be designated; notes the dispute.
void mstpPortInformationInferiorDesignated(tMstpXstPort* xstPort);

/// Entry of NOT_DESIGNATED: reads agreement and topology change flags.
void mstpPortInformationNotDesignated(tMstpXstPort* xstPort);

/// Entry of OTHER: drops the message.
void mstpPortInformationOther(tMstpXstPort* xstPort);

/// Entry of RECEIVE: classifies the message into rcvdInfo.
void mstpPortInformationReceive(tMstpXstPort* xstPort);

/// Entry of CURRENT, which also traces the unconditional transition that leads to it.
void mstpPortInformationCurrent(tMstpXstPort* xstPort);

/// Runs the machine, MSTP_FSM_PASSES passes at the most. It may reset the whole instance or
/// initialise the instance port anew, when the neighbour on a point-to-point link turns inferior.
void mstpPortInformationFSM(tMstpXstPort* xstPort);
