#pragma once

#include <exception>

#include "foundation/export.hpp"

namespace qel::type::registry::detail {

/// The loading of a library by this thread. No exception may leave a static initialiser, so what registrations fail
/// with meanwhile is kept for whoever loads the library.
class QEL_FOUNDATION_EXPORT Loading {
public:
    Loading() noexcept;
    Loading(Loading const&) = delete;
    Loading& operator=(Loading const&) = delete;
    ~Loading();

    /// The first failure; null when there was none.
    std::exception_ptr const& GetFailure() const { return failure; }

    /// Keeps a failure for the innermost loading of this thread; false when there is none.
    static bool Keep(std::exception_ptr const& failure) noexcept;

    /// Whether the innermost loading of this thread has failed; until it ends, its library is unloaded again.
    static bool HasFailed() noexcept;

private:
    Loading* const outer;
    std::exception_ptr failure;
};

}  // namespace qel::type::registry::detail
