// Follows a bridge by looking again and again: the daemon answers a look in well under a
// millisecond, and a look costs it nothing but the answers.
//
// The signals that end a watch are blocked and waited for between the looks, so that none falls
// into a request or gets lost before the wait.

#include "watch.h"

#include <signal.h>

#include <algorithm>
#include <chrono>

#include "changes.h"

using Steady = std::chrono::steady_clock;

namespace {

class EndSignals {
  public:
    EndSignals() {
        sigemptyset(&m_set);
        sigaddset(&m_set, SIGINT);
        sigaddset(&m_set, SIGTERM);
        sigprocmask(SIG_BLOCK, &m_set, &m_before);
    }
    ~EndSignals() { sigprocmask(SIG_SETMASK, &m_before, nullptr); }
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    /// @return true if one came within @p time
    bool wait(std::chrono::nanoseconds time) const {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
        timespec left = {};
        left.tv_sec = seconds.count();
        left.tv_nsec = (time - seconds).count();
        return sigtimedwait(&m_set, nullptr, &left) > 0;
    }

  private:
    sigset_t m_set;
    sigset_t m_before;
};

class Watcher {
  public:
    Watcher(std::ostream& out, const Daemon& daemon, const WatchOptions& options)
        : m_out(out), m_daemon(daemon), m_options(options) {}

    // The first look finds the daemon or ends the watch.
    void begin() { tell(readTree(m_daemon)); }

    void look() {
        try {
            const Snapshot now = readTree(m_daemon);
            tellDaemon(true);
            tell(now);
        } catch (const Unreachable&) {
            tellDaemon(false);
        }
    }

  private:
    void tell(const Snapshot& now) {
        const TimePoint when = std::chrono::system_clock::now();
        for (const Change& change : changesBetween(m_before, now)) {
            print(change, when);
        }
        m_before = now;
    }

    void tellDaemon(bool answers) {
        if (answers == m_answers) {
            return;
        }
        m_answers = answers;
        Change change;
        change.kind = answers ? ChangeKind::DaemonBack : ChangeKind::DaemonGone;
        print(change, std::chrono::system_clock::now());
    }

    void print(const Change& change, TimePoint when) {
        m_out << (m_options.json ? changeJson(change, when)
                                 : changeText(change, when, m_options.epoch))
              << std::endl;
    }

    std::ostream& m_out;
    const Daemon& m_daemon;
    const WatchOptions& m_options;
    Snapshot m_before;
    bool m_answers = true;
};

} // namespace

void watchBridge(std::ostream& out, const Daemon& daemon, const WatchOptions& options) {
    const EndSignals signals;
    const auto end = Steady::now() + std::chrono::duration_cast<Steady::duration>(
                                         std::chrono::duration<double>(options.seconds));
    const auto interval = std::chrono::milliseconds(options.intervalMs);
    Watcher watcher(out, daemon, options);
    watcher.begin();
    while (true) {
        std::chrono::nanoseconds pause = interval;
        if (options.seconds > 0) {
            const auto left = std::chrono::nanoseconds(end - Steady::now());
            if (left.count() <= 0) {
                return;
            }
            pause = std::min(pause, left);
        }
        if (signals.wait(pause)) {
            return;
        }
        watcher.look();
    }
}
