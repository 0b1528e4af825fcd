#pragma once

/// The records of the daemon: the bridge, its spanning tree instances (the CIST, instance 0, and
/// the MSTIs), its ports, and each port's presence in each instance. Fields that carry a variable
/// of IEEE 802.1Q-2005 clause 13 bear its name and its meaning. All records are slots of pools that
/// are allocated once at start-up.
///
/// In each record the flags and counters that every driver pass reads stand first; timers, vectors
/// and statistics follow.

#include <cstddef>
#include <cstdint>

#include "mstp/bit_list.h"
#include "mstp/enums.h"
#include "mstp/values.h"
#include "platform/list.h"
#include "platform/octets.h"
#include "platform/timer.h"

struct tMstpXst;
struct tMstpPort;
struct tMstpXstPort;

struct tMstpBridge {
    list_head node;      ///< in gMstp.bridgeList, ascending by index
    list_head portsList; ///< ports, ascending by unit
    list_head xstList;   ///< instances, ascending by xstId
    tMstpXst* xsts;      ///< this bridge's slice of the instance pool
    uint32_t event;      ///< MSTP_EVENT_*: pending work
    uint8_t index;       ///< 1..bridgeLimit
    uint8_t type;        ///< MSTP_BRIDGE_CUSTOMER or MSTP_BRIDGE_PROVIDER
    uint8_t rowStatus;   ///< 0 = free slot
    uint8_t begin;       ///< BEGIN: 1 only while the machines are run once for initialisation
    uint8_t forceVersion;
    uint8_t bpduGuard;
    uint8_t loopProtection;
    uint8_t tcProtection;
    uint8_t p2pDetection;
    uint8_t txHoldCount;     ///< BPDUs per second and port
    uint16_t tcHoldOffTime;  ///< seconds between two flushes of an instance port under tcProtection
    uint8_t inited;          ///< mstpBridgeInit has run
    uint8_t isFastMapVlan;   ///< a fast VLAN map is pending
    uint8_t migrateTime;     ///< seconds
    uint8_t bridgeMaxAge;    ///< seconds
    uint8_t bridgeHelloTime; ///< seconds
    uint8_t bridgeForwardDelay; ///< seconds
    uint8_t bridgeMaxHops;
    uint8_t pathCostDefault;
    uint8_t capable;
    uint8_t cfgIdFmtSel;
    uint8_t reserved;
    uint16_t cfgIdRevLevel;
    uint16_t nameLen;    ///< valid bytes of cfgIdName
    uint16_t ageingTime; ///< seconds
    uint16_t portCount;
    uint16_t xstCount;
    uint16_t xstIdMax;     ///< deliberately the third byte of bridgeMac while an instance exists
    int32_t bpduGuardTime; ///< seconds; -1: until management releases the port
    int32_t loopHoldTime;  ///< seconds; -1: until management releases the port
    uint8_t bridgeMac[MSTP_MAC_SIZE];
    uint8_t cfgIdName[32];
    uint8_t cfgIdDigest[16];
    tTimerNode oneSecondTimer;
    uint8_t fastVlans[MSTP_VLAN_LIST_SIZE]; ///< VLANs of a fast map
    uint8_t fastXsts[8];                    ///< bit n = instance n of a fast map
};

struct tMstpXst {
    list_head node;        ///< in the bridge's xstList
    list_head xstPortList; ///< instance ports by their link `node`, ascending by unit
    tMstpBridge* bridge;
    uint8_t xstId;     ///< 0 = CIST
    uint8_t rowStatus; ///< 0 = free slot
    uint8_t cist;      ///< 1 for instance 0
    uint8_t topologyChange;
    uint8_t rootProtection;
    uint8_t reserved[3];
    uint32_t timeSinceTopologyChange; ///< system up-time of the last change, seconds
    uint32_t topologyChangesCount;
    tMstpPortId rootPortId;   ///< zero when this bridge is the root
    tMstpPortId masterPortId; ///< MSTIs
    tMstpBridgeId bridgeId;
    tMstpPriorityVector bridgePriority;
    tMstpTime bridgeTimes;
    tMstpPriorityVector rootPriority;
    tMstpTime rootTimes;
    uint32_t stgId;   ///< hardware spanning tree group, 0 = none
    uint32_t vlanLen; ///< valid bytes of vlanList
    uint8_t vlanList[MSTP_VLAN_LIST_SIZE];
};

struct tMstpPort {
    list_head node; ///< in the bridge's portsList
    tMstpBridge* bridge;
    uint32_t unit;   ///< platform interface number
    uint32_t upTime; ///< system up-time when the link came up, seconds; 0 while it is down
    uint16_t index;  ///< port number of port identifiers
    uint8_t state;   ///< MSTP_SLOT_*
    uint8_t inited;  ///< mstpBridgePortInit has run
    uint8_t fsmState[MSTP_FSM_COUNT];

    uint8_t portEnabled;
    uint8_t rcvdBpdu; // these three are consecutive and cleared together
    uint8_t rcvdRSTP;
    uint8_t rcvdSTP;
    uint8_t rcvdAnyMsg;
    uint8_t rcvdCistMsg;
    uint8_t rcvdMstiMsg;
    uint8_t rcvdInternal;
    uint8_t infoInternal;
    uint8_t sendRSTP;
    uint8_t rstpVersion;
    uint8_t stpVersion;
    uint8_t mcheck;
    uint8_t adminEdge;
    uint8_t autoEdge;
    uint8_t operEdge;
    uint8_t newInfo;
    uint8_t newInfoMsti;
    uint8_t allTransmitReady;
    uint8_t cistRootPort;
    uint8_t cistDesignatedPort;
    uint8_t mstiDesignatedOrTCpropagatingRootPort;
    uint8_t mstiMasterPort;
    uint8_t updtCistInfo;
    uint8_t updtMstiInfo;
    uint8_t restrictedRole;
    uint8_t restrictedTcn;
    uint8_t operPointToPointMAC;
    uint8_t adminPointToPointMAC;
    uint8_t operMacEnabled;
    uint8_t adminMacEnabled;
    uint8_t operState; ///< MSTP_PORT_OPERATE_*
    uint8_t bpduType;  ///< wire type of the last BPDU received
    uint8_t filtering; ///< BPDU filter
    uint8_t arpFlush;  ///< limits the next flush to MAC addresses while onlyFlushMac is set
    uint8_t tick;

    uint8_t mdelayWhile;    ///< seconds
    uint8_t helloWhen;      ///< seconds
    uint8_t edgeDelayWhile; ///< seconds
    uint8_t txCount;        ///< BPDUs sent in the current second
    uint8_t migrateTime;    ///< seconds
    uint8_t edgeDelay;      ///< seconds
    uint8_t forwardDelay;   ///< seconds

    uint8_t lastPeer[MSTP_MAC_SIZE]; ///< zero while none was heard
    uint8_t snoopingCfgIdFmtSlt;
    uint8_t snoopingCfgIdDigest[16];
    uint32_t snoopingEnable; ///< 1 = the neighbour speaks the pre-standard format
    uint32_t speed;          ///< Mb/s
    uint32_t operPathCost;

    uint32_t rxTcnBpdu;
    uint32_t rxCfgBpdu;
    uint32_t rxRstBpdu;
    uint32_t rxMstBpdu;
    uint32_t txTcnBpdu;
    uint32_t txCfgBpdu;
    uint32_t txRstBpdu;
    uint32_t txMstBpdu;

    tTimerNode helloWhenTimer;
    tTimerNode mdelayWhileTimer;
    tTimerNode edgeDelayWhileTimer;
    tTimerNode bpduGuardTimer;
    tTimerNode p2pHoldTimer;
    void* cookie; ///< the platform's

    // Deleting a port zeroes everything above this line.
    list_head xstPortList;  ///< instance ports by their link `element`, ascending by instance
    tMstpXstPort* xstPorts; ///< xstLimit records; that of instance n is element n
};

struct tMstpXstPort {
    list_head node;    ///< in the instance's xstPortList
    list_head element; ///< in the port's xstPortList
    tMstpXst* xst;
    tMstpPort* host;
    uint8_t state; ///< MSTP_SLOT_*
    uint8_t fsmState[MSTP_FSM_COUNT];

    uint8_t role;
    uint8_t selectedRole;
    uint8_t infoIs;
    uint8_t rcvdInfo;
    uint8_t hwState; ///< MSTP_PORT_STATE_* last written to the hardware

    uint8_t selected;
    uint8_t updtInfo;
    uint8_t reselect;
    uint8_t rcvdMsg;
    uint8_t agree;
    uint8_t agreed;
    uint8_t proposed;
    uint8_t proposing;
    uint8_t disputed;
    uint8_t sync;
    uint8_t synced;
    uint8_t allSynced;
    uint8_t reRoot;
    uint8_t reRooted;
    uint8_t learn;
    uint8_t learning;
    uint8_t forward;
    uint8_t forwarding;
    uint8_t fdbFlush; ///< an address flush for this instance is due
    uint8_t rcvdTc;
    uint8_t rcvdTcAck;
    uint8_t rcvdTcn;
    uint8_t tcAck;
    uint8_t tcProp;
    uint8_t master;
    uint8_t mastered;
    tMstpBpduFlag msgFlag;

    uint8_t fdWhile;       ///< seconds
    uint8_t rrWhile;       ///< seconds
    uint8_t rbWhile;       ///< seconds
    uint8_t tcWhile;       ///< seconds
    uint8_t rcvdInfoWhile; ///< seconds

    tMstpPortId portId;
    uint8_t reserve[2];
    uint32_t pathCost;
    tMstpPriorityVector portPriority;
    tMstpPriorityVector designatedPriority;
    tMstpPriorityVector msgPriority;
    tMstpTime portTimes;
    tMstpTime designatedTimes;
    tMstpTime msgTimes;
    uint32_t adminPathCost; ///< 0 = automatic
    uint32_t operPathCost;

    tTimerNode tcWhileTimer;
    tTimerNode fdWhileTimer;
    tTimerNode rcvdInfoWhileTimer;
    tTimerNode rrWhileTimer;
    tTimerNode rbWhileTimer;
    tTimerNode tcHoldoffTimer;
    tTimerNode rootHoldoffTimer;
    tTimerNode loopHoldTimer;
};

/// Key of an instance port in the management interface.
struct tMstpXstPortIndex {
    uint32_t xstId;
    uint32_t unit;
};

using tMstpBridgeRange = ListRange<tMstpBridge, offsetof(tMstpBridge, node)>;
using tMstpPortRange = ListRange<tMstpPort, offsetof(tMstpPort, node)>;
using tMstpXstRange = ListRange<tMstpXst, offsetof(tMstpXst, node)>;
using tMstpXstPortsOfXst = ListRange<tMstpXstPort, offsetof(tMstpXstPort, node)>;
using tMstpXstPortsOfPort = ListRange<tMstpXstPort, offsetof(tMstpXstPort, element)>;

/// for (tMstpPort* port : portsOf(bridge)): ascending by unit.
inline tMstpPortRange portsOf(tMstpBridge* bridge) {
    return tMstpPortRange(&bridge->portsList);
}

/// for (tMstpXst* xst : xstsOf(bridge)): ascending by instance number.
inline tMstpXstRange xstsOf(tMstpBridge* bridge) {
    return tMstpXstRange(&bridge->xstList);
}

/// for (tMstpXstPort* xstPort : xstPortsOf(xst)): ascending by unit.
inline tMstpXstPortsOfXst xstPortsOf(tMstpXst* xst) {
    return tMstpXstPortsOfXst(&xst->xstPortList);
}

/// for (tMstpXstPort* xstPort : xstPortsOf(port)): ascending by instance number.
inline tMstpXstPortsOfPort xstPortsOf(tMstpPort* port) {
    return tMstpXstPortsOfPort(&port->xstPortList);
}

/// True for a port that the driver runs: its link is up.
inline bool mstpPortIsLive(const tMstpPort* port) {
    return port->upTime != 0;
}

/// The port's record in the CIST.
inline tMstpXstPort* mstpCistPort(const tMstpPort* port) {
    return &port->xstPorts[0];
}

/// newInfo of the CIST, newInfoMsti of an MSTI: the variable that 13.24 writes newInfoXst.
inline uint8_t* mstpNewInfoXst(tMstpXstPort* xstPort) {
    return xstPort->xst->cist != 0 ? &xstPort->host->newInfo : &xstPort->host->newInfoMsti;
}
