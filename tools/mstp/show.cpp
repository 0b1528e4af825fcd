// The forms of "mstp show". The keys are documented in docs/json.md; a test holds the two together.

#include "show.h"

#include "mstp/enums.h"
#include "mstp/management.h"
#include "words.h"

static const char* const NO_INSTANCES = "none; \"mstp instance add 0\" creates the common tree";
static const char* const NO_PORTS = "none; \"mstp port add IFACE\" makes an interface a port";

// ---- values

static Shown truthValue(bool truth, const char* whenTrue, const char* whenFalse) {
    return {truth, truth ? whenTrue : whenFalse};
}

static Shown optionalNumber(std::optional<uint32_t> number, const std::string& unit = "") {
    return number ? numberValue(*number, unit) : noValue();
}

static Shown durationValue(std::optional<uint32_t> seconds, const std::string& ifNone) {
    return seconds ? Shown{*seconds, durationWord(*seconds)} : noValue(ifNone);
}

// 0 stands for "by the link's speed".
static Shown adminCostValue(uint32_t cost) {
    return {cost, cost == 0 ? "auto" : std::to_string(cost)};
}

static Shown bridgeValue(const Octets& id, bool own) {
    return wordValue(bridgeIdWord(id), own ? "this bridge" : bridgeIdWord(id));
}

static Shown portNameValue(const Snapshot& snapshot, uint32_t unit) {
    if (unit == 0) {
        return noValue();
    }
    const PortView* port = snapshot.port(unit);
    return wordValue(port != nullptr ? port->name : interfaceName(unit));
}

// ---- the bridge

static void timers(Writer& writer, const BridgeView& bridge) {
    writer.line("timers");
    writer.field("maxAge", "max age", numberValue(bridge.maxAge, "s"));
    writer.field("helloTime", "hello time", numberValue(bridge.helloTime, "s"));
    writer.field("forwardDelay", "forward delay", numberValue(bridge.forwardDelay, "s"));
    writer.field("maxHops", "max hops", numberValue(bridge.maxHops));
    writer.field("holdCount", "hold count", numberValue(bridge.holdCount));
    writer.field("migrateTime", "migrate time", numberValue(bridge.migrateTime, "s"), Detail::Full);
    writer.line("in force");
    writer.object("rootTimes", "", [&] {
        writer.field("maxAge", "max age", optionalNumber(bridge.usedMaxAge, "s"), Detail::Full);
        writer.field("helloTime", "hello time", optionalNumber(bridge.usedHelloTime, "s"),
                     Detail::Full);
        writer.field("forwardDelay", "forward delay", optionalNumber(bridge.usedForwardDelay, "s"),
                     Detail::Full);
        writer.field("remainingHops", "remaining hops", optionalNumber(bridge.usedHops),
                     Detail::Full);
    });
}

static void protections(Writer& writer, const BridgeView& bridge) {
    writer.line("protections");
    writer.flag("bpduGuard", "bpdu-guard", bridge.bpduGuard);
    writer.flag("loopProtection", "loop-protection", bridge.loopProtection);
    writer.flag("tcProtection", "tc-protection", bridge.tcProtection);
    writer.field("tcHoldOff", "tc-hold-off", numberValue(bridge.tcHoldOff, "s"), Detail::Full);
    writer.flag("p2pDetection", "p2p-detection", bridge.p2pDetection, Detail::Full);
}

static void daemonSwitches(Writer& writer, const BridgeView& bridge) {
    writer.line("daemon");
    writer.flag("notifications", "notifications", bridge.notifications, Detail::Full);
    writer.flag("tcFlushesNeighbours", "tc-flushes-neighbours", bridge.tcFlushesNeighbours,
                Detail::Full);
    writer.field("debug", "debug mask", numberValue(bridge.debug),
                 bridge.debug != 0 ? Detail::Glance : Detail::Full);
    writer.field("debugPriority", "debug priority", numberValue(bridge.debugPriority),
                 Detail::Full);
    writer.field("debugAction", "debug action", numberValue(bridge.debugAction), Detail::Full);
}

void showBridge(Writer& writer, const Snapshot& snapshot) {
    const BridgeView& bridge = snapshot.bridge;
    writer.object("bridge", "Bridge", [&] {
        writer.field("mac", "", wordValue(macWord(bridge.mac)));
        writer.field("version", "version", wordValue(versionWord(bridge.version)));
        const std::string type = bridgeTypeWord(bridge.type);
        writer.field("type", "", wordValue(type, type + " bridge"));
        writer.field("capable", "capable of", wordValue(capableWord(bridge.capable)), Detail::Full);
        writer.field("pathCostMethod", "path costs", wordValue(pathCostWord(bridge.pathCostMethod)),
                     Detail::Full);
        timers(writer, bridge);
        protections(writer, bridge);
        daemonSwitches(writer, bridge);
        writer.line("instances");
        writer.object("limits", "", [&] {
            writer.field("instances", "in use", numberValue(bridge.instanceCount), Detail::Full);
            writer.field("maxInstances", "limit", numberValue(bridge.maxInstances), Detail::Full);
            writer.field("maxInstanceId", "highest id allowed", numberValue(bridge.maxInstanceId),
                         Detail::Full);
            writer.field("instanceMark", "mark", numberValue(bridge.instanceMark), Detail::Full);
        });
    });
}

void showRegion(Writer& writer, const Snapshot& snapshot) {
    const RegionView& region = snapshot.region;
    writer.object("region", "Region", [&] {
        writer.field("name", "", wordValue(region.name, "\"" + region.name + "\""));
        writer.field("revision", "revision", numberValue(region.revision));
        writer.field("formatSelector", "format selector", numberValue(region.formatSelector),
                     region.formatSelector != 0 ? Detail::Glance : Detail::Full);
        writer.line("");
        writer.field("digest", "digest", wordValue(hexWord(region.digest)));
    });
}

// ---- instances

static Shown ifRunning(const InstanceView& view, const Shown& value) {
    return view.running ? value : noValue();
}

static void instanceId(Writer& writer, const InstanceView& view) {
    writer.field("id", "instance", {view.id, view.id == 0 ? "0 (CIST)" : std::to_string(view.id)});
}

// "20000", or "200000+20000": outside the region, then inside.
static std::string costText(const InstanceView& view) {
    std::string inside = std::to_string(view.internalCost);
    if (view.externalCost == 0) {
        return inside;
    }
    return std::to_string(view.externalCost) + (view.internalCost == 0 ? "" : "+" + inside);
}

static void instanceAtAGlance(Writer& writer, const Snapshot& snapshot, const InstanceView& view) {
    instanceId(writer, view);
    writer.field("running", "", {view.running, ""}, Detail::Data);
    const std::string root = bridgeIdWord(view.root());
    const std::string word = view.isRoot() ? "this bridge" : root;
    writer.field("root", "root",
                 view.running ? wordValue(root, word) : noValue("not run by this version"));
    writer.field("isRoot", "", ifRunning(view, {view.isRoot(), ""}), Detail::Data);
    writer.field("externalCost", "cost", ifRunning(view, {view.externalCost, costText(view)}));
    writer.field("internalCost", "", ifRunning(view, numberValue(view.internalCost)), Detail::Data);
    writer.field("rootPort", "root port", portNameValue(snapshot, view.rootPort));
    writer.field("topologyChanges", "changes", ifRunning(view, numberValue(view.topologyChanges)));
    writer.field("sinceTopologyChange", "last ago",
                 durationValue(snapshot.since(view.changedAt), "-"));
    writer.field("rootProtection", "protected",
                 ifRunning(view, truthValue(view.rootProtection, "yes", "no")));
    writer.field("vlans", "VLANs", ifRunning(view, wordValue(vlanWord(view.vlans))));
}

static void instanceRoots(Writer& writer, const InstanceView& view) {
    instanceId(writer, view);
    writer.field("status", "status", ifRunning(view, wordValue(rowStatusWord(view.rowStatus))));
    writer.field("priority", "priority", ifRunning(view, numberValue(view.priority)));
    writer.field("bridge", "this bridge", ifRunning(view, wordValue(bridgeIdWord(view.bridgeId))));
    writer.field("designatedRoot", "root",
                 ifRunning(view, wordValue(bridgeIdWord(view.designatedRoot))));
    writer.field("regionalRoot", "regional root",
                 ifRunning(view, wordValue(bridgeIdWord(view.regionalRoot))));
}

static void instanceOrigin(Writer& writer, const InstanceView& view) {
    instanceId(writer, view);
    writer.field("designatedBridge", "designated bridge",
                 ifRunning(view, wordValue(bridgeIdWord(view.designatedBridge))));
    writer.field("designatedPort", "designated port",
                 ifRunning(view, wordValue(portIdWord(view.designatedPort))));
    writer.field("masterPort", "master port",
                 ifRunning(view, wordValue(portIdWord(view.masterPort))));
    writer.field("remainingHops", "remaining hops",
                 ifRunning(view, numberValue(view.remainingHops)));
    writer.field("topologyChange", "changing now",
                 ifRunning(view, truthValue(view.topologyChange, "yes", "no")));
}

void showInstances(Writer& writer, const Snapshot& snapshot) {
    const auto table = [&](const char* heading, Detail detail, const auto& tell) {
        writer.table("instances", heading, detail == Detail::Glance ? NO_INSTANCES : "", detail,
                     [&] {
                         for (const InstanceView& view : snapshot.instances) {
                             writer.row([&] { tell(view); });
                         }
                     });
    };
    table("Instances", Detail::Glance,
          [&](const InstanceView& view) { instanceAtAGlance(writer, snapshot, view); });
    table("Roots", Detail::Full, [&](const InstanceView& view) { instanceRoots(writer, view); });
    table("Told by", Detail::Full, [&](const InstanceView& view) { instanceOrigin(writer, view); });
}

// ---- ports in instances

static constexpr uint32_t BLOCKING_HOLDS =
    MSTP_PROTECTION_BPDU_GUARD | MSTP_PROTECTION_ROOT | MSTP_PROTECTION_LOOP;

Colour stateColour(const PortView& port, const InstancePortView& view) {
    if ((view.protection & BLOCKING_HOLDS) != 0) {
        return Colour::Bad;
    }
    if (!port.linkUp()) {
        return Colour::None;
    }
    if (view.state == MSTP_PORT_STATE_FORWARDING) {
        return Colour::Good;
    }
    const bool waits =
        view.state == MSTP_PORT_STATE_LEARNING || view.state == MSTP_PORT_STATE_DISCARDING;
    return waits ? Colour::Waiting : Colour::None;
}

static void role(Writer& writer, const Snapshot& snapshot, const PortView& port,
                 const InstancePortView& view) {
    writer.field("id", "instance", numberValue(view.instance));
    writer.field("role", "role", wordValue(roleWord(view.role)));
    const std::string state = stateWord(view.state);
    writer.field("state", "state",
                 wordValue(state, port.linkUp() ? state : "down", stateColour(port, view)));
    writer.field("cost", "cost", numberValue(view.cost()));
    writer.field("priority", "priority", numberValue(view.priority));
    const InstanceView* instance = snapshot.instance(view.instance);
    const bool own = instance != nullptr && !view.designatedBridge.empty() &&
                     view.designatedBridge == instance->bridgeId;
    writer.field("designatedBridge", "designated bridge", bridgeValue(view.designatedBridge, own));
    writer.field("designatedPort", "its port", wordValue(portIdWord(view.designatedPort)),
                 Detail::Full);
    const bool held = (view.protection & BLOCKING_HOLDS) != 0;
    writer.field("protection", "held by",
                 wordValue(protectionWord(view.protection), held ? Colour::Bad : Colour::None));
}

static void vector(Writer& writer, const InstancePortView& view) {
    writer.field("id", "instance", numberValue(view.instance));
    writer.field("designatedRoot", "root", wordValue(bridgeIdWord(view.designatedRoot)));
    writer.field("externalCost", "outside", numberValue(view.externalCost));
    writer.field("regionalRoot", "regional root", wordValue(bridgeIdWord(view.regionalRoot)));
    writer.field("internalCost", "inside", numberValue(view.internalCost));
    writer.field("sameRegion", "in region", truthValue(view.fromSameRegion, "yes", "no"));
    writer.field("adminCost", "cost set", adminCostValue(view.adminCost));
    writer.field("operCost", "by speed", numberValue(view.operCost));
}

// ---- ports

static void portName(Writer& writer, const PortView& port, Detail detail) {
    writer.field("name", "port", wordValue(port.name), detail);
    writer.field("unit", "", numberValue(port.unit), Detail::Data);
}

static void link(Writer& writer, const Snapshot& snapshot, const PortView& port) {
    writer.field("linkUp", "link", truthValue(port.linkUp(), "up", "down"));
    writer.field("upSeconds", "up for", durationValue(snapshot.since(port.upTime), "-"));
    writer.flag("edge", "edge", port.edge);
    writer.field("pointToPoint", "type", truthValue(port.pointToPoint, "p2p", "shared"));
    writer.flag("bpduFilter", "bpdu-filter", port.filtering);
    writer.flag("preStandard", "pre-standard", port.preStandard);
    writer.line("in force");
    writer.flag("spanningTree", "spanning tree", port.runsSpanningTree, Detail::Full);
    writer.field("helloTime", "hello time", numberValue(port.helloTime, "s"), Detail::Full);
    writer.field("operCost", "cost", numberValue(port.operCost), Detail::Full);
    writer.flag("operMacEnabled", "MAC", port.operMacEnabled, Detail::Full);
}

static void portSettings(Writer& writer, const PortView& port) {
    writer.line("set");
    writer.field("unit", "unit", numberValue(port.unit), Detail::Full);
    writer.flag("adminEdge", "edge", port.adminEdge, Detail::Full);
    writer.flag("autoEdge", "auto-edge", port.autoEdge, Detail::Full);
    writer.flag("adminPointToPoint", "point-to-point", port.adminPointToPoint, Detail::Full);
    writer.field("adminCost", "cost", adminCostValue(port.adminCost), Detail::Full);
    writer.flag("adminMacEnabled", "MAC", port.adminMacEnabled, Detail::Full);
    writer.flag("migrationCheck", "migrating", port.migrationCheck, Detail::Full);
    writer.flag("heldByBpduGuard", "held by bpdu-guard", port.heldByBpduGuard, Detail::Full);
}

static void counters(Writer& writer, const PortView& port) {
    static const char* const keys[] = {"rxTcn", "rxStp", "rxRstp", "rxMstp",
                                       "txTcn", "txStp", "txRstp", "txMstp"};
    static const char* const labels[] = {"rx TCN", "rx STP", "rx RSTP", "rx MSTP",
                                         "tx TCN", "tx STP", "tx RSTP", "tx MSTP"};
    writer.object("counters", "", [&] {
        for (size_t i = 0; i < 8; i++) {
            writer.field(keys[i], labels[i], numberValue(port.counters[i]));
        }
    });
}

// A table that has a row for each of @p ports, which begins with the port's name.
template <class Tell>
static void portTable(Writer& writer, const std::vector<PortView>& ports, const char* heading,
                      const char* ifEmpty, Detail detail, const Tell& tell) {
    writer.table("ports", heading, ifEmpty, detail, [&] {
        for (const PortView& port : ports) {
            writer.row([&] {
                portName(writer, port, Detail::Glance);
                tell(port);
            });
        }
    });
}

template <class Tell>
static void portInstances(Writer& writer, const Snapshot& snapshot, const PortView& port,
                          const char* heading, const Tell& tell) {
    writer.table("instances", heading, "", Detail::Full, [&] {
        for (const InstancePortView* view : snapshot.instancesOf(port.unit)) {
            writer.row([&] { tell(*view); });
        }
    });
}

void showCounters(Writer& writer, const Snapshot& snapshot) {
    portTable(writer, snapshot.ports, "BPDUs", NO_PORTS, Detail::Glance,
              [&](const PortView& port) { counters(writer, port); });
}

void showPorts(Writer& writer, const Snapshot& snapshot) {
    portTable(writer, snapshot.ports, "Ports", NO_PORTS, Detail::Glance, [&](const PortView& port) {
        portInstances(writer, snapshot, port, "",
                      [&](const InstancePortView& view) { role(writer, snapshot, port, view); });
    });
    portTable(writer, snapshot.ports, "Told by", "", Detail::Full, [&](const PortView& port) {
        portInstances(writer, snapshot, port, "",
                      [&](const InstancePortView& view) { vector(writer, view); });
    });
    portTable(writer, snapshot.ports, "Links", "", Detail::Glance,
              [&](const PortView& port) { link(writer, snapshot, port); });
    portTable(writer, snapshot.ports, "Port settings", "", Detail::Full,
              [&](const PortView& port) { portSettings(writer, port); });
    portTable(writer, snapshot.ports, "BPDUs", "", Detail::Glance,
              [&](const PortView& port) { counters(writer, port); });
}

void showPort(Writer& writer, const Snapshot& snapshot, const PortView& port) {
    writer.list("ports", [&] {
        writer.item("Port " + port.name + ":", [&] {
            portName(writer, port, Detail::Data);
            link(writer, snapshot, port);
            portSettings(writer, port);
            portInstances(writer, snapshot, port, "Instances", [&](const InstancePortView& view) {
                role(writer, snapshot, port, view);
            });
            portInstances(writer, snapshot, port, "Told by",
                          [&](const InstancePortView& view) { vector(writer, view); });
        });
    });
    portTable(writer, {port}, "BPDUs", "", Detail::Glance,
              [&](const PortView& each) { counters(writer, each); });
}

void showAll(Writer& writer, const Snapshot& snapshot) {
    showBridge(writer, snapshot);
    showRegion(writer, snapshot);
    showInstances(writer, snapshot);
    showPorts(writer, snapshot);
}
