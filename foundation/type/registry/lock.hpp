#pragma once

#include <functional>
#include <utility>

namespace qel::type::registry {

/// Access to a registry's map for as long as this view lives; used like a pointer to the map. Move-only. The action
/// that unlocks the registry runs once, on the thread that took the view.
template <class Map>
class [[nodiscard]] Lock {
public:
    /// For a registry that is locked; `unlock` is called once. A view that was moved from is none any more.
    Lock(Map& map, std::function<void()> unlock) : map(&map), unlock(std::move(unlock)) {}
    Lock(Lock&& other) noexcept : map(other.map), unlock(std::exchange(other.unlock, nullptr)) {}
    Lock& operator=(Lock&&) = delete;

    ~Lock() {
        if (auto const release = std::exchange(unlock, nullptr)) {
            release();
        }
    }

    /// The map; not of a view that was moved from.
    Map& operator*() const { return *map; }
    Map* operator->() const { return map; }

private:
    Map* map;
    std::function<void()> unlock;
};

}  // namespace qel::type::registry
