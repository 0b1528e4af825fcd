// Walks over the management tables, in ascending order of their keys, as a table walk of network
// management asks for them: the first key, then the key after a given one, which need not exist.
//
// Ports and instance ports come from lists that are kept sorted; instances are found by number in
// the bridge's slice of the pool.

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_main.h"
#include "mstp_nm.h"
#include "mstp_nm_table.h"
#include "mstp_xst.h"

/// The first port of bridge 1 that @p wanted takes.
template <class Wanted> static int32_t findPort(uint32_t* unit, Wanted wanted) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr) {
        return NM_REFUSED;
    }
    for (tMstpPort* port : portsOf(bridge)) {
        if (port->state != MSTP_SLOT_FREE && wanted(port->unit)) {
            *unit = port->unit;
            return NM_OK;
        }
    }
    return NM_REFUSED;
}

int32_t mstpPortGetFirst(uint32_t* unit) {
    return findPort(unit, [](uint32_t /*each*/) { return true; });
}

int32_t mstpPortGetNext(uint32_t* unit, uint32_t* next) {
    return findPort(next, [key = *unit](uint32_t each) { return each > key; });
}

/// The lowest instance of bridge 1 that @p wanted takes.
template <class Wanted> static int32_t findXst(uint32_t* xstId, Wanted wanted) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr) {
        return NM_REFUSED;
    }
    for (uint32_t each = 0; each < gMstp.xstLimit; each++) {
        if (mstpXstGet(bridge, each) != nullptr && wanted(each)) {
            *xstId = each;
            return NM_OK;
        }
    }
    return NM_REFUSED;
}

int32_t mstpXstGetFirst(uint32_t* xstId) {
    return findXst(xstId, [](uint32_t /*each*/) { return true; });
}

int32_t mstpXstGetNext(uint32_t* xstId, uint32_t* next) {
    return findXst(next, [key = *xstId](uint32_t each) { return each > key; });
}

/// The first instance port of bridge 1, in instances from @p from on, that @p wanted takes.
template <class Wanted>
static int32_t findXstPort(uint32_t from, tMstpXstPortIndex* index, Wanted wanted) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr) {
        return NM_REFUSED;
    }
    for (uint32_t xstId = from; xstId < gMstp.xstLimit; xstId++) {
        tMstpXst* xst = mstpXstGet(bridge, xstId);
        if (xst == nullptr) {
            continue;
        }
        for (tMstpXstPort* xstPort : xstPortsOf(xst)) {
            const uint32_t unit = xstPort->host->unit;
            if (xstPort->state != MSTP_SLOT_FREE && wanted(xstId, unit)) {
                *index = {xstId, unit};
                return NM_OK;
            }
        }
    }
    return NM_REFUSED;
}

int32_t mstpXstPortGetFirst(tMstpXstPortIndex* index) {
    return findXstPort(0, index, [](uint32_t /*xstId*/, uint32_t /*unit*/) { return true; });
}

int32_t mstpXstPortGetNext(tMstpXstPortIndex* index, tMstpXstPortIndex* next) {
    return findXstPort(index->xstId, next, [key = *index](uint32_t xstId, uint32_t unit) {
        return xstId > key.xstId || unit > key.unit;
    });
}
