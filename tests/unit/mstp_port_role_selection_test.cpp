// The Port Role Selection machine: what its states do, when it runs them and what it traces.

#include "mstp_port_role_selection_state_machine.h"
#include "test_roles.h"

namespace {

using Lines = std::vector<std::string>;

// Ports 1 and 2 up and port 3 down hold own information in instance 1, and nobody asks for
// anything.
class PortRoleSelection : public RoleProcedures {
  protected:
    PortRoleSelection() {
        setFlags(&tMstpXstPort::infoIs, MSTP_MINE);
        setFlags(&tMstpXstPort::reselect, 0);
        setFlags(&tMstpXstPort::selected, 0);
        setFlags(&tMstpXstPort::selectedRole, MSTP_UNKNOWN_PORT);
        bridge.trace(MSTP_DEBUG_MACHINE);
    }

    const Lines& run() {
        bridge.sw.traces.clear();
        mstpPortRoleSelectionFSM(msti);
        return bridge.sw.traces;
    }

    bool hasComputed() { return at(1, 1)->selectedRole != MSTP_UNKNOWN_PORT; }
};

const std::string BANNER = "msti 1 Port Role Selection state machine";
const std::string CONDITION = "reselect1 || reselect2 || ... reselectN";
const std::string JUMP = "jump to ROLE_SELECTION";

// ---- States

TEST_F(PortRoleSelection, InitTreeSelectsTheDisabledRoleEverywhere) {
    mstpPortRoleSelectionInitTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::selectedRole), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(0, &tMstpXstPort::selectedRole), (Flags{8, 8, 8}));
}

TEST_F(PortRoleSelection, RoleSelectionComputesRolesAndSelects) {
    mstpPortRoleSelection(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::selectedRole), (Flags{5, 5, 5}));
    EXPECT_EQ(flags(1, &tMstpXstPort::selected), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(0, &tMstpXstPort::selectedRole), (Flags{8, 8, 8}));
}

TEST_F(PortRoleSelection, RoleSelectionClearsReselectBeforeItSelects) {
    setFlags(&tMstpXstPort::reselect, 1);

    mstpPortRoleSelection(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::reselect), (Flags{0, 0, 0}));
    EXPECT_EQ(flags(1, &tMstpXstPort::selected), (Flags{1, 1, 1}));
}

// A CIST computation with information from outside the region marks the MSTIs, not the CIST.
TEST_F(PortRoleSelection, RoleSelectionOfTheCistLeavesTheMstisItMarkedForTheirOwnRun) {
    bridge.port(1)->infoInternal = 0;

    mstpPortRoleSelection(cist);

    EXPECT_EQ(flags(0, &tMstpXstPort::selected), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(1, &tMstpXstPort::reselect), (Flags{1, 1, 1}));
}

TEST_F(PortRoleSelection, KeepsNoStateInAnyRecord) {
    for (uint32_t unit = 1; unit <= 3; unit++) {
        at(1, unit)->fsmState[MSTP_PORT_ROLE_SELECTION_FSM] = 77;
        bridge.port(unit)->fsmState[MSTP_PORT_ROLE_SELECTION_FSM] = 77;
    }
    bridge.bridge->begin = 1;
    at(1, 1)->reselect = 1;

    run();

    for (uint32_t unit = 1; unit <= 3; unit++) {
        EXPECT_EQ(at(1, unit)->fsmState[MSTP_PORT_ROLE_SELECTION_FSM], 77);
        EXPECT_EQ(bridge.port(unit)->fsmState[MSTP_PORT_ROLE_SELECTION_FSM], 77);
    }
}

// ---- Runs

TEST_F(PortRoleSelection, RunWithNothingToDoTracesItsBannerAndComputesNothing) {
    EXPECT_EQ(run(), (Lines{BANNER}));
    EXPECT_FALSE(hasComputed());
}

TEST_F(PortRoleSelection, BeginInitialisesTheTreeAndComputesItOnce) {
    bridge.bridge->begin = 1;

    EXPECT_EQ(run(), (Lines{BANNER, "BEGIN", "jump to INIT_TREE", "UCT", JUMP}));
    EXPECT_EQ(flags(1, &tMstpXstPort::selectedRole), (Flags{5, 5, 5}));
    EXPECT_EQ(flags(1, &tMstpXstPort::selected), (Flags{1, 1, 1}));
}

// A role that the computation leaves alone shows that the tree was initialised before it.
TEST_F(PortRoleSelection, BeginDisablesARoleThatTheComputationLeavesAlone) {
    bridge.bridge->begin = 1;
    bridge.port(1)->infoInternal = 0;
    at(1, 1)->infoIs = MSTP_RECEIVED;

    run();

    EXPECT_EQ(at(1, 1)->selectedRole, MSTP_DISABLED_PORT);
}

TEST_F(PortRoleSelection, BeginAnswersReselectRequestsToo) {
    bridge.bridge->begin = 1;
    at(1, 1)->reselect = 1;

    EXPECT_EQ(run(), (Lines{BANNER, "BEGIN", "jump to INIT_TREE", "UCT", JUMP}));
    EXPECT_EQ(at(1, 1)->reselect, 0);
}

TEST_F(PortRoleSelection, AnyPortThatIsUpHasTheRolesComputedAnew) {
    for (uint32_t unit : {1U, 2U}) {
        setFlags(&tMstpXstPort::selectedRole, MSTP_UNKNOWN_PORT);
        at(1, unit)->reselect = 1;

        EXPECT_EQ(run(), (Lines{BANNER, CONDITION, JUMP})) << "unit " << unit;
        EXPECT_TRUE(hasComputed()) << "unit " << unit;
        EXPECT_EQ(flags(1, &tMstpXstPort::reselect), (Flags{0, 0, 0})) << "unit " << unit;
    }
}

TEST_F(PortRoleSelection, ReselectOnAPortThatIsDownDoesNotRerunTheComputation) {
    at(1, 3)->reselect = 1;

    EXPECT_EQ(run(), (Lines{BANNER}));
    EXPECT_FALSE(hasComputed());
    EXPECT_EQ(at(1, 3)->reselect, 1);
}

TEST_F(PortRoleSelection, ReselectInAnotherInstanceIsThatInstancesMatter) {
    at(0, 1)->reselect = 1;

    EXPECT_EQ(run(), (Lines{BANNER}));
    EXPECT_FALSE(hasComputed());
}

TEST_F(PortRoleSelection, RunLeavesRolesOfPortsThatWereSelectedWithoutRequest) {
    setFlags(&tMstpXstPort::selected, 1);
    setFlags(&tMstpXstPort::selectedRole, MSTP_ROOT_PORT);

    run();

    EXPECT_EQ(flags(1, &tMstpXstPort::selectedRole), (Flags{4, 4, 4}));
}

TEST_F(PortRoleSelection, TracesNothingWithoutItsBit) {
    bridge.trace(~MSTP_DEBUG_MACHINE);
    bridge.bridge->begin = 1;
    at(1, 1)->reselect = 1;

    EXPECT_EQ(run(), Lines{});
    EXPECT_TRUE(hasComputed());
}

} // namespace
