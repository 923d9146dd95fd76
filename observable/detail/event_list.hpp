#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "foundation/meta/data/event.hpp"

namespace qel::observable::detail {

/// The events of one frame in their order, asked whether one with a given id is among them. The answer is what a walk
/// over the list would give at that moment. The first question after a change of the list sorts it; the others cost
/// little.
class EventList {
public:
    void Add(std::shared_ptr<meta::data::Event const> event);
    bool Contains(unsigned int id);
    void Clear();

    std::vector<std::shared_ptr<meta::data::Event const>> const& GetEvents() const { return events; }

private:
    void SortIds();

    std::vector<std::shared_ptr<meta::data::Event const>> events;
    std::vector<unsigned int> sortedIds;
    std::uint64_t keyChanges = 0;
};

}  // namespace qel::observable::detail
