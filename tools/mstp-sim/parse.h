#pragma once

/// Scenario files: YAML, described in docs/scenarios.md.

#include <string>

#include "scenario.h"

namespace simtool {

/// @throws BadInput with every error of the file, a line each
Scenario parseScenario(const std::string& text, const std::string& file);

/// @throws BadInput also if the file cannot be read
Scenario readScenario(const std::string& file);

} // namespace simtool
