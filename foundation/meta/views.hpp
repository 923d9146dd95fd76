#pragma once

#include <cstddef>
#include <iterator>
#include <utility>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/type/functor.hpp"
#include "foundation/type/iterator/filter.hpp"

namespace qel::meta {

/// A typed walk, for a range-for over a frame or over the objects of an event: the items of one kind, in order, each as
/// a reference to const; other kinds and nulls are passed over. A frame is locked while its view lives. The frame or
/// event outlives the view.
template <class T, class Container>
using View = type::iterator::Filter<T const, Container const, type::IsFunctor<T const>, type::AsFunctor<T const>>;

/// The items of type T; of a frame that lives no longer than the expression, there is no view.
template <class T, class Container>
View<T, Container> ItemsOf(Container const& container) {
    return View<T, Container>(container);
}
template <class T, class Container>
View<T, Container> ItemsOf(Container const&&) = delete;

/// The walks that rules need most.
inline View<data::Event, Meta> EventsOf(Meta const& frame) { return ItemsOf<data::Event>(frame); }
inline View<data::Channel, Meta> ChannelsOf(Meta const& frame) { return ItemsOf<data::Channel>(frame); }
inline View<data::Observable, data::Event> ObservablesOf(data::Event const& event) {
    return ItemsOf<data::Observable>(event);
}
inline View<data::Object, data::Event> ObjectsOf(data::Event const& event) { return ItemsOf<data::Object>(event); }

void EventsOf(Meta const&&) = delete;
void ChannelsOf(Meta const&&) = delete;
void ObservablesOf(data::Event const&&) = delete;
void ObjectsOf(data::Event const&&) = delete;

/// The events of a frame that name one observable in their records, in frame order and once for each record that does:
/// what a walk over all events and their records would find at this moment, at a cost that does not grow with the other
/// contents of the frame. What has been found stays found and alive while the view lives, whatever happens to the
/// frame.
class EventsNaming {
public:
    class Iterator {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = data::Event;
        using difference_type = std::ptrdiff_t;
        using pointer = data::Event const*;
        using reference = data::Event const&;

        Iterator() = default;
        explicit Iterator(data::Event const* const* at) : at(at) {}

        reference operator*() const { return **at; }
        pointer operator->() const { return *at; }

        Iterator& operator++() {
            ++at;
            return *this;
        }
        Iterator operator++(int) { return Iterator(at++); }

        friend bool operator==(Iterator const&, Iterator const&) = default;

    private:
        data::Event const* const* at = nullptr;
    };

    /// Looks them up, now.
    EventsNaming(Meta const& frame, unsigned int observable) : named(frame.FindEvents(observable)) {}

    /// Those that were found, as in a container; the first and the last only where there are any.
    bool empty() const { return named.events.empty(); }
    std::size_t size() const { return named.events.size(); }
    data::Event const& front() const { return *named.events.front(); }
    data::Event const& back() const { return *named.events.back(); }
    Iterator begin() const { return Iterator(named.events.data()); }
    Iterator end() const { return Iterator(named.events.data() + named.events.size()); }

private:
    Meta::NamedEvents named;
};

}  // namespace qel::meta
