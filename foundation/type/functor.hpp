#pragma once

#include <memory>
#include <type_traits>

namespace qel::type {

/// Whether a dynamic object is a T; a null object is nothing.
template <class T>
struct IsFunctor {
    /// False for null.
    template <class Object>
    bool operator()(Object const* object) const {
        return object != nullptr && object->template Is<std::remove_const_t<T>>();
    }
};

/// A dynamic object as the T that `IsFunctor` found it to be.
template <class T>
struct AsFunctor {
    /// Checks nothing.
    template <class Object>
    T& operator()(Object& object) const {
        return static_cast<T&>(object);
    }
};

}  // namespace qel::type
