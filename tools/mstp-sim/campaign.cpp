#include "campaign.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <iostream>
#include <map>
#include <set>

#include "yaml_reader.h"

namespace simtool {

namespace {

using Clock = std::chrono::steady_clock;

struct Tally {
    uint64_t run = 0;
    uint64_t passed = 0;
    uint64_t known = 0;
    uint64_t failed = 0;
};

class Campaign {
  public:
    Campaign(const CampaignOptions& options, std::ostream& out)
        : m_options(options), m_out(out), m_judges(options.jobs, options.limit) {}

    bool run() {
        m_judges.run([this](uint64_t number) { return next(number); },
                     [this](uint64_t number, const Outcome& outcome) { done(number, outcome); });
        hideProgress();
        tellTable();
        tellKnown();
        tellFailures();
        return m_failed.empty();
    }

  private:
    uint64_t secondsPassed() const {
        return static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - m_start).count());
    }

    std::string next(uint64_t number) {
        const bool over = m_options.minutes != 0 ? secondsPassed() >= m_options.minutes * 60
                                                 : number >= m_options.count;
        if (over || (m_options.stopAtFailure && !m_failed.empty())) {
            return "";
        }
        return draftText(draft(m_options.first + number));
    }

    Draft draft(uint64_t number) const {
        return draftScenario(m_options.seed, number, m_options.mostBridges, m_options.large);
    }

    void done(uint64_t number, const Outcome& outcome) {
        const uint64_t scenario = m_options.first + number;
        for (Tally* tally : {&m_tallies[scenario % DRAFT_KINDS], &m_all}) {
            tally->run++;
            tally->passed += outcome.verdict == Verdict::Passed ? 1 : 0;
            tally->known += outcome.verdict == Verdict::Known ? 1 : 0;
            tally->failed += outcome.verdict == Verdict::Failed ? 1 : 0;
        }
        if (outcome.verdict != Verdict::Failed) {
            for (const std::string& name : outcome.known) {
                m_known[name].insert(scenario);
            }
        } else {
            m_failed[scenario] = outcome;
        }
        // A sum, for the order in which they end is anybody's.
        m_fingerprint += outcome.fingerprint * (2 * scenario + 1);
        showProgress();
    }

    // ---- on a terminal

    void showProgress() {
        if (isatty(STDERR_FILENO) == 0) {
            return;
        }
        const uint64_t passed = secondsPassed();
        const uint64_t left =
            m_options.minutes != 0
                ? m_options.minutes * 60 - std::min(passed, m_options.minutes * 60)
                : passed * (m_options.count - m_all.run) / m_all.run;
        std::cerr << "\r\033[K" << m_all.run;
        if (m_options.minutes == 0) {
            std::cerr << " of " << m_options.count;
        }
        std::cerr << " scenarios, " << m_all.failed << " failed, about " << left + 1 << " s left"
                  << std::flush;
    }

    static void hideProgress() {
        if (isatty(STDERR_FILENO) != 0) {
            std::cerr << "\r\033[K" << std::flush;
        }
    }

    // ---- what came out

    static std::string cell(const std::string& text, size_t width) {
        return std::string(width - std::min(width, text.size()), ' ') + text;
    }

    void tellRow(const std::string& name, const Tally& tally) {
        m_out << name << std::string(20 - std::min<size_t>(20, name.size()), ' ');
        for (const uint64_t number : {tally.run, tally.passed, tally.known, tally.failed}) {
            m_out << cell(std::to_string(number), 11);
        }
        m_out << "\n";
    }

    void tellTable() {
        m_out << "Campaign of seed " << m_options.seed << ", " << m_all.run << " scenarios from "
              << m_options.first
              << "\n\nkind                  scenarios     passed      known     failed\n";
        for (uint32_t kind = 0; kind < DRAFT_KINDS; kind++) {
            if (m_tallies[kind].run != 0) {
                tellRow(kindName(static_cast<DraftKind>(kind)), m_tallies[kind]);
            }
        }
        tellRow("all", m_all);
        char text[20];
        snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(m_fingerprint));
        m_out << "fingerprint of all that was sent and done: " << text << "\n";
    }

    void tellKnown() {
        if (!m_known.empty()) {
            m_out << "\nKnown results, explained in docs/known-results.md\n";
        }
        for (const auto& [name, scenarios] : m_known) {
            m_out << cell(std::to_string(scenarios.size()), 6) << "  " << name << " (first "
                  << *scenarios.begin() << ")\n";
        }
    }

    void tellFailures() {
        uint32_t told = 0;
        for (const auto& [number, outcome] : m_failed) {
            m_out << "\nFAILED: scenario " << number << ", " << outcome.rule << ": "
                  << outcome.detail << "\n  again: " << command(number) << "\n";
            if (told++ < m_options.mostFailures && m_options.shrinkRuns != 0) {
                tellSmall(number, outcome);
            }
        }
    }

    std::string command(uint64_t number) const {
        std::string text = "mstp-sim campaign --seed " + std::to_string(m_options.seed) +
                           " --first " + std::to_string(number) + " --count 1";
        if (m_options.mostBridges != CampaignOptions().mostBridges) {
            text += " --max-bridges " + std::to_string(m_options.mostBridges);
        }
        return m_options.large ? text + " --large" : text;
    }

    void tellSmall(uint64_t number, const Outcome& outcome) {
        const Draft drawn = draft(number);
        const Draft small = shrink(drawn, outcome.rule, m_judges, m_options.shrinkRuns);
        const std::vector<std::string> note = {"Broke a promise (" + outcome.rule + "); drawn by",
                                               command(number) + "; made small."};
        const std::string text = draftText(small, note);
        const std::string name = std::to_string(m_options.seed) + "-" + std::to_string(number);
        save(name + ".yaml", draftText(drawn));
        save(name + "-small.yaml", text);
        m_out << text << std::flush;
    }

    void save(const std::string& name, const std::string& text) {
        if (m_options.out.empty()) {
            return;
        }
        const std::string path = m_options.out + "/" + name;
        std::ofstream file(path, std::ios::binary);
        file << text;
        file.flush();
        if (!file) {
            throw BadInput(path + ": the file cannot be written\n");
        }
        m_out << "  in " << path << "\n";
    }

    const CampaignOptions& m_options;
    std::ostream& m_out;
    Judges m_judges;
    Clock::time_point m_start = Clock::now();
    std::array<Tally, DRAFT_KINDS> m_tallies = {};
    Tally m_all;
    std::map<std::string, std::set<uint64_t>> m_known;
    std::map<uint64_t, Outcome> m_failed;
    uint64_t m_fingerprint = 0;
};

} // namespace

bool runCampaign(const CampaignOptions& options, std::ostream& out) {
    return Campaign(options, out).run();
}

} // namespace simtool
