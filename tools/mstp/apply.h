#pragma once

/// Commands put into force: checked against this machine and the daemon, sent, and explained when
/// they are refused.

#include <utility>

#include "command.h"
#include "daemon.h"

/// The unit of an interface by its name or, for one that is gone, its number.
/// @throws Refused if there is none
uint32_t unitOf(const std::string& interface);

/// The table's get selector and the keys that stand for @p target.
std::pair<uint32_t, Keys> addressOf(const Target& target);

/// @throws Refused if the command names an interface that does not exist
void checkInterface(const Command& command);

/// IEEE 802.1Q-2005 13.22: the bridge's times bound each other.
struct BridgeTimes {
    uint32_t maxAge = 0; ///< seconds, like the others
    uint32_t helloTime = 0;
    uint32_t forwardDelay = 0;

    static BridgeTimes read(const Daemon& daemon);
    /// @return false if @p command does not set a time
    bool take(const Command& command);
    /// The rule that is broken, with the values that break it; empty if none is.
    std::string brokenRule() const;
};

/// Sends @p command. @throws Refused with the reason
void applyCommand(const Daemon& daemon, const Command& command);

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
