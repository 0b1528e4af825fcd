#pragma once

/// Port Role Selection, 13.33 of IEEE 802.1Q-2005.

#include "mstp/records.h"

void mstpPortRoleSelectionInitTree(tMstpXst* xst);
void mstpPortRoleSelection(tMstpXst* xst);
void mstpPortRoleSelectionFSM(tMstpXst* xst);
