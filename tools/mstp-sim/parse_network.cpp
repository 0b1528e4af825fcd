// The network's half of a scenario file: defaults, generator, bridges, hosts, links. Links are
// numbered once all are read: explicit port numbers first, the others take what is left.

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include "bpdu.h"
#include "generate.h"
#include "mstp/bit_list.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "parse.h"
#include "parser.h"
#include "rules.h"
#include "words.h"

namespace simtool {

static constexpr size_t LONGEST_FILE = 16U << 20;
static constexpr size_t MOST_ENDS = 256;

static bool isName(const std::string& text) {
    static constexpr size_t LONGEST = 32;
    return !text.empty() && text.size() <= LONGEST &&
           std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return (c < 0x80 && isalnum(c) != 0) || c == '_'; });
}

// ---- settings

// A later value takes the place of an earlier one.
static void put(std::vector<SetCommand>& settings, const SetCommand& command) {
    for (SetCommand& held : settings) {
        if (held.setting == command.setting && held.target.instance == command.target.instance) {
            held.value = command.value;
            return;
        }
    }
    settings.push_back(command);
}

// YAML's own words for truth mean the same.
static std::string settingText(const Setting& setting, const std::string& text) {
    if (setting.kind != Kind::OnOff) {
        return text;
    }
    return text == "true" || text == "yes" ? "on" : text == "false" || text == "no" ? "off" : text;
}

void Parser::readSetting(std::vector<SetCommand>& settings, const Target& target,
                         const std::string& name, const YAML::Node& value) {
    const Setting& setting = findSetting(target.object, name, Access::Write);
    const std::string text = readText(complaints, value);
    if (!value.IsScalar()) {
        return;
    }
    try {
        put(settings, {target, &setting, parseValue(setting, settingText(setting, text))});
    } catch (const Refused& reason) {
        complaints.add(value, reason.what());
    }
}

// Those that a plan can give; the others have fields of their own.
static std::vector<std::string> settingNames(Object object) {
    static const std::vector<std::string> OTHERS = {"mac", "vlans", "row-status", "stp"};
    std::vector<std::string> names;
    for (const Setting& setting : settings()) {
        if (setting.object == object && setting.settable() &&
            std::find(OTHERS.begin(), OTHERS.end(), setting.name) == OTHERS.end()) {
            names.emplace_back(setting.name);
        }
    }
    return names;
}

void Parser::readSettings(std::vector<SetCommand>& settings, Fields& fields, const Target& target) {
    const std::vector<std::string> names = settingNames(target.object);
    for (const auto& [key, value] : fields.rest()) {
        if (std::find(names.begin(), names.end(), key.Scalar()) != names.end()) {
            readSetting(settings, target, key.Scalar(), value);
        } else {
            fields.unknown(key, names);
        }
    }
}

// ---- bridges

// Locally administered, ascending: sw1 is the best of equals.
static std::vector<uint8_t> macOfNumber(uint64_t number) {
    return {
        0x02, 0x00, 0x00, 0x00, static_cast<uint8_t>(number >> 8), static_cast<uint8_t>(number)};
}

BridgePlan& Parser::addBridge(const std::string& name, const Place& place) {
    const auto found = m_bridges.find(name);
    if (found != m_bridges.end()) {
        return m_scenario.bridges[found->second];
    }
    m_bridges[name] = static_cast<uint32_t>(m_scenario.bridges.size());
    m_scenario.bridges.emplace_back();
    BridgePlan& bridge = m_scenario.bridges.back();
    bridge.name = name;
    bridge.mac = macOfNumber(m_scenario.bridges.size());
    bridge.place = place;
    readRegion(bridge, YAML::Node("sim"));
    if (m_bridgeDefaults.IsMap()) {
        readBridge(bridge, m_bridgeDefaults, true);
    }
    return bridge;
}

void Parser::readDefaults(const YAML::Node& node) {
    Fields fields(complaints, node, "defaults");
    m_bridgeDefaults.reset(fields.get("bridge"));
    if (m_bridgeDefaults.IsDefined()) {
        BridgePlan tried;
        readBridge(tried, m_bridgeDefaults, true);
        // The errors are told; they need not be told again for every bridge.
        if (!complaints.empty()) {
            m_bridgeDefaults.reset();
        }
    }
    Fields link(complaints, fields.get("link"), "a link's defaults");
    readLinkOptions(m_linkDefaults, link);
    link.finish();
    fields.finish();
}

void Parser::readBridges(const YAML::Node& node) {
    if (!node.IsDefined() || node.IsNull()) {
        return;
    }
    const auto one = [&](const YAML::Node& key, const YAML::Node& value) {
        const std::string name = readText(complaints, key);
        if (!isName(name)) {
            complaints.add(key, "a bridge's name has 1-32 letters, digits and _");
        } else if (m_scenario.bridges.size() >= MOST_BRIDGES) {
            complaints.add(key, "there are more than 4096 bridges");
        } else {
            BridgePlan& bridge = addBridge(name, Complaints::placeOf(key));
            bridge.place = Complaints::placeOf(key);
            readBridge(bridge, value, false);
        }
    };
    if (node.IsSequence()) {
        std::set<std::string> seen;
        for (const YAML::Node& name : node) {
            one(name, YAML::Node());
            if (name.IsScalar() && !seen.insert(name.Scalar()).second) {
                complaints.add(name, "\"" + name.Scalar() + "\" stands here twice");
            }
        }
        return;
    }
    Fields fields(complaints, node, "the bridges");
    for (const auto& [key, value] : fields.rest()) {
        one(key, value);
    }
}

void Parser::readBridge(BridgePlan& bridge, const YAML::Node& node, bool isDefault) {
    Fields fields(complaints, node, "a bridge");
    if (!isDefault) {
        if (const YAML::Node address = fields.get("address"); address.IsDefined()) {
            const auto mac = parseMac(readText(complaints, address));
            if (!mac || ((*mac)[0] & 1) != 0) {
                complaints.add(address, "an address like 02:00:00:00:00:01 of a station is "
                                        "expected here");
            }
            bridge.mac = mac.value_or(bridge.mac);
        }
        if (const YAML::Node ports = fields.get("ports"); ports.IsDefined()) {
            readPorts(bridge, ports);
        }
    }
    if (const YAML::Node start = fields.get("start"); start.IsDefined()) {
        bridge.starts = readText(complaints, start) != "never";
        bridge.start = bridge.starts ? readTime(complaints, start) : 0;
    }
    if (const YAML::Node ageing = fields.get("ageing"); ageing.IsDefined()) {
        bridge.ageingSeconds = static_cast<uint32_t>(readTime(complaints, ageing) / SECOND);
    }
    if (const YAML::Node queue = fields.get("receive-queue"); queue.IsDefined()) {
        bridge.receiveQueue = static_cast<uint32_t>(readNumber(complaints, queue, 1, 1000000, 256));
    }
    if (const YAML::Node region = fields.get("region"); region.IsDefined()) {
        readRegion(bridge, region);
    }
    if (const YAML::Node priority = fields.get("priority"); priority.IsDefined()) {
        readSetting(bridge.instances[0].settings, {Object::Instance, 0, ""}, "priority", priority);
    }
    if (const YAML::Node instances = fields.get("instances"); instances.IsDefined()) {
        readInstances(bridge, instances);
    }
    readSettings(bridge.settings, fields, {Object::Bridge, 0, ""});
    for (const SetCommand& command : bridge.settings) {
        if (command.target.object == Object::Bridge &&
            command.setting->attribute == MSTP_GEN_FORCEVERSION) {
            bridge.version = std::get<uint32_t>(command.value);
        }
    }
}

// Not the name alone: a bridge that keeps the defaults of the daemon has not started its trees.
void Parser::readRegion(BridgePlan& bridge, const YAML::Node& node) {
    const Target target = {Object::Region, 0, ""};
    if (node.IsScalar()) {
        readSetting(bridge.settings, target, "name", node);
        return;
    }
    Fields fields(complaints, node, "a region");
    readSettings(bridge.settings, fields, target);
}

static std::optional<uint32_t> keyNumber(Complaints& complaints, const YAML::Node& key,
                                         uint32_t least, uint32_t most, const char* what) {
    const auto number = parseNumber(key.Scalar());
    if (!number || *number < least || *number > most) {
        complaints.add(key, std::string(what) + " have the numbers " + std::to_string(least) + "-" +
                                std::to_string(most) + ", not \"" + key.Scalar() + "\"");
        return std::nullopt;
    }
    return number;
}

void Parser::readInstances(BridgePlan& bridge, const YAML::Node& node) {
    Fields all(complaints, node, "the instances");
    for (const auto& [key, value] : all.rest()) {
        const auto number = keyNumber(complaints, key, 0, HIGHEST_INSTANCE, "instances");
        if (!number) {
            continue;
        }
        InstancePlan& instance = bridge.instances[*number];
        YAML::Node vlans = value;
        if (!value.IsScalar()) {
            Fields fields(complaints, value, "an instance");
            vlans.reset(fields.get("vlans"));
            readSettings(instance.settings, fields, {Object::Instance, *number, ""});
        }
        if (!vlans.IsDefined() || vlans.IsNull()) {
            continue;
        }
        const auto list = parseVlans(readText(complaints, vlans));
        if (!list || *number == 0) {
            complaints.add(vlans, *number == 0
                                      ? "instance 0 has the VLANs that no other has"
                                      : "a VLAN list like 10-19,100 of VLANs 1-4094 is expected "
                                        "here");
        } else {
            instance.vlans = *list;
        }
    }
}

void Parser::readPorts(BridgePlan& bridge, const YAML::Node& node) {
    Fields all(complaints, node, "the ports");
    for (const auto& [key, value] : all.rest()) {
        const auto number = keyNumber(complaints, key, 1, MOST_PORTS, "ports");
        if (number) {
            readPort(bridge, *number, value);
        }
    }
}

void Parser::readPort(BridgePlan& bridge, uint32_t port, const YAML::Node& node) {
    std::vector<SetCommand>& settings = bridge.ports[port];
    const std::string interface = std::to_string(port);
    Fields fields(complaints, node, "a port");
    if (const YAML::Node stp = fields.get("stp"); stp.IsDefined()) {
        m_stp[{m_bridges[bridge.name], port}] = readSwitch(complaints, stp);
    }
    Fields instances(complaints, fields.get("instances"), "a port's instances");
    for (const auto& [key, value] : instances.rest()) {
        const auto number = keyNumber(complaints, key, 0, HIGHEST_INSTANCE, "instances");
        if (number) {
            Fields member(complaints, value, "a port in an instance");
            readSettings(settings, member, {Object::InstancePort, *number, interface});
        }
    }
    // The port's priority in the CIST, where people look for it.
    if (const YAML::Node priority = fields.get("priority"); priority.IsDefined()) {
        readSetting(settings, {Object::InstancePort, 0, interface}, "priority", priority);
    }
    readSettings(settings, fields, {Object::Port, 0, interface});
}

void Parser::readGenerator(const YAML::Node& node) {
    if (!node.IsDefined()) {
        return;
    }
    Fields fields(complaints, node, "the generator");
    Shape shape;
    bool good = true;
    if (const YAML::Node kind = fields.get("kind"); kind.IsDefined()) {
        shape.kind = shapeKinds()[readWord(complaints, kind, shapeKinds())];
    } else {
        complaints.add(node, "the generator needs a kind: " + joined(shapeKinds()));
        good = false;
    }
    const auto number = [&](const char* name, uint32_t& value) {
        if (const YAML::Node field = fields.get(name); field.IsDefined()) {
            value = static_cast<uint32_t>(readNumber(complaints, field, 1, MOST_BRIDGES, value));
        }
    };
    number("bridges", shape.bridges);
    number("rows", shape.rows);
    number("columns", shape.columns);
    number("pods", shape.pods);
    number("degree", shape.degree);
    number("regions", shape.regions);
    shape.seed = m_scenario.seed;
    if (const YAML::Node seed = fields.get("seed"); seed.IsDefined()) {
        shape.seed = readNumber(complaints, seed, 0, UINT64_MAX / 2, 1);
    }
    fields.finish();
    const std::string wrong = checkShape(shape);
    if (!good || !wrong.empty()) {
        if (good) {
            complaints.add(node, wrong);
        }
        return;
    }
    const Place place = Complaints::placeOf(node);
    const GeneratedNetwork network = generate(shape);
    for (const ShapeBridge& bridge : network.bridges) {
        BridgePlan& plan = addBridge(bridge.name, place);
        if (!bridge.region.empty()) {
            readRegion(plan, YAML::Node(bridge.region));
        }
    }
    for (const auto& [a, b] : network.links) {
        m_scenario.links.push_back(
            {"", {{a, false, 0}, {b, false, 0}}, m_linkDefaults, true, place});
    }
}

// ---- hosts and links

void Parser::readLinkOptions(sim::LinkOptions& options, Fields& fields) {
    if (const YAML::Node field = fields.get("speed"); field.IsDefined()) {
        options.speed = static_cast<uint32_t>(readSpeed(complaints, field) / 1000);
    }
    if (const YAML::Node field = fields.get("bandwidth"); field.IsDefined()) {
        options.bandwidth = readSpeed(complaints, field);
    }
    if (const YAML::Node field = fields.get("delay"); field.IsDefined()) {
        options.delay = readTime(complaints, field);
    }
    if (const YAML::Node field = fields.get("jitter"); field.IsDefined()) {
        options.jitter = readTime(complaints, field);
    }
    if (const YAML::Node field = fields.get("loss"); field.IsDefined()) {
        options.loss = readShare(complaints, field);
    }
    if (const YAML::Node field = fields.get("duplication"); field.IsDefined()) {
        options.duplication = readShare(complaints, field);
    }
    if (const YAML::Node field = fields.get("queue"); field.IsDefined()) {
        options.queueBytes =
            static_cast<uint32_t>(readNumber(complaints, field, 64, 1U << 30, 1U << 19));
    }
}

void Parser::readHosts(const YAML::Node& node) {
    Fields fields(complaints, node, "the hosts");
    for (const auto& [key, value] : fields.rest()) {
        const std::string& name = key.Scalar();
        if (!isName(name) || m_bridges.count(name) != 0) {
            complaints.add(key, isName(name) ? "there is a bridge \"" + name + "\" already"
                                             : "a host's name has 1-32 letters, digits and _");
            continue;
        }
        readHost(name, key, value);
    }
}

void Parser::readHost(const std::string& name, const YAML::Node& place, const YAML::Node& node) {
    const auto number = static_cast<uint32_t>(m_scenario.hosts.size());
    m_hosts[name] = number;
    m_scenario.hosts.push_back({name, true});
    YAML::Node at = node;
    LinkPlan link;
    link.options = m_linkDefaults;
    link.place = Complaints::placeOf(place);
    if (!node.IsScalar()) {
        Fields fields(complaints, node, "a host");
        at.reset(fields.get("at"));
        if (const YAML::Node edge = fields.get("edge"); edge.IsDefined()) {
            m_scenario.hosts.back().edge = readSwitch(complaints, edge);
        }
        readLinkOptions(link.options, fields);
        fields.finish();
    }
    // A host without a place is plugged in by a link or a hub.
    if (!at.IsDefined() || at.IsNull()) {
        return;
    }
    if (const auto end = endOf(at, readText(complaints, at))) {
        link.ends = {*end, {number, true, 0}};
        m_hostLinks.push_back(link);
    }
}

void Parser::readLinks(const YAML::Node& node) {
    if (!node.IsDefined() || node.IsNull()) {
        return;
    }
    if (!node.IsSequence()) {
        complaints.add(node, "the links are a list");
        return;
    }
    for (const YAML::Node& link : node) {
        if (m_scenario.links.size() >= MOST_LINKS) {
            complaints.add(link, "there are more than 65536 links");
            return;
        }
        readLink(link);
    }
}

void Parser::readLink(const YAML::Node& node) {
    LinkPlan link;
    link.options = m_linkDefaults;
    link.place = Complaints::placeOf(node);
    const auto addEnd = [&](const YAML::Node& place, const std::string& text) {
        if (const auto end = endOf(place, text)) {
            link.ends.push_back(*end);
        }
    };
    const auto addPair = [&](const YAML::Node& place, const std::string& text) {
        const size_t dash = text.find('-');
        if (dash == std::string::npos) {
            complaints.add(place,
                           "a link is written like sw1-sw2 or sw1.1-sw2.3, not \"" + text + "\"");
            return;
        }
        addEnd(place, text.substr(0, dash));
        addEnd(place, text.substr(dash + 1));
    };
    size_t expected = 2;
    if (node.IsScalar()) {
        addPair(node, node.Scalar());
    } else {
        Fields fields(complaints, node, "a link");
        const YAML::Node between = fields.get("between");
        const YAML::Node hub = fields.get("hub");
        if (between.IsScalar()) {
            addPair(between, between.Scalar());
        } else if (hub.IsSequence() && hub.size() <= MOST_ENDS) {
            expected = hub.size();
            eachOf(hub, [&](const YAML::Node& end) { addEnd(end, readText(complaints, end)); });
        } else {
            complaints.add(node, "a link needs between: sw1-sw2, or hub: [sw1, sw2, sw3]");
            fields.rest();
            return;
        }
        if (const YAML::Node name = fields.get("name"); name.IsDefined()) {
            link.name = readText(complaints, name);
            if (!isName(link.name)) {
                complaints.add(name, "a link's name has 1-32 letters, digits and _");
            }
        }
        if (const YAML::Node up = fields.get("up"); up.IsDefined()) {
            link.up = readSwitch(complaints, up);
        }
        readLinkOptions(link.options, fields);
        fields.finish();
    }
    if (link.ends.size() == expected) {
        m_scenario.links.push_back(link);
    }
}

// ---- once all is read

static void setUnlessSet(std::vector<SetCommand>& settings, const Target& target, const char* name,
                         const char* value) {
    const Setting& setting = findSetting(target.object, name, Access::Write);
    const auto isSame = [&](const SetCommand& command) {
        return command.setting == &setting && command.target.object == target.object;
    };
    if (std::none_of(settings.begin(), settings.end(), isSame)) {
        settings.push_back({target, &setting, parseValue(setting, value)});
    }
}

void Parser::givePorts() {
    std::vector<std::set<uint32_t>> taken(m_scenario.bridges.size());
    for (const LinkPlan& link : m_scenario.links) {
        for (const End& end : link.ends) {
            if (end.host || end.port == 0) {
                continue;
            }
            if (!taken[end.owner].insert(end.port).second) {
                complaints.add(link.place, endName(m_scenario, end) + " has two links");
            }
        }
    }
    std::vector<bool> plugged(m_scenario.hosts.size());
    for (LinkPlan& link : m_scenario.links) {
        const bool toHost = std::any_of(link.ends.begin(), link.ends.end(),
                                        [](const End& end) { return end.host; });
        for (End& end : link.ends) {
            if (end.host) {
                if (plugged[end.owner]) {
                    complaints.add(link.place, m_scenario.hosts[end.owner].name + " has two links");
                }
                plugged[end.owner] = true;
                continue;
            }
            BridgePlan& bridge = m_scenario.bridges[end.owner];
            std::set<uint32_t>& used = taken[end.owner];
            for (uint32_t port = 1; end.port == 0; port++) {
                end.port = used.insert(port).second ? port : 0;
            }
            if (end.port > MOST_PORTS) {
                complaints.add(link.place, bridge.name + " has more than 1024 ports");
                return;
            }
            std::vector<SetCommand>& settings = bridge.ports[end.port];
            const Target target = {Object::Port, 0, std::to_string(end.port)};
            if (toHost && link.ends.size() == 2 && m_scenario.hosts[link.ends[1].owner].edge) {
                setUnlessSet(settings, target, "edge", "on");
            }
            // With several neighbours the handshakes of a link between two would not end.
            if (link.ends.size() > 2) {
                setUnlessSet(settings, target, "point-to-point", "off");
            }
        }
    }
    for (uint32_t b = 0; b < m_scenario.bridges.size(); b++) {
        BridgePlan& bridge = m_scenario.bridges[b];
        for (const auto& [port, settings] : bridge.ports) {
            if (taken[b].count(port) == 0) {
                complaints.add(bridge.place, "port " + std::to_string(port) + " of " + bridge.name +
                                                 " has settings but no link");
            }
        }
        for (const auto& [port, on] : m_stp) {
            if (port.first == b && !on) {
                bridge.ports.erase(port.second);
            }
        }
    }
}

// A link between two is called by their names, unless there are more of it.
void Parser::nameLinks() {
    std::map<std::string, uint32_t> pairs;
    const auto pairName = [&](const LinkPlan& link) {
        std::vector<std::string> names;
        for (const End& end : link.ends) {
            names.push_back(end.host ? m_scenario.hosts[end.owner].name
                                     : m_scenario.bridges[end.owner].name);
        }
        return joined(names, "-");
    };
    const auto sorted = [](const LinkPlan& link) {
        std::vector<std::string> owners;
        for (const End& end : link.ends) {
            owners.push_back((end.host ? "h" : "b") + std::to_string(end.owner));
        }
        std::sort(owners.begin(), owners.end());
        return joined(owners, "-");
    };
    for (const LinkPlan& link : m_scenario.links) {
        pairs[sorted(link)]++;
    }
    std::set<std::string> names;
    for (LinkPlan& link : m_scenario.links) {
        if (link.name.empty()) {
            std::vector<std::string> ends;
            for (const End& end : link.ends) {
                ends.push_back(endName(m_scenario, end));
            }
            link.name = pairs[sorted(link)] == 1 ? pairName(link) : joined(ends, "-");
        }
        if (!names.insert(link.name).second) {
            complaints.add(link.place, "there are two links \"" + link.name + "\"");
        }
    }
}

// What the rules of the daemon would refuse.
void Parser::checkBridges() {
    std::map<std::vector<uint8_t>, std::string> owners;
    for (const BridgePlan& bridge : m_scenario.bridges) {
        const auto [other, fresh] = owners.emplace(bridge.mac, bridge.name);
        if (!fresh) {
            complaints.add(bridge.place,
                           bridge.name + " and " + other->second + " have the same address");
        }
        BridgeTimes times = {20, 2, 15};
        for (const SetCommand& command : bridge.settings) {
            times.take(command);
        }
        if (const std::string rule = times.brokenRule(); !rule.empty()) {
            complaints.add(bridge.place, bridge.name + ": " + rule);
        }
        std::vector<uint8_t> all(MSTP_VLAN_LIST_SIZE);
        for (const auto& [instance, plan] : bridge.instances) {
            for (size_t i = 0; i < plan.vlans.size() && i < all.size(); i++) {
                if ((all[i] & plan.vlans[i]) != 0) {
                    complaints.add(bridge.place, bridge.name + ": instance " +
                                                     std::to_string(instance) +
                                                     " has VLANs that another has too");
                    break;
                }
                all[i] |= plan.vlans[i];
            }
        }
    }
}

// ---- references

std::vector<std::string> Parser::bridgeNames() const {
    std::vector<std::string> names;
    for (const BridgePlan& bridge : m_scenario.bridges) {
        names.push_back(bridge.name);
    }
    return names;
}

static std::string hint(const std::string& name, const std::vector<std::string>& known) {
    const std::string meant = nearest(name, known);
    return meant.empty() ? "" : "; did you mean \"" + meant + "\"?";
}

std::optional<uint32_t> Parser::bridgeOf(const YAML::Node& node, const std::string& name) {
    const auto found = m_bridges.find(name);
    if (found != m_bridges.end()) {
        return found->second;
    }
    complaints.add(node, "there is no bridge \"" + name + "\"" + hint(name, bridgeNames()));
    return std::nullopt;
}

std::optional<uint32_t> Parser::hostOf(const YAML::Node& node, const std::string& name) {
    const auto found = m_hosts.find(name);
    if (found != m_hosts.end()) {
        return found->second;
    }
    std::vector<std::string> known;
    for (const HostPlan& host : m_scenario.hosts) {
        known.push_back(host.name);
    }
    complaints.add(node, "there is no host \"" + name + "\"" + hint(name, known));
    return std::nullopt;
}

std::optional<End> Parser::endOf(const YAML::Node& node, const std::string& text) {
    const auto host = m_hosts.find(text);
    if (host != m_hosts.end()) {
        return End{host->second, true, 0};
    }
    const size_t point = text.find('.');
    const auto bridge = bridgeOf(node, text.substr(0, point));
    if (!bridge) {
        return std::nullopt;
    }
    if (point == std::string::npos) {
        return End{*bridge, false, 0};
    }
    const auto port = parseNumber(text.substr(point + 1));
    if (!port || *port == 0 || *port > MOST_PORTS) {
        complaints.add(node,
                       "ports have the numbers 1-1024, not \"" + text.substr(point + 1) + "\"");
        return std::nullopt;
    }
    return End{*bridge, false, *port};
}

void Parser::expectAPort(const YAML::Node& node, uint32_t bridge, uint32_t port) {
    for (const LinkPlan& link : m_scenario.links) {
        for (const End& end : link.ends) {
            if (!end.host && end.owner == bridge && end.port == port) {
                return;
            }
        }
    }
    complaints.add(node, m_scenario.bridges[bridge].name + " has no port " + std::to_string(port) +
                             ": nothing is plugged in there");
}

static bool matches(const Scenario& scenario, const LinkPlan& link, const std::string& text) {
    const size_t dash = text.find('-');
    if (link.name == text) {
        return true;
    }
    if (dash == std::string::npos || link.ends.size() != 2) {
        return false;
    }
    const auto is = [&](const End& end, const std::string& name) {
        const std::string owner =
            end.host ? scenario.hosts[end.owner].name : scenario.bridges[end.owner].name;
        return name == owner || name == endName(scenario, end);
    };
    const std::string a = text.substr(0, dash);
    const std::string b = text.substr(dash + 1);
    return (is(link.ends[0], a) && is(link.ends[1], b)) ||
           (is(link.ends[0], b) && is(link.ends[1], a));
}

std::optional<uint32_t> Parser::linkOf(const YAML::Node& node, const std::string& text) {
    std::vector<uint32_t> found;
    std::vector<std::string> names;
    std::vector<std::string> known;
    for (uint32_t i = 0; i < m_scenario.links.size(); i++) {
        const LinkPlan& link = m_scenario.links[i];
        known.push_back(link.name);
        if (matches(m_scenario, link, text)) {
            found.push_back(i);
            names.push_back(link.name);
        }
    }
    if (found.size() == 1) {
        return found[0];
    }
    complaints.add(node, found.empty()
                             ? "there is no link \"" + text + "\"" + hint(text, known)
                             : "several links are meant by \"" + text + "\": " + joined(names));
    return std::nullopt;
}

std::optional<std::pair<uint32_t, uint32_t>> Parser::plugOf(const YAML::Node& node,
                                                            const std::string& text) {
    const auto wanted = endOf(node, text);
    if (!wanted) {
        return std::nullopt;
    }
    for (uint32_t i = 0; i < m_scenario.links.size(); i++) {
        const LinkPlan& link = m_scenario.links[i];
        for (uint32_t e = 0; e < link.ends.size(); e++) {
            const End& end = link.ends[e];
            if (end.host == wanted->host && end.owner == wanted->owner &&
                (end.host || end.port == wanted->port)) {
                return std::pair(i, e);
            }
        }
    }
    complaints.add(node, "\"" + text + "\" is no end of a link; write it like sw1.2");
    return std::nullopt;
}

void eachOf(const YAML::Node& node, const std::function<void(const YAML::Node&)>& each) {
    if (!node.IsSequence()) {
        each(node);
        return;
    }
    for (const YAML::Node& element : node) {
        each(element);
    }
}

// ---- the whole

void Parser::parse(const YAML::Node& root) {
    Fields fields(complaints, root, "a scenario");
    if (!root.IsMap()) {
        complaints.add({1, 1}, "a scenario is a mapping with bridges, links and events");
        return;
    }
    if (const YAML::Node name = fields.get("name"); name.IsDefined()) {
        m_scenario.name = readText(complaints, name);
    }
    if (const YAML::Node description = fields.get("description"); description.IsDefined()) {
        readText(complaints, description);
    }
    if (const YAML::Node seed = fields.get("seed"); seed.IsDefined()) {
        m_scenario.seed = readNumber(complaints, seed, 0, UINT64_MAX / 2, 1);
    }
    readDefaults(fields.get("defaults"));
    readGenerator(fields.get("generate"));
    readBridges(fields.get("bridges"));
    if (m_scenario.bridges.empty() && complaints.empty()) {
        complaints.add(root, "a scenario needs bridges: or generate:");
    }
    readHosts(fields.get("hosts"));
    readLinks(fields.get("links"));
    m_scenario.links.insert(m_scenario.links.end(), m_hostLinks.begin(), m_hostLinks.end());
    givePorts();
    nameLinks();
    checkBridges();
    readEvents(fields.get("events"));
    static constexpr Microseconds AFTERMATH = 60 * SECOND;
    Microseconds last = 0;
    for (const Event& event : m_scenario.events) {
        last = std::max(last, event.at);
    }
    m_scenario.duration = last + AFTERMATH;
    if (const YAML::Node duration = fields.get("duration"); duration.IsDefined()) {
        m_scenario.duration = readTime(complaints, duration);
        for (const Event& event : m_scenario.events) {
            if (event.at > m_scenario.duration) {
                complaints.add(event.place, "this comes after the end of the run");
            }
        }
    }
    m_at = m_scenario.duration;
    readExpectations(fields.get("expect"));
    std::stable_sort(m_scenario.events.begin(), m_scenario.events.end(),
                     [](const Event& a, const Event& b) { return a.at < b.at; });
    fields.finish();
}

// A tab before a line's first word is what beginners trip over, and YAML's own words for it tell
// nothing.
static Complaint complaintOf(const YAML::Exception& error, const std::string& text) {
    if (error.mark.line < 0) {
        return {{}, error.msg};
    }
    const auto number = static_cast<uint32_t>(error.mark.line) + 1;
    std::istringstream lines(text);
    std::string line;
    for (uint32_t i = 0; i < number; i++) {
        std::getline(lines, line);
    }
    const size_t tab = line.substr(0, line.find_first_not_of(" \t")).find('\t');
    if (tab != std::string::npos) {
        return {{number, static_cast<uint32_t>(tab) + 1},
                "a line is indented with blanks, not with tabs"};
    }
    return {{number, static_cast<uint32_t>(error.mark.column) + 1}, error.msg};
}

Scenario parseScenario(const std::string& text, const std::string& file) {
    Scenario scenario;
    scenario.file = file;
    scenario.name = file;
    Parser parser(scenario);
    try {
        parser.parse(YAML::Load(text));
    } catch (const YAML::Exception& error) {
        const Complaint complaint = complaintOf(error, text);
        parser.complaints.add(complaint.place, complaint.text);
    }
    if (!parser.complaints.empty()) {
        throw BadInput(parser.complaints.text(file));
    }
    return scenario;
}

Scenario readScenario(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string text(LONGEST_FILE + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    if (!stream.is_open() || stream.bad() || (text.empty() && !stream.eof())) {
        throw BadInput(file + ": the file cannot be read\n");
    }
    if (text.size() > LONGEST_FILE) {
        throw BadInput(file + ": the file is longer than 16 MB\n");
    }
    return parseScenario(text, file);
}

} // namespace simtool
