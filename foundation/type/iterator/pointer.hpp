#pragma once

#include <utility>

namespace qel::type::iterator {

/// Walks a container of shared pointers and gives what each points to as a plain pointer, null included.
template <class Iterator>
class Pointer {
public:
    Pointer() = default;
    explicit Pointer(Iterator at) : at(std::move(at)) {}

    auto operator*() const { return (*at).get(); }

    Pointer& operator++() {
        ++at;
        return *this;
    }

    friend bool operator==(Pointer const& left, Pointer const& right) { return left.at == right.at; }

private:
    Iterator at;
};

}  // namespace qel::type::iterator
