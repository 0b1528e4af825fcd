#include "yaml_reader.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "words.h"

namespace simtool {

// ---- complaints

Place Complaints::placeOf(const YAML::Node& node) {
    if (!node.IsDefined()) {
        return {};
    }
    const YAML::Mark mark = node.Mark();
    return mark.line < 0 ? Place{}
                         : Place{static_cast<uint32_t>(mark.line) + 1,
                                 static_cast<uint32_t>(mark.column) + 1};
}

std::string Complaints::text(const std::string& file) const {
    std::vector<Complaint> sorted = m_list;
    std::stable_sort(sorted.begin(), sorted.end(), [](const Complaint& a, const Complaint& b) {
        return std::pair(a.place.line, a.place.column) < std::pair(b.place.line, b.place.column);
    });
    std::string lines;
    for (const Complaint& complaint : sorted) {
        lines += file;
        if (complaint.place.line != 0) {
            lines += ":" + std::to_string(complaint.place.line) + ":" +
                     std::to_string(complaint.place.column);
        }
        lines += ": " + complaint.text + "\n";
    }
    return lines;
}

std::string joined(const std::vector<std::string>& words, const std::string& between) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : between) + word;
    }
    return text;
}

// Levenshtein's distance.
static size_t distance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t(0));
    for (size_t i = 1; i <= a.size(); i++) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::string nearest(const std::string& word, const std::vector<std::string>& known) {
    static constexpr size_t LONGEST = 40;
    std::string best;
    size_t least = 3;
    for (const std::string& candidate : known) {
        const size_t steps = word.size() <= LONGEST ? distance(word, candidate) : least;
        if (steps < least && steps < candidate.size()) {
            least = steps;
            best = candidate;
        }
    }
    return best;
}

// ---- mappings

Fields::Fields(Complaints& complaints, const YAML::Node& node, std::string what)
    : m_complaints(complaints), m_node(node), m_what(std::move(what)) {
    if (!node.IsDefined() || node.IsNull()) {
        return;
    }
    if (!node.IsMap()) {
        complaints.add(node, m_what + " is a mapping of names to values");
        return;
    }
    std::set<std::string> seen;
    for (const auto& field : node) {
        if (!field.first.IsScalar()) {
            complaints.add(field.first, "a name is expected here");
            continue;
        }
        if (!seen.insert(field.first.Scalar()).second) {
            complaints.add(field.first, "\"" + field.first.Scalar() + "\" stands here twice");
            continue;
        }
        m_fields.emplace_back(field.first, field.second);
    }
}

YAML::Node Fields::get(const std::string& name) {
    if (m_asked.insert(name).second) {
        m_known.push_back(name);
    }
    for (const auto& [key, value] : m_fields) {
        if (key.Scalar() == name) {
            return value;
        }
    }
    return YAML::Node(YAML::NodeType::Undefined);
}

std::vector<std::pair<YAML::Node, YAML::Node>> Fields::rest() {
    std::vector<std::pair<YAML::Node, YAML::Node>> left;
    for (const auto& field : m_fields) {
        if (m_asked.insert(field.first.Scalar()).second) {
            left.push_back(field);
        }
    }
    return left;
}

void Fields::unknown(const YAML::Node& key, const std::vector<std::string>& more) {
    std::vector<std::string> known = m_known;
    known.insert(known.end(), more.begin(), more.end());
    const std::string meant = nearest(key.Scalar(), known);
    m_complaints.add(key, "\"" + key.Scalar() + "\" is not known in " + m_what +
                              (meant.empty() ? "" : "; did you mean \"" + meant + "\"?") +
                              (known.empty() ? "" : " (known: " + joined(known) + ")"));
}

void Fields::finish() {
    for (const auto& [key, value] : m_fields) {
        if (m_asked.count(key.Scalar()) == 0) {
            unknown(key);
        }
    }
}

// ---- scalars

// The number at the text's beginning; what follows it goes to unit.
static std::optional<double> leadingNumber(const std::string& text, std::string& unit) {
    const size_t end = std::min(text.find_first_not_of("0123456789."), text.size());
    static constexpr size_t LONGEST = 18;
    const std::string digits = text.substr(0, end);
    if (digits.empty() || digits.size() > LONGEST || digits == "." ||
        std::count(digits.begin(), digits.end(), '.') > 1) {
        return std::nullopt;
    }
    unit = text.substr(end);
    unit.erase(0, unit.find_first_not_of(' '));
    return strtod(digits.c_str(), nullptr);
}

std::optional<Microseconds> parseTime(const std::string& text) {
    static constexpr struct {
        const char* name;
        double microseconds;
    } UNITS[] = {{"", 1e6}, {"s", 1e6}, {"ms", 1e3}, {"us", 1}, {"min", 60e6}, {"h", 3600e6}};
    static constexpr double LONGEST = 1e14;
    std::string unit;
    const auto number = leadingNumber(text, unit);
    for (const auto& known : UNITS) {
        if (number && unit == known.name && *number * known.microseconds <= LONGEST) {
            return static_cast<Microseconds>(std::llround(*number * known.microseconds));
        }
    }
    return std::nullopt;
}

std::optional<double> parseShare(const std::string& text) {
    std::string unit;
    const auto number = leadingNumber(text, unit);
    if (!number || (unit != "%" && !unit.empty())) {
        return std::nullopt;
    }
    const double share = unit.empty() ? *number : *number / 100;
    return share <= 1 ? std::optional(share) : std::nullopt;
}

std::optional<uint64_t> parseSpeed(const std::string& text) {
    static constexpr struct {
        const char* name;
        double kilobits;
    } UNITS[] = {{"", 1e3}, {"k", 1}, {"M", 1e3}, {"G", 1e6}, {"T", 1e9}};
    static constexpr double FASTEST = 4e12;
    std::string unit;
    const auto number = leadingNumber(text, unit);
    for (const auto& known : UNITS) {
        const double kilobits = number.value_or(0) * known.kilobits;
        if (number && unit == known.name && kilobits <= FASTEST) {
            return static_cast<uint64_t>(std::llround(kilobits));
        }
    }
    return std::nullopt;
}

std::string readText(Complaints& complaints, const YAML::Node& node) {
    if (!node.IsScalar()) {
        complaints.add(node, "a single value is expected here");
        return "";
    }
    return node.Scalar();
}

// Asks @p parse for the node's value.
template <class Value>
static Value read(Complaints& complaints, const YAML::Node& node, const char* expected,
                  std::optional<Value> (*parse)(const std::string&)) {
    if (!node.IsScalar()) {
        complaints.add(node, std::string(expected) + " is expected here");
        return {};
    }
    const auto value = parse(node.Scalar());
    if (!value) {
        complaints.add(node,
                       std::string(expected) + " is expected here, not \"" + node.Scalar() + "\"");
    }
    return value.value_or(Value{});
}

Microseconds readTime(Complaints& complaints, const YAML::Node& node) {
    return read(complaints, node, "a time like 30s, 1.5ms, 10us or 2min", parseTime);
}

double readShare(Complaints& complaints, const YAML::Node& node) {
    return read(complaints, node, "a share like 1% or 0.01", parseShare);
}

uint64_t readSpeed(Complaints& complaints, const YAML::Node& node) {
    return read(complaints, node, "a speed like 100M or 1G", parseSpeed);
}

uint64_t readNumber(Complaints& complaints, const YAML::Node& node, uint64_t least, uint64_t most,
                    uint64_t initial) {
    static constexpr size_t LONGEST = 19;
    const std::string text = node.IsScalar() ? node.Scalar() : "";
    const bool digits = !text.empty() && text.size() <= LONGEST &&
                        text.find_first_not_of("0123456789") == std::string::npos;
    const uint64_t number = digits ? strtoull(text.c_str(), nullptr, 10) : 0;
    if (digits && number >= least && number <= most) {
        return number;
    }
    std::string range = std::to_string(least) + "-" + std::to_string(most);
    if (most >= UINT64_MAX / 2) {
        range = "from " + std::to_string(least);
    }
    complaints.add(node, "a number " + range + " is expected here" +
                             (text.empty() ? "" : ", not \"" + text + "\""));
    return initial;
}

bool readSwitch(Complaints& complaints, const YAML::Node& node) {
    const std::string text = node.IsScalar() ? node.Scalar() : "";
    const bool on = text == "on" || text == "yes" || text == "true";
    if (!on && text != "off" && text != "no" && text != "false") {
        complaints.add(node, "on or off is expected here" +
                                 (text.empty() ? "" : ", not \"" + text + "\""));
    }
    return on;
}

size_t readWord(Complaints& complaints, const YAML::Node& node,
                const std::vector<std::string>& words) {
    const std::string text = node.IsScalar() ? node.Scalar() : "";
    const auto found = std::find(words.begin(), words.end(), text);
    if (found != words.end()) {
        return static_cast<size_t>(found - words.begin());
    }
    complaints.add(node, "one of " + joined(words) + " is expected here" +
                             (text.empty() ? "" : ", not \"" + text + "\""));
    return 0;
}

} // namespace simtool
