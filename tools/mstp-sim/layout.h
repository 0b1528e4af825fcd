#pragma once

/// Where a drawing's bridges stand: a force layout from a circle, the same for the same network.

#include <cstdint>
#include <utility>
#include <vector>

namespace simtool {

struct Point {
    double x = 0; ///< 0 to 1
    double y = 0;
};

/// Stretches the points onto the square from 0 to 1.
void fit(std::vector<Point>& points);

std::vector<Point> layOut(uint32_t nodes, const std::vector<std::pair<uint32_t, uint32_t>>& links);

} // namespace simtool
