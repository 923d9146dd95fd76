#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/type/container/id_table.hpp"

namespace qel::observable::detail {

/// The events of one frame in their order, asked whether one with a given id is among them. The answer is what a walk
/// over the list would give at that moment; its cost does not grow with the list.
class EventList {
public:
    void Add(std::shared_ptr<meta::data::Event const> event);
    bool Contains(unsigned int id);
    void Clear();

    std::vector<std::shared_ptr<meta::data::Event const>> const& GetEvents() const { return events; }

private:
    void TakeIds();

    std::vector<std::shared_ptr<meta::data::Event const>> events;
    type::container::IdTable ids;
    std::size_t covered = 0;  // how many of the events, from the front, the table covers
    std::uint64_t keyChanges = 0;
};

}  // namespace qel::observable::detail
