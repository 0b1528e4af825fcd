#pragma once

/// Runs a scenario with everything checked, and says in short how it ended.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "scenario.h"

namespace simtool {

enum class Verdict : uint8_t { Passed, Known, Failed };

struct Outcome {
    Verdict verdict = Verdict::Failed;
    std::string rule;               ///< which was broken first, the same whatever bridge broke it
    std::string detail;             ///< how, when, where
    std::vector<std::string> known; ///< names of the known results that were met
    uint64_t fingerprint = 0;       ///< of every BPDU, role and state

    bool operator==(const Outcome& other) const = default;
};

/// Runs the scenario of a file's text in this process.
Outcome judge(const std::string& text, const std::string& file);

/// Runs many, each in a process of its own: one that crashes or does not end harms no other.
class Judges {
  public:
    /// @param limit  seconds of the wall clock that a scenario may take; then it has no end
    Judges(uint32_t jobs, uint32_t limit) : m_jobs(jobs == 0 ? 1 : jobs), m_limit(limit) {}

    /// @param next  the text of the next scenario; empty when there are no more
    /// @param done  called once for each, in the order in which they ended
    void run(const std::function<std::string(uint64_t number)>& next,
             const std::function<void(uint64_t number, const Outcome& outcome)>& done);

  private:
    uint32_t m_jobs;
    uint32_t m_limit;
};

/// An outcome as bytes, between processes.
std::string packOutcome(const Outcome& outcome);
/// @return a failed outcome if the bytes are not whole
Outcome unpackOutcome(const std::string& bytes);

} // namespace simtool
