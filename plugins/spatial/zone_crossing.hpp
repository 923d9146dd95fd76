#pragma once

#include <string>
#include <vector>

#include "plugins/spatial/path_source.hpp"

namespace qel::observable::spatial {

/// What Enter and Exit share: the two sides of a zone.
class ZoneCrossing : public PathSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.ZoneCrossing";

    /// Whether a movement that crosses the zone with both of its ends outside tells, when the outside was settled.
    bool GetByPath() const { return byPath; }
    void SetByPath(bool value) { byPath = value; }

protected:
    static constexpr Side Inside = 1;
    static constexpr Side Outside = 2;

    /// `reported` is the side whose settling is told.
    ZoneCrossing(hash::MurmurThree32 type, std::string name, char const* kind, Side reported);

    static std::vector<property::Schema> MakeCrossingProperties();

private:
    Step Move(Path& path, Point to, meta::data::Zone const& zone) const override;

    Side const reported;
    bool byPath = false;
};

}  // namespace qel::observable::spatial
