// Roles: the computation of an instance's vectors, times and roles.

#include "mstp_state_machine_procedures.h"
#include "test_roles.h"

namespace {

// ---- candidates for the root

const tMstpBridgeId BETTER_ROOT = bridgeIdOf(2, 1);
const tMstpBridgeId OTHER_ROOT = bridgeIdOf(4, 2);
const tMstpBridgeId SENDER = bridgeIdOf(8, 9);

class UpdtRolesTree : public RoleProcedures {
  protected:
    // All ports disabled, as information goes, until a test makes them hear something.
    UpdtRolesTree() {
        for (uint32_t unit = 1; unit <= 3; unit++) {
            bridge.port(unit)->infoInternal = 1;
            bridge.port(unit)->rcvdInternal = 1;
        }
        setFlags(&tMstpXstPort::reselect, 0);
        setFlags(&tMstpXstPort::updtInfo, 0);
    }

    bool isRoot() { return mstpSameBridgeId(&cist->rootPriority.rootId, &cist->bridgeId); }

    // Port 1 hears a better root from inside the region and is a candidate in every respect.
    tMstpXstPort* hearBetterRoot(uint32_t extCost = 0, uint32_t intCost = 0) {
        hear(at(0, 1), offerOf(BETTER_ROOT, extCost, intCost, SENDER), From::INSIDE);
        return at(0, 1);
    }
};

TEST_F(UpdtRolesTree, PortThatHearsABetterRootBecomesRootPort) {
    hearBetterRoot();

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPriority.rootId), bytesOf(BETTER_ROOT));
    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x80, 0x01}));
}

TEST_F(UpdtRolesTree, BridgeWithoutARootPortKeepsItsOwnVectorAndTimesAsRoots) {
    cist->rootPortId = portIdOf(8, 1);
    memset(&cist->rootPriority, 0, sizeof cist->rootPriority);
    memset(&cist->rootTimes, 0, sizeof cist->rootTimes);

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPriority), bytesOf(cist->bridgePriority));
    EXPECT_EQ(bytesOf(cist->rootTimes), bytesOf(cist->bridgeTimes));
    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0, 0}));
}

TEST_F(UpdtRolesTree, BridgeWithoutARootPortMakesAllPortsDesignatedThatAreNotDisabled) {
    at(0, 1)->infoIs = MSTP_MINE;
    at(0, 2)->infoIs = MSTP_AGED;
    at(0, 3)->infoIs = MSTP_DISABLED;

    updtRolesTree(cist);

    EXPECT_EQ(flags(0, &tMstpXstPort::selectedRole),
              (Flags{MSTP_DESIGNATED_PORT, MSTP_DESIGNATED_PORT, MSTP_DISABLED_PORT}));
}

TEST_F(UpdtRolesTree, PortThatIsDownNeverBecomesRootPort) {
    hear(at(0, 3), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);

    updtRolesTree(cist);

    EXPECT_TRUE(isRoot());
}

TEST_F(UpdtRolesTree, OnlyReceivedInformationMakesARootPort) {
    for (uint8_t infoIs : {MSTP_DISABLED, MSTP_MINE, MSTP_AGED}) {
        hearBetterRoot()->infoIs = infoIs;

        updtRolesTree(cist);

        EXPECT_TRUE(isRoot()) << "infoIs " << int{infoIs};
    }
}

TEST_F(UpdtRolesTree, PortWithRestrictedRoleNeverBecomesRootPortEvenWithTheBestVector) {
    hearBetterRoot()->host->restrictedRole = 1;
    hear(at(0, 2), offerOf(OTHER_ROOT, 0, 0, SENDER), From::INSIDE);

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPriority.rootId), bytesOf(OTHER_ROOT));
    EXPECT_EQ(at(0, 1)->selectedRole, MSTP_ALTERNATE_PORT);
    EXPECT_EQ(at(0, 2)->selectedRole, MSTP_ROOT_PORT);
}

TEST_F(UpdtRolesTree, PortWithRestrictedRoleIsDesignatedWhereItHearsSomethingWorse) {
    hear(at(0, 1), offerOf(bridgeIdOf(12, 1), 0, 0, SENDER), From::INSIDE);
    at(0, 1)->host->restrictedRole = 1;

    updtRolesTree(cist);

    EXPECT_EQ(at(0, 1)->selectedRole, MSTP_DESIGNATED_PORT);
}

TEST_F(UpdtRolesTree, InformationThatThisBridgeSentNeverMakesARootPort) {
    hearBetterRoot()->msgPriority.designatedBridgeId = cist->bridgeId;

    updtRolesTree(cist);

    EXPECT_TRUE(isRoot());
}

TEST_F(UpdtRolesTree, InformationIsThisBridgesOnlyIfAllEightBytesOfTheSenderMatch) {
    for (uint32_t byte = 0; byte < MSTP_BRIDGE_ID_SIZE; byte++) {
        tMstpXstPort* xstPort = hearBetterRoot();
        xstPort->msgPriority.designatedBridgeId = cist->bridgeId;
        reinterpret_cast<uint8_t*>(&xstPort->msgPriority.designatedBridgeId)[byte] ^= 0x01;

        updtRolesTree(cist);

        EXPECT_FALSE(isRoot()) << "byte " << byte;
    }
}

TEST_F(UpdtRolesTree, SenderIsThatOfTheMessageAndNotThatOfThePortVector) {
    hearBetterRoot()->portPriority.designatedBridgeId = cist->bridgeId;

    updtRolesTree(cist);

    EXPECT_FALSE(isRoot());
}

TEST_F(UpdtRolesTree, WorseOfferLeavesTheBridgeRoot) {
    hear(at(0, 1), offerOf(bridgeIdOf(12, 1), 0, 0, SENDER), From::INSIDE);

    updtRolesTree(cist);

    EXPECT_TRUE(isRoot());
}

TEST_F(UpdtRolesTree, OfferEqualToTheBridgesOwnVectorMakesNoRootPort) {
    tMstpXstPort* xstPort = hearBetterRoot();
    xstPort->portPriority = cist->bridgePriority;
    xstPort->pathCost = 0;

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0, 0}));
}

TEST_F(UpdtRolesTree, OfTwoCandidatesWithEqualVectorsTheEarlierInTheListIsRootPort) {
    hear(at(0, 1), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    hear(at(0, 2), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    at(0, 2)->portPriority = at(0, 1)->portPriority;

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x80, 0x01}));
}

TEST_F(UpdtRolesTree, BestCandidateWinsWhereverItStands) {
    hear(at(0, 1), offerOf(OTHER_ROOT, 0, 0, SENDER), From::INSIDE);
    hear(at(0, 2), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    updtRolesTree(cist);
    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x80, 0x02}));

    hear(at(0, 1), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    hear(at(0, 2), offerOf(OTHER_ROOT, 0, 0, SENDER), From::INSIDE);
    updtRolesTree(cist);
    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x80, 0x01}));
}

TEST_F(UpdtRolesTree, CandidatesOfferTheirPortVectorAndNotTheMessage) {
    tMstpXstPort* xstPort = hearBetterRoot();
    xstPort->msgPriority.rootId = bridgeIdOf(1, 1);

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPriority.rootId), bytesOf(BETTER_ROOT));
}

// ---- root path costs and times

TEST_F(UpdtRolesTree, InternalPathAddsThePortsCostToTheInternalCost) {
    hearBetterRoot(100, 7)->pathCost = 30;

    updtRolesTree(cist);

    EXPECT_EQ(cist->rootPriority.extRootPathCost, 100U);
    EXPECT_EQ(cist->rootPriority.intRootPathCost, 37U);
}

TEST_F(UpdtRolesTree, ExternalPathAddsThePortsCostToTheExternalCost) {
    hearBetterRoot(100, 7)->pathCost = 30;
    at(0, 1)->host->rcvdInternal = 0;

    updtRolesTree(cist);

    EXPECT_EQ(cist->rootPriority.extRootPathCost, 130U);
    EXPECT_EQ(cist->rootPriority.intRootPathCost, 7U);
}

TEST_F(UpdtRolesTree, PathCostsWrapInTheir32Bits) {
    hearBetterRoot(0, 0xFFFFFFFF)->pathCost = 3;
    updtRolesTree(cist);
    EXPECT_EQ(cist->rootPriority.intRootPathCost, 2U);

    hearBetterRoot(0xFFFFFFFF, 0)->pathCost = 3;
    at(0, 1)->host->rcvdInternal = 0;
    updtRolesTree(cist);
    EXPECT_EQ(cist->rootPriority.extRootPathCost, 2U);
}

TEST_F(UpdtRolesTree, CheaperPathToTheSameRootWins) {
    hear(at(0, 1), offerOf(BETTER_ROOT, 0, 10, SENDER), From::INSIDE);
    hear(at(0, 2), offerOf(BETTER_ROOT, 0, 20, SENDER), From::INSIDE);
    at(0, 1)->pathCost = 16;
    at(0, 2)->pathCost = 5;

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x80, 0x02}));
}

TEST_F(UpdtRolesTree, InternalPathTakesOneHopAndNoAge) {
    hearBetterRoot();

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootTimes), bytesOf(tMstpTime{3, 22, 17, 4, 11, {}}));
}

TEST_F(UpdtRolesTree, ExternalPathAgesByOneAndTakesNoHop) {
    hearBetterRoot()->host->rcvdInternal = 0;

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootTimes), bytesOf(tMstpTime{4, 22, 17, 4, 12, {}}));
}

TEST_F(UpdtRolesTree, InternalPathWithNoHopsLeftYields255HopsInTheDesignatedTimes) {
    hearBetterRoot()->portTimes.remainingHops = 0;

    updtRolesTree(cist);

    EXPECT_EQ(at(0, 2)->designatedTimes.remainingHops, 255);
}

TEST_F(UpdtRolesTree, ExternalPathOfAge255YieldsAge0) {
    hearBetterRoot()->portTimes.messageAge = 255;
    at(0, 1)->host->rcvdInternal = 0;

    updtRolesTree(cist);

    EXPECT_EQ(cist->rootTimes.messageAge, 0);
}

// ---- notification of a new root

class NewRootNotification : public UpdtRolesTree {
  protected:
    NewRootNotification() { gMstp.trap = 1; }

    // The calls made by one computation of the CIST's roles.
    std::vector<std::string> notified() {
        bridge.sw.forget();
        updtRolesTree(cist);
        return bridge.sw.calls;
    }

    using Calls = std::vector<std::string>;
};

TEST_F(NewRootNotification, CarriesTheOldRoot) {
    cist->rootPriority.rootId = OTHER_ROOT;
    hearBetterRoot();

    EXPECT_EQ(notified(), (Calls{"sendStpNewRootTrap xst=0 root=4000020000000002"}));
}

TEST_F(NewRootNotification, IsNotSentWhileNotificationsAreOff) {
    gMstp.trap = 0;
    hearBetterRoot();

    EXPECT_EQ(notified(), Calls{});
}

TEST_F(NewRootNotification, IsNotSentByTheRootBridge) {
    EXPECT_EQ(notified(), Calls{});
}

TEST_F(NewRootNotification, IsNotSentForABetterVectorWithTheBridgesOwnRoot) {
    hear(at(0, 1), cist->bridgePriority, From::INSIDE);
    at(0, 1)->msgPriority.designatedBridgeId = SENDER;
    at(0, 1)->portPriority.rRootId = bridgeIdOf(0, 1);

    EXPECT_EQ(notified(), Calls{});
    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x80, 0x01}));
}

TEST_F(NewRootNotification, IsRepeatedAtEveryComputation) {
    hearBetterRoot();

    EXPECT_EQ(notified().size(), 1U);
    EXPECT_EQ(notified().size(), 1U);
}

TEST_F(NewRootNotification, IsSentAgainForACandidateWithAYetBetterRoot) {
    hear(at(0, 1), offerOf(OTHER_ROOT, 0, 0, SENDER), From::INSIDE);
    hear(at(0, 2), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);

    EXPECT_EQ(notified().size(), 2U);
}

TEST_F(NewRootNotification, IsNotSentForACandidateThatOnlyOffersABetterPathToTheSameRoot) {
    hear(at(0, 1), offerOf(BETTER_ROOT, 0, 9, SENDER), From::INSIDE);
    hear(at(0, 2), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);

    EXPECT_EQ(notified().size(), 1U);
    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x80, 0x02}));
}

TEST_F(NewRootNotification, IsNotSentForACandidateThatDoesNotReplaceTheBest) {
    hear(at(0, 1), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    hear(at(0, 2), offerOf(OTHER_ROOT, 0, 0, SENDER), From::INSIDE);

    EXPECT_EQ(notified().size(), 1U);
}

// ---- designated vectors

TEST_F(UpdtRolesTree, EveryPortUpOrNotOffersTheRootsVectorAsItsOwn) {
    cist->bridgeId = bridgeIdOf(9, 7);
    hear(at(0, 1), offerOf(BETTER_ROOT, 100, 7, SENDER), From::INSIDE);
    at(0, 1)->portPriority.rRootId = OTHER_ROOT;
    at(0, 1)->pathCost = 30;
    at(0, 2)->portId = portIdOf(3, 0x123);

    updtRolesTree(cist);

    for (uint32_t unit = 1; unit <= 3; unit++) {
        tMstpPriorityVector expected = offerOf(BETTER_ROOT, 100, 37, bridgeIdOf(9, 7));
        expected.rRootId = OTHER_ROOT;
        expected.designatedPortId = at(0, unit)->portId;
        expected.rcvPortId = at(0, unit)->portId;
        EXPECT_EQ(bytesOf(at(0, unit)->designatedPriority), bytesOf(expected)) << "unit " << unit;
    }
}

TEST_F(UpdtRolesTree, EveryPortUpOrNotOffersTheRootsTimes) {
    hearBetterRoot();

    updtRolesTree(cist);

    for (uint32_t unit = 1; unit <= 3; unit++) {
        EXPECT_EQ(bytesOf(at(0, unit)->designatedTimes), bytesOf(tMstpTime{3, 22, 17, 4, 11, {}}))
            << "unit " << unit;
    }
}

TEST_F(UpdtRolesTree, WithoutARootPortEveryPortOffersTheBridgesOwnVectorAndTimes) {
    cist->bridgeTimes = {1, 30, 16, 3, 33, {}};
    for (uint32_t unit = 1; unit <= 3; unit++) {
        memset(&at(0, unit)->designatedTimes, 0, sizeof(tMstpTime));
    }

    updtRolesTree(cist);

    for (uint32_t unit = 1; unit <= 3; unit++) {
        tMstpPriorityVector expected = cist->bridgePriority;
        expected.designatedPortId = at(0, unit)->portId;
        expected.rcvPortId = at(0, unit)->portId;
        EXPECT_EQ(bytesOf(at(0, unit)->designatedPriority), bytesOf(expected)) << "unit " << unit;
        EXPECT_EQ(bytesOf(at(0, unit)->designatedTimes), bytesOf(cist->bridgeTimes))
            << "unit " << unit;
    }
}

TEST_F(UpdtRolesTree, RootVectorKeepsTheSenderAndTheReceivingPort) {
    hearBetterRoot(100, 7)->pathCost = 30;

    updtRolesTree(cist);

    tMstpPriorityVector expected = offerOf(BETTER_ROOT, 100, 37, SENDER);
    expected.rcvPortId = portIdOf(8, 1);
    EXPECT_EQ(bytesOf(cist->rootPriority), bytesOf(expected));
}

// ---- a new regional root synchronises the MSTIs

class NewRegionalRoot : public UpdtRolesTree {
  protected:
    NewRegionalRoot() { setFlags(&tMstpXstPort::sync, 0); }

    // What is asked to synchronise in instance 1 when the root was @p old and port 1 hears the
    // regional root @p rRoot at @p extCost.
    Flags synced(const tMstpBridgeId& oldRRoot, uint32_t oldExtCost, const tMstpBridgeId& rRoot,
                 uint32_t extCost) {
        cist->rootPriority.rRootId = oldRRoot;
        cist->rootPriority.extRootPathCost = oldExtCost;
        hearBetterRoot(extCost, 0)->portPriority.rRootId = rRoot;
        updtRolesTree(cist);
        return flags(1, &tMstpXstPort::sync);
    }
};

TEST_F(NewRegionalRoot, SynchronisesAllPortsWhenTheNewVectorHasAnExternalCost) {
    EXPECT_EQ(synced(OTHER_ROOT, 0, BETTER_ROOT, 5), (Flags{1, 1, 1}));
}

TEST_F(NewRegionalRoot, SynchronisesAllPortsWhenTheOldVectorHadAnExternalCost) {
    EXPECT_EQ(synced(OTHER_ROOT, 5, BETTER_ROOT, 0), (Flags{1, 1, 1}));
}

TEST_F(NewRegionalRoot, DoesNotMatterWithoutAnyExternalCost) {
    EXPECT_EQ(synced(OTHER_ROOT, 0, BETTER_ROOT, 0), (Flags{0, 0, 0}));
}

TEST_F(NewRegionalRoot, MustDifferFromTheOldOne) {
    EXPECT_EQ(synced(BETTER_ROOT, 5, BETTER_ROOT, 6), (Flags{0, 0, 0}));
}

TEST_F(NewRegionalRoot, IsToldByAnyOfTheEightBytes) {
    for (uint32_t byte = 0; byte < MSTP_BRIDGE_ID_SIZE; byte++) {
        tMstpBridgeId old = BETTER_ROOT;
        reinterpret_cast<uint8_t*>(&old)[byte] ^= 0x01;
        setFlags(&tMstpXstPort::sync, 0);
        EXPECT_EQ(synced(old, 5, BETTER_ROOT, 5), (Flags{1, 1, 1})) << "byte " << byte;
    }
}

TEST_F(NewRegionalRoot, LeavesPortsWithInformationFromOutsideTheRegion) {
    bridge.port(2)->infoInternal = 0;

    EXPECT_EQ(synced(OTHER_ROOT, 5, BETTER_ROOT, 5), (Flags{1, 0, 1}));
}

// ---- roles by what a port's information is

class SelectedRole : public UpdtRolesTree {
  protected:
    // A port with the vector that it offers anyway, so that nothing is to be updated.
    tMstpXstPort* mine(uint32_t xstId, uint32_t unit) {
        tMstpXstPort* xstPort = at(xstId, unit);
        xstPort->infoIs = MSTP_MINE;
        xstPort->portPriority = xstPort->xst->bridgePriority;
        xstPort->portPriority.designatedPortId = xstPort->portId;
        xstPort->portPriority.rcvPortId = xstPort->portId;
        return xstPort;
    }

    // A vector that is worse than the test bridge's own.
    static tMstpPriorityVector worseOffer() { return offerOf(bridgeIdOf(12, 1), 0, 0, SENDER); }

    uint8_t roleOf(const tMstpXstPort* xstPort) {
        updtRolesTree(xstPort->xst);
        return xstPort->selectedRole;
    }
};

TEST_F(SelectedRole, DisabledInformationSelectsTheDisabledRoleAndLeavesUpdtInfo) {
    at(0, 1)->infoIs = MSTP_DISABLED;
    at(0, 1)->selectedRole = MSTP_ROOT_PORT;
    at(0, 1)->updtInfo = 1;

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_DISABLED_PORT);
    EXPECT_EQ(at(0, 1)->updtInfo, 1);
}

TEST_F(SelectedRole, AgedInformationMakesADesignatedPortThatUpdates) {
    mine(0, 1)->infoIs = MSTP_AGED;

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_DESIGNATED_PORT);
    EXPECT_EQ(at(0, 1)->updtInfo, 1);
}

TEST_F(SelectedRole, OwnInformationMakesADesignatedPort) {
    EXPECT_EQ(roleOf(mine(0, 1)), MSTP_DESIGNATED_PORT);
    EXPECT_EQ(at(0, 1)->updtInfo, 0);
}

TEST_F(SelectedRole, OwnInformationThatDiffersFromWhatIsOfferedIsUpdated) {
    mine(0, 1)->portPriority.intRootPathCost = 1;

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_DESIGNATED_PORT);
    EXPECT_EQ(at(0, 1)->updtInfo, 1);
}

TEST_F(SelectedRole, OwnInformationBetterThanWhatIsOfferedIsUpdatedToo) {
    mine(0, 1)->portPriority.rootId = BETTER_ROOT;

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_DESIGNATED_PORT);
    EXPECT_EQ(at(0, 1)->updtInfo, 1);
}

TEST_F(SelectedRole, UpdtInfoThatIsSetStaysSetWhereNothingDiffers) {
    mine(0, 1)->updtInfo = 1;

    roleOf(at(0, 1));

    EXPECT_EQ(at(0, 1)->updtInfo, 1);
}

// Port 1 is root port, port 2 holds own information equal to what it offers.
class OwnTimes : public SelectedRole {
  protected:
    OwnTimes() {
        hearBetterRoot();
        updtRolesTree(cist);
        tMstpXstPort* xstPort = mine(0, 2);
        xstPort->portPriority = xstPort->designatedPriority;
        xstPort->portTimes = HEARD_TIMES;
        xstPort->updtInfo = 0;
    }

    uint8_t updtInfo() {
        updtRolesTree(cist);
        return at(0, 2)->updtInfo;
    }
};

TEST_F(OwnTimes, AreComparedWithTheTimesThatTheRootPortReceivedAndNotWithTheRootTimes) {
    EXPECT_EQ(updtInfo(), 0);
    at(0, 2)->portTimes = cist->rootTimes;
    EXPECT_EQ(updtInfo(), 1);
}

TEST_F(OwnTimes, AreUpdatedForADifferenceInAnyOfTheEightBytes) {
    for (uint32_t byte = 0; byte < sizeof(tMstpTime); byte++) {
        at(0, 2)->portTimes = HEARD_TIMES;
        reinterpret_cast<uint8_t*>(&at(0, 2)->portTimes)[byte] ^= 0x01;
        at(0, 2)->updtInfo = 0;
        EXPECT_EQ(updtInfo(), 1) << "byte " << byte;
    }
}

TEST_F(OwnTimes, DoNotMatterWithoutARootPort) {
    at(0, 1)->infoIs = MSTP_DISABLED;
    mine(0, 2)->portTimes = {99, 99, 99, 99, 99, {}};

    EXPECT_EQ(updtInfo(), 0);
}

// ---- roles by received information

TEST_F(SelectedRole, RootPortHasNothingToUpdate) {
    hearBetterRoot()->updtInfo = 1;

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_ROOT_PORT);
    EXPECT_EQ(at(0, 1)->updtInfo, 0);
}

TEST_F(SelectedRole, RootPortIdIsThatOfTheRootPort) {
    hearBetterRoot()->portId = portIdOf(3, 0x123);

    updtRolesTree(cist);

    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0x31, 0x23}));
}

TEST_F(SelectedRole, PortThatHearsSomethingBetterThanItsOfferIsAlternate) {
    hearBetterRoot();
    hear(at(0, 2), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    at(0, 2)->updtInfo = 1;

    EXPECT_EQ(roleOf(at(0, 2)), MSTP_ALTERNATE_PORT);
    EXPECT_EQ(at(0, 2)->updtInfo, 0);
}

TEST_F(SelectedRole, PortThatHearsItsVeryOfferIsAlternate) {
    hear(mine(0, 1), mine(0, 1)->portPriority, From::INSIDE);

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_ALTERNATE_PORT);
}

TEST_F(SelectedRole, PortThatHearsSomethingWorseThanItsOfferIsDesignatedAndUpdates) {
    hear(at(0, 1), worseOffer(), From::INSIDE);

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_DESIGNATED_PORT);
    EXPECT_EQ(at(0, 1)->updtInfo, 1);
}

TEST_F(SelectedRole, PortThatHearsAnotherPortOfThisBridgeIsBackup) {
    hear(at(0, 2), mine(0, 1)->portPriority, From::INSIDE);
    at(0, 2)->updtInfo = 1;

    EXPECT_EQ(roleOf(at(0, 2)), MSTP_BACKUP_PORT);
    EXPECT_EQ(at(0, 2)->updtInfo, 0);
}

TEST_F(SelectedRole, PortThatHearsAWorsePortOfThisBridgeIsDesignated) {
    hear(at(0, 1), mine(0, 2)->portPriority, From::INSIDE);

    EXPECT_EQ(roleOf(at(0, 1)), MSTP_DESIGNATED_PORT);
}

TEST_F(SelectedRole, BackupNeedsAllEightBytesOfTheBridgeToBeThisOne) {
    for (uint32_t byte = 0; byte < MSTP_BRIDGE_ID_SIZE; byte++) {
        tMstpPriorityVector offer = offerOf(BETTER_ROOT, 0, 0, cist->bridgeId);
        reinterpret_cast<uint8_t*>(&offer.designatedBridgeId)[byte] ^= 0x01;
        hear(at(0, 2), offer, From::INSIDE);
        at(0, 2)->host->restrictedRole = 1;

        EXPECT_EQ(roleOf(at(0, 2)), MSTP_ALTERNATE_PORT) << "byte " << byte;
    }
}

TEST_F(SelectedRole, BackupIsToldByThePortVectorsSender) {
    hear(at(0, 2), offerOf(BETTER_ROOT, 0, 0, cist->bridgeId), From::INSIDE);
    at(0, 2)->host->restrictedRole = 1;
    at(0, 2)->msgPriority.designatedBridgeId = SENDER;

    EXPECT_EQ(roleOf(at(0, 2)), MSTP_BACKUP_PORT);
}

TEST_F(SelectedRole, PortThatIsDownGetsARoleAsWell) {
    hear(at(0, 3), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);

    EXPECT_EQ(roleOf(at(0, 3)), MSTP_ALTERNATE_PORT);
}

TEST_F(SelectedRole, MstiPortThatHearsABetterRegionalRootInsideTheRegionBecomesRootPort) {
    hear(at(1, 2), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    mine(1, 1);

    EXPECT_EQ(roleOf(at(1, 2)), MSTP_ROOT_PORT);
    EXPECT_EQ(at(1, 1)->selectedRole, MSTP_DESIGNATED_PORT);
    EXPECT_EQ(bytesOf(msti->rootPortId), (Flags{0x80, 0x02}));
    EXPECT_EQ(bytesOf(cist->rootPortId), (Flags{0, 0}));
}

// ---- An MSTI at the boundary of the region

// Port 1 hears the CIST from outside the region, where the CIST has a role; its MSTI holds
// information of its own.
class RegionBoundary : public SelectedRole {
  protected:
    RegionBoundary() {
        hear(at(0, 1), offerOf(BETTER_ROOT, 0, 0, SENDER), From::OUTSIDE);
        mine(1, 1);
    }

    uint8_t roleWithCist(uint8_t cistRole) {
        at(0, 1)->selectedRole = cistRole;
        return roleOf(at(1, 1));
    }
};

TEST_F(RegionBoundary, PortWhoseCistRoleIsRootBecomesMasterAndItsPortIdTheInstancesMasterPortId) {
    at(1, 1)->portId = portIdOf(3, 0x123);

    EXPECT_EQ(roleWithCist(MSTP_ROOT_PORT), MSTP_MASTER_PORT);
    EXPECT_EQ(at(1, 1)->master, 1);
    EXPECT_EQ(bytesOf(msti->masterPortId), (Flags{0x31, 0x23}));
}

TEST_F(RegionBoundary, PortWhoseCistRoleIsAlternateBecomesAlternateAndNoMaster) {
    msti->masterPortId = portIdOf(8, 1);
    at(1, 1)->master = 1;

    EXPECT_EQ(roleWithCist(MSTP_ALTERNATE_PORT), MSTP_ALTERNATE_PORT);
    EXPECT_EQ(at(1, 1)->master, 0);
    EXPECT_EQ(bytesOf(msti->masterPortId), (Flags{0, 0}));
}

TEST_F(RegionBoundary, FollowsTheSelectedRoleOfTheCistAndNotTheOneTaken) {
    at(0, 1)->role = MSTP_ALTERNATE_PORT;

    EXPECT_EQ(roleWithCist(MSTP_ROOT_PORT), MSTP_MASTER_PORT);
}

TEST_F(RegionBoundary, MasterAndAlternateWithNothingToUpdateLeaveUpdtInfo) {
    for (uint8_t cistRole : {MSTP_ROOT_PORT, MSTP_ALTERNATE_PORT}) {
        for (uint8_t updtInfo : {uint8_t{0}, uint8_t{1}}) {
            at(1, 1)->updtInfo = updtInfo;
            roleWithCist(cistRole);
            EXPECT_EQ(at(1, 1)->updtInfo, updtInfo) << "CIST role " << int{cistRole};
        }
    }
}

TEST_F(RegionBoundary, MasterAndAlternateUpdateAVectorThatDiffers) {
    for (uint8_t cistRole : {MSTP_ROOT_PORT, MSTP_ALTERNATE_PORT}) {
        mine(1, 1)->portPriority.intRootPathCost = 1;
        at(1, 1)->updtInfo = 0;
        roleWithCist(cistRole);
        EXPECT_EQ(at(1, 1)->updtInfo, 1) << "CIST role " << int{cistRole};
    }
}

TEST_F(RegionBoundary, MasterAndAlternateUpdateTimesOtherThanTheRootPortReceived) {
    hear(at(1, 2), offerOf(BETTER_ROOT, 0, 0, SENDER), From::INSIDE);
    for (uint8_t cistRole : {MSTP_ROOT_PORT, MSTP_ALTERNATE_PORT}) {
        roleWithCist(cistRole);
        at(1, 1)->portPriority = at(1, 1)->designatedPriority;
        at(1, 1)->portTimes = HEARD_TIMES;
        at(1, 1)->updtInfo = 0;
        roleWithCist(cistRole);
        EXPECT_EQ(at(1, 1)->updtInfo, 0) << "CIST role " << int{cistRole};

        at(1, 1)->portTimes = msti->rootTimes;
        roleWithCist(cistRole);
        EXPECT_EQ(at(1, 1)->updtInfo, 1) << "CIST role " << int{cistRole};
    }
}

TEST_F(RegionBoundary, WhateverTheInformationTheCistsRoleDecides) {
    for (uint8_t infoIs : {MSTP_MINE, MSTP_AGED, MSTP_RECEIVED}) {
        at(1, 1)->infoIs = infoIs;
        EXPECT_EQ(roleWithCist(MSTP_ROOT_PORT), MSTP_MASTER_PORT) << "infoIs " << int{infoIs};
        EXPECT_EQ(roleWithCist(MSTP_ALTERNATE_PORT), MSTP_ALTERNATE_PORT)
            << "infoIs " << int{infoIs};
    }
}

TEST_F(RegionBoundary, DisabledMstiIsNoMaster) {
    at(1, 1)->infoIs = MSTP_DISABLED;
    at(1, 1)->master = 1;

    EXPECT_EQ(roleWithCist(MSTP_ROOT_PORT), MSTP_DISABLED_PORT);
    EXPECT_EQ(at(1, 1)->master, 0);
    EXPECT_EQ(bytesOf(msti->masterPortId), (Flags{0, 0}));
}

TEST_F(RegionBoundary, OtherCistRolesLeaveTheMstiToTheRulesThatFollow) {
    for (uint8_t cistRole : {MSTP_DISABLED_PORT, MSTP_BACKUP_PORT, MSTP_DESIGNATED_PORT}) {
        mine(1, 1);
        EXPECT_EQ(roleWithCist(cistRole), MSTP_DESIGNATED_PORT) << "CIST role " << int{cistRole};

        at(1, 1)->infoIs = MSTP_AGED;
        at(1, 1)->updtInfo = 0;
        EXPECT_EQ(roleWithCist(cistRole), MSTP_DESIGNATED_PORT) << "CIST role " << int{cistRole};
        EXPECT_EQ(at(1, 1)->updtInfo, 1) << "CIST role " << int{cistRole};
    }
}

TEST_F(RegionBoundary, ReceivedInformationUnderAnotherCistRoleIsLeftAloneButForTheMaster) {
    at(1, 1)->infoIs = MSTP_RECEIVED;
    at(1, 1)->selectedRole = MSTP_BACKUP_PORT;
    at(1, 1)->updtInfo = 1;
    at(1, 1)->master = 1;

    EXPECT_EQ(roleWithCist(MSTP_DESIGNATED_PORT), MSTP_BACKUP_PORT);
    EXPECT_EQ(at(1, 1)->updtInfo, 1);
    EXPECT_EQ(at(1, 1)->master, 0);
}

TEST_F(RegionBoundary, CistThatHearsNothingMakesNoBoundary) {
    for (uint8_t infoIs : {MSTP_DISABLED, MSTP_MINE, MSTP_AGED}) {
        at(0, 1)->infoIs = infoIs;
        EXPECT_EQ(roleWithCist(MSTP_ROOT_PORT), MSTP_DESIGNATED_PORT) << "infoIs " << int{infoIs};
        EXPECT_EQ(at(1, 1)->master, 0) << "infoIs " << int{infoIs};
    }
}

TEST_F(RegionBoundary, ReceivedInformationIsLeftAloneWhereTheCistsAgedOutsideTheRegion) {
    at(0, 1)->infoIs = MSTP_AGED;
    at(1, 1)->infoIs = MSTP_RECEIVED;
    at(1, 1)->selectedRole = MSTP_BACKUP_PORT;

    EXPECT_EQ(roleWithCist(MSTP_ROOT_PORT), MSTP_BACKUP_PORT);
}

TEST_F(RegionBoundary, CistInformationFromInsideTheRegionMakesNoBoundary) {
    at(0, 1)->host->infoInternal = 1;

    EXPECT_EQ(roleWithCist(MSTP_ROOT_PORT), MSTP_DESIGNATED_PORT);
    EXPECT_EQ(at(1, 1)->master, 0);
}

TEST_F(RegionBoundary, CistItselfFollowsNoSuchRule) {
    updtRolesTree(cist);
    EXPECT_EQ(at(0, 1)->selectedRole, MSTP_ROOT_PORT);

    updtRolesTree(cist);
    EXPECT_EQ(at(0, 1)->selectedRole, MSTP_ROOT_PORT);
    EXPECT_EQ(at(0, 1)->master, 0);
}

// ---- What the CIST's roles mean to the MSTIs

class MstiReselection : public SelectedRole {
  protected:
    // The ports of instance 2 that want reselection after a computation of the CIST, where port 1
    // has information of @p infoIs.
    Flags marked(uint8_t infoIs) {
        setFlags(&tMstpXstPort::reselect, 0);
        at(0, 1)->infoIs = infoIs;
        updtRolesTree(cist);
        EXPECT_EQ(flags(0, &tMstpXstPort::reselect), (Flags{0, 0, 0}));
        return flags(2, &tMstpXstPort::reselect);
    }
};

TEST_F(MstiReselection, OfAllMstisIsDueWhereTheCistsInformationIsFromOutsideTheRegion) {
    bridge.port(1)->infoInternal = 0;

    EXPECT_EQ(marked(MSTP_AGED), (Flags{1, 1, 1}));
    EXPECT_EQ(marked(MSTP_MINE), (Flags{1, 1, 1}));
    EXPECT_EQ(marked(MSTP_RECEIVED), (Flags{1, 1, 1}));
}

TEST_F(MstiReselection, IsNotDueForADisabledPort) {
    bridge.port(1)->infoInternal = 0;

    EXPECT_EQ(marked(MSTP_DISABLED), (Flags{0, 0, 0}));
}

TEST_F(MstiReselection, IsNotDueForInformationFromInsideTheRegion) {
    bridge.port(1)->infoInternal = 1;

    EXPECT_EQ(marked(MSTP_MINE), (Flags{0, 0, 0}));
}

TEST_F(MstiReselection, IsDueForOnePortWhateverTheOthersHold) {
    bridge.port(1)->infoInternal = 0;
    mine(0, 2);
    mine(0, 3);

    EXPECT_EQ(marked(MSTP_MINE), (Flags{1, 1, 1}));
}

TEST_F(MstiReselection, IsNotDueAfterAComputationOfAnMsti) {
    bridge.port(1)->infoInternal = 0;
    mine(1, 1);

    updtRolesTree(msti);

    EXPECT_EQ(flags(1, &tMstpXstPort::reselect), (Flags{0, 0, 0}));
    EXPECT_EQ(flags(2, &tMstpXstPort::reselect), (Flags{0, 0, 0}));
}

TEST_F(SelectedRole, MasterMarkIsTakenFromEveryPort) {
    setFlags(&tMstpXstPort::master, 1);

    updtRolesTree(cist);

    EXPECT_EQ(flags(0, &tMstpXstPort::master), (Flags{0, 0, 0}));
}

} // namespace
