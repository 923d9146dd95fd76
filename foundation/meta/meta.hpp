#pragma once

#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>

#include "foundation/export.hpp"
#include "foundation/meta/detail/chunk.hpp"
#include "foundation/meta/timestamp.hpp"
#include "foundation/object/object.hpp"

namespace qel::meta {

/// One frame: what the analysis of one picture found, in order, and the time of the picture.
///
/// Items of all kinds stand in one list and are told apart by their type ids; nulls and unknown kinds may stand there
/// and are passed over by everybody. A frame is a handle on its list, so a rule pass appends to and removes from a
/// frame that it was given as const. The list is guarded by the frame's own recursive lock, and every member may be
/// called from any thread.
///
/// Copies share the items and have lists of their own; a copy costs little however long the list is.
class QEL_FOUNDATION_EXPORT Meta {
public:
    class Iterator;

    /// An empty frame of that time, or a copy as above.
    explicit Meta(Timestamp timestamp);
    Meta(Meta const& other);
    Meta& operator=(Meta const&) = delete;
    ~Meta();

    /// The time of the picture.
    Timestamp GetTimestamp() const { return timestamp; }

    /// A walk sees the items that are there at its `Begin()`, whatever is appended or removed meanwhile, and ends at
    /// any `End()`.
    Iterator Begin() const;
    Iterator End() const;

    /// Puts an item, which may be null, behind all others.
    void Append(std::shared_ptr<object::Object> item) const;

    /// Removes every item for which `predicate` is true; it is asked once for each, in order, and must not change the
    /// frame. When it throws, nothing is removed. Asking an empty function is a `std::bad_function_call`.
    void RemoveIf(std::function<bool(std::shared_ptr<object::Object> const&)> const& predicate) const;

    /// Keeps other threads from the frame for as long as the returned lock lives.
    std::unique_lock<std::recursive_mutex> GetLock() const;

    /// What a look-up has found.
    struct NamedEvents {
        /// Who keeps the events alive, and the events.
        std::shared_ptr<detail::Contents const> contents;
        detail::FoundEvents events;
    };

    /// The events that name the observable, in order and once for each record that does, and what keeps them alive. A
    /// look-up in an index: its cost does not grow with what else stands in the frame.
    NamedEvents FindEvents(unsigned int observable) const;
    /// The same into memory that is there already; what it held before is dropped.
    void FindEvents(unsigned int observable, NamedEvents& found) const;
    /// Whether there are such events.
    bool HasEvents(unsigned int observable) const;

    /// What the look-ups of the two have done so far, in this frame and in those that it shares items with.
    detail::LookUpCounts CountLookUps() const;

private:
    std::size_t Count() const { return contents->inheritedCount + ownCount; }

    Timestamp timestamp;
    mutable std::recursive_mutex lock;
    mutable std::shared_ptr<detail::Contents> contents;
    mutable std::size_t ownCount = 0;
};

/// A place in a walk over a frame. Keeps what it walks over alive.
class Meta::Iterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = std::shared_ptr<object::Object>;
    using difference_type = std::ptrdiff_t;
    using pointer = value_type const*;
    using reference = value_type const&;

    Iterator() = default;
    Iterator(std::shared_ptr<detail::Contents const> contents, std::size_t count)
        : contents(std::move(contents)), count(count), left(count) {
        FindRun();
    }

    reference operator*() const { return *item; }
    pointer operator->() const { return &**this; }

    Iterator& operator++() {
        ++item;
        --left;
        if (item == runEnd) {
            FindRun();
        }
        return *this;
    }
    Iterator operator++(int) {
        Iterator before = *this;
        ++*this;
        return before;
    }

    /// Places in one walk are told apart by how much of it is left, so that every walk meets its end.
    friend bool operator==(Iterator const& one, Iterator const& other) { return one.left == other.left; }

private:
    /// Items stand in memory in runs, and within one a step is an increment.
    void FindRun() {
        if (left > 0) {
            auto const run = contents->RunFrom(count - left);
            item = run.data();
            runEnd = item + run.size();
        }
    }

    std::shared_ptr<detail::Contents const> contents;
    pointer item = nullptr;
    pointer runEnd = nullptr;
    std::size_t count = 0;
    std::size_t left = 0;
};

}  // namespace qel::meta
