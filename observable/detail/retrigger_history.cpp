#include "observable/detail/retrigger_history.hpp"

#include <algorithm>
#include <utility>

#include <boost/container_hash/hash.hpp>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/elapsed.hpp"
#include "foundation/meta/key_changes.hpp"

namespace qel::observable::detail {

void RetriggerHistory::Record(meta::Timestamp time, std::shared_ptr<meta::data::Event const> event) {
    entries.push_back({time, std::move(event)});
}

bool RetriggerHistory::Contains(meta::data::Event const& event) {
    TakeKeys();
    return ReadKey(event, key) && table.find(key) != table.end();
}

void RetriggerHistory::Expire(meta::Timestamp now, std::chrono::milliseconds interval) {
    while (!entries.empty() && meta::Elapsed(entries.front().time, now) >= interval) {
        if (covered > 0) {
            Table::value_type* const counted = entries.front().counted;
            if (counted && --counted->second == 0) {
                table.erase(table.find(counted->first));
            }
            --covered;
        }
        entries.pop_front();
    }
}

bool RetriggerHistory::ReadKey(meta::data::Event const& event, Key& key) {
    bool named = false;
    key.objects.clear();
    for (auto const& object : event.GetObjects()) {
        if (!object) {
            continue;
        }
        if (object->Is<meta::data::Object>()) {
            key.objects.push_back(static_cast<meta::data::Object const&>(*object).GetId());
        } else if (!named && object->Is<meta::data::Observable>()) {
            key.observable = static_cast<meta::data::Observable const&>(*object).GetId();
            named = true;
        }
    }
    std::sort(key.objects.begin(), key.objects.end());
    key.objects.erase(std::unique(key.objects.begin(), key.objects.end()), key.objects.end());
    return named;
}

std::size_t RetriggerHistory::Hash::operator()(Key const& key) const {
    std::size_t hash = key.observable;
    boost::hash_range(hash, key.objects.begin(), key.objects.end());
    return hash;
}

void RetriggerHistory::TakeKeys() {
    if (std::uint64_t const now = meta::KeyChanges(); now != keyChanges) {
        table.clear();
        covered = 0;
        keyChanges = now;
    }
    for (; covered < entries.size(); ++covered) {
        Entry& entry = entries[covered];
        entry.event->WatchKeys();
        entry.counted = nullptr;
        if (ReadKey(*entry.event, key)) {
            entry.counted = &*table.try_emplace(key, 0).first;
            ++entry.counted->second;
        }
    }
}

}  // namespace qel::observable::detail
