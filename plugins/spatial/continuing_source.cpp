#include "plugins/spatial/continuing_source.hpp"

#include <utility>

namespace qel::observable::spatial {

std::shared_ptr<meta::data::Event> ContinuingSource::Continue(Episode& episode, std::vector<Sighting> const& objects,
                                                              std::shared_ptr<meta::data::Zone const> const& zone) {
    auto event = MakeEvent(episode.eventId, episode.GetOnset(), episode.GetLastHeld(), objects, zone);
    episode.eventId = event->GetId();
    return event;
}

void ObjectSource::Reset() {
    tracked.clear();
    latestZone.reset();
}

Events ObjectSource::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    auto const zone = FindZone(frame);
    if (zone) {
        latestZone = zone;
    }
    for (auto& [id, each] : tracked) {
        each.holds = false;
    }
    for (auto& sighting : FindObjects(frame)) {
        auto const known = tracked.find(sighting.object->GetId());
        bool const holds = zone && Holds(sighting, *zone);
        if (known != tracked.end()) {
            known->second.latest = std::move(sighting);
            known->second.holds = holds;
        } else if (holds) {
            unsigned int const id = sighting.object->GetId();
            tracked.emplace(id, Tracked{Episode(now), std::move(sighting)});
        }
    }

    Events events;
    for (auto at = tracked.begin(); at != tracked.end();) {
        auto& [episode, latest, holds] = at->second;
        if (holds) {
            episode.Hold(now, GetTimes());
        } else if (!episode.Pause(now, GetTimes())) {
            at = tracked.erase(at);
            continue;
        }
        if (episode.IsReported()) {
            events.push_back(Continue(episode, {latest}, latestZone));
        }
        ++at;
    }
    return events;
}

}  // namespace qel::observable::spatial
