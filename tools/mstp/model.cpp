#include "model.h"

#include <net/if.h>

#include "mstp/enums.h"
#include "mstp/management.h"

static constexpr uint32_t HUNDREDTHS = 100;

const PortView* Snapshot::port(uint32_t unit) const {
    for (const PortView& each : ports) {
        if (each.unit == unit) {
            return &each;
        }
    }
    return nullptr;
}

std::string interfaceName(uint32_t unit) {
    char name[IF_NAMESIZE];
    return if_indextoname(unit, name) != nullptr ? name : std::to_string(unit);
}

uint32_t interfaceUnit(const std::string& name) {
    return if_nametoindex(name.c_str());
}

namespace {

// One object of the daemon: its table's get selector and its keys.
class Reader {
  public:
    Reader(const Daemon& daemon, uint32_t selector, Keys keys)
        : m_daemon(daemon), m_selector(selector), m_keys(std::move(keys)) {}

    uint32_t number(uint32_t attribute) const {
        const Reply reply = m_daemon.getNumber(m_selector, m_keys, attribute);
        return reply.result == 0 && !reply.numbers.empty() ? reply.numbers[0] : 0;
    }
    bool truth(uint32_t attribute) const { return number(attribute) == MSTP_TRUE; }
    std::vector<uint8_t> octets(uint32_t attribute) const {
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

BridgeView readBridge(const Reader& reader) {
    BridgeView view;
    view.mac = reader.octets(MSTP_GEN_BRIDGEMAC);
    view.version = reader.number(MSTP_GEN_FORCEVERSION);
    view.maxAge = reader.number(MSTP_GEN_BRIDGEMAXAGE) / HUNDREDTHS;
    view.helloTime = reader.number(MSTP_GEN_BRIDGEHELLOTIME) / HUNDREDTHS;
    view.forwardDelay = reader.number(MSTP_GEN_BRIDGEFORWARDDELAY) / HUNDREDTHS;
    view.maxHops = reader.number(MSTP_GEN_BRIDGEMAXHOPS);
    view.holdCount = reader.number(MSTP_GEN_HOLDTIME);
    view.debug = reader.number(MSTP_GEN_DEBUG);
    return view;
}

RegionView readRegion(const Reader& reader) {
    RegionView view;
    const std::vector<uint8_t> name = reader.octets(MSTP_GEN_CFGIDNAME);
    view.name.assign(name.begin(), name.end());
    view.revision = reader.number(MSTP_GEN_CFGIDREVLEVEL);
    view.formatSelector = reader.number(MSTP_GEN_CFGIDFMTSEL);
    view.digest = reader.octets(MSTP_GEN_CFGIDDIGEST);
    return view;
}

InstanceView readInstance(const Daemon& daemon, uint32_t id) {
    const Reader reader(daemon, MSTP_XST_GETAPI, {id});
    InstanceView view;
    view.id = id;
    view.priority = reader.number(MSTP_XST_BRIDGEPRIORITY);
    view.bridgeId = reader.octets(MSTP_XST_BRIDGEID);
    view.regionalRoot = reader.octets(MSTP_XST_REGIONALROOT);
    view.root = id == 0 ? reader.octets(MSTP_XST_DESIGNATEDROOT) : view.regionalRoot;
    view.externalCost = reader.number(MSTP_XST_EXTERNALROOTCOST);
    view.internalCost = reader.number(MSTP_XST_INTERNALROOTCOST);
    view.topologyChanges = reader.number(MSTP_XST_TOPOLOGYCHANGESCOUNT);
    view.vlans = reader.octets(MSTP_XST_VLANLIST);
    return view;
}

PortView readPort(const Daemon& daemon, uint32_t unit) {
    const Reader reader(daemon, MSTP_PORT_GETAPI, {unit});
    PortView view;
    view.unit = unit;
    view.name = interfaceName(unit);
    view.upTime = reader.number(MSTP_PORT_UPTIME);
    view.edge = reader.truth(MSTP_PORT_OPEREDGE);
    view.pointToPoint = reader.truth(MSTP_PORT_OPERPOINTTOPOINT);
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

std::vector<Keys> walkInstancePorts(const Daemon& daemon) {
    return walkTable(daemon, MSTP_XSTPORT_GETFIRST, MSTP_XSTPORT_GETNEXT, 2);
}

} // namespace

std::vector<InstancePortView> readRoles(const Daemon& daemon) {
    std::vector<InstancePortView> views;
    for (const Keys& keys : walkInstancePorts(daemon)) {
        views.push_back(readRole(Reader(daemon, MSTP_XSTPORT_GETAPI, keys), keys));
    }
    return views;
}

Snapshot readSnapshot(const Daemon& daemon) {
    Snapshot snapshot;
    const Reader general(daemon, MSTP_GEN_GETAPI, {});
    snapshot.bridge = readBridge(general);
    snapshot.region = readRegion(general);
    for (const Keys& keys : walkTable(daemon, MSTP_XST_GETFIRST, MSTP_XST_GETNEXT, 1)) {
        snapshot.instances.push_back(readInstance(daemon, keys[0]));
    }
    for (const Keys& keys : walkTable(daemon, MSTP_PORT_GETFIRST, MSTP_PORT_GETNEXT, 1)) {
        snapshot.ports.push_back(readPort(daemon, keys[0]));
    }
    for (const Keys& keys : walkInstancePorts(daemon)) {
        const Reader reader(daemon, MSTP_XSTPORT_GETAPI, keys);
        InstancePortView view = readRole(reader, keys);
        view.priority = reader.number(MSTP_XSTPORT_PRIORITY);
        view.adminCost = reader.number(MSTP_XSTPORT_ADMINPATHCOST);
        view.operCost = reader.number(MSTP_XSTPORT_OPERPATHCOST);
        view.protection = reader.number(MSTP_XSTPORT_PROTECTION);
        view.designatedBridge = reader.octets(MSTP_XSTPORT_DESIGNATEDBRIDGE);
        view.designatedPort = reader.octets(MSTP_XSTPORT_DESIGNATEDPORT);
        snapshot.instancePorts.push_back(view);
    }
    return snapshot;
}
