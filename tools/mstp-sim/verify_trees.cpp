// The final trees against those computed from the configuration alone. The configuration is what
// the daemons say that it is at the end of the run, so that what events have set counts too.

#include <algorithm>

#include "mstp/context.h"
#include "mstp/enums.h"
#include "oracle.h"
#include "verify.h"
#include "words.h"

namespace simtool {

namespace {

class Configuration {
  public:
    explicit Configuration(Lab& lab) : m_lab(lab) {}

    /// @return why nothing can be said, or nothing
    std::string build() {
        const Scenario& scenario = m_lab.scenario();
        for (const Event& event : scenario.events) {
            if (std::holds_alternative<Inject>(event.action)) {
                return "BPDUs of strangers were injected";
            }
        }
        for (uint32_t l = 0; l < scenario.links.size(); l++) {
            for (const sim::Link::End& end : m_lab.network().link(l).ends) {
                if (!end.sends) {
                    return "links lost one direction";
                }
            }
        }
        for (const BridgePlan& bridge : scenario.bridges) {
            for (const auto& [port, settings] : bridge.ports) {
                for (const SetCommand& command : settings) {
                    const std::string name = command.setting->name;
                    if (name == "bpdu-filter" || name == "pre-standard") {
                        return "ports do not hear or say everything";
                    }
                }
            }
        }
        network.bridges.resize(scenario.bridges.size());
        for (uint32_t b = 0; b < scenario.bridges.size(); b++) {
            if (m_lab.running(b) && !readBridge(b)) {
                return "ports or instances are protected";
            }
        }
        for (uint32_t l = 0; l < scenario.links.size(); l++) {
            readLink(l);
        }
        return "";
    }

    oracle::Network network;

  private:
    std::string value(uint32_t bridge, const Target& target, const char* name) {
        std::optional<std::string> text;
        const Setting& setting = findSetting(target.object, name, Access::Read);
        m_lab.network().peek(bridge, [&] { text = readValue(target, setting); });
        return text.value_or("");
    }

    uint32_t number(uint32_t bridge, const Target& target, const char* name) {
        return parseNumber(value(bridge, target, name)).value_or(0);
    }

    bool readBridge(uint32_t b) {
        const Target whole = {Object::Bridge, 0, ""};
        const Target region = {Object::Region, 0, ""};
        oracle::Bridge& bridge = network.bridges[b];
        std::copy_n(m_lab.scenario().bridges[b].mac.begin(), bridge.mac.size(), bridge.mac.begin());
        const std::string version = value(b, whole, "version");
        bridge.version = version == "stp" ? 1 : version == "rstp" ? 2 : 3;
        bridge.maxHops = number(b, whole, "max-hops");
        bridge.maxAge = number(b, whole, "max-age");
        bridge.decadeCosts = value(b, whole, "path-cost-method") == "short";
        bridge.region = value(b, region, "name") + "/" + value(b, region, "revision") + "/" +
                        value(b, region, "format-selector") + "/" + value(b, region, "digest");
        bridge.priorities.clear();
        for (uint32_t i = 0; i <= HIGHEST_INSTANCE; i++) {
            const Target instance = {Object::Instance, i, ""};
            const std::string priority = value(b, instance, "priority");
            if (priority.empty()) {
                continue;
            }
            bridge.priorities[i] = parseNumber(priority).value_or(0) / 4096;
            if (value(b, instance, "root-protection") == "on") {
                return false;
            }
        }
        return true;
    }

    void readLink(uint32_t l) {
        const sim::Link& link = m_lab.network().link(l);
        oracle::Segment segment;
        segment.up = link.up;
        for (uint32_t e = 0; e < link.ends.size(); e++) {
            const End& end = m_lab.scenario().links[l].ends[e];
            if (end.host || m_lab.role(end.owner, 0, end.port) == 0) {
                continue;
            }
            segment.ends.push_back(
                {end.owner, end.port, link.ends[e].up, classic(end.owner, end.port)});
            readPort(end, link.options.speed);
        }
        network.segments.push_back(std::move(segment));
    }

    // Whether the port has fallen back to STP is what it has heard, not what it is configured to.
    bool classic(uint32_t bridge, uint32_t unit) const {
        const tMstp& context = m_lab.network().node(bridge).context;
        for (uint32_t p = 0; p < context.portLimit; p++) {
            const tMstpPort& port = context.ports[p];
            if (port.state == MSTP_SLOT_IN_USE && port.unit == unit) {
                return port.sendRSTP == 0;
            }
        }
        return false;
    }

    void readPort(const End& end, uint32_t speed) {
        oracle::Port& port = network.bridges[end.owner].ports[end.port];
        port.unit = end.port;
        port.speed = speed;
        const std::string interface = std::to_string(end.port);
        for (const auto& [instance, priority] : network.bridges[end.owner].priorities) {
            const Target member = {Object::InstancePort, instance, interface};
            port.instances[instance] = {number(end.owner, member, "priority") / 16,
                                        number(end.owner, member, "cost")};
        }
    }

    Lab& m_lab;
};

} // namespace

void Verifier::lookAtLoops() {
    if (m_invariants.looping()) {
        Configuration configuration(m_lab);
        const bool known = configuration.build().empty();
        const oracle::Trees trees =
            known ? oracle::compute(configuration.network) : oracle::Trees();
        std::set<uint32_t>& links = m_contested[m_lab.network().time()];
        links.insert(trees.contested.begin(), trees.contested.end());
    }
    m_lab.network().at(m_lab.network().time() + SECOND, [this] { lookAtLoops(); });
}

// Who hears RST BPDUs goes back to them (13.29). Where nobody sends any, both ends may go on as in
// the days of an STP bridge until somebody asks for a migration check.
void Verifier::compareVersions(const oracle::Network& network) {
    for (uint32_t l = 0; l < network.segments.size(); l++) {
        const std::vector<oracle::End>& ends = network.segments[l].ends;
        const bool know = std::all_of(ends.begin(), ends.end(), [&](const oracle::End& end) {
            return end.up && network.bridges[end.bridge].version >= 2;
        });
        if (!network.segments[l].up || !know || ends.size() != 2 ||
            m_lab.scenario().links[l].ends.size() != 2) {
            continue;
        }
        for (uint32_t e = 0; e < 2; e++) {
            const oracle::End& hearer = ends[e];
            const oracle::End& sender = ends[1 - e];
            if (hearer.classic.value_or(false) && !sender.classic.value_or(true) &&
                m_lab.role(sender.bridge, 0, sender.unit) == MSTP_PORT_ROLE_DESIGNATED) {
                fail({m_lab.network().time(),
                      {},
                      m_lab.scenario().bridges[hearer.bridge].name + "." +
                          std::to_string(hearer.unit) + " goes back to RST or MST BPDUs",
                      "it hears them and does not",
                      "version"});
            }
        }
    }
}

void Verifier::compareTrees(bool settled) {
    Configuration configuration(m_lab);
    if (!configuration.build().empty()) {
        return;
    }
    if (settled) {
        compareVersions(configuration.network);
    }
    const oracle::Trees trees = oracle::compute(configuration.network);
    if (!trees.tooFar.empty()) {
        m_undecided = "out of reach";
        return;
    }
    if (!trees.contested.empty() || !trees.yielding.empty()) {
        m_undecided = CONTESTED;
        for (const std::vector<uint32_t>* segments : {&trees.contested, &trees.yielding}) {
            for (const uint32_t segment : *segments) {
                for (const End& end : m_lab.scenario().links[segment].ends) {
                    m_open.insert({end.owner, end.port});
                }
            }
        }
        return;
    }
    for (const auto& [key, role] : trees.roles) {
        const uint32_t actual = m_lab.role(key.bridge, key.instance, key.unit);
        const auto expected = static_cast<uint32_t>(role);
        if (settled && actual != expected) {
            fail({m_lab.network().time(),
                  {},
                  m_lab.scenario().bridges[key.bridge].name + "." + std::to_string(key.unit) +
                      " is " + roleWord(expected) + " in " +
                      (key.instance == 0 ? "the CIST" : "MSTI " + std::to_string(key.instance)) +
                      ", as computed from the configuration",
                  actual == 0 ? "none" : roleWord(actual),
                  "role"});
        }
    }
}

} // namespace simtool
