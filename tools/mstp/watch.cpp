// Follows roles and states by looking again and again: the daemon answers a look in well under a
// millisecond, and a look costs it nothing but the answers.

#include "watch.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <thread>

#include "model.h"
#include "words.h"

using Clock = std::chrono::system_clock;

static std::string timeWord(Clock::time_point when, bool epoch) {
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(when.time_since_epoch()).count();
    char text[48];
    if (epoch) {
        snprintf(text, sizeof text, "%lld.%03lld", static_cast<long long>(ms / 1000),
                 static_cast<long long>(ms % 1000));
        return text;
    }
    const time_t seconds = Clock::to_time_t(when);
    tm local = {};
    localtime_r(&seconds, &local);
    char clock[16];
    strftime(clock, sizeof clock, "%H:%M:%S", &local);
    snprintf(text, sizeof text, "%s.%03lld", clock, static_cast<long long>(ms % 1000));
    return text;
}

using Roles = std::map<std::pair<uint32_t, uint32_t>, std::pair<uint32_t, uint32_t>>;

static Roles look(const Daemon& daemon) {
    Roles roles;
    for (const InstancePortView& view : readTree(daemon).instancePorts) {
        roles[{view.unit, view.instance}] = {view.role, view.state};
    }
    return roles;
}

static void printChanges(std::ostream& out, const std::string& time, const Roles& before,
                         const Roles& now) {
    for (const auto& [key, played] : now) {
        const auto old = before.find(key);
        if (old != before.end() && old->second == played) {
            continue;
        }
        out << time << "  " << interfaceName(key.first) << "  instance " << key.second << "  "
            << roleWord(played.first) << " " << stateWord(played.second);
        if (old != before.end()) {
            out << "  (was " << roleWord(old->second.first) << " " << stateWord(old->second.second)
                << ")";
        }
        out << std::endl;
    }
    for (const auto& [key, played] : before) {
        if (now.find(key) == now.end()) {
            out << time << "  " << interfaceName(key.first) << "  instance " << key.second
                << "  gone" << std::endl;
        }
    }
}

void watchRoles(std::ostream& out, const Daemon& daemon, const WatchOptions& options) {
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                         std::chrono::duration<double>(options.seconds));
    Roles before = look(daemon);
    printChanges(out, timeWord(Clock::now(), options.epoch), {}, before);
    while (options.seconds == 0 || std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(options.intervalMs));
        const Clock::time_point when = Clock::now();
        const Roles now = look(daemon);
        printChanges(out, timeWord(when, options.epoch), before, now);
        before = now;
    }
}
