#include "model.h"

#include <net/if.h>
#include <sys/sysinfo.h>

#include "mstp/enums.h"
#include "mstp/management.h"
#include "settings.h"

// The one of @p views that @p wanted takes.
template <class View, class Wanted>
static const View* find(const std::vector<View>& views, Wanted wanted) {
    for (const View& each : views) {
        if (wanted(each)) {
            return &each;
        }
    }
    return nullptr;
}

const PortView* Snapshot::port(uint32_t unit) const {
    return find(ports, [&](const PortView& each) { return each.unit == unit; });
}

const InstanceView* Snapshot::instance(uint32_t id) const {
    return find(instances, [&](const InstanceView& each) { return each.id == id; });
}

std::vector<const InstancePortView*> Snapshot::instancesOf(uint32_t unit) const {
    std::vector<const InstancePortView*> found;
    for (const InstancePortView& each : instancePorts) {
        if (each.unit == unit) {
            found.push_back(&each);
        }
    }
    return found;
}

std::optional<uint32_t> Snapshot::since(uint32_t upTime) const {
    if (upTime == 0) {
        return std::nullopt;
    }
    return now > upTime ? now - upTime : 0;
}

std::string interfaceName(uint32_t unit) {
    char name[IF_NAMESIZE];
    return if_indextoname(unit, name) != nullptr ? name : std::to_string(unit);
}

uint32_t interfaceUnit(const std::string& name) {
    return if_nametoindex(name.c_str());
}

namespace {

// The clock that the daemon's up-times are of.
uint32_t systemUpTime() {
    struct sysinfo info = {};
    return sysinfo(&info) == 0 ? static_cast<uint32_t>(info.uptime) : 0;
}

// One object of the daemon: its table's get selector and its keys.
class Reader {
  public:
    Reader(const Daemon& daemon, uint32_t selector, Keys keys)
        : m_daemon(daemon), m_selector(selector), m_keys(std::move(keys)) {}

    std::optional<uint32_t> numberIfAny(uint32_t attribute) const {
        const Reply reply = m_daemon.getNumber(m_selector, m_keys, attribute);
        if (reply.result != 0 || reply.numbers.empty()) {
            return std::nullopt;
        }
        return reply.numbers[0];
    }
    std::optional<uint32_t> secondsIfAny(uint32_t attribute) const {
        const std::optional<uint32_t> hundredths = numberIfAny(attribute);
        return hundredths ? std::optional(*hundredths / HUNDREDTHS) : std::nullopt;
    }
    uint32_t number(uint32_t attribute) const { return numberIfAny(attribute).value_or(0); }
    uint32_t seconds(uint32_t attribute) const { return secondsIfAny(attribute).value_or(0); }
    bool truth(uint32_t attribute) const { return number(attribute) == MSTP_TRUE; }
    Octets octets(uint32_t attribute) const {
        return m_daemon.getOctets(m_selector, m_keys, attribute).octets;
    }

  private:
    const Daemon& m_daemon;
    uint32_t m_selector;
    Keys m_keys;
};

// All keys of a table, first to last.
std::vector<Keys> walkTable(const Daemon& daemon, uint32_t first, uint32_t next, uint32_t keys) {
    std::vector<Keys> found;
    Reply reply = daemon.walk(first, Keys(keys, 0), keys);
    while (reply.result == 0) {
        found.push_back(reply.numbers);
        reply = daemon.walk(next, found.back(), keys);
    }
    return found;
}

void readProtections(const Reader& reader, BridgeView& view) {
    view.bpduGuard = reader.truth(MSTP_GEN_BPDUGUARD);
    view.loopProtection = reader.truth(MSTP_GEN_LOOPPROTECTION);
    view.tcProtection = reader.truth(MSTP_GEN_TCPROTECTON);
    view.tcHoldOff = reader.seconds(MSTP_GEN_TCHOLDOFFTIMER);
    view.p2pDetection = reader.truth(MSTP_GEN_P2PDETECTION);
    view.tcFlushesNeighbours = reader.truth(MSTP_GEN_RCVTCFLUSHARP);
    view.notifications = reader.truth(MSTP_GEN_TRAP);
}

BridgeView readBridge(const Reader& reader) {
    BridgeView view;
    view.mac = reader.octets(MSTP_GEN_BRIDGEMAC);
    view.version = reader.number(MSTP_GEN_FORCEVERSION);
    view.capable = reader.number(MSTP_GEN_CAPABLE);
    view.type = reader.number(MSTP_GEN_BRIDGETYPE);
    view.maxAge = reader.seconds(MSTP_GEN_BRIDGEMAXAGE);
    view.helloTime = reader.seconds(MSTP_GEN_BRIDGEHELLOTIME);
    view.forwardDelay = reader.seconds(MSTP_GEN_BRIDGEFORWARDDELAY);
    view.maxHops = reader.number(MSTP_GEN_BRIDGEMAXHOPS);
    view.holdCount = reader.number(MSTP_GEN_HOLDTIME);
    view.migrateTime = reader.seconds(MSTP_GEN_MIGRATETIME);
    view.pathCostMethod = reader.number(MSTP_GEN_PATHCOSTDEFAULT);
    readProtections(reader, view);
    view.debug = reader.number(MSTP_GEN_DEBUG);
    view.debugPriority = reader.number(MSTP_GEN_DEBUGPRIORITY);
    view.debugAction = reader.number(MSTP_GEN_DEBUGACTION);
    view.maxInstances = reader.number(MSTP_GEN_MAXMSTNUM);
    view.maxInstanceId = reader.number(MSTP_GEN_MAXMSTID);
    view.instanceCount = reader.number(MSTP_GEN_CURRENTMSTNUM);
    view.instanceMark = reader.number(MSTP_GEN_CURRENTMAXMSTID);
    view.usedMaxAge = reader.secondsIfAny(MSTP_GEN_MAXAGE);
    view.usedHelloTime = reader.secondsIfAny(MSTP_GEN_HELLOTIME);
    view.usedForwardDelay = reader.secondsIfAny(MSTP_GEN_FORWARDDELAY);
    view.usedHops = reader.numberIfAny(MSTP_GEN_REMAININGHOPS);
    return view;
}

RegionView readRegion(const Reader& reader) {
    RegionView view;
    const Octets name = reader.octets(MSTP_GEN_CFGIDNAME);
    view.name.assign(name.begin(), name.end());
    view.revision = reader.number(MSTP_GEN_CFGIDREVLEVEL);
    view.formatSelector = reader.number(MSTP_GEN_CFGIDFMTSEL);
    view.digest = reader.octets(MSTP_GEN_CFGIDDIGEST);
    return view;
}

// What a tree is and how it fares, without its settings.
InstanceView readRoot(const Reader& reader, uint32_t id) {
    InstanceView view;
    view.id = id;
    const std::optional<uint32_t> rowStatus = reader.numberIfAny(MSTP_XST_ROWSTATUS);
    view.running = rowStatus.has_value();
    view.rowStatus = rowStatus.value_or(0);
    if (!view.running) {
        return view;
    }
    view.bridgeId = reader.octets(MSTP_XST_BRIDGEID);
    view.designatedRoot = reader.octets(MSTP_XST_DESIGNATEDROOT);
    view.regionalRoot = reader.octets(MSTP_XST_REGIONALROOT);
    view.externalCost = reader.number(MSTP_XST_EXTERNALROOTCOST);
    view.internalCost = reader.number(MSTP_XST_INTERNALROOTCOST);
    view.rootPort = reader.number(MSTP_XST_ROOTPORT);
    view.topologyChanges = reader.number(MSTP_XST_TOPOLOGYCHANGESCOUNT);
    return view;
}

InstanceView readInstance(const Reader& reader, uint32_t id) {
    InstanceView view = readRoot(reader, id);
    if (!view.running) {
        return view;
    }
    view.priority = reader.number(MSTP_XST_BRIDGEPRIORITY);
    view.rootProtection = reader.truth(MSTP_XST_ROOTPROTECTION);
    view.masterPort = reader.octets(MSTP_XST_MASTERPORT);
    view.designatedBridge = reader.octets(MSTP_XST_DESIGNATEDBRIDGE);
    view.designatedPort = reader.octets(MSTP_XST_DESIGNATEDPORT);
    view.remainingHops = reader.number(MSTP_XST_REMAININGHOPS);
    view.changedAt = reader.number(MSTP_XST_TIMESINCETOPOLOGYCHANGE);
    view.topologyChange = reader.number(MSTP_XST_TOPOLOGYCHANGEFLAG) != 0;
    view.vlans = reader.octets(MSTP_XST_VLANLIST);
    return view;
}

PortView readLink(const Reader& reader, uint32_t unit) {
    PortView view;
    view.unit = unit;
    view.name = interfaceName(unit);
    view.upTime = reader.number(MSTP_PORT_UPTIME);
    return view;
}

PortView readPort(const Reader& reader, uint32_t unit) {
    PortView view = readLink(reader, unit);
    view.runsSpanningTree = reader.number(MSTP_PORT_ADMINNONSTP) == MSTP_FALSE;
    view.adminMacEnabled = reader.number(MSTP_PORT_ADMINMACENABLE) == 1;
    view.operMacEnabled = reader.number(MSTP_PORT_OPERMACENABLE) == 1;
    view.adminCost = reader.number(MSTP_PORT_ADMINPATHCOST);
    view.operCost = reader.number(MSTP_PORT_OPERPATHCOST);
    view.adminEdge = reader.truth(MSTP_PORT_ADMINEDGE);
    view.edge = reader.truth(MSTP_PORT_OPEREDGE);
    view.autoEdge = reader.truth(MSTP_PORT_AUTOEDGE);
    view.adminPointToPoint = reader.truth(MSTP_PORT_ADMINPOINTTOPOINT);
    view.pointToPoint = reader.truth(MSTP_PORT_OPERPOINTTOPOINT);
    view.helloTime = reader.seconds(MSTP_PORT_HELLOTIME);
    view.migrationCheck = reader.number(MSTP_PORT_PROTOCOLMIGRATION) != 0;
    view.heldByBpduGuard = (reader.number(MSTP_PORT_PROTECTION) & MSTP_PROTECTION_BPDU_GUARD) != 0;
    view.preStandard = reader.number(MSTP_PORT_BPDUSNOOPINGENABLE) == 1;
    view.filtering = reader.truth(MSTP_PORT_BPDUFILTERING);
    for (uint32_t i = 0; i < 8; i++) {
        view.counters[i] = reader.number(MSTP_PORT_RXTCNBPDUCOUNTER + i);
    }
    return view;
}

InstancePortView readRole(const Reader& reader, const Keys& keys) {
    InstancePortView view;
    view.instance = keys[0];
    view.unit = keys[1];
    view.role = reader.number(MSTP_XSTPORT_ROLE);
    view.state = reader.number(MSTP_XSTPORT_STATE);
    return view;
}

InstancePortView readInstancePort(const Reader& reader, const Keys& keys) {
    InstancePortView view = readRole(reader, keys);
    view.priority = reader.number(MSTP_XSTPORT_PRIORITY);
    view.adminCost = reader.number(MSTP_XSTPORT_ADMINPATHCOST);
    view.operCost = reader.number(MSTP_XSTPORT_OPERPATHCOST);
    view.protection = reader.number(MSTP_XSTPORT_PROTECTION);
    view.designatedRoot = reader.octets(MSTP_XSTPORT_DESIGNATEDROOT);
    view.externalCost = reader.number(MSTP_XSTPORT_EXTERNALROOTCOST);
    view.regionalRoot = reader.octets(MSTP_XSTPORT_REGIONALROOT);
    view.internalCost = reader.number(MSTP_XSTPORT_INTERALROOTCOST);
    view.designatedBridge = reader.octets(MSTP_XSTPORT_DESIGNATEDBRIDGE);
    view.designatedPort = reader.octets(MSTP_XSTPORT_DESIGNATEDPORT);
    view.fromSameRegion = reader.number(MSTP_XSTPORT_FROMSAMEREGION) != 0;
    return view;
}

// A view of each object of the three tables, by the readers given.
template <class ReadInstance>
void readInstances(const Daemon& daemon, Snapshot& snapshot, ReadInstance read) {
    for (const Keys& keys : walkTable(daemon, MSTP_XST_GETFIRST, MSTP_XST_GETNEXT, 1)) {
        snapshot.instances.push_back(read(Reader(daemon, MSTP_XST_GETAPI, keys), keys[0]));
    }
}

template <class ReadPort> void readPorts(const Daemon& daemon, Snapshot& snapshot, ReadPort read) {
    for (const Keys& keys : walkTable(daemon, MSTP_PORT_GETFIRST, MSTP_PORT_GETNEXT, 1)) {
        snapshot.ports.push_back(read(Reader(daemon, MSTP_PORT_GETAPI, keys), keys[0]));
    }
}

template <class ReadInstancePort>
void readInstancePorts(const Daemon& daemon, Snapshot& snapshot, ReadInstancePort read) {
    for (const Keys& keys : walkTable(daemon, MSTP_XSTPORT_GETFIRST, MSTP_XSTPORT_GETNEXT, 2)) {
        snapshot.instancePorts.push_back(read(Reader(daemon, MSTP_XSTPORT_GETAPI, keys), keys));
    }
}

} // namespace

Snapshot readTree(const Daemon& daemon) {
    Snapshot snapshot;
    snapshot.now = systemUpTime();
    readInstances(daemon, snapshot, readRoot);
    readPorts(daemon, snapshot, readLink);
    readInstancePorts(daemon, snapshot, readRole);
    return snapshot;
}

Snapshot readSnapshot(const Daemon& daemon, uint32_t parts) {
    Snapshot snapshot;
    snapshot.now = systemUpTime();
    const Reader general(daemon, MSTP_GEN_GETAPI, {});
    if ((parts & PART_BRIDGE) != 0) {
        snapshot.bridge = readBridge(general);
    }
    if ((parts & PART_REGION) != 0) {
        snapshot.region = readRegion(general);
    }
    if ((parts & PART_INSTANCES) != 0) {
        readInstances(daemon, snapshot, readInstance);
    }
    if ((parts & PART_PORTS) != 0) {
        readPorts(daemon, snapshot, readPort);
    }
    if ((parts & PART_INSTANCE_PORTS) != 0) {
        readInstancePorts(daemon, snapshot, readInstancePort);
    }
    return snapshot;
}
