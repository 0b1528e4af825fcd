// The client: shows what the daemon knows and sets what can be set. Every command is one or a few
// requests on the daemon's local socket.
//
// Exit codes: 0 done, 1 refused (the reason is on stderr), 2 wrong command line, 3 no daemon.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iostream>

#include "apply.h"
#include "complete.h"
#include "daemon.h"
#include "file.h"
#include "get.h"
#include "help.h"
#include "model.h"
#include "restore.h"
#include "rules.h"
#include "save.h"
#include "script.h"
#include "show_command.h"
#include "watch.h"

namespace {

enum ExitCode { EXIT_DONE = 0, EXIT_REFUSED = 1, EXIT_USAGE = 2, EXIT_NO_DAEMON = 3 };

using WordsAction = std::function<void(const std::vector<std::string>&)>;

struct Arguments {
    std::string runFolder = Daemon::defaultRunFolder();
    std::string interface;
    std::string script;
    std::string file;
    ShowOptions show;
    WatchOptions watch;
};

void show(const Daemon& daemon, Arguments& arguments) {
    const bool onePort = arguments.show.form == "port";
    if (onePort == arguments.interface.empty()) {
        throw WrongForm("show: only \"port\" takes an interface, and needs one");
    }
    if (arguments.show.dot && !arguments.show.form.empty()) {
        throw WrongForm("show: --dot draws the trees and takes no \"" + arguments.show.form + "\"");
    }
    arguments.show.unit = onePort ? unitOf(arguments.interface) : 0;
    runShow(std::cout, daemon, arguments.show);
}

// The path of a command from a command line.
void applyWords(const Daemon& daemon, const std::vector<std::string>& words) {
    const Command command = parseCommand(words);
    if (!interfaceOf(command).empty()) {
        unitOf(interfaceOf(command));
    }
    applyAlone(daemon, command);
}

void addShow(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    CLI::App* command = app.add_subcommand("show", "show what the daemon knows");
    command
        ->add_option("what", arguments.show.form,
                     "bridge, region, instances, ports, port IFACE or counters; all without it")
        ->check(CLI::IsMember(showForms()));
    command->add_option("interface", arguments.interface, "the port to show");
    CLI::Option* json = command->add_flag("--json", arguments.show.json, "as JSON");
    CLI::Option* dot =
        command->add_flag("--dot", arguments.show.dot, "as a drawing, for the program dot");
    dot->excludes(json);
    command->add_option("--instance", arguments.show.instance, "the only instance to draw")
        ->check(CLI::Range(0, 254))
        ->needs(dot);
    command->add_option("--color", arguments.show.colour, "auto, always or never")
        ->check(CLI::IsMember({"auto", "always", "never"}));
    command->footer(showHelp());
    command->callback([&] { show(daemon, arguments); });
}

// A command whose words are its own: the same parser reads them from a file.
void addWords(CLI::App& app, const CommandHelp& help, const WordsAction& act) {
    CLI::App* command = app.add_subcommand(help.name, help.summary);
    command->prefix_command();
    command->formatter_fn([help](const CLI::App*, const std::string&, CLI::AppFormatMode) {
        return "mstp " + help.name + ": " + help.summary + "\n\nUsage: " + help.usage + "\n\n" +
               help.details;
    });
    command->callback([command, act] {
        std::vector<std::string> words = command->remaining();
        if (std::find(words.begin(), words.end(), "--help") != words.end()) {
            throw CLI::CallForHelp();
        }
        words.insert(words.begin(), command->get_name());
        act(words);
    });
}

void addWatch(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    CLI::App* command =
        app.add_subcommand("watch", "follow links, roots, roles and states as they change");
    command->add_option("--for", arguments.watch.seconds, "seconds to watch; else until Ctrl-C")
        ->check(CLI::Range(0.0, 1e9));
    command->add_option("--interval", arguments.watch.intervalMs, "milliseconds between looks")
        ->check(CLI::Range(1, 60000));
    command->add_flag("--epoch", arguments.watch.epoch, "times in seconds since 1970");
    command->add_flag("--json", arguments.watch.json, "a JSON object a line");
    command->footer(watchHelp());
    command->callback([&] { watchBridge(std::cout, daemon, arguments.watch); });
}

void addFiles(CLI::App& app, Arguments& arguments, const Daemon& daemon) {
    app.add_option("-f,--file", arguments.script, "run the commands of FILE; - is standard input")
        ->type_name("FILE");
    CLI::App* save = app.add_subcommand("save", "write the running configuration as a file for -f");
    save->add_option("file", arguments.file, "replaced in one step; standard output without it");
    save->footer(saveHelp());
    save->callback([&] {
        const std::string text = savedConfiguration(daemon, std::cerr);
        if (arguments.file.empty()) {
            std::cout << text;
        } else {
            replaceFile(arguments.file, text);
        }
    });
    CLI::App* restore = app.add_subcommand("restore", "replay the daemon's record of requests");
    restore->add_option("file", arguments.file, "a copy of mstpCmd.restore")->required();
    restore->footer(restoreHelp());
    restore->callback([&] { restoreFile(std::cout, daemon, arguments.file); });
}

int run(int argc, char** argv) {
    CLI::App app("Configures and shows a bridge's spanning trees.", "mstp");
    app.set_version_flag("--version", MSTP_VERSION);
    app.require_subcommand(0, 1);
    app.footer(sessionHelp());

    Arguments arguments;
    app.add_option("--run-dir", arguments.runFolder,
                   "folder of the daemon's socket (else MSTP_RUN_DIR, else /tmp)")
        ->type_name("FOLDER");
    Daemon daemon(arguments.runFolder);
    app.parse_complete_callback([&] {
        daemon = Daemon(arguments.runFolder);
        if (!arguments.script.empty() && !app.get_subcommands().empty()) {
            throw WrongForm("-f FILE stands alone");
        }
    });
    addShow(app, arguments, daemon);
    for (const CommandHelp& help : configuringHelp()) {
        addWords(app, help, [&](const auto& words) { applyWords(daemon, words); });
    }
    addWords(app, getHelp(), [&](const auto& words) { getWords(std::cout, daemon, words); });
    addFiles(app, arguments, daemon);
    addWatch(app, arguments, daemon);

    // For the shells' completion, and so left out of the help.
    if (argc > 1 && std::string(argv[1]) == "--complete-words") {
        printCompletions(std::cout, app, {argv + 2, argv + argc});
        return EXIT_DONE;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            throw WrongForm(std::string(error.what()) + "; see \"mstp --help\"");
        }
        app.exit(error);
        return EXIT_DONE;
    }
    if (!arguments.script.empty()) {
        return runScript(std::cerr, daemon, arguments.script) ? EXIT_DONE : EXIT_REFUSED;
    }
    if (app.get_subcommands().empty()) {
        throw WrongForm("a command or -f FILE is needed; see \"mstp --help\"");
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
    } catch (const WrongForm& error) {
        return report(error, EXIT_USAGE);
    } catch (const Unreachable& error) {
        return report(error, EXIT_NO_DAEMON);
    } catch (const std::exception& error) {
        return report(error, EXIT_REFUSED);
    }
}
