#include "plugins/spatial/presence.hpp"

#include <utility>

#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

namespace {

type::registry::detail::Scoped<Presence, type::Registry<registry::Info>> const registration(registry::Get());

}  // namespace

std::vector<property::Schema> Presence::MakeProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Polygon);
    AddHoldProperties<ContinuingSource>(schemas);
    return properties::Make(std::move(schemas), true);
}

Presence::Presence(std::string name)
    : ObjectSource(object::TypeIdOf<Presence>, std::move(name), "presence", meta::data::Zone::Shape::Polygon) {}

bool Presence::Holds(Sighting const& sighting, meta::Timestamp, meta::data::Zone const& zone) const {
    return Contains(zone.GetPoints(), sighting.anchor);
}

}  // namespace qel::observable::spatial
