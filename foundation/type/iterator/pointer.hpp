#pragma once

#include <utility>

namespace qel::type::iterator {

/// Walks a container of shared pointers and gives what each points to as a plain pointer, null included.
template <class Iterator>
class Pointer {
public:
    /// At a place of the container's own walk.
    Pointer() = default;
    explicit Pointer(Iterator at) : at(std::move(at)) {}

    /// Null where the shared pointer is.
    auto operator*() const { return (*at).get(); }

    /// To the next place.
    Pointer& operator++() {
        ++at;
        return *this;
    }

    /// Whether the two are at one place.
    friend bool operator==(Pointer const& left, Pointer const& right) { return left.at == right.at; }

private:
    Iterator at;
};

}  // namespace qel::type::iterator
