// The rows: every attribute that the daemon lets be read or set, once.

#include "settings.h"

#include "mstp/enums.h"
#include "mstp/management.h"

namespace {

constexpr Object BRIDGE = Object::Bridge;
constexpr Object REGION = Object::Region;
constexpr Object PORT = Object::Port;
constexpr Object INSTANCE = Object::Instance;
constexpr Object MEMBER = Object::InstancePort;
constexpr Access READ_WRITE = Access::ReadWrite;
constexpr bool ON = true;
constexpr bool OFF = false;

struct Range {
    uint32_t minimum;
    uint32_t maximum;
    uint32_t step = 1;
};

Setting number(Object object, const char* name, uint32_t attribute, Range range, uint32_t initial,
               const char* help) {
    return {object,        name,          attribute,  Kind::Number, READ_WRITE, help,
            range.minimum, range.maximum, range.step, {},           initial};
}

Setting seconds(const char* name, uint32_t attribute, Range range, uint32_t initial,
                const char* help) {
    Setting row = number(BRIDGE, name, attribute, range, initial * HUNDREDTHS, help);
    row.kind = Kind::Seconds;
    return row;
}

Setting onOff(Object object, const char* name, uint32_t attribute, bool initial, const char* help) {
    return {object, name, attribute, Kind::OnOff, READ_WRITE, help, 0, 0, 1, {}, initial ? 1 : 2};
}

Setting words(Object object, const char* name, uint32_t attribute, std::vector<Word> choice,
              std::optional<uint32_t> initial, const char* help) {
    return {object, name, attribute, Kind::Word,        READ_WRITE, help,
            0,      0,    1,         std::move(choice), initial};
}

Setting action(const char* name, uint32_t attribute, Access access, const char* help) {
    return {PORT, name, attribute, Kind::OnOff, access, help};
}

Setting readOnly(Object object, const char* name, uint32_t attribute, Kind kind, const char* help) {
    return {object, name, attribute, kind, Access::Read, help};
}

Setting readWord(Object object, const char* name, uint32_t attribute, std::vector<Word> choice,
                 const char* help) {
    return {object, name, attribute, Kind::Word, Access::Read, help, 0, 0, 1, std::move(choice)};
}

// Ranges are those of IEEE 802.1Q-2005 13.22 to 13.24 and IEEE 802.1D-2004 table 17-1.
std::vector<Setting> bridgeRows() {
    return {
        seconds("max-age", MSTP_GEN_BRIDGEMAXAGE, {6, 40}, 20, "how old information may grow"),
        seconds("hello-time", MSTP_GEN_BRIDGEHELLOTIME, {1, 10}, 2, "time between two BPDUs"),
        seconds("forward-delay", MSTP_GEN_BRIDGEFORWARDDELAY, {4, 30}, 15,
                "time in each of listening and learning"),
        number(BRIDGE, "max-hops", MSTP_GEN_BRIDGEMAXHOPS, {1, 255}, 20,
               "bridges that a region's information may cross"),
        number(BRIDGE, "hold-count", MSTP_GEN_HOLDTIME, {1, 10}, 6, "BPDUs per second and port"),
        seconds("migrate-time", MSTP_GEN_MIGRATETIME, {1, 255}, 3,
                "time before a port believes its neighbour's version"),
        words(BRIDGE, "version", MSTP_GEN_FORCEVERSION,
              {{"none", 0}, {"stp", 1}, {"rstp", 2}, {"mstp", 3}}, 3,
              "protocol version; a change drops ports' costs and priorities"),
        words(BRIDGE, "path-cost-method", MSTP_GEN_PATHCOSTDEFAULT, {{"short", 1}, {"long", 2}}, 2,
              "how a link's speed gives its cost"),
        words(BRIDGE, "type", MSTP_GEN_BRIDGETYPE, {{"customer", 0}, {"provider", 1}}, 0,
              "which destination address BPDUs have"),
        {BRIDGE, "mac", MSTP_GEN_BRIDGEMAC, Kind::Mac, READ_WRITE,
         "address in identifiers; instances take it when created"},
        onOff(BRIDGE, "bpdu-guard", MSTP_GEN_BPDUGUARD, OFF, "shut edge ports that hear a BPDU"),
        onOff(BRIDGE, "loop-protection", MSTP_GEN_LOOPPROTECTION, OFF,
              "hold ports that stop hearing BPDUs"),
        onOff(BRIDGE, "tc-protection", MSTP_GEN_TCPROTECTON, OFF,
              "limit flushes by topology changes"),
        seconds("tc-hold-off", MSTP_GEN_TCHOLDOFFTIMER, {1, 65535}, 10,
                "time between two such flushes"),
        onOff(BRIDGE, "p2p-detection", MSTP_GEN_P2PDETECTION, ON,
              "tell shared links by changing neighbours"),
        onOff(BRIDGE, "tc-flushes-neighbours", MSTP_GEN_RCVTCFLUSHARP, ON,
              "topology changes heard flush ARP and neighbours too"),
        onOff(BRIDGE, "notifications", MSTP_GEN_TRAP, OFF, "tell network management of changes"),
        number(BRIDGE, "debug", MSTP_GEN_DEBUG, {0, 0xFFFFFFFF}, 0,
               "mask of the traces that the daemon writes"),
        number(BRIDGE, "debug-priority", MSTP_GEN_DEBUGPRIORITY, {0, 255}, 0,
               "kept for the platform"),
        number(BRIDGE, "debug-action", MSTP_GEN_DEBUGACTION, {0, 255}, 0, "kept for the platform"),
        readOnly(BRIDGE, "max-age-in-force", MSTP_GEN_MAXAGE, Kind::Seconds, "the root's"),
        readOnly(BRIDGE, "hello-time-in-force", MSTP_GEN_HELLOTIME, Kind::Seconds, "the root's"),
        readOnly(BRIDGE, "forward-delay-in-force", MSTP_GEN_FORWARDDELAY, Kind::Seconds,
                 "the root's"),
        readOnly(BRIDGE, "remaining-hops", MSTP_GEN_REMAININGHOPS, Kind::Number, "in the CIST"),
        readWord(BRIDGE, "capability", MSTP_GEN_CAPABLE,
                 {{"none", 0},
                  {"802.1D-1998", 1},
                  {"802.1w", 2},
                  {"802.1D-2004", 3},
                  {"802.1s", 4},
                  {"802.1Q", 5}},
                 "the newest standard that the daemon speaks"),
        readOnly(BRIDGE, "instance-limit", MSTP_GEN_MAXMSTNUM, Kind::Number,
                 "instances that there may be"),
        readOnly(BRIDGE, "highest-instance", MSTP_GEN_MAXMSTID, Kind::Number,
                 "the highest number that an instance may have"),
        readOnly(BRIDGE, "instance-count", MSTP_GEN_CURRENTMSTNUM, Kind::Number,
                 "instances that there are"),
        readOnly(BRIDGE, "instance-mark", MSTP_GEN_CURRENTMAXMSTID, Kind::Number,
                 "third byte of the MAC while there is an instance"),
    };
}

std::vector<Setting> regionRows() {
    Setting name = {REGION,     "name",     MSTP_GEN_CFGIDNAME,
                    Kind::Text, READ_WRITE, "the region's name"};
    name.maximum = 32;
    return {
        name,
        number(REGION, "revision", MSTP_GEN_CFGIDREVLEVEL, {0, 65535}, 0,
               "the configuration's revision"),
        number(REGION, "format-selector", MSTP_GEN_CFGIDFMTSEL, {0, 255}, 0,
               "format of the configuration identifier"),
        readOnly(REGION, "digest", MSTP_GEN_CFGIDDIGEST, Kind::Hex,
                 "of the table that maps VLANs to instances"),
    };
}

constexpr Range PATH_COST = {0, 200000000};

std::vector<Setting> portRows() {
    return {
        words(PORT, "stp", MSTP_PORT_ADMINNONSTP, {{"on", 2}, {"off", 1}}, 1,
              "the same as \"port add\" and \"port del\""),
        number(PORT, "cost", MSTP_PORT_ADMINPATHCOST, PATH_COST, 0,
               "cost in the CIST; 0 = by speed"),
        onOff(PORT, "point-to-point", MSTP_PORT_ADMINPOINTTOPOINT, ON,
              "one neighbour at the most; in force with the next BPDU heard"),
        onOff(PORT, "edge", MSTP_PORT_ADMINEDGE, OFF, "no bridge is expected behind the port"),
        onOff(PORT, "bpdu-filter", MSTP_PORT_BPDUFILTERING, OFF, "neither hear nor send BPDUs"),
        onOff(PORT, "pre-standard", MSTP_PORT_BPDUSNOOPINGENABLE, OFF,
              "the neighbour speaks the pre-standard format"),
        onOff(PORT, "mac-enabled", MSTP_PORT_ADMINMACENABLE, ON,
              "administrative state of the MAC; a restart turns it on"),
        action("migrate", MSTP_PORT_PROTOCOLMIGRATION, READ_WRITE,
               "on: try the neighbour with the newest version again"),
        action("release", MSTP_PORT_GUARDFORWARD, Access::Write,
               "on: release a port shut by BPDU guard"),
        readOnly(PORT, "mac-operational", MSTP_PORT_OPERMACENABLE, Kind::OnOff, "the MAC works"),
        readOnly(PORT, "up-time", MSTP_PORT_UPTIME, Kind::Uptime, "seconds since the link came up"),
        readOnly(PORT, "cost-by-speed", MSTP_PORT_OPERPATHCOST, Kind::Number, "of the link"),
        readOnly(PORT, "edge-in-force", MSTP_PORT_OPEREDGE, Kind::OnOff, "taken for an edge port"),
        readOnly(PORT, "auto-edge", MSTP_PORT_AUTOEDGE, Kind::OnOff, "edges are found by silence"),
        readOnly(PORT, "point-to-point-in-force", MSTP_PORT_OPERPOINTTOPOINT, Kind::OnOff,
                 "taken for a link between two"),
        readOnly(PORT, "hello-time", MSTP_PORT_HELLOTIME, Kind::Seconds, "in force on the link"),
        readOnly(PORT, "received-tcn", MSTP_PORT_RXTCNBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "received-config", MSTP_PORT_RXCFGBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "received-rst", MSTP_PORT_RXRSTBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "received-mst", MSTP_PORT_RXMSTBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "sent-tcn", MSTP_PORT_TXTCNBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "sent-config", MSTP_PORT_TXCFGBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "sent-rst", MSTP_PORT_TXRSTBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "sent-mst", MSTP_PORT_TXMSTBPDUCOUNTER, Kind::Number, "BPDUs"),
        readOnly(PORT, "protection", MSTP_PORT_PROTECTION, Kind::Holds, "holds in force"),
    };
}

std::vector<Setting> instanceRows() {
    return {
        {INSTANCE, "vlans", MSTP_XST_VLANLIST, Kind::Vlans, READ_WRITE,
         "+ adds VLANs, - removes, neither makes it these"},
        number(INSTANCE, "priority", MSTP_XST_BRIDGEPRIORITY, {0, 61440, 4096}, 32768,
               "the bridge's priority; the lowest becomes root"),
        onOff(INSTANCE, "root-protection", MSTP_XST_ROOTPROTECTION, OFF, "refuse better roots"),
        words(INSTANCE, "row-status", MSTP_XST_ROWSTATUS,
              {{"active", MSTP_ACTIVE},
               {"not-in-service", MSTP_NOTINSERVICE, false},
               {"not-ready", MSTP_NOTREADY, false},
               {"create", MSTP_CREATEANDGO},
               {"wait", MSTP_CREATEANDWAIT},
               {"destroy", MSTP_DESTORY}},
              {}, "what \"instance add\" and \"instance del\" set"),
        readOnly(INSTANCE, "bridge-id", MSTP_XST_BRIDGEID, Kind::BridgeId, "this bridge's"),
        readOnly(INSTANCE, "root", MSTP_XST_DESIGNATEDROOT, Kind::BridgeId, "the root bridge"),
        readOnly(INSTANCE, "regional-root", MSTP_XST_REGIONALROOT, Kind::BridgeId,
                 "the region's root"),
        readOnly(INSTANCE, "external-cost", MSTP_XST_EXTERNALROOTCOST, Kind::Number,
                 "to the root, between regions"),
        readOnly(INSTANCE, "internal-cost", MSTP_XST_INTERNALROOTCOST, Kind::Number,
                 "to the regional root"),
        readOnly(INSTANCE, "root-port", MSTP_XST_ROOTPORT, Kind::Interface, "towards the root"),
        readOnly(INSTANCE, "master-port", MSTP_XST_MASTERPORT, Kind::PortId, "out of the region"),
        readOnly(INSTANCE, "designated-bridge", MSTP_XST_DESIGNATEDBRIDGE, Kind::BridgeId,
                 "whose information is in force"),
        readOnly(INSTANCE, "designated-port", MSTP_XST_DESIGNATEDPORT, Kind::PortId,
                 "that bridge's port"),
        readOnly(INSTANCE, "last-change", MSTP_XST_TIMESINCETOPOLOGYCHANGE, Kind::Uptime,
                 "seconds since the topology changed"),
        readOnly(INSTANCE, "topology-changes", MSTP_XST_TOPOLOGYCHANGESCOUNT, Kind::Number,
                 "how many"),
        readOnly(INSTANCE, "topology-change", MSTP_XST_TOPOLOGYCHANGEFLAG, Kind::OnOff,
                 "one is in progress"),
        readOnly(INSTANCE, "remaining-hops", MSTP_XST_REMAININGHOPS, Kind::Number,
                 "of the information in force"),
    };
}

std::vector<Setting> memberRows() {
    return {
        number(MEMBER, "priority", MSTP_XSTPORT_PRIORITY, {0, 240, 16}, 128, "the port's priority"),
        number(MEMBER, "cost", MSTP_XSTPORT_ADMINPATHCOST, PATH_COST, 0,
               "the port's cost; 0 = by speed"),
        readOnly(MEMBER, "state", MSTP_XSTPORT_STATE, Kind::State, "what it does with frames"),
        readOnly(MEMBER, "role", MSTP_XSTPORT_ROLE, Kind::Role, "its part in the tree"),
        readOnly(MEMBER, "root", MSTP_XSTPORT_DESIGNATEDROOT, Kind::BridgeId,
                 "the root as the link has it"),
        readOnly(MEMBER, "external-cost", MSTP_XSTPORT_EXTERNALROOTCOST, Kind::Number,
                 "from the link to the root"),
        readOnly(MEMBER, "regional-root", MSTP_XSTPORT_REGIONALROOT, Kind::BridgeId,
                 "as the link has it"),
        readOnly(MEMBER, "internal-cost", MSTP_XSTPORT_INTERALROOTCOST, Kind::Number,
                 "from the link to the regional root"),
        readOnly(MEMBER, "designated-bridge", MSTP_XSTPORT_DESIGNATEDBRIDGE, Kind::BridgeId,
                 "of the link"),
        readOnly(MEMBER, "designated-port", MSTP_XSTPORT_DESIGNATEDPORT, Kind::PortId,
                 "of the link"),
        readOnly(MEMBER, "cost-by-speed", MSTP_XSTPORT_OPERPATHCOST, Kind::Number, "of the link"),
        readOnly(MEMBER, "protection", MSTP_XSTPORT_PROTECTION, Kind::Holds, "holds in force"),
        readOnly(MEMBER, "same-region", MSTP_XSTPORT_FROMSAMEREGION, Kind::OnOff,
                 "the neighbour is of this region"),
    };
}

std::vector<Setting> allRows() {
    std::vector<Setting> rows;
    for (const auto& part :
         {bridgeRows(), regionRows(), portRows(), instanceRows(), memberRows()}) {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
}

} // namespace

const std::vector<Setting>& settings() {
    static const std::vector<Setting> rows = allRows();
    return rows;
}
