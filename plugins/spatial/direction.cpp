#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/motion_source.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

namespace {

constexpr double FullTurn = 360;
constexpr double HalfTurn = 180;

/// Reports every object in the zone that moves in one direction: its heading differs from the set one by no more than a
/// tolerance, and it is faster than a minimum.
class Direction : public MotionSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Direction";
    static constexpr double DefaultHeading = 0;
    static constexpr double DefaultTolerance = 45;
    static constexpr double DefaultMinimumSpeed = 0.05;
    static auto DefaultArguments() { return std::tuple("Direction"); }

    explicit Direction(std::string name)
        : MotionSource(object::TypeIdOf<Direction>, std::move(name), "direction", meta::data::Zone::Shape::Polygon) {}

    /// In degrees, clockwise from up the picture.
    double GetHeading() const { return heading; }
    void SetHeading(double degrees) { heading = degrees; }
    double GetTolerance() const { return tolerance; }
    void SetTolerance(double degrees) { tolerance = degrees; }
    /// In heights of the picture per second.
    double GetMinimumSpeed() const { return minimumSpeed; }
    void SetMinimumSpeed(double speed) { minimumSpeed = speed; }

    static std::vector<property::Schema> MakeProperties();

private:
    bool HoldsAt(Movement const& velocity) const override {
        return velocity.GetLength() > minimumSpeed &&
               std::abs(std::remainder(velocity.GetHeading() - heading, FullTurn)) <= tolerance;
    }

    double heading = DefaultHeading;
    double tolerance = DefaultTolerance;
    double minimumSpeed = DefaultMinimumSpeed;
};

type::registry::detail::Scoped<Direction, type::Registry<registry::Info>> const registration(registry::Get());

std::vector<property::Schema> Direction::MakeProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Polygon);
    AddHoldProperties<ContinuingSource>(schemas);
    schemas.emplace_back(
        "heading", DefaultHeading, &Direction::SetHeading, &Direction::GetHeading, 0.0, FullTurn,
        "Where objects must be heading, in degrees: 0 is up the picture, 90 to the right, 180 down, 270 "
        "to the left");
    schemas.emplace_back("tolerance", DefaultTolerance, &Direction::SetTolerance, &Direction::GetTolerance, 0.0,
                         HalfTurn, "How many degrees their heading may be off to either side");
    schemas.emplace_back("minimum_speed", DefaultMinimumSpeed, &Direction::SetMinimumSpeed, &Direction::GetMinimumSpeed,
                         0.0, LargestMeasure,
                         "The speed above which they must be, in picture heights a second; slower ones head nowhere");
    AddMotionProperties(schemas);
    return properties::Make(std::move(schemas), true);
}

}  // namespace

}  // namespace qel::observable::spatial
