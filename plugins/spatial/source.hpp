#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/property/schema.hpp"
#include "observable/observable.hpp"
#include "plugins/spatial/geometry.hpp"

namespace qel::observable::spatial {

using Events = std::vector<std::shared_ptr<object::Object>>;

/// An object of the frame and the point that stands for it.
struct Sighting {
    std::shared_ptr<meta::data::Object const> object;
    Point anchor;
};

/// What all types of this family share: they look at the tracked objects of a frame in relation to one zone of it.
///
/// Which objects count is set by their class and the confidence in them; where an object is, by one point of its box.
/// Times are frame times. No locks: the notifier serialises the calls.
class Source : public Observable {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.Source";
    static constexpr char const* DefaultAnchor = "bottom_center";

    std::uint32_t GetZone() const { return zone; }
    void SetZone(std::uint32_t id) { zone = id; }

    /// Classifications, separated by commas, blanks around them dropped; empty for all.
    std::string GetClasses() const { return classes; }
    void SetClasses(std::string list);

    /// From 0 to 1; an object of just this confidence counts.
    double GetMinimumConfidence() const { return minimumConfidence; }
    void SetMinimumConfidence(double confidence) { minimumConfidence = confidence; }

    /// "bottom_center", "center" or "top_center"; anything else is a `std::invalid_argument`.
    std::string GetAnchor() const { return anchor; }
    static std::vector<std::string> GetAnchors();
    void SetAnchor(std::string name);

protected:
    /// `kind` is the type text of the events; `type` the id of the class.
    Source(hash::MurmurThree32 type, std::string name, char const* kind, meta::data::Zone::Shape shape);

    /// The first record in the frame of a zone of this id and of the right shape; null when there is none.
    std::shared_ptr<meta::data::Zone const> FindZone(meta::Meta const& frame) const;

    /// The objects of the frame that count, the first of each id, in ascending order of ids. An object that is nowhere,
    /// because a number of its box is not finite, does not count.
    std::vector<Sighting> FindObjects(meta::Meta const& frame) const;

    /// An event of this observable about objects in its zone, with a new id or as a continuation.
    std::shared_ptr<meta::data::Event> MakeEvent(std::optional<unsigned int> id, meta::Timestamp start,
                                                 meta::Timestamp end, std::vector<Sighting> const& objects,
                                                 std::shared_ptr<meta::data::Zone const> const& zoneRecord);

private:
    bool Counts(meta::data::Object const& object) const;
    Point AnchorOf(meta::data::Box const& box) const;

    char const* const kind;
    meta::data::Zone::Shape const shape;
    std::uint32_t zone = UnsetId;
    std::string classes;
    std::vector<std::string> classNames;
    double minimumConfidence = 0;
    std::string anchor;
    double anchorHeight;
    std::shared_ptr<meta::data::Event::Texts const> texts;
};

}  // namespace qel::observable::spatial
