#include "platform/timer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <vector>

#include "sim_platform.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint64_t kTick = 10000; // microseconds

void setClock(uint64_t microseconds) {
    sim::setNow(microseconds);
}

void appendNumber(void* numbers, void* number, void*) {
    static_cast<std::vector<intptr_t>*>(numbers)->push_back(reinterpret_cast<intptr_t>(number));
}

class TimerList : public testing::Test {
  protected:
    void SetUp() override {
        setClock(m_now);
        ASSERT_EQ(timerListInit(&m_list), 0);
    }

    void TearDown() override { timerListRelease(&m_list); }

    void advance(uint64_t microseconds) {
        m_now += microseconds;
        setClock(m_now);
    }

    // Arms a node that writes @p number into m_fired.
    void arm(tTimerNode* node, uint32_t ticks, intptr_t number) {
        timerStart(&m_list, node, ticks, appendNumber, &m_fired, reinterpret_cast<void*>(number),
                   nullptr);
    }

    void check() { timerListCheck(&m_list); }

    // Nodes that outlive the list.
    std::vector<tTimerNode>& newNodes(size_t count) { return m_nodes.emplace_back(count); }

    tTimerNode& newNode() { return newNodes(1)[0]; }

    uint64_t m_now = 1234567891;
    tTimerLst m_list{};
    std::list<std::vector<tTimerNode>> m_nodes;
    std::vector<intptr_t> m_fired;
};

TEST_F(TimerList, NodeFiresWhenItsDelayIsOver) {
    tTimerNode& node = newNode();
    arm(&node, 5, 1);
    advance(5 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(1));
}

TEST_F(TimerList, NodeNeverFiresEarly) {
    tTimerNode& node = newNode();
    arm(&node, 5, 1);
    advance(5 * kTick - 1);
    check();
    EXPECT_THAT(m_fired, IsEmpty());
    EXPECT_TRUE(listLinked(&node.node));
}

TEST_F(TimerList, NodeNeverFiresEarlyWhateverItsDelayAndThePhaseOfTheClock) {
    for (const uint64_t phase : {1ULL, 4999ULL, 9999ULL}) {
        for (const uint32_t ticks : {1U, 63U, 64U, 65U, 4095U, 4096U, 262144U, 0xFFFFFFFFU}) {
            tTimerNode& node = newNode();
            advance(phase);
            m_fired.clear();
            arm(&node, ticks, 1);
            advance(ticks * kTick - 1);
            check();
            EXPECT_THAT(m_fired, IsEmpty()) << ticks << " " << phase;
            advance(1);
            check();
            EXPECT_THAT(m_fired, ElementsAre(1)) << ticks << " " << phase;
        }
    }
}

TEST_F(TimerList, NodeFiresOnce) {
    tTimerNode& node = newNode();
    arm(&node, 1, 1);
    advance(kTick);
    check();
    advance(1000 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(1));
}

void recordLinked(void* node, void* linked, void*) {
    *static_cast<bool*>(linked) = listLinked(&static_cast<tTimerNode*>(node)->node);
}

TEST_F(TimerList, NodeIsIdleWhileItsCallBackRuns) {
    tTimerNode& node = newNode();
    bool linked = true;
    timerStart(&m_list, &node, 1, recordLinked, &node, &linked, nullptr);
    advance(kTick);
    check();
    EXPECT_FALSE(linked);
}

void copyArguments(void* arg1, void* arg2, void* arg3) {
    *static_cast<void**>(arg1) = arg2;
    *static_cast<void**>(arg2) = arg3;
}

TEST_F(TimerList, CallBackGetsItsThreeArguments) {
    tTimerNode& node = newNode();
    void* first = nullptr;
    void* second = nullptr;
    int third = 0;
    timerStart(&m_list, &node, 0, copyArguments, &first, &second, &third);
    check();
    EXPECT_EQ(first, &second);
    EXPECT_EQ(second, &third);
}

TEST_F(TimerList, ZeroTicksFiresAtTheNextCheck) {
    tTimerNode& node = newNode();
    arm(&node, 0, 1);
    EXPECT_EQ(timerListNextTimeout(&m_list), 0U);
    check();
    EXPECT_THAT(m_fired, ElementsAre(1));
}

TEST_F(TimerList, StoppedNodeDoesNotFire) {
    tTimerNode& node = newNode();
    arm(&node, 1, 1);
    EXPECT_EQ(timerStop(&m_list, &node), 0);
    EXPECT_FALSE(listLinked(&node.node));
    advance(kTick);
    check();
    EXPECT_THAT(m_fired, IsEmpty());
}

TEST_F(TimerList, StoppingAnIdleNodeIsHarmless) {
    tTimerNode& node = newNode();
    EXPECT_EQ(timerStop(&m_list, &node), 0);
    EXPECT_EQ(timerListNextTimeout(&m_list), TIMER_NO_TIMEOUT);
}

TEST_F(TimerList, StoppedNodeCanBeStartedAgain) {
    tTimerNode& node = newNode();
    arm(&node, 1, 1);
    timerStop(&m_list, &node);
    arm(&node, 3, 2);
    advance(3 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(2));
}

TEST_F(TimerList, NodesFireInOrderOfExpiryNotOfArming) {
    std::vector<tTimerNode>& nodes = newNodes(5);
    arm(&nodes[0], 5000, 5000);
    arm(&nodes[1], 3, 3);
    arm(&nodes[2], 70, 70);
    arm(&nodes[3], 1, 1);
    arm(&nodes[4], 300000, 300000);
    advance(300000 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(1, 3, 70, 5000, 300000));
}

TEST_F(TimerList, NodesOfOneSlotFireInOrderOfExpiry) {
    tTimerNode& late = newNode();
    tTimerNode& early = newNode();
    setClock(1300000000);
    arm(&early, 2, 1);
    timerStop(&m_list, &early);
    setClock(1300000500);
    arm(&late, 1, 2);
    setClock(1300000600);
    arm(&early, 1, 3);
    timerStop(&m_list, &late);
    setClock(1300000700);
    arm(&late, 1, 2);
    setClock(1300020000);
    check();
    EXPECT_THAT(m_fired, ElementsAre(3, 2));
}

TEST_F(TimerList, EqualsFireInTheOrderInWhichTheyWereArmed) {
    std::vector<tTimerNode>& nodes = newNodes(200);
    std::vector<intptr_t> expected;
    for (size_t i = 0; i < nodes.size(); i++) {
        arm(&nodes[i], 100000, static_cast<intptr_t>(i));
        expected.push_back(static_cast<intptr_t>(i));
    }
    for (int step = 0; step < 100; step++) {
        advance(1000 * kTick);
        check();
    }
    EXPECT_EQ(m_fired, expected);
}

TEST_F(TimerList, EqualsOfDifferentDelaysFireInTheOrderInWhichTheyWereArmed) {
    std::vector<tTimerNode>& nodes = newNodes(3);
    arm(&nodes[0], 10000, 0);
    advance(9000 * kTick);
    arm(&nodes[1], 1000, 1);
    advance(990 * kTick);
    check();
    arm(&nodes[2], 10, 2);
    advance(10 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(0, 1, 2));
}

TEST_F(TimerList, RestartedNodeQueuesBehindItsEquals) {
    std::vector<tTimerNode>& nodes = newNodes(2);
    arm(&nodes[0], 7, 0);
    arm(&nodes[1], 7, 1);
    timerStop(&m_list, &nodes[0]);
    arm(&nodes[0], 7, 0);
    advance(7 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(1, 0));
}

// What a call-back does to other nodes of its list.
struct Action {
    tTimerLst* list;
    tTimerNode* node;
    std::vector<intptr_t>* fired;
    uint32_t ticks;
};

void stopNode(void* argument, void*, void*) {
    auto* action = static_cast<Action*>(argument);
    timerStop(action->list, action->node);
}

void restartNode(void* argument, void*, void*) {
    auto* action = static_cast<Action*>(argument);
    timerStop(action->list, action->node);
    timerStart(action->list, action->node, action->ticks, appendNumber, action->fired,
               reinterpret_cast<void*>(intptr_t{9}), nullptr);
}

TEST_F(TimerList, CallBackStopsNodeThatIsDueInTheSameCheck) {
    tTimerNode& stopper = newNode();
    tTimerNode& victim = newNode();
    Action action = {&m_list, &victim, &m_fired, 0};
    timerStart(&m_list, &stopper, 1, stopNode, &action, nullptr, nullptr);
    arm(&victim, 2, 1);
    advance(2 * kTick);
    check();
    EXPECT_THAT(m_fired, IsEmpty());
    EXPECT_FALSE(listLinked(&victim.node));
    EXPECT_EQ(timerListNextTimeout(&m_list), TIMER_NO_TIMEOUT);
}

TEST_F(TimerList, CallBackRestartsNodeThatIsDueInTheSameCheck) {
    tTimerNode& starter = newNode();
    tTimerNode& node = newNode();
    Action action = {&m_list, &node, &m_fired, 4};
    timerStart(&m_list, &starter, 1, restartNode, &action, nullptr, nullptr);
    arm(&node, 1, 1);
    advance(kTick);
    check();
    EXPECT_THAT(m_fired, IsEmpty());
    EXPECT_EQ(timerRemain(&node), 4);
    advance(4 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(9));
}

TEST_F(TimerList, ZeroTicksStartedFromACallBackWaitForTheNextCheck) {
    tTimerNode& starter = newNode();
    tTimerNode& node = newNode();
    Action action = {&m_list, &node, &m_fired, 0};
    timerStart(&m_list, &starter, 1, restartNode, &action, nullptr, nullptr);
    advance(kTick);
    check();
    EXPECT_THAT(m_fired, IsEmpty());
    EXPECT_EQ(timerListNextTimeout(&m_list), 0U);
    check();
    EXPECT_THAT(m_fired, ElementsAre(9));
}

TEST_F(TimerList, CallBackMayArmItsOwnNodeAgain) {
    tTimerNode& node = newNode();
    Action action = {&m_list, &node, &m_fired, 6};
    timerStart(&m_list, &node, 1, restartNode, &action, nullptr, nullptr);
    advance(kTick);
    check();
    EXPECT_EQ(timerListNextTimeout(&m_list), 6U);
}

void askTimeout(void* list, void* result, void*) {
    *static_cast<uint32_t*>(result) = timerListNextTimeout(static_cast<tTimerLst*>(list));
}

TEST_F(TimerList, NextTimeoutIsZeroWhileDueNodesWaitForTheirTurn) {
    tTimerNode& asker = newNode();
    tTimerNode& other = newNode();
    uint32_t timeout = 77;
    timerStart(&m_list, &asker, 1, askTimeout, &m_list, &timeout, nullptr);
    arm(&other, 1, 1);
    advance(kTick);
    check();
    EXPECT_EQ(timeout, 0U);
}

TEST_F(TimerList, NextTimeoutOfAnEmptyListIsNone) {
    EXPECT_EQ(timerListNextTimeout(&m_list), TIMER_NO_TIMEOUT);
}

TEST_F(TimerList, NextTimeoutRoundsUp) {
    tTimerNode& node = newNode();
    arm(&node, 5, 1);
    EXPECT_EQ(timerListNextTimeout(&m_list), 5U);
    advance(1);
    EXPECT_EQ(timerListNextTimeout(&m_list), 5U);
    advance(kTick - 1);
    EXPECT_EQ(timerListNextTimeout(&m_list), 4U);
    advance(4 * kTick - 1);
    EXPECT_EQ(timerListNextTimeout(&m_list), 1U);
    advance(1);
    EXPECT_EQ(timerListNextTimeout(&m_list), 0U);
}

TEST_F(TimerList, NextTimeoutFollowsTheEarliestNodeWhenItIsStopped) {
    std::vector<tTimerNode>& nodes = newNodes(4);
    arm(&nodes[0], 900, 0);
    arm(&nodes[1], 800, 1);
    arm(&nodes[2], 850, 2);
    arm(&nodes[3], 700, 3);
    timerStop(&m_list, &nodes[3]);
    EXPECT_EQ(timerListNextTimeout(&m_list), 800U);
    timerStop(&m_list, &nodes[1]);
    EXPECT_EQ(timerListNextTimeout(&m_list), 850U);
    arm(&nodes[1], 820, 1);
    EXPECT_EQ(timerListNextTimeout(&m_list), 820U);
    timerStop(&m_list, &nodes[1]);
    timerStop(&m_list, &nodes[2]);
    EXPECT_EQ(timerListNextTimeout(&m_list), 900U);
}

TEST_F(TimerList, LongestDelayIsNotTakenForNone) {
    tTimerNode& node = newNode();
    arm(&node, 0xFFFFFFFF, 1);
    EXPECT_EQ(timerListNextTimeout(&m_list), TIMER_NO_TIMEOUT - 1);
}

TEST_F(TimerList, RemainCountsDownAndRoundsUp) {
    tTimerNode& node = newNode();
    EXPECT_EQ(timerRemain(&node), 0);
    arm(&node, 300, 1);
    EXPECT_EQ(timerRemain(&node), 300);
    advance(1);
    EXPECT_EQ(timerRemain(&node), 300);
    advance(100 * kTick - 1);
    EXPECT_EQ(timerRemain(&node), 200);
    advance(200 * kTick);
    EXPECT_EQ(timerRemain(&node), 0);
    advance(kTick);
    EXPECT_EQ(timerRemain(&node), 0);
    timerStop(&m_list, &node);
    EXPECT_EQ(timerRemain(&node), 0);
}

TEST_F(TimerList, DelayOfMinusOneSecondRemainsAsANegativeNumber) {
    tTimerNode& node = newNode();
    arm(&node, static_cast<uint32_t>(-100), 1);
    EXPECT_EQ(timerRemain(&node), -100);
}

TEST_F(TimerList, HeadMayBeCopiedAwayAndBack) {
    tTimerNode& node = newNode();
    arm(&node, 3, 1);
    const tTimerLst copy = m_list;
    m_list = tTimerLst{};
    EXPECT_EQ(timerListNextTimeout(&m_list), TIMER_NO_TIMEOUT);
    m_list = copy;
    EXPECT_EQ(timerListNextTimeout(&m_list), 3U);
    advance(3 * kTick);
    check();
    EXPECT_THAT(m_fired, ElementsAre(1));
}

TEST_F(TimerList, TwoListsDoNotKnowOfEachOther) {
    tTimerLst other{};
    ASSERT_EQ(timerListInit(&other), 0);
    tTimerNode& node = newNode();
    arm(&node, 1, 1);
    advance(kTick);
    timerListCheck(&other);
    EXPECT_THAT(m_fired, IsEmpty());
    EXPECT_EQ(timerListNextTimeout(&other), TIMER_NO_TIMEOUT);
    timerListRelease(&other);
}

TEST_F(TimerList, ReleaseMakesArmedNodesIdle) {
    tTimerLst other{};
    ASSERT_EQ(timerListInit(&other), 0);
    std::vector<tTimerNode>& nodes = newNodes(2);
    timerStart(&other, &nodes[0], 1, appendNumber, &m_fired, nullptr, nullptr);
    timerStart(&other, &nodes[1], 100000, appendNumber, &m_fired, nullptr, nullptr);
    timerListRelease(&other);
    EXPECT_FALSE(listLinked(&nodes[0].node));
    EXPECT_FALSE(listLinked(&nodes[1].node));
    timerListRelease(&other);
}

TEST(TimerListWithoutMemory, RefusesToArm) {
    tTimerLst list{};
    sim::failAllocation(1);
    EXPECT_EQ(timerListInit(&list), -1);
    tTimerNode node{};
    EXPECT_EQ(timerStart(&list, &node, 1, appendNumber, nullptr, nullptr, nullptr), -1);
    EXPECT_FALSE(listLinked(&node.node));
    EXPECT_EQ(timerStop(&list, &node), 0);
    EXPECT_EQ(timerListNextTimeout(&list), TIMER_NO_TIMEOUT);
    timerListCheck(&list);
}

// A list that is right at a glance: all nodes in one vector, in the order of arming.
struct NaiveList {
    struct Entry {
        uint64_t expiry;
        intptr_t number;
    };

    void start(uint64_t now, uint32_t ticks, intptr_t number) {
        entries.push_back({now + ticks * kTick, number});
    }

    void stop(intptr_t number) {
        std::erase_if(entries, [number](const Entry& entry) { return entry.number == number; });
    }

    uint32_t nextTimeout(uint64_t now) const {
        uint64_t earliest = UINT64_MAX;
        for (const Entry& entry : entries) {
            earliest = std::min(earliest, entry.expiry);
        }
        if (earliest == UINT64_MAX) {
            return TIMER_NO_TIMEOUT;
        }
        return earliest <= now ? 0 : static_cast<uint32_t>((earliest - now + kTick - 1) / kTick);
    }

    std::vector<intptr_t> check(uint64_t now) {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Entry& a, const Entry& b) { return a.expiry < b.expiry; });
        std::vector<intptr_t> fired;
        while (!entries.empty() && entries.front().expiry <= now) {
            fired.push_back(entries.front().number);
            entries.erase(entries.begin());
        }
        return fired;
    }

    std::vector<Entry> entries;
};

class TimerListAgainstModel : public TimerList, public testing::WithParamInterface<uint32_t> {
  protected:
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(m_random() % limit); }

    // Delays of all magnitudes, many of them equal.
    uint32_t randomTicks() {
        static constexpr uint32_t kCommon[] = {0, 1, 100, 200, 300, 600, 1500, 2000};
        switch (below(4)) {
        case 0:
            return kCommon[below(8)];
        case 1:
            return below(200);
        case 2:
            return below(20000);
        default:
            return below(2000000);
        }
    }

    // Often no time passes, so that equal expiries are common.
    uint64_t randomStep() {
        switch (below(6)) {
        case 0:
            return below(100);
        case 1:
            return kTick * below(4);
        case 2:
            return below(3000000);
        case 3:
            return below(50) == 0 ? kTick * below(1000000) : 0;
        default:
            return 0;
        }
    }

    void toggle(std::vector<tTimerNode>& nodes) {
        const uint32_t i = below(static_cast<uint32_t>(nodes.size()));
        timerStop(&m_list, &nodes[i]);
        m_model.stop(i);
        if (below(4) != 0) {
            const uint32_t ticks = randomTicks();
            arm(&nodes[i], ticks, i);
            m_model.start(m_now, ticks, i);
        }
    }

    void compareCheck() {
        m_fired.clear();
        check();
        ASSERT_EQ(m_fired, m_model.check(m_now));
    }

    std::mt19937 m_random{GetParam()};
    NaiveList m_model;
};

TEST_P(TimerListAgainstModel, BehavesLikeIt) {
    std::vector<tTimerNode>& nodes = newNodes(60);
    for (int round = 0; round < 20000; round++) {
        toggle(nodes);
        advance(randomStep());
        ASSERT_EQ(timerListNextTimeout(&m_list), m_model.nextTimeout(m_now));
        if (below(3) == 0) {
            compareCheck();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TimerListAgainstModel, testing::Range(1U, 9U));

constexpr uint32_t kManyNodes = 65000;

TEST_F(TimerList, SixtyFiveThousandNodesFireInOrder) {
    std::vector<tTimerNode>& nodes = newNodes(kManyNodes);
    std::mt19937 random(7);
    std::vector<std::pair<uint64_t, intptr_t>> expected;
    for (uint32_t i = 0; i < kManyNodes; i++) {
        const auto ticks = static_cast<uint32_t>(random() % 5000);
        arm(&nodes[i], ticks, i);
        expected.emplace_back(m_now + ticks * kTick, i);
        advance(random() % 3);
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (int step = 0; step < 5000; step++) {
        advance(kTick);
        check();
    }
    ASSERT_EQ(m_fired.size(), expected.size());
    for (uint32_t i = 0; i < kManyNodes; i++) {
        ASSERT_EQ(m_fired[i], expected[i].second);
    }
}

// Always the oldest node is restarted, so the minimum changes every time. If each time-out were
// found by a scan, this test would take many minutes.
TEST_F(TimerList, RestartsAndTimeoutsStayCheapWithSixtyFiveThousandNodesArmed) {
    std::vector<tTimerNode>& nodes = newNodes(kManyNodes);
    for (uint32_t i = 0; i < kManyNodes; i++) {
        arm(&nodes[i], 360000, i);
        advance(1);
    }
    for (uint32_t i = 0; i < 1000000; i++) {
        tTimerNode* oldest = &nodes[i % kManyNodes];
        timerStop(&m_list, oldest);
        arm(oldest, 360000, i);
        advance(1);
        ASSERT_GE(timerListNextTimeout(&m_list), 359993U);
    }
}

} // namespace
