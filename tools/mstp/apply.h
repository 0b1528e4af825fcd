#pragma once

/// Commands put into force.

#include "command.h"
#include "daemon.h"
#include "rules.h"

/// Sends @p command. @throws Refused with the reason
void applyCommand(const Daemon& daemon, const Command& command);

/// The same by who knows the daemon's state, which need not be read then.
void applyCommand(const Daemon& daemon, const Command& command, const Expected& state);

/// Checks @p command, sends it and waits until it is in force. @throws Refused with the reason
void applyAlone(const Daemon& daemon, const Command& command);

/// A change that restarts machines is done by the daemon's loop a moment after its reply. Whoever
/// sends many requests must leave that moment before one that builds on the change.
class Pacer {
  public:
    enum class Work {
        None,
        Merges, ///< work that may be done together with more of its kind
        Alone,
    };
    static Work workOf(uint32_t selector, uint32_t attribute);
    static Work workOf(const Command& command);

    void before(Work work);
    void end() { before(Work::None); }

  private:
    Work m_pending = Work::None;
};
