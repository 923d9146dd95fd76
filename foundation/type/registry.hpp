#pragma once

#include <mutex>
#include <unordered_map>

#include "foundation/hash/murmur_three_32.hpp"
#include "foundation/type/registry/lock.hpp"

namespace qel::type {

/// A map from type id to what is known of the type, behind one mutex. All access goes through the locked view; who
/// holds a view must not ask for another on the same thread. May be used from any thread.
template <class Info>
class Registry {
public:
    /// What is known, by type id.
    using Map = std::unordered_map<hash::MurmurThree32, Info>;

    Registry() = default;
    Registry(Registry const&) = delete;
    Registry& operator=(Registry const&) = delete;

    /// Waits until nobody else has a view.
    registry::Lock<Map> GetMap() const {
        mutex.lock();
        return registry::Lock<Map>(map, [this] { mutex.unlock(); });
    }

private:
    mutable Map map;
    mutable std::mutex mutex;
};

}  // namespace qel::type
