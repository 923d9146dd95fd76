#include "observable/detail/input_contents.hpp"

#include <algorithm>

#include "foundation/meta/data/event.hpp"

namespace qel::observable::detail {

void InputContents::Read(Events const& eventsA, Events const& eventsB) {
    objects.Clear();
    eventOfObject.clear();
    heldZones.clear();
    events = 0;
    Add(eventsA);
    objectsInA = objects.GetAdded();
    Add(eventsB);
    startedLaterInB = !eventsA.empty() && !eventsB.empty() && eventsB.back()->GetStart() > eventsA.back()->GetStart();
}

void InputContents::Add(Events const& found) {
    for (auto const* event : found) {  // twice, if it names its input twice
        for (auto const& object : event->GetObjects()) {
            if (!object) {
                continue;
            }
            if (object->Is<meta::data::Object>()) {
                objects.Add(static_cast<meta::data::Object const&>(*object));
                eventOfObject.push_back(events);
            } else if (object->Is<meta::data::Zone>()) {
                heldZones.push_back({events, static_cast<meta::data::Zone const*>(object.get())});
            }
        }
        ++events;
    }
}

InputContents::Objects const& InputContents::GetObjects() {
    objects.KeepFirst();
    return objects;
}

InputContents::Zones const& InputContents::GetZones() {
    zones.Clear();
    for (auto const& held : heldZones) {
        zones.Add(*held.zone);
    }
    zones.KeepFirst();
    return zones;
}

meta::data::Object const& InputContents::Choose(Occurrences occurrences, bool inBoth) const {
    auto chosen = occurrences.begin();
    if (inBoth && startedLaterInB) {
        chosen = std::find_if(chosen, occurrences.end(), [this](Key key) { return !IsInA(key); });
    }
    return objects[*chosen];
}

InputContents::Zones const& InputContents::GatherZones(Occurrences occurrences) {
    zones.Clear();
    if (heldZones.empty()) {
        return zones;
    }
    auto held = heldZones.cbegin();
    for (Key const key : occurrences) {
        std::uint32_t const event = eventOfObject[Objects::PlaceOf(key)];
        held = std::lower_bound(held, heldZones.cend(), event,
                                [](HeldZone const& each, std::uint32_t wanted) { return each.event < wanted; });
        for (; held != heldZones.cend() && held->event == event; ++held) {  // once, if it holds the object twice
            zones.Add(*held->zone);
        }
    }
    zones.KeepFirst();
    return zones;
}

}  // namespace qel::observable::detail
