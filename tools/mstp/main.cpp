// The client: shows what the daemon knows and sets what can be set. Every command is one or a few
// requests on the daemon's local socket.
//
// Exit codes: 0 done, 1 refused (the reason is on stderr), 2 wrong command line, 3 no daemon.

#include <CLI/CLI.hpp>
#include <iostream>

#include "daemon.h"
#include "model.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "settings.h"
#include "show.h"
#include "watch.h"
#include "words.h"

namespace {

enum ExitCode { EXIT_DONE = 0, EXIT_REFUSED = 1, EXIT_USAGE = 2, EXIT_NO_DAEMON = 3 };

struct Arguments {
    std::string runFolder = Daemon::defaultRunFolder();
    std::string what;
    std::string interface;
    uint32_t instance = 0;
    std::vector<std::string> words;
    bool json = false;
    WatchOptions watch;
};

uint32_t unitOf(const std::string& interface) {
    uint32_t unit = interfaceUnit(interface);
    if (unit == 0) {
        // An interface that is gone can still be named by its number.
        unit = parseNumber(interface).value_or(0);
    }
    if (unit == 0) {
        throw Refused("there is no interface \"" + interface + "\" here");
    }
    return unit;
}

void show(const Daemon& daemon, const Arguments& arguments) {
    const Snapshot snapshot = readSnapshot(daemon);
    if (arguments.json) {
        showJson(std::cout, snapshot);
    } else if (arguments.what == "bridge") {
        showBridge(std::cout, snapshot);
    } else if (arguments.what == "region") {
        showRegion(std::cout, snapshot);
    } else if (arguments.what == "instances") {
        showInstances(std::cout, snapshot);
    } else if (arguments.what == "ports") {
        showPorts(std::cout, snapshot);
    } else if (arguments.what == "counters") {
        showCounters(std::cout, snapshot);
    } else if (arguments.what == "port") {
        if (!showPort(std::cout, snapshot, unitOf(arguments.interface))) {
            throw Refused("\"" + arguments.interface +
                          "\" is no port of the bridge; add it with \"mstp port add\"");
        }
    } else {
        showAll(std::cout, snapshot);
    }
}

void enablePort(const Daemon& daemon, const std::string& interface, bool enable) {
    const uint32_t unit = unitOf(interface);
    const Reply reply = daemon.setNumber(MSTP_PORT_SETAPI, {unit}, MSTP_PORT_ADMINNONSTP,
                                         enable ? MSTP_FALSE : MSTP_TRUE);
    expectServed(reply, (enable ? "adding port " : "removing port ") + interface);
}

void createInstance(const Daemon& daemon, uint32_t instance, bool create) {
    const Reply reply = daemon.setNumber(MSTP_XST_SETAPI, {instance}, MSTP_XST_ROWSTATUS,
                                         create ? MSTP_CREATEANDGO : MSTP_DESTORY);
    expectServed(reply,
                 (create ? "creating instance " : "removing instance ") + std::to_string(instance));
}

[[noreturn]] void refuseForm() {
    throw CLI::ValidationError(
        "set", "the forms are: bridge NAME VALUE, region NAME VALUE, port IFACE NAME VALUE, "
               "instance N NAME VALUE, instance N port IFACE NAME VALUE; \"mstp set --help\" lists "
               "the names");
}

// set instance N NAME VALUE, set instance N port IFACE NAME VALUE.
void setInstance(const Daemon& daemon, const std::vector<std::string>& words) {
    const std::optional<uint32_t> number = parseNumber(words[1]);
    if (!number.has_value()) {
        refuseForm();
    }
    const uint32_t instance = number.value();
    if (words.size() == 6) {
        if (words[2] != "port") {
            refuseForm();
        }
        applySetting(daemon, Object::InstancePort, {instance, unitOf(words[3])}, words[4],
                     words[5]);
    } else if (words[2] == "vlans") {
        applyVlans(daemon, instance, words[3]);
    } else {
        applySetting(daemon, Object::Instance, {instance}, words[2], words[3]);
    }
}

// set bridge|region NAME VALUE, set port IFACE NAME VALUE, and those above.
void set(const Daemon& daemon, const Arguments& arguments) {
    const std::vector<std::string>& words = arguments.words;
    const std::string object = words.empty() ? "" : words[0];
    if (object == "bridge" && words.size() == 3) {
        applySetting(daemon, Object::Bridge, {}, words[1], words[2]);
    } else if (object == "region" && words.size() == 3) {
        applySetting(daemon, Object::Region, {}, words[1], words[2]);
    } else if (object == "port" && words.size() == 4) {
        applySetting(daemon, Object::Port, {unitOf(words[1])}, words[2], words[3]);
    } else if (object == "instance" && (words.size() == 4 || words.size() == 6)) {
        setInstance(daemon, words);
    } else {
        refuseForm();
    }
}

std::string setHelp() {
    return "bridge NAME VALUE\n" + settingsHelp(Object::Bridge) + "region NAME VALUE\n" +
           settingsHelp(Object::Region) + "port IFACE NAME VALUE\n" + settingsHelp(Object::Port) +
           "instance N NAME VALUE\n" + settingsHelp(Object::Instance) +
           "  vlans                   [+|-]LIST                     VLANs like 10-19,100: + adds, "
           "- "
           "removes,\n"
           "                                                        neither makes it these\n"
           "instance N port IFACE NAME VALUE\n" +
           settingsHelp(Object::InstancePort);
}

void addShow(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    CLI::App* command = app.add_subcommand("show", "show what the daemon knows");
    command
        ->add_option("what", arguments.what,
                     "bridge, region, instances, ports, port IFACE or counters; all without it")
        ->check(CLI::IsMember({"bridge", "region", "instances", "ports", "port", "counters"}));
    command->add_option("interface", arguments.interface, "the port to show");
    command->add_flag("--json", arguments.json, "everything, as JSON");
    command->callback([&] { show(daemon, arguments); });
}

void addPort(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    CLI::App* command = app.add_subcommand("port", "add or remove a port of the bridge");
    command->require_subcommand(1);
    for (const bool enable : {true, false}) {
        CLI::App* action = command->add_subcommand(
            enable ? "add" : "del", enable ? "make an interface a port" : "take it out again");
        action->add_option("interface", arguments.interface, "name of the interface")->required();
        action->callback([&, enable] { enablePort(daemon, arguments.interface, enable); });
    }
}

void addInstance(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    CLI::App* command = app.add_subcommand("instance", "create or remove a spanning tree instance");
    command->require_subcommand(1);
    for (const bool create : {true, false}) {
        CLI::App* action = command->add_subcommand(create ? "add" : "del",
                                                   create ? "create an instance; 0 is the CIST"
                                                          : "remove an instance");
        action->add_option("instance", arguments.instance, "its number")
            ->required()
            ->check(CLI::Range(0, 4094));
        action->callback([&, create] { createInstance(daemon, arguments.instance, create); });
    }
}

void addSet(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    CLI::App* command = app.add_subcommand("set", "change a setting");
    command->prefix_command();
    command->footer(setHelp());
    command->callback([&, command] {
        arguments.words = command->remaining();
        set(daemon, arguments);
    });
}

void addWatch(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    CLI::App* command = app.add_subcommand("watch", "follow roles and states as they change");
    command->add_option("--for", arguments.watch.seconds, "seconds to watch; else until Ctrl-C")
        ->check(CLI::NonNegativeNumber);
    command->add_option("--interval", arguments.watch.intervalMs, "milliseconds between looks")
        ->check(CLI::Range(1, 60000));
    command->add_flag("--epoch", arguments.watch.epoch, "times in seconds since 1970");
    command->callback([&] { watchRoles(std::cout, daemon, arguments.watch); });
}

int run(int argc, char** argv) {
    CLI::App app("Configures and shows a bridge's spanning trees.", "mstp");
    app.set_version_flag("--version", MSTP_VERSION);
    app.require_subcommand(1);
    app.footer("Exit codes: 0 done, 1 refused, 2 wrong command line, 3 no daemon.");

    Arguments arguments;
    app.add_option("--run-dir", arguments.runFolder,
                   "folder of the daemon's socket (else MSTP_RUN_DIR, else /tmp)");
    Daemon daemon(arguments.runFolder);
    app.parse_complete_callback([&] { daemon = Daemon(arguments.runFolder); });
    addShow(app, arguments, daemon);
    addPort(app, arguments, daemon);
    addInstance(app, arguments, daemon);
    addSet(app, arguments, daemon);
    addWatch(app, arguments, daemon);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_DONE : EXIT_USAGE;
    }
    return EXIT_DONE;
}

} // namespace

static int report(const std::exception& error, int code) noexcept {
    fprintf(stderr, "mstp: %s\n", error.what());
    return code;
}

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const Unreachable& error) {
        return report(error, EXIT_NO_DAEMON);
    } catch (const std::exception& error) {
        return report(error, EXIT_REFUSED);
    }
}
