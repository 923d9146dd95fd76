#include "observable/detail/ongoing_events.hpp"

#include <algorithm>
#include <utility>

#include "foundation/meta/key_changes.hpp"

namespace qel::observable::detail {

using type::container::IdTable;

bool OngoingEvents::Continues(unsigned int id) {
    ReadPreviousIds();
    auto const place = FindPrevious(id);
    if (place == IdTable::None) {
        // New ids ascend as they are drawn; of others, one may come twice.
        current.distinct = current.distinct && id > highestNew;
        highestNew = std::max(highestNew, id);
        return false;
    }
    auto& found = previous.entries[place].found;
    current.distinct = current.distinct && previous.distinct && !found;
    found = true;
    return true;
}

void OngoingEvents::Advance() {
    std::swap(previous, current);
    highest = 0;
    for (auto const& entry : previous.entries) {
        highest = std::max(highest, entry.id);
    }
    BeginFrame();
}

void OngoingEvents::Abandon() {
    for (auto& entry : previous.entries) {
        entry.found = false;
    }
    BeginFrame();
}

void OngoingEvents::BeginFrame() {
    current.Clear();
    highestNew = 0;
    next = 0;
    foundGoOn = true;
}

/// Reads the ids of the last frame again if any may have changed.
void OngoingEvents::ReadPreviousIds() {
    std::uint64_t const now = meta::KeyChanges();
    if (now == previous.keyChanges) {
        return;
    }
    previous.keyChanges = now;
    for (auto& entry : previous.entries) {
        if (entry.event->GetId() != entry.id) {
            entry.id = entry.event->GetId();
            highest = std::max(highest, entry.id);
            previous.havePlaces = false;
            previous.distinct = false;
            current.distinct = false;
            foundGoOn = false;
        }
    }
}

/// Reads the ids of both frames as they are now. Whether exactly those events go on that have been found.
bool OngoingEvents::ReadIds() {
    ReadPreviousIds();
    current.keyChanges = meta::KeyChanges();
    bool changed = false;
    for (auto& entry : current.entries) {
        entry.event->WatchKeys();
        changed = changed || entry.event->GetId() != entry.id;
        entry.id = entry.event->GetId();
    }
    current.distinct = current.distinct && !changed;
    current.havePlaces = current.havePlaces && !changed;
    return foundGoOn && previous.distinct && !changed;
}

/// Nearly all that do not go on are new, with an id above all others: these need no table either.
std::uint32_t OngoingEvents::FindPrevious(unsigned int id) {
    constexpr std::size_t near = 4;  // of the events before it some have ended
    auto const& entries = previous.entries;
    std::size_t const end = std::min(next + near, entries.size());
    for (std::size_t place = next; place < end; ++place) {
        if (entries[place].id == id) {
            next = place + 1;
            return static_cast<std::uint32_t>(place);
        }
    }
    if (id > highest) {
        return IdTable::None;
    }
    auto const place = previous.PlaceOf(id);
    if (place != IdTable::None) {
        next = place + 1;
    }
    return place;
}

std::uint32_t OngoingEvents::List::PlaceOf(unsigned int id) {
    if (!havePlaces) {
        places.Clear();
        bool once = true;
        for (std::size_t place = 0; place < entries.size(); ++place) {
            once = once && places.Find(entries[place].id) == IdTable::None;
            places.Set(entries[place].id, static_cast<std::uint32_t>(place));
        }
        distinct = once;
        havePlaces = true;
    }
    return places.Find(id);
}

void OngoingEvents::List::Clear() {
    entries.clear();
    distinct = true;
    havePlaces = false;
}

}  // namespace qel::observable::detail
