// Commands at run time go the way of a client's: as requests through the daemon's command socket,
// served by its loop when their turn comes, and refused with the client's words.

#include "apply.h"
#include "lab.h"

namespace simtool {

namespace {

class SimulatedDaemon : public Daemon {
  public:
    SimulatedDaemon(sim::Network& network, uint32_t node)
        : Daemon(""), m_network(network), m_node(node) {}

  protected:
    std::vector<uint8_t> exchange(const std::vector<uint8_t>& message) const override {
        std::vector<uint8_t> reply = m_network.exchange(m_node, message);
        if (reply.empty()) {
            throw Unreachable("the daemon does not answer");
        }
        return reply;
    }

  private:
    sim::Network& m_network;
    uint32_t m_node;
};

// Without the command, which is told before it.
std::string reasonOf(const std::string& refusal, const std::string& words) {
    const std::string prefix = words + ": ";
    return refusal.compare(0, prefix.size(), prefix) == 0 ? refusal.substr(prefix.size()) : refusal;
}

} // namespace

void Lab::command(const Configure& configure) {
    const sim::Node& node = m_network.node(configure.bridge);
    const std::string words = commandWords(configure.command);
    if (node.state == sim::NodeState::Off) {
        refused(configure.bridge, words, "no daemon runs there");
        return;
    }
    // The request waits in the socket until the loop goes on.
    if (node.state == sim::NodeState::Hung) {
        m_network.at(node.hungUntil, [this, configure] { command(configure); });
        return;
    }
    try {
        applyCommand(SimulatedDaemon(m_network, configure.bridge), configure.command);
    } catch (const std::runtime_error& error) {
        refused(configure.bridge, words, reasonOf(error.what(), words));
    }
}

} // namespace simtool
