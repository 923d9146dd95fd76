#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "plugins/spatial/continuing_source.hpp"

namespace qel::observable::spatial {

/// Reports every object whose anchor is inside the zone or on its boundary.
class Presence : public ObjectSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Presence";
    static auto DefaultArguments() { return std::tuple("Presence"); }

    explicit Presence(std::string name);

    static std::vector<property::Schema> MakeProperties();

private:
    bool Holds(Sighting const& sighting, meta::Timestamp, meta::data::Zone const& zone) const override;
};

}  // namespace qel::observable::spatial
