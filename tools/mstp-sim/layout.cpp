#include "layout.h"

#include <algorithm>
#include <cmath>

namespace simtool {

static constexpr double FULL_TURN = 6.283185307179586;

// What is joined is drawn together, everything else pushes each other away; the steps get smaller.
namespace {

class ForceLayout {
  public:
    ForceLayout(std::vector<Point>& points, const Lines& links)
        : m_points(points), m_links(links), m_moves(points.size()),
          m_length(std::sqrt(1.0 / static_cast<double>(points.size()))) {}

    void run(uint32_t steps) {
        for (uint32_t step = 0; step < steps; step++) {
            std::fill(m_moves.begin(), m_moves.end(), Point{});
            repel();
            attract();
            move(0.1 * (1.0 - static_cast<double>(step) / steps));
        }
    }

  private:
    void push(size_t a, size_t b, double force, double dx, double dy, double distance) {
        m_moves[a].x += dx / distance * force;
        m_moves[a].y += dy / distance * force;
        m_moves[b].x -= dx / distance * force;
        m_moves[b].y -= dy / distance * force;
    }

    void repel() {
        for (size_t a = 0; a < m_points.size(); a++) {
            for (size_t b = a + 1; b < m_points.size(); b++) {
                const double dx = m_points[a].x - m_points[b].x;
                const double dy = m_points[a].y - m_points[b].y;
                const double distance = std::max(std::sqrt(dx * dx + dy * dy), 1e-4);
                push(a, b, m_length * m_length / distance, dx, dy, distance);
            }
        }
    }

    void attract() {
        for (const auto& [a, b] : m_links) {
            const double dx = m_points[a].x - m_points[b].x;
            const double dy = m_points[a].y - m_points[b].y;
            const double distance = std::max(std::sqrt(dx * dx + dy * dy), 1e-4);
            push(a, b, -distance * distance / m_length, dx, dy, distance);
        }
    }

    void move(double most) {
        for (size_t i = 0; i < m_points.size(); i++) {
            const double length = std::max(
                std::sqrt(m_moves[i].x * m_moves[i].x + m_moves[i].y * m_moves[i].y), 1e-9);
            const double step = std::min(length, most);
            m_points[i].x += m_moves[i].x / length * step;
            m_points[i].y += m_moves[i].y / length * step;
        }
    }

    std::vector<Point>& m_points;
    const Lines& m_links;
    std::vector<Point> m_moves;
    double m_length;
};

} // namespace

void fit(std::vector<Point>& points) {
    if (points.empty()) {
        return;
    }
    Point least = points[0];
    Point most = points[0];
    for (const Point& point : points) {
        least = {std::min(least.x, point.x), std::min(least.y, point.y)};
        most = {std::max(most.x, point.x), std::max(most.y, point.y)};
    }
    const double width = std::max(most.x - least.x, 1e-9);
    const double height = std::max(most.y - least.y, 1e-9);
    for (Point& point : points) {
        point.x = points.size() == 1 || width < 1e-6 ? 0.5 : (point.x - least.x) / width;
        point.y = points.size() == 1 || height < 1e-6 ? 0.5 : (point.y - least.y) / height;
    }
}

std::vector<Point> layOut(uint32_t nodes, const Lines& links) {
    static constexpr uint64_t WORK = 60'000'000;
    static constexpr uint64_t MOST_STEPS = 400;
    std::vector<Point> points(nodes);
    for (uint32_t i = 0; i < nodes; i++) {
        const double angle = FULL_TURN * i / nodes - FULL_TURN / 4;
        points[i] = {0.5 + 0.5 * std::cos(angle), 0.5 + 0.5 * std::sin(angle)};
    }
    if (nodes == 0) {
        return points;
    }
    const uint64_t pairs = uint64_t(nodes) * nodes / 2 + 1;
    ForceLayout(points, links).run(static_cast<uint32_t>(std::min(MOST_STEPS, WORK / pairs)));
    fit(points);
    return points;
}

// Half of what is missing each; nodes in one place part in directions of their own.
static bool part(Point& a, Point& b, double room, double direction) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double distance = std::sqrt(dx * dx + dy * dy);
    if (distance >= room) {
        return false;
    }
    const bool apart = distance > 1e-6;
    const Point towards = apart ? Point{dx / distance, dy / distance}
                                : Point{std::cos(direction), std::sin(direction)};
    const double step = (room - distance) / 2 + 0.1;
    a = {a.x - towards.x * step, a.y - towards.y * step};
    b = {b.x + towards.x * step, b.y + towards.y * step};
    return true;
}

// How much of its room to its nearest neighbour the node in the middle of all has.
static double usualRoom(const std::vector<Point>& points, const std::vector<double>& rooms) {
    std::vector<double> shares(points.size(), 1);
    for (size_t a = 0; a < points.size(); a++) {
        for (size_t b = 0; b < points.size(); b++) {
            const double distance =
                std::hypot(points[b].x - points[a].x, points[b].y - points[a].y);
            shares[a] = a == b ? shares[a] : std::min(shares[a], distance / (rooms[a] + rooms[b]));
        }
    }
    const auto middle = shares.begin() + std::ssize(shares) / 2;
    std::nth_element(shares.begin(), middle, shares.end());
    return middle == shares.end() ? 1 : std::max(*middle, 0.1);
}

// A line that touches a node which is no end of it would be read as two.
static bool passBy(Point& a, Point& b, Point& node, double room) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    const double length = std::hypot(dx, dy);
    const double along =
        length > 1e-6 ? ((node.x - a.x) * dx + (node.y - a.y) * dy) / (length * length) : 0;
    if (along <= 0 || along >= 1) {
        return false;
    }
    // How far the node is to the left of the line.
    const double left = ((node.y - a.y) * dx - (node.x - a.x) * dy) / length;
    if (std::abs(left) >= room) {
        return false;
    }
    const double step = std::copysign((room - std::abs(left)) / 2 + 0.1, left);
    const Point away = {-dy / length * step, dx / length * step};
    node = {node.x + away.x, node.y + away.y};
    a = {a.x - away.x, a.y - away.y};
    b = {b.x - away.x, b.y - away.y};
    return true;
}

static bool passByAll(std::vector<Point>& points, const std::vector<double>& rooms,
                      const Lines& links) {
    static constexpr double SHARE = 0.7; // a line is thinner than a node
    bool moved = false;
    for (const auto& [a, b] : links) {
        for (size_t node = 0; node < points.size(); node++) {
            if (node != a && node != b) {
                moved |= passBy(points[a], points[b], points[node], rooms[node] * SHARE);
            }
        }
    }
    return moved;
}

void spread(std::vector<Point>& points, const std::vector<double>& rooms, const Lines& links) {
    const double stretch = 1.001 / usualRoom(points, rooms);
    for (Point& point : points) {
        point = {point.x * stretch, point.y * stretch};
    }
    static constexpr uint64_t WORK = 100'000'000;
    static constexpr uint64_t MOST_ROUNDS = 500;
    static constexpr uint64_t MOST_LINKS_A_NODE = 3;
    const uint64_t pairs = uint64_t(points.size()) * (points.size() / 2 + links.size()) + 1;
    const uint64_t rounds = std::min(MOST_ROUNDS, WORK / pairs);
    // Between many links there is no place to go to; and nodes have the last word.
    const bool few = links.size() <= MOST_LINKS_A_NODE * points.size();
    bool moved = true;
    for (uint64_t round = 0; moved && round < rounds; round++) {
        moved = few && round < rounds / 2 && passByAll(points, rooms, links);
        for (size_t a = 0; a < points.size(); a++) {
            for (size_t b = a + 1; b < points.size(); b++) {
                moved |= part(points[a], points[b], rooms[a] + rooms[b], static_cast<double>(b));
            }
        }
    }
}

} // namespace simtool
