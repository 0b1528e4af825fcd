#include "bpdu.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "words.h"

namespace simtool {

namespace {

enum class FieldKind {
    Number,
    Word,     ///< part of the flags: shift and words
    BridgeId, ///< "32768.0200-0000-0001"
    PortId,   ///< "128.1"
    Time,     ///< 1/256 of a second
    Text,
    Hex,
};

struct Field {
    const char* name;
    size_t offset;
    size_t size;
    FieldKind kind;
    uint32_t shift = 0;
    std::vector<const char*> words = {};
};

const std::vector<const char*> SWITCH = {"off", "on"};
const std::vector<const char*> ROLES = {"master", "alternate", "root", "designated"};

constexpr size_t FLAGS_OFFSET = 4;
constexpr size_t MSTI_OFFSET = 102;
constexpr size_t MSTI_SIZE = 16;
constexpr size_t TCN_SIZE = 4;
constexpr size_t CONFIG_SIZE = 35;
constexpr size_t RST_SIZE = 36;
constexpr size_t MST_BRIDGE_OFFSET = 93;
constexpr size_t BRIDGE_OFFSET = 17;
constexpr uint32_t HIGHEST_MSTI = 4094;

std::vector<Field> flagFields(size_t offset) {
    return {{"flags", offset, 1, FieldKind::Number},
            {"topology-change", offset, 1, FieldKind::Word, 0, SWITCH},
            {"proposal", offset, 1, FieldKind::Word, 1, SWITCH},
            {"role", offset, 1, FieldKind::Word, 2, ROLES},
            {"learning", offset, 1, FieldKind::Word, 4, SWITCH},
            {"forwarding", offset, 1, FieldKind::Word, 5, SWITCH},
            {"agreement", offset, 1, FieldKind::Word, 6, SWITCH},
            {"acknowledgement", offset, 1, FieldKind::Word, 7, SWITCH}};
}

std::vector<Field> withFlags(size_t offset, const std::vector<Field>& others) {
    std::vector<Field> fields = flagFields(offset);
    fields.insert(fields.end(), others.begin(), others.end());
    return fields;
}

// "bridge" stands at another place in an MST BPDU: see offsetOf.
const std::vector<Field>& bpduTable() {
    static const std::vector<Field> table =
        withFlags(FLAGS_OFFSET, {{"protocol", 0, 2, FieldKind::Number},
                                 {"version", 2, 1, FieldKind::Number},
                                 {"bpdu-type", 3, 1, FieldKind::Number},
                                 {"root", 5, 8, FieldKind::BridgeId},
                                 {"external-cost", 13, 4, FieldKind::Number},
                                 {"regional-root", 17, 8, FieldKind::BridgeId},
                                 {"bridge", BRIDGE_OFFSET, 8, FieldKind::BridgeId},
                                 {"port", 25, 2, FieldKind::PortId},
                                 {"message-age", 27, 2, FieldKind::Time},
                                 {"max-age", 29, 2, FieldKind::Time},
                                 {"hello-time", 31, 2, FieldKind::Time},
                                 {"forward-delay", 33, 2, FieldKind::Time},
                                 {"version1-length", 35, 1, FieldKind::Number},
                                 {"version3-length", 36, 2, FieldKind::Number},
                                 {"format-selector", 38, 1, FieldKind::Number},
                                 {"region-name", 39, 32, FieldKind::Text},
                                 {"revision", 71, 2, FieldKind::Number},
                                 {"digest", 73, 16, FieldKind::Hex},
                                 {"internal-cost", 89, 4, FieldKind::Number},
                                 {"remaining-hops", 101, 1, FieldKind::Number}});
    return table;
}

const std::vector<Field>& mstiTable() {
    static const std::vector<Field> table =
        withFlags(0, {{"regional-root", 1, 8, FieldKind::BridgeId},
                      {"internal-cost", 9, 4, FieldKind::Number},
                      {"bridge-priority", 13, 1, FieldKind::Number},
                      {"port-priority", 14, 1, FieldKind::Number},
                      {"remaining-hops", 15, 1, FieldKind::Number}});
    return table;
}

const Field* find(const std::vector<Field>& table, const std::string& name) {
    const auto found =
        std::find_if(table.begin(), table.end(), [&](const Field& f) { return name == f.name; });
    return found != table.end() ? &*found : nullptr;
}

bool isMst(const Bytes& bpdu) {
    return bpdu.size() >= MSTI_OFFSET && bpdu[2] >= 3 && bpdu[3] == 2;
}

size_t offsetOf(const Field& field, bool mst) {
    return mst && strcmp(field.name, "bridge") == 0 ? MST_BRIDGE_OFFSET : field.offset;
}

uint64_t numberAt(const uint8_t* bytes, size_t size) {
    uint64_t number = 0;
    for (size_t i = 0; i < size; i++) {
        number = (number << 8) | bytes[i];
    }
    return number;
}

std::string timeWord(uint64_t ticks) {
    char text[32];
    snprintf(text, sizeof text, "%.3f", static_cast<double>(ticks) / 256);
    std::string word = text;
    word.erase(word.find_last_not_of('0') + 1);
    if (word.back() == '.') {
        word.pop_back();
    }
    return word;
}

std::string valueText(const Field& field, const uint8_t* at) {
    switch (field.kind) {
    case FieldKind::Word: {
        const auto index = static_cast<size_t>(*at >> field.shift) & (field.words.size() - 1);
        return field.words[index];
    }
    case FieldKind::BridgeId:
        return std::to_string(numberAt(at, 2)) + "." + macText(at + 2);
    case FieldKind::PortId:
        return std::to_string(at[0] & 0xF0) + "." + std::to_string(numberAt(at, 2) & 0xFFF);
    case FieldKind::Time:
        return timeWord(numberAt(at, 2));
    case FieldKind::Text:
        return {reinterpret_cast<const char*>(at),
                strnlen(reinterpret_cast<const char*>(at), field.size)};
    case FieldKind::Hex:
        return hexWord({at, at + field.size});
    default:
        return std::to_string(numberAt(at, field.size));
    }
}

const char* typeWord(const Bytes& bpdu) {
    switch (bpdu[3]) {
    case 0x00:
        return "config";
    case 0x80:
        return "tcn";
    case 0x02:
        return isMst(bpdu) ? "mst" : "rst";
    default:
        return "unknown";
    }
}

// ---- composing

bool putBytes(uint8_t* at, const Field& field, const Bytes& bytes) {
    if (bytes.size() > field.size) {
        return false;
    }
    memset(at, 0, field.size);
    std::copy(bytes.begin(), bytes.end(), at);
    return true;
}

bool putNumber(uint8_t* at, size_t size, const std::string& text) {
    const auto number = parseNumber(text);
    if (!number || (size < 4 && *number >> (8 * size) != 0)) {
        return false;
    }
    for (size_t i = 0; i < size; i++) {
        at[i] = static_cast<uint8_t>(*number >> (8 * (size - 1 - i)));
    }
    return true;
}

bool putWord(uint8_t* at, const Field& field, const std::string& text) {
    const auto mask = static_cast<uint32_t>(field.words.size() - 1);
    for (uint32_t i = 0; i < field.words.size(); i++) {
        if (text == field.words[i]) {
            *at = static_cast<uint8_t>((*at & ~(mask << field.shift)) | (i << field.shift));
            return true;
        }
    }
    return false;
}

bool putBridgeId(uint8_t* at, const std::string& text) {
    const size_t point = text.find('.');
    const auto mac = parseMac(point == std::string::npos ? "" : text.substr(point + 1));
    if (!mac || !putNumber(at, 2, text.substr(0, point))) {
        return false;
    }
    std::copy(mac->begin(), mac->end(), at + 2);
    return true;
}

bool putPortId(uint8_t* at, const std::string& text) {
    const size_t point = text.find('.');
    const auto priority = parseNumber(text.substr(0, point));
    const auto number = parseNumber(point == std::string::npos ? "" : text.substr(point + 1));
    if (!priority || !number || *priority > 240 || *priority % 16 != 0 || *number > 0xFFF) {
        return false;
    }
    at[0] = static_cast<uint8_t>(*priority | (*number >> 8));
    at[1] = static_cast<uint8_t>(*number);
    return true;
}

bool putTime(uint8_t* at, const std::string& text) {
    char* end = nullptr;
    const double seconds = strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(seconds >= 0) || seconds >= 256) {
        return false;
    }
    const auto ticks = static_cast<uint32_t>(seconds * 256);
    at[0] = static_cast<uint8_t>(ticks >> 8);
    at[1] = static_cast<uint8_t>(ticks);
    return true;
}

bool put(uint8_t* at, const Field& field, const std::string& text) {
    switch (field.kind) {
    case FieldKind::Word:
        return putWord(at, field, text);
    case FieldKind::BridgeId:
        return putBridgeId(at, text);
    case FieldKind::PortId:
        return putPortId(at, text);
    case FieldKind::Time:
        return putTime(at, text);
    case FieldKind::Text:
        return putBytes(at, field, {text.begin(), text.end()});
    case FieldKind::Hex: {
        const auto bytes = parseHex(text);
        return bytes && putBytes(at, field, *bytes);
    }
    default:
        return putNumber(at, field.size, text);
    }
}

const char* takes(const Field& field) {
    switch (field.kind) {
    case FieldKind::Word:
        return field.words.size() == 2 ? "on or off" : "master, alternate, root or designated";
    case FieldKind::BridgeId:
        return "a bridge's name, PRIORITY.NAME or PRIORITY.MAC";
    case FieldKind::PortId:
        return "PRIORITY.NUMBER";
    case FieldKind::Time:
        return "seconds below 256";
    case FieldKind::Text:
        return "up to 32 characters";
    case FieldKind::Hex:
        return "hexadecimal digits";
    default:
        return "a number that fits the field";
    }
}

// "msti.2.role" in its parts. @return false if it is none of an MSTI
bool splitMsti(const std::string& name, uint32_t& instance, std::string& rest) {
    if (name.rfind("msti.", 0) != 0) {
        return false;
    }
    const size_t point = name.find('.', 5);
    const auto number = parseNumber(name.substr(5, point == std::string::npos ? point : point - 5));
    instance = number.value_or(0);
    rest = point == std::string::npos ? "" : name.substr(point + 1);
    return true;
}

const BpduFields& defaults() {
    static const BpduFields fields = {
        {"root", "0.0000-0000-0001"},
        {"regional-root", "0.0000-0000-0001"},
        {"port", "128.1"},
        {"max-age", "20"},
        {"hello-time", "2"},
        {"forward-delay", "15"},
        {"role", "designated"},
        {"learning", "on"},
        {"forwarding", "on"},
        {"remaining-hops", "20"},
        {"bridge", "0.0000-0000-0001"},
    };
    return fields;
}

size_t sizeOf(const std::string& type, size_t mstis) {
    if (type == "tcn") {
        return TCN_SIZE;
    }
    if (type == "mst") {
        return MSTI_OFFSET + mstis * MSTI_SIZE;
    }
    return type == "config" ? CONFIG_SIZE : RST_SIZE;
}

void putAll(Bytes& bpdu, const BpduFields& fields, bool mst) {
    for (const auto& [name, text] : fields) {
        const Field* field = find(bpduTable(), name);
        const size_t offset = field != nullptr ? offsetOf(*field, mst) : 0;
        if (field != nullptr && offset + field->size <= bpdu.size()) {
            put(&bpdu[offset], *field, text);
        }
    }
}

// The MSTI's number is the low part of its regional root's priority, IEEE 802.1Q-2005 14.6.1.
void putMsti(Bytes& bpdu, size_t offset, uint32_t instance, const BpduFields& fields) {
    BpduFields all = {{"regional-root", "0.0000-0000-0001"},
                      {"bridge-priority", "128"},
                      {"port-priority", "128"},
                      {"role", "designated"},
                      {"learning", "on"},
                      {"forwarding", "on"},
                      {"remaining-hops", "20"}};
    for (const auto& [name, text] : fields) {
        all[name] = text;
    }
    if (all.count("flags") != 0) {
        all.erase("role");
        all.erase("learning");
        all.erase("forwarding");
    }
    for (const auto& [name, text] : all) {
        const Field* field = find(mstiTable(), name);
        put(&bpdu[offset + field->offset], *field, text);
    }
    bpdu[offset + 1] |= static_cast<uint8_t>(instance >> 8);
    bpdu[offset + 2] |= static_cast<uint8_t>(instance);
}

} // namespace

std::string macText(const uint8_t* mac) {
    char text[16];
    snprintf(text, sizeof text, "%02x%02x-%02x%02x-%02x%02x", mac[0], mac[1], mac[2], mac[3],
             mac[4], mac[5]);
    return text;
}

std::optional<Bytes> parseHex(const std::string& text) {
    std::string digits = text;
    digits.erase(std::remove_if(digits.begin(), digits.end(),
                                [](char c) { return c == '-' || c == ':' || c == ' '; }),
                 digits.end());
    if (digits.size() % 2 != 0 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return std::nullopt;
    }
    Bytes bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(*parseNumber("0x" + digits.substr(i, 2))));
    }
    return bytes;
}

std::optional<Bytes> parseMac(const std::string& text) {
    const auto bytes = parseHex(text);
    return bytes && bytes->size() == 6 ? bytes : std::nullopt;
}

BpduFields decodeBpdu(const Bytes& frame) {
    static constexpr uint8_t LLC[] = {0x42, 0x42, 0x03};
    if (frame.size() < BPDU_OFFSET + TCN_SIZE ||
        !std::equal(std::begin(LLC), std::end(LLC), frame.begin() + LLC_OFFSET)) {
        return {};
    }
    // What lies behind the length is padding.
    const size_t length = numberAt(&frame[12], 2);
    const size_t end = std::min(frame.size(), LLC_OFFSET + length);
    if (end < BPDU_OFFSET + TCN_SIZE) {
        return {};
    }
    const Bytes bpdu(frame.begin() + BPDU_OFFSET, frame.begin() + static_cast<ptrdiff_t>(end));
    BpduFields fields = {{"type", typeWord(bpdu)}, {"length", std::to_string(bpdu.size())}};
    for (const Field& field : bpduTable()) {
        const size_t offset = offsetOf(field, isMst(bpdu));
        if (offset + field.size <= bpdu.size()) {
            fields[field.name] = valueText(field, &bpdu[offset]);
        }
    }
    size_t count = 0;
    size_t offset = MSTI_OFFSET;
    for (; isMst(bpdu) && offset + MSTI_SIZE <= bpdu.size(); offset += MSTI_SIZE, count++) {
        const uint64_t instance = numberAt(&bpdu[offset + 1], 2) & 0xFFF;
        const std::string prefix = "msti." + std::to_string(instance) + ".";
        for (const Field& field : mstiTable()) {
            fields[prefix + field.name] = valueText(field, &bpdu[offset + field.offset]);
        }
    }
    fields["mstis"] = std::to_string(count);
    return fields;
}

std::string describeBpdu(const Bytes& frame) {
    BpduFields fields = decodeBpdu(frame);
    if (fields.empty()) {
        return "no BPDU";
    }
    std::string text = fields["type"];
    if (fields["type"] == "tcn") {
        return text;
    }
    text += " root " + fields["root"] + " cost " + fields["external-cost"] + " bridge " +
            fields["bridge"] + " port " + fields["port"];
    if (fields["type"] != "config") {
        text += " " + fields["role"];
    }
    for (const char* flag : {"topology-change", "proposal", "learning", "forwarding", "agreement",
                             "acknowledgement"}) {
        text += fields[flag] == "on" ? std::string(" ") + flag : "";
    }
    return text;
}

Bytes composeBpdu(const BpduFields& fields, const std::array<uint8_t, 6>& source) {
    const auto given = fields.find("type");
    const std::string type = given != fields.end() ? given->second : "rst";
    std::map<uint32_t, BpduFields> mstis;
    BpduFields own = defaults();
    if (type == "config") {
        own.erase("role");
        own.erase("learning");
        own.erase("forwarding");
    }
    // The sender of an RST BPDU is its own region's root.
    if (type != "mst") {
        own.erase("regional-root");
    }
    if (fields.count("flags") != 0) {
        own.erase("role");
        own.erase("learning");
        own.erase("forwarding");
    }
    for (const auto& [name, text] : fields) {
        uint32_t instance = 0;
        std::string rest;
        if (splitMsti(name, instance, rest)) {
            mstis[instance][rest] = text;
        } else {
            own[name] = text;
        }
    }
    const bool mst = type == "mst";
    Bytes bpdu(sizeOf(type, mstis.size()));
    bpdu[2] = mst ? 3 : type == "rst" ? 2 : 0;
    bpdu[3] = type == "tcn" ? 0x80 : type == "config" ? 0 : 2;
    if (mst) {
        const size_t length = MSTI_OFFSET - 38 + mstis.size() * MSTI_SIZE;
        bpdu[36] = static_cast<uint8_t>(length >> 8);
        bpdu[37] = static_cast<uint8_t>(length);
    }
    putAll(bpdu, own, mst);
    size_t offset = MSTI_OFFSET;
    for (const auto& [instance, message] : mstis) {
        if (mst) {
            putMsti(bpdu, offset, instance, message);
            offset += MSTI_SIZE;
        }
    }
    Bytes frame = {0x01, 0x80, 0xC2, 0x00, 0x00, 0x00};
    frame.insert(frame.end(), source.begin(), source.end());
    const size_t length = bpdu.size() + BPDU_OFFSET - LLC_OFFSET;
    frame.insert(frame.end(), {static_cast<uint8_t>(length >> 8), static_cast<uint8_t>(length),
                               0x42, 0x42, 0x03});
    frame.insert(frame.end(), bpdu.begin(), bpdu.end());
    return frame;
}

const std::vector<std::string>& bpduFieldNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all = {"type", "length", "mstis"};
        for (const Field& field : bpduTable()) {
            all.emplace_back(field.name);
        }
        return all;
    }();
    return names;
}

const std::vector<std::string>& mstiFieldNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const Field& field : mstiTable()) {
            all.emplace_back(field.name);
        }
        return all;
    }();
    return names;
}

bool isBridgeIdField(const std::string& name) {
    uint32_t instance = 0;
    std::string rest;
    const bool msti = splitMsti(name, instance, rest);
    const Field* field = msti ? find(mstiTable(), rest) : find(bpduTable(), name);
    return field != nullptr && field->kind == FieldKind::BridgeId;
}

std::string checkBpduField(const std::string& name, const std::string& value, bool compose) {
    if (name == "type") {
        const bool known = value == "config" || value == "tcn" || value == "rst" || value == "mst";
        return known ? "" : "type is config, tcn, rst or mst, not \"" + value + "\"";
    }
    if (name == "length" || name == "mstis") {
        return compose              ? "\"" + name + "\" cannot be given here"
               : parseNumber(value) ? ""
                                    : "a number is expected here, not \"" + value + "\"";
    }
    uint32_t instance = 0;
    std::string rest;
    const bool msti = splitMsti(name, instance, rest);
    if (msti && (instance == 0 || instance > HIGHEST_MSTI)) {
        return "MSTIs have the numbers 1-4094";
    }
    const Field* field = msti ? find(mstiTable(), rest) : find(bpduTable(), name);
    if (field == nullptr) {
        return "a BPDU has no field \"" + name + "\"";
    }
    if (!compose && field->kind == FieldKind::BridgeId && value.rfind("*.", 0) == 0) {
        return parseMac(value.substr(2)) ? "" : "\"" + value + "\" is no address";
    }
    Bytes room(field->size);
    return put(room.data(), *field, value)
               ? ""
               : name + " takes " + takes(*field) + ", not \"" + value + "\"";
}

bool bpduFieldMatches(const std::string& expected, const std::string& actual) {
    if (expected.rfind("*.", 0) == 0) {
        const size_t point = actual.find('.');
        return point != std::string::npos && actual.substr(point + 1) == expected.substr(2);
    }
    if (expected == actual) {
        return true;
    }
    // The same number in another form: 0x02.
    const auto a = parseNumber(expected);
    return a && a == parseNumber(actual);
}

} // namespace simtool
