#pragma once

/// What differs between two looks at a bridge, a line each.

#include <chrono>
#include <string>
#include <vector>

#include "model.h"

enum class ChangeKind {
    Role,     ///< role or state of a port in an instance, new or other than before
    RoleGone, ///< a port has left an instance, or an instance the bridge
    Link,     ///< a port's link came up or went down
    PortGone, ///< a port has left the bridge
    Root,     ///< an instance's root
    InstanceGone,
    TopologyChange, ///< an instance has seen one, or more
    DaemonGone,
    DaemonBack,
};

/// Only the fields of its kind mean something; the `old` ones only when `hadOld` is true.
struct Change {
    ChangeKind kind = ChangeKind::Role;
    std::string port;
    uint32_t instance = 0;
    uint32_t role = 0;
    uint32_t state = 0;
    bool linkUp = false;
    Octets root;
    bool isRoot = false;
    uint32_t topologyChanges = 0;

    bool hadOld = false;
    uint32_t oldRole = 0;
    uint32_t oldState = 0;
    Octets oldRoot;
};

/// The changes from @p before to @p now: first the links, then the roots, roles, and topology
/// changes. Against an empty snapshot everything that is there is new.
std::vector<Change> changesBetween(const Snapshot& before, const Snapshot& now);

using TimePoint = std::chrono::system_clock::time_point;

/// "TIME  eth1  instance 0  root forwarding  (was alternate discarding)".
/// @param epoch  the time as seconds since 1970 instead of the time of day
std::string changeText(const Change& change, TimePoint when, bool epoch);

/// The same as a JSON object without line breaks.
std::string changeJson(const Change& change, TimePoint when);
