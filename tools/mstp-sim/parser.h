#pragma once

/// The inside of the scenario parser: what its two halves, the network and the events, share.

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "yaml_reader.h"

namespace simtool {

class Parser {
  public:
    explicit Parser(Scenario& scenario) : m_scenario(scenario) {}

    void parse(const YAML::Node& root);

    Complaints complaints;

  private:
    // the network
    void readDefaults(const YAML::Node& node);
    void readGenerator(const YAML::Node& node);
    void readBridges(const YAML::Node& node);
    void readBridge(BridgePlan& bridge, const YAML::Node& node, bool isDefault);
    void readRegion(BridgePlan& bridge, const YAML::Node& node);
    void readInstances(BridgePlan& bridge, const YAML::Node& node);
    void readPorts(BridgePlan& bridge, const YAML::Node& node);
    void readPort(BridgePlan& bridge, uint32_t port, const YAML::Node& node);
    void readHosts(const YAML::Node& node);
    void readHost(const std::string& name, const YAML::Node& place, const YAML::Node& node);
    void readLinks(const YAML::Node& node);
    void readLink(const YAML::Node& node);
    void readLinkOptions(sim::LinkOptions& options, Fields& fields);
    void readSettings(std::vector<SetCommand>& settings, Fields& fields, const Target& target);
    void readSetting(std::vector<SetCommand>& settings, const Target& target,
                     const std::string& name, const YAML::Node& value);
    BridgePlan& addBridge(const std::string& name, const Place& place);
    void givePorts();
    void nameLinks();
    void checkBridges();

    // references
    std::optional<uint32_t> bridgeOf(const YAML::Node& node, const std::string& name);
    std::optional<uint32_t> hostOf(const YAML::Node& node, const std::string& name);
    std::optional<End> endOf(const YAML::Node& node, const std::string& text);
    /// Complains if the bridge has no such port.
    void expectAPort(const YAML::Node& node, uint32_t bridge, uint32_t port);
    std::optional<uint32_t> linkOf(const YAML::Node& node, const std::string& text);
    std::optional<std::pair<uint32_t, uint32_t>> plugOf(const YAML::Node& node,
                                                        const std::string& text);
    std::vector<std::string> bridgeNames() const;

    // events
    void readEvents(const YAML::Node& node);
    void readEvent(const YAML::Node& node);
    bool readAction(Fields& fields, const std::string& name, const YAML::Node& value);
    void add(const YAML::Node& node, const std::string& text, Action action);
    void readHang(const YAML::Node& node);
    void readImpair(const YAML::Node& node);
    void readCommand(const YAML::Node& node, const char* prefix);
    void readSend(const YAML::Node& node);
    void readInject(const YAML::Node& node);
    Repeat readRepeat(Fields& fields);
    std::map<std::string, std::string> readBpduFields(Fields& fields, bool compose);
    void readBpduField(std::map<std::string, std::string>& result, const std::string& name,
                       const YAML::Node& key, const YAML::Node& value, bool compose);
    std::string bridgeIdText(const std::string& text, bool compose);

    // expectations
    void readExpectations(const YAML::Node& node);
    void readExpectation(const YAML::Node& node);
    std::optional<Expectation> expectationOf(Fields& fields);
    std::optional<Expectation> expectPort(Fields& fields, const YAML::Node& node);
    std::optional<Expectation> expectRoot(Fields& fields, const YAML::Node& node);
    std::optional<Expectation> expectFrame(Fields& fields, const YAML::Node& node);
    std::optional<Expectation> expectValue(Fields& fields, const YAML::Node& node);
    std::optional<Expectation> expectPath(Fields& fields, const YAML::Node& node);
    ExpectCount expectCount(Fields& fields, const YAML::Node& node, Counter counter);
    uint32_t readInstance(Fields& fields);
    void readLimits(Fields& fields, uint64_t& least, uint64_t& most);
    std::optional<Microseconds> readSince(Fields& fields);

    Scenario& m_scenario;
    std::map<std::string, uint32_t> m_bridges;
    std::map<std::string, uint32_t> m_hosts;
    YAML::Node m_bridgeDefaults;
    sim::LinkOptions m_linkDefaults;
    std::vector<LinkPlan> m_hostLinks; ///< behind all others: they get the ports that are left
    std::map<std::pair<uint32_t, uint32_t>, bool>
        m_stp;             ///< ports told to be none of STP's, or to be
    Microseconds m_at = 0; ///< of the event that is being read
};

/// A node on one line, as flow style has it.
std::string flowText(const YAML::Node& node);

/// Calls @p each for a node, or for each element of a list.
void eachOf(const YAML::Node& node, const std::function<void(const YAML::Node&)>& each);

} // namespace simtool
