// The root is drawn on top: what leads to it stands above this bridge, the links that this bridge
// serves below. Names of nodes begin with their instance, for the same bridge may stand elsewhere
// in another tree.

#include "dot.h"

#include <set>

#include "show.h"
#include "text_writer.h"
#include "words.h"

static std::string quoted(const std::string& text) {
    std::string quoted = "\"";
    for (const char byte : printableText(text)) {
        quoted += byte == '"' || byte == '\\' ? std::string("\\") + byte : std::string(1, byte);
    }
    return quoted + "\"";
}

// A label of several lines.
static std::string label(const std::vector<std::string>& lines) {
    std::string text = "\"";
    for (const std::string& line : lines) {
        const std::string part = quoted(line);
        text += (text.size() == 1 ? "" : "\\n") + part.substr(1, part.size() - 2);
    }
    return text + "\"";
}

static const char* fillOf(const PortView& port, const InstancePortView& view) {
    switch (stateColour(port, view)) {
    case Colour::Good:
        return "palegreen";
    case Colour::Waiting:
        return "khaki";
    case Colour::Bad:
        return "lightcoral";
    default:
        return "lightgrey";
    }
}

namespace {

// The drawing of one instance.
class Tree {
  public:
    Tree(std::ostream& out, const Snapshot& snapshot, const InstanceView& view)
        : m_out(out), m_snapshot(snapshot), m_view(view), m_prefix(std::to_string(view.id) + " ") {}

    void draw() {
        const std::string title = m_view.id == 0 ? "CIST"
                                                 : "instance " + std::to_string(m_view.id) +
                                                       ", VLANs " + vlanWord(m_view.vlans);
        m_out << "  subgraph " << quoted("cluster " + std::to_string(m_view.id)) << " {\n"
              << "    label=" << quoted(title) << ";\n";
        drawBridge();
        for (const InstancePortView& port : m_snapshot.instancePorts) {
            if (port.instance == m_view.id) {
                drawPort(port);
            }
        }
        m_out << "  }\n";
    }

  private:
    std::string name(const std::string& what) const { return quoted(m_prefix + what); }

    std::string bridgeName(const Octets& id) const {
        return name(id == m_view.bridgeId ? "bridge" : bridgeIdWord(id));
    }

    void drawBridge() {
        std::vector<std::string> lines = {"this bridge", bridgeIdWord(m_view.bridgeId)};
        if (m_view.isRoot()) {
            lines.emplace_back("root");
        }
        m_out << "    " << name("bridge") << " [shape=box, style=bold, label=" << label(lines)
              << "];\n";
    }

    // Another bridge, once.
    void drawOther(const Octets& id) {
        if (id == m_view.bridgeId || !m_drawn.insert(id).second) {
            return;
        }
        std::vector<std::string> lines = {bridgeIdWord(id)};
        if (id == m_view.root()) {
            lines.emplace_back("root");
        }
        m_out << "    " << bridgeName(id) << " [shape=box, label=" << label(lines) << "];\n";
    }

    void drawPort(const InstancePortView& view) {
        const PortView* port = m_snapshot.port(view.unit);
        if (port == nullptr) {
            return;
        }
        const std::string node = name("port " + std::to_string(view.unit));
        const std::string state = port->linkUp() ? stateWord(view.state) : "down";
        m_out << "    " << node
              << " [shape=ellipse, style=filled, fillcolor=" << fillOf(*port, view) << ", label="
              << label({port->name, roleWord(view.role) + " " + state,
                        "cost " + std::to_string(view.cost())})
              << "];\n";
        const bool heard = port->linkUp() &&
                           view.designatedBridge.size() == m_view.bridgeId.size() &&
                           view.designatedBridge != m_view.bridgeId;
        if (!heard) {
            m_out << "    " << name("bridge") << " -> " << node << ";\n";
            return;
        }
        m_out << "    " << node << " -> " << name("bridge") << ";\n";
        drawOther(view.designatedBridge);
        m_out << "    " << bridgeName(view.designatedBridge) << " -> " << node
              << " [label=" << quoted("port " + portIdWord(view.designatedPort)) << "];\n";
        drawWayToRoot(view);
    }

    // From the designated bridge on: a dashed line, for the bridges between are not seen.
    void drawWayToRoot(const InstancePortView& view) {
        const Octets& root = m_view.id == 0 ? view.designatedRoot : view.regionalRoot;
        if (root == view.designatedBridge || root.empty() ||
            !m_ways.insert(view.designatedBridge).second) {
            return;
        }
        drawOther(root);
        const std::string cost = std::to_string(view.externalCost + view.internalCost);
        m_out << "    " << bridgeName(root) << " -> " << bridgeName(view.designatedBridge)
              << " [style=dashed, label=" << quoted("cost " + cost) << "];\n";
    }

    std::ostream& m_out;
    const Snapshot& m_snapshot;
    const InstanceView& m_view;
    std::string m_prefix;
    std::set<Octets> m_drawn;
    std::set<Octets> m_ways;
};

} // namespace

void drawDot(std::ostream& out, const Snapshot& snapshot, std::optional<uint32_t> instance) {
    const std::string title =
        macWord(snapshot.bridge.mac) + ", " + versionWord(snapshot.bridge.version) + ", region " +
        snapshot.region.name + " revision " + std::to_string(snapshot.region.revision);
    out << "digraph mstp {\n"
        << "  label=" << quoted(title) << ";\n"
        << "  labelloc=t;\n"
        << "  edge [arrowhead=none];\n";
    for (const InstanceView& view : snapshot.instances) {
        if (view.running && (!instance || *instance == view.id)) {
            Tree(out, snapshot, view).draw();
        }
    }
    out << "}\n";
}
