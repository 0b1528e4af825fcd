#pragma once

/// What the daemon knows, read in one go.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "daemon.h"

using Octets = std::vector<uint8_t>;

/// Times are in seconds.
struct BridgeView {
    Octets mac;
    uint32_t version = 0;
    uint32_t capable = 0;
    uint32_t type = 0;
    uint32_t maxAge = 0;
    uint32_t helloTime = 0;
    uint32_t forwardDelay = 0;
    uint32_t maxHops = 0;
    uint32_t holdCount = 0;
    uint32_t migrateTime = 0;
    uint32_t pathCostMethod = 0;
    bool bpduGuard = false;
    bool loopProtection = false;
    bool tcProtection = false;
    uint32_t tcHoldOff = 0;
    bool p2pDetection = false;
    bool tcFlushesNeighbours = false;
    bool notifications = false;
    uint32_t debug = 0;
    uint32_t debugPriority = 0;
    uint32_t debugAction = 0;
    uint32_t maxInstances = 0;
    uint32_t maxInstanceId = 0;
    uint32_t instanceCount = 0;
    uint32_t instanceMark = 0;

    // The times in force, which are the root's; none without a CIST.
    std::optional<uint32_t> usedMaxAge;
    std::optional<uint32_t> usedHelloTime;
    std::optional<uint32_t> usedForwardDelay;
    std::optional<uint32_t> usedHops;
};

struct RegionView {
    std::string name;
    uint32_t revision = 0;
    uint32_t formatSelector = 0;
    Octets digest;
};

struct InstanceView {
    uint32_t id = 0;
    bool running = true; ///< false: the protocol version has no MSTIs, and nothing below is known
    uint32_t rowStatus = 0;
    uint32_t priority = 0;
    bool rootProtection = false;
    Octets bridgeId;
    Octets designatedRoot;
    Octets regionalRoot;
    uint32_t externalCost = 0;
    uint32_t internalCost = 0;
    uint32_t rootPort = 0; ///< unit, 0 = none
    Octets masterPort;
    Octets designatedBridge;
    Octets designatedPort;
    uint32_t remainingHops = 0;
    uint32_t changedAt = 0; ///< up-time of the system at the last topology change, 0 = never
    uint32_t topologyChanges = 0;
    bool topologyChange = false;
    Octets vlans;

    /// The CIST's root; the regional root of an MSTI.
    const Octets& root() const { return id == 0 ? designatedRoot : regionalRoot; }
    bool isRoot() const { return !bridgeId.empty() && root() == bridgeId; }
    bool isRegionalRoot() const { return !bridgeId.empty() && regionalRoot == bridgeId; }
};

struct InstancePortView {
    uint32_t instance = 0;
    uint32_t unit = 0;
    uint32_t role = 0;
    uint32_t state = 0;
    uint32_t priority = 0;
    uint32_t adminCost = 0;
    uint32_t operCost = 0;
    uint32_t protection = 0; ///< bits MSTP_PROTECTION_*
    Octets designatedRoot;
    uint32_t externalCost = 0;
    Octets regionalRoot;
    uint32_t internalCost = 0;
    Octets designatedBridge;
    Octets designatedPort;
    bool fromSameRegion = false;

    uint32_t cost() const { return adminCost != 0 ? adminCost : operCost; }
};

struct PortView {
    uint32_t unit = 0;
    std::string name;
    uint32_t upTime = 0; ///< up-time of the system when the link came up, 0 = it is down
    bool runsSpanningTree = false;
    bool adminMacEnabled = false;
    bool operMacEnabled = false;
    uint32_t adminCost = 0;
    uint32_t operCost = 0;
    bool adminEdge = false;
    bool edge = false;
    bool autoEdge = false;
    bool adminPointToPoint = false;
    bool pointToPoint = false;
    uint32_t helloTime = 0; ///< in use on this port
    bool migrationCheck = false;
    bool heldByBpduGuard = false;
    bool preStandard = false;
    bool filtering = false;
    uint32_t counters[8] = {}; ///< received TCN, configuration, RST, MST; sent likewise

    bool linkUp() const { return upTime != 0; }
};

struct Snapshot {
    uint32_t now = 0; ///< up-time of the system, seconds
    BridgeView bridge;
    RegionView region;
    std::vector<InstanceView> instances;
    std::vector<PortView> ports;
    std::vector<InstancePortView> instancePorts; ///< ascending by instance, then by unit

    const PortView* port(uint32_t unit) const;
    const InstanceView* instance(uint32_t id) const;

    /// What a port is in each instance, ascending by instance.
    std::vector<const InstancePortView*> instancesOf(uint32_t unit) const;

    /// Seconds since @p upTime. @return none for 0
    std::optional<uint32_t> since(uint32_t upTime) const;
};

/// Parts of a snapshot, so that a look at one costs no more requests than it needs.
enum Part : uint32_t {
    PART_BRIDGE = 0x01,
    PART_REGION = 0x02,
    PART_INSTANCES = 0x04,
    PART_PORTS = 0x08,
    PART_INSTANCE_PORTS = 0x10,
    PART_ALL = 0x1F,
};

/// The interface's name, its number when it is gone.
std::string interfaceName(uint32_t unit);

/// The unit of an interface. @return 0 if there is none of that name
uint32_t interfaceUnit(const std::string& name);

Snapshot readSnapshot(const Daemon& daemon, uint32_t parts = PART_ALL);

/// Only what changes by itself: links, roles, states, roots and topology changes.
Snapshot readTree(const Daemon& daemon);
