#include "observable/detail/event_list.hpp"

#include <algorithm>
#include <utility>

#include "foundation/meta/key_changes.hpp"

namespace qel::observable::detail {

void EventList::Add(std::shared_ptr<meta::data::Event const> event) { events.push_back(std::move(event)); }

bool EventList::Contains(unsigned int id) {
    if (sortedIds.size() != events.size() || keyChanges != meta::KeyChanges()) {
        SortIds();
    }
    return std::binary_search(sortedIds.begin(), sortedIds.end(), id);
}

void EventList::Clear() {
    events.clear();
    sortedIds.clear();
}

void EventList::SortIds() {
    keyChanges = meta::KeyChanges();
    sortedIds.clear();
    sortedIds.reserve(events.size());
    for (auto const& event : events) {
        event->WatchKeys();
        sortedIds.push_back(event->GetId());
    }
    std::sort(sortedIds.begin(), sortedIds.end());
}

}  // namespace qel::observable::detail
