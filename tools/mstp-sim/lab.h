#pragma once

/// A scenario come to life: its network in virtual time, its events at their times, its
/// expectations checked.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "invariants.h"
#include "network.h"
#include "recorder.h"
#include "scenario.h"

namespace simtool {

struct Failure {
    Microseconds time = 0;
    Place place;
    std::string expected;
    std::string found;
    std::string rule = "refused"; ///< what kind of promise was broken, whoever broke it
    std::string known = {};       ///< the known result (known.h) that it is; empty = none
    uint32_t vlan = 0;            ///< 0 where it is about none
    sim::Circle circle = {};      ///< of a loop
    Microseconds settledBy = 0;   ///< when all should have been settled, if it should have been
};

class Lab {
  public:
    /// @param scenario  must outlive the lab
    explicit Lab(const Scenario& scenario, bool keepTimeline = true);

    /// Runs to the end. @param progress  called now and then
    void run(const std::function<void(Microseconds now)>& progress = {});

    const Scenario& scenario() const { return m_scenario; }
    sim::Network& network() { return m_network; }
    const Recorder& recorder() const { return m_recorder; }
    const std::vector<Failure>& failures() const { return m_failures; }
    uint64_t expectations() const { return m_expectations; }
    void fail(const Failure& failure) { m_failures.push_back(failure); }
    std::vector<Failure>& failuresToExplain() { return m_failures; }

    // The end's state, for reports.
    bool running(uint32_t bridge) const;
    uint32_t role(uint32_t bridge, uint32_t instance, uint32_t port) const;
    uint32_t state(uint32_t bridge, uint32_t instance, uint32_t port) const;
    /// The index of the root bridge (MSTI: regional root) that a bridge has in mind.
    std::optional<uint32_t> root(uint32_t bridge, uint32_t instance);
    bool runs(uint32_t bridge, uint32_t instance) const;
    /// True if frames of the instance's VLANs pass in both directions.
    bool linkForwards(uint32_t link, uint32_t instance) const;

  private:
    void build();
    void configure(uint32_t bridge);
    void configurePorts(uint32_t bridge);
    void schedule(const Event& event);
    void perform(const Event& event);
    void life(const SetLife& change);
    void repeat(const Repeat& repeat, const std::function<void()>& work);
    void repeatUntil(Microseconds every, Microseconds end, std::function<void()> work);
    void inject(const Inject& inject);
    void command(const Configure& configure);
    void refused(uint32_t bridge, const std::string& what, const std::string& why = "refused");

    // expectations
    void check(const Event& event, const Expect& expect);
    std::string found(const ExpectPort& expect);
    std::string found(const ExpectRoot& expect);
    std::string found(const ExpectSettled& expect);
    std::string found(const ExpectCount& expect);
    std::string found(const ExpectFrame& expect);
    std::string found(const ExpectValue& expect);
    std::string found(const ExpectPath& expect);
    bool reaches(uint32_t from, uint32_t to, uint32_t vlan) const;
    Microseconds since(const std::optional<Microseconds>& time) const;

    const Scenario& m_scenario;
    sim::Network m_network;
    Recorder m_recorder;
    std::vector<Failure> m_failures;
    uint64_t m_expectations = 0;
};

/// A value as the client shows it, of the daemon that is swapped in. @return none if it has none
std::optional<std::string> readValue(const Target& target, const Setting& setting);

/// Puts a command into force on the daemon that is swapped in. @return false if it was refused
bool applyHere(const Command& command);

} // namespace simtool
