#include "pcap.h"

#include <filesystem>
#include <fstream>

#include "network.h"
#include "yaml_reader.h"

namespace simtool {

static constexpr uint32_t MAGIC = 0xA1B2C3D4; // microseconds
static constexpr uint32_t ETHERNET = 1;
static constexpr uint32_t LONGEST = 65535;
static constexpr size_t PIECE = 1U << 16;

// Little-endian whatever the machine: the file is the same everywhere.
static void put(std::string& out, uint64_t value, uint32_t bytes) {
    for (uint32_t i = 0; i < bytes; i++) {
        out += static_cast<char>(value >> (8 * i));
    }
}

void Capture::write(File& file, bool first) {
    std::ofstream out(file.name, first ? std::ios::binary : std::ios::binary | std::ios::app);
    out.write(file.waiting.data(), static_cast<std::streamsize>(file.waiting.size()));
    out.close();
    if (!out) {
        throw BadInput(file.name + ": the file cannot be written\n");
    }
    file.waiting.clear();
}

void Capture::open(uint32_t link, const std::string& name) {
    File& file = m_files[link];
    file.name = name;
    put(file.waiting, MAGIC, 4);
    put(file.waiting, 2, 2);
    put(file.waiting, 4, 2);
    put(file.waiting, 0, 4); // time zone
    put(file.waiting, 0, 4); // accuracy
    put(file.waiting, LONGEST, 4);
    put(file.waiting, ETHERNET, 4);
    write(file, true);
}

void Capture::openAll(const std::string& folder) {
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure) {
        throw BadInput(folder + ": the folder cannot be made\n");
    }
    for (uint32_t link = 0; link < m_scenario.links.size(); link++) {
        open(link, folder + "/" + m_scenario.links[link].name + ".pcap");
    }
}

// A link that is down carries nothing.
void Capture::frameSent(const sim::FrameEvent& event) {
    const auto found = m_files.find(event.link);
    if (found == m_files.end() || !m_network.link(event.link).up) {
        return;
    }
    std::string& out = found->second.waiting;
    put(out, event.time / SECOND, 4);
    put(out, event.time % SECOND, 4);
    put(out, event.bytes->size(), 4);
    put(out, event.bytes->size(), 4);
    out.append(event.bytes->begin(), event.bytes->end());
    if (out.size() > PIECE) {
        write(found->second, false);
    }
}

void Capture::close() {
    for (auto& [link, file] : m_files) {
        write(file, false);
    }
}

uint32_t findLink(const Scenario& scenario, const std::string& text) {
    std::vector<std::string> names;
    for (uint32_t i = 0; i < scenario.links.size(); i++) {
        const LinkPlan& link = scenario.links[i];
        std::vector<std::string> ends;
        for (const End& end : link.ends) {
            ends.push_back(endName(scenario, end));
        }
        if (text == link.name || text == joined(ends, "-")) {
            return i;
        }
        names.push_back(link.name);
    }
    throw BadInput("mstp-sim: there is no link \"" + text + "\"; there are: " + joined(names) +
                   "\n");
}

} // namespace simtool
