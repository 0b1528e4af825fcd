// Roles: the small procedures over a tree, a bridge or a port.

#include "mstp_state_machine_procedures.h"
#include "test_roles.h"

namespace {

// ---- Trees

TEST_F(RoleProcedures, ClearReselectTreeClearsReselectOnAllPortsOfTheInstanceOnly) {
    setFlags(&tMstpXstPort::reselect, 1);

    clearReselectTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::reselect), (Flags{0, 0, 0}));
    EXPECT_EQ(flags(0, &tMstpXstPort::reselect), (Flags{1, 1, 1}));
}

TEST_F(RoleProcedures, SetReRootTreeSetsReRootOnAllPortsOfTheInstanceOnly) {
    setFlags(&tMstpXstPort::reRoot, 0);

    setReRootTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::reRoot), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(0, &tMstpXstPort::reRoot), (Flags{0, 0, 0}));
}

TEST_F(RoleProcedures, SetSyncTreeSetsSyncOnAllPortsOfTheInstanceOnly) {
    setFlags(&tMstpXstPort::sync, 0);

    setSyncTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::sync), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(0, &tMstpXstPort::sync), (Flags{0, 0, 0}));
}

TEST_F(RoleProcedures, UpdtRolesDisabledTreeSelectsTheDisabledRoleOnAllPortsOfTheInstanceOnly) {
    setFlags(&tMstpXstPort::selectedRole, MSTP_ROOT_PORT);

    updtRolesDisabledTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::selectedRole), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(0, &tMstpXstPort::selectedRole), (Flags{4, 4, 4}));
}

TEST_F(RoleProcedures, SetSelectedTreeSelectsAllPortsThoseThatAreDownIncluded) {
    setFlags(&tMstpXstPort::reselect, 0);
    setFlags(&tMstpXstPort::selected, 0);

    setSelectedTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::selected), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(0, &tMstpXstPort::selected), (Flags{0, 0, 0}));
}

TEST_F(RoleProcedures, SetSelectedTreeDoesNothingWhileAPortThatIsUpWantsReselection) {
    setFlags(&tMstpXstPort::reselect, 0);
    setFlags(&tMstpXstPort::selected, 0);
    at(1, 2)->reselect = 1;

    setSelectedTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::selected), (Flags{0, 0, 0}));
}

TEST_F(RoleProcedures, SetSelectedTreeIgnoresAPortThatIsDownAndWantsReselection) {
    setFlags(&tMstpXstPort::reselect, 0);
    setFlags(&tMstpXstPort::selected, 0);
    at(1, 3)->reselect = 1;

    setSelectedTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::selected), (Flags{1, 1, 1}));
}

TEST_F(RoleProcedures, UpdtInterReselectMarksAllPortsOfAllMstisAndNotTheCist) {
    setFlags(&tMstpXstPort::reselect, 0);

    updtInterReselect(bridge.bridge);

    EXPECT_EQ(flags(0, &tMstpXstPort::reselect), (Flags{0, 0, 0}));
    EXPECT_EQ(flags(1, &tMstpXstPort::reselect), (Flags{1, 1, 1}));
    EXPECT_EQ(flags(2, &tMstpXstPort::reselect), (Flags{1, 1, 1}));
}

// ---- syncMaster

class SyncMaster : public RoleProcedures {
  protected:
    SyncMaster() {
        for (uint32_t xstId = 0; xstId < 3; xstId++) {
            tMstpXstPort* xstPort = at(xstId, 1);
            xstPort->agree = xstPort->agreed = xstPort->synced = 1;
            xstPort->sync = 0;
        }
        bridge.port(1)->infoInternal = 1;
    }

    Flags agreeAgreedSyncedSync(uint32_t xstId) {
        const tMstpXstPort* xstPort = at(xstId, 1);
        return {xstPort->agree, xstPort->agreed, xstPort->synced, xstPort->sync};
    }
};

TEST_F(SyncMaster, HasEveryMstiOfThePortSynchroniseAnew) {
    syncMaster(bridge.port(1));

    EXPECT_EQ(agreeAgreedSyncedSync(1), (Flags{0, 0, 0, 1}));
    EXPECT_EQ(agreeAgreedSyncedSync(2), (Flags{0, 0, 0, 1}));
}

TEST_F(SyncMaster, LeavesTheCistAlone) {
    syncMaster(bridge.port(1));

    EXPECT_EQ(agreeAgreedSyncedSync(0), (Flags{1, 1, 1, 0}));
}

TEST_F(SyncMaster, DoesNothingOnAPortWithInformationFromOutsideTheRegion) {
    bridge.port(1)->infoInternal = 0;

    syncMaster(bridge.port(1));

    EXPECT_EQ(agreeAgreedSyncedSync(1), (Flags{1, 1, 1, 0}));
}

// ---- updtPortRole

class UpdtPortRole : public RoleProcedures {
  protected:
    // cistRootPort, cistDesignatedPort, mstiDesignatedOrTCpropagatingRootPort, mstiMasterPort of
    // port 1 with these roles in the three instances.
    Flags summary(uint8_t cistRole, uint8_t msti1Role, uint8_t msti2Role) {
        tMstpPort* port = bridge.port(1);
        at(0, 1)->role = cistRole;
        at(1, 1)->role = msti1Role;
        at(2, 1)->role = msti2Role;
        updtPortRole(port);
        return {port->cistRootPort, port->cistDesignatedPort,
                port->mstiDesignatedOrTCpropagatingRootPort, port->mstiMasterPort};
    }

    static constexpr uint8_t NONE = MSTP_ALTERNATE_PORT;
};

TEST_F(UpdtPortRole, ClearsAllFourWhereNoInstanceIsRootOrDesignated) {
    tMstpPort* port = bridge.port(1);
    port->cistRootPort = port->cistDesignatedPort = 1;
    port->mstiDesignatedOrTCpropagatingRootPort = port->mstiMasterPort = 1;

    EXPECT_EQ(summary(NONE, NONE, NONE), (Flags{0, 0, 0, 0}));
}

TEST_F(UpdtPortRole, DesignatedCistSetsCistDesignatedPort) {
    EXPECT_EQ(summary(MSTP_DESIGNATED_PORT, NONE, NONE), (Flags{0, 1, 0, 0}));
}

TEST_F(UpdtPortRole, AnyDesignatedMstiSetsTheMstisFlag) {
    EXPECT_EQ(summary(NONE, MSTP_DESIGNATED_PORT, NONE), (Flags{0, 0, 1, 0}));
    EXPECT_EQ(summary(NONE, NONE, MSTP_DESIGNATED_PORT), (Flags{0, 0, 1, 0}));
}

TEST_F(UpdtPortRole, CistRootPortWithInformationFromInsideTheRegionIsNoMasterPort) {
    bridge.port(1)->infoInternal = 1;

    EXPECT_EQ(summary(MSTP_ROOT_PORT, NONE, NONE), (Flags{1, 0, 0, 0}));
}

TEST_F(UpdtPortRole, CistRootPortWithInformationFromOutsideTheRegionIsTheMstisMasterPort) {
    bridge.port(1)->infoInternal = 0;

    EXPECT_EQ(summary(MSTP_ROOT_PORT, NONE, NONE), (Flags{1, 0, 0, 1}));
}

TEST_F(UpdtPortRole, MstiRootPortThatPropagatesATopologyChangeSetsTheMstisFlag) {
    at(1, 1)->tcProp = 1;

    EXPECT_EQ(summary(NONE, MSTP_ROOT_PORT, NONE), (Flags{0, 0, 1, 0}));
}

TEST_F(UpdtPortRole, MstiRootPortWithNothingToPropagateSetsNothing) {
    at(1, 1)->tcProp = 0;

    EXPECT_EQ(summary(NONE, MSTP_ROOT_PORT, NONE), (Flags{0, 0, 0, 0}));
}

TEST_F(UpdtPortRole, OtherRolesSetNothingTheMasterRoleIncluded) {
    for (uint8_t role : {MSTP_DISABLED_PORT, MSTP_ALTERNATE_PORT, MSTP_BACKUP_PORT,
                         MSTP_MASTER_PORT, MSTP_NONSTP_PORT, MSTP_UNKNOWN_PORT}) {
        at(1, 1)->tcProp = 1;
        EXPECT_EQ(summary(role, role, role), (Flags{0, 0, 0, 0})) << "role " << int{role};
    }
}

// ---- updtPortUpdtInfo

class UpdtPortUpdtInfo : public RoleProcedures {
  protected:
    // updtCistInfo and updtMstiInfo of port 1 with these updtInfo flags in the three instances.
    Flags summary(uint8_t cistUpdate, uint8_t msti1Update, uint8_t msti2Update) {
        tMstpPort* port = bridge.port(1);
        at(0, 1)->updtInfo = cistUpdate;
        at(1, 1)->updtInfo = msti1Update;
        at(2, 1)->updtInfo = msti2Update;
        updtPortUpdtInfo(port);
        return {port->updtCistInfo, port->updtMstiInfo};
    }
};

TEST_F(UpdtPortUpdtInfo, ClearsBothWhereNothingIsToBeUpdated) {
    bridge.port(1)->updtCistInfo = bridge.port(1)->updtMstiInfo = 1;

    EXPECT_EQ(summary(0, 0, 0), (Flags{0, 0}));
}

TEST_F(UpdtPortUpdtInfo, ACistToBeUpdatedSetsBoth) {
    EXPECT_EQ(summary(1, 0, 0), (Flags{1, 1}));
}

TEST_F(UpdtPortUpdtInfo, AnyMstiToBeUpdatedSetsTheMstisFlagOnly) {
    EXPECT_EQ(summary(0, 1, 0), (Flags{0, 1}));
    EXPECT_EQ(summary(0, 0, 1), (Flags{0, 1}));
}

// ---- clearMaster, updtRerooted

TEST_F(RoleProcedures, ClearMasterTakesTheMarkFromPortAndInstance) {
    at(1, 1)->master = 1;
    msti->masterPortId = portIdOf(15, 0xFFF);

    clearMaster(at(1, 1));

    EXPECT_EQ(at(1, 1)->master, 0);
    EXPECT_EQ(bytesOf(msti->masterPortId), (Flags{0, 0}));
}

TEST_F(RoleProcedures, ClearMasterOnAPortThatIsNoMasterLeavesTheInstancesMaster) {
    at(1, 1)->master = 0;
    msti->masterPortId = portIdOf(15, 0xFFF);

    clearMaster(at(1, 1));

    EXPECT_EQ(bytesOf(msti->masterPortId), (Flags{0xFF, 0xFF}));
}

TEST_F(RoleProcedures, ReRootedIsSetWhenNoOtherPortHasRrWhileRunning) {
    setFlags(&tMstpXstPort::rrWhile, 0);
    at(1, 1)->reRooted = 0;
    at(1, 1)->rrWhile = 5;

    updtRerooted(at(1, 1));

    EXPECT_EQ(at(1, 1)->reRooted, 1);
}

TEST_F(RoleProcedures, ReRootedIsClearedWhileAnotherPortHasRrWhileRunning) {
    setFlags(&tMstpXstPort::rrWhile, 0);
    at(1, 1)->reRooted = 1;
    at(1, 2)->rrWhile = 1;

    updtRerooted(at(1, 1));

    EXPECT_EQ(at(1, 1)->reRooted, 0);
}

TEST_F(RoleProcedures, ReRootedLooksNeitherAtPortsThatAreDownNorAtOtherInstances) {
    setFlags(&tMstpXstPort::rrWhile, 0);
    at(1, 3)->rrWhile = 1;
    at(0, 2)->rrWhile = 1;

    updtRerooted(at(1, 1));

    EXPECT_EQ(at(1, 1)->reRooted, 1);
}

// ---- updtAllSynced

// All ports settled, with nobody synced; the role is that of the port asked.
class UpdtAllSynced : public RoleProcedures {
  protected:
    UpdtAllSynced() {
        setFlags(&tMstpXstPort::selected, 1);
        setFlags(&tMstpXstPort::updtInfo, 0);
        setFlags(&tMstpXstPort::synced, 0);
        for (uint32_t unit = 1; unit <= 3; unit++) {
            setRole(unit, MSTP_DESIGNATED_PORT);
        }
    }

    void setRole(uint32_t unit, uint8_t role) {
        at(1, unit)->role = at(1, unit)->selectedRole = role;
    }

    // allSynced of port 1 in @p role.
    uint8_t allSynced(uint8_t role) {
        setRole(1, role);
        at(1, 1)->allSynced = 1;
        updtAllSynced(at(1, 1));
        return at(1, 1)->allSynced;
    }
};

TEST_F(UpdtAllSynced, RootPortNeedsEveryPortSyncedButItself) {
    EXPECT_EQ(allSynced(MSTP_ROOT_PORT), 0);
    at(1, 2)->synced = 1;
    EXPECT_EQ(allSynced(MSTP_ROOT_PORT), 1);
}

TEST_F(UpdtAllSynced, RootPortDoesNotNeedAnotherRootPortSynced) {
    setRole(2, MSTP_ROOT_PORT);

    EXPECT_EQ(allSynced(MSTP_ROOT_PORT), 1);
}

TEST_F(UpdtAllSynced, AlternatePortNeedsItselfSyncedToo) {
    at(1, 2)->synced = 1;
    EXPECT_EQ(allSynced(MSTP_ALTERNATE_PORT), 0);
    at(1, 1)->synced = 1;
    EXPECT_EQ(allSynced(MSTP_ALTERNATE_PORT), 1);
}

TEST_F(UpdtAllSynced, AlternatePortDoesNotNeedTheRootPortSynced) {
    at(1, 1)->synced = 1;
    setRole(2, MSTP_ROOT_PORT);

    EXPECT_EQ(allSynced(MSTP_ALTERNATE_PORT), 1);
}

TEST_F(UpdtAllSynced, DesignatedAndMasterPortsNeedEveryOtherPortSynced) {
    for (uint8_t role : {MSTP_DESIGNATED_PORT, MSTP_MASTER_PORT}) {
        at(1, 2)->synced = 0;
        EXPECT_EQ(allSynced(role), 0) << "role " << int{role};
        at(1, 2)->synced = 1;
        EXPECT_EQ(allSynced(role), 1) << "role " << int{role};
    }
}

TEST_F(UpdtAllSynced, DesignatedAndMasterPortsNeedTheRootPortSyncedToo) {
    setRole(2, MSTP_ROOT_PORT);

    EXPECT_EQ(allSynced(MSTP_DESIGNATED_PORT), 0);
    EXPECT_EQ(allSynced(MSTP_MASTER_PORT), 0);
}

TEST_F(UpdtAllSynced, OnePortThatIsNotSyncedIsEnoughWhereverItStands) {
    at(1, 1)->synced = 1;
    EXPECT_EQ(allSynced(MSTP_ALTERNATE_PORT), 0);
    at(1, 1)->synced = 0;
    at(1, 2)->synced = 1;
    EXPECT_EQ(allSynced(MSTP_ALTERNATE_PORT), 0);
}

TEST_F(UpdtAllSynced, IsNeverSetForOtherRoles) {
    setFlags(&tMstpXstPort::synced, 1);

    for (uint8_t role :
         {MSTP_DISABLED_PORT, MSTP_BACKUP_PORT, MSTP_NONSTP_PORT, MSTP_UNKNOWN_PORT}) {
        EXPECT_EQ(allSynced(role), 0) << "role " << int{role};
    }
}

TEST_F(UpdtAllSynced, PortThatIsNotSelectedHoldsItBack) {
    setFlags(&tMstpXstPort::synced, 1);
    at(1, 2)->selected = 0;

    EXPECT_EQ(allSynced(MSTP_ROOT_PORT), 0);
}

TEST_F(UpdtAllSynced, PortThatHasNotTakenItsSelectedRoleHoldsItBack) {
    setFlags(&tMstpXstPort::synced, 1);
    at(1, 2)->selectedRole = MSTP_ALTERNATE_PORT;

    EXPECT_EQ(allSynced(MSTP_ROOT_PORT), 0);
}

TEST_F(UpdtAllSynced, PortWithInformationToUpdateHoldsItBack) {
    setFlags(&tMstpXstPort::synced, 1);
    at(1, 2)->updtInfo = 1;

    EXPECT_EQ(allSynced(MSTP_ROOT_PORT), 0);
}

TEST_F(UpdtAllSynced, PortItselfUnsettledHoldsItBack) {
    setFlags(&tMstpXstPort::synced, 1);
    at(1, 1)->updtInfo = 1;

    EXPECT_EQ(allSynced(MSTP_DESIGNATED_PORT), 0);
}

TEST_F(UpdtAllSynced, PortsThatAreDownDoNotCount) {
    at(1, 2)->synced = 1;
    at(1, 3)->synced = 0;
    at(1, 3)->selected = 0;

    EXPECT_EQ(allSynced(MSTP_DESIGNATED_PORT), 1);
}

TEST(UpdtAllSyncedAlone, InstanceWithoutPortsInItsListIsSyncedForActiveAndAlternateRoles) {
    TestBridge bridge;
    bridge.addUpPort(1);
    tMstpXstPort* xstPort = bridge.xstPort(0, 1);
    listRemove(&xstPort->node);
    xstPort->selected = 0;

    for (uint8_t role :
         {MSTP_ROOT_PORT, MSTP_ALTERNATE_PORT, MSTP_DESIGNATED_PORT, MSTP_MASTER_PORT}) {
        xstPort->role = role;
        xstPort->allSynced = 0;
        updtAllSynced(xstPort);
        EXPECT_EQ(xstPort->allSynced, 1) << "role " << int{role};
    }
    for (uint8_t role : {MSTP_DISABLED_PORT, MSTP_BACKUP_PORT}) {
        xstPort->role = role;
        updtAllSynced(xstPort);
        EXPECT_EQ(xstPort->allSynced, 0) << "role " << int{role};
    }
}

} // namespace
