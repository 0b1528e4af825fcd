#pragma once

/// Files of commands, one a line: all of a file is checked before any of it is sent.

#include <ostream>

#include "command.h"
#include "daemon.h"
#include "rules.h"

struct ScriptLine {
    size_t number; ///< counted from 1
    Command command;
};

struct ScriptError {
    size_t number;
    std::string text;
};

struct Script {
    std::vector<ScriptLine> lines;
    std::vector<ScriptError> errors;
};

/// Parses every line. A '#' where a word could begin starts a comment; quotes are those of
/// splitWords().
Script parseScript(const std::string& text);

/// Tries the lines one after the other on @p state and tells what would be refused. The bridge's
/// times are judged where the file leaves them.
std::vector<ScriptError> tryScript(const Script& script, Expected state);

/// Parses, tries and sends the file @p path, "-" for standard input.
/// @param errors  all that is wrong, "FILE:LINE: text" each
/// @return false if something was wrong: nothing was sent, or the line named was refused
bool runScript(std::ostream& errors, const Daemon& daemon, const std::string& path);
