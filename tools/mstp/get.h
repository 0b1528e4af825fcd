#pragma once

/// Single readings, by the names under which they are set.

#include <ostream>

#include "command.h"
#include "daemon.h"

/// The setting's value at @p target. @return none if the daemon has none there
std::optional<Value> readValue(const Daemon& daemon, const Target& target, const Setting& setting);

/// get TARGET [NAME]: the value alone, or all names and values without NAME.
/// @throws WrongForm, Refused
void getWords(std::ostream& out, const Daemon& daemon, const std::vector<std::string>& words);
