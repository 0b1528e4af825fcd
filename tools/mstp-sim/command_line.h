#pragma once

/// The words behind mstp-sim, as what is to be done.

#include <cstdint>
#include <optional>
#include <string>

#include "campaign.h"
#include "generate.h"

namespace simtool {

enum class Job { Run, Check, Compare, Generate, Campaign };

struct Arguments {
    Job job = Job::Run;
    std::string file;
    std::string other;
    std::string dot;
    std::string svg;
    std::string pcap;
    std::string link;
    std::optional<uint64_t> seed;
    bool json = false;
    bool quiet = false;
    bool brief = false;
    bool verify = false;
    bool why = false;
    bool cost = false;
    Shape shape;
    CampaignOptions campaign;
};

/// @return none if the help or the version was asked for, which has been printed
/// @throws BadInput, in one line
std::optional<Arguments> readCommandLine(int argc, const char* const* argv);

} // namespace simtool
