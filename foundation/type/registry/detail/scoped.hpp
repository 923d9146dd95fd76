#pragma once

#include <exception>

#include "foundation/object/object.hpp"
#include "foundation/type/registry/construct.hpp"
#include "foundation/type/registry/detail/loading.hpp"

namespace qel::type::registry::detail {

/// Registers the class T for as long as this object lives: one static object beside the class, and a plug-in's types
/// come with the library and go with it.
///
/// The first registration of a type id stays and a later one is dropped silently; the destruction takes out whatever
/// entry holds the id, and may find none. What the registration fails with goes to whoever loads the library, when it
/// is being loaded; then the registry is left as it was before the loading.
template <class T, class Registry>
class Scoped {
public:
    /// Registers, unless the id is taken. The registry must outlive this object.
    explicit Scoped(Registry& registry) : registry(registry) {
        static_assert(
            requires { T::MakeProperties(); }, "a registered class publishes its settings as static MakeProperties()");
        try {
            auto const type = object::TypeIdOf<T>;
            auto const view = registry.GetMap();
            isFirst = view->try_emplace(type, type, object::TypeNameOf<T>(), &Construct<T>, &T::MakeProperties).second;
        } catch (...) {
            hasFailed = Loading::Keep(std::current_exception());
            if (!hasFailed) {
                throw;
            }
        }
    }

    ~Scoped() {
        bool const isUndone = !isFirst && Loading::HasFailed();
        if (!hasFailed && !isUndone) {
            auto const view = registry.GetMap();
            view->erase(object::TypeIdOf<T>);
        }
    }

    Scoped(Scoped const&) = delete;
    Scoped& operator=(Scoped const&) = delete;

private:
    Registry& registry;
    bool isFirst = false;
    bool hasFailed = false;
};

}  // namespace qel::type::registry::detail
