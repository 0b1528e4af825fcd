#include "command_line.h"

#include <CLI/CLI.hpp>

#include "yaml_reader.h"

namespace simtool {

namespace {

void addCampaign(CLI::App& app, CampaignOptions& options) {
    app.add_option("--seed", options.seed, "of all scenarios")->capture_default_str();
    app.add_option("--first", options.first, "the number of the first")->capture_default_str();
    app.add_option("--count", options.count, "how many")->capture_default_str();
    app.add_option("--minutes", options.minutes, "run for so long instead of so many");
    app.add_option("--jobs", options.jobs, "how many run at once")
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
    app.add_option("--max-bridges", options.mostBridges, "of a scenario")
        ->check(CLI::Range(2, 64))
        ->capture_default_str();
    app.add_flag("--large", options.large, "half of the networks are large, instead of a few");
    app.add_option("--shrink", options.shrinkRuns, "runs that may be spent to make a failure small")
        ->capture_default_str();
    app.add_option("--limit", options.limit, "seconds of the wall clock for a scenario")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_flag("--stop", options.stopAtFailure, "start no more scenarios after a failure");
    app.add_option("--out", options.out, "a folder for the files of what failed")
        ->check(CLI::ExistingDirectory);
}

void addJobs(CLI::App& app, Arguments& arguments) {
    const auto addJob = [&](const char* name, const char* help, Job job) {
        CLI::App* command = app.add_subcommand(name, help);
        command->callback([&arguments, job] { arguments.job = job; });
        return command;
    };

    CLI::App* runs = addJob("run", "Run a scenario and tell what happened", Job::Run);
    runs->add_option("FILE", arguments.file, "the scenario")->required();
    runs->add_flag("--verify", arguments.verify, "check what must hold in every network too");
    CLI::Option* json =
        runs->add_flag("--json", arguments.json, "one JSON document instead of text");
    CLI::Option* brief =
        runs->add_flag("--brief", arguments.brief, "tell only the figures for each event");
    runs->add_flag("--quiet,-q", arguments.quiet, "tell only what was not as expected")
        ->excludes(brief);
    runs->add_flag("--why", arguments.why, "tell what bounds the time to settle after each event")
        ->excludes(json);
    runs->add_flag("--cost", arguments.cost, "tell on standard error what the run took");
    runs->add_option("--dot", arguments.dot, "write the final trees for Graphviz");
    runs->add_option("--svg", arguments.svg, "write a drawing of the final trees");
    runs->add_option("--pcap", arguments.pcap,
                     "a folder for a capture of each link; with --link the one file");
    runs->add_option("--link", arguments.link, "the one link to capture");
    runs->add_option("--seed", arguments.seed, "instead of the file's");

    CLI::App* checks = addJob("check", "Tell every error in a scenario", Job::Check);
    checks->add_option("FILE", arguments.file, "the scenario")->required();

    CLI::App* compares = addJob("compare", "Run two scenarios side by side", Job::Compare);
    compares->add_option("A", arguments.file, "a scenario")->required();
    compares->add_option("B", arguments.other, "another")->required();
    compares->add_option("--seed", arguments.seed, "instead of the files'");

    CLI::App* generates = addJob("generate", "Print a scenario of a known shape", Job::Generate);
    generates
        ->add_option("KIND", arguments.shape.kind,
                     "chain, ring, grid, mesh, fat-tree, random or regions")
        ->required()
        ->check(CLI::IsMember(shapeKinds()));
    const CLI::Range number(1, 4096);
    generates->add_option("--bridges", arguments.shape.bridges, "how many; in each region")
        ->check(number)
        ->capture_default_str();
    generates->add_option("--rows", arguments.shape.rows, "of a grid")
        ->check(number)
        ->capture_default_str();
    generates->add_option("--columns", arguments.shape.columns, "of a grid")
        ->check(number)
        ->capture_default_str();
    generates->add_option("--pods", arguments.shape.pods, "of a fat tree")
        ->check(CLI::Range(2, 50))
        ->capture_default_str();
    generates->add_option("--degree", arguments.shape.degree, "links of a bridge, on average")
        ->check(number)
        ->capture_default_str();
    generates->add_option("--regions", arguments.shape.regions, "how many")
        ->check(number)
        ->capture_default_str();
    generates->add_option("--seed", arguments.shape.seed, "of a random network")
        ->capture_default_str();

    CLI::App* campaigns =
        addJob("campaign", "Run random scenarios, all of it checked", Job::Campaign);
    addCampaign(*campaigns, arguments.campaign);
}

// "mstp-sim run", or the program's name alone where no command was recognised.
std::string helpCommand(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    return app.get_name() + (commands.empty() ? "" : " " + commands.front()->get_name());
}

} // namespace

std::optional<Arguments> readCommandLine(int argc, const char* const* argv) {
    CLI::App app("Runs networks of MSTP bridges in virtual time.", "mstp-sim");
    app.set_version_flag("--version", std::string("mstp-sim ") + MSTP_VERSION);
    app.require_subcommand(1);
    Arguments arguments;
    addJobs(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);
            return std::nullopt;
        }
        throw BadInput(std::string("mstp-sim: ") + error.what() + "; see \"" + helpCommand(app) +
                       " --help\"\n");
    }
    return arguments;
}

} // namespace simtool
