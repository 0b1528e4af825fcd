#pragma once

/// Why the daemon refused a request.

#include "command.h"
#include "daemon.h"

/// A number that the daemon has. @return none if it has none there
std::optional<uint32_t> readNumber(const Daemon& daemon, uint32_t selector, const Keys& keys,
                                   uint32_t attribute);

/// Why the daemon does not know @p target; empty if it does know it.
std::string missing(const Daemon& daemon, const Target& target);

/// Why it refused a command; empty if no reason is found.
std::string settingRefusal(const Daemon& daemon, const SetCommand& command);
std::string instanceRefusal(const Daemon& daemon, const InstanceCommand& command);
std::string portRefusal(const Daemon& daemon);

/// Which of @p vlans another MSTI than @p instance holds; empty if none.
std::string vlanConflict(const Daemon& daemon, uint32_t instance,
                         const std::vector<uint8_t>& vlans);

/// @throws Refused with @p what and @p reason if @p reply is not a success
void expectServed(const Reply& reply, const std::string& what, const std::string& reason);
