// Management of the bridge's ports. The key is the interface's unit.
//
// One attribute makes and unmakes ports: an interface for which "does not run spanning tree" is
// false is a port of the bridge, so that attribute also answers, and is taken, for an interface
// that is no port. The costs shown here are those of the CIST.

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_nm.h"
#include "mstp_nm_table.h"
#include "mstp_port.h"
#include "mstp_port_protocol_migration_state_machine.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "platform/hardware.h"

using P = tMstpPort;
using Row = tNmRow<P>;

/// A change that restarts the port.
template <NmSet<P> Set> static int32_t thenInit(P* port, uint32_t value) {
    Set(port, value);
    mstpBridgePortInit(port);
    return NM_OK;
}

static void postOnce(tMstpBridge* bridge, uint32_t event) {
    if ((bridge->event & event) == 0) {
        mstpBridgePost(bridge, event);
    }
}

// ---- the CIST's view of the port

template <auto Field> static int32_t getCist(P* port, uint32_t* value) {
    return nmGetField<Field>(mstpCistPort(port), value);
}

static int32_t setAdminPathCost(P* port, uint32_t value) {
    mstpCistPort(port)->adminPathCost = value;
    return NM_OK;
}

static int32_t getHelloTime(P* port, uint32_t* value) {
    *value = mstpCistPort(port)->portTimes.helloTime * NM_HUNDREDTHS;
    return NM_OK;
}

// ---- membership of the bridge

static int32_t getAdminNonStp(P* port, uint32_t* value) {
    *value = port->portEnabled != 0 ? MSTP_FALSE : MSTP_TRUE;
    return NM_OK;
}

static int32_t setAdminNonStp(P* port, uint32_t value) {
    if (value != MSTP_FALSE) {
        mstpBridgePortRemove(port);
    }
    return NM_OK;
}

static int32_t setAdminNonStpOfAbsent(tMstpBridge* bridge, uint32_t unit, uint32_t value) {
    if (value != MSTP_FALSE) {
        return NM_OK;
    }
    tMstpPort* port = mstpBridgePortAdd(bridge, unit);
    if (port == nullptr) {
        return NM_REFUSED;
    }
    port->portEnabled = 1;
    postOnce(bridge, MSTP_EVENT_INIT_PORTS);
    return NM_OK;
}

// ---- migration and guard

static int32_t setProtocolMigration(P* port, uint32_t value) {
    if (port->bridge->forceVersion < MSTP_FORCE_DOT1W) {
        return NM_REFUSED;
    }
    port->mcheck = nmFromTruth(value);
    if (port->mcheck != 0) {
        mstpPortProtocolMigrationSending(port);
        postOnce(port->bridge, MSTP_EVENT_FSM);
    }
    return NM_OK;
}

static int32_t getProtection(P* port, uint32_t* value) {
    *value = nmHold(&port->bpduGuardTimer, MSTP_PROTECTION_BPDU_GUARD);
    return NM_OK;
}

static int32_t releaseGuard(P* port, uint32_t /*value*/) {
    if (mstpRemain(&port->bpduGuardTimer) != 0) {
        timerStop(&gMstp.timerList, &port->bpduGuardTimer);
        enableForwardingAllByRole(port);
    }
    return NM_OK;
}

// ---- the table

static constexpr Row PORT[] = {
    nmRefused<P>(MSTP_PORT_INDEX),
    nmReadWrite<P>(MSTP_PORT_ADMINMACENABLE, nmGetField<&P::adminMacEnabled>,
                   nmSetField<&P::adminMacEnabled>),
    nmReadOnly<P>(MSTP_PORT_OPERMACENABLE, nmGetField<&P::operMacEnabled>),
    nmReadOnly<P>(MSTP_PORT_UPTIME, nmGetField<&P::upTime>),
    nmReadWrite<P>(MSTP_PORT_ADMINPATHCOST, getCist<&tMstpXstPort::adminPathCost>,
                   thenInit<setAdminPathCost>),
    nmReadOnly<P>(MSTP_PORT_OPERPATHCOST, getCist<&tMstpXstPort::operPathCost>),
    nmReadWrite<P>(MSTP_PORT_ADMINEDGE, nmGetTruth<&P::adminEdge>,
                   thenInit<nmSetTruth<&P::adminEdge>>),
    nmReadOnly<P>(MSTP_PORT_OPEREDGE, nmGetTruth<&P::operEdge>),
    nmReadOnly<P>(MSTP_PORT_AUTOEDGE, nmGetTruth<&P::autoEdge>),
    nmReadWrite<P>(MSTP_PORT_ADMINPOINTTOPOINT, nmGetTruth<&P::adminPointToPointMAC>,
                   nmSetTruth<&P::adminPointToPointMAC>),
    nmReadOnly<P>(MSTP_PORT_OPERPOINTTOPOINT, nmGetTruth<&P::operPointToPointMAC>),
    nmReadOnly<P>(MSTP_PORT_HELLOTIME, getHelloTime),
    nmReadWrite<P>(MSTP_PORT_ADMINNONSTP, getAdminNonStp, setAdminNonStp),
    nmReadWrite<P>(MSTP_PORT_PROTOCOLMIGRATION, nmGetField<&P::mcheck>, setProtocolMigration),
    nmReadOnly<P>(MSTP_PORT_RXTCNBPDUCOUNTER, nmGetField<&P::rxTcnBpdu>),
    nmReadOnly<P>(MSTP_PORT_RXCFGBPDUCOUNTER, nmGetField<&P::rxCfgBpdu>),
    nmReadOnly<P>(MSTP_PORT_RXRSTBPDUCOUNTER, nmGetField<&P::rxRstBpdu>),
    nmReadOnly<P>(MSTP_PORT_RXMSTBPDUCOUNTER, nmGetField<&P::rxMstBpdu>),
    nmReadOnly<P>(MSTP_PORT_TXTCNBPDUCOUNTER, nmGetField<&P::txTcnBpdu>),
    nmReadOnly<P>(MSTP_PORT_TXCFGBPDUCOUNTER, nmGetField<&P::txCfgBpdu>),
    nmReadOnly<P>(MSTP_PORT_TXRSTBPDUCOUNTER, nmGetField<&P::txRstBpdu>),
    nmReadOnly<P>(MSTP_PORT_TXMSTBPDUCOUNTER, nmGetField<&P::txMstBpdu>),
    nmReadOnly<P>(MSTP_PORT_PROTECTION, getProtection),
    nmWriteOnly<P>(MSTP_PORT_GUARDFORWARD, releaseGuard, NM_VALUELESS),
    nmReadWrite<P>(MSTP_PORT_BPDUSNOOPINGENABLE, nmGetField<&P::snoopingEnable>,
                   nmSetField<&P::snoopingEnable>),
    nmReadWrite<P>(MSTP_PORT_BPDUFILTERING, nmGetTruth<&P::filtering>, nmSetTruth<&P::filtering>,
                   NM_LOCAL),
};

bool mstpPortIsOctets(uint32_t attribute) {
    return nmIsOctets(nmFind(PORT, attribute));
}

int32_t mstpPortGetApi(uint32_t unit, uint32_t attribute, void* value) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    tMstpPort* port = mstpBridgePortGet(bridge, unit);
    if (bridge != nullptr && port == nullptr && attribute == MSTP_PORT_ADMINNONSTP &&
        value != nullptr) {
        *static_cast<uint32_t*>(value) = MSTP_TRUE;
        return NM_OK;
    }
    return nmRead(nmFind(PORT, attribute), port, value);
}

int32_t _mstpPortSetApi(uint32_t unit, uint32_t attribute, void* value, uint32_t flag) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    tMstpPort* port = mstpBridgePortGet(bridge, unit);
    const Row* row = nmFind(PORT, attribute);
    if (bridge == nullptr || !nmTakes(row, value)) {
        return NM_REFUSED;
    }
    if (port == nullptr && attribute != MSTP_PORT_ADMINNONSTP) {
        return NM_REFUSED;
    }
    if (nmOffered(row)) {
        const int32_t result =
            kelHwIfSync(unit, attribute + MSTP_PORT_SYNC_BASE, value, nmSyncFlag(row, flag));
        if (result != 0) {
            return result;
        }
    }
    if (port == nullptr) {
        return setAdminNonStpOfAbsent(bridge, unit, *static_cast<uint32_t*>(value));
    }
    return nmWrite(row, port, value);
}

int32_t mstpPortSetApi(uint32_t unit, uint32_t attribute, void* value) {
    return _mstpPortSetApi(unit, attribute, value, MSTP_SET_FLAG);
}

int32_t mstpPortSyncApi(uint32_t unit, uint32_t attribute, void* value) {
    return _mstpPortSetApi(unit, attribute, value, MSTP_SYNC_FLAG);
}
