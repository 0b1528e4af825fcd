// Drawings do not mislead: what is apart is drawn apart.

#include "layout.h"

#include <gtest/gtest.h>

#include <cmath>

#include "generate.h"

using namespace simtool;

namespace {

constexpr double ROOM = 40;

// Of the node from the line between the others.
double distance(const Point& node, const Point& a, const Point& b) {
    const double length = std::hypot(b.x - a.x, b.y - a.y);
    const double along =
        ((node.x - a.x) * (b.x - a.x) + (node.y - a.y) * (b.y - a.y)) / (length * length);
    const double at = std::min(std::max(along, 0.0), 1.0);
    return std::hypot(node.x - a.x - at * (b.x - a.x), node.y - a.y - at * (b.y - a.y));
}

double nearestPass(const std::vector<Point>& points, const Lines& links) {
    double nearest = 1e9;
    for (const auto& [a, b] : links) {
        for (size_t node = 0; node < points.size(); node++) {
            if (node != a && node != b) {
                nearest = std::min(nearest, distance(points[node], points[a], points[b]));
            }
        }
    }
    return nearest;
}

TEST(Layout, NoLinkRunsThroughABridgeBetweenItsEnds) {
    std::vector<Point> points = {{0, 0}, {50, 0}, {100, 0}};
    const Lines links = {{0, 2}};
    spread(points, std::vector<double>(points.size(), ROOM), links);
    EXPECT_GT(nearestPass(points, links), ROOM / 2);
}

TEST(Layout, NoLinkRunsThroughABridgeInAFatTree) {
    Shape shape;
    shape.kind = "fat-tree";
    shape.pods = 4;
    const GeneratedNetwork network = generate(shape);
    const Lines links(network.links.begin(), network.links.end());
    std::vector<Point> points = layOut(static_cast<uint32_t>(network.bridges.size()), links);
    for (Point& point : points) {
        point = {point.x * 500, point.y * 500};
    }
    spread(points, std::vector<double>(points.size(), ROOM), links);
    EXPECT_GT(nearestPass(points, links), ROOM / 2);
}

} // namespace
