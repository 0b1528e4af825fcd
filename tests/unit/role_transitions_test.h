#pragma once

/// For tests of the Port Role Transitions machine.

#include <string>
#include <vector>

#include "machine_test.h"
#include "mstp_port_role_transitions_state_machine.h"
#include "record_changes.h"

/// Port 1 in the CIST beside port 2, which is designated and helps port 1 to nothing: it has not
/// synced and may have been root port lately.
class RoleTransitions : public MachineTest {
  protected:
    static constexpr uint8_t MAX_AGE = 20;
    static constexpr uint8_t FWD_DELAY = 15;    ///< FwdDelay of the standard
    static constexpr uint8_t FORWARD_DELAY = 7; ///< its forwardDelay, the port's
    static constexpr uint8_t EDGE_DELAY = 4;
    static constexpr uint8_t HELLO_TIME = 2;
    static constexpr uint8_t WAITING = 5; ///< a counter that runs

    static constexpr const char* PROPOSED = "proposed && !agree";

    RoleTransitions() : other(mstpCistPort(addPort(2))) {
        cist->designatedTimes.maxAge = MAX_AGE;
        cist->designatedTimes.forwardDelay = FWD_DELAY;
        cist->designatedTimes.helloTime = HELLO_TIME;
        port->forwardDelay = FORWARD_DELAY;
        port->edgeDelay = EDGE_DELAY;
        port->sendRSTP = 1;
        port->rstpVersion = 1;
        port->operEdge = 0;
        port->newInfo = 0;
        port->newInfoMsti = 0;
        cist->selected = 1;
        cist->updtInfo = 0;
        cist->allSynced = 0;
        cist->reRooted = 0;
        other->role = other->selectedRole = MSTP_DESIGNATED_PORT;
        other->selected = 1;
        other->updtInfo = 0;
        other->sync = 0;
        other->synced = 0;
        other->reRoot = 0;
        other->rrWhile = FWD_DELAY;
    }

    void setState(uint8_t state) { cist->fsmState[MSTP_PORT_ROLE_TRANSITIONS_FSM] = state; }

    uint8_t state() const { return cist->fsmState[MSTP_PORT_ROLE_TRANSITIONS_FSM]; }

    void setRole(uint8_t role) { cist->role = cist->selectedRole = role; }

    /// Loads a counter of port 1 and arms its node.
    void load(uint8_t* counter, tTimerNode* timer, uint8_t seconds) {
        mstpLoadCounter(bridge.bridge, counter, timer, seconds, MSTP_EVENT_FSM);
    }

    /// All four requests and states of learning and forwarding.
    void setForwarding(uint8_t value) {
        cist->learn = cist->learning = value;
        cist->forward = cist->forwarding = value;
    }

    /// Nothing proposed, everything agreed and in sync.
    void setAgreed() {
        cist->agree = cist->agreed = 1;
        cist->proposed = cist->proposing = 0;
        cist->disputed = 0;
        cist->sync = 0;
        cist->synced = 1;
        cist->reRoot = 0;
        cist->fdWhile = cist->rrWhile = cist->rbWhile = 0;
    }

    // Ports that have nothing left to do.

    void settleDisabled() {
        setRole(MSTP_DISABLED_PORT);
        setState(MSTP_PORT_ROLE_TRANSITIONS_DISABLED_PORT);
        setForwarding(0);
        setAgreed();
        cist->fdWhile = MAX_AGE;
    }

    void settleMaster() {
        setRole(MSTP_MASTER_PORT);
        setState(MSTP_PORT_ROLE_TRANSITIONS_MASTER_PORT);
        setForwarding(1);
        setAgreed();
    }

    void settleRoot() {
        setRole(MSTP_ROOT_PORT);
        setState(MSTP_PORT_ROLE_TRANSITIONS_ROOT_PORT);
        setForwarding(1);
        setAgreed();
        cist->rrWhile = FWD_DELAY;
    }

    void settleDesignated() {
        setRole(MSTP_DESIGNATED_PORT);
        setState(MSTP_PORT_ROLE_TRANSITIONS_DESIGNATED_PORT);
        setForwarding(1);
        setAgreed();
    }

    void settleAlternate() {
        setRole(MSTP_ALTERNATE_PORT);
        setState(MSTP_PORT_ROLE_TRANSITIONS_ALTERNATE_PORT);
        setForwarding(0);
        setAgreed();
        cist->fdWhile = FORWARD_DELAY;
    }

    void settleBackup() {
        settleAlternate();
        setRole(MSTP_BACKUP_PORT);
        cist->rbWhile = 2 * HELLO_TIME;
    }

    void letAllSync() { other->synced = 1; }

    void letReRoot() { other->rrWhile = 0; }

    /// What one call traces, without the line that names the machine.
    std::vector<std::string> run() {
        std::vector<std::string> lines =
            traced(MSTP_DEBUG_MACHINE, [&] { mstpPortRoleTransitionsFSM(cist); });
        EXPECT_EQ(lines.front(), "msti 0 port port1 Port Role Transitions state machine");
        lines.erase(lines.begin());
        return lines;
    }

    tMstpXstPort* other;
};
