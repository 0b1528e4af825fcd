// Management of the bridge as a whole: its times, its version and region, its protections, and the
// daemon's own switches.
//
// A change is offered to the platform first, so that the switching hardware and a standby unit keep
// up, and is made here only when the platform takes it. What the machines or the region's digest
// depend on is followed by a reset of the bridge, which the main loop carries out.

#include "mstp_nm.h"

#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_main.h"
#include "mstp_nm_table.h"
#include "mstp_port.h"
#include "mstp_port_timers_state_machine.h"
#include "mstp_state_machine_procedures.h"
#include "mstp_xst.h"
#include "platform/hardware.h"
#include "platform/joined_ports.h"

using Row = tNmRow<tMstpBridge>;

/// A change that restarts the machines.
template <NmSet<tMstpBridge> Set> static int32_t thenReset(tMstpBridge* bridge, uint32_t value) {
    Set(bridge, value);
    mstpBridgeReset(bridge);
    return NM_OK;
}

// ---- times in force

/// A time of the CIST's rootTimes.
static const tMstpTime* rootTimes(tMstpBridge* bridge) {
    const tMstpXst* cist = mstpXstGet(bridge, 0);
    return cist != nullptr ? &cist->rootTimes : nullptr;
}

template <uint8_t tMstpTime::*Field, uint32_t Factor>
static int32_t getRootTime(tMstpBridge* bridge, uint32_t* value) {
    const tMstpTime* times = rootTimes(bridge);
    if (times == nullptr) {
        return NM_REFUSED;
    }
    *value = times->*Field * Factor;
    return NM_OK;
}

// ---- version, type and region

static int32_t setForceVersion(tMstpBridge* bridge, uint32_t value) {
    if (bridge->forceVersion == value) {
        return NM_OK;
    }
    bridge->inited = 0; // makes the reset a whole initialisation
    bridge->forceVersion = static_cast<uint8_t>(value);
    mstpBridgeReset(bridge);
    return NM_OK;
}

// The type decides which BPDUs the platform delivers.
static int32_t setBridgeType(tMstpBridge* bridge, uint32_t value) {
    if (bridge->type == value) {
        return NM_OK;
    }
    for (tMstpPort* port : portsOf(bridge)) {
        mstpDetach(port);
    }
    bridge->type = static_cast<uint8_t>(value);
    for (tMstpPort* port : portsOf(bridge)) {
        mstpAttach(port);
    }
    mstpBridgeReset(bridge);
    return NM_OK;
}

static int32_t getName(tMstpBridge* bridge, octetstring* value) {
    return nmPutOctets(value, bridge->cfgIdName, bridge->nameLen);
}

/// Fills a field with octets; what they do not reach is zero.
static void fill(uint8_t* field, uint32_t size, const octetstring* value) {
    memset(field, 0, size);
    nmCopy(field, value->pBuf, value->len);
}

static int32_t setName(tMstpBridge* bridge, octetstring* value) {
    fill(bridge->cfgIdName, sizeof bridge->cfgIdName, value);
    bridge->nameLen = static_cast<uint16_t>(value->len);
    mstpBridgeReset(bridge);
    return NM_OK;
}

static int32_t setMac(tMstpBridge* bridge, octetstring* value) {
    nmCopy(bridge->bridgeMac, value->pBuf, value->len < MSTP_MAC_SIZE ? value->len : MSTP_MAC_SIZE);
    mstpBridgeReset(bridge);
    return NM_OK;
}

// ---- limits

static int32_t getMaxMstNum(tMstpBridge* /*bridge*/, uint32_t* value) {
    *value = gMstp.xstLimit;
    return NM_OK;
}

static int32_t getMaxMstId(tMstpBridge* /*bridge*/, uint32_t* value) {
    *value = gMstp.xstLimit - 1U;
    return NM_OK;
}

// ---- switches of the daemon

template <auto Field> static int32_t getContext(tMstpBridge* /*bridge*/, uint32_t* value) {
    *value = gMstp.*Field;
    return NM_OK;
}

template <auto Field> static int32_t setContext(tMstpBridge* /*bridge*/, uint32_t value) {
    gMstp.*Field = static_cast<NmType<Field>>(value);
    return NM_OK;
}

static int32_t getTrap(tMstpBridge* /*bridge*/, uint32_t* value) {
    *value = nmTruth(gMstp.trap);
    return NM_OK;
}

static int32_t setTrap(tMstpBridge* /*bridge*/, uint32_t value) {
    gMstp.trap = nmFromTruth(value);
    return NM_OK;
}

// True while a received topology change also flushes ARP entries.
static int32_t getFlushArp(tMstpBridge* /*bridge*/, uint32_t* value) {
    *value = gMstp.onlyFlushMac != 0 ? MSTP_FALSE : MSTP_TRUE;
    return NM_OK;
}

static int32_t setFlushArp(tMstpBridge* /*bridge*/, uint32_t value) {
    mstpPortFlushDebug(value != MSTP_TRUE ? 1 : 0);
    return NM_OK;
}

// ---- protections

// Without the guard nothing would ever end the holds that it began.
static int32_t setBpduGuard(tMstpBridge* bridge, uint32_t value) {
    bridge->bpduGuard = nmFromTruth(value);
    if (bridge->bpduGuard != 0) {
        return NM_OK;
    }
    for (tMstpPort* port : portsOf(bridge)) {
        if (mstpRemain(&port->bpduGuardTimer) != 0) {
            timerStop(&gMstp.timerList, &port->bpduGuardTimer);
            enableForwardingAll(port);
        }
    }
    return NM_OK;
}

static void endLoopHold(tMstpXstPort* xstPort) {
    if (mstpRemain(&xstPort->loopHoldTimer) != 0) {
        timerStop(&gMstp.timerList, &xstPort->loopHoldTimer);
        enableForwarding(xstPort);
    }
}

static int32_t setLoopProtection(tMstpBridge* bridge, uint32_t value) {
    bridge->loopProtection = nmFromTruth(value);
    if (bridge->loopProtection != 0) {
        return NM_OK;
    }
    for (tMstpPort* port : portsOf(bridge)) {
        for (tMstpXstPort* xstPort : xstPortsOf(port)) {
            endLoopHold(xstPort);
        }
    }
    return NM_OK;
}

// ---- the standby unit and the fast VLAN map

static int32_t setSync(tMstpBridge* /*bridge*/, octetstring* value) {
    return mstpSyncRx(value);
}

static int32_t setFastVlans(tMstpBridge* bridge, octetstring* value) {
    fill(bridge->fastVlans, sizeof bridge->fastVlans, value);
    return NM_OK;
}

static int32_t setFastXsts(tMstpBridge* bridge, octetstring* value) {
    fill(bridge->fastXsts, sizeof bridge->fastXsts, value);
    return NM_OK;
}

// The map itself is made by the main loop; whatever else was pending there is dropped. Ports that
// others gave to the bridge come back by themselves when it is made.
static int32_t enableFastMap(tMstpBridge* bridge, uint32_t /*value*/) {
    for (tMstpPort* port : portsOf(bridge)) {
        if (platformOfferPortAgain != nullptr) {
            platformOfferPortAgain(port->unit);
        }
        mstpBridgePortRemove(port);
    }
    bridge->isFastMapVlan = 1;
    gMstp.busyDoing = MSTP_BUSY_FASTMAPVLAN;
    bridge->event = MSTP_EVENT_FASTMAP_DONE;
    mstpSendMsg(MSTP_MSG_NULL);
    return NM_OK;
}

// ---- the table

using B = tMstpBridge;
static constexpr Row GENERAL[] = {
    nmReadWrite<B>(MSTP_GEN_BRIDGEMAXAGE, nmGetSeconds<&B::bridgeMaxAge>,
                   thenReset<nmSetSeconds<&B::bridgeMaxAge>>),
    nmReadWrite<B>(MSTP_GEN_BRIDGEHELLOTIME, nmGetSeconds<&B::bridgeHelloTime>,
                   thenReset<nmSetSeconds<&B::bridgeHelloTime>>),
    nmReadWrite<B>(MSTP_GEN_BRIDGEFORWARDDELAY, nmGetSeconds<&B::bridgeForwardDelay>,
                   thenReset<nmSetSeconds<&B::bridgeForwardDelay>>),
    nmReadWrite<B>(MSTP_GEN_BRIDGEMAXHOPS, nmGetField<&B::bridgeMaxHops>,
                   thenReset<nmSetField<&B::bridgeMaxHops>>),
    nmReadOnly<B>(MSTP_GEN_MAXAGE, getRootTime<&tMstpTime::maxAge, NM_HUNDREDTHS>),
    nmReadOnly<B>(MSTP_GEN_HELLOTIME, getRootTime<&tMstpTime::helloTime, NM_HUNDREDTHS>),
    nmReadOnly<B>(MSTP_GEN_FORWARDDELAY, getRootTime<&tMstpTime::forwardDelay, NM_HUNDREDTHS>),
    nmReadOnly<B>(MSTP_GEN_REMAININGHOPS, getRootTime<&tMstpTime::remainingHops, 1>),
    nmReadWrite<B>(MSTP_GEN_HOLDTIME, nmGetField<&B::txHoldCount>, nmSetField<&B::txHoldCount>),
    nmReadWrite<B>(MSTP_GEN_MIGRATETIME, nmGetSeconds<&B::migrateTime>,
                   nmSetSeconds<&B::migrateTime>),
    nmReadWrite<B>(MSTP_GEN_PATHCOSTDEFAULT, nmGetField<&B::pathCostDefault>,
                   thenReset<nmSetField<&B::pathCostDefault>>),
    nmReadOnly<B>(MSTP_GEN_CAPABLE, nmGetField<&B::capable>),
    nmReadWrite<B>(MSTP_GEN_FORCEVERSION, nmGetField<&B::forceVersion>, setForceVersion),
    nmReadWrite<B>(MSTP_GEN_CFGIDFMTSEL, nmGetField<&B::cfgIdFmtSel>,
                   thenReset<nmSetField<&B::cfgIdFmtSel>>),
    nmOctetsReadWrite<B>(MSTP_GEN_CFGIDNAME, getName, setName, sizeof B::cfgIdName),
    nmOctetsReadOnly<B>(MSTP_GEN_CFGIDDIGEST, nmGetBytes<&B::cfgIdDigest>),
    nmReadWrite<B>(MSTP_GEN_CFGIDREVLEVEL, nmGetField<&B::cfgIdRevLevel>,
                   thenReset<nmSetField<&B::cfgIdRevLevel>>),
    nmReadOnly<B>(MSTP_GEN_MAXMSTNUM, getMaxMstNum),
    nmReadOnly<B>(MSTP_GEN_MAXMSTID, getMaxMstId),
    nmReadOnly<B>(MSTP_GEN_CURRENTMSTNUM, nmGetField<&B::xstCount>),
    nmReadOnly<B>(MSTP_GEN_CURRENTMAXMSTID, nmGetField<&B::xstIdMax>),
    nmReadWrite<B>(MSTP_GEN_BRIDGETYPE, nmGetField<&B::type>, setBridgeType),
    nmOctetsReadWrite<B>(MSTP_GEN_BRIDGEMAC, nmGetBytes<&B::bridgeMac>, setMac, NM_ANY_LENGTH),
    nmReadWrite<B>(MSTP_GEN_DEBUG, getContext<&tMstp::debug>, setContext<&tMstp::debug>, NM_LOCAL),
    nmReadWrite<B>(MSTP_GEN_DEBUGPRIORITY, getContext<&tMstp::debugPriority>,
                   setContext<&tMstp::debugPriority>),
    nmReadWrite<B>(MSTP_GEN_DEBUGACTION, getContext<&tMstp::debugAction>,
                   setContext<&tMstp::debugAction>),
    nmReadWrite<B>(MSTP_GEN_TRAP, getTrap, setTrap),
    nmReadWrite<B>(MSTP_GEN_BPDUGUARD, nmGetTruth<&B::bpduGuard>, setBpduGuard),
    nmReadWrite<B>(MSTP_GEN_LOOPPROTECTION, nmGetTruth<&B::loopProtection>, setLoopProtection),
    nmReadWrite<B>(MSTP_GEN_TCPROTECTON, nmGetTruth<&B::tcProtection>,
                   nmSetTruth<&B::tcProtection>),
    nmReadWrite<B>(MSTP_GEN_TCHOLDOFFTIMER, nmGetSeconds<&B::tcHoldOffTime>,
                   nmSetSeconds<&B::tcHoldOffTime>),
    nmReadWrite<B>(MSTP_GEN_P2PDETECTION, nmGetTruth<&B::p2pDetection>,
                   nmSetTruth<&B::p2pDetection>),
    nmOctetsReadWrite<B>(MSTP_GEN_SYNC, nullptr, setSync, NM_ANY_LENGTH),
    nmOctetsReadWrite<B>(MSTP_GEN_FASTMAPSETVLANS, nullptr, setFastVlans, sizeof B::fastVlans),
    nmOctetsReadWrite<B>(MSTP_GEN_FASTMAPSETXSTS, nullptr, setFastXsts, sizeof B::fastXsts),
    nmWriteOnly<B>(MSTP_GEN_FASTMAPENABLE, enableFastMap, NM_VALUELESS),
    nmRefused<B>(MSTP_GEN_SYNCXSTPORTSTATUS),
    nmReadWrite<B>(MSTP_GEN_RCVTCFLUSHARP, getFlushArp, setFlushArp),
};

bool mstpGeneralIsOctets(uint32_t attribute) {
    return nmIsOctets(nmFind(GENERAL, attribute));
}

int32_t mstpGeneralGetApi(uint32_t /*index*/, uint32_t attribute, void* value) {
    const NmLocked locked;
    return nmRead(nmFind(GENERAL, attribute), mstpBridgeGet(1), value);
}

int32_t _mstpGeneralSetApi(uint32_t index, uint32_t attribute, void* value, uint32_t flag) {
    const NmLocked locked;
    tMstpBridge* bridge = mstpBridgeGet(1);
    const Row* row = nmFind(GENERAL, attribute);
    if (bridge == nullptr || !nmTakes(row, value)) {
        return NM_REFUSED;
    }
    if (nmOffered(row)) {
        const int32_t result =
            kelHwScalarSync(index, attribute + MSTP_GEN_SYNC_BASE, value, nmSyncFlag(row, flag));
        if (result != 0) {
            return result;
        }
    }
    return nmWrite(row, bridge, value);
}

int32_t mstpGeneralSetApi(uint32_t index, uint32_t attribute, void* value) {
    return _mstpGeneralSetApi(index, attribute, value, MSTP_SET_FLAG);
}

int32_t mstpGeneralSyncApi(uint32_t index, uint32_t attribute, void* value) {
    return _mstpGeneralSetApi(index, attribute, value, MSTP_SYNC_FLAG);
}

int32_t mstpGetBusyErrno() {
    return gMstp.busyDoing != MSTP_BUSY_NULL ? NM_REFUSED : NM_OK;
}
