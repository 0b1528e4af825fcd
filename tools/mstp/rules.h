#pragma once

/// The rules by which the daemon takes or refuses a command, kept here because its refusal is a
/// bare -1: what it knows is read once, and a whole file can be tried on it before anything is
/// sent.

#include <map>
#include <set>
#include <utility>

#include "command.h"
#include "daemon.h"

/// The unit of an interface by its name or, for one that is gone, its number.
/// @throws Refused if there is none
uint32_t unitOf(const std::string& interface);

/// From now on interfaces have numbers only: the daemons are not on this host, whose interfaces may
/// be called like theirs.
void forgetInterfaceNames();

/// The table's get selector and the keys that stand for @p target.
std::pair<uint32_t, Keys> addressOf(const Target& target);

/// A number that the daemon has. @return none if it has none there
std::optional<uint32_t> readNumber(const Daemon& daemon, uint32_t selector, const Keys& keys,
                                   uint32_t attribute);

/// The interface that @p command names; empty if it names none.
std::string interfaceOf(const Command& command);

/// IEEE 802.1Q-2005 13.22: the bridge's times bound each other.
struct BridgeTimes {
    uint32_t maxAge = 0; ///< seconds, like the others
    uint32_t helloTime = 0;
    uint32_t forwardDelay = 0;

    /// @return false if @p command does not set a time
    bool take(const Command& command);
    /// The rule that is broken, with the values that break it; empty if none is.
    std::string brokenRule() const;
};

/// What of the daemon's state decides about commands.
struct Expected {
    uint32_t version = 3;
    uint32_t highestInstance = 0;
    BridgeTimes times;
    std::map<uint32_t, std::vector<uint8_t>> vlans; ///< of each instance that there is
    std::set<uint32_t> ports;                       ///< their units

    static Expected read(const Daemon& daemon);

    /// Why @p target cannot be read or set; empty if it can.
    std::string missing(const Target& target) const;
    /// Why the daemon would refuse @p command; empty if it would take it, as far as can be known.
    std::string refusal(const Command& command) const;
    /// What @p command changes of all this.
    void take(const Command& command);

  private:
    std::string refusalOfLife(uint32_t instance, bool add) const;
    std::string refusalOfVlans(const VlansCommand& command) const;
    std::string refusalOfMap(const MapCommand& command) const;
    void takeLife(uint32_t instance, bool add);
    void takeVlans(const VlansCommand& command);
    void takeMap(const MapCommand& command);
    void refillCist();
    void takeVersion(uint32_t newVersion);
};

/// The VLANs that a change takes from and gives to an instance that holds @p held.
struct VlanDifference {
    std::vector<uint8_t> remove; ///< whole lists
    std::vector<uint8_t> add;
};
VlanDifference vlanDifference(const VlansCommand& command, std::vector<uint8_t> held);
