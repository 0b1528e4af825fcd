// mstp-sim: networks of the daemon in virtual time.
//
// Exit codes: 0 done, 1 something was not as expected, 2 wrong arguments or a wrong file.

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "causes.h"
#include "command_line.h"
#include "generate.h"
#include "parse.h"
#include "pcap.h"
#include "report.h"
#include "verify.h"
#include "yaml_reader.h"

namespace {

using namespace simtool;

enum ExitCode { EXIT_DONE = 0, EXIT_UNEXPECTED = 1, EXIT_WRONG = 2 };

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

int perform(const Arguments& arguments) {
    switch (arguments.job) {
    case Job::Run:
        return run(arguments);
    case Job::Check:
        return check(arguments);
    case Job::Compare:
        return compare(arguments);
    case Job::Generate:
        return generateText(arguments);
    case Job::Campaign:
        return campaign(arguments);
    }
    return EXIT_WRONG;
}

} // namespace

int main(int argc, char** argv) {
    try {
        const std::optional<Arguments> arguments = readCommandLine(argc, argv);
        return arguments ? perform(*arguments) : EXIT_DONE;
    } catch (const BadInput& error) {
        std::cerr << error.what();
    } catch (const std::exception& error) {
        std::cerr << "mstp-sim: " << error.what() << "\n";
    }
    return EXIT_WRONG;
}
