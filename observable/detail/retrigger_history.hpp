#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"

namespace qel::observable::detail {

/// The first occurrences of events within the retrigger time, in the order in which they came, asked whether one is
/// about the same as another event: made by the same observable (the first observable record) about the same set of
/// tracked objects. The answer is what a walk over all of them would give at that moment; its cost does not grow with
/// their number.
class RetriggerHistory {
public:
    void Record(meta::Timestamp time, std::shared_ptr<meta::data::Event const> event);
    /// Whether an event about the same has been recorded. An event that names no observable is about nothing.
    bool Contains(meta::data::Event const& event);
    /// Drops entries from the front, and no others, that are as old as `interval` or older.
    void Expire(meta::Timestamp now, std::chrono::milliseconds interval);

private:
    struct Key {
        unsigned int observable;
        std::vector<unsigned int> objects;  // ascending, each once

        friend bool operator==(Key const&, Key const&) = default;
    };
    struct Hash {
        std::size_t operator()(Key const& key) const;
    };
    using Table = std::unordered_map<Key, std::size_t, Hash>;  // how many of the entries have the key
    struct Entry {
        meta::Timestamp time;
        std::shared_ptr<meta::data::Event const> event;
        Table::value_type* counted = nullptr;  // where the table counts the entry; meant only while it covers it
    };

    static bool ReadKey(meta::data::Event const& event, Key& key);

    void TakeKeys();

    std::deque<Entry> entries;
    Table table;
    std::size_t covered = 0;  // how many of the entries, from the front, the table covers
    std::uint64_t keyChanges = 0;
    Key key;  // kept for its memory
};

}  // namespace qel::observable::detail
