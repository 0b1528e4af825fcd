// The chains of causes as text: a line for each step, then what was waited for in all.

#include <algorithm>
#include <array>

#include "causes.h"
#include "report.h"

namespace simtool {

namespace {

constexpr size_t WAITS = static_cast<size_t>(Wait::Management) + 1;

struct WaitText {
    const char* word;    ///< in a step
    const char* meaning; ///< in the sums
};

constexpr std::array<WaitText, WAITS> TEXTS = {{
    {"link", "frames on links"},
    {"busy", "daemons that were busy or hung"},
    {"tick", "the tick after which posted work is done"},
    {"loop", "the loop, which wakes later than that"},
    {"next pass", "the next pass, for what a pass left over"},
    {"hold count", "the hold count, until the second's end"},
    {"hello", "the next periodic BPDU"},
    {"message age", "what was heard last to age out"},
    {"forward delay", "forward delays"},
    {"detection", "edge detection and migration"},
    {"protection", "the holds of protections"},
    {"management", "commands and starts"},
}};

const WaitText& textOf(Wait wait) {
    return TEXTS[static_cast<size_t>(wait)];
}

struct Sum {
    uint64_t times = 0;
    Microseconds length = 0;
};

std::string waitedText(const Step& step) {
    std::string text;
    for (const Waited& waited : step.waited) {
        text += (text.empty() ? "" : ", ") + std::string(textOf(waited.what).word) + " " +
                timeText(waited.length);
    }
    return text.empty() ? "-" : text;
}

void writeSteps(std::ostream& out, const Lab& lab, const Chain& chain) {
    std::vector<std::vector<std::string>> rows = {{"at", "bridge", "what", "waited for", "passes"}};
    for (const Step& step : chain.steps) {
        rows.push_back({clockText(step.time), lab.scenario().bridges[step.node].name, step.what,
                        waitedText(step), std::to_string(step.passes)});
    }
    writeColumns(out, rows, {1, 2, 3});
}

void writeSums(std::ostream& out, const Chain& chain, Microseconds whole) {
    std::array<Sum, WAITS> sums = {};
    uint64_t passes = 0;
    for (const Step& step : chain.steps) {
        passes += step.passes;
        for (const Waited& waited : step.waited) {
            Sum& sum = sums[static_cast<size_t>(waited.what)];
            sum.times++;
            sum.length += waited.length;
        }
    }
    std::vector<std::vector<std::string>> rows = {{"waited for", "times", "in all", "share"}};
    for (size_t i = 0; i < WAITS; i++) {
        if (sums[i].times != 0) {
            rows.push_back({TEXTS[i].meaning, std::to_string(sums[i].times),
                            timeText(sums[i].length),
                            std::to_string(whole == 0 ? 0 : sums[i].length * 100 / whole) + "%"});
        }
    }
    writeColumns(out, rows, {0});
    out << chain.steps.size() << " steps, " << passes << " passes of the driver\n";
}

} // namespace

void writeWhy(std::ostream& out, const Lab& lab, const Causes& causes, bool withSteps) {
    for (const Chain& chain : causes.chains()) {
        const Period& period = lab.recorder().periods()[chain.period];
        const Microseconds whole = chain.time - period.at;
        out << "Why \"" << period.text << "\" took " << timeText(whole) << ": " << chain.change
            << "\n";
        if (withSteps) {
            writeSteps(out, lab, chain);
            out << "\n";
        }
        writeSums(out, chain, whole);
        out << "\n";
    }
}

} // namespace simtool
