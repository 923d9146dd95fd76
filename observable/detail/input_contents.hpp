#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/meta.hpp"
#include "observable/detail/by_id.hpp"

namespace qel::observable::detail {

/// The tracked objects and the zones in the events of two inputs, as pointers into the events: good for as long as
/// these stay unchanged. Read anew for every frame; kept for its memory.
class InputContents {
public:
    using Events = meta::detail::FoundEvents;
    using Objects = ById<meta::data::Object>;
    using Zones = ById<meta::data::Zone>;

    void Read(Events const& eventsA, Events const& eventsB);

    /// Every tracked object once, by id: the first in the events of A and then of B.
    Objects const& GetObjects();
    /// Every zone once, in the same way.
    Zones const& GetZones();

    /// Calls `take(target, zones)` for every tracked object of either input (or only for those of both) by id, with the
    /// zones of the events that hold it.
    ///
    /// Of an object in both inputs, `target` is the copy in A when either is enough; when both are needed, the copy in
    /// the input whose last event started later, or in A.
    template <class Take>
    void ForEachTarget(bool inBoth, Take const& take) {
        objects.Sort();
        Key const* const end = objects.GetKeys().data() + objects.GetKeys().size();
        for (Key const* first = objects.GetKeys().data(); first != end;) {
            Key const* const next =
                std::find_if(first, end, [id = Objects::IdOf(*first)](Key key) { return Objects::IdOf(key) != id; });
            Occurrences const occurrences(first, next);
            if (!inBoth || IsInBoth(occurrences)) {
                take(Choose(occurrences, inBoth), GatherZones(occurrences));
            }
            first = next;
        }
    }

private:
    using Key = Objects::Key;
    /// The keys of one id in `objects`, those of A before those of B.
    using Occurrences = std::span<Key const>;

    void Add(Events const& events);
    bool IsInA(Key key) const { return Objects::PlaceOf(key) < objectsInA; }
    bool IsInBoth(Occurrences occurrences) const { return IsInA(occurrences.front()) && !IsInA(occurrences.back()); }
    meta::data::Object const& Choose(Occurrences occurrences, bool inBoth) const;
    Zones const& GatherZones(Occurrences occurrences);

    /// A zone, and the event that it is in by its place among those of both inputs.
    struct HeldZone {
        std::uint32_t event;
        meta::data::Zone const* zone;
    };

    Objects objects;
    std::vector<std::uint32_t> eventOfObject;  // by place in `objects`
    std::size_t objectsInA = 0;
    std::vector<HeldZone> heldZones;  // by event
    std::uint32_t events = 0;
    bool startedLaterInB = false;
    Zones zones;
};

}  // namespace qel::observable::detail
