// Why a network needed so long: the chains are whole, and name what was really waited for.

#include "causes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "parse.h"
#include "report.h"

using namespace simtool;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

namespace {

struct Explained {
    explicit Explained(const std::string& text)
        : scenario(parseScenario(text, "explained.yaml")), lab(scenario), causes(lab) {
        lab.run();
        causes.finish();
    }

    const Period& periodOf(const Chain& chain) const {
        return lab.recorder().periods()[chain.period];
    }
    /// The time of a kind of wait in the chain of an event; of all kinds if none is given.
    Microseconds waited(size_t chain, std::optional<Wait> what = std::nullopt) const {
        Microseconds sum = 0;
        for (const Step& step : causes.chains().at(chain).steps) {
            for (const Waited& each : step.waited) {
                sum += each.what == what.value_or(each.what) ? each.length : 0;
            }
        }
        return sum;
    }
    std::string text(bool withSteps) const {
        std::ostringstream out;
        writeWhy(out, lab, causes, withSteps);
        return out.str();
    }

    Scenario scenario;
    Lab lab;
    Causes causes;
};

const char* const RING = R"(
duration: 150s
defaults: {link: {delay: 1ms}}
generate: {kind: ring, bridges: 8}
bridges: {sw1: {priority: 0}}
events:
  - {at: 60s, cut: sw1-sw2}
  - {at: 90s, mend: sw1-sw2}
  - {at: 120s, crash: sw1}
)";

constexpr size_t CUT = 1;
constexpr size_t CRASH = 3;

} // namespace

TEST(Causes, OfEveryEventThatChangedSomethingAreFound) {
    const Explained run(RING);
    ASSERT_THAT(run.causes.chains(), SizeIs(4));
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(run.causes.chains()[i].period, i);
    }
}

TEST(Causes, AddUpToTheTimeThatTheNetworkNeeded) {
    const Explained run(RING);
    for (size_t i = 0; i < run.causes.chains().size(); i++) {
        const Chain& chain = run.causes.chains()[i];
        EXPECT_EQ(run.waited(i), run.periodOf(chain).settled()) << run.periodOf(chain).text;
    }
}

TEST(Causes, FollowEachOtherInTime) {
    const Explained run(RING);
    for (const Chain& chain : run.causes.chains()) {
        Microseconds last = run.periodOf(chain).at;
        for (const Step& step : chain.steps) {
            EXPECT_GE(step.time, last);
            last = step.time;
        }
        EXPECT_EQ(last, chain.time);
    }
}

TEST(Causes, OfACutBeginWithItsLink) {
    const Explained run(RING);
    const Step& first = run.causes.chains().at(CUT).steps.at(0);
    EXPECT_THAT(first.what, HasSubstr("is down"));
    EXPECT_LE(first.node, 1U);
}

TEST(Causes, OfACutHaveItsMillisecondForEachLinkOnTheWay) {
    const Explained run(RING);
    uint64_t links = 0;
    for (const Step& step : run.causes.chains().at(CUT).steps) {
        links += static_cast<uint64_t>(
            std::count_if(step.waited.begin(), step.waited.end(),
                          [](const Waited& each) { return each.what == Wait::Link; }));
    }
    EXPECT_GT(links, 4U);
    EXPECT_EQ(run.waited(CUT, Wait::Link), links * MILLISECOND);
}

TEST(Causes, OfACrashedRootAreThatItsInformationAgesOut) {
    const Explained run(RING);
    EXPECT_GE(run.waited(CRASH, Wait::MessageAge), 4 * SECOND);
    EXPECT_LE(run.waited(CRASH, Wait::MessageAge), 6 * SECOND);
}

TEST(Causes, OfAnOldBridgeAreItsForwardDelays) {
    const Explained run("duration: 90s\nbridges: {a: {version: stp, priority: 0}, b: }\n"
                        "links: [a-b]\nevents: [{at: 40s, cut: a-b}, {at: 45s, mend: a-b}]\n");
    EXPECT_EQ(run.waited(2, Wait::ForwardDelay), 30 * SECOND);
}

TEST(Causes, OfAFullHoldCountAreTheSecondsThatItTakes) {
    std::string text = RING;
    text.replace(text.find("{link:"), 6, "{bridge: {hold-count: 1}, link:");
    const Explained run(text);
    Microseconds held = 0;
    for (size_t i = 0; i < run.causes.chains().size(); i++) {
        held += run.waited(i, Wait::Hold);
    }
    EXPECT_GT(held, 0U);
}

TEST(Causes, OfACommandToAHungDaemonAreThatItWaits) {
    const Explained run(
        "duration: 60s\nbridges: {a: {priority: 4096}, b: }\nlinks: [a-b]\nevents:\n"
        "  - {at: 40s, hang: {bridge: b, for: 3s}}\n"
        "  - {at: 40s, set: b instance 0 priority 0}\n");
    EXPECT_EQ(run.waited(1, Wait::Management), 3 * SECOND);
}

TEST(Causes, AreToldWithTheirSums) {
    const std::string text = Explained(RING).text(true);
    EXPECT_THAT(text, HasSubstr("Why \"cut sw1-sw2\" took "));
    EXPECT_THAT(text, HasSubstr("60.000000"));
    EXPECT_THAT(text, HasSubstr("frames on links"));
    EXPECT_THAT(text, HasSubstr("passes of the driver"));
}

TEST(Causes, AreToldInSumsAlone) {
    EXPECT_THAT(Explained(RING).text(false), Not(HasSubstr("BPDU of sw")));
}
