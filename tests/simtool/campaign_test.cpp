// Random scenarios: made from two numbers, read by the tool itself, judged, made small.

#include "campaign.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "parse.h"

using namespace simtool;
using testing::HasSubstr;
using testing::Le;
using testing::SizeIs;

namespace {

// What one run tells.
std::string told(uint32_t jobs) {
    CampaignOptions options;
    options.seed = 5;
    options.count = 6;
    options.mostBridges = 4;
    options.jobs = jobs;
    std::ostringstream out;
    runCampaign(options, out);
    return out.str();
}

// Three bridges in a circle that get no time to come to rest.
Draft restless() {
    Draft draft;
    draft.kind = DraftKind::Storm;
    draft.bridges.resize(3);
    draft.links = {{{0, 1}}, {{1, 2}}, {{2, 0}}};
    draft.hosts = {{0}};
    DraftTrouble trouble;
    trouble.what = Trouble::Restart;
    trouble.at = 30 * SECOND;
    draft.troubles = {trouble};
    draft.quiet = 6 * SECOND;
    return draft;
}

} // namespace

TEST(Draft, SameNumbersMakeTheSameScenario) {
    EXPECT_EQ(draftText(draftScenario(3, 14, 64)), draftText(draftScenario(3, 14, 64)));
}

TEST(Draft, AnotherNumberMakesAnotherScenario) {
    EXPECT_NE(draftText(draftScenario(3, 14, 64)), draftText(draftScenario(3, 24, 64)));
}

TEST(Draft, IsReadWithoutAComplaint) {
    for (uint64_t number = 0; number < 300; number++) {
        const std::string text = draftText(draftScenario(7, number, 64));
        EXPECT_NO_THROW(parseScenario(text, "draft")) << text;
    }
}

TEST(Draft, HasNoMoreBridgesThanAllowed) {
    for (uint64_t number = 0; number < 100; number++) {
        EXPECT_THAT(draftScenario(9, number, 5).bridges, SizeIs(Le(5U)));
    }
}

TEST(Draft, NamesOfParallelLinksAreTheirOwn) {
    Draft draft = restless();
    draft.links.push_back(draft.links[0]);
    const Scenario scenario = parseScenario(draftText(draft), "draft");
    EXPECT_EQ(scenario.links[0].name, "link1");
    EXPECT_EQ(scenario.links[1].name, "sw2-sw3");
    EXPECT_EQ(scenario.links[3].name, "link4");
}

// Three bridges in a circle, a fourth behind sw1: the root of the CIST.
static Draft rootAtTheSide() {
    Draft draft;
    draft.instances = 0;
    draft.bridges.resize(4);
    draft.bridges[3].priorities[0] = 0;
    draft.links = {{{0, 1}}, {{1, 2}}, {{2, 0}}, {{3, 0}}};
    return draft;
}

static Microseconds settles(Draft draft, const DraftTrouble& trouble) {
    draft.troubles = {trouble};
    return settlesWithin(draft, trouble);
}

TEST(Draft, CircleThatIsCutSettlesByHandshakes) {
    DraftTrouble cut;
    cut.at = 30 * SECOND;
    cut.link = 1;
    EXPECT_EQ(settles(rootAtTheSide(), cut), 5 * SECOND);
}

TEST(Draft, CircleThatLosesItsRootMayForgetItByHops) {
    DraftTrouble cut;
    cut.at = 30 * SECOND;
    cut.link = 3;
    EXPECT_GT(settles(rootAtTheSide(), cut), 20 * SECOND);
}

TEST(Draft, RootThatStepsDownMayBeForgottenByHops) {
    DraftTrouble priority;
    priority.what = Trouble::Priority;
    priority.at = 30 * SECOND;
    priority.bridge = 3;
    priority.value = 15;
    EXPECT_GT(settles(rootAtTheSide(), priority), 20 * SECOND);
}

TEST(Draft, BetterRootIsHeardOfByHandshakes) {
    DraftTrouble priority;
    priority.what = Trouble::Priority;
    priority.at = 30 * SECOND;
    priority.bridge = 1;
    EXPECT_EQ(settles(rootAtTheSide(), priority), 5 * SECOND);
}

TEST(Draft, ChainThatLosesItsRootSettlesByHandshakes) {
    Draft draft = rootAtTheSide();
    draft.links.erase(draft.links.begin() + 2);
    DraftTrouble cut;
    cut.at = 30 * SECOND;
    cut.link = 2;
    EXPECT_EQ(settles(draft, cut), 5 * SECOND);
}

TEST(Judge, TellsWhichPromiseWasBrokenFirst) {
    const Outcome outcome = judge(draftText(restless()), "restless");
    EXPECT_EQ(outcome.verdict, Verdict::Failed);
    EXPECT_EQ(outcome.rule, "expected: settled");
}

TEST(Judge, TellsOfAFileThatCannotBeRead) {
    EXPECT_EQ(judge("bridges: [a, a b]", "bad").rule, "the file");
}

TEST(Judge, OutcomeStaysWholeBetweenProcesses) {
    const Outcome outcome = {Verdict::Failed, "loop", "two words\nand a line", {"a b", ""}, 77};
    EXPECT_EQ(unpackOutcome(packOutcome(outcome)), outcome);
}

TEST(Judge, OutcomeOfHalfItsBytesIsAFailure) {
    const std::string bytes = packOutcome({Verdict::Passed, "", "", {"one"}, 77});
    for (size_t length = 0; length < bytes.size(); length++) {
        EXPECT_EQ(unpackOutcome(bytes.substr(0, length)).verdict, Verdict::Failed) << length;
    }
}

TEST(Shrink, LeavesOutWhatTheFailureDoesNotNeed) {
    Judges judges(1, 300);
    const Draft small = shrink(restless(), "expected: settled", judges, 100);
    EXPECT_THAT(small.bridges, SizeIs(Le(2U)));
    EXPECT_THAT(small.hosts, SizeIs(Le(1U)));
    EXPECT_EQ(small.instances, 0U);
}

TEST(Shrink, LeavesADraftThatBreaksAnotherRule) {
    Judges judges(1, 300);
    EXPECT_THAT(shrink(restless(), "loop", judges, 20).bridges, SizeIs(3));
}

TEST(Campaign, TellsTheSameWhateverTheNumberOfJobs) {
    EXPECT_EQ(told(1), told(3));
}

TEST(Campaign, TellsHowToRunAFailureAgain) {
    CampaignOptions options;
    options.seed = 5;
    options.count = 3;
    options.mostBridges = 4;
    options.limit = 0;
    options.shrinkRuns = 0;
    std::ostringstream out;
    EXPECT_FALSE(runCampaign(options, out));
    EXPECT_THAT(out.str(),
                HasSubstr("mstp-sim campaign --seed 5 --first 2 --count 1 --max-bridges 4"));
}
