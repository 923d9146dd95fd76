#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "foundation/meta/data/geometry.hpp"
#include "tests/support/random.hpp"

// Slow and obvious geometry, exact for small whole numbers.

namespace qel::tests::spatial {

using Points = std::vector<meta::data::Point>;

/// On a grid so small that paths and lines touch each other, run along each other and meet at their points all the
/// time.
inline Points PointsAtRandom(Random& random, std::size_t count) {
    Points points;
    for (std::size_t at = 0; at < count; ++at) {
        points.push_back({static_cast<double>(random.Below(5)), static_cast<double>(random.Below(5))});
    }
    return points;
}

/// Positive, negative or zero as the third point is on one hand, the other or straight ahead of a walker between the
/// first two.
inline double Turn(meta::data::Point first, meta::data::Point last, meta::data::Point point) {
    return (last.x - first.x) * (point.y - first.y) - (last.y - first.y) * (point.x - first.x);
}

inline bool IsBetween(meta::data::Point first, meta::data::Point last, meta::data::Point point) {
    auto const [left, right] = std::minmax(first.x, last.x);
    auto const [top, bottom] = std::minmax(first.y, last.y);
    return Turn(first, last, point) == 0 && point.x >= left && point.x <= right && point.y >= top && point.y <= bottom;
}

inline bool IsOn(Points const& line, meta::data::Point point) {
    for (std::size_t at = 0; at + 1 < line.size(); ++at) {
        if (IsBetween(line[at], line[at + 1], point)) {
            return true;
        }
    }
    return false;
}

/// A ring as the line that ends where it begins.
inline Points Close(Points ring) {
    if (!ring.empty()) {
        ring.push_back(ring.front());
    }
    return ring;
}

/// How many times a ring goes around a point that is not on it, clockwise less counter-clockwise.
inline int TurnsAround(Points const& ring, meta::data::Point point) {
    int turns = 0;
    Points const line = Close(ring);
    for (std::size_t at = 0; at + 1 < line.size(); ++at) {
        bool const isAbove = line[at].y <= point.y;
        if (isAbove != (line[at + 1].y <= point.y)) {
            double const turn = Turn(line[at], line[at + 1], point);
            turns += isAbove && turn > 0 ? 1 : !isAbove && turn < 0 ? -1 : 0;
        }
    }
    return turns;
}

/// Whether two stretches have a point in common.
inline bool Touch(meta::data::Point from, meta::data::Point to, meta::data::Point first, meta::data::Point last) {
    auto const sign = [](double turn) { return turn > 0 ? 1 : turn < 0 ? -1 : 0; };
    return IsBetween(from, to, first) || IsBetween(from, to, last) || IsBetween(first, last, from) ||
           IsBetween(first, last, to) ||
           (sign(Turn(from, to, first)) * sign(Turn(from, to, last)) < 0 &&
            sign(Turn(first, last, from)) * sign(Turn(first, last, to)) < 0);
}

}  // namespace qel::tests::spatial
