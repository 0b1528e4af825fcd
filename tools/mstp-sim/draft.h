#pragma once

/// A random scenario on paper: plain numbers that are easy to leave out one by one. It is run by
/// way of the scenario file that draftText() writes, so that the file tells exactly what ran.

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "scenario.h"

namespace simtool {

/// What a scenario is about. Each kind may do less than its name says, never more.
enum class DraftKind : uint8_t {
    Plain,       ///< one version, one region, one thing at a time
    Storm,       ///< the same, everything at once
    BadLinks,    ///< frames are lost, doubled, late
    Mute,        ///< links fail in one direction
    Crashes,     ///< daemons hang, crash and start anew
    Hubs,        ///< segments of more than two ends
    Regions,     ///< several regions
    Versions,    ///< STP, RSTP and MSTP
    Protections, ///< guards and filters
    Deep,        ///< chains at and beyond the reach of information
};
inline constexpr uint32_t DRAFT_KINDS = 10;
inline constexpr uint32_t USUAL_PRIORITY = 8; ///< of a bridge, in steps of 4096
const char* kindName(DraftKind kind);

struct DraftBridge {
    uint32_t version = 3;                     ///< 1 STP, 2 RSTP, 3 MSTP
    uint32_t region = 0;                      ///< a, b, c ...
    std::map<uint32_t, uint32_t> priorities;  ///< in steps of 4096, by instance
    std::map<uint32_t, bool> rootProtections; ///< by instance
    bool bpduGuard = false;
    bool loopProtection = false;
};

struct DraftLink {
    std::vector<uint32_t> bridges; ///< two; more make a hub
    uint32_t speed = 1000;         ///< Mb/s
    Microseconds delay = 100;
};

struct DraftHost {
    uint32_t bridge = 0;
    bool edge = true;
    bool filter = false;
};

/// A port's settings in an instance.
struct DraftPort {
    uint32_t link = 0;
    uint32_t end = 0;
    uint32_t instance = 0;
    uint32_t priority = 8; ///< in steps of 16
    uint32_t cost = 0;     ///< 0 = by the speed
};

enum class Trouble : uint8_t {
    Cut,       ///< a link is down for a time
    Flaps,     ///< so many times, each as long as the pause after it
    Mute,      ///< an end's frames are lost for a time
    Lose,      ///< a share of a link's frames is lost for a time
    Double,    ///< frames arrive twice
    Late,      ///< frames overtake each other
    Hang,      ///< a daemon stands still
    Crash,     ///< a daemon is gone for a time
    Restart,   ///< a daemon starts anew at once
    Priority,  ///< of a bridge in an instance
    Cost,      ///< of a port
    Version,   ///< a bridge speaks another for a time
    Region,    ///< a bridge is in another for a time
    Undefined, ///< none: the number of troubles
};

struct DraftTrouble {
    Trouble what = Trouble::Cut;
    Microseconds at = 0;
    Microseconds length = 0; ///< 0 = for good
    uint32_t link = 0;
    uint32_t end = 0;
    uint32_t bridge = 0;
    uint32_t instance = 0;
    uint32_t value = 0; ///< times, percent, priority in steps of 4096, cost, microseconds
};

struct Draft {
    DraftKind kind = DraftKind::Plain;
    uint64_t seed = 1;   ///< of the campaign
    uint64_t number = 0; ///< in the campaign
    uint32_t instances = 1;
    uint32_t maxAge = 20;
    uint32_t maxHops = 20;
    std::vector<DraftBridge> bridges;
    std::vector<DraftLink> links;
    std::vector<DraftHost> hosts;
    std::vector<DraftPort> ports;
    std::vector<DraftTrouble> troubles; ///< in the order of their times
    Microseconds quiet = 0;             ///< after the last trouble
};

/// Scenario @p number of the campaign with @p seed, made from these two alone.
/// @param mostBridges  of a scenario, at least 2
/// @param large  half of the scenarios are large ones, instead of a few
Draft draftScenario(uint64_t seed, uint64_t number, uint32_t mostBridges, bool large = false);

/// The scenario file. @param note  lines for its head, without line breaks
std::string draftText(const Draft& draft, const std::vector<std::string>& note = {});

/// How soon after a trouble has begun the network has settled, if it is left alone and its bridges
/// are alike and all within reach.
Microseconds settlesWithin(const Draft& draft, const DraftTrouble& trouble);

/// When the last trouble is over.
Microseconds endOfTroubles(const Draft& draft);

/// True if everything is joined by links that work when the troubles are over.
bool connectedAtEnd(const Draft& draft);

/// True if every bridge runs the same version in the same region.
bool homogeneous(const Draft& draft);

} // namespace simtool
