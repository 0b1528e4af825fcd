#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "daemon.h"

struct ShowOptions {
    std::string form;  ///< one of showForms(); empty = all
    uint32_t unit = 0; ///< of the form "port"
    bool json = false;
    std::string colour = "auto"; ///< auto, always or never
};

/// The words after "mstp show".
std::vector<std::string> showForms();

/// Shows what @p options asks for.
/// @return false if its unit is none of the bridge's ports
bool runShow(std::ostream& out, const Daemon& daemon, const ShowOptions& options);
