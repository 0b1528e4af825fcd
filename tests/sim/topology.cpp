#include "topology.h"

static Topology bridgesOnly(const std::string& name, uint32_t bridges, uint32_t instances) {
    Topology topology;
    topology.name = name;
    topology.instances = instances;
    for (uint32_t i = 0; i < bridges; i++) {
        PaperBridge bridge;
        bridge.mac = {0x02, 0x00, 0x00, 0x00, 0x00, static_cast<uint8_t>(i + 1)};
        bridge.priorities.assign(instances + 1, 8);
        topology.bridges.push_back(bridge);
    }
    return topology;
}

// Interfaces of a bridge are numbered in the order in which its links are made.
static void join(Topology& topology, uint32_t a, uint32_t b, uint32_t speed = 1000) {
    PaperLink link;
    link.bridges = {a, b};
    link.speed = speed;
    for (uint32_t side = 0; side < 2; side++) {
        uint32_t used = 0;
        for (const PaperLink& other : topology.links) {
            used += (other.bridges[0] == link.bridges[side] ? 1 : 0) +
                    (other.bridges[1] == link.bridges[side] ? 1 : 0);
        }
        link.units[side] = used + 1;
    }
    topology.links.push_back(link);
}

Topology chain(uint32_t bridges, uint32_t instances) {
    Topology topology = bridgesOnly("chain", bridges, instances);
    for (uint32_t i = 0; i + 1 < bridges; i++) {
        join(topology, i, i + 1);
    }
    return topology;
}

Topology ring(uint32_t bridges, uint32_t instances) {
    Topology topology = chain(bridges, instances);
    topology.name = "ring";
    join(topology, bridges - 1, 0);
    return topology;
}

Topology mesh(uint32_t bridges, uint32_t instances) {
    Topology topology = bridgesOnly("mesh", bridges, instances);
    for (uint32_t a = 0; a < bridges; a++) {
        for (uint32_t b = a + 1; b < bridges; b++) {
            join(topology, a, b);
        }
    }
    return topology;
}

void shufflePriorities(Topology& topology, uint32_t seed) {
    std::mt19937 random(seed);
    for (PaperBridge& bridge : topology.bridges) {
        for (uint32_t& priority : bridge.priorities) {
            priority = random() % 16;
        }
    }
}

Topology randomGraph(uint32_t bridges, uint32_t chords, uint32_t instances, uint32_t seed) {
    Topology topology = ring(bridges, instances);
    topology.name = "random " + std::to_string(seed);
    std::mt19937 random(seed);
    static const uint32_t speeds[] = {10, 100, 1000, 10000};
    for (uint32_t i = 0; i < chords; i++) {
        const uint32_t a = static_cast<uint32_t>(random()) % bridges;
        const uint32_t b = static_cast<uint32_t>(random()) % bridges;
        if (a != b) {
            join(topology, a, b, speeds[random() % 4]);
        }
    }
    shufflePriorities(topology, seed + 1);
    return topology;
}

void mixVersions(Topology& topology, uint32_t seed) {
    std::mt19937 random(seed);
    for (PaperBridge& bridge : topology.bridges) {
        static const uint32_t versions[] = {1, 2, 3, 3, 3};
        bridge.version = versions[random() % 5];
        bridge.region = static_cast<uint32_t>(random()) % 2;
    }
}
