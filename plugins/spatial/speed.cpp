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

/// Reports every object in the zone whose speed is above a minimum and below a maximum.
class Speed : public MotionSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Speed";
    static constexpr double DefaultMinimum = 0.5;
    static constexpr double DefaultMaximum = LargestMeasure;
    static auto DefaultArguments() { return std::tuple("Speed"); }

    explicit Speed(std::string name)
        : MotionSource(object::TypeIdOf<Speed>, std::move(name), "speed", meta::data::Zone::Shape::Polygon) {}

    // In heights of the picture per second.
    double GetMinimum() const { return minimum; }
    void SetMinimum(double speed) { minimum = speed; }
    double GetMaximum() const { return maximum; }
    void SetMaximum(double speed) { maximum = speed; }

    static std::vector<property::Schema> MakeProperties();

private:
    bool HoldsAt(Movement const& velocity) const override {
        double const speed = velocity.GetLength();
        return speed > minimum && speed < maximum;
    }

    double minimum = DefaultMinimum;
    double maximum = DefaultMaximum;
};

type::registry::detail::Scoped<Speed, type::Registry<registry::Info>> const registration(registry::Get());

std::vector<property::Schema> Speed::MakeProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Polygon);
    AddHoldProperties<ContinuingSource>(schemas);
    schemas.emplace_back("minimum", DefaultMinimum, &Speed::SetMinimum, &Speed::GetMinimum, 0.0, LargestMeasure,
                         "The speed above which an object must be, in picture heights a second; people walk at about "
                         "0.2 through a picture in which they fill a quarter of the height");
    schemas.emplace_back("maximum", DefaultMaximum, &Speed::SetMaximum, &Speed::GetMaximum, 0.0, LargestMeasure,
                         "The speed below which it must be, in picture heights a second; no bound unless set");
    AddMotionProperties(schemas);
    return properties::Make(std::move(schemas), true);
}

}  // namespace

}  // namespace qel::observable::spatial
