#include "plugins/spatial/continuing_source.hpp"

#include <algorithm>
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
    next.clear();  // a frame may have failed
    latestZone.reset();
}

Events ObjectSource::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    auto const zone = FindZone(frame);
    auto const objects = FindObjects(frame);
    MakeRoom(objects);
    Look(objects, now, zone.get());
    Events events;
    for (auto& each : next) {
        Advance(each, now);
        if (auto* const stay = StayOf(each); stay != nullptr && stay->episode.IsReported()) {
            events.push_back(Continue(stay->episode, {each.latest}, zone ? zone : latestZone));
        }
    }

    std::erase_if(next, [](Tracked& each) { return StayOf(each) == nullptr; });
    tracked.swap(next);
    next.clear();
    if (tracked.empty()) {
        latestZone.reset();
    } else if (zone) {
        latestZone = zone;
    }
    See(objects, now);
    return events;
}

void ObjectSource::MakeRoom(std::vector<Sighting> const&) {}

void ObjectSource::See(std::vector<Sighting> const&, meta::Timestamp) noexcept {}

/// Puts into `next` the objects that were tracked and those for which the condition holds.
void ObjectSource::Look(std::vector<Sighting> const& objects, meta::Timestamp now, meta::data::Zone const* zone) {
    next.clear();
    next.reserve(tracked.size() + objects.size());
    auto known = tracked.begin();
    auto const keepUpTo = [&](auto const& end) {
        for (; known != end; ++known) {
            next.push_back(*known);
            next.back().holds = false;
        }
    };
    for (auto const& sighting : objects) {
        unsigned int const id = sighting.object->GetId();
        keepUpTo(std::find_if(known, tracked.end(), [id](Tracked const& each) { return each.id >= id; }));
        bool const holds = zone != nullptr && Holds(sighting, now, *zone);
        if (known != tracked.end() && known->id == id) {
            next.push_back({id, sighting, known->current, known->left, holds});
            ++known;
        } else if (holds) {
            next.push_back({id, sighting, {}, {}});
        }
    }
    keepUpTo(tracked.end());
}

bool ObjectSource::GoesOn(Point, Point) const { return true; }

bool ObjectSource::HasLasted(meta::Elapsed) const { return true; }

void ObjectSource::Advance(Tracked& object, meta::Timestamp now) const {
    auto& [id, latest, current, left, holds] = object;
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

ObjectSource::Stay* ObjectSource::StayOf(Tracked& object) {
    auto& stay = object.left ? object.left : object.current;
    return stay ? &*stay : nullptr;
}

}  // namespace qel::observable::spatial
