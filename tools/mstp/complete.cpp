#include "complete.h"

#include <net/if.h>

#include <algorithm>
#include <optional>

#include "command.h"
#include "model.h"
#include "show_command.h"

using Words = std::vector<std::string>;

// ---- settings

static const char* const OBJECTS[] = {"bridge", "region", "port", "instance"};

static Words namesOf(Object object, Access access) {
    Words names;
    for (const Setting& setting : settings()) {
        const bool wanted = access == Access::Read ? setting.readable() : setting.settable();
        if (setting.object == object && wanted) {
            names.emplace_back(setting.name);
        }
    }
    return names;
}

static Words valuesOf(Object object, const std::string& name) {
    const auto setting =
        std::find_if(settings().begin(), settings().end(), [&](const Setting& each) {
            return each.object == object && each.settable() && name == each.name;
        });
    if (setting == settings().end()) {
        return {};
    }
    if (setting->kind == Kind::OnOff) {
        return {"on", "off"};
    }
    Words words;
    for (const Word& word : setting->words) {
        if (word.settable) {
            words.emplace_back(word.word);
        }
    }
    return words;
}

// "set" and "get": the object and its keys, then a name, then a value.
static Words completeSetting(const Words& words, Access access, const Known& known) {
    if (words.size() == 1) {
        return {std::begin(OBJECTS), std::end(OBJECTS)};
    }
    if (words.size() == 2 && words[1] == "port") {
        return known.ports();
    }
    if (words.size() == 2 && words[1] == "instance") {
        return known.instances();
    }
    if (words.size() == 4 && words[1] == "instance" && words[3] == "port") {
        return known.ports();
    }
    size_t position = 1;
    Object object = Object::Bridge;
    try {
        object = parseTarget(words, position).object;
    } catch (const std::exception&) {
        return {};
    }
    const size_t left = words.size() - position;
    if (left == 1 && access == Access::Write) {
        return valuesOf(object, words[position]);
    }
    if (left != 0) {
        return {};
    }
    Words names = namesOf(object, access);
    if (object == Object::Instance) {
        names.emplace_back("port");
    }
    return names;
}

// ---- the other commands

static Words completeAddDel(const Words& words, const Words& toAdd, const Words& toDel) {
    if (words.size() == 1) {
        return {"add", "del"};
    }
    if (words.size() > 2) {
        return {};
    }
    return words[1] == "del" ? toDel : toAdd;
}

static Words completeMap(const Words& words) {
    if (words.size() == 1) {
        return {"instances"};
    }
    return words.size() == 3 ? Words{"vlans"} : Words();
}

static Words optionsOf(const CLI::App& app) {
    Words words;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            words.push_back("--" + name);
        }
    }
    return words;
}

static Words with(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

// The forms, unless one stands there already, and the options.
static Words completeShow(const CLI::App& command, const Words& words, const Known& known) {
    if (words.back() == "port") {
        return known.ports();
    }
    const Words forms = words.size() == 1 ? showForms() : Words();
    return with(forms, optionsOf(command));
}

static Words completeOptionValue(const std::string& option, const Known& known) {
    if (option == "--color") {
        return {"auto", "always", "never"};
    }
    if (option == "--instance") {
        return known.instances();
    }
    return option == "--run-dir" || option == "--file" || option == "-f" ? Words{COMPLETE_FILES}
                                                                         : Words();
}

static Words completeCommand(const CLI::App& command, const Words& words, const Known& known) {
    const std::string& name = words[0];
    if (name == "set" || name == "get") {
        return completeSetting(words, name == "set" ? Access::Write : Access::Read, known);
    }
    if (name == "port") {
        return completeAddDel(words, known.interfaces(), known.ports());
    }
    if (name == "instance") {
        return completeAddDel(words, {}, known.instances());
    }
    if (name == "map") {
        return completeMap(words);
    }
    if (name == "mirror") {
        return words.size() == 1 ? known.ports() : Words();
    }
    if (name == "show") {
        return completeShow(command, words, known);
    }
    if ((name == "save" || name == "restore") && words.size() == 1) {
        return {COMPLETE_FILES};
    }
    return optionsOf(command);
}

// ---- the whole line

static bool takesValue(const CLI::App& app, const std::string& word) {
    const CLI::Option* option = word[0] == '-' ? app.get_option_no_throw(word) : nullptr;
    return option != nullptr && option->get_items_expected_max() > 0;
}

// Where the command stands, behind the options of the program.
static size_t commandPosition(const CLI::App& app, const Words& words) {
    size_t position = 0;
    while (position < words.size() && !words[position].empty() && words[position][0] == '-') {
        position += takesValue(app, words[position]) ? 2 : 1;
    }
    return position;
}

static Words commandsOf(const CLI::App& app) {
    Words names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

static const CLI::App* findCommand(const CLI::App& app, const std::string& name) {
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (command->get_name() == name) {
            return command;
        }
    }
    return nullptr;
}

Words completions(const CLI::App& app, const Words& words, const Known& known) {
    const size_t position = commandPosition(app, words);
    if (position > words.size()) {
        return completeOptionValue(words.back(), known);
    }
    if (position == words.size()) {
        return with(commandsOf(app), optionsOf(app));
    }
    const CLI::App* command = findCommand(app, words[position]);
    if (command == nullptr) {
        return {};
    }
    if (takesValue(*command, words.back())) {
        return completeOptionValue(words.back(), known);
    }
    return completeCommand(*command,
                           {words.begin() + static_cast<ptrdiff_t>(position), words.end()}, known);
}

// ---- asking

static Words systemInterfaces() {
    Words names;
    struct if_nameindex* const list = if_nameindex();
    for (struct if_nameindex* each = list; each != nullptr && each->if_index != 0; each++) {
        names.emplace_back(each->if_name);
    }
    if (list != nullptr) {
        if_freenameindex(list);
    }
    return names;
}

// A daemon that does not answer has nothing to offer.
static Snapshot snapshotOf(const Daemon& daemon, uint32_t parts) {
    try {
        return readSnapshot(daemon, parts);
    } catch (const Unreachable&) {
        return {};
    }
}

static Known knownOf(const Daemon& daemon) {
    Known known;
    known.interfaces = systemInterfaces;
    known.ports = [daemon] {
        Words names;
        for (const PortView& port : snapshotOf(daemon, PART_PORTS).ports) {
            names.push_back(port.name);
        }
        return names;
    };
    known.instances = [daemon] {
        Words numbers;
        for (const InstanceView& view : snapshotOf(daemon, PART_INSTANCES).instances) {
            numbers.push_back(std::to_string(view.id));
        }
        return numbers;
    };
    return known;
}

void printCompletions(std::ostream& out, const CLI::App& app, const Words& words) {
    std::string folder = Daemon::defaultRunFolder();
    const auto named = std::find(words.begin(), words.end(), "--run-dir");
    if (named != words.end() && named + 1 != words.end()) {
        folder = *(named + 1);
    }
    for (const std::string& word : completions(app, words, knownOf(Daemon(folder)))) {
        out << word << "\n";
    }
}
