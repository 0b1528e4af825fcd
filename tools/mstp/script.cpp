#include "script.h"

#include <algorithm>

#include "apply.h"
#include "file.h"

static constexpr size_t LONGEST_SCRIPT = 1 << 20;

// A line's command, whose interface exists. Nothing of a line without words.
static std::optional<Command> parseLine(const std::string& line) {
    const std::vector<std::string> words = splitWords(line);
    if (words.empty()) {
        return std::nullopt;
    }
    Command command = parseCommand(words);
    if (!interfaceOf(command).empty()) {
        unitOf(interfaceOf(command));
    }
    return command;
}

Script parseScript(const std::string& text) {
    Script script;
    size_t number = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        number++;
        try {
            if (auto command = parseLine(text.substr(start, end - start))) {
                script.lines.push_back({number, std::move(*command)});
            }
        } catch (const std::runtime_error& error) {
            script.errors.push_back({number, error.what()});
        }
        start = end + 1;
    }
    return script;
}

std::vector<ScriptError> tryScript(const Script& script, Expected state) {
    std::vector<ScriptError> errors;
    size_t lastTime = 0;
    for (const ScriptLine& line : script.lines) {
        const std::string reason = state.refusal(line.command);
        if (!reason.empty()) {
            errors.push_back({line.number, commandWords(line.command) + ": " + reason});
            continue;
        }
        state.take(line.command);
        if (BridgeTimes().take(line.command)) {
            lastTime = line.number;
        }
    }
    const std::string rule = state.times.brokenRule();
    if (lastTime != 0 && !rule.empty()) {
        errors.push_back({lastTime, "after this line the bridge's times break a rule: " + rule});
    }
    return errors;
}

static bool report(std::ostream& out, const std::string& path, std::vector<ScriptError> errors) {
    std::stable_sort(
        errors.begin(), errors.end(),
        [](const ScriptError& one, const ScriptError& other) { return one.number < other.number; });
    for (const ScriptError& error : errors) {
        out << path << ":" << error.number << ": " << error.text << "\n";
    }
    return errors.empty();
}

// What the daemon has before the script, which is tried on it.
static Expected tryOnDaemon(const Daemon& daemon, Script& script) {
    try {
        Expected state = Expected::read(daemon);
        const auto more = tryScript(script, state);
        script.errors.insert(script.errors.end(), more.begin(), more.end());
        return state;
    } catch (const Unreachable&) {
        // What is wrong with the file itself can be told without a daemon.
        if (script.errors.empty()) {
            throw;
        }
        return {};
    }
}

bool runScript(std::ostream& errors, const Daemon& daemon, const std::string& path) {
    Script script = parseScript(readFile(path, LONGEST_SCRIPT));
    Expected state = tryOnDaemon(daemon, script);
    if (!report(errors, path, script.errors)) {
        return false;
    }
    Pacer pacer;
    for (const ScriptLine& line : script.lines) {
        pacer.before(Pacer::workOf(line.command));
        try {
            applyCommand(daemon, line.command, state);
            state.take(line.command);
        } catch (const Refused& refused) {
            report(errors, path,
                   {{line.number,
                     std::string(refused.what()) + "; what stands before this line is in force"}});
            return false;
        }
    }
    pacer.end();
    return true;
}
