#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
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
    struct Entry;
    using Table = std::unordered_multimap<std::size_t, Entry const*>;
    struct Entry {
        meta::Timestamp time;
        std::shared_ptr<meta::data::Event const> event;
        std::optional<Table::iterator> place = std::nullopt;  // meant only while the table covers the entry
    };

    static bool ReadKey(meta::data::Event const& event, Key& key);
    static std::size_t Hash(Key const& key);

    void TakeKeys();

    std::deque<Entry> entries;
    Table table;
    std::size_t keyed = 0;  // how many of the entries, from the front, the table covers
    std::uint64_t keyChanges = 0;
    Key asked;  // kept for their memory
    Key other;
};

}  // namespace qel::observable::detail
