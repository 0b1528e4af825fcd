// Keys are an interface, described in docs/sim-json.md. They come in the order written here.

#include <nlohmann/json.hpp>

#include "report.h"
#include "words.h"

namespace simtool {

using Json = nlohmann::ordered_json;

static Json portJson(Lab& lab, const End& end, uint32_t instance) {
    const uint32_t role = lab.role(end.owner, instance, end.port);
    return {{"port", end.port},
            {"role", role == 0 ? "none" : roleWord(role)},
            {"state", stateWord(lab.state(end.owner, instance, end.port))}};
}

static Json instanceJson(Lab& lab, uint32_t instance) {
    const Scenario& scenario = lab.scenario();
    std::vector<std::vector<const End*>> ends(scenario.bridges.size());
    for (const LinkPlan& link : scenario.links) {
        for (const End& end : link.ends) {
            if (!end.host) {
                ends[end.owner].push_back(&end);
            }
        }
    }
    Json bridges = Json::array();
    for (uint32_t b = 0; b < scenario.bridges.size(); b++) {
        Json bridge = {{"bridge", scenario.bridges[b].name}, {"running", lab.running(b)}};
        if (lab.running(b) && lab.runs(b, instance)) {
            const auto root = lab.root(b, instance);
            bridge["root"] = root ? Json(scenario.bridges[*root].name) : Json();
            bridge["ports"] = Json::array();
            for (const End* end : ends[b]) {
                bridge["ports"].push_back(portJson(lab, *end, instance));
            }
        }
        bridges.push_back(std::move(bridge));
    }
    Json links = Json::array();
    for (uint32_t l = 0; l < scenario.links.size(); l++) {
        links.push_back({{"link", scenario.links[l].name},
                         {"up", lab.network().link(l).up},
                         {"forwards", lab.linkForwards(l, instance)}});
    }
    return {{"instance", instance}, {"bridges", bridges}, {"links", links}};
}

static Json periodJson(const Period& period) {
    return {{"at_us", period.at},
            {"event", period.text},
            {"settled_after_us", period.changed ? Json(period.settled()) : Json()},
            {"role_changes", period.roles},
            {"state_changes", period.states},
            {"bpdus_sent", period.bpdus},
            {"flushes", period.flushes},
            {"addresses_flushed", period.addresses},
            {"test_frames",
             {{"sent", period.sent},
              {"delivered", period.delivered},
              {"lost", period.lost},
              {"duplicated", period.duplicated},
              {"looped", period.looped}}}};
}

static const char* kindWord(EntryKind kind) {
    switch (kind) {
    case EntryKind::Event:
        return "event";
    case EntryKind::Role:
        return "role";
    case EntryKind::State:
        return "state";
    case EntryKind::Flush:
        return "flush";
    case EntryKind::Node:
        return "bridge";
    case EntryKind::Trace:
        return "trace";
    case EntryKind::Loop:
        return "loop";
    case EntryKind::Expected:
        return "expected";
    default:
        return "failed";
    }
}

static Json entryJson(const Scenario& scenario, const Entry& entry) {
    Json json = {{"at_us", entry.time}, {"kind", kindWord(entry.kind)}};
    const bool ofBridge = entry.kind != EntryKind::Event && entry.kind != EntryKind::Expected &&
                          entry.kind != EntryKind::Failed;
    if (ofBridge) {
        json["bridge"] = scenario.bridges[entry.node].name;
    }
    if (entry.unit != 0) {
        json["port"] = entry.unit;
    }
    if (entry.kind == EntryKind::Role || entry.kind == EntryKind::State) {
        const auto word = [&](uint32_t value) {
            return entry.kind == EntryKind::State ? stateWord(value)
                   : value == 0                   ? "none"
                                                  : roleWord(value);
        };
        json["instance"] = entry.instance;
        json["before"] = word(entry.before);
        json["after"] = word(entry.after);
    }
    if (entry.kind == EntryKind::Flush) {
        json["addresses"] = entry.count;
    }
    if (!entry.text.empty()) {
        json["text"] = entry.text;
    }
    return json;
}

void writeJson(std::ostream& out, Lab& lab) {
    const Scenario& scenario = lab.scenario();
    Json document = {{"format", 1},
                     {"scenario", scenario.name},
                     {"file", scenario.file},
                     {"seed", scenario.seed},
                     {"duration_us", scenario.duration},
                     {"passed", lab.failures().empty()}};
    document["failures"] = Json::array();
    for (const Failure& failure : lab.failures()) {
        document["failures"].push_back({{"at_us", failure.time},
                                        {"line", failure.place.line},
                                        {"column", failure.place.column},
                                        {"expected", failure.expected},
                                        {"found", failure.found}});
    }
    document["events"] = Json::array();
    for (const Period& period : lab.recorder().periods()) {
        document["events"].push_back(periodJson(period));
    }
    document["instances"] = Json::array();
    for (const uint32_t instance : instancesOf(scenario)) {
        document["instances"].push_back(instanceJson(lab, instance));
    }
    document["timeline"] = Json::array();
    for (const Entry& entry : lab.recorder().timeline()) {
        document["timeline"].push_back(entryJson(scenario, entry));
    }
    // Names in files may be anything; a byte that is no UTF-8 must not stop the report.
    out << document.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

} // namespace simtool
