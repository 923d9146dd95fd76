#pragma once

#include <vector>

#include "foundation/meta/data/geometry.hpp"

namespace qel::observable::spatial {

using meta::data::Point;

/// The area with these corners, fewer than three of which enclose nothing: the boundary and whatever it goes around,
/// also where it touches or crosses itself.
using Polygon = std::vector<Point>;
/// The open line through these points.
using Line = std::vector<Point>;

/// Whether the point lies in the area or on its boundary.
bool Contains(Polygon const& polygon, Point point);

/// Whether the movement from one point to another meets the area or its boundary.
bool Meets(Polygon const& polygon, Point from, Point to);

/// The hand on which a walker from `first` to `last` has the point, in a picture whose y grows downwards. None for a
/// point straight ahead or behind, and when nobody walks.
enum class Hand : signed char { Left = -1, None = 0, Right = 1 };
Hand HandOf(Point first, Point last, Point point);

/// Whether the point is on the straight way from one to another.
bool IsBetween(Point first, Point last, Point point);

/// Whether two points are the same but for rounding.
bool AreSame(Point left, Point right);

/// How far the point is from the endless line through two others, in a measure that only compares with itself.
double DistanceFrom(Point first, Point last, Point point);

/// A way through the picture, or a velocity: so far to the right and so far down, both in heights of the picture.
struct Movement {
    double right = 0;
    double down = 0;

    double GetLength() const;
    /// In degrees: 0 is up the picture, 90 to the right, -90 to the left, 180 or -180 down; meaningless when nothing
    /// moves.
    double GetHeading() const;
};

/// The way from one point to another in a picture whose width is `aspect` times its height.
Movement Between(Point from, Point to, double aspect);

}  // namespace qel::observable::spatial
