#include "topology.h"

using sim::Random;

static std::string regionName(uint64_t number) {
    return "region" + std::to_string(number);
}

static Topology bridgesOnly(const std::string& name, uint32_t bridges, uint32_t instances) {
    Topology topology;
    topology.name = name;
    topology.instances = instances;
    for (uint32_t i = 0; i < bridges; i++) {
        oracle::Bridge bridge;
        bridge.mac = {0x02, 0x00, 0x00, 0x00, 0x00, static_cast<uint8_t>(i + 1)};
        for (uint32_t instance = 0; instance <= instances; instance++) {
            bridge.priorities[instance] = 8;
        }
        bridge.region = regionName(0);
        topology.network.bridges.push_back(bridge);
    }
    return topology;
}

void join(Topology& topology, const std::vector<uint32_t>& bridges, uint32_t speed) {
    oracle::Segment segment;
    for (const uint32_t number : bridges) {
        oracle::Bridge& bridge = topology.network.bridges[number];
        const auto unit = static_cast<uint32_t>(bridge.ports.size()) + 1;
        oracle::Port port;
        port.unit = unit;
        port.speed = speed;
        bridge.ports[unit] = port;
        segment.ends.push_back({number, unit, true});
    }
    topology.network.segments.push_back(segment);
}

Topology chain(uint32_t bridges, uint32_t instances) {
    Topology topology = bridgesOnly("chain", bridges, instances);
    for (uint32_t i = 0; i + 1 < bridges; i++) {
        join(topology, {i, i + 1});
    }
    return topology;
}

Topology ring(uint32_t bridges, uint32_t instances) {
    Topology topology = chain(bridges, instances);
    topology.name = "ring";
    join(topology, {bridges - 1, 0});
    return topology;
}

Topology mesh(uint32_t bridges, uint32_t instances) {
    Topology topology = bridgesOnly("mesh", bridges, instances);
    for (uint32_t a = 0; a < bridges; a++) {
        for (uint32_t b = a + 1; b < bridges; b++) {
            join(topology, {a, b});
        }
    }
    return topology;
}

void shufflePriorities(Topology& topology, uint32_t seed) {
    Random random(seed);
    for (oracle::Bridge& bridge : topology.network.bridges) {
        for (auto& [instance, priority] : bridge.priorities) {
            priority = static_cast<uint32_t>(random.below(16));
        }
    }
}

void shufflePorts(Topology& topology, uint32_t seed) {
    Random random(seed);
    for (oracle::Bridge& bridge : topology.network.bridges) {
        for (auto& [unit, port] : bridge.ports) {
            for (uint32_t instance = 0; instance <= topology.instances; instance++) {
                oracle::PortInstance& settings = port.instances[instance];
                if (random.chance(0.3)) {
                    settings.priority = static_cast<uint32_t>(random.below(16));
                }
                if (random.chance(0.3)) {
                    settings.cost = static_cast<uint32_t>(1 + random.below(50'000));
                }
            }
        }
    }
}

Topology randomGraph(uint32_t bridges, uint32_t chords, uint32_t instances, uint32_t seed) {
    Topology topology = ring(bridges, instances);
    topology.name = "random " + std::to_string(seed);
    Random random(seed);
    static const uint32_t speeds[] = {10, 100, 1000, 10000};
    for (uint32_t i = 0; i < chords; i++) {
        const auto a = static_cast<uint32_t>(random.below(bridges));
        const auto b = static_cast<uint32_t>(random.below(bridges));
        if (a != b) {
            join(topology, {a, b}, speeds[random.below(4)]);
        }
    }
    shufflePriorities(topology, seed + 1);
    return topology;
}

void addHubs(Topology& topology, uint32_t hubs, uint32_t seed) {
    Random random(seed);
    for (uint32_t i = 0; i < hubs; i++) {
        std::vector<uint32_t> ends(2 + random.below(3));
        for (uint32_t& end : ends) {
            end = static_cast<uint32_t>(random.below(topology.bridges()));
        }
        join(topology, ends, 100);
    }
}

void mixRegions(Topology& topology, uint32_t seed, uint32_t regions) {
    Random random(seed);
    for (oracle::Bridge& bridge : topology.network.bridges) {
        bridge.region = regionName(random.below(regions));
    }
}

void mixVersions(Topology& topology, uint32_t seed, uint32_t regions) {
    Random random(seed);
    for (oracle::Bridge& bridge : topology.network.bridges) {
        static const uint32_t versions[] = {0, 1, 2, 3, 3, 3};
        bridge.version = versions[random.below(6)];
        bridge.region = regionName(random.below(regions));
    }
}
