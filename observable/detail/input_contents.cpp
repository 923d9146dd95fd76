#include "observable/detail/input_contents.hpp"

#include "foundation/meta/data/event.hpp"

namespace qel::observable::detail {

void InputContents::Read(Events const& eventsA, Events const& eventsB) {
    objects.Clear();
    eventOfObject.clear();
    zonesOfEvents.clear();
    zoneEnds.clear();
    Add(eventsA);
    objectsInA = objects.GetAdded();
    Add(eventsB);
    startedLaterInB = !eventsA.empty() && !eventsB.empty() && eventsB.back()->GetStart() > eventsA.back()->GetStart();
}

void InputContents::Add(Events const& events) {
    meta::data::Event const* previous = nullptr;
    for (auto const* event : events) {
        if (event == previous) {  // names its input twice
            continue;
        }
        previous = event;
        for (auto const& object : event->GetObjects()) {
            if (!object) {
                continue;
            }
            if (object->Is<meta::data::Object>()) {
                objects.Add(static_cast<meta::data::Object const&>(*object));
                eventOfObject.push_back(zoneEnds.size());
            } else if (object->Is<meta::data::Zone>()) {
                zonesOfEvents.push_back(static_cast<meta::data::Zone const*>(object.get()));
            }
        }
        zoneEnds.push_back(zonesOfEvents.size());
    }
}

InputContents::Objects const& InputContents::GetObjects() {
    objects.KeepFirst();
    return objects;
}

InputContents::Zones const& InputContents::GetZones() {
    zones.Clear();
    for (auto const* zone : zonesOfEvents) {
        zones.Add(*zone);
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
    std::size_t next = 0;  // an event may hold an object twice
    for (Key const key : occurrences) {
        std::size_t const event = eventOfObject[Objects::PlaceOf(key)];
        if (event < next) {
            continue;
        }
        next = event + 1;
        for (std::size_t zone = event == 0 ? 0 : zoneEnds[event - 1]; zone < zoneEnds[event]; ++zone) {
            zones.Add(*zonesOfEvents[zone]);
        }
    }
    zones.KeepFirst();
    return zones;
}

}  // namespace qel::observable::detail
