#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "foundation/meta/data/event.hpp"
#include "foundation/type/container/id_table.hpp"

namespace qel::observable::detail {

/// The events of the last frame and those of the present one, which tell what goes on and what has ended. The answers
/// are what walks over both lists would give at that moment.
///
/// Events go on from frame to frame in much the same order. So an event is looked for behind the last one that was
/// found, and what has been found has not ended; only what that leaves open is looked up in a table.
class OngoingEvents {
public:
    /// Whether an event with this id was in the last frame. Asked once for every event before it is added; one that
    /// goes on is added.
    bool Continues(unsigned int id);
    /// Adds an event to the present frame.
    void Add(std::shared_ptr<meta::data::Event const> event) {
        unsigned int const id = event->GetId();
        current.entries.push_back({std::move(event), id});
        current.havePlaces = false;
    }
    /// What has been added last; there is something.
    std::shared_ptr<meta::data::Event const> const& GetLast() const { return current.entries.back().event; }

    /// Calls `take(event)` for the events of the last frame of which none with the same id is in the present one, in
    /// order. Reads the ids that the present frame ends with.
    template <class Take>
    void ForEachEnded(Take const& take) {
        bool const foundIsAll = ReadIds();
        for (auto const& entry : previous.entries) {
            if (!(foundIsAll ? entry.found : IsInCurrent(entry.id))) {
                take(*entry.event);
            }
        }
    }

    /// The present frame becomes the last one, once it has been told what has ended.
    void Advance();
    /// The present frame has failed: nothing has happened.
    void Abandon();

private:
    struct Entry {
        std::shared_ptr<meta::data::Event const> event;
        unsigned int id;
        bool found = false;  // by an event of the present frame
    };

    struct List {
        std::vector<Entry> entries;
        std::uint64_t keyChanges = 0;  // when the ids were read
        bool distinct = true;          // whether it is certain that no id is there twice
        type::container::IdTable places;
        bool havePlaces = false;  // `places` are those of the ids

        std::uint32_t PlaceOf(unsigned int id);
        void Clear();
    };

    void ReadPreviousIds();
    bool ReadIds();
    std::uint32_t FindPrevious(unsigned int id);
    void BeginFrame();
    bool IsInCurrent(unsigned int id) { return current.PlaceOf(id) != type::container::IdTable::None; }

    List previous;
    unsigned int highest = 0;  // no id of the last frame is higher
    std::size_t next = 0;      // in the last frame: behind what was found last
    bool foundGoOn = true;     // whether what was found still has the id with which it was found

    List current;
    unsigned int highestNew = 0;
};

}  // namespace qel::observable::detail
