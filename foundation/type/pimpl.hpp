#pragma once

#include <stdexcept>

namespace qel::type {

/// What a pointer to a private implementation points to. Throws `std::logic_error` "Pimpl is null" when it is missing.
template <class Pointer>
auto& Deref(Pointer const& impl) {
    if (!impl) {
        throw std::logic_error("Pimpl is null");
    }
    return *impl;
}

}  // namespace qel::type
