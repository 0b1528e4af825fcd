#pragma once

/// What must hold in every network, checked beside a scenario's own expectations: throughout the
/// run what is true at every moment, at its end that the trees are what they should be.

#include <memory>

#include "invariants.h"
#include "lab.h"

namespace simtool {

class Verifier {
  public:
    /// Watches from now on.
    explicit Verifier(Lab& lab);

    /// At the end of the run: adds what was violated to the lab's failures.
    void finish();

  private:
    void checkTrees();
    void compareTrees();

    Lab& m_lab;
    sim::Invariants m_invariants;
};

} // namespace simtool
