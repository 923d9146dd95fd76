#include "plugins/spatial/polyline.hpp"

#include <algorithm>
#include <cstddef>
#include <numbers>
#include <utility>

#include <boost/container/small_vector.hpp>

namespace qel::observable::spatial {

namespace {

using Hands = boost::container::small_vector<Hand, 8>;
using Piece = Line::const_iterator;  // from this point to the next

constexpr Hand Opposite(Hand hand) { return static_cast<Hand>(-static_cast<signed char>(hand)); }

/// On which hand of a walker the line is stepped aside: so far down for each step to the right. Hardly any piece or
/// movement has that slope, and level and upright ones, which most lines have, are far from it, however they are
/// rounded. For one that has just that slope, the way bends down. None when nobody walks.
Hand HandOfStepAside(Point from, Point to) {
    constexpr double Slope = std::numbers::sqrt2;
    double const right = to.x - from.x;
    double const turn = right * Slope - (to.y - from.y);
    double const side = turn != 0 ? turn : right;
    return side > 0 ? Hand::Right : side < 0 ? Hand::Left : Hand::None;
}

/// On which hand of the piece, stepped aside, the point is.
Hand SideOf(Piece piece, Point point) {
    Hand const side = HandOf(piece[0], piece[1], point);
    return side != Hand::None ? side : Opposite(HandOfStepAside(piece[0], piece[1]));
}

bool IsOnAny(Piece first, Piece last, Point point) {
    for (; first != last; ++first) {
        if (IsBetween(first[0], first[1], point)) {
            return true;
        }
    }
    return false;
}

Line WithoutRepeats(Line points) {
    points.erase(std::unique(points.begin(), points.end(), AreSame), points.end());
    return points;
}

/// How far along from one point to the next a third one is, in a measure that only compares with itself.
double DistanceAlong(Point first, Point last, Point point) {
    return (last.x - first.x) * (point.x - first.x) + (last.y - first.y) * (point.y - first.y);
}

/// Whether the movement runs along the piece that begins at an end of the line, and past that end.
bool PassesAlong(Point end, Point next, Point from, Point to) {
    auto const isBefore = [&](Point point) { return DistanceAlong(end, next, point) < 0; };
    return HandOf(end, next, from) == Hand::None && HandOf(end, next, to) == Hand::None &&
           isBefore(from) != isBefore(to);
}

}  // namespace

void Meeting::Add(Meeting const& next) {
    odd = odd != next.odd;
    towards = towards == Hand::None ? next.towards : towards;
    aroundEnd = aroundEnd || next.aroundEnd;
}

Polyline::Polyline(Line line) : points(WithoutRepeats(std::move(line))), hasFirstEnd(false), hasLastEnd(false) {
    if (points.size() > 2) {
        hasFirstEnd = !IsOnAny(points.begin() + 1, points.end() - 1, points.front());
        hasLastEnd = !IsOnAny(points.begin(), points.end() - 2, points.back());
    }
}

bool Polyline::IsOn(Point point) const { return IsOnAny(points.begin(), points.end() - 1, point); }

Meeting Polyline::Meet(Point from, Point to) const {
    Hands hands;
    for (auto const& point : points) {
        Hand const hand = HandOf(from, to, point);
        hands.push_back(hand != Hand::None ? hand : HandOfStepAside(from, to));
    }
    Meeting meeting;
    auto const seeEnd = [&](Point end, Point next, Hand& hand, Hand nextHand) {
        if (HandOf(from, to, end) == Hand::None) {
            hand = Opposite(nextHand);
        }
        meeting.aroundEnd = meeting.aroundEnd || PassesAlong(end, next, from, to);
    };
    if (hasFirstEnd) {
        seeEnd(points[0], points[1], hands[0], hands[1]);
    }
    if (hasLastEnd) {
        seeEnd(points.end()[-1], points.end()[-2], hands.end()[-1], hands.end()[-2]);
    }

    double firstMet = 0;
    for (auto piece = points.begin(); piece + 1 != points.end(); ++piece) {
        auto const at = static_cast<std::size_t>(piece - points.begin());
        Hand const before = SideOf(piece, from);
        Hand const after = SideOf(piece, to);
        if (before == after || hands[at] == hands[at + 1]) {
            continue;
        }
        double const distance = DistanceFrom(piece[0], piece[1], from);
        double const met = distance / (distance + DistanceFrom(piece[0], piece[1], to));
        if (meeting.towards == Hand::None || met < firstMet) {
            meeting.towards = after;
            firstMet = met;
        }
        meeting.odd = !meeting.odd;
    }
    return meeting;
}

}  // namespace qel::observable::spatial
