#include <algorithm>
#include <cstdio>

#include "mstp/enums.h"
#include "report.h"
#include "words.h"

namespace simtool {

std::string instanceName(uint32_t instance) {
    return instance == 0 ? "CIST" : "MSTI " + std::to_string(instance);
}

static std::string padded(std::string text, size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

static std::string rightAligned(const std::string& text, size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

// ---- the time line

static std::string portName(const Scenario& scenario, uint32_t node, uint32_t unit) {
    return scenario.bridges[node].name + "." + std::to_string(unit);
}

// A line of its own: whatever is not a change of a port.
static std::string entryText(const Scenario& scenario, const Entry& entry) {
    const std::string time = rightAligned(clockText(entry.time), 12) + " ";
    switch (entry.kind) {
    case EntryKind::Event:
        return time + "* " + entry.text;
    case EntryKind::Loop:
        return time + "! " + padded(portName(scenario, entry.node, entry.unit), 12) + entry.text;
    case EntryKind::Expected:
        return time + "+ as expected: " + entry.text;
    case EntryKind::Failed:
        return time + "! NOT as expected: " + entry.text;
    default:
        return time + "  " + padded(scenario.bridges[entry.node].name, 12) + entry.text;
    }
}

namespace {

// What became of a port in some instances at one moment, on one line: instances to which the same
// happened stand together, and only the first and the last of several changes are told.
class Moment {
  public:
    bool takes(const Entry& entry) const {
        const bool change = entry.kind == EntryKind::Role || entry.kind == EntryKind::State ||
                            entry.kind == EntryKind::Flush;
        return change && (m_entries.empty() ||
                          (m_entries[0].time == entry.time && m_entries[0].node == entry.node));
    }
    void add(const Entry& entry) { m_entries.push_back(entry); }

    void write(std::ostream& out, const Scenario& scenario) {
        std::map<uint32_t, Port> ports;
        for (const Entry& entry : m_entries) {
            Port& port = ports[entry.unit];
            if (entry.kind == EntryKind::Flush) {
                port.flushes++;
                port.addresses += entry.count;
                continue;
            }
            Change& change = port.changes[entry.instance];
            auto& span = entry.kind == EntryKind::Role ? change.role : change.state;
            span = {span ? span->first : entry.before, entry.after};
        }
        for (const auto& [unit, port] : ports) {
            writePort(out, scenario, unit, port);
        }
        m_entries.clear();
    }

  private:
    using Span = std::optional<std::pair<uint32_t, uint32_t>>;
    struct Change {
        Span role;
        Span state;
        bool operator==(const Change& other) const {
            return role == other.role && state == other.state;
        }
    };
    struct Port {
        std::map<uint32_t, Change> changes;
        uint32_t flushes = 0;
        uint32_t addresses = 0;
    };

    static std::string spanText(const Span& span, std::string (*word)(uint32_t)) {
        return !span                         ? ""
               : span->first == span->second ? word(span->first) + " again"
                                             : word(span->first) + " -> " + word(span->second);
    }

    void writePort(std::ostream& out, const Scenario& scenario, uint32_t unit,
                   const Port& port) const {
        const std::string start = rightAligned(clockText(m_entries[0].time), 12) + "   " +
                                  padded(portName(scenario, m_entries[0].node, unit), 12);
        std::map<uint32_t, Change> left = port.changes;
        while (!left.empty()) {
            const Change change = left.begin()->second;
            std::string instances;
            for (auto it = left.begin(); it != left.end();) {
                if (it->second == change) {
                    instances += (instances.empty() ? "" : ",") +
                                 (it->first == 0 ? "CIST" : std::to_string(it->first));
                    it = left.erase(it);
                } else {
                    ++it;
                }
            }
            std::string line = start + padded(instances, 12) + " " +
                               padded(spanText(change.role, roleWord), 25) + " " +
                               spanText(change.state, stateWord);
            line.erase(line.find_last_not_of(' ') + 1);
            out << line << "\n";
        }
        if (port.flushes != 0) {
            out << start << padded("", 12) << " flush, " << port.addresses << " addresses\n";
        }
    }

    std::vector<Entry> m_entries;
};

void writeTimeline(std::ostream& out, const Lab& lab) {
    Moment moment;
    for (const Entry& entry : lab.recorder().timeline()) {
        if (!moment.takes(entry)) {
            moment.write(out, lab.scenario());
        }
        if (moment.takes(entry)) {
            moment.add(entry);
        } else {
            out << entryText(lab.scenario(), entry) << "\n";
        }
    }
    moment.write(out, lab.scenario());
}

} // namespace

// ---- figures

void writeColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows,
                  const std::set<size_t>& left) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (size_t i = 0; i < row.size(); i++) {
            line +=
                left.count(i) != 0 ? padded(row[i], widths[i]) : rightAligned(row[i], widths[i]);
            line += "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << "\n";
    }
}

static std::string shortened(const std::string& text) {
    static constexpr size_t WIDEST = 44;
    return text.size() <= WIDEST ? text : text.substr(0, WIDEST - 3) + "...";
}

static std::string settledText(const Period& period) {
    return period.changed ? timeText(period.settled()) : "-";
}

static void writePeriods(std::ostream& out, const Lab& lab) {
    std::vector<std::vector<std::string>> rows = {
        {"at", "event", "settled after", "roles", "states", "BPDUs", "flushes", "addresses"}};
    bool traffic = false;
    for (const Period& period : lab.recorder().periods()) {
        traffic = traffic || period.sent != 0;
    }
    if (traffic) {
        rows[0].insert(rows[0].end(), {"sent", "lost", "duplicated", "looped"});
    }
    for (const Period& period : lab.recorder().periods()) {
        rows.push_back({clockText(period.at), shortened(period.text), settledText(period),
                        std::to_string(period.roles), std::to_string(period.states),
                        std::to_string(period.bpdus), std::to_string(period.flushes),
                        std::to_string(period.addresses)});
        if (traffic) {
            rows.back().insert(rows.back().end(),
                               {std::to_string(period.sent), std::to_string(period.lost),
                                std::to_string(period.duplicated), std::to_string(period.looped)});
        }
    }
    writeColumns(out, rows, {1});
}

// ---- trees

namespace {

// Prints one instance's tree: from each root down, along root ports.
class TreeWriter {
  public:
    TreeWriter(std::ostream& out, Lab& lab, uint32_t instance)
        : m_out(out), m_lab(lab), m_instance(instance) {}

    void write() {
        findParents();
        for (uint32_t b = 0; b < bridges(); b++) {
            if (m_parent.count(b) == 0) {
                m_out << name(b) << note(b) << "\n";
                writeChildren(b, "");
            }
        }
        writeBlocked();
    }

  private:
    uint32_t bridges() const { return static_cast<uint32_t>(m_lab.scenario().bridges.size()); }
    const std::string& name(uint32_t bridge) const { return m_lab.scenario().bridges[bridge].name; }

    std::string note(uint32_t bridge) {
        if (!m_lab.running(bridge)) {
            return " (off)";
        }
        if (!m_lab.runs(bridge, m_instance)) {
            return " (without the instance)";
        }
        return m_lab.root(bridge, m_instance) == bridge ? " (root)" : "";
    }

    // Of the other ends of a root port's or master port's link, the one that leads on.
    void findParents() {
        for (const LinkPlan& link : m_lab.scenario().links) {
            for (const End& end : link.ends) {
                const uint32_t role = end.host ? 0 : m_lab.role(end.owner, m_instance, end.port);
                if (role != MSTP_PORT_ROLE_ROOT && role != MSTP_PORT_ROLE_MASTER) {
                    continue;
                }
                for (const End& other : link.ends) {
                    const bool leads = !other.host &&
                                       (other.owner != end.owner || other.port != end.port) &&
                                       designated(other);
                    if (leads) {
                        m_parent[end.owner] = other.owner;
                        m_children[other.owner].push_back(
                            {end.owner, other.port, end.port, role == MSTP_PORT_ROLE_MASTER});
                    }
                }
            }
        }
    }

    bool designated(const End& end) const {
        const uint32_t own = m_lab.runs(end.owner, m_instance) ? m_instance : 0;
        return m_lab.role(end.owner, own, end.port) == MSTP_PORT_ROLE_DESIGNATED;
    }

    void writeChildren(uint32_t bridge, const std::string& indent) {
        if (!m_written.insert(bridge).second) {
            return;
        }
        const auto& children = m_children[bridge];
        for (size_t i = 0; i < children.size(); i++) {
            const Child& child = children[i];
            const bool last = i + 1 == children.size();
            m_out << indent << (last ? "`- " : "|- ") << name(child.bridge) << "  (" << child.above
                  << " -> " << child.below << (child.master ? ", master" : "") << ")"
                  << note(child.bridge) << "\n";
            writeChildren(child.bridge, indent + (last ? "   " : "|  "));
        }
    }

    void writeBlocked() {
        for (const LinkPlan& link : m_lab.scenario().links) {
            for (const End& end : link.ends) {
                const uint32_t role = end.host ? 0 : m_lab.role(end.owner, m_instance, end.port);
                if (role == MSTP_PORT_ROLE_ALTERNATE || role == MSTP_PORT_ROLE_BACKUP) {
                    m_out << "blocked: " << endName(m_lab.scenario(), end) << " " << roleWord(role)
                          << " on " << link.name << "\n";
                }
            }
        }
    }

    struct Child {
        uint32_t bridge;
        uint32_t above;
        uint32_t below;
        bool master;
    };
    std::ostream& m_out;
    Lab& m_lab;
    uint32_t m_instance;
    std::map<uint32_t, uint32_t> m_parent;
    std::map<uint32_t, std::vector<Child>> m_children;
    std::set<uint32_t> m_written;
};

} // namespace

static void writeFailures(std::ostream& out, const Lab& lab) {
    for (const Failure& failure : lab.failures()) {
        out << lab.scenario().file << ":";
        if (failure.place.line != 0) {
            out << failure.place.line << ":" << failure.place.column << ":";
        }
        out << " at " << timeText(failure.time) << " expected " << failure.expected
            << "; found: " << failure.found << "\n";
    }
}

void writeText(std::ostream& out, Lab& lab, Detail detail) {
    const Scenario& scenario = lab.scenario();
    if (detail != Detail::Failures) {
        out << scenario.name << ": " << scenario.bridges.size() << " bridges, "
            << scenario.links.size() << " links, seed " << scenario.seed << "\n\n";
    }
    if (detail == Detail::Whole) {
        writeTimeline(out, lab);
        out << "\n";
    }
    if (detail != Detail::Failures) {
        writePeriods(out, lab);
        out << "\n";
    }
    for (const uint32_t instance : instancesOf(scenario)) {
        if (detail == Detail::Whole) {
            out << instanceName(instance) << "\n";
            TreeWriter(out, lab, instance).write();
            out << "\n";
        }
    }
    writeFailures(out, lab);
    if (detail != Detail::Failures && lab.expectations() != 0) {
        out << lab.expectations() << " expectations, "
            << (lab.failures().empty() ? "all met"
                                       : std::to_string(lab.failures().size()) + " failures")
            << "\n";
    }
}

// ---- two runs

namespace {

/// The same event in two runs; one of them is none where only the other has it.
struct Pair {
    const Period* a;
    const Period* b;
    const Period* named; ///< the one that gives it its time
};

std::string kindOf(const Period& period) {
    return period.text.substr(0, period.text.find(' '));
}

// What is most alike finds together first: the same at the same time, the same at another time,
// another of its kind at the same time.
std::vector<Pair> pairEvents(const std::vector<Period>& a, const std::vector<Period>& b) {
    using Alike = bool (*)(const Period&, const Period&);
    static constexpr Alike DEGREES[] = {
        [](const Period& x, const Period& y) { return x.at == y.at && x.text == y.text; },
        [](const Period& x, const Period& y) { return x.text == y.text; },
        [](const Period& x, const Period& y) { return x.at == y.at && kindOf(x) == kindOf(y); }};
    std::vector<Pair> pairs;
    pairs.reserve(a.size() + b.size());
    for (const Period& each : a) {
        pairs.push_back({&each, nullptr, &each});
    }
    std::vector<const Period*> others;
    others.reserve(b.size());
    for (const Period& each : b) {
        others.push_back(&each);
    }
    for (const Alike alike : DEGREES) {
        for (Pair& pair : pairs) {
            const auto found = std::find_if(others.begin(), others.end(), [&](const Period* each) {
                return pair.b == nullptr && alike(*pair.a, *each);
            });
            if (found != others.end()) {
                pair.b = *found;
                others.erase(found);
            }
        }
    }
    for (const Period* each : others) {
        pairs.push_back({nullptr, each, each});
    }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair& x, const Pair& y) { return x.named->at < y.named->at; });
    return pairs;
}

std::string pairText(const Pair& pair) {
    if (pair.b == nullptr || pair.a == nullptr) {
        return shortened(pair.named->text) + (pair.b == nullptr ? " (only in A)" : " (only in B)");
    }
    if (pair.a->text != pair.b->text) {
        return shortened(pair.a->text) + " / " + shortened(pair.b->text);
    }
    return shortened(pair.a->text) +
           (pair.a->at == pair.b->at ? "" : " (B: at " + clockText(pair.b->at) + ")");
}

std::string figureText(const Period* period, uint64_t Period::*figure) {
    return period != nullptr ? std::to_string(period->*figure) : "";
}

} // namespace

void writeComparison(std::ostream& out, Lab& one, Lab& other) {
    out << "A: " << one.scenario().name << "\nB: " << other.scenario().name << "\n\n";
    std::vector<std::vector<std::string>> rows = {
        {"at", "event", "settled A", "B", "BPDUs A", "B", "flushes A", "B", "lost A", "B"}};
    for (const Pair& pair : pairEvents(one.recorder().periods(), other.recorder().periods())) {
        rows.push_back({clockText(pair.named->at), pairText(pair)});
        for (const Period* period : {pair.a, pair.b}) {
            rows.back().push_back(period != nullptr ? settledText(*period) : "");
        }
        for (const auto figure : {&Period::bpdus, &Period::flushes, &Period::lost}) {
            rows.back().push_back(figureText(pair.a, figure));
            rows.back().push_back(figureText(pair.b, figure));
        }
    }
    writeColumns(out, rows, {1});
}

} // namespace simtool
