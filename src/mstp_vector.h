#pragma once

#include <cstdint>

#include "mstp/values.h"

/// Builds a priority vector from its seven components (13.10). Identifiers are copied byte for
/// byte; the pointers may point at the same object. Costs are host-order integers.
void mstpVectorCreate(tMstpPriorityVector* vector, tMstpBridgeId* root,
                      uint32_t externalRootPathcost, tMstpBridgeId* rRoot,
                      uint32_t internalRootPathcost, tMstpBridgeId* designBridge,
                      tMstpPortId* designPort, tMstpPortId* rcvPort);

/// Compares all seven components in order; the receiving port takes part (a departure from 13.10).
/// @param length  ignored
/// @return negative if @p vector1 is better (smaller), 0 if equal, positive if it is worse
int32_t mstpVectorCmp(tMstpPriorityVector* vector1, tMstpPriorityVector* vector2, int32_t length);
