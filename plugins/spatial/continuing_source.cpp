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
    auto objects = FindObjects(frame);
    See(objects, now);
    for (auto& [id, each] : tracked) {
        each.holds = false;
    }
    for (auto& sighting : objects) {
        unsigned int const id = sighting.object->GetId();
        bool const holds = zone && Holds(sighting, *zone);
        if (auto const known = tracked.find(id); known != tracked.end()) {
            known->second.latest = std::move(sighting);
            known->second.holds = holds;
        } else if (holds) {
            tracked.emplace(id, Tracked{std::move(sighting), {}, {}});
        }
    }

    Events events;
    for (auto at = tracked.begin(); at != tracked.end();) {
        auto& each = at->second;
        Advance(each, now);
        auto& stay = each.left ? each.left : each.current;
        if (!stay) {
            at = tracked.erase(at);
            continue;
        }
        if (stay->episode.IsReported()) {
            events.push_back(Continue(stay->episode, {each.latest}, latestZone));
        }
        ++at;
    }
    if (tracked.empty()) {
        latestZone.reset();
    }
    return events;
}

void ObjectSource::See(std::vector<Sighting> const&, meta::Timestamp) {}

bool ObjectSource::GoesOn(Point, Point) const { return true; }

bool ObjectSource::HasLasted(meta::Elapsed) const { return true; }

void ObjectSource::Advance(Tracked& object, meta::Timestamp now) const {
    auto& [latest, current, left, holds] = object;
    if (left && !left->episode.Pause(now, GetTimes())) {
        left.reset();
    }
    if (current && !(holds && GoesOn(current->onset, latest.anchor))) {
        if (current->episode.Pause(now, GetTimes())) {
            left = current;
        }
        current.reset();
    }
    if (!holds) {
        return;
    }
    if (left && GoesOn(left->onset, latest.anchor)) {
        current = left;
        left.reset();
    }
    if (!current) {
        current = Stay{latest.anchor, Episode(now)};
    }
    bool const mayBegin = !left && HasLasted(meta::Elapsed(current->episode.GetOnset(), now));
    current->episode.Hold(now, GetTimes(), mayBegin);
}

}  // namespace qel::observable::spatial
