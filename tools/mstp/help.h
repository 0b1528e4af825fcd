#pragma once

/// The texts of --help: enough to configure a bridge without other text.

#include <string>
#include <vector>

struct CommandHelp {
    std::string name;
    std::string summary;
    std::string usage;
    std::string details;
};

/// Of the commands that change something, in the order in which a newcomer meets them.
std::vector<CommandHelp> configuringHelp();

CommandHelp getHelp();

/// The end of "mstp --help": a whole session, files of commands, and the exit codes.
std::string sessionHelp();
std::string showHelp();
std::string watchHelp();
std::string saveHelp();
std::string restoreHelp();
