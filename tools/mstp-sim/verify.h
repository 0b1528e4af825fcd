#pragma once

/// What must hold in every network, checked beside a scenario's own expectations: throughout the
/// run what is true at every moment, at its end that the trees are what they should be.

#include <map>
#include <set>
#include <string>
#include <vector>

#include "invariants.h"
#include "known.h"
#include "lab.h"
#include "old_root.h"
#include "oracle.h"
#include "sending_rate.h"

namespace simtool {

class Verifier {
  public:
    /// Watches from now on.
    explicit Verifier(Lab& lab);
    ~Verifier();
    Verifier(const Verifier&) = delete;
    Verifier& operator=(const Verifier&) = delete;

    /// At the end of the run: adds what was violated to the lab's failures.
    void finish();

    /// Names of the known results (known.h) that the run met. Once it is finished.
    std::vector<std::string> known() const { return {m_known.begin(), m_known.end()}; }
    /// True if the configuration alone does not say which trees are right, so that frames may be
    /// lost and go round.
    bool undecided() const { return !m_undecided.empty(); }

  private:
    /// When each port last changed its role or state.
    class Changes : public sim::Observer {
      public:
        void roleChanged(const sim::RoleEvent& event) override {
            m_last[{event.node, event.unit}] = event.time;
        }
        void stateChanged(const sim::StateEvent& event) override {
            m_last[{event.node, event.unit}] = event.time;
        }
        /// @return the last change of the others
        Microseconds without(const std::set<std::pair<uint32_t, uint32_t>>& ports) const;

      private:
        std::map<std::pair<uint32_t, uint32_t>, Microseconds> m_last;
    };

    /// With the known result that it is.
    void fail(Failure failure);
    std::string explain(const Failure& failure) const;
    /// What the scenario's own expectations met.
    void explainExpectations();
    void compareVersions(const oracle::Network& network);
    void findSigns();
    /// Once a second: a loop that lasts may be that of a boundary which is contested now.
    void lookAtLoops();
    bool wasContested(const Failure& failure) const;
    void addMoments();
    void checkTrees();
    /// @param settled  roles may be compared; otherwise only what the computation leaves open
    void compareTrees(bool settled);

    Lab& m_lab;
    sim::Invariants m_invariants;
    SendingRate m_rate;
    std::set<std::string> m_known;
    OldRoot m_oldRoot;
    Changes m_changes;
    Signs m_signs;
    std::map<Microseconds, std::set<uint32_t>>
        m_contested; ///< links, by time, while there are loops
    std::set<std::pair<uint32_t, uint32_t>>
        m_open;              ///< ports whose roles are open, by node and unit
    std::string m_undecided; ///< the known result by which there is no one right tree
};

} // namespace simtool
