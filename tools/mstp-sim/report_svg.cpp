// A drawing of the final trees: a panel for each instance, every panel with the same layout. No
// script, no style sheet from elsewhere: any browser and any image viewer shows it.

#include <cmath>
#include <cstdio>

#include "layout.h"
#include "mstp/enums.h"
#include "report.h"
#include "words.h"

namespace simtool {

namespace {

constexpr double MARGIN = 70;
constexpr double TITLE = 40;
constexpr double LEGEND = 60;
constexpr double BRIDGE_ROOM = 52; // with its ports' dots
constexpr double OTHER_ROOM = 30;

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
    }
    return result;
}

// A coordinate with one digit behind the point, the same in every locale.
std::string number(double value) {
    const auto tenths = static_cast<long>(std::lround(value * 10));
    const std::string sign = tenths < 0 ? "-" : "";
    return sign + std::to_string(std::labs(tenths) / 10) + "." +
           std::to_string(std::labs(tenths) % 10);
}

// Long names are written smaller, so that they stay within their circle while that can be read.
std::string fontFor(const std::string& text, double radius) {
    static constexpr double USUAL = 12;
    static constexpr double LEAST = 6;
    static constexpr double LETTER = 0.62; // of the font's size, on average
    const double size = 2 * (radius - 1) / (LETTER * static_cast<double>(text.size()));
    return size >= USUAL ? "" : " style=\"font-size:" + number(std::max(size, LEAST)) + "px\"";
}

const char* roleClass(uint32_t role) {
    static const char* const CLASSES[] = {"none", "disabled",   "alternate", "backup",
                                          "root", "designated", "master"};
    return role < 7 ? CLASSES[role] : "none";
}

const char* const STYLE =
    "text{font-family:sans-serif;font-size:12px;fill:#222}"
    ".title{font-size:16px;font-weight:bold}"
    ".port{font-size:9px;fill:#555}"
    ".link{stroke-width:3}"
    ".forwarding{stroke:#2b8a3e}.blocked{stroke:#c92a2a;stroke-dasharray:7 5}"
    ".cut{stroke:#ced4da;stroke-dasharray:2 5}"
    ".bridge{fill:#f1f3f5;stroke:#343a40;stroke-width:2}"
    ".bridge.top{fill:#ffe066}.bridge.off{fill:#fff;stroke:#adb5bd;stroke-dasharray:3 3}"
    ".bridge.without{stroke:#adb5bd}"
    ".hub{fill:#dee2e6;stroke:#868e96}.host{fill:#fff;stroke:#868e96}"
    ".end{stroke-width:3}"
    ".end.root{stroke:#2f9e44;fill:#2f9e44}.end.designated{stroke:#1971c2;fill:#1971c2}"
    ".end.alternate{stroke:#e8590c;fill:#e8590c}.end.backup{stroke:#846358;fill:#846358}"
    ".end.master{stroke:#9c36b5;fill:#9c36b5}"
    ".end.disabled,.end.none{stroke:#adb5bd;fill:#adb5bd}"
    ".end.closed{fill:#fff}.end.learns{fill-opacity:.4}"
    ".panel{fill:#fff;stroke:#dee2e6}";

// Nodes of the drawing: bridges, then hubs, then hosts.
class Drawing {
  public:
    Drawing(std::ostream& out, Lab& lab)
        : m_out(out), m_lab(lab), m_scenario(lab.scenario()),
          m_bridges(static_cast<uint32_t>(m_scenario.bridges.size())) {
        findHubs();
        m_points = layOut(m_firstHost, edges(false));
        placeHosts();
        makeRoom();
    }

    void draw() {
        const std::vector<uint32_t> instances = instancesOf(m_scenario);
        const size_t columns = std::min<size_t>(instances.size(), 3);
        const size_t rows = (instances.size() + columns - 1) / columns;
        const double panelWidth = m_side + 2 * MARGIN;
        const double panelHeight = panelWidth + TITLE;
        const std::string width = number(panelWidth * static_cast<double>(columns));
        const std::string height = number(panelHeight * static_cast<double>(rows) + LEGEND);
        m_out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\""
              << height << "\" viewBox=\"0 0 " << width << " " << height << "\">\n"
              << "<title>" << escaped(m_scenario.name) << "</title>\n<style>" << STYLE
              << "</style>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
        for (size_t i = 0; i < instances.size(); i++) {
            const size_t rowNumber = i / columns;
            const auto row = static_cast<double>(rowNumber);
            m_instance = instances[i];
            m_out << "<g id=\"instance-" << m_instance << "\" transform=\"translate("
                  << number(panelWidth * static_cast<double>(i % columns)) << " "
                  << number(panelHeight * row) << ")\">\n"
                  << "<rect class=\"panel\" x=\"4\" y=\"4\" width=\"" << number(panelWidth - 8)
                  << "\" height=\"" << number(panelHeight - 8) << "\" rx=\"8\"/>\n"
                  << "<text class=\"title\" x=\"20\" y=\"32\">" << instanceName(m_instance)
                  << "</text>\n";
            panel();
            m_out << "</g>\n";
        }
        legend(panelHeight * static_cast<double>(rows));
        m_out << "</svg>\n";
    }

  private:
    void findHubs() {
        m_firstHost = m_bridges;
        for (uint32_t l = 0; l < m_scenario.links.size(); l++) {
            if (m_scenario.links[l].ends.size() != 2) {
                m_hubs[l] = m_firstHost++;
            }
        }
    }

    uint32_t nodeOf(const End& end) const { return end.host ? m_firstHost + end.owner : end.owner; }

    /// Lines between nodes: those to hosts, or the others.
    std::vector<std::pair<uint32_t, uint32_t>> edges(bool toHosts) const {
        std::vector<std::pair<uint32_t, uint32_t>> result;
        for (uint32_t l = 0; l < m_scenario.links.size(); l++) {
            const LinkPlan& link = m_scenario.links[l];
            const auto hub = m_hubs.find(l);
            const bool wire = hub == m_hubs.end();
            for (size_t e = wire ? 1 : 0; e < link.ends.size(); e++) {
                const End& other = wire ? link.ends[0] : link.ends[e];
                const uint32_t a = wire ? nodeOf(other) : hub->second;
                if ((link.ends[e].host || other.host) == toHosts) {
                    result.emplace_back(a, nodeOf(link.ends[e]));
                }
            }
        }
        return result;
    }

    // Around the bridge that it is plugged in at, on the side away from the middle.
    void placeHosts() {
        static constexpr double DISTANCE = 0.28;
        static constexpr double STEP = 0.6;
        m_points.resize(m_firstHost + m_scenario.hosts.size(), {0.5, 0.5});
        std::map<uint32_t, uint32_t> placed;
        for (const auto& [a, b] : edges(true)) {
            const uint32_t host = std::max(a, b);
            const uint32_t place = std::min(a, b);
            if (place >= m_firstHost) {
                continue; // two hosts with a link of their own
            }
            const uint32_t nth = placed[place]++;
            const double turn = (nth % 2 == 0 ? 1.0 : -1.0) * STEP * ((nth + 1.0) / 2 - 0.5);
            const Point from = m_points[place];
            const double angle =
                std::atan2(from.y - 0.5, from.x - 0.5 + (m_firstHost == 1 ? 1 : 0)) + turn;
            m_points[host] = {from.x + DISTANCE * std::cos(angle),
                              from.y + DISTANCE * std::sin(angle)};
        }
    }

    // From here on the points are where they are drawn, in a square as large as they need.
    void makeRoom() {
        fit(m_points);
        const double side = 220 + 60 * std::sqrt(static_cast<double>(m_points.size()));
        std::vector<double> rooms;
        for (Point& point : m_points) {
            point = {point.x * side, point.y * side};
            rooms.push_back(rooms.size() < m_bridges ? BRIDGE_ROOM : OTHER_ROOM);
        }
        Lines lines = edges(false);
        const Lines toHosts = edges(true);
        lines.insert(lines.end(), toHosts.begin(), toHosts.end());
        spread(m_points, rooms, lines);
        Point least = m_points.empty() ? Point() : m_points[0];
        Point most = least;
        for (const Point& point : m_points) {
            least = {std::min(least.x, point.x), std::min(least.y, point.y)};
            most = {std::max(most.x, point.x), std::max(most.y, point.y)};
        }
        m_side = std::max({side, most.x - least.x, most.y - least.y});
        const Point shift = {(m_side - most.x - least.x) / 2, (m_side - most.y - least.y) / 2};
        for (Point& point : m_points) {
            point = {point.x + shift.x, point.y + shift.y};
        }
    }

    Point at(uint32_t node) const {
        return {MARGIN + m_points[node].x, TITLE + MARGIN + m_points[node].y};
    }

    void panel() {
        std::map<std::pair<uint32_t, uint32_t>, uint32_t> parallel;
        for (uint32_t l = 0; l < m_scenario.links.size(); l++) {
            const LinkPlan& link = m_scenario.links[l];
            const auto hub = m_hubs.find(l);
            if (hub == m_hubs.end()) {
                const uint32_t a = nodeOf(link.ends[0]);
                const uint32_t b = nodeOf(link.ends[1]);
                const uint32_t nth = parallel[{std::min(a, b), std::max(a, b)}]++;
                const uint32_t pair = nth / 2;
                const double shift = nth % 2 == 0 ? pair * 12.0 : -(pair + 1.0) * 12.0;
                wire(l, a, b, a < b ? shift : -shift, &link.ends[0], &link.ends[1]);
            } else {
                for (const End& end : link.ends) {
                    wire(l, nodeOf(end), hub->second, 0, &end, nullptr);
                }
            }
        }
        for (uint32_t b = 0; b < m_bridges; b++) {
            bridge(b);
        }
        for (uint32_t h = 0; h < m_scenario.hosts.size(); h++) {
            label(m_firstHost + h, "host", m_scenario.hosts[h].name, 14);
        }
        for (const auto& [link, node] : m_hubs) {
            const Point p = at(node);
            m_out << "<circle class=\"hub\" cx=\"" << number(p.x) << "\" cy=\"" << number(p.y)
                  << "\" r=\"8\"><title>" << escaped(m_scenario.links[link].name)
                  << "</title></circle>\n";
        }
    }

    void wire(uint32_t link, uint32_t from, uint32_t to, double shift, const End* near,
              const End* far) {
        Point a = at(from);
        Point b = at(to);
        const double dx = b.x - a.x;
        const double dy = b.y - a.y;
        const double length = std::max(std::sqrt(dx * dx + dy * dy), 1.0);
        const Point across = {-dy / length * shift, dx / length * shift};
        a = {a.x + across.x, a.y + across.y};
        b = {b.x + across.x, b.y + across.y};
        const bool up = m_lab.network().link(link).up;
        const char* state = !up                                    ? "cut"
                            : m_lab.linkForwards(link, m_instance) ? "forwarding"
                                                                   : "blocked";
        m_out << "<line class=\"link " << state << "\" x1=\"" << number(a.x) << "\" y1=\""
              << number(a.y) << "\" x2=\"" << number(b.x) << "\" y2=\"" << number(b.y)
              << "\"><title>" << escaped(m_scenario.links[link].name) << "</title></line>\n";
        const Point along = {dx / length, dy / length};
        plug(near, a, along);
        plug(far, b, {-along.x, -along.y});
    }

    // A dot before the bridge, filled if it forwards.
    void plug(const End* end, Point at, Point towards) {
        static constexpr double DISTANCE = 34;
        if (end == nullptr || end->host) {
            return;
        }
        const uint32_t instance = m_lab.runs(end->owner, m_instance) ? m_instance : 0;
        const uint32_t role = m_lab.role(end->owner, instance, end->port);
        const uint32_t state = m_lab.state(end->owner, instance, end->port);
        const char* fill = state == MSTP_PORT_STATE_FORWARDING ? ""
                           : state == MSTP_PORT_STATE_LEARNING ? " learns"
                                                               : " closed";
        const Point p = {at.x + towards.x * DISTANCE, at.y + towards.y * DISTANCE};
        m_out << "<circle class=\"end " << roleClass(role) << fill << "\" cx=\"" << number(p.x)
              << "\" cy=\"" << number(p.y) << "\" r=\"5\"><title>"
              << escaped(endName(m_scenario, *end)) << " " << (role == 0 ? "none" : roleWord(role))
              << " " << stateWord(state) << "</title></circle>\n"
              << "<text class=\"port\" x=\"" << number(p.x - towards.y * 11 - 3) << "\" y=\""
              << number(p.y + towards.x * 11 + 3) << "\">" << end->port << "</text>\n";
    }

    void bridge(uint32_t number) {
        std::string classes = "bridge";
        if (!m_lab.running(number)) {
            classes += " off";
        } else if (!m_lab.runs(number, m_instance)) {
            classes += " without";
        } else if (m_lab.root(number, m_instance) == number) {
            classes += " top";
        }
        label(number, classes, m_scenario.bridges[number].name, 22);
    }

    void label(uint32_t node, const std::string& classes, const std::string& text, double radius) {
        const Point p = at(node);
        m_out << "<circle class=\"" << classes << "\" cx=\"" << number(p.x) << "\" cy=\""
              << number(p.y) << "\" r=\"" << number(radius) << "\"/>\n<text x=\"" << number(p.x)
              << "\" y=\"" << number(p.y + 4) << "\" text-anchor=\"middle\""
              << fontFor(text, radius) << ">" << escaped(text) << "</text>\n";
    }

    void legend(double top) {
        double x = 20;
        const std::string y = number(top + 24);
        const auto text = [&](const std::string& words) {
            m_out << "<text x=\"" << number(x + 14) << "\" y=\"" << number(top + 28) << "\">"
                  << words << "</text>\n";
            x += 30 + 7.0 * static_cast<double>(words.size());
        };
        for (const char* role : {"root", "designated", "alternate", "backup", "master"}) {
            m_out << "<circle class=\"end " << role << "\" cx=\"" << number(x) << "\" cy=\"" << y
                  << "\" r=\"5\"/>\n";
            text(role);
        }
        x = 20;
        top += 22;
        m_out << "<circle class=\"bridge top\" cx=\"" << number(x) << "\" cy=\"" << number(top + 24)
              << "\" r=\"7\"/>\n";
        text("the instance's root");
        m_out << "<circle class=\"end none closed\" cx=\"" << number(x) << "\" cy=\""
              << number(top + 24) << "\" r=\"5\"/>\n";
        text("hollow: discards");
    }

    std::ostream& m_out;
    Lab& m_lab;
    const Scenario& m_scenario;
    uint32_t m_bridges;
    uint32_t m_firstHost = 0;            ///< node
    std::map<uint32_t, uint32_t> m_hubs; ///< node by link
    std::vector<Point> m_points;
    double m_side = 0;
    uint32_t m_instance = 0;
};

} // namespace

void writeSvg(std::ostream& out, Lab& lab) {
    Drawing(out, lab).draw();
}

// ---- Graphviz

// Names are letters, digits and "_": no quoting is needed but for numbers.
void writeDot(std::ostream& out, Lab& lab) {
    static const char* const COLOURS[] = {"gray",   "gray", "orange", "brown",
                                          "green4", "blue", "purple"};
    const Scenario& scenario = lab.scenario();
    out << "graph network {\n  node [shape=circle];\n";
    for (const uint32_t instance : instancesOf(scenario)) {
        const std::string prefix = "i" + std::to_string(instance) + "_";
        out << "  subgraph cluster_" << instance << " {\n    label=\"" << instanceName(instance)
            << "\";\n";
        for (uint32_t b = 0; b < scenario.bridges.size(); b++) {
            const bool top = lab.running(b) && lab.runs(b, instance) && lab.root(b, instance) == b;
            out << "    " << prefix << scenario.bridges[b].name << " [label=\""
                << scenario.bridges[b].name << "\"" << (top ? ", style=filled, fillcolor=gold" : "")
                << "];\n";
        }
        const auto nodeName = [&](const End& end) {
            return prefix +
                   (end.host ? scenario.hosts[end.owner].name : scenario.bridges[end.owner].name);
        };
        const auto colour = [&](const End& end) {
            const uint32_t role = end.host ? 0 : lab.role(end.owner, instance, end.port);
            return COLOURS[role < 7 ? role : 0];
        };
        const auto port = [](const End& end) {
            return end.host ? std::string() : std::to_string(end.port);
        };
        for (uint32_t l = 0; l < scenario.links.size(); l++) {
            const LinkPlan& link = scenario.links[l];
            const std::string style = !lab.network().link(l).up       ? "dotted"
                                      : lab.linkForwards(l, instance) ? "solid"
                                                                      : "dashed";
            if (link.ends.size() == 2) {
                out << "    " << nodeName(link.ends[0]) << " -- " << nodeName(link.ends[1])
                    << " [style=" << style << ", color=\"" << colour(link.ends[0])
                    << ";0.5:" << colour(link.ends[1]) << "\", taillabel=\"" << port(link.ends[0])
                    << "\", headlabel=\"" << port(link.ends[1]) << "\"];\n";
                continue;
            }
            const std::string hub = prefix + "hub" + std::to_string(l);
            out << "    " << hub << " [shape=point];\n";
            for (const End& end : link.ends) {
                out << "    " << nodeName(end) << " -- " << hub << " [style=" << style
                    << ", color=\"" << colour(end) << "\", taillabel=\"" << port(end) << "\"];\n";
            }
        }
        out << "  }\n";
    }
    out << "}\n";
}

} // namespace simtool
