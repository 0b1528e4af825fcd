#pragma once

/// What the daemon knows, read in one go.

#include <cstdint>
#include <string>
#include <vector>

#include "daemon.h"

struct BridgeView {
    std::vector<uint8_t> mac;
    uint32_t version = 0;
    uint32_t maxAge = 0; ///< seconds, like the next two
    uint32_t helloTime = 0;
    uint32_t forwardDelay = 0;
    uint32_t maxHops = 0;
    uint32_t holdCount = 0;
    uint32_t debug = 0;
};

struct RegionView {
    std::string name;
    uint32_t revision = 0;
    uint32_t formatSelector = 0;
    std::vector<uint8_t> digest;
};

struct InstanceView {
    uint32_t id = 0;
    uint32_t priority = 0;
    std::vector<uint8_t> bridgeId;
    std::vector<uint8_t> root; ///< CIST root; the regional root for an MSTI
    std::vector<uint8_t> regionalRoot;
    uint32_t externalCost = 0;
    uint32_t internalCost = 0;
    uint32_t topologyChanges = 0;
    std::vector<uint8_t> vlans;
};

struct InstancePortView {
    uint32_t instance = 0;
    uint32_t unit = 0;
    uint32_t role = 0;
    uint32_t state = 0;
    uint32_t priority = 0;
    uint32_t adminCost = 0;
    uint32_t operCost = 0;
    uint32_t protection = 0; ///< bits: BPDU guard, root, loop, topology change hold
    std::vector<uint8_t> designatedBridge;
    std::vector<uint8_t> designatedPort;

    uint32_t cost() const { return adminCost != 0 ? adminCost : operCost; }
};

struct PortView {
    uint32_t unit = 0;
    std::string name;
    uint32_t upTime = 0; ///< 0 = the link is down
    bool edge = false;
    bool pointToPoint = false;
    bool filtering = false;
    uint32_t counters[8] = {}; ///< received TCN, configuration, RST, MST; sent likewise
};

struct Snapshot {
    BridgeView bridge;
    RegionView region;
    std::vector<InstanceView> instances;
    std::vector<PortView> ports;
    std::vector<InstancePortView> instancePorts; ///< ascending by instance, then by unit

    const PortView* port(uint32_t unit) const;
};

/// The interface's name, its number when it is gone.
std::string interfaceName(uint32_t unit);

/// The unit of an interface. @return 0 if there is none of that name
uint32_t interfaceUnit(const std::string& name);

Snapshot readSnapshot(const Daemon& daemon);

/// Only who plays what: roles and states of all instance ports.
std::vector<InstancePortView> readRoles(const Daemon& daemon);
