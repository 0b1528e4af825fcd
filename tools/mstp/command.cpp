#include "command.h"

#include <algorithm>
#include <cstring>

#include "mstp/enums.h"
#include "mstp/management.h"
#include "words.h"

static constexpr uint32_t HIGHEST_INSTANCE = 254;
static constexpr uint32_t HIGHEST_MAPPED_INSTANCE = 63;
static constexpr uint32_t LONGEST_BPDU = 1400;

using Words = std::vector<std::string>;

static const char* formsOf(const std::string& command) {
    if (command == "set" || command == "get") {
        return "the forms are: bridge NAME, region NAME, port IFACE NAME, instance N NAME, "
               "instance N port IFACE NAME; for set with a VALUE behind it";
    }
    if (command == "port") {
        return "the forms are: port add IFACE, port del IFACE";
    }
    if (command == "instance") {
        return "the forms are: instance add N, instance del N";
    }
    if (command == "map") {
        return "the form is: map instances LIST vlans LIST";
    }
    return "the form is: mirror IFACE HEXBYTES";
}

void refuseForm(const std::string& command) {
    throw WrongForm(std::string(formsOf(command)) + " (see \"mstp " + command + " --help\")");
}

static uint32_t parseInstance(const std::string& text) {
    const auto number = parseNumber(text);
    if (!number) {
        throw WrongForm("\"" + text + "\" is no number of an instance");
    }
    if (*number > HIGHEST_INSTANCE) {
        throw Refused("instances have the numbers 0-254, not " + text);
    }
    return *number;
}

Target parseTarget(const Words& words, size_t& position) {
    const size_t left = words.size() - position;
    const std::string object = left > 0 ? words[position] : "";
    if (object == "bridge" || object == "region") {
        position += 1;
        return {object == "bridge" ? Object::Bridge : Object::Region, 0, ""};
    }
    if (object == "port" && left >= 2) {
        position += 2;
        return {Object::Port, 0, words[position - 1]};
    }
    if (object != "instance" || left < 2) {
        refuseForm(words[0]);
    }
    const uint32_t instance = parseInstance(words[position + 1]);
    if (left >= 4 && words[position + 2] == "port") {
        position += 4;
        return {Object::InstancePort, instance, words[position - 1]};
    }
    position += 2;
    return {Object::Instance, instance, ""};
}

// ---- the commands

static std::vector<uint8_t> parseVlanValue(const std::string& list, const std::string& text) {
    const auto vlans = parseVlans(list);
    if (!vlans) {
        throw Refused("vlans takes a list like 10-19,100 of VLANs 1-4094, with + before it to add, "
                      "- to remove, not \"" +
                      text + "\"");
    }
    return *vlans;
}

static Command parseVlanChange(uint32_t instance, const std::string& text) {
    const char sign = text.empty() ? '\0' : text[0];
    if (sign != '+' && sign != '-') {
        return VlansCommand{instance, VlanChange::Replace, parseVlanValue(text, text)};
    }
    return VlansCommand{instance, sign == '+' ? VlanChange::Add : VlanChange::Remove,
                        parseVlanValue(text.substr(1), text)};
}

static Command parseSet(const Words& words) {
    size_t position = 1;
    const Target target = parseTarget(words, position);
    if (words.size() - position != 2) {
        refuseForm(words[0]);
    }
    const Setting& setting = findSetting(target.object, words[position], Access::Write);
    const std::string& text = words[position + 1];
    if (setting.kind == Kind::Vlans) {
        return parseVlanChange(target.instance, text);
    }
    if (target.object == Object::Port && setting.attribute == MSTP_PORT_ADMINNONSTP) {
        return PortCommand{target.interface,
                           parseValue(setting, text) == Value(uint32_t(MSTP_FALSE))};
    }
    return SetCommand{target, &setting, parseValue(setting, text)};
}

static bool parseAction(const Words& words) {
    if (words.size() != 3 || (words[1] != "add" && words[1] != "del")) {
        refuseForm(words[0]);
    }
    return words[1] == "add";
}

static Command parseMap(const Words& words) {
    if (words.size() != 5 || words[1] != "instances" || words[3] != "vlans") {
        refuseForm(words[0]);
    }
    const auto instances = parseList(words[2], 0, HIGHEST_MAPPED_INSTANCE);
    if (!instances) {
        throw Refused("instances takes a list like 0-3,7 of instances 0-63, not \"" + words[2] +
                      "\"");
    }
    return MapCommand{*instances, parseVlanValue(words[4], words[4])};
}

static Command parseMirror(const Words& words) {
    if (words.size() != 3) {
        refuseForm(words[0]);
    }
    const std::string& hex = words[2];
    std::vector<uint8_t> bpdu;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        const auto byte = parseNumber("0x" + hex.substr(i, 2));
        if (!byte) {
            break;
        }
        bpdu.push_back(static_cast<uint8_t>(*byte));
    }
    if (bpdu.empty() || bpdu.size() * 2 != hex.size() || bpdu.size() > LONGEST_BPDU) {
        throw Refused("a BPDU is given as pairs of hexadecimal digits, 1400 at the most");
    }
    return MirrorCommand{words[1], bpdu};
}

Command parseCommand(const Words& words) {
    const std::string name = words.empty() ? "" : words[0];
    if (name == "set") {
        return parseSet(words);
    }
    if (name == "port") {
        return PortCommand{words.back(), parseAction(words)};
    }
    if (name == "instance") {
        const bool add = parseAction(words);
        return InstanceCommand{parseInstance(words[2]), add};
    }
    if (name == "map") {
        return parseMap(words);
    }
    if (name == "mirror") {
        return parseMirror(words);
    }
    throw WrongForm("\"" + name + "\" is none of the commands set, port, instance, map, mirror");
}

// ---- lines

namespace {

class Splitter {
  public:
    explicit Splitter(const std::string& line) : m_line(line) {}

    Words split() {
        Words words;
        for (skipBlanks(); !atEnd() && m_line[m_at] != '#'; skipBlanks()) {
            words.push_back(word());
        }
        return words;
    }

  private:
    static bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }
    bool atEnd() const { return m_at >= m_line.size(); }
    void skipBlanks() {
        while (!atEnd() && isBlank(m_line[m_at])) {
            m_at++;
        }
    }

    char next() {
        if (atEnd()) {
            throw WrongForm("a quote is not closed");
        }
        const char c = m_line[m_at++];
        if (static_cast<unsigned char>(c) < ' ' && c != '\t') {
            throw WrongForm("the line holds a control character");
        }
        return c;
    }

    char escaped() {
        const char c = next();
        if (c == '\\' || c == '"') {
            return c;
        }
        const auto byte = c == 'x' && m_at + 2 <= m_line.size()
                              ? parseNumber("0x" + m_line.substr(m_at, 2))
                              : std::nullopt;
        if (!byte) {
            throw WrongForm("behind a \\ stands \\, \" or xHH");
        }
        m_at += 2;
        return static_cast<char>(*byte);
    }

    void quoted(char quote, std::string& word) {
        for (char c = next(); c != quote; c = next()) {
            word += quote == '"' && c == '\\' ? escaped() : c;
        }
    }

    std::string word() {
        std::string word;
        while (!atEnd() && !isBlank(m_line[m_at])) {
            const char c = next();
            if (c == '"' || c == '\'') {
                quoted(c, word);
            } else {
                word += c;
            }
        }
        return word;
    }

    const std::string& m_line;
    size_t m_at = 0;
};

} // namespace

Words splitWords(const std::string& line) {
    return Splitter(line).split();
}

static bool isPlain(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           (c != '\0' && strchr("-_.:,+@/", c) != nullptr);
}

std::string quoteWord(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        quoted += byte < ' ' || byte == 0x7F ? "\\x" + hexWord({byte}) : std::string(1, c);
    }
    return quoted + "\"";
}

// ---- back to words

std::string targetWords(const Target& target) {
    switch (target.object) {
    case Object::Bridge:
        return "bridge";
    case Object::Region:
        return "region";
    case Object::Port:
        return "port " + quoteWord(target.interface);
    case Object::Instance:
        return "instance " + std::to_string(target.instance);
    default:
        return "instance " + std::to_string(target.instance) + " port " +
               quoteWord(target.interface);
    }
}

namespace {

struct WordsOf {
    std::string operator()(const SetCommand& c) const {
        return "set " + targetWords(c.target) + " " + c.setting->name + " " +
               quoteWord(formatValue(*c.setting, c.value));
    }
    std::string operator()(const VlansCommand& c) const {
        const char* sign = c.change == VlanChange::Add      ? "+"
                           : c.change == VlanChange::Remove ? "-"
                                                            : "";
        return "set instance " + std::to_string(c.instance) + " vlans " + sign + vlanWord(c.vlans);
    }
    std::string operator()(const PortCommand& c) const {
        return std::string("port ") + (c.add ? "add " : "del ") + quoteWord(c.interface);
    }
    std::string operator()(const InstanceCommand& c) const {
        return std::string("instance ") + (c.add ? "add " : "del ") + std::to_string(c.instance);
    }
    std::string operator()(const MapCommand&) const { return "map"; }
    std::string operator()(const MirrorCommand& c) const {
        return "mirror " + quoteWord(c.interface);
    }
};

} // namespace

std::string commandWords(const Command& command) {
    return std::visit(WordsOf(), command);
}
