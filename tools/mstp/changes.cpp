#include "changes.h"

#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "words.h"

// ---- finding

static const InstancePortView* roleOf(const Snapshot& snapshot, uint32_t instance, uint32_t unit) {
    for (const InstancePortView& each : snapshot.instancePorts) {
        if (each.instance == instance && each.unit == unit) {
            return &each;
        }
    }
    return nullptr;
}

static std::string portName(const Snapshot& snapshot, uint32_t unit) {
    const PortView* port = snapshot.port(unit);
    return port != nullptr ? port->name : interfaceName(unit);
}

static void findLinks(const Snapshot& before, const Snapshot& now, std::vector<Change>& changes) {
    for (const PortView& port : now.ports) {
        const PortView* old = before.port(port.unit);
        if (old == nullptr || old->linkUp() != port.linkUp()) {
            Change change;
            change.kind = ChangeKind::Link;
            change.port = port.name;
            change.linkUp = port.linkUp();
            changes.push_back(change);
        }
    }
    for (const PortView& port : before.ports) {
        if (now.port(port.unit) == nullptr) {
            Change change;
            change.kind = ChangeKind::PortGone;
            change.port = port.name;
            changes.push_back(change);
        }
    }
}

static void findRoots(const Snapshot& before, const Snapshot& now, std::vector<Change>& changes) {
    for (const InstanceView& view : now.instances) {
        const InstanceView* old = before.instance(view.id);
        if (!view.running || (old != nullptr && old->root() == view.root())) {
            continue;
        }
        Change change;
        change.kind = ChangeKind::Root;
        change.instance = view.id;
        change.root = view.root();
        change.isRoot = view.isRoot();
        change.hadOld = old != nullptr && !old->root().empty();
        change.oldRoot = old != nullptr ? old->root() : Octets();
        changes.push_back(change);
    }
    for (const InstanceView& view : before.instances) {
        if (now.instance(view.id) == nullptr) {
            Change change;
            change.kind = ChangeKind::InstanceGone;
            change.instance = view.id;
            changes.push_back(change);
        }
    }
}

static void findRoles(const Snapshot& before, const Snapshot& now, std::vector<Change>& changes) {
    for (const InstancePortView& view : now.instancePorts) {
        const InstancePortView* old = roleOf(before, view.instance, view.unit);
        if (old != nullptr && old->role == view.role && old->state == view.state) {
            continue;
        }
        Change change;
        change.port = portName(now, view.unit);
        change.instance = view.instance;
        change.role = view.role;
        change.state = view.state;
        change.hadOld = old != nullptr;
        change.oldRole = old != nullptr ? old->role : 0;
        change.oldState = old != nullptr ? old->state : 0;
        changes.push_back(change);
    }
    for (const InstancePortView& view : before.instancePorts) {
        if (roleOf(now, view.instance, view.unit) == nullptr) {
            Change change;
            change.kind = ChangeKind::RoleGone;
            change.port = portName(before, view.unit);
            change.instance = view.instance;
            changes.push_back(change);
        }
    }
}

// A count that fell is that of another daemon, or of an instance made anew.
static void findTopologyChanges(const Snapshot& before, const Snapshot& now,
                                std::vector<Change>& changes) {
    for (const InstanceView& view : now.instances) {
        const InstanceView* old = before.instance(view.id);
        if (old != nullptr && view.topologyChanges > old->topologyChanges) {
            Change change;
            change.kind = ChangeKind::TopologyChange;
            change.instance = view.id;
            change.topologyChanges = view.topologyChanges;
            changes.push_back(change);
        }
    }
}

std::vector<Change> changesBetween(const Snapshot& before, const Snapshot& now) {
    std::vector<Change> changes;
    findLinks(before, now, changes);
    findRoots(before, now, changes);
    findRoles(before, now, changes);
    findTopologyChanges(before, now, changes);
    return changes;
}

// ---- telling

static long long milliseconds(TimePoint when) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count();
}

static std::string timeWord(TimePoint when, bool epoch) {
    const long long ms = milliseconds(when);
    char text[48];
    if (epoch) {
        snprintf(text, sizeof text, "%lld.%03lld", ms / 1000, ms % 1000);
        return text;
    }
    const time_t seconds = std::chrono::system_clock::to_time_t(when);
    tm local = {};
    localtime_r(&seconds, &local);
    char clock[16];
    strftime(clock, sizeof clock, "%H:%M:%S", &local);
    snprintf(text, sizeof text, "%s.%03lld", clock, ms % 1000);
    return text;
}

static std::string was(const Change& change, const std::string& old) {
    return change.hadOld ? "  (was " + old + ")" : "";
}

static std::string whatHappened(const Change& change) {
    const std::string instance = "instance " + std::to_string(change.instance);
    switch (change.kind) {
    case ChangeKind::Role:
        return change.port + "  " + instance + "  " + roleWord(change.role) + " " +
               stateWord(change.state) +
               was(change, roleWord(change.oldRole) + " " + stateWord(change.oldState));
    case ChangeKind::RoleGone:
        return change.port + "  " + instance + "  gone";
    case ChangeKind::Link:
        return change.port + "  link " + (change.linkUp ? "up" : "down");
    case ChangeKind::PortGone:
        return change.port + "  gone";
    case ChangeKind::Root:
        return instance + "  root " + (change.isRoot ? "this bridge" : bridgeIdWord(change.root)) +
               was(change, bridgeIdWord(change.oldRoot));
    case ChangeKind::InstanceGone:
        return instance + "  gone";
    case ChangeKind::TopologyChange:
        return instance + "  topology change, number " + std::to_string(change.topologyChanges);
    case ChangeKind::DaemonGone:
        return "daemon gone";
    case ChangeKind::DaemonBack:
        break;
    }
    return "daemon back";
}

std::string changeText(const Change& change, TimePoint when, bool epoch) {
    return timeWord(when, epoch) + "  " + whatHappened(change);
}

static void tellRole(const Change& change, nlohmann::ordered_json& json) {
    json["role"] = roleWord(change.role);
    json["state"] = stateWord(change.state);
    if (change.hadOld) {
        json["oldRole"] = roleWord(change.oldRole);
        json["oldState"] = stateWord(change.oldState);
    }
}

static void tellRoot(const Change& change, nlohmann::ordered_json& json) {
    json["root"] = bridgeIdWord(change.root);
    json["isRoot"] = change.isRoot;
    if (change.hadOld) {
        json["oldRoot"] = bridgeIdWord(change.oldRoot);
    }
}

std::string changeJson(const Change& change, TimePoint when) {
    static const char* const events[] = {
        "role",          "role-gone",       "link",        "port-gone",  "root",
        "instance-gone", "topology-change", "daemon-gone", "daemon-back"};
    nlohmann::ordered_json json;
    json["time"] = static_cast<double>(milliseconds(when)) / 1000;
    json["event"] = events[static_cast<size_t>(change.kind)];
    const bool ofDaemon =
        change.kind == ChangeKind::DaemonGone || change.kind == ChangeKind::DaemonBack;
    if (!change.port.empty()) {
        json["port"] = change.port;
    }
    if (!ofDaemon && change.kind != ChangeKind::Link && change.kind != ChangeKind::PortGone) {
        json["instance"] = change.instance;
    }
    if (change.kind == ChangeKind::Link) {
        json["linkUp"] = change.linkUp;
    } else if (change.kind == ChangeKind::Role) {
        tellRole(change, json);
    } else if (change.kind == ChangeKind::Root) {
        tellRoot(change, json);
    } else if (change.kind == ChangeKind::TopologyChange) {
        json["topologyChanges"] = change.topologyChanges;
    }
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}
