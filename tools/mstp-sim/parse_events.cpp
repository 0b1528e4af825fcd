// The events' half of a scenario file: what happens, and what is expected.

#include <algorithm>
#include <sstream>

#include "bpdu.h"
#include "mstp/enums.h"
#include "parser.h"
#include "words.h"

namespace simtool {

static constexpr uint32_t HIGHEST_VLAN = 4094;
static constexpr uint32_t LONGEST_FRAME = 1514;
static constexpr uint64_t MOST_REPEATS = 1'000'000;

std::string flowText(const YAML::Node& node) {
    std::string text;
    if (node.IsSequence()) {
        for (const YAML::Node& element : node) {
            text += (text.empty() ? "" : ", ") + flowText(element);
        }
        return "[" + text + "]";
    }
    if (node.IsMap()) {
        for (const auto& field : node) {
            text +=
                (text.empty() ? "" : ", ") + flowText(field.first) + ": " + flowText(field.second);
        }
        return "{" + text + "}";
    }
    return node.IsScalar() ? node.Scalar() : "";
}

static std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

void Parser::add(const YAML::Node& node, const std::string& text, Action action) {
    m_scenario.events.push_back({m_at, std::move(action), text, Complaints::placeOf(node)});
}

// ---- events

void Parser::readEvents(const YAML::Node& node) {
    if (!node.IsDefined() || node.IsNull()) {
        return;
    }
    if (!node.IsSequence()) {
        complaints.add(node, "the events are a list");
        return;
    }
    for (const YAML::Node& event : node) {
        readEvent(event);
    }
}

void Parser::readEvent(const YAML::Node& node) {
    static const std::vector<std::string> ACTIONS = {
        "cut",   "mend",    "unplug", "plug", "mute", "unmute", "impair", "crash",
        "start", "restart", "hang",   "set",  "mstp", "send",   "inject", "expect"};
    Fields fields(complaints, node, "an event");
    const YAML::Node at = fields.get("at");
    if (!at.IsDefined()) {
        complaints.add(node, "an event needs a time: at: 30s, or +5s after the one before");
    } else if (const std::string text = readText(complaints, at); !text.empty()) {
        const bool relative = text[0] == '+';
        const auto time = parseTime(text.substr(relative ? 1 : 0));
        if (!time) {
            complaints.add(at, "a time like 30s, 1.5ms, 2min or +5s is expected here, not \"" +
                                   text + "\"");
        }
        m_at = time.value_or(0) + (relative ? m_at : 0);
    }
    uint32_t actions = 0;
    for (const std::string& name : ACTIONS) {
        const YAML::Node value = fields.get(name);
        if (value.IsDefined()) {
            actions += 1;
            readAction(fields, name, value);
        }
    }
    if (actions == 0 && node.IsMap()) {
        complaints.add(node, "an event does one of " + joined(ACTIONS));
    }
    fields.finish();
}

bool Parser::readAction(Fields& /*fields*/, const std::string& name, const YAML::Node& value) {
    const auto links = [&](bool up) {
        eachOf(value, [&](const YAML::Node& one) {
            if (const auto link = linkOf(one, readText(complaints, one))) {
                add(one, name + " " + m_scenario.links[*link].name, SetLink{*link, up});
            }
        });
    };
    const auto ends = [&](const auto& make) {
        eachOf(value, [&](const YAML::Node& one) {
            if (const auto plug = plugOf(one, readText(complaints, one))) {
                add(one, name + " " + one.Scalar(), make(plug->first, plug->second));
            }
        });
    };
    const auto lives = [&](Life life) {
        eachOf(value, [&](const YAML::Node& one) {
            if (const auto bridge = bridgeOf(one, readText(complaints, one))) {
                add(one, name + " " + one.Scalar(), SetLife{*bridge, life});
            }
        });
    };
    if (name == "cut" || name == "mend") {
        links(name == "mend");
    } else if (name == "unplug" || name == "plug") {
        ends([&](uint32_t link, uint32_t end) { return SetEnd{link, end, name == "plug"}; });
    } else if (name == "mute" || name == "unmute") {
        ends([&](uint32_t link, uint32_t end) { return SetSending{link, end, name == "unmute"}; });
    } else if (name == "crash" || name == "start" || name == "restart") {
        lives(name == "crash" ? Life::Crash : name == "start" ? Life::Start : Life::Restart);
    } else if (name == "set" || name == "mstp") {
        eachOf(value, [&](const YAML::Node& one) { readCommand(one, name == "set" ? "set" : ""); });
    } else if (name == "impair") {
        readImpair(value);
    } else if (name == "hang") {
        readHang(value);
    } else if (name == "send") {
        eachOf(value, [&](const YAML::Node& one) { readSend(one); });
    } else if (name == "inject") {
        eachOf(value, [&](const YAML::Node& one) { readInject(one); });
    } else {
        readExpectations(value);
    }
    return true;
}

void Parser::readHang(const YAML::Node& node) {
    Fields fields(complaints, node, "a hang");
    const YAML::Node name = fields.get("bridge");
    const YAML::Node length = fields.get("for");
    fields.finish();
    if (!name.IsDefined() || !length.IsDefined()) {
        complaints.add(node, "a hang is written {bridge: sw1, for: 5s}");
        return;
    }
    const Microseconds time = readTime(complaints, length);
    if (const auto bridge = bridgeOf(name, readText(complaints, name))) {
        add(node, "hang " + name.Scalar() + " for " + timeText(time), Hang{*bridge, time});
    }
}

// What is not named stays as the link was made.
void Parser::readImpair(const YAML::Node& node) {
    Fields fields(complaints, node, "an impairment");
    const YAML::Node name = fields.get("link");
    if (!name.IsDefined()) {
        complaints.add(node, "an impairment is written {link: sw1-sw2, loss: 1%}");
        return;
    }
    const auto link = linkOf(name, readText(complaints, name));
    sim::LinkOptions options = link ? m_scenario.links[*link].options : sim::LinkOptions{};
    readLinkOptions(options, fields);
    fields.finish();
    if (link) {
        add(node, "impair " + flowText(node), Impair{*link, options});
    }
}

// "sw1 instance 1 priority 4096": the bridge, then what the client's command line takes.
void Parser::readCommand(const YAML::Node& node, const char* prefix) {
    const std::string text = readText(complaints, node);
    std::vector<std::string> words = wordsOf(text);
    if (words.empty()) {
        complaints.add(node, "a command is written like: sw1 instance 1 priority 4096");
        return;
    }
    const auto bridge = bridgeOf(node, words[0]);
    words.erase(words.begin());
    if (*prefix != '\0') {
        words.insert(words.begin(), prefix);
    }
    if (!bridge || words.empty()) {
        return;
    }
    static const std::vector<std::string> COMMANDS = {"set", "port", "instance"};
    if (std::find(COMMANDS.begin(), COMMANDS.end(), words[0]) == COMMANDS.end()) {
        complaints.add(node, "the commands are: set, port, instance; not \"" + words[0] + "\"");
        return;
    }
    try {
        const Command command = parseCommand(words);
        const std::string interface = std::visit(
            [](const auto& c) -> std::string {
                if constexpr (requires { c.interface; }) {
                    return c.interface;
                } else if constexpr (requires { c.target.interface; }) {
                    return c.target.interface;
                } else {
                    return "";
                }
            },
            command);
        const uint32_t port = parseNumber(interface).value_or(0);
        if (!interface.empty() && (port == 0 || port > MOST_PORTS)) {
            complaints.add(node, "ports have the numbers 1-1024, not \"" + interface + "\"");
            return;
        }
        add(node, m_scenario.bridges[*bridge].name + ": " + joined(words, " "),
            Configure{*bridge, command});
    } catch (const std::runtime_error& reason) {
        complaints.add(node, reason.what());
    }
}

Repeat Parser::readRepeat(Fields& fields) {
    Repeat repeat;
    const YAML::Node every = fields.get("every");
    const YAML::Node length = fields.get("for");
    if (!every.IsDefined() && !length.IsDefined()) {
        return repeat;
    }
    if (!every.IsDefined() || !length.IsDefined()) {
        complaints.add(fields.node(), "every: and for: belong together");
        return repeat;
    }
    repeat = {readTime(complaints, every), readTime(complaints, length)};
    if (repeat.every == 0 || repeat.length / repeat.every > MOST_REPEATS) {
        complaints.add(every, "this would be more than a million times");
        return {};
    }
    return repeat;
}

void Parser::readSend(const YAML::Node& node) {
    Fields fields(complaints, node, "a test frame");
    const YAML::Node from = fields.get("from");
    const YAML::Node to = fields.get("to");
    Send send = {0, sim::EVERYBODY, 1, {}};
    if (const YAML::Node vlan = fields.get("vlan"); vlan.IsDefined()) {
        send.vlan = static_cast<uint32_t>(readNumber(complaints, vlan, 1, HIGHEST_VLAN, 1));
    }
    send.repeat = readRepeat(fields);
    fields.finish();
    if (!from.IsDefined()) {
        complaints.add(node, "a test frame is written {from: h1, to: h2, vlan: 10}");
        return;
    }
    const auto source = hostOf(from, readText(complaints, from));
    send.from = source.value_or(0);
    if (to.IsDefined() && readText(complaints, to) != "everybody") {
        const auto target = hostOf(to, to.Scalar());
        if (!target) {
            return;
        }
        send.to = *target;
    }
    if (source) {
        add(node, "send " + flowText(node), send);
    }
}

// ---- BPDUs

// A bridge's name may stand for its address, with or without a priority before it.
std::string Parser::bridgeIdText(const std::string& text, bool compose) {
    const size_t point = text.find('.');
    const std::string name = point == std::string::npos ? text : text.substr(point + 1);
    const auto found = m_bridges.find(name);
    if (found != m_bridges.end()) {
        const std::string priority = point != std::string::npos ? text.substr(0, point)
                                     : compose                  ? "32768"
                                                                : "*";
        return priority + "." + macText(m_scenario.bridges[found->second].mac.data());
    }
    const auto mac = parseMac(name);
    return mac && point != std::string::npos ? text.substr(0, point) + "." + macText(mac->data())
                                             : text;
}

void Parser::readBpduField(std::map<std::string, std::string>& result, const std::string& name,
                           const YAML::Node& key, const YAML::Node& value, bool compose) {
    std::string text = readText(complaints, value);
    if (isBridgeIdField(name)) {
        text = bridgeIdText(text, compose);
    }
    if (text == "true" || text == "yes") {
        text = "on";
    } else if (text == "false" || text == "no") {
        text = "off";
    }
    const std::string wrong = checkBpduField(name, text, compose);
    if (wrong.rfind("a BPDU has no field", 0) == 0) {
        const std::string meant = nearest(name, bpduFieldNames());
        complaints.add(key, wrong + (meant.empty() ? "" : "; did you mean \"" + meant + "\"?") +
                                " (known: " + joined(bpduFieldNames()) + ", msti)");
    } else if (!wrong.empty()) {
        complaints.add(value, wrong);
    }
    result[name] = text;
}

std::map<std::string, std::string> Parser::readBpduFields(Fields& fields, bool compose) {
    std::map<std::string, std::string> result;
    Fields mstis(complaints, fields.get("msti"), "the MSTIs' messages");
    for (const auto& [number, message] : mstis.rest()) {
        Fields own(complaints, message, "an MSTI's message");
        const auto all = own.rest();
        const std::string prefix = "msti." + number.Scalar() + ".";
        if (all.empty()) {
            result[prefix + "role"] = "designated";
        }
        for (const auto& [key, value] : all) {
            readBpduField(result, prefix + key.Scalar(), key, value, compose);
        }
    }
    for (const auto& [key, value] : fields.rest()) {
        readBpduField(result, key.Scalar(), key, value, compose);
    }
    return result;
}

void Parser::readInject(const YAML::Node& node) {
    Fields fields(complaints, node, "an injected BPDU");
    const YAML::Node from = fields.get("from");
    Inject inject = {};
    bool good = from.IsDefined();
    if (!good) {
        complaints.add(node, "an injected BPDU needs the end that sends it: from: h1 or sw2.1");
    } else if (const auto plug = plugOf(from, readText(complaints, from))) {
        inject.link = plug->first;
        inject.end = plug->second;
    } else {
        good = false;
    }
    inject.repeat = readRepeat(fields);
    if (const YAML::Node raw = fields.get("raw"); raw.IsDefined()) {
        const auto bytes = parseHex(readText(complaints, raw));
        if (!bytes || bytes->empty() || bytes->size() > LONGEST_FRAME) {
            complaints.add(raw, "a frame of 1-1514 bytes in hexadecimal is expected here");
        }
        inject.raw = bytes.value_or(Bytes{});
    }
    if (const YAML::Node length = fields.get("length"); length.IsDefined()) {
        inject.length = static_cast<uint32_t>(readNumber(complaints, length, 0, 1497, 0));
    }
    if (const YAML::Node region = fields.get("region-of"); region.IsDefined()) {
        inject.regionOf = bridgeOf(region, readText(complaints, region));
    }
    Fields bytes(complaints, fields.get("bytes"), "the bytes");
    for (const auto& [key, value] : bytes.rest()) {
        const auto offset = parseNumber(key.Scalar());
        if (!offset || *offset > 1496) {
            complaints.add(key, "the offset of a byte in the BPDU is expected here");
            continue;
        }
        const auto byte = parseNumber(readText(complaints, value));
        if (!byte || *byte > 255) {
            complaints.add(value, "a byte like 255 or 0xff is expected here");
        }
        inject.bytes[*offset] = static_cast<uint8_t>(byte.value_or(0));
    }
    inject.fields = readBpduFields(fields, true);
    if (good) {
        add(node, "inject " + flowText(node), std::move(inject));
    }
}

// ---- expectations

void Parser::readExpectations(const YAML::Node& node) {
    if (!node.IsDefined() || node.IsNull()) {
        return;
    }
    eachOf(node, [&](const YAML::Node& one) { readExpectation(one); });
}

void Parser::readExpectation(const YAML::Node& node) {
    Fields fields(complaints, node, "an expectation");
    const Microseconds before = m_at;
    if (const YAML::Node at = fields.get("at"); at.IsDefined()) {
        m_at = readTime(complaints, at);
        if (m_scenario.duration != 0 && m_at > m_scenario.duration) {
            complaints.add(at, "this comes after the end of the run");
        }
    }
    const auto expectation = expectationOf(fields);
    fields.finish();
    if (expectation) {
        add(node, "expect " + flowText(node), Expect{*expectation, flowText(node)});
    }
    m_at = before;
}

static const struct {
    const char* name;
    Counter counter;
} COUNTERS[] = {{"bpdus", Counter::Bpdus},           {"lost", Counter::Lost},
                {"duplicated", Counter::Duplicated}, {"looped", Counter::Looped},
                {"delivered", Counter::Delivered},   {"flushes", Counter::Flushes},
                {"addresses", Counter::Addresses},   {"roles", Counter::Roles},
                {"states", Counter::States}};

std::optional<Expectation> Parser::expectationOf(Fields& fields) {
    if (const YAML::Node node = fields.get("port"); node.IsDefined()) {
        return expectPort(fields, node);
    }
    if (const YAML::Node node = fields.get("root"); node.IsDefined()) {
        return expectRoot(fields, node);
    }
    if (const YAML::Node node = fields.get("settled"); node.IsDefined()) {
        return ExpectSettled{readTime(complaints, node)};
    }
    if (const YAML::Node node = fields.get("frame"); node.IsDefined()) {
        return expectFrame(fields, node);
    }
    if (const YAML::Node node = fields.get("get"); node.IsDefined()) {
        return expectValue(fields, node);
    }
    if (const YAML::Node node = fields.get("path"); node.IsDefined()) {
        return expectPath(fields, node);
    }
    for (const auto& known : COUNTERS) {
        if (const YAML::Node node = fields.get(known.name); node.IsDefined()) {
            return expectCount(fields, node, known.counter);
        }
    }
    if (fields.node().IsMap()) {
        complaints.add(fields.node(),
                       "an expectation is one of port, root, settled, frame, get, path, bpdus, "
                       "lost, duplicated, looped, delivered, flushes, addresses, roles, states");
    }
    fields.rest();
    return std::nullopt;
}

uint32_t Parser::readInstance(Fields& fields) {
    const YAML::Node node = fields.get("instance");
    return node.IsDefined()
               ? static_cast<uint32_t>(readNumber(complaints, node, 0, HIGHEST_INSTANCE, 0))
               : 0;
}

std::optional<Expectation> Parser::expectPort(Fields& fields, const YAML::Node& node) {
    static const std::vector<std::string> ROLES = {"none", "disabled",   "alternate", "backup",
                                                   "root", "designated", "master"};
    static const std::vector<std::string> STATES = {"disabled", "discarding", "learning",
                                                    "forwarding"};
    const auto end = endOf(node, readText(complaints, node));
    ExpectPort expect = {};
    expect.instance = readInstance(fields);
    if (const YAML::Node role = fields.get("role"); role.IsDefined()) {
        expect.role = static_cast<uint32_t>(readWord(complaints, role, ROLES));
    }
    if (const YAML::Node state = fields.get("state"); state.IsDefined()) {
        expect.state = static_cast<uint32_t>(readWord(complaints, state, STATES));
    }
    if (!end || end->host || end->port == 0) {
        if (end) {
            complaints.add(node, "a port is written like sw1.2");
        }
        return std::nullopt;
    }
    if (!expect.role && !expect.state) {
        complaints.add(node, "a role: or a state: is expected of a port");
    }
    expectAPort(node, end->owner, end->port);
    expect.bridge = end->owner;
    expect.port = end->port;
    return expect;
}

std::optional<Expectation> Parser::expectRoot(Fields& fields, const YAML::Node& node) {
    const auto root = bridgeOf(node, readText(complaints, node));
    ExpectRoot expect = {root.value_or(0), readInstance(fields), std::nullopt};
    if (const YAML::Node seenBy = fields.get("seen-by"); seenBy.IsDefined()) {
        expect.seenBy = bridgeOf(seenBy, readText(complaints, seenBy));
    }
    return root ? std::optional<Expectation>(expect) : std::nullopt;
}

std::optional<Microseconds> Parser::readSince(Fields& fields) {
    const YAML::Node since = fields.get("since");
    return since.IsDefined() ? std::optional(readTime(complaints, since)) : std::nullopt;
}

void Parser::readLimits(Fields& fields, uint64_t& least, uint64_t& most) {
    const YAML::Node atLeast = fields.get("at-least");
    const YAML::Node atMost = fields.get("at-most");
    if (atLeast.IsDefined()) {
        least = readNumber(complaints, atLeast, 0, UINT64_MAX / 2, 0);
    } else if (atMost.IsDefined()) {
        least = 0;
    }
    if (atMost.IsDefined()) {
        most = readNumber(complaints, atMost, 0, UINT64_MAX / 2, 0);
    }
}

ExpectCount Parser::expectCount(Fields& fields, const YAML::Node& node, Counter counter) {
    ExpectCount expect = {counter, 0, UINT64_MAX, std::nullopt};
    if (!node.IsNull() && !node.IsMap()) {
        expect.most = readNumber(complaints, node, 0, UINT64_MAX / 2, 0);
    } else if (node.IsMap()) {
        Fields limits(complaints, node, "a limit");
        readLimits(limits, expect.least, expect.most);
        limits.finish();
    }
    expect.since = readSince(fields);
    return expect;
}

std::optional<Expectation> Parser::expectFrame(Fields& fields, const YAML::Node& node) {
    Fields frame(complaints, node, "a frame");
    ExpectFrame expect = {};
    const YAML::Node on = frame.get("on");
    const YAML::Node from = frame.get("from");
    std::optional<uint32_t> link;
    if (on.IsDefined()) {
        link = linkOf(on, readText(complaints, on));
    }
    if (from.IsDefined()) {
        const auto plug = plugOf(from, readText(complaints, from));
        if (plug && link && plug->first != *link) {
            complaints.add(from, "\"" + from.Scalar() + "\" is no end of " + on.Scalar());
        }
        link = plug ? std::optional(plug->first) : link;
        expect.from = plug ? std::optional(plug->second) : std::nullopt;
    }
    if (!on.IsDefined() && !from.IsDefined()) {
        complaints.add(node, "a frame needs its link, on: sw1-sw2, or its sender, from: sw1.2");
    }
    expect.fields = readBpduFields(frame, false);
    expect.least = 1;
    expect.most = UINT64_MAX;
    readLimits(fields, expect.least, expect.most);
    expect.since = readSince(fields);
    if (!link) {
        return std::nullopt;
    }
    expect.link = *link;
    return expect;
}

std::optional<Expectation> Parser::expectValue(Fields& fields, const YAML::Node& node) {
    ExpectValue expect = {};
    std::vector<std::string> words = wordsOf(readText(complaints, node));
    const YAML::Node is = fields.get("is");
    const YAML::Node isNot = fields.get("is-not");
    if (is.IsDefined()) {
        expect.is = readText(complaints, is);
    }
    if (isNot.IsDefined()) {
        expect.isNot = readText(complaints, isNot);
    }
    expect.least = 0;
    expect.most = UINT64_MAX;
    readLimits(fields, expect.least, expect.most);
    const auto bridge = words.empty() ? std::nullopt : bridgeOf(node, words[0]);
    if (words.size() < 3) {
        complaints.add(node, "a value is written like: sw1 port 2 received-rst");
    }
    if (!bridge || words.size() < 3) {
        return std::nullopt;
    }
    words[0] = "get";
    try {
        size_t position = 1;
        expect.target = parseTarget(words, position);
        if (position + 1 != words.size()) {
            refuseForm("get");
        }
        expect.setting = &findSetting(expect.target.object, words[position], Access::Read);
        if (!expect.target.interface.empty() && !parseNumber(expect.target.interface)) {
            throw Refused("ports have numbers here, not \"" + expect.target.interface + "\"");
        }
    } catch (const std::runtime_error& reason) {
        complaints.add(node, reason.what());
        return std::nullopt;
    }
    expect.bridge = bridge.value_or(0);
    if (!expect.target.interface.empty()) {
        expectAPort(node, expect.bridge, parseNumber(expect.target.interface).value_or(0));
    }
    if (expect.setting->kind == Kind::BridgeId) {
        for (auto* text : {&expect.is, &expect.isNot}) {
            *text = *text ? std::optional(bridgeIdText(**text, false)) : std::nullopt;
        }
    }
    return expect;
}

std::optional<Expectation> Parser::expectPath(Fields& fields, const YAML::Node& node) {
    ExpectPath expect = {};
    expect.vlan = 1;
    if (const YAML::Node vlan = fields.get("vlan"); vlan.IsDefined()) {
        expect.vlan = static_cast<uint32_t>(readNumber(complaints, vlan, 1, HIGHEST_VLAN, 1));
    }
    expect.there = true;
    if (const YAML::Node there = fields.get("there"); there.IsDefined()) {
        expect.there = readSwitch(complaints, there);
    }
    if (!node.IsSequence() || node.size() != 2) {
        complaints.add(node, "a path is written [h1, h2]");
        return std::nullopt;
    }
    const auto from = hostOf(node[0], readText(complaints, node[0]));
    const auto to = hostOf(node[1], readText(complaints, node[1]));
    if (!from || !to) {
        return std::nullopt;
    }
    expect.from = *from;
    expect.to = *to;
    return expect;
}

} // namespace simtool
