#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "daemon.h"

struct ShowOptions {
    std::string form;  ///< one of showForms(); empty = all
    uint32_t unit = 0; ///< of the form "port"
    bool json = false;
    bool dot = false;                 ///< a drawing; of the form without a name
    std::optional<uint32_t> instance; ///< the only one to draw
    std::string colour = "auto";      ///< auto, always or never
};

/// The words after "mstp show".
std::vector<std::string> showForms();

/// Shows what @p options asks for.
/// @throws Refused  no such port or instance
void runShow(std::ostream& out, const Daemon& daemon, const ShowOptions& options);
