#pragma once

/// What an entry action changes, by name: tests of machines state all that a state's entry does and
/// thereby that it does nothing else.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "mstp/records.h"

/// Watches an instance port, what its machines write in its port and its instance, and the timer
/// nodes of its counters.
class RecordChanges {
  public:
    explicit RecordChanges(const tMstpXstPort* watched) : xstPort(watched), before(values()) {}

    /// "name=value" of each value that differs from before, in alphabetical order. A timer's value
    /// is its ticks left, or "idle". A machine's state is named "state of" and its index.
    std::vector<std::string> list() const {
        std::vector<std::string> changes;
        for (const auto& [name, value] : values()) {
            if (before.at(name) != value) {
                changes.push_back(name + "=" + value);
            }
        }
        return changes;
    }

  private:
    using Values = std::map<std::string, std::string>;

    static std::string timerText(const tTimerNode& node) {
        return listLinked(&node.node) ? std::to_string(timerRemain(&node)) : "idle";
    }

    Values values() const {
        Values all;
        addVariables(&all);
        addPort(&all);
        addInstance(&all);
        for (uint32_t i = 0; i < MSTP_FSM_COUNT; i++) {
            all["state of " + std::to_string(i)] = std::to_string(xstPort->fsmState[i]);
        }
        return all;
    }

    void addVariables(Values* all) const {
        static constexpr std::pair<const char*, uint8_t tMstpXstPort::*> VARIABLES[] = {
            {"role", &tMstpXstPort::role},
            {"selectedRole", &tMstpXstPort::selectedRole},
            {"selected", &tMstpXstPort::selected},
            {"updtInfo", &tMstpXstPort::updtInfo},
            {"reselect", &tMstpXstPort::reselect},
            {"agree", &tMstpXstPort::agree},
            {"agreed", &tMstpXstPort::agreed},
            {"proposed", &tMstpXstPort::proposed},
            {"proposing", &tMstpXstPort::proposing},
            {"disputed", &tMstpXstPort::disputed},
            {"sync", &tMstpXstPort::sync},
            {"synced", &tMstpXstPort::synced},
            {"allSynced", &tMstpXstPort::allSynced},
            {"reRoot", &tMstpXstPort::reRoot},
            {"reRooted", &tMstpXstPort::reRooted},
            {"learn", &tMstpXstPort::learn},
            {"learning", &tMstpXstPort::learning},
            {"forward", &tMstpXstPort::forward},
            {"forwarding", &tMstpXstPort::forwarding},
            {"fdbFlush", &tMstpXstPort::fdbFlush},
            {"rcvdTc", &tMstpXstPort::rcvdTc},
            {"rcvdTcAck", &tMstpXstPort::rcvdTcAck},
            {"rcvdTcn", &tMstpXstPort::rcvdTcn},
            {"tcAck", &tMstpXstPort::tcAck},
            {"tcProp", &tMstpXstPort::tcProp},
            {"master", &tMstpXstPort::master},
            {"hwState", &tMstpXstPort::hwState},
            {"fdWhile", &tMstpXstPort::fdWhile},
            {"rrWhile", &tMstpXstPort::rrWhile},
            {"rbWhile", &tMstpXstPort::rbWhile},
            {"tcWhile", &tMstpXstPort::tcWhile},
        };
        for (const auto& [name, member] : VARIABLES) {
            (*all)[name] = std::to_string(xstPort->*member);
        }
        (*all)["fdWhileTimer"] = timerText(xstPort->fdWhileTimer);
        (*all)["rrWhileTimer"] = timerText(xstPort->rrWhileTimer);
        (*all)["rbWhileTimer"] = timerText(xstPort->rbWhileTimer);
        (*all)["tcWhileTimer"] = timerText(xstPort->tcWhileTimer);
    }

    void addPort(Values* all) const {
        (*all)["newInfo"] = std::to_string(xstPort->host->newInfo);
        (*all)["newInfoMsti"] = std::to_string(xstPort->host->newInfoMsti);
        (*all)["edgeDelayWhile"] = std::to_string(xstPort->host->edgeDelayWhile);
        (*all)["edgeDelayWhileTimer"] = timerText(xstPort->host->edgeDelayWhileTimer);
    }

    void addInstance(Values* all) const {
        (*all)["topologyChange"] = std::to_string(xstPort->xst->topologyChange);
        (*all)["topologyChangesCount"] = std::to_string(xstPort->xst->topologyChangesCount);
    }

    const tMstpXstPort* xstPort;
    const Values before;
};
