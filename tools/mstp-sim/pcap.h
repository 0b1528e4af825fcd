#pragma once

/// Frames on simulated links as capture files: classic pcap with microseconds, which every packet
/// decoder reads. The run begins at the epoch.

#include <map>
#include <string>

#include "observer.h"
#include "scenario.h"

namespace simtool {

class Capture : public sim::Observer {
  public:
    Capture(const Scenario& scenario, const sim::Network& network)
        : m_scenario(scenario), m_network(network) {}

    /// Writes what is sent on @p link to @p file. @throws BadInput if it cannot be written
    void open(uint32_t link, const std::string& file);
    /// A file for each link, LINK.pcap, in a folder that is made if need be.
    void openAll(const std::string& folder);
    /// @throws BadInput if something could not be written
    void close();

    void frameSent(const sim::FrameEvent& event) override;

  private:
    // Written in pieces: a network has more links than a process may have open files.
    struct File {
        std::string name;
        std::string waiting;
    };
    static void write(File& file, bool first);

    const Scenario& m_scenario;
    const sim::Network& m_network;
    std::map<uint32_t, File> m_files;
};

/// The link that a command line means by @p text: a name, or ends as in the scenario's links.
/// @throws BadInput with those that there are
uint32_t findLink(const Scenario& scenario, const std::string& text);

} // namespace simtool
