#pragma once

#include <functional>

#include "foundation/export.hpp"

namespace qel::type {

/// Holds a subscription or a registration: its destruction calls the unbinder with the id, once.
///
/// Move-only and possibly empty (default-constructed, moved from, or released). Nothing that the unbinder throws leaves
/// the handle. One handle is used by one thread at a time; which threads the unbinder may run on is said where the
/// handle comes from.
class [[nodiscard]] QEL_FOUNDATION_EXPORT Binding {
public:
    Binding() noexcept = default;
    /// Whoever hands out the handle says what `unbind` does with the id. A handle that was moved from is empty.
    Binding(std::function<void(unsigned int)> unbind, unsigned int id);
    Binding(Binding&& other) noexcept;
    /// Unbinds what this handle held before.
    Binding& operator=(Binding&& other) noexcept;
    ~Binding();

    /// Unbinds now; the handle is empty afterwards.
    void Reset() noexcept;

private:
    std::function<void(unsigned int)> unbind;
    unsigned int id = 0;
};

}  // namespace qel::type
