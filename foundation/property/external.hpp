#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "foundation/export.hpp"
#include "foundation/property/context/direction.hpp"
#include "foundation/property/external/convert.hpp"
#include "foundation/property/primitive.hpp"

namespace qel::property {

/// A property whose value is really held by a host object, which the property reaches through a getter and a setter.
///
/// A target is the host as `std::shared_ptr<void>`, without its type. It must have been converted from a pointer to the
/// class that the host names as its `PropertyTarget`, from where it is cast down to the class whose members are called;
/// every observable inherits `PropertyTarget` from `Observable`, so an observable is converted from
/// `std::shared_ptr<Observable>`. A host without a `PropertyTarget` is converted from a pointer to itself. Nothing
/// checks that the target is of the right class.
///
/// Until it is bound, the property just keeps its value. It shares the ownership of its target, and calls functions of
/// the library that published the setting: it must not outlive that library.
template <class T>
class QEL_FOUNDATION_EXPORT External : public Primitive<T> {
public:
    /// How the host is written and read, its target at hand.
    using Setter = std::function<void(std::shared_ptr<void> target, object::Object const& value)>;
    using Getter = std::function<void(std::shared_ptr<void const> target, object::Object& out)>;

    /// The setting of a class, by its members void SetX(T) and T GetX() const. The default is not checked against the
    /// range, which is inclusive and without its ends that of the type. A null member is a `std::invalid_argument`.
    template <class Host, class Value, class Get>
    External(std::string name, T const& value, void (Host::*set)(Value), Get get, std::string description)
        : External(std::move(name), value, Range<T>(), MemberAccessors(set, get), std::move(description)) {}
    template <class Host, class Value, class Get>
    External(std::string name, T const& value, void (Host::*set)(Value), Get get, std::type_identity_t<T> minimum,
             std::type_identity_t<T> maximum, std::string description)
        : External(std::move(name), value, MakeRange<T>(minimum, maximum), MemberAccessors(set, get),
                   std::move(description)) {}

    /// The same by functions void SetX(Host*, T) and T GetX(Host const*); without a default the value starts as T().
    template <class Host, class Value, class Get>
    External(std::string name, T const& value, void (*set)(Host*, Value), Get get, std::string description)
        : External(std::move(name), value, Range<T>(), FunctionAccessors(set, get), std::move(description)) {}
    template <class Host, class Value, class Get>
    External(std::string name, void (*set)(Host*, Value), Get get, std::string description)
        : External(std::move(name), T(), set, get, std::move(description)) {}

    ~External() override;

    /// A plain value is set in the property alone.
    using Primitive<T>::Set;
    /// Sets the property as `Primitive<T>` does and, when it is bound, the host from the same object, for which it must
    /// also pass `external::Convert<T>`: a bound number is not set from a text. What the host's setter throws passes
    /// through; the property then is what it was.
    void Set(object::Object const& value) override;

    /// Reads the host into the property, when it is bound; the host's value is not checked.
    std::shared_ptr<object::Object const> GetObject() const override;

    /// `FromTarget` reads the host at once, `ToTarget` only keeps the target.
    void Bind(std::shared_ptr<void> target, context::Direction direction) override;

    /// Lists are not supported: each of these throws `std::logic_error`.
    [[noreturn]] void Erase(object::Object& object);
    [[noreturn]] void Add(object::Object& object);
    [[noreturn]] void SetAt(std::size_t index, object::Object& object);

    /// A copy is bound to the same target.
    std::shared_ptr<object::Object> Clone() const override;

private:
    struct Accessors {
        Setter set;
        Getter get;
    };

    External(std::string name, T value, Range<T> range, Accessors accessors, std::string description);

    template <class Value>
    static Range<Value> MakeRange([[maybe_unused]] Value minimum, [[maybe_unused]] Value maximum) {
        static_assert(Ranged<Value>, "only the settings of numbers and durations have a range");
        if constexpr (Ranged<Value>) {
            return {minimum, maximum};
        } else {
            return {};
        }
    }

    template <class Host, class Value, class Get>
    static Accessors MemberAccessors(void (Host::*set)(Value), Get get) {
        static_assert(
            requires { static_cast<char const*>(Host::ClassTypeName); },
            "the class whose members a setting names must publish ClassTypeName, as observable classes do: a member "
            "that is inherited from another base is wrapped in a member of the class itself");
        static_assert(std::is_same_v<Value, T>, "the setter of a property takes the property's value type, by value");
        static_assert(
            std::is_convertible_v<Get, T (Host::*)() const>,
            "the getter of a property is a const member of the setter's class and returns, by value, what the "
            "setter takes");
        T (Host::*const checkedGet)() const = get;
        if (set == nullptr) {
            throw std::invalid_argument("Must provide a set member function for an external property");
        }
        if (checkedGet == nullptr) {
            throw std::invalid_argument("Must provide a get member function for an external property");
        }
        return MakeAccessors<Host>([set](Host& host, T value) { (host.*set)(std::move(value)); },
                                   [checkedGet](Host const& host) { return (host.*checkedGet)(); });
    }

    template <class Host, class Value, class Get>
    static Accessors FunctionAccessors(void (*set)(Host*, Value), Get get) {
        static_assert(std::is_same_v<Value, T>, "the setter of a property takes the property's value type, by value");
        static_assert(std::is_convertible_v<Get, T (*)(Host const*)>,
                      "the getter of a property takes the setter's host as a pointer to const and returns, by value, "
                      "what the setter takes");
        T (*const checkedGet)(Host const*) = get;
        if (set == nullptr) {
            throw std::invalid_argument("Must provide a set structure function for an external property");
        }
        if (checkedGet == nullptr) {
            throw std::invalid_argument("Must provide a get structure function for an external property");
        }
        return MakeAccessors<Host>([set](Host& host, T value) { set(&host, std::move(value)); },
                                   [checkedGet](Host const& host) { return checkedGet(&host); });
    }

    template <class Host, class SetHost, class GetHost>
    static Accessors MakeAccessors(SetHost set, GetHost get) {
        return {[set](std::shared_ptr<void> target, object::Object const& value) {
                    set(*HostOf<Host>(target.get()), external::Convert<T>(value));
                },
                [get](std::shared_ptr<void const> target, object::Object& out) {
                    out.As<object::Primitive<T, object::Object>>().Set(get(*HostOf<Host const>(target.get())));
                }};
    }

    template <class Host, class Void>
    static Host* HostOf(Void* target) {
        if constexpr (requires { typename Host::PropertyTarget; }) {
            using Target = std::conditional_t<std::is_const_v<Host>, typename Host::PropertyTarget const,
                                              typename Host::PropertyTarget>;
            return static_cast<Host*>(static_cast<Target*>(target));
        } else {
            return static_cast<Host*>(target);
        }
    }

    std::shared_ptr<object::Primitive<T, object::Object>> Read(std::shared_ptr<void const> const& from) const;

    Accessors accessors;
    std::shared_ptr<void> target;
};

extern template class External<bool>;
extern template class External<std::uint16_t>;
extern template class External<std::uint32_t>;
extern template class External<double>;
extern template class External<std::string>;
extern template class External<std::chrono::milliseconds>;

}  // namespace qel::property
