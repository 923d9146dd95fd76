#include "foundation/type/binding.hpp"

#include <utility>

namespace qel::type {

Binding::Binding(std::function<void(unsigned int)> unbind, unsigned int id) : unbind(std::move(unbind)), id(id) {}

Binding::Binding(Binding&& other) noexcept : unbind(std::exchange(other.unbind, nullptr)), id(other.id) {}

Binding& Binding::operator=(Binding&& other) noexcept {
    // Taken first, since unbinding may destroy the other handle or fill this one.
    Binding taken(std::move(other));
    std::swap(unbind, taken.unbind);
    std::swap(id, taken.id);
    return *this;
}

Binding::~Binding() { Reset(); }

void Binding::Reset() noexcept {
    // Emptied first, so that an unbinder that reaches this handle again finds nothing to do.
    auto const release = std::exchange(unbind, nullptr);
    if (!release) {
        return;
    }
    try {
        release(id);
    } catch (...) {
        // There is nobody to tell: handles die in destructors and during unwinding.
    }
}

}  // namespace qel::type
