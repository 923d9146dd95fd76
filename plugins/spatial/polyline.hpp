#pragma once

#include "plugins/spatial/geometry.hpp"

namespace qel::observable::spatial {

/// What a path did with a line since it was last off it.
struct Meeting {
    bool odd = false;           // whether it met the line an odd number of times
    Hand towards = Hand::None;  // to which hand of the line the first time led
    bool aroundEnd = false;     // whether it ran along the line past an end

    /// It did that, and then this.
    void Add(Meeting const& next);
    bool IsCrossing() const { return odd && !aroundEnd; }
};

/// A line of two or more pieces, and how often paths meet it.
///
/// A path crosses the line when it meets it an odd number of times on its way from one point off the line to another.
/// What is hard to count is what only touches: a movement may end on the line, pass over a point where two pieces join,
/// or run along a piece, and the next movement must neither count that again nor leave it out. So nothing ever touches:
/// every movement sees the line a hair beside its place, always by the same step to the same side, a step too small to
/// make a difference to anything that is off the line.
///
///     path a   path b
///        \  /    |
///     ----\/-----+----   the line: path a touches it, path b ends on it and goes on
///     . . . . . .|. . .  where movements see it: path a does not meet it, path b meets it in its second movement
///                |
///
/// A path that touches the line and goes back meets it twice or not at all, and one that goes on to the other side
/// meets it once, whichever of its movements that is; the same holds at joints and along pieces.
///
/// Only the two ends need rules of their own, unless they touch another piece of the line, as those of a closed line:
/// - An end belongs to the line. A hair beside its place, a movement right over it might miss it. So an end that is
///   straight ahead or behind counts as being on the other hand of the movement than the point next to it.
/// - A path that runs along the line past an end, onto the line or off it, has not been on another side of the line,
///   though it may have met the line where movements see it. It has gone around the end and has crossed nothing.
class Polyline {
public:
    /// Points that repeat the one before are left out.
    explicit Polyline(Line points);

    Line const& GetPoints() const { return points; }

    /// Whether a point is on the line, where it really is.
    bool IsOn(Point point) const;

    Meeting Meet(Point from, Point to) const;

private:
    Line points;
    bool hasFirstEnd;  // one that touches no other piece
    bool hasLastEnd;
};

}  // namespace qel::observable::spatial
