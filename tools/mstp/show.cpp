#include "show.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "words.h"

void Table::print(std::ostream& out, const std::string& indent) const {
    std::vector<size_t> widths;
    for (const std::string& head : m_heads) {
        widths.push_back(head.size());
    }
    for (const auto& row : m_rows) {
        for (size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    const auto line = [&](const std::vector<std::string>& cells) {
        std::string text = indent;
        for (size_t i = 0; i < cells.size(); i++) {
            text += cells[i];
            if (i + 1 < cells.size()) {
                text += std::string(widths[i] - cells[i].size() + 2, ' ');
            }
        }
        out << text << "\n";
    };
    line(m_heads);
    for (const auto& row : m_rows) {
        line(row);
    }
}

void showBridge(std::ostream& out, const Snapshot& snapshot) {
    const BridgeView& bridge = snapshot.bridge;
    out << "Bridge " << macWord(bridge.mac) << ", version " << versionWord(bridge.version) << "\n"
        << "  max age " << bridge.maxAge << " s, hello " << bridge.helloTime << " s, forward delay "
        << bridge.forwardDelay << " s, max hops " << bridge.maxHops << ", hold count "
        << bridge.holdCount << "\n";
    if (bridge.debug != 0) {
        out << "  debug mask " << bridge.debug << "\n";
    }
}

void showRegion(std::ostream& out, const Snapshot& snapshot) {
    const RegionView& region = snapshot.region;
    out << "Region \"" << region.name << "\", revision " << region.revision << "\n"
        << "  digest " << hexWord(region.digest) << "\n";
}

void showInstances(std::ostream& out, const Snapshot& snapshot) {
    out << "Instances\n";
    Table table({"instance", "bridge", "root", "regional root", "cost outside", "cost inside",
                 "changes", "VLANs"});
    for (const InstanceView& view : snapshot.instances) {
        const bool isRoot = view.root == view.bridgeId;
        table.add(
            {view.id == 0 ? "0 (CIST)" : std::to_string(view.id), bridgeIdWord(view.bridgeId),
             isRoot ? "this bridge" : bridgeIdWord(view.root),
             view.regionalRoot == view.bridgeId ? "this bridge" : bridgeIdWord(view.regionalRoot),
             std::to_string(view.externalCost), std::to_string(view.internalCost),
             std::to_string(view.topologyChanges), vlanWord(view.vlans)});
    }
    table.print(out);
}

static std::string protectionWord(uint32_t protection) {
    static const char* const words[] = {"bpdu-guard", "root", "loop", "topology-change"};
    std::string text;
    for (uint32_t bit = 0; bit < 4; bit++) {
        if ((protection & (1U << bit)) != 0) {
            text += (text.empty() ? "" : ",") + std::string(words[bit]);
        }
    }
    return text.empty() ? "-" : text;
}

static std::vector<std::string> roleRow(const Snapshot& snapshot, const InstancePortView& view) {
    const PortView* port = snapshot.port(view.unit);
    return {port != nullptr ? port->name : std::to_string(view.unit),
            std::to_string(view.instance),
            roleWord(view.role),
            port != nullptr && port->upTime == 0 ? "down" : stateWord(view.state),
            std::to_string(view.cost()),
            std::to_string(view.priority),
            bridgeIdWord(view.designatedBridge),
            portIdWord(view.designatedPort),
            protectionWord(view.protection)};
}

static Table roleTable() {
    return Table({"port", "instance", "role", "state", "cost", "priority", "designated bridge",
                  "designated port", "held by"});
}

void showPorts(std::ostream& out, const Snapshot& snapshot) {
    out << "Ports\n";
    Table table = roleTable();
    for (const PortView& port : snapshot.ports) {
        for (const InstancePortView& view : snapshot.instancePorts) {
            if (view.unit == port.unit) {
                table.add(roleRow(snapshot, view));
            }
        }
    }
    table.print(out);
}

static std::vector<std::string> counterRow(const PortView& port) {
    std::vector<std::string> row = {port.name};
    for (const uint32_t counter : port.counters) {
        row.push_back(std::to_string(counter));
    }
    return row;
}

static Table counterTable() {
    return Table({"port", "rx TCN", "rx STP", "rx RSTP", "rx MSTP", "tx TCN", "tx STP", "tx RSTP",
                  "tx MSTP"});
}

void showCounters(std::ostream& out, const Snapshot& snapshot) {
    out << "BPDUs\n";
    Table table = counterTable();
    for (const PortView& port : snapshot.ports) {
        table.add(counterRow(port));
    }
    table.print(out);
}

bool showPort(std::ostream& out, const Snapshot& snapshot, uint32_t unit) {
    const PortView* port = snapshot.port(unit);
    if (port == nullptr) {
        return false;
    }
    out << "Port " << port->name << ": link " << (port->upTime != 0 ? "up" : "down")
        << (port->edge ? ", edge" : "") << (port->pointToPoint ? ", point-to-point" : ", shared")
        << (port->filtering ? ", BPDU filter" : "") << "\n";
    Table roles = roleTable();
    for (const InstancePortView& view : snapshot.instancePorts) {
        if (view.unit == unit) {
            roles.add(roleRow(snapshot, view));
        }
    }
    roles.print(out);
    Table counters = counterTable();
    counters.add(counterRow(*port));
    counters.print(out);
    return true;
}

void showAll(std::ostream& out, const Snapshot& snapshot) {
    showBridge(out, snapshot);
    showRegion(out, snapshot);
    showInstances(out, snapshot);
    showPorts(out, snapshot);
    showCounters(out, snapshot);
}

void showJson(std::ostream& out, const Snapshot& snapshot) {
    using nlohmann::ordered_json;
    const BridgeView& bridge = snapshot.bridge;
    ordered_json json;
    json["bridge"] = {{"mac", macWord(bridge.mac)},
                      {"version", versionWord(bridge.version)},
                      {"maxAge", bridge.maxAge},
                      {"helloTime", bridge.helloTime},
                      {"forwardDelay", bridge.forwardDelay},
                      {"maxHops", bridge.maxHops},
                      {"holdCount", bridge.holdCount},
                      {"debug", bridge.debug}};
    json["region"] = {{"name", snapshot.region.name},
                      {"revision", snapshot.region.revision},
                      {"formatSelector", snapshot.region.formatSelector},
                      {"digest", hexWord(snapshot.region.digest)}};
    json["instances"] = ordered_json::array();
    for (const InstanceView& view : snapshot.instances) {
        json["instances"].push_back({{"id", view.id},
                                     {"priority", view.priority},
                                     {"bridge", bridgeIdWord(view.bridgeId)},
                                     {"root", bridgeIdWord(view.root)},
                                     {"regionalRoot", bridgeIdWord(view.regionalRoot)},
                                     {"externalCost", view.externalCost},
                                     {"internalCost", view.internalCost},
                                     {"topologyChanges", view.topologyChanges},
                                     {"vlans", vlanWord(view.vlans)}});
    }
    json["ports"] = ordered_json::array();
    for (const PortView& port : snapshot.ports) {
        ordered_json entry = {{"name", port.name},
                              {"unit", port.unit},
                              {"linkUp", port.upTime != 0},
                              {"edge", port.edge},
                              {"pointToPoint", port.pointToPoint},
                              {"bpduFilter", port.filtering}};
        static const char* const names[] = {"rxTcn", "rxStp", "rxRstp", "rxMstp",
                                            "txTcn", "txStp", "txRstp", "txMstp"};
        for (size_t i = 0; i < 8; i++) {
            entry["counters"][names[i]] = port.counters[i];
        }
        entry["instances"] = ordered_json::array();
        for (const InstancePortView& view : snapshot.instancePorts) {
            if (view.unit == port.unit) {
                entry["instances"].push_back(
                    {{"id", view.instance},
                     {"role", roleWord(view.role)},
                     {"state", stateWord(view.state)},
                     {"cost", view.cost()},
                     {"priority", view.priority},
                     {"designatedBridge", bridgeIdWord(view.designatedBridge)},
                     {"designatedPort", portIdWord(view.designatedPort)},
                     {"protection", protectionWord(view.protection)}});
            }
        }
        json["ports"].push_back(entry);
    }
    // A region's name may hold any byte; what is no UTF-8 is replaced rather than refused.
    out << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
}
