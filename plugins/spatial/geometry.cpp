#include "plugins/spatial/geometry.hpp"

#define BOOST_ALLOW_DEPRECATED_HEADERS  // Boost.Geometry includes one of its own

#include <cmath>
#include <cstddef>
#include <numbers>

#include <boost/geometry/algorithms/covered_by.hpp>
#include <boost/geometry/algorithms/equals.hpp>
#include <boost/geometry/algorithms/intersects.hpp>
#include <boost/geometry/core/closure.hpp>
#include <boost/geometry/core/tags.hpp>
#include <boost/geometry/geometries/register/point.hpp>
#include <boost/geometry/geometries/segment.hpp>
#include <boost/geometry/strategies/cartesian/side_by_triangle.hpp>
#include <boost/geometry/strategies/strategies.hpp>

BOOST_GEOMETRY_REGISTER_POINT_2D(qel::meta::data::Point, double, boost::geometry::cs::cartesian, x, y)

namespace boost::geometry::traits {

template <>
struct tag<qel::observable::spatial::Polygon> {
    using type = ring_tag;
};
/// The last corner is joined to the first without being repeated.
template <>
struct closure<qel::observable::spatial::Polygon> {
    static constexpr closure_selector value = open;
};

}  // namespace boost::geometry::traits

namespace qel::observable::spatial {

namespace {

constexpr std::size_t FewestCorners = 3;

}  // namespace

bool Contains(Polygon const& polygon, Point point) {
    return polygon.size() >= FewestCorners && boost::geometry::covered_by(point, polygon);
}

bool Meets(Polygon const& polygon, Point from, Point to) {
    if (polygon.size() < FewestCorners) {
        return false;
    }
    if (from == to) {
        return Contains(polygon, from);
    }
    return boost::geometry::intersects(boost::geometry::model::referring_segment<Point const>(from, to), polygon);
}

Hand HandOf(Point first, Point last, Point point) {
    int const side = boost::geometry::strategy::side::side_by_triangle<>::apply(first, last, point);
    // Positive is the left hand where y grows upwards.
    return side > 0 ? Hand::Right : side < 0 ? Hand::Left : Hand::None;
}

bool IsBetween(Point first, Point last, Point point) {
    return boost::geometry::covered_by(point, boost::geometry::model::referring_segment<Point const>(first, last));
}

bool AreSame(Point left, Point right) { return boost::geometry::equals(left, right); }

double DistanceFrom(Point first, Point last, Point point) {
    return std::abs((last.x - first.x) * (point.y - first.y) - (last.y - first.y) * (point.x - first.x));
}

double Movement::GetLength() const { return std::hypot(right, down); }

double Movement::GetHeading() const {
    constexpr double DegreesPerRadian = 180 / std::numbers::pi;
    return std::atan2(right, -down) * DegreesPerRadian;
}

Movement Between(Point from, Point to, double aspect) { return {(to.x - from.x) * aspect, to.y - from.y}; }

}  // namespace qel::observable::spatial
