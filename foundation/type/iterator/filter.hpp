#pragma once

#include <cstddef>
#include <iterator>
#include <type_traits>
#include <utility>

#include "foundation/type/iterator/lock.hpp"
#include "foundation/type/iterator/pointer.hpp"

namespace qel::type::iterator {

/// A typed view: the items of a container of dynamic objects that are of type T, in order, each as a `T&`. Items of
/// other types and null items are passed over.
///
/// The container is locked (where it can be) from the construction of the view to its destruction, and the items are
/// those that were there at its construction. The view is used where it is made, in one range-for.
template <class T, class Container, class Is, class As>
class Filter {
    using Ends = decltype(std::declval<Container&>().Begin());
    using Source = Lock<Container, Pointer<Ends>>;

public:
    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = std::remove_const_t<T>;
        using difference_type = std::ptrdiff_t;
        using pointer = T*;
        using reference = T&;

        Iterator(Pointer<Ends> at, Pointer<Ends> end) : at(std::move(at)), end(std::move(end)) { SkipOthers(); }

        reference operator*() const { return As()(*current); }
        pointer operator->() const { return &**this; }

        Iterator& operator++() {
            ++at;
            SkipOthers();
            return *this;
        }
        void operator++(int) { ++*this; }

        friend bool operator==(Iterator const& left, Iterator const& right) { return left.at == right.at; }

    private:
        void SkipOthers() {
            for (; !(at == end); ++at) {
                current = *at;
                if (Is()(current)) {
                    return;
                }
            }
        }

        Pointer<Ends> at;
        Pointer<Ends> end;
        std::remove_reference_t<decltype(*std::declval<Pointer<Ends> const&>())> current = nullptr;
    };

    /// Locks the container, which must outlive the view.
    explicit Filter(Container& container) : source(container) {}

    /// The items that were there when the view was made.
    Iterator begin() const { return Iterator(source.Begin(), source.End()); }
    Iterator end() const { return Iterator(source.End(), source.End()); }

private:
    Source source;
};

}  // namespace qel::type::iterator
