#pragma once

/// What may stand next on a command line, for the shells' completion. Everything comes from where
/// it is defined: commands and options from the parser, names and words from the table of settings,
/// numbers and interfaces from the daemon and the system.

#include <CLI/CLI.hpp>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

/// Told instead of words where a file's name stands.
inline constexpr const char* COMPLETE_FILES = ":files";

/// What can only be known by asking.
struct Known {
    std::function<std::vector<std::string>()> interfaces; ///< of the system
    std::function<std::vector<std::string>()> ports;      ///< of the bridge
    std::function<std::vector<std::string>()> instances;
};

/// @param words  those before the word that is to be completed, without the program
/// @return all that may follow, whatever is typed of it already; empty where anything may
std::vector<std::string> completions(const CLI::App& app, const std::vector<std::string>& words,
                                     const Known& known);

/// Prints them a line each, asking the daemon that @p words name.
void printCompletions(std::ostream& out, const CLI::App& app,
                      const std::vector<std::string>& words);
