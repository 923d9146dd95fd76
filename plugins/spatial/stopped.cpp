#include <chrono>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/continuing_source.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

namespace {

/// Reports every object in the zone that has stayed within a distance of one point for strictly longer than a duration.
///
/// The point is where the object was at the onset, and the event starts there, before the duration ran out. An anchor
/// beyond the distance begins a new onset at that anchor. Before the event has started a gap, be it an absence or a
/// step out of the zone, starts the onset anew as well. Once it has started, an object that is back within the distance
/// of the point before the gap is too long goes on with it; one that rests elsewhere meanwhile has an event of its own
/// when the gap has become too long.
class Stopped : public ObjectSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Stopped";
    static constexpr double DefaultDistance = 0.05;
    static constexpr std::chrono::seconds DefaultDuration{10};
    static auto DefaultArguments() { return std::tuple("Stopped"); }

    explicit Stopped(std::string name)
        : ObjectSource(object::TypeIdOf<Stopped>, std::move(name), "stopped", meta::data::Zone::Shape::Polygon) {}

    /// In heights of the picture.
    double GetDistance() const { return distance; }
    void SetDistance(double length) { distance = length; }
    std::chrono::milliseconds GetDuration() const { return duration; }
    void SetDuration(std::chrono::milliseconds time) { duration = time; }
    /// The width of the picture over its height.
    double GetAspect() const { return aspect; }
    void SetAspect(double ratio) { aspect = ratio; }

    static std::vector<property::Schema> MakeProperties();

private:
    bool Holds(Sighting const& sighting, meta::Timestamp, meta::data::Zone const& zone) const override {
        return Contains(zone.GetPoints(), sighting.anchor);
    }
    bool GoesOn(Point onset, Point anchor) const override {
        return Between(onset, anchor, aspect).GetLength() <= distance;
    }
    bool HasLasted(meta::Elapsed sinceOnset) const override { return sinceOnset > duration; }

    double distance = DefaultDistance;
    std::chrono::milliseconds duration = DefaultDuration;
    double aspect = DefaultAspect;
};

type::registry::detail::Scoped<Stopped, type::Registry<registry::Info>> const registration(registry::Get());

std::vector<property::Schema> Stopped::MakeProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Polygon);
    AddHoldProperties<ContinuingSource>(schemas);
    schemas.emplace_back("distance", DefaultDistance, &Stopped::SetDistance, &Stopped::GetDistance, 0.0, LargestMeasure,
                         "How far from where it stopped an object may be, in picture heights; farther away it has "
                         "stopped anew");
    schemas.emplace_back("duration", DefaultDuration, &Stopped::SetDuration, &Stopped::GetDuration, NoTime, LongestTime,
                         "The milliseconds for longer than which an object must stay there without a gap");
    AddAspectProperty<Stopped>(schemas);
    return properties::Make(std::move(schemas), true);
}

}  // namespace

}  // namespace qel::observable::spatial
