#pragma once

/// The running configuration as a file of commands.

#include <ostream>
#include <string>

#include "daemon.h"

/// The commands that bring a fresh daemon to where @p daemon is, as far as it can be set.
/// @param warnings  what a file of commands cannot say; the lines are left out
std::string savedConfiguration(const Daemon& daemon, std::ostream& warnings);
