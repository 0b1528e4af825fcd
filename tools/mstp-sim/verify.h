#pragma once

/// What must hold in every network, checked beside a scenario's own expectations: throughout the
/// run what is true at every moment, at its end that the trees are what they should be.

#include <set>
#include <string>
#include <vector>

#include "invariants.h"
#include "lab.h"
#include "sending_rate.h"

namespace simtool {

class Verifier {
  public:
    /// Watches from now on.
    explicit Verifier(Lab& lab);

    /// At the end of the run: adds what was violated to the lab's failures.
    void finish();

    /// Names of the known results (known.h) that the run met. Once it is finished.
    std::vector<std::string> known() const { return {m_known.begin(), m_known.end()}; }
    /// True if the configuration alone does not say which trees are right, so that frames may be
    /// lost and go round.
    bool undecided() const { return !m_undecided.empty(); }

  private:
    /// With the known result that it is.
    void fail(Failure failure);
    void addMoments();
    void checkTrees();
    /// @param settled  roles may be compared; otherwise only what the computation leaves open
    void compareTrees(bool settled);

    Lab& m_lab;
    sim::Invariants m_invariants;
    SendingRate m_rate;
    std::set<std::string> m_known;
    std::string m_undecided; ///< the known result by which there is no one right tree
};

} // namespace simtool
