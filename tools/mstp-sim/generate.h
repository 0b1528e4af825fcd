#pragma once

/// Networks of a known shape.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace simtool {

struct Shape {
    std::string kind = "ring"; ///< one of shapeKinds()
    uint32_t bridges = 4;      ///< of each region, for kind "regions"
    uint32_t rows = 3;
    uint32_t columns = 3;
    uint32_t pods = 4; ///< of a fat tree: even
    uint32_t degree = 3;
    uint32_t regions = 3;
    uint64_t seed = 1;
};

struct ShapeBridge {
    std::string name;
    std::string region; ///< empty = all in one
};

struct GeneratedNetwork {
    std::vector<ShapeBridge> bridges;
    std::vector<std::pair<uint32_t, uint32_t>> links; ///< by index
};

const std::vector<std::string>& shapeKinds();

/// What is wrong with the numbers; empty if nothing is.
std::string checkShape(const Shape& shape);

GeneratedNetwork generate(const Shape& shape);

/// A scenario file that has this network written out, for people to go on from.
std::string scenarioText(const Shape& shape);

} // namespace simtool
