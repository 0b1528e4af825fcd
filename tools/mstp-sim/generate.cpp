#include "generate.h"

#include <algorithm>
#include <set>

#include "random.h"
#include "scenario.h"

namespace simtool {

namespace {

uint64_t count(const Shape& shape) {
    if (shape.kind == "grid") {
        return uint64_t(shape.rows) * shape.columns;
    }
    if (shape.kind == "fat-tree") {
        return uint64_t(shape.pods) * shape.pods * 5 / 4;
    }
    return shape.kind == "regions" ? uint64_t(shape.bridges) * shape.regions : shape.bridges;
}

void addBridges(GeneratedNetwork& network, uint64_t number) {
    for (uint64_t i = 1; i <= number; i++) {
        network.bridges.push_back({"sw" + std::to_string(i), ""});
    }
}

void addChain(GeneratedNetwork& network, uint32_t first, uint32_t number) {
    for (uint32_t i = 1; i < number; i++) {
        network.links.emplace_back(first + i - 1, first + i);
    }
}

// Two bridges with two links between them are no ring.
void addRing(GeneratedNetwork& network, uint32_t first, uint32_t number) {
    addChain(network, first, number);
    if (number > 2) {
        network.links.emplace_back(first + number - 1, first);
    }
}

void addGrid(GeneratedNetwork& network, uint32_t rows, uint32_t columns) {
    for (uint32_t row = 0; row < rows; row++) {
        for (uint32_t column = 0; column < columns; column++) {
            const uint32_t bridge = row * columns + column;
            if (column + 1 < columns) {
                network.links.emplace_back(bridge, bridge + 1);
            }
            if (row + 1 < rows) {
                network.links.emplace_back(bridge, bridge + columns);
            }
        }
    }
}

void addMesh(GeneratedNetwork& network, uint32_t number) {
    for (uint32_t a = 0; a < number; a++) {
        for (uint32_t b = a + 1; b < number; b++) {
            network.links.emplace_back(a, b);
        }
    }
}

// (k/2)^2 core bridges, then for each of k pods k/2 aggregating and k/2 edge bridges. Aggregating
// bridge i of a pod has the core bridges of row i above it.
void addFatTree(GeneratedNetwork& network, uint32_t pods) {
    const uint32_t half = pods / 2;
    for (uint32_t i = 0; i < half * half; i++) {
        network.bridges.push_back({"core" + std::to_string(i + 1), ""});
    }
    for (uint32_t pod = 0; pod < pods; pod++) {
        const std::string name = "pod" + std::to_string(pod + 1);
        const auto first = static_cast<uint32_t>(network.bridges.size());
        for (uint32_t i = 0; i < half; i++) {
            network.bridges.push_back({name + "_up" + std::to_string(i + 1), ""});
        }
        for (uint32_t i = 0; i < half; i++) {
            network.bridges.push_back({name + "_edge" + std::to_string(i + 1), ""});
        }
        for (uint32_t i = 0; i < half; i++) {
            for (uint32_t j = 0; j < half; j++) {
                network.links.emplace_back(i * half + j, first + i);
                network.links.emplace_back(first + i, first + half + j);
            }
        }
    }
}

// A random tree, so that everything hangs together, then random links until the degree is reached.
void addRandom(GeneratedNetwork& network, const Shape& shape) {
    sim::Random random(shape.seed);
    std::set<std::pair<uint32_t, uint32_t>> taken;
    for (uint32_t b = 1; b < shape.bridges; b++) {
        taken.emplace(static_cast<uint32_t>(random.below(b)), b);
    }
    const uint64_t pairs = uint64_t(shape.bridges) * (shape.bridges - 1) / 2;
    const uint64_t wanted = std::min(pairs, uint64_t(shape.bridges) * shape.degree / 2);
    while (taken.size() < wanted) {
        const auto a = static_cast<uint32_t>(random.below(shape.bridges));
        const auto b = static_cast<uint32_t>(random.below(shape.bridges));
        if (a != b) {
            taken.emplace(std::min(a, b), std::max(a, b));
        }
    }
    network.links.assign(taken.begin(), taken.end());
}

// A ring of regions, each a ring of bridges: two bridges of a region have a neighbour outside it.
void addRegions(GeneratedNetwork& network, const Shape& shape) {
    for (uint32_t region = 0; region < shape.regions; region++) {
        const std::string name = "r" + std::to_string(region + 1);
        for (uint32_t i = 0; i < shape.bridges; i++) {
            network.bridges.push_back({name + "_sw" + std::to_string(i + 1), name});
        }
        addRing(network, region * shape.bridges, shape.bridges);
    }
    const uint32_t exit = shape.bridges / 2;
    for (uint32_t region = 0; region < shape.regions; region++) {
        const uint32_t next = (region + 1) % shape.regions;
        if (next > region || shape.regions > 2) {
            network.links.emplace_back(region * shape.bridges + exit, next * shape.bridges);
        }
    }
}

std::string command(const Shape& shape) {
    std::string text = "mstp-sim generate " + shape.kind;
    const auto option = [&](const char* name, uint64_t value) {
        text += std::string(" --") + name + " " + std::to_string(value);
    };
    if (shape.kind == "grid") {
        option("rows", shape.rows);
        option("columns", shape.columns);
    } else if (shape.kind == "fat-tree") {
        option("pods", shape.pods);
    } else {
        option("bridges", shape.bridges);
    }
    if (shape.kind == "random") {
        option("degree", shape.degree);
        option("seed", shape.seed);
    } else if (shape.kind == "regions") {
        option("regions", shape.regions);
    }
    return text;
}

} // namespace

const std::vector<std::string>& shapeKinds() {
    static const std::vector<std::string> kinds = {"chain",    "ring",   "grid",   "mesh",
                                                   "fat-tree", "random", "regions"};
    return kinds;
}

std::string checkShape(const Shape& shape) {
    const std::vector<std::string>& kinds = shapeKinds();
    if (std::find(kinds.begin(), kinds.end(), shape.kind) == kinds.end()) {
        return "there is no kind \"" + shape.kind + "\"";
    }
    if (shape.kind == "fat-tree" && shape.pods % 2 != 0) {
        return "a fat tree has an even number of pods";
    }
    if (shape.kind == "mesh" && shape.bridges > 256) {
        return "a mesh has 256 bridges at the most";
    }
    if (shape.kind == "random" && shape.degree > 64) {
        return "a random network has a degree of 64 at the most";
    }
    const uint64_t bridges = count(shape);
    if (bridges == 0 || bridges > MOST_BRIDGES) {
        return "a network has 1-" + std::to_string(MOST_BRIDGES) + " bridges, not " +
               std::to_string(bridges);
    }
    return "";
}

GeneratedNetwork generate(const Shape& shape) {
    GeneratedNetwork network;
    if (shape.kind == "fat-tree") {
        addFatTree(network, shape.pods);
        return network;
    }
    if (shape.kind == "regions") {
        addRegions(network, shape);
        return network;
    }
    addBridges(network, count(shape));
    if (shape.kind == "chain") {
        addChain(network, 0, shape.bridges);
    } else if (shape.kind == "ring") {
        addRing(network, 0, shape.bridges);
    } else if (shape.kind == "grid") {
        addGrid(network, shape.rows, shape.columns);
    } else if (shape.kind == "mesh") {
        addMesh(network, shape.bridges);
    } else {
        addRandom(network, shape);
    }
    return network;
}

std::string scenarioText(const Shape& shape) {
    const GeneratedNetwork network = generate(shape);
    std::string text = "# Made by: " + command(shape) + "\n";
    text += "name: " + shape.kind + " of " + std::to_string(network.bridges.size()) + " bridges\n";
    text += "seed: 1\n\n";
    text += "defaults:\n  bridge:\n    version: mstp\n";
    text += shape.kind == "regions" ? "" : "    region: {name: lab, revision: 1}\n";
    text += "    instances:\n      1: 10-19\n      2: 20-29\n";
    text += "  link: {speed: 1G, delay: 100us}\n\nbridges:\n";
    for (const ShapeBridge& bridge : network.bridges) {
        text += "  " + bridge.name + ":";
        text += bridge.region.empty() ? "\n" : " {region: " + bridge.region + "}\n";
    }
    text += "\nlinks:\n";
    for (const auto& [a, b] : network.links) {
        text += "  - " + network.bridges[a].name + "-" + network.bridges[b].name + "\n";
    }
    if (!network.links.empty()) {
        const auto& [a, b] = network.links.front();
        const std::string link = network.bridges[a].name + "-" + network.bridges[b].name;
        text += "\nevents:\n  - {at: 30s, cut: " + link + "}\n  - {at: 60s, mend: " + link + "}\n";
    }
    return text;
}

} // namespace simtool
