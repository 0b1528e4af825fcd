// mstp-sim: networks of the daemon in virtual time.
//
// Exit codes: 0 done, 1 something was not as expected, 2 wrong arguments or a wrong file.

#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "campaign.h"
#include "causes.h"
#include "generate.h"
#include "parse.h"
#include "pcap.h"
#include "report.h"
#include "verify.h"
#include "yaml_reader.h"

namespace {

using namespace simtool;

enum ExitCode { EXIT_DONE = 0, EXIT_UNEXPECTED = 1, EXIT_WRONG = 2 };

struct Arguments {
    std::string file;
    std::string other;
    std::string dot;
    std::string svg;
    std::string pcap;
    std::string link;
    std::optional<uint64_t> seed;
    bool json = false;
    bool quiet = false;
    bool brief = false;
    bool verify = false;
    bool why = false;
    bool cost = false;
    Shape shape;
    CampaignOptions campaign;
};

// How far the run is, and how long it will take, on a terminal.
class Progress {
  public:
    Progress(Microseconds duration, bool wanted)
        : m_duration(duration), m_wanted(wanted && isatty(STDERR_FILENO) != 0) {}
    ~Progress() {
        if (m_shown) {
            std::cerr << "\r\033[K";
        }
    }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void operator()(Microseconds now) {
        const auto passed = Clock::now() - m_start;
        if (!m_wanted || now == 0 || Clock::now() - m_told < std::chrono::milliseconds(200)) {
            return;
        }
        m_told = Clock::now();
        m_shown = true;
        const auto seconds = std::chrono::duration<double>(passed).count();
        const double left =
            seconds * static_cast<double>(m_duration - now) / static_cast<double>(now);
        std::cerr << "\r\033[K" << now * 100 / m_duration << "% of " << timeText(m_duration)
                  << ", about " << static_cast<uint64_t>(left) + 1 << " s left" << std::flush;
    }

  private:
    using Clock = std::chrono::steady_clock;
    Microseconds m_duration;
    bool m_wanted;
    bool m_shown = false;
    Clock::time_point m_start = Clock::now();
    Clock::time_point m_told = m_start;
};

void runLab(Lab& lab) {
    Progress progress(lab.scenario().duration, true);
    lab.run([&](Microseconds now) { progress(now); });
}

void writeFile(const std::string& name, Lab& lab, void (*write)(std::ostream&, Lab&)) {
    if (name.empty()) {
        return;
    }
    std::ofstream out(name, std::ios::binary);
    write(out, lab);
    out.flush();
    if (!out) {
        throw BadInput(name + ": the file cannot be written\n");
    }
}

void openCapture(Capture& capture, const Scenario& scenario, const Arguments& arguments) {
    if (!arguments.link.empty() && arguments.pcap.empty()) {
        throw BadInput("mstp-sim: --link says whose frames --pcap FILE takes\n");
    }
    if (!arguments.link.empty()) {
        capture.open(findLink(scenario, arguments.link), arguments.pcap);
    } else if (!arguments.pcap.empty()) {
        capture.openAll(arguments.pcap);
    }
}

// Of this machine, and so apart from the reports, which are the same everywhere.
void tellCost(Lab& lab, double seconds) {
    rusage used = {};
    getrusage(RUSAGE_SELF, &used);
    static constexpr long KIB_PER_MIB = 1024;
    std::cerr << "the run took " << std::fixed << std::setprecision(1) << seconds << " s for "
              << timeText(lab.scenario().duration) << " of the network, and at most "
              << used.ru_maxrss / KIB_PER_MIB << " MiB of memory; " << lab.network().framesCarried()
              << " frames were carried\n";
}

int run(const Arguments& arguments) {
    Scenario scenario = readScenario(arguments.file);
    scenario.seed = arguments.seed.value_or(scenario.seed);
    Lab lab(scenario);
    Capture capture(scenario, lab.network());
    openCapture(capture, scenario, arguments);
    lab.network().addObserver(&capture);
    std::optional<Verifier> verifier;
    if (arguments.verify) {
        verifier.emplace(lab);
    }
    std::optional<Causes> causes;
    if (arguments.why) {
        causes.emplace(lab);
    }
    const auto start = std::chrono::steady_clock::now();
    runLab(lab);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    lab.network().removeObserver(&capture);
    capture.close();
    if (verifier) {
        verifier->finish();
        verifier.reset();
    }
    writeFile(arguments.dot, lab, writeDot);
    writeFile(arguments.svg, lab, writeSvg);
    if (arguments.json) {
        writeJson(std::cout, lab);
    } else {
        writeText(std::cout, lab,
                  arguments.quiet   ? Detail::Failures
                  : arguments.brief ? Detail::Brief
                                    : Detail::Whole);
    }
    if (causes) {
        causes->finish();
        writeWhy(std::cout, lab, *causes, !arguments.brief && !arguments.quiet);
    }
    if (arguments.cost) {
        tellCost(lab, wall.count());
    }
    return lab.failures().empty() ? EXIT_DONE : EXIT_UNEXPECTED;
}

int check(const Arguments& arguments) {
    const Scenario scenario = readScenario(arguments.file);
    std::cout << scenario.file << ": " << scenario.bridges.size() << " bridges, "
              << scenario.links.size() << " links, " << scenario.events.size() << " events, "
              << timeText(scenario.duration) << "\n";
    return EXIT_DONE;
}

// One after the other: two networks cannot run at once.
int compare(const Arguments& arguments) {
    Scenario one = readScenario(arguments.file);
    Scenario other = readScenario(arguments.other);
    one.seed = arguments.seed.value_or(one.seed);
    other.seed = arguments.seed.value_or(other.seed);
    Lab first(one, false);
    runLab(first);
    Lab second(other, false);
    runLab(second);
    writeComparison(std::cout, first, second);
    return first.failures().empty() && second.failures().empty() ? EXIT_DONE : EXIT_UNEXPECTED;
}

int generateText(const Arguments& arguments) {
    const std::string wrong = checkShape(arguments.shape);
    if (!wrong.empty()) {
        throw BadInput("mstp-sim: " + wrong + "\n");
    }
    std::cout << scenarioText(arguments.shape);
    return EXIT_DONE;
}

int campaign(const Arguments& arguments) {
    return runCampaign(arguments.campaign, std::cout) ? EXIT_DONE : EXIT_UNEXPECTED;
}

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

int perform(CLI::App& app, int argc, char** argv) {
    Arguments arguments;
    int (*chosen)(const Arguments&) = nullptr;
    app.require_subcommand(1);

    CLI::App* runs = app.add_subcommand("run", "Run a scenario and tell what happened");
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
    runs->callback([&] { chosen = run; });

    CLI::App* checks = app.add_subcommand("check", "Tell every error in a scenario");
    checks->add_option("FILE", arguments.file, "the scenario")->required();
    checks->callback([&] { chosen = check; });

    CLI::App* compares = app.add_subcommand("compare", "Run two scenarios side by side");
    compares->add_option("A", arguments.file, "a scenario")->required();
    compares->add_option("B", arguments.other, "another")->required();
    compares->add_option("--seed", arguments.seed, "instead of the files'");
    compares->callback([&] { chosen = compare; });

    CLI::App* generates = app.add_subcommand("generate", "Print a scenario of a known shape");
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
    generates->callback([&] { chosen = generateText; });

    CLI::App* campaigns = app.add_subcommand("campaign", "Run random scenarios, all of it checked");
    addCampaign(*campaigns, arguments.campaign);
    campaigns->callback([&] { chosen = campaign; });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_DONE : EXIT_WRONG;
    }
    try {
        return chosen(arguments);
    } catch (const BadInput& error) {
        std::cerr << error.what();
        return EXIT_WRONG;
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        CLI::App app("Runs networks of MSTP bridges in virtual time.", "mstp-sim");
        app.set_version_flag("--version", std::string("mstp-sim ") + MSTP_VERSION);
        return perform(app, argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "mstp-sim: " << error.what() << "\n";
        return EXIT_WRONG;
    }
}
