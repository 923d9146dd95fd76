#pragma once

#include <chrono>
#include <concepts>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>

#include "foundation/export.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/property/property.hpp"

namespace qel::property {

/// The value types with a range: all but bool and text.
template <class T>
concept Ranged = !std::same_as<T, bool> && !std::same_as<T, std::string>;

/// The smallest and the largest accepted value; by default the limits of the type, which for double are the finite
/// ones.
template <class T>
struct Range {
    /// Both are accepted.
    T minimum = std::numeric_limits<T>::lowest();
    T maximum = std::numeric_limits<T>::max();
};
/// The limits of the type, as above.
template <>
struct Range<std::chrono::milliseconds> {
    /// Both are accepted.
    std::chrono::milliseconds minimum = std::chrono::milliseconds::min();
    std::chrono::milliseconds maximum = std::chrono::milliseconds::max();
};
template <>
struct Range<bool> {};
template <>
struct Range<std::string> {};

/// A property that holds one value, which for the ranged types lies between a minimum and a maximum, both inclusive.
template <class T>
class QEL_FOUNDATION_EXPORT Primitive : public object::Primitive<T, Property> {
public:
    /// The first value is not checked.
    Primitive(std::string name, T value, std::string description);
    Primitive(std::string name, T value, Range<T> range, std::string description);
    ~Primitive() override;

    /// Empty for bool and text.
    Range<T> const& GetRange() const { return range; }

    /// Throws `std::out_of_range` for a value outside the range. NaN is inside of every range.
    void Set(T value) override;

    /// Takes, in this order of tests:
    /// - a text, as an object or a property, which is read with `object::Parse<T>`, whose errors pass through (a string
    ///   takes the text as it is; a bool takes none);
    /// - an object of the same type;
    /// - for milliseconds, a `object::UInt32` that counts them;
    /// - a property of the same type, from which the range is taken over before the value.
    ///
    /// Throws `object::BadCast` for anything else and `std::out_of_range` for a value outside the range.
    void Set(object::Object const& value) override;

    /// See `Property`. The valid values are described for the ranged types only.
    std::shared_ptr<object::Object const> GetObject() const override;
    void DescribeValidValues(std::ostream& stream) const override;
    std::shared_ptr<object::Object> Clone() const override;

protected:
    /// What a failed change goes back to: the value, and the range that another property may have brought.
    struct State {
        /// As they were.
        T value;
        Range<T> range;
    };
    /// Takes the two down and puts them back, without any check.
    State GetState() const { return {this->Get(), range}; }
    void Restore(State state);

private:
    Range<T> range;
};

/// Calls `visit` with a property, const or not, as the `Primitive<T>` that it is; false, without a call, for one of
/// another kind.
template <class AnyProperty, class Visit>
requires std::derived_from<AnyProperty, Property>
bool VisitPrimitive(AnyProperty& property, Visit const& visit) {
    auto const visitAs = [&]<class T>(std::type_identity<T>) {
        bool const isThis = property.template Is<Primitive<T>>();
        if (isThis) {
            visit(property.template As<Primitive<T>>());
        }
        return isThis;
    };
    return visitAs(std::type_identity<bool>()) || visitAs(std::type_identity<std::uint16_t>()) ||
           visitAs(std::type_identity<std::uint32_t>()) || visitAs(std::type_identity<double>()) ||
           visitAs(std::type_identity<std::string>()) || visitAs(std::type_identity<std::chrono::milliseconds>());
}

extern template class Primitive<bool>;
extern template class Primitive<std::uint16_t>;
extern template class Primitive<std::uint32_t>;
extern template class Primitive<double>;
extern template class Primitive<std::string>;
extern template class Primitive<std::chrono::milliseconds>;

}  // namespace qel::property
