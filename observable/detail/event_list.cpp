#include "observable/detail/event_list.hpp"

#include <utility>

#include "foundation/meta/key_changes.hpp"

namespace qel::observable::detail {

void EventList::Add(std::shared_ptr<meta::data::Event const> event) { events.push_back(std::move(event)); }

bool EventList::Contains(unsigned int id) {
    TakeIds();
    return ids.Find(id) != type::container::IdTable::None;
}

void EventList::Clear() {
    events.clear();
    ids.Clear();
    covered = 0;
}

void EventList::TakeIds() {
    if (std::uint64_t const now = meta::KeyChanges(); now != keyChanges) {
        ids.Clear();
        covered = 0;
        keyChanges = now;
    }
    for (; covered < events.size(); ++covered) {
        events[covered]->WatchKeys();
        ids.Set(events[covered]->GetId(), static_cast<std::uint32_t>(covered));
    }
}

}  // namespace qel::observable::detail
