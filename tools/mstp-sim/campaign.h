#pragma once

/// Many random scenarios, each run with everything checked; what fails is made small.

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "draft.h"
#include "judge.h"

namespace simtool {

struct CampaignOptions {
    uint64_t seed = 1;
    uint64_t first = 0;
    uint64_t count = 500;
    uint64_t minutes = 0; ///< runs for so long instead of so many; 0 = so many
    uint32_t jobs = 1;
    uint32_t mostBridges = 64;
    bool large = false;         ///< half of the networks
    uint32_t shrinkRuns = 400;  ///< for each failure; 0 = leave it as it is
    uint32_t mostFailures = 10; ///< that are made small, and told
    uint32_t limit = 300;       ///< seconds of the wall clock for a scenario
    bool stopAtFailure = false;
    std::string out; ///< folder for the files of what failed; empty = none
};

/// @return false if a scenario failed
bool runCampaign(const CampaignOptions& options, std::ostream& out);

/// The smallest draft found that still breaks the same rule. The same whatever the number of jobs.
/// @param runs  at most so many scenarios are tried
Draft shrink(const Draft& draft, const std::string& rule, Judges& judges, uint32_t runs);

} // namespace simtool
