#include "judge.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <memory>
#include <sstream>

#include "lab.h"
#include "parse.h"
#include "verify.h"
#include "yaml_reader.h"

namespace simtool {

namespace {

// FNV-1a over all that a run sent and did.
class Fingerprint : public sim::Observer {
  public:
    void frameSent(const sim::FrameEvent& event) override {
        add(event.time);
        add(event.link);
        add(event.from);
        for (const uint8_t byte : *event.bytes) {
            mix(byte);
        }
    }
    void roleChanged(const sim::RoleEvent& event) override {
        add(event.time);
        add((uint64_t(event.node) << 32) | event.unit);
        add((uint64_t(event.instance) << 32) | event.after);
    }
    void stateChanged(const sim::StateEvent& event) override {
        add(event.time);
        add((uint64_t(event.node) << 32) | event.unit);
        add((uint64_t(event.group) << 32) | event.after);
    }
    uint64_t value() const { return m_value; }

  private:
    void mix(uint8_t byte) { m_value = (m_value ^ byte) * 0x100000001B3U; }
    void add(uint64_t number) {
        for (uint32_t i = 0; i < 8; i++) {
            mix(static_cast<uint8_t>(number >> (8 * i)));
        }
    }
    uint64_t m_value = 0xCBF29CE484222325U;
};

bool isOfTraffic(const Failure& failure) {
    return failure.rule == "expected: lost" || failure.rule == "expected: looped" ||
           failure.rule == "expected: duplicated";
}

std::string describe(const Failure& failure) {
    return "at " + timeText(failure.time) + ": " + failure.expected + "; found: " + failure.found;
}

} // namespace

Outcome judge(const std::string& text, const std::string& file) {
    Outcome outcome;
    try {
        const Scenario scenario = parseScenario(text, file);
        Lab lab(scenario, false);
        Fingerprint fingerprint;
        lab.network().addObserver(&fingerprint);
        Verifier verifier(lab);
        lab.run();
        lab.network().removeObserver(&fingerprint);
        verifier.finish();
        outcome.fingerprint = fingerprint.value();
        outcome.known = verifier.known();
        outcome.verdict = outcome.known.empty() ? Verdict::Passed : Verdict::Known;
        std::vector<Failure> failures = lab.failures();
        std::erase_if(failures, [&](const Failure& failure) {
            return !failure.known.empty() || (verifier.undecided() && isOfTraffic(failure));
        });
        std::stable_sort(failures.begin(), failures.end(),
                         [](const Failure& a, const Failure& b) { return a.time < b.time; });
        if (!failures.empty()) {
            outcome.verdict = Verdict::Failed;
            outcome.rule = failures[0].rule;
            outcome.detail = describe(failures[0]);
        }
    } catch (const BadInput& error) {
        outcome.rule = "the file";
        outcome.detail = error.what();
    }
    return outcome;
}

// ---- between processes

std::string packOutcome(const Outcome& outcome) {
    std::ostringstream out;
    const auto put = [&](const std::string& text) { out << text.size() << ' ' << text; };
    out << static_cast<uint32_t>(outcome.verdict) << ' ' << outcome.fingerprint << ' ';
    put(outcome.rule);
    put(outcome.detail);
    out << outcome.known.size() << ' ';
    for (const std::string& name : outcome.known) {
        put(name);
    }
    out << '.';
    return out.str();
}

Outcome unpackOutcome(const std::string& bytes) {
    std::istringstream in(bytes);
    Outcome outcome;
    uint32_t verdict = 0;
    size_t known = 0;
    const auto get = [&](std::string& text) {
        size_t length = 0;
        in >> length;
        in.get();
        if (in && length <= bytes.size()) {
            text.resize(length);
            in.read(text.data(), static_cast<std::streamsize>(length));
        }
    };
    in >> verdict >> outcome.fingerprint;
    get(outcome.rule);
    get(outcome.detail);
    in >> known;
    for (size_t i = 0; in && i < known && i < bytes.size(); i++) {
        outcome.known.emplace_back();
        get(outcome.known.back());
    }
    in.ignore(known == 0 ? 1 : 0);
    if (!in || in.get() != '.' || verdict > static_cast<uint32_t>(Verdict::Failed)) {
        return {Verdict::Failed, "no result", "the run told nothing that can be read", {}, 0};
    }
    outcome.verdict = static_cast<Verdict>(verdict);
    return outcome;
}

namespace {

using Clock = std::chrono::steady_clock;

struct Child {
    uint64_t number = 0;
    pid_t pid = -1;
    int pipe = -1;
    Clock::time_point began;
    std::string bytes;
};

[[noreturn]] void runChild(const std::string& text, int pipe) {
    const std::string bytes = packOutcome(judge(text, "campaign.yaml"));
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(pipe, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno != EINTR) {
            break;
        }
        written += count > 0 ? static_cast<size_t>(count) : 0;
    }
    _exit(0);
}

Child startChild(uint64_t number, const std::string& text) {
    int ends[2] = {-1, -1};
    Child child;
    child.number = number;
    child.began = Clock::now();
    if (pipe(ends) != 0) {
        throw BadInput("mstp-sim: no pipe for another process\n");
    }
    child.pid = fork();
    if (child.pid == 0) {
        close(ends[0]);
        runChild(text, ends[1]);
    }
    close(ends[1]);
    child.pipe = ends[0];
    if (child.pid < 0) {
        close(ends[0]);
        throw BadInput("mstp-sim: no more processes\n");
    }
    return child;
}

// @return false at the end of what the child has to say
bool readChild(Child& child) {
    char buffer[4096];
    const ssize_t count = read(child.pipe, buffer, sizeof buffer);
    if (count > 0) {
        child.bytes.append(buffer, static_cast<size_t>(count));
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

Outcome endChild(const Child& child, bool tooLong) {
    if (tooLong) {
        kill(child.pid, SIGKILL);
    }
    int status = 0;
    while (waitpid(child.pid, &status, 0) < 0 && errno == EINTR) {
    }
    close(child.pipe);
    if (tooLong) {
        return {Verdict::Failed, "no end", "the run did not end", {}, 0};
    }
    if (WIFSIGNALED(status)) {
        return {Verdict::Failed,
                "crash",
                std::string("the run ended by: ") + strsignal(WTERMSIG(status)),
                {},
                0};
    }
    if (WEXITSTATUS(status) != 0) {
        return {Verdict::Failed,
                "crash",
                "the run ended with code " + std::to_string(WEXITSTATUS(status)),
                {},
                0};
    }
    return unpackOutcome(child.bytes);
}

} // namespace

void Judges::run(const std::function<std::string(uint64_t)>& next,
                 const std::function<void(uint64_t, const Outcome&)>& done) {
    std::vector<Child> children;
    uint64_t number = 0;
    bool more = true;
    while (more || !children.empty()) {
        while (more && children.size() < m_jobs) {
            const std::string text = next(number);
            more = !text.empty();
            if (more) {
                children.push_back(startChild(number++, text));
            }
        }
        std::vector<pollfd> waits;
        waits.reserve(children.size());
        for (const Child& child : children) {
            waits.push_back({child.pipe, POLLIN, 0});
        }
        poll(waits.data(), waits.size(), 200);
        for (size_t i = children.size(); i-- > 0;) {
            const bool tooLong = Clock::now() - children[i].began > std::chrono::seconds(m_limit);
            if (!tooLong && (waits[i].revents == 0 || readChild(children[i]))) {
                continue;
            }
            const Outcome outcome = endChild(children[i], tooLong);
            const uint64_t ended = children[i].number;
            children.erase(children.begin() + static_cast<std::ptrdiff_t>(i));
            done(ended, outcome);
        }
    }
}

} // namespace simtool
