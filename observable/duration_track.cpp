#include "observable/duration_track.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/elapsed.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/type/pimpl.hpp"
#include "observable/detail/shared_texts.hpp"

namespace qel::observable {

namespace {

using Items = std::vector<std::shared_ptr<object::Object>>;

/// A tracked object in an event of the current frame.
struct Sighting {
    unsigned int id;
    meta::data::Event const* event;
};

struct Tracked {
    unsigned int id;
    meta::Timestamp firstSeen;
    bool isNew = true;
    std::optional<unsigned int> eventId = {};

    friend bool operator<(Tracked const& left, Tracked const& right) { return left.id < right.id; }
    friend bool operator==(Tracked const& left, Tracked const& right) { return left.id == right.id; }
};

/// Finds by id in a sorted list; quick when the ids are asked for in the list's order.
class Finder {
public:
    explicit Finder(std::vector<Tracked>& sorted) : sorted(sorted), next(sorted.begin()) {}

    Tracked& Find(unsigned int id) {
        if (next == sorted.end() || next->id != id) {
            next = std::lower_bound(sorted.begin(), sorted.end(), Tracked{id, {}});
        }
        return *next++;
    }

private:
    std::vector<Tracked>& sorted;
    std::vector<Tracked>::iterator next;
};

}  // namespace

class DurationTrack::Impl {
public:
    Impl(DurationTrack const& owner, std::chrono::milliseconds duration) : owner(owner), duration(duration) {}

    Items TrackObjects(Items const& input, meta::Timestamp now);

    DurationTrack const& owner;
    std::chrono::milliseconds duration;
    std::vector<Tracked> tracked;  // what the last frame saw, by ascending id

private:
    std::vector<Sighting> Look(Items const& input) const;
    std::vector<Tracked> Recognise(std::vector<Sighting> const& sightings, meta::Timestamp now) const;
    std::shared_ptr<meta::data::Event> Report(Sighting const& sighting, Tracked& object, meta::Timestamp now);

    detail::SharedTexts texts;
};

Items DurationTrack::Impl::TrackObjects(Items const& input, meta::Timestamp now) {
    Items result;
    auto const sightings = Look(input);
    auto seen = Recognise(sightings, now);
    Finder finder(seen);
    for (auto const& sighting : sightings) {
        auto& object = finder.Find(sighting.id);
        if (!std::exchange(object.isNew, false) && meta::Elapsed(object.firstSeen, now) > duration) {
            result.push_back(Report(sighting, object, now));
        }
    }
    tracked = std::move(seen);
    return result;
}

std::vector<Sighting> DurationTrack::Impl::Look(Items const& input) const {
    std::vector<Sighting> sightings;
    sightings.reserve(input.size());
    for (auto const& item : input) {
        if (!item || !item->Is<meta::data::Event>()) {
            continue;
        }
        auto const& event = item->As<meta::data::Event>();
        for (auto const& object : meta::ObjectsOf(event)) {
            if (owner.IsTracked(object)) {
                sightings.push_back({object.GetId(), &event});
            }
        }
    }
    return sightings;
}

/// Every object seen, once, by ascending id: as it was known, or new.
std::vector<Tracked> DurationTrack::Impl::Recognise(std::vector<Sighting> const& sightings, meta::Timestamp now) const {
    std::vector<Tracked> seen;
    seen.reserve(sightings.size());
    for (auto const& sighting : sightings) {
        seen.push_back({sighting.id, now});
    }
    if (!std::is_sorted(seen.begin(), seen.end())) {
        std::sort(seen.begin(), seen.end());
    }
    seen.erase(std::unique(seen.begin(), seen.end()), seen.end());

    auto known = tracked.begin();
    for (auto& object : seen) {
        known = std::find_if(known, tracked.end(), [&](Tracked const& each) { return !(each < object); });
        if (known != tracked.end() && *known == object) {
            object = *known;
        }
    }
    return seen;
}

std::shared_ptr<meta::data::Event> DurationTrack::Impl::Report(Sighting const& sighting, Tracked& object,
                                                               meta::Timestamp now) {
    auto const& cause = sighting.event->GetObjects();
    meta::data::Event::Objects objects;
    objects.reserve(cause.size() + 1);
    objects.push_back(owner.MakeTrackRecord());
    objects.insert(objects.end(), cause.begin(), cause.end());
    auto const& shared = texts.Get(owner.GetTrackName(), owner.GetTrackType(), owner.GetTrackCategory());
    if (object.eventId) {
        return std::make_shared<meta::data::Event>(*object.eventId, shared, now, now, std::move(objects));
    }
    auto event = std::make_shared<meta::data::Event>(shared, now, now, std::move(objects));
    object.eventId = event->GetId();
    return event;
}

DurationTrack::DurationTrack(std::chrono::milliseconds duration) : impl(std::make_unique<Impl>(*this, duration)) {}

DurationTrack::~DurationTrack() = default;

std::chrono::milliseconds DurationTrack::GetDuration() const { return type::Deref(impl).duration; }

void DurationTrack::SetDuration(std::chrono::milliseconds duration) { type::Deref(impl).duration = duration; }

void DurationTrack::ResetDurationTrack() { type::Deref(impl).tracked.clear(); }

Items DurationTrack::TrackObjects(Items const& input, meta::Timestamp now) {
    return type::Deref(impl).TrackObjects(input, now);
}

}  // namespace qel::observable
