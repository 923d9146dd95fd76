#pragma once

#include <memory>
#include <tuple>

namespace qel::type::registry {

/// The factory of a registered class: a new T made from the arguments that the class publishes as `DefaultArguments()`.
template <class T>
std::shared_ptr<T> Construct() {
    static_assert(
        requires { T::DefaultArguments(); },
        "a registered class publishes its default constructor arguments as static auto DefaultArguments()");
    // Not std::make_shared: its process-wide symbol would keep an unloaded plug-in in place.
    return std::apply([](auto&&... arguments) { return std::shared_ptr<T>(new T(arguments...)); },
                      T::DefaultArguments());
}

}  // namespace qel::type::registry
