#pragma once

#include <mutex>
#include <utility>

namespace qel::type::iterator {

/// Keeps a container locked for as long as a walk over it lasts, and gives the walk its two ends. A container without
/// a `GetLock()` of its own is walked without one.
template <class Container, class Iterator>
class Lock {
public:
    /// The container must outlive the lock.
    explicit Lock(Container& container)
        : lock(MakeLock(container)), begin(Iterator(container.Begin())), end(Iterator(container.End())) {}

    /// As they were when the lock was taken.
    Iterator const& Begin() const { return begin; }
    Iterator const& End() const { return end; }

private:
    struct None {};

    static auto MakeLock(Container& container) {
        if constexpr (requires { container.GetLock(); }) {
            return container.GetLock();
        } else {
            return None{};
        }
    }

    [[no_unique_address]] decltype(MakeLock(std::declval<Container&>())) lock;
    Iterator begin;
    Iterator end;
};

}  // namespace qel::type::iterator
