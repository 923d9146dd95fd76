#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "foundation/export.hpp"
#include "foundation/object/object.hpp"

namespace qel::object {

namespace detail {

/// The type names of a value type, as an object and as a property.
template <class T>
struct PrimitiveNames;
template <>
struct PrimitiveNames<bool> {
    static constexpr char const* Object = "qel.object.Bool";
    static constexpr char const* Property = "qel.property.Bool";
};
template <>
struct PrimitiveNames<std::uint16_t> {
    static constexpr char const* Object = "qel.object.UInt16";
    static constexpr char const* Property = "qel.property.UInt16";
};
template <>
struct PrimitiveNames<std::uint32_t> {
    static constexpr char const* Object = "qel.object.UInt32";
    static constexpr char const* Property = "qel.property.UInt32";
};
template <>
struct PrimitiveNames<double> {
    static constexpr char const* Object = "qel.object.Double";
    static constexpr char const* Property = "qel.property.Double";
};
template <>
struct PrimitiveNames<std::string> {
    static constexpr char const* Object = "qel.object.String";
    static constexpr char const* Property = "qel.property.String";
};
template <>
struct PrimitiveNames<std::chrono::milliseconds> {
    static constexpr char const* Object = "qel.object.Milliseconds";
    static constexpr char const* Property = "qel.property.Milliseconds";
};

}  // namespace detail

/// The types of the values that objects and properties hold: bool, std::uint16_t, std::uint32_t, double, std::string
/// and std::chrono::milliseconds.
template <class T>
concept ValueType = requires {
    detail::PrimitiveNames<T>::Object;
};

/// One value of type T on top of Base: the root of the properties, where Base is `property::Property`, which says how
/// a value is set from an object and how the whole is copied. With `Object` as Base it is the plain value below.
template <class T, class Base>
class QEL_FOUNDATION_EXPORT Primitive : public Base {
public:
    /// The name of the type, whose hash is the type id.
    static constexpr char const* ClassTypeName = detail::PrimitiveNames<T>::Property;

    /// The value as it is held, for a bound property as it was last read or set.
    T const& Get() const { return value; }

    using Base::Set;
    /// Replaces the value; derived classes check it first.
    virtual void Set(T value) { Fill(std::move(value)); }

    /// Whether `other` is the plain object of the same type and value; a property never is.
    bool EqualTo(Object const& other) const { return Primitive<T, Object>(value).EqualTo(other); }

protected:
    /// `arguments` are those of Base behind the type.
    template <class... Arguments>
    explicit Primitive(T value, Arguments&&... arguments)
        : Base(TypeIdOf<Primitive>, std::forward<Arguments>(arguments)...), value(std::move(value)) {}

    /// Stores without any check. Const, since the value of a bound property is a copy of what its host holds, and
    /// reading the property renews the copy.
    void Fill(T value) const { this->value = std::move(value); }

private:
    mutable T value;
};

/// One value of type T as a dynamic object.
template <class T>
class QEL_FOUNDATION_EXPORT Primitive<T, Object> : public Object {
public:
    /// The name of the type, whose hash is the type id.
    static constexpr char const* ClassTypeName = detail::PrimitiveNames<T>::Object;

    /// With any value of the type.
    explicit Primitive(T value);
    ~Primitive() override;

    /// The value, whatever it is.
    T const& Get() const { return value; }
    void Set(T value);

    /// Takes the value of an object of the same type, or reads it from a text object with `Parse<T>`, whose errors pass
    /// through. A bool is not read from a text. Any other object is a `BadCast`. After a failure the value is what it
    /// was.
    void Set(Object const& other);

    /// Whether `other` is an object of the same type and value. Doubles are compared with ==, so NaN equals nothing.
    bool EqualTo(Object const& other) const;

    std::shared_ptr<Object> Clone() const override;

private:
    T value;
};

/// The values that are set and read: plain objects of each type.
using Bool = Primitive<bool, Object>;
using UInt16 = Primitive<std::uint16_t, Object>;
using UInt32 = Primitive<std::uint32_t, Object>;
using Double = Primitive<double, Object>;
using String = Primitive<std::string, Object>;
using Milliseconds = Primitive<std::chrono::milliseconds, Object>;

extern template class Primitive<bool, Object>;
extern template class Primitive<std::uint16_t, Object>;
extern template class Primitive<std::uint32_t, Object>;
extern template class Primitive<double, Object>;
extern template class Primitive<std::string, Object>;
extern template class Primitive<std::chrono::milliseconds, Object>;

}  // namespace qel::object
