#pragma once

/// Scenarios written in tests, run to their end.

#include <memory>
#include <string>
#include <vector>

#include "lab.h"

/// A scenario and its run.
struct Trial {
    explicit Trial(const std::string& text);
    /// "EXPECTED; found: FOUND" of everything that was not as expected.
    std::vector<std::string> failures() const;

    simtool::Scenario scenario;
    simtool::Lab lab;
};

/// Two bridges with a link between them and a host at each, then @p rest.
std::string twoBridges(const std::string& rest);
