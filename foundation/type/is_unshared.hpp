#pragma once

#include <memory>

namespace qel::type {

/// Whether nobody else refers to what this thread holds, so that it may be changed: whatever other threads have done
/// with it before they let go has happened before.
template <class T>
bool IsUnshared(std::shared_ptr<T> const& thing) {
    // use_count() alone does not order what follows behind the reads of another thread that has just let go; taking a
    // reference, which acquires, does.
    auto const held = thing;
    return held.use_count() == 2;
}

}  // namespace qel::type
