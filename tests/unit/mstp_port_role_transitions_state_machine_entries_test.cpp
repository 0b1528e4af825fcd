// Port Role Transitions: what each state does when it is entered, and nothing else.

#include "role_transitions_test.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class RoleTransitionsEntry : public RoleTransitions {
  protected:
    using Entry = void(tMstpXstPort*);

    /// Every flag is set, every counter runs.
    RoleTransitionsEntry() {
        setState(MSTP_PORT_ROLE_TRANSITIONS_DISABLED_PORT);
        setRole(MSTP_PORT_ROLE_UNKNOWN);
        setFlags(1);
        load(&cist->fdWhile, &cist->fdWhileTimer, 99);
        load(&cist->rrWhile, &cist->rrWhileTimer, 99);
        load(&cist->rbWhile, &cist->rbWhileTimer, 99);
    }

    void setFlags(uint8_t value) {
        setForwarding(value);
        cist->agree = cist->agreed = value;
        cist->proposed = cist->proposing = value;
        cist->disputed = value;
        cist->sync = cist->synced = value;
        cist->reRoot = value;
    }

    void clearCounters() {
        mstpClearCounter(&cist->fdWhile, &cist->fdWhileTimer);
        mstpClearCounter(&cist->rrWhile, &cist->rrWhileTimer);
        mstpClearCounter(&cist->rbWhile, &cist->rbWhileTimer);
    }

    std::vector<std::string> changesBy(Entry* entry, tMstpXstPort* xstPort) {
        RecordChanges changes(xstPort);
        entry(xstPort);
        return changes.list();
    }

    std::vector<std::string> changesBy(Entry* entry) { return changesBy(entry, cist); }

    /// Port 1 in instance 3, every flag clear.
    tMstpXstPort* msti() {
        tMstpXstPort* xstPort = addInstance(3);
        port->newInfo = port->newInfoMsti = 0;
        xstPort->selected = 0;
        setState(0);
        return xstPort;
    }

    std::vector<std::string> traces(uint32_t mask, Entry* entry) {
        return traced(mask, [&] { entry(cist); });
    }
};

// ---- disabled

TEST_F(RoleTransitionsEntry, InitPort) {
    setFlags(1);
    cist->sync = cist->reRoot = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsInitPort),
                ElementsAre("fdWhile=20", "fdWhileTimer=2000", "forward=0", "learn=0", "rbWhile=0",
                            "rbWhileTimer=idle", "reRoot=1", "role=1", "rrWhile=15",
                            "rrWhileTimer=1500", "state of 6=0", "sync=1", "synced=0"));
}

TEST_F(RoleTransitionsEntry, DisablePort) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDisablePort),
                ElementsAre("forward=0", "learn=0", "role=1", "state of 6=1"));
}

TEST_F(RoleTransitionsEntry, DisablePortTakesTheDisabledRoleWhateverIsSelected) {
    cist->selectedRole = MSTP_ROOT_PORT;
    mstpPortRoleTransitionsDisablePort(cist);
    EXPECT_EQ(cist->role, MSTP_DISABLED_PORT);
}

TEST_F(RoleTransitionsEntry, DisabledPort) {
    setState(MSTP_PORT_ROLE_TRANSITIONS_DISABLE_PORT);
    cist->synced = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDisabledPort),
                ElementsAre("fdWhile=20", "fdWhileTimer=2000", "reRoot=0", "rrWhile=0",
                            "rrWhileTimer=idle", "state of 6=2", "sync=0", "synced=1"));
}

// ---- master

TEST_F(RoleTransitionsEntry, MasterProposed) {
    cist->sync = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsMasterProposed),
                ElementsAre("proposed=0", "state of 6=3", "sync=1"));
    EXPECT_EQ(other->sync, 1);
}

TEST_F(RoleTransitionsEntry, MasterAgreed) {
    cist->agree = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsMasterAgreed),
                ElementsAre("agree=1", "proposed=0", "state of 6=4", "sync=0"));
}

TEST_F(RoleTransitionsEntry, MasterAgreedSendsNothingInAnMstiEither) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsMasterAgreed, msti()),
                Not(Contains(HasSubstr("newInfo"))));
}

TEST_F(RoleTransitionsEntry, MasterSynced) {
    cist->synced = 0;
    EXPECT_THAT(
        changesBy(mstpPortRoleTransitionsMasterSynced),
        ElementsAre("rrWhile=0", "rrWhileTimer=idle", "state of 6=5", "sync=0", "synced=1"));
}

TEST_F(RoleTransitionsEntry, MasterRetired) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsMasterRetired),
                ElementsAre("reRoot=0", "state of 6=6"));
}

TEST_F(RoleTransitionsEntry, MasterForward) {
    setFlags(0);
    EXPECT_THAT(
        changesBy(mstpPortRoleTransitionsMasterForward),
        ElementsAre("agreed=1", "fdWhile=0", "fdWhileTimer=idle", "forward=1", "state of 6=7"));
}

TEST_F(RoleTransitionsEntry, MasterForwardTakesNoAgreementFromAnOldNeighbour) {
    port->sendRSTP = 0;
    mstpPortRoleTransitionsMasterForward(cist);
    EXPECT_EQ(cist->agreed, 0);
}

TEST_F(RoleTransitionsEntry, MasterLearn) {
    setFlags(0);
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsMasterLearn),
                ElementsAre("fdWhile=7", "fdWhileTimer=700", "learn=1", "state of 6=8"));
}

TEST_F(RoleTransitionsEntry, MasterDiscard) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsMasterDiscard),
                ElementsAre("disputed=0", "fdWhile=7", "fdWhileTimer=700", "forward=0", "learn=0",
                            "state of 6=9"));
}

TEST_F(RoleTransitionsEntry, MasterPort) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsMasterPort),
                ElementsAre("role=6", "state of 6=10"));
}

// ---- root

TEST_F(RoleTransitionsEntry, RootProposed) {
    cist->sync = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsRootProposed),
                ElementsAre("proposed=0", "state of 6=11", "sync=1"));
    EXPECT_EQ(other->sync, 1);
}

TEST_F(RoleTransitionsEntry, RootAgreed) {
    cist->agree = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsRootAgreed),
                ElementsAre("agree=1", "newInfo=1", "proposed=0", "state of 6=12", "sync=0"));
}

TEST_F(RoleTransitionsEntry, RootAgreedInAnMstiSendsForTheMstis) {
    tMstpXstPort* xstPort = msti();
    mstpPortRoleTransitionsRootAgreed(xstPort);
    EXPECT_EQ(port->newInfoMsti, 1);
    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(RoleTransitionsEntry, RootSynced) {
    cist->synced = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsRootSynced),
                ElementsAre("state of 6=13", "sync=0", "synced=1"));
}

TEST_F(RoleTransitionsEntry, Reroot) {
    cist->reRoot = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsReroot), ElementsAre("reRoot=1", "state of 6=14"));
    EXPECT_EQ(other->reRoot, 1);
}

TEST_F(RoleTransitionsEntry, RootForward) {
    setFlags(0);
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsRootForward),
                ElementsAre("fdWhile=0", "fdWhileTimer=idle", "forward=1", "state of 6=15"));
}

TEST_F(RoleTransitionsEntry, RootLearn) {
    setFlags(0);
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsRootLearn),
                ElementsAre("fdWhile=7", "fdWhileTimer=700", "learn=1", "state of 6=16"));
}

TEST_F(RoleTransitionsEntry, Rerooted) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsRerooted),
                ElementsAre("reRoot=0", "state of 6=17"));
    EXPECT_EQ(other->reRoot, 0);
}

TEST_F(RoleTransitionsEntry, RootPort) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsRootPort),
                ElementsAre("role=4", "rrWhile=15", "rrWhileTimer=1500", "state of 6=18"));
}

// ---- designated

TEST_F(RoleTransitionsEntry, DesignatedPropose) {
    setFlags(0);
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDesignatedPropose),
                ElementsAre("edgeDelayWhile=4", "edgeDelayWhileTimer=400", "newInfo=1",
                            "proposing=1", "state of 6=19"));
}

TEST_F(RoleTransitionsEntry, DesignatedProposeStartsTheEdgeDelayForTheCistOnly) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDesignatedPropose, msti()),
                ElementsAre("newInfoMsti=1", "proposing=1", "state of 6=19"));
}

TEST_F(RoleTransitionsEntry, DesignatedAgreed) {
    cist->agree = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDesignatedAgreed),
                ElementsAre("agree=1", "newInfo=1", "proposed=0", "state of 6=20", "sync=0"));
}

TEST_F(RoleTransitionsEntry, DesignatedAgreedInAnMstiSendsForTheMstis) {
    tMstpXstPort* xstPort = msti();
    mstpPortRoleTransitionsDesignatedAgreed(xstPort);
    EXPECT_EQ(port->newInfoMsti, 1);
    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(RoleTransitionsEntry, DesignatedSynced) {
    cist->synced = 0;
    EXPECT_THAT(
        changesBy(mstpPortRoleTransitionsDesignatedSynced),
        ElementsAre("rrWhile=0", "rrWhileTimer=idle", "state of 6=21", "sync=0", "synced=1"));
}

TEST_F(RoleTransitionsEntry, DesignatedRetired) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDesignatedRetired),
                ElementsAre("reRoot=0", "state of 6=22"));
}

TEST_F(RoleTransitionsEntry, DesignatedForward) {
    setFlags(0);
    EXPECT_THAT(
        changesBy(mstpPortRoleTransitionsDesignatedForward),
        ElementsAre("agreed=1", "fdWhile=0", "fdWhileTimer=idle", "forward=1", "state of 6=23"));
}

TEST_F(RoleTransitionsEntry, DesignatedForwardTakesNoAgreementFromAnOldNeighbour) {
    port->sendRSTP = 0;
    mstpPortRoleTransitionsDesignatedForward(cist);
    EXPECT_EQ(cist->agreed, 0);
}

TEST_F(RoleTransitionsEntry, DesignatedLearn) {
    setFlags(0);
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDesignatedLearn),
                ElementsAre("fdWhile=7", "fdWhileTimer=700", "learn=1", "state of 6=24"));
}

TEST_F(RoleTransitionsEntry, DesignatedDiscard) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDesignatedDiscard),
                ElementsAre("disputed=0", "fdWhile=7", "fdWhileTimer=700", "forward=0", "learn=0",
                            "state of 6=25"));
}

TEST_F(RoleTransitionsEntry, DesignatedPort) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsDesignatedPort),
                ElementsAre("role=5", "state of 6=26"));
}

// ---- alternate and backup

TEST_F(RoleTransitionsEntry, AlternateProposed) {
    cist->sync = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsAlternateProposed),
                ElementsAre("proposed=0", "state of 6=27", "sync=1"));
    EXPECT_EQ(other->sync, 1);
}

TEST_F(RoleTransitionsEntry, AlternateAgreed) {
    cist->agree = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsAlternateAgreed),
                ElementsAre("agree=1", "newInfo=1", "proposed=0", "state of 6=28"));
}

TEST_F(RoleTransitionsEntry, AlternateAgreedInAnMstiSendsForTheMstis) {
    tMstpXstPort* xstPort = msti();
    mstpPortRoleTransitionsAlternateAgreed(xstPort);
    EXPECT_EQ(port->newInfoMsti, 1);
    EXPECT_EQ(port->newInfo, 0);
}

TEST_F(RoleTransitionsEntry, BlockPortTakesTheAlternateRole) {
    cist->selectedRole = MSTP_ALTERNATE_PORT;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsBlockPort),
                ElementsAre("forward=0", "learn=0", "role=2", "state of 6=29"));
}

TEST_F(RoleTransitionsEntry, BlockPortTakesTheBackupRole) {
    cist->selectedRole = MSTP_BACKUP_PORT;
    mstpPortRoleTransitionsBlockPort(cist);
    EXPECT_EQ(cist->role, MSTP_BACKUP_PORT);
}

TEST_F(RoleTransitionsEntry, BackupPort) {
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsBackupPort),
                ElementsAre("rbWhile=4", "rbWhileTimer=400", "state of 6=30"));
}

TEST_F(RoleTransitionsEntry, AlternatePort) {
    cist->synced = 0;
    EXPECT_THAT(changesBy(mstpPortRoleTransitionsAlternatePort),
                ElementsAre("fdWhile=7", "fdWhileTimer=700", "reRoot=0", "rrWhile=0",
                            "rrWhileTimer=idle", "state of 6=31", "sync=0", "synced=1"));
}

// ---- times

TEST_F(RoleTransitionsEntry, TimesOfAnMstiPortAreThoseOfTheCist) {
    tMstpXstPort* xstPort = msti();
    xstPort->designatedTimes.maxAge = 30;
    xstPort->designatedTimes.forwardDelay = 31;
    xstPort->designatedTimes.helloTime = 32;

    mstpPortRoleTransitionsInitPort(xstPort);
    mstpPortRoleTransitionsBackupPort(xstPort);

    EXPECT_EQ(xstPort->fdWhile, MAX_AGE);
    EXPECT_EQ(xstPort->rrWhile, FWD_DELAY);
    EXPECT_EQ(xstPort->rbWhile, 2 * HELLO_TIME);
}

TEST_F(RoleTransitionsEntry, QuantityOfZeroStillStartsItsTimer) {
    cist->designatedTimes.forwardDelay = 0;
    mstpPortRoleTransitionsRootPort(cist);
    EXPECT_EQ(cist->rrWhile, 0);
    EXPECT_TRUE(listLinked(&cist->rrWhileTimer.node));
}

TEST_F(RoleTransitionsEntry, RrWhileRunsOutAndAsksForTheMachines) {
    clearCounters();
    mstpPortRoleTransitionsRootPort(cist);
    expectLoaded(bridge, cist->rrWhile, cist->rrWhileTimer, FWD_DELAY, MSTP_EVENT_FSM);
}

TEST_F(RoleTransitionsEntry, FdWhileRunsOutAndAsksForTheMachines) {
    clearCounters();
    mstpPortRoleTransitionsDisabledPort(cist);
    expectLoaded(bridge, cist->fdWhile, cist->fdWhileTimer, MAX_AGE, MSTP_EVENT_FSM);
}

TEST_F(RoleTransitionsEntry, RbWhileRunsOutAndAsksForTheMachines) {
    clearCounters();
    mstpPortRoleTransitionsBackupPort(cist);
    expectLoaded(bridge, cist->rbWhile, cist->rbWhileTimer, 2 * HELLO_TIME, MSTP_EVENT_FSM);
}

TEST_F(RoleTransitionsEntry, EdgeDelayWhileRunsOutAndAsksForTheMachines) {
    clearCounters();
    mstpPortRoleTransitionsDesignatedPropose(cist);
    expectLoaded(bridge, port->edgeDelayWhile, port->edgeDelayWhileTimer, EDGE_DELAY,
                 MSTP_EVENT_FSM);
}

// ---- traces

TEST_F(RoleTransitionsEntry, NameOfTheStateIsTracedAsActivity) {
    const std::vector<std::pair<Entry*, std::string>> NAMED = {
        {mstpPortRoleTransitionsDisablePort, "msti 0 port port1 transitions disable port"},
        {mstpPortRoleTransitionsDisabledPort, "msti 0 port port1 transitions disabled port"},
        {mstpPortRoleTransitionsMasterPort, "msti 0 port port1 transitions master port"},
        {mstpPortRoleTransitionsRootPort, "msti 0 port port1 transitions root port"},
        {mstpPortRoleTransitionsDesignatedPort, "msti 0 port port1 transitions designated port"},
        {mstpPortRoleTransitionsBlockPort, "msti 0 port port1 transitions block port"},
        {mstpPortRoleTransitionsBackupPort, "msti 0 port port1 transitions backup port"},
        {mstpPortRoleTransitionsAlternatePort, "msti 0 port port1 transitions alternate port"},
    };
    for (const auto& [entry, text] : NAMED) {
        EXPECT_THAT(traces(MSTP_DEBUG_ACTIVITY, entry), ElementsAre(text));
    }
}

TEST_F(RoleTransitionsEntry, HomeStatesTraceTheirUnconditionalTransition) {
    EXPECT_THAT(traces(MSTP_DEBUG_MACHINE, mstpPortRoleTransitionsMasterPort),
                ElementsAre("(UCT", "jump to MASTER_PORT"));
    EXPECT_THAT(traces(MSTP_DEBUG_MACHINE, mstpPortRoleTransitionsRootPort),
                ElementsAre("UCT", "jump to ROOT_PORT"));
    EXPECT_THAT(traces(MSTP_DEBUG_MACHINE, mstpPortRoleTransitionsDesignatedPort),
                ElementsAre("UCT", "jump to DESIGNATED_PORT"));
    EXPECT_THAT(traces(MSTP_DEBUG_MACHINE, mstpPortRoleTransitionsAlternatePort),
                ElementsAre("UCT", "jump to ALTERNATE_PORT"));
}

TEST_F(RoleTransitionsEntry, HomeStateNamesItselfBeforeItsTransition) {
    EXPECT_THAT(
        traces(MSTP_DEBUG_ACTIVITY | MSTP_DEBUG_MACHINE, mstpPortRoleTransitionsMasterPort),
        ElementsAre("msti 0 port port1 transitions master port", "(UCT", "jump to MASTER_PORT"));
}

TEST_F(RoleTransitionsEntry, OtherStatesTraceNothing) {
    Entry* const SILENT[] = {
        mstpPortRoleTransitionsInitPort,          mstpPortRoleTransitionsMasterProposed,
        mstpPortRoleTransitionsMasterAgreed,      mstpPortRoleTransitionsMasterSynced,
        mstpPortRoleTransitionsMasterRetired,     mstpPortRoleTransitionsMasterForward,
        mstpPortRoleTransitionsMasterLearn,       mstpPortRoleTransitionsMasterDiscard,
        mstpPortRoleTransitionsRootProposed,      mstpPortRoleTransitionsRootAgreed,
        mstpPortRoleTransitionsRootSynced,        mstpPortRoleTransitionsReroot,
        mstpPortRoleTransitionsRootForward,       mstpPortRoleTransitionsRootLearn,
        mstpPortRoleTransitionsRerooted,          mstpPortRoleTransitionsDesignatedPropose,
        mstpPortRoleTransitionsDesignatedAgreed,  mstpPortRoleTransitionsDesignatedSynced,
        mstpPortRoleTransitionsDesignatedRetired, mstpPortRoleTransitionsDesignatedForward,
        mstpPortRoleTransitionsDesignatedLearn,   mstpPortRoleTransitionsDesignatedDiscard,
        mstpPortRoleTransitionsAlternateProposed, mstpPortRoleTransitionsAlternateAgreed,
    };
    for (Entry* entry : SILENT) {
        EXPECT_THAT(traces(0xFFFFFFFF, entry), IsEmpty());
    }
}

} // namespace
