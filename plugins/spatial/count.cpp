#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
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

/// Reports that the number of objects in the zone lies between two bounds, with one event for the scene that carries
/// the objects; through a gap, those of the last frame in which the number was right. When a frame fails, it is as if
/// it had not been.
class Count : public ContinuingSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Count";
    static constexpr std::uint32_t DefaultMinimum = 1;
    static constexpr std::uint32_t DefaultMaximum = std::numeric_limits<std::uint32_t>::max();
    static auto DefaultArguments() { return std::tuple("Count"); }

    explicit Count(std::string name)
        : ContinuingSource(object::TypeIdOf<Count>, std::move(name), "count", meta::data::Zone::Shape::Polygon) {}

    std::uint32_t GetMinimum() const { return minimum; }
    void SetMinimum(std::uint32_t number) { minimum = number; }
    std::uint32_t GetMaximum() const { return maximum; }
    void SetMaximum(std::uint32_t number) { maximum = number; }

    static std::vector<property::Schema> MakeProperties();

    void Reset() override { scene.reset(); }
    Events Process(meta::Meta const& frame) override;

private:
    /// What was there when the number was right last.
    struct Scene {
        Episode episode;
        std::vector<Sighting> counted;
        std::shared_ptr<meta::data::Zone const> zone;
    };

    std::uint32_t minimum = DefaultMinimum;
    std::uint32_t maximum = DefaultMaximum;
    std::optional<Scene> scene;
};

type::registry::detail::Scoped<Count, type::Registry<registry::Info>> const registration(registry::Get());

std::vector<property::Schema> Count::MakeProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Polygon);
    AddHoldProperties<ContinuingSource>(schemas);
    schemas.emplace_back("minimum", DefaultMinimum, &Count::SetMinimum, &Count::GetMinimum,
                         "The least number of objects in the zone");
    schemas.emplace_back("maximum", DefaultMaximum, &Count::SetMaximum, &Count::GetMaximum,
                         "The greatest number of objects in the zone");
    return properties::Make(std::move(schemas), true);
}

Events Count::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    auto zone = FindZone(frame);
    std::vector<Sighting> inside;
    if (zone) {
        inside = FindObjects(frame);
        std::erase_if(inside, [&](Sighting const& each) { return !Contains(zone->GetPoints(), each.anchor); });
    }
    bool const isRight = zone && inside.size() >= minimum && inside.size() <= maximum;
    auto episode = scene ? std::optional(scene->episode) : std::nullopt;
    if (isRight) {
        episode = episode.value_or(Episode(now));
        episode->Hold(now, GetTimes());
    } else if (episode && !episode->Pause(now, GetTimes())) {
        episode.reset();
    }
    Events events;
    if (episode && episode->IsReported()) {
        events.push_back(isRight ? Continue(*episode, inside, zone) : Continue(*episode, scene->counted, scene->zone));
    }

    if (!episode) {
        scene.reset();
    } else if (isRight) {
        scene = Scene{*episode, std::move(inside), std::move(zone)};
    } else {
        scene->episode = *episode;
    }
    return events;
}

}  // namespace

}  // namespace qel::observable::spatial
