#include "plugins/spatial/zone_crossing.hpp"

#include <utility>

#include "observable/properties/make.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

ZoneCrossing::ZoneCrossing(hash::MurmurThree32 type, std::string name, char const* kind, Side reported)
    : PathSource(type, std::move(name), kind, meta::data::Zone::Shape::Polygon), reported(reported) {}

std::vector<property::Schema> ZoneCrossing::MakeCrossingProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Polygon);
    AddSettleProperty(schemas);
    schemas.emplace_back("by_path", false, &ZoneCrossing::SetByPath, &ZoneCrossing::GetByPath,
                         "Whether a movement across the zone counts that is outside in both of its frames");
    return properties::Make(std::move(schemas), true);
}

PathSource::Step ZoneCrossing::Move(Path& path, Point to, meta::data::Zone const& zone) const {
    auto const& polygon = zone.GetPoints();
    Side const side = Contains(polygon, to) ? Inside : Outside;
    // The polygon may have changed since the last frame: both ends must be outside of this one.
    bool const through = byPath && side == Outside && path.side == Outside && !Contains(polygon, path.anchor) &&
                         Meets(polygon, path.anchor, to);
    return {.side = side, .isReported = side == reported, .isOccurrence = through, .interruptsStay = through};
}

}  // namespace qel::observable::spatial
