#pragma once

#include <functional>
#include <memory>

namespace qel::type::binding::function {

/// An unbinder for a `Binding` that calls `Unbind(id)` of the target if that still lives, and keeps it alive no longer
/// than that call.
template <class Target>
std::function<void(unsigned int)> MakeUnbind(std::shared_ptr<Target> const& target) {
    return [weak = std::weak_ptr<Target>(target)](unsigned int id) {
        if (auto const held = weak.lock()) {
            held->Unbind(id);
        }
    };
}

}  // namespace qel::type::binding::function
