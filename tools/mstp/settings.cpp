#include "settings.h"

#include <algorithm>

#include "mstp/bit_list.h"
#include "mstp/management.h"
#include "words.h"

// Ranges are those of IEEE 802.1Q-2005 13.22 to 13.24 and IEEE 802.1D-2004 table 17-1.
const std::vector<Setting>& settings() {
    static const std::vector<Setting> rows = {
        {Object::Bridge,
         "max-age",
         MSTP_GEN_BRIDGEMAXAGE,
         Kind::Seconds,
         6,
         40,
         1,
         {},
         "how old information may grow"},
        {Object::Bridge,
         "hello-time",
         MSTP_GEN_BRIDGEHELLOTIME,
         Kind::Seconds,
         1,
         10,
         1,
         {},
         "time between two BPDUs"},
        {Object::Bridge,
         "forward-delay",
         MSTP_GEN_BRIDGEFORWARDDELAY,
         Kind::Seconds,
         4,
         30,
         1,
         {},
         "time in each of listening and learning"},
        {Object::Bridge,
         "max-hops",
         MSTP_GEN_BRIDGEMAXHOPS,
         Kind::Number,
         1,
         40,
         1,
         {},
         "bridges that a region's information may cross"},
        {Object::Bridge,
         "hold-count",
         MSTP_GEN_HOLDTIME,
         Kind::Number,
         1,
         10,
         1,
         {},
         "BPDUs per second and port"},
        {Object::Bridge,
         "migrate-time",
         MSTP_GEN_MIGRATETIME,
         Kind::Seconds,
         1,
         255,
         1,
         {},
         "time before a port believes its neighbour's version"},
        {Object::Bridge,
         "path-cost-method",
         MSTP_GEN_PATHCOSTDEFAULT,
         Kind::Word,
         1,
         2,
         1,
         {"short", "long"},
         "how a link's speed gives its cost"},
        {Object::Bridge,
         "version",
         MSTP_GEN_FORCEVERSION,
         Kind::Word,
         0,
         3,
         1,
         {"none", "stp", "rstp", "mstp"},
         "protocol version (drops per-port settings)"},
        {Object::Bridge,
         "type",
         MSTP_GEN_BRIDGETYPE,
         Kind::Word,
         0,
         1,
         1,
         {"customer", "provider"},
         "which destination address BPDUs have"},
        {Object::Bridge,
         "mac",
         MSTP_GEN_BRIDGEMAC,
         Kind::Mac,
         0,
         0,
         1,
         {},
         "address in the bridge's identifiers"},
        {Object::Bridge,
         "debug",
         MSTP_GEN_DEBUG,
         Kind::Number,
         0,
         0xFFFFFFFF,
         1,
         {},
         "mask of the traces that the daemon writes"},
        {Object::Bridge,
         "debug-priority",
         MSTP_GEN_DEBUGPRIORITY,
         Kind::Number,
         0,
         255,
         1,
         {},
         "kept for the platform"},
        {Object::Bridge,
         "debug-action",
         MSTP_GEN_DEBUGACTION,
         Kind::Number,
         0,
         255,
         1,
         {},
         "kept for the platform"},
        {Object::Bridge,
         "notifications",
         MSTP_GEN_TRAP,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "tell network management of changes"},
        {Object::Bridge,
         "bpdu-guard",
         MSTP_GEN_BPDUGUARD,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "shut edge ports that hear a BPDU"},
        {Object::Bridge,
         "loop-protection",
         MSTP_GEN_LOOPPROTECTION,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "hold ports that stop hearing BPDUs"},
        {Object::Bridge,
         "tc-protection",
         MSTP_GEN_TCPROTECTON,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "limit flushes by topology changes"},
        {Object::Bridge,
         "tc-hold-off",
         MSTP_GEN_TCHOLDOFFTIMER,
         Kind::Seconds,
         1,
         65535,
         1,
         {},
         "time between two such flushes"},
        {Object::Bridge,
         "p2p-detection",
         MSTP_GEN_P2PDETECTION,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "see by the peer's address whether a link is point-to-point"},
        {Object::Bridge,
         "tc-flushes-neighbours",
         MSTP_GEN_RCVTCFLUSHARP,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "topology changes heard flush ARP and neighbours too"},
        {Object::Region, "name", MSTP_GEN_CFGIDNAME, Kind::Text, 0, 32, 1, {}, "the region's name"},
        {Object::Region,
         "revision",
         MSTP_GEN_CFGIDREVLEVEL,
         Kind::Number,
         0,
         65535,
         1,
         {},
         "the configuration's revision"},
        {Object::Region,
         "format-selector",
         MSTP_GEN_CFGIDFMTSEL,
         Kind::Number,
         0,
         255,
         1,
         {},
         "format of the configuration identifier"},
        {Object::Port,
         "cost",
         MSTP_PORT_ADMINPATHCOST,
         Kind::Number,
         0,
         200000000,
         1,
         {},
         "cost in the CIST; 0 = by speed"},
        {Object::Port,
         "edge",
         MSTP_PORT_ADMINEDGE,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "no bridge is expected behind the port"},
        {Object::Port,
         "point-to-point",
         MSTP_PORT_ADMINPOINTTOPOINT,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "one neighbour at the most"},
        {Object::Port,
         "mac-enabled",
         MSTP_PORT_ADMINMACENABLE,
         Kind::Number,
         0,
         1,
         1,
         {},
         "administrative state of the MAC"},
        {Object::Port,
         "bpdu-filter",
         MSTP_PORT_BPDUFILTERING,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "neither hear nor send BPDUs"},
        {Object::Port,
         "pre-standard",
         MSTP_PORT_BPDUSNOOPINGENABLE,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "the neighbour speaks the pre-standard format"},
        {Object::Port,
         "migrate",
         MSTP_PORT_PROTOCOLMIGRATION,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "on: try the neighbour with the newest version again"},
        {Object::Port,
         "release",
         MSTP_PORT_GUARDFORWARD,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "on: release a port shut by BPDU guard"},
        {Object::Instance,
         "priority",
         MSTP_XST_BRIDGEPRIORITY,
         Kind::Number,
         0,
         61440,
         4096,
         {},
         "the bridge's priority; the lowest becomes root"},
        {Object::Instance,
         "root-protection",
         MSTP_XST_ROOTPROTECTION,
         Kind::OnOff,
         0,
         0,
         1,
         {},
         "refuse better roots"},
        {Object::InstancePort,
         "priority",
         MSTP_XSTPORT_PRIORITY,
         Kind::Number,
         0,
         240,
         16,
         {},
         "the port's priority"},
        {Object::InstancePort,
         "cost",
         MSTP_XSTPORT_ADMINPATHCOST,
         Kind::Number,
         0,
         200000000,
         1,
         {},
         "the port's cost; 0 = by speed"},
    };
    return rows;
}

static std::string rangeText(const Setting& setting) {
    switch (setting.kind) {
    case Kind::OnOff:
        return "on|off";
    case Kind::Text:
        return "up to " + std::to_string(setting.maximum) + " characters";
    case Kind::Mac:
        return "xx:xx:xx:xx:xx:xx";
    case Kind::Word: {
        std::string text;
        for (const char* word : setting.words) {
            text += (text.empty() ? "" : "|") + std::string(word);
        }
        return text;
    }
    default:
        break;
    }
    std::string text = std::to_string(setting.minimum) + "-" + std::to_string(setting.maximum);
    if (setting.step > 1) {
        text += " in steps of " + std::to_string(setting.step);
    }
    return text + (setting.kind == Kind::Seconds ? " seconds" : "");
}

std::string settingsHelp(Object object) {
    std::string text;
    for (const Setting& setting : settings()) {
        if (setting.object != object) {
            continue;
        }
        std::string name = setting.name;
        name.resize(std::max<size_t>(name.size() + 2, 24), ' ');
        std::string range = rangeText(setting);
        range.resize(std::max<size_t>(range.size() + 2, 30), ' ');
        text.append("  ").append(name).append(range).append(setting.help).append("\n");
    }
    return text;
}

static const Setting& findSetting(Object object, const std::string& name) {
    std::string known;
    for (const Setting& setting : settings()) {
        if (setting.object != object) {
            continue;
        }
        if (name == setting.name) {
            return setting;
        }
        known += (known.empty() ? "" : ", ") + std::string(setting.name);
    }
    throw Refused("there is no setting \"" + name + "\" here; there are: " + known);
}

static uint32_t selectorOf(Object object) {
    switch (object) {
    case Object::Port:
        return MSTP_PORT_SETAPI;
    case Object::Instance:
        return MSTP_XST_SETAPI;
    case Object::InstancePort:
        return MSTP_XSTPORT_SETAPI;
    default:
        return MSTP_GEN_SETAPI;
    }
}

[[noreturn]] static void refuseValue(const Setting& setting, const std::string& value) {
    throw Refused(std::string(setting.name) + " takes " + rangeText(setting) + ", not \"" + value +
                  "\"");
}

static uint32_t parseValue(const Setting& setting, const std::string& value) {
    if (setting.kind == Kind::OnOff) {
        if (value != "on" && value != "off") {
            refuseValue(setting, value);
        }
        return value == "on" ? 1 : 2;
    }
    if (setting.kind == Kind::Word) {
        for (size_t i = 0; i < setting.words.size(); i++) {
            if (value == setting.words[i]) {
                return setting.minimum + static_cast<uint32_t>(i);
            }
        }
        refuseValue(setting, value);
    }
    const auto number = parseNumber(value);
    if (!number || *number < setting.minimum || *number > setting.maximum ||
        *number % setting.step != 0) {
        refuseValue(setting, value);
    }
    return setting.kind == Kind::Seconds ? *number * 100 : *number;
}

static std::vector<uint8_t> parseMac(const Setting& setting, const std::string& value) {
    unsigned int bytes[6];
    char rest = 0;
    if (sscanf(value.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%c", &bytes[0], &bytes[1], &bytes[2],
               &bytes[3], &bytes[4], &bytes[5], &rest) != 6) {
        refuseValue(setting, value);
    }
    std::vector<uint8_t> mac;
    for (const unsigned int byte : bytes) {
        mac.push_back(static_cast<uint8_t>(byte));
    }
    return mac;
}

void expectServed(const Reply& reply, const std::string& what) {
    if (reply.result == 0) {
        return;
    }
    if (reply.result == -1) {
        throw Refused(what + " was refused by the daemon");
    }
    throw Refused(what + " was refused by the platform, code " + std::to_string(reply.result));
}

// The commonest reasons of a refusal, found by asking the daemon.
static std::string likelyReason(const Daemon& daemon, Object object, const Keys& keys) {
    const bool withInstance = object == Object::Instance || object == Object::InstancePort;
    if (withInstance) {
        const Reply version = daemon.getNumber(MSTP_GEN_GETAPI, {}, MSTP_GEN_FORCEVERSION);
        if (keys[0] != 0 && version.result == 0 && version.numbers.at(0) < 3) {
            return ": only version mstp has instances above 0";
        }
        if (daemon.getNumber(MSTP_XST_GETAPI, {keys[0]}, MSTP_XST_ROWSTATUS).result != 0) {
            return ": there is no instance " + std::to_string(keys[0]);
        }
    }
    if (object == Object::Port || object == Object::InstancePort) {
        const Reply uptime = daemon.getNumber(MSTP_PORT_GETAPI, {keys.back()}, MSTP_PORT_UPTIME);
        if (uptime.result != 0) {
            return ": the interface is no port of the bridge; add it with \"mstp port add\"";
        }
    }
    return "";
}

void applySetting(const Daemon& daemon, Object object, const Keys& keys, const std::string& name,
                  const std::string& value) {
    const Setting& setting = findSetting(object, name);
    const uint32_t selector = selectorOf(object);
    Reply reply;
    if (setting.kind == Kind::Text) {
        if (value.size() > setting.maximum) {
            refuseValue(setting, value);
        }
        reply = daemon.setOctets(selector, keys, setting.attribute, {value.begin(), value.end()});
    } else if (setting.kind == Kind::Mac) {
        reply = daemon.setOctets(selector, keys, setting.attribute, parseMac(setting, value));
    } else {
        reply = daemon.setNumber(selector, keys, setting.attribute, parseValue(setting, value));
    }
    const std::string reason = reply.result == -1 ? likelyReason(daemon, object, keys) : "";
    expectServed(reply, "setting " + name + " to " + value + reason + "; it");
}

static std::vector<uint8_t> cut(std::vector<uint8_t> list) {
    list.resize(bitListUsedBytes(list.data(), static_cast<uint32_t>(list.size())));
    return list;
}

static bool any(const std::vector<uint8_t>& list) {
    return std::any_of(list.begin(), list.end(), [](uint8_t byte) { return byte != 0; });
}

void applyVlans(const Daemon& daemon, uint32_t instance, const std::string& text) {
    const char sign = text.empty() ? '\0' : text[0];
    const bool signedText = sign == '+' || sign == '-';
    const auto wanted = parseVlans(signedText ? text.substr(1) : text);
    if (!wanted) {
        throw Refused(
            "vlans takes a list like 10-19,100 of VLANs 1-4094, with + before it to add, - "
            "to remove, not \"" +
            text + "\"");
    }
    std::vector<uint8_t> add = sign == '-' ? std::vector<uint8_t>(MSTP_VLAN_LIST_SIZE) : *wanted;
    std::vector<uint8_t> remove = sign == '-' ? *wanted : std::vector<uint8_t>(MSTP_VLAN_LIST_SIZE);
    if (!signedText) {
        const Reply held = daemon.getOctets(MSTP_XST_GETAPI, {instance}, MSTP_XST_VLANLIST);
        for (size_t i = 0; i < held.octets.size(); i++) {
            remove[i] = static_cast<uint8_t>(held.octets[i] & ~(*wanted)[i]);
            add[i] = static_cast<uint8_t>((*wanted)[i] & ~held.octets[i]);
        }
    }
    const std::string what = "vlans " + text + " of instance " + std::to_string(instance);
    if (any(remove)) {
        expectServed(
            daemon.setOctets(MSTP_XST_SETAPI, {instance}, MSTP_XST_VLANLISTDEL, cut(remove)), what);
    }
    if (any(add)) {
        const Reply reply =
            daemon.setOctets(MSTP_XST_SETAPI, {instance}, MSTP_XST_VLANLIST, cut(add));
        std::string reason =
            reply.result == -1 ? likelyReason(daemon, Object::Instance, {instance}) : std::string();
        if (reply.result == -1 && reason.empty()) {
            reason = ": a VLAN of the list belongs to another instance";
        }
        expectServed(reply, what + reason + "; it");
    }
}
