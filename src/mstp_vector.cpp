// Priority vectors, IEEE 802.1Q-2005 13.10. Every decision of the protocol (is a received message
// superior, which port is the root port, is a port designated) comes down to a comparison of two
// vectors: which root is offered, at what cost, through which bridge and port. Smaller is better in
// every component, and the first component that differs decides. Identifiers are held as they
// travel, most significant byte first, so comparing their bytes gives the standard's numeric order;
// costs are numbers of the machine.

#include "mstp_vector.h"

void mstpVectorCreate(tMstpPriorityVector* vector, tMstpBridgeId* root,
                      uint32_t externalRootPathcost, tMstpBridgeId* rRoot,
                      uint32_t internalRootPathcost, tMstpBridgeId* designBridge,
                      tMstpPortId* designPort, tMstpPortId* rcvPort) {
    vector->rootId = *root;
    vector->extRootPathCost = externalRootPathcost;
    vector->rRootId = *rRoot;
    vector->intRootPathCost = internalRootPathcost;
    vector->designatedBridgeId = *designBridge;
    vector->designatedPortId = *designPort;
    vector->rcvPortId = *rcvPort;
}

static int32_t compareBridgeIds(const tMstpBridgeId* a, const tMstpBridgeId* b) {
    return memcmp(a, b, MSTP_BRIDGE_ID_SIZE);
}

static int32_t comparePortIds(const tMstpPortId* a, const tMstpPortId* b) {
    return memcmp(a, b, MSTP_PORT_ID_SIZE);
}

static int32_t compareCosts(uint32_t a, uint32_t b) {
    if (a == b) {
        return 0;
    }
    return a < b ? -1 : 1;
}

int32_t mstpVectorCmp(tMstpPriorityVector* vector1, tMstpPriorityVector* vector2,
                      int32_t /*length*/) {
    int32_t result = compareBridgeIds(&vector1->rootId, &vector2->rootId);
    if (result != 0) {
        return result;
    }
    result = compareCosts(vector1->extRootPathCost, vector2->extRootPathCost);
    if (result != 0) {
        return result;
    }
    result = compareBridgeIds(&vector1->rRootId, &vector2->rRootId);
    if (result != 0) {
        return result;
    }
    result = compareCosts(vector1->intRootPathCost, vector2->intRootPathCost);
    if (result != 0) {
        return result;
    }
    result = compareBridgeIds(&vector1->designatedBridgeId, &vector2->designatedBridgeId);
    if (result != 0) {
        return result;
    }
    result = comparePortIds(&vector1->designatedPortId, &vector2->designatedPortId);
    if (result != 0) {
        return result;
    }
    return comparePortIds(&vector1->rcvPortId, &vector2->rcvPortId);
}
