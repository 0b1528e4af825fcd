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

using Lines = std::vector<std::pair<uint32_t, uint32_t>>;

std::vector<Point> layOut(uint32_t nodes, const Lines& links);

/// Stretches the whole until most nodes have their room around them, then pushes the others apart,
/// and links away from the nodes that they only pass, as far as that is to be had in a while.
/// @param rooms  the distance that a node keeps, together with that of the other
void spread(std::vector<Point>& points, const std::vector<double>& rooms, const Lines& links);

} // namespace simtool
