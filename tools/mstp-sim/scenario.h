#pragma once

/// A scenario: a network, what happens to it, and what is expected of it. Plain records, filled
/// from a file (parse.h) or by a generator (generate.h), run by lab.h.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "command.h"
#include "network.h"

namespace simtool {

using Microseconds = uint64_t;
inline constexpr Microseconds MILLISECOND = 1'000;
inline constexpr Microseconds SECOND = 1'000'000;

inline constexpr uint32_t MOST_BRIDGES = 4096;
inline constexpr uint32_t MOST_LINKS = 65536;
inline constexpr uint32_t MOST_PORTS = 1024; ///< of one bridge
inline constexpr uint32_t HIGHEST_INSTANCE = 63;

/// Where in the file something stands, from 1; 0 = nowhere.
struct Place {
    uint32_t line = 0;
    uint32_t column = 0;
};

struct InstancePlan {
    std::vector<uint8_t> vlans; ///< a VLAN list; empty = none
    std::vector<SetCommand> settings;
};

struct BridgePlan {
    std::string name;
    std::vector<uint8_t> mac;
    Microseconds start = 0;
    bool starts = true;
    uint32_t ageingSeconds = 300;
    uint32_t receiveQueue = 256;
    uint32_t version = 3;
    std::vector<SetCommand> settings; ///< of the bridge and its region
    std::map<uint32_t, InstancePlan> instances;
    std::map<uint32_t, std::vector<SetCommand>> ports; ///< each that STP runs on, with its settings
    Place place;
};

struct HostPlan {
    std::string name;
    bool edge = true; ///< its bridge port is an edge port
};

/// One end of a link: a bridge's port, or a host.
struct End {
    uint32_t owner = 0; ///< index of the bridge or of the host
    bool host = false;
    uint32_t port = 0; ///< 0 = the lowest that is free
};

struct LinkPlan {
    std::string name;
    std::vector<End> ends;
    sim::LinkOptions options;
    bool up = true; ///< from the beginning
    Place place;
};

// ---- events

struct SetLink {
    uint32_t link;
    bool up;
};
struct SetEnd {
    uint32_t link;
    uint32_t end;
    bool up;
};
struct SetSending {
    uint32_t link;
    uint32_t end;
    bool works;
};
struct Impair {
    uint32_t link;
    sim::LinkOptions options;
};
enum class Life { Start, Crash, Restart };
struct SetLife {
    uint32_t bridge;
    Life life;
};
struct Hang {
    uint32_t bridge;
    Microseconds length;
};
struct Configure {
    uint32_t bridge;
    Command command;
};
struct Repeat {
    Microseconds every = 0; ///< 0 = once
    Microseconds length = 0;
};
struct Send {
    uint32_t from;
    uint32_t to; ///< host, or sim::EVERYBODY
    uint32_t vlan;
    Repeat repeat;
};
/// A BPDU by its fields' names, as bpdu.h knows them.
struct Inject {
    uint32_t link;
    uint32_t end;
    std::vector<uint8_t> raw;                  ///< the whole frame; empty = composed
    std::map<std::string, std::string> fields; ///< of the composed one
    std::map<uint32_t, uint8_t> bytes;         ///< put over it, by offset in the BPDU
    std::optional<uint32_t> length;            ///< of the BPDU, cut or filled with zeros
    std::optional<uint32_t> regionOf;          ///< the bridge whose region it names
    Repeat repeat;
};

// ---- expectations

struct ExpectPort {
    uint32_t bridge;
    uint32_t port;
    uint32_t instance = 0;
    std::optional<uint32_t> role;  ///< MSTP_PORT_ROLE_*
    std::optional<uint32_t> state; ///< MSTP_PORT_STATE_*
};
struct ExpectRoot {
    uint32_t root;
    uint32_t instance = 0;
    std::optional<uint32_t> seenBy; ///< a bridge; none = every one that runs
};
/// The network's last change came so soon after the last event, or sooner.
struct ExpectSettled {
    Microseconds within;
};
enum class Counter {
    Bpdus,
    Lost,
    Duplicated,
    Looped,
    Delivered,
    Flushes,
    Addresses,
    Roles,
    States
};
struct ExpectCount {
    Counter counter;
    uint64_t least = 0;
    uint64_t most = UINT64_MAX;
    std::optional<Microseconds> since; ///< none = the last event
};
struct ExpectFrame {
    uint32_t link;
    std::optional<uint32_t> from; ///< the end that sends
    std::map<std::string, std::string> fields;
    uint64_t least = 1;
    uint64_t most = UINT64_MAX;
    std::optional<Microseconds> since;
};
/// A value as the client's "get" shows it.
struct ExpectValue {
    uint32_t bridge;
    Target target;
    const Setting* setting;
    std::optional<std::string> is;
    std::optional<std::string> isNot;
    uint64_t least = 0;
    uint64_t most = UINT64_MAX;
};
/// A host's frame would get to another host.
struct ExpectPath {
    uint32_t from;
    uint32_t to;
    uint32_t vlan;
    bool there = true;
};

using Expectation = std::variant<ExpectPort, ExpectRoot, ExpectSettled, ExpectCount, ExpectFrame,
                                 ExpectValue, ExpectPath>;

struct Expect {
    Expectation what;
    std::string text; ///< as it is told
};

using Action = std::variant<SetLink, SetEnd, SetSending, Impair, SetLife, Hang, Configure, Send,
                            Inject, Expect>;

struct Event {
    Microseconds at = 0;
    Action action;
    std::string text; ///< as the time line tells it
    Place place;
};

struct Scenario {
    std::string file;
    std::string name;
    uint64_t seed = 1;
    Microseconds duration = 0;
    std::vector<BridgePlan> bridges;
    std::vector<HostPlan> hosts;
    std::vector<LinkPlan> links;
    std::vector<Event> events; ///< in the order of their times
};

/// What an event sets on any bridge, or nullptr.
const SetCommand* settingBy(const Event& event);

/// The same on this bridge.
const SetCommand* settingBy(const Event& event, uint32_t bridge);

/// "sw1.2", or the host's name.
std::string endName(const Scenario& scenario, const End& end);

/// The instances that any bridge runs, ascending.
std::vector<uint32_t> instancesOf(const Scenario& scenario);

/// "30 s", "1.5 ms".
std::string timeText(Microseconds time);

/// "30.000000", for columns.
std::string clockText(Microseconds time);

} // namespace simtool
