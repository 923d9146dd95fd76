#include "foundation/property/primitive.hpp"

#include <fmt/format.h>

#include <ostream>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "foundation/object/parse.hpp"

namespace qel::property {

namespace {

template <class T>
T ToNumber(T value) {
    return value;
}

std::chrono::milliseconds::rep ToNumber(std::chrono::milliseconds value) { return value.count(); }

/// The text of a text object or a text property; null for anything else.
std::string const* TextOf(object::Object const& object) {
    if (object.Is<object::String>()) {
        return &object.As<object::String>().Get();
    }
    if (object.Is<Primitive<std::string>>()) {
        return &object.As<Primitive<std::string>>().Get();
    }
    return nullptr;
}

}  // namespace

template <class T>
Primitive<T>::Primitive(std::string name, T value, std::string description)
    : Primitive(std::move(name), std::move(value), Range<T>(), std::move(description)) {}

template <class T>
Primitive<T>::Primitive(std::string name, T value, Range<T> range, std::string description)
    : object::Primitive<T, Property>(std::move(value), std::move(name), std::move(description)), range(range) {}

template <class T>
Primitive<T>::~Primitive() = default;

template <class T>
void Primitive<T>::Set(T value) {
    if constexpr (Ranged<T>) {
        // Not the same as minimum <= value <= maximum, which would refuse NaN.
        if (value < range.minimum || value > range.maximum) {
            throw std::out_of_range("The '" + this->GetName() + "' property only accepts values in the range of " +
                                    std::to_string(ToNumber(range.minimum)) + " to " +
                                    std::to_string(ToNumber(range.maximum)) + ": " + std::to_string(ToNumber(value)));
        }
    }
    this->Fill(std::move(value));
}

template <class T>
void Primitive<T>::Set(object::Object const& value) {
    if constexpr (object::Parsable<T> || std::is_same_v<T, std::string>) {
        if (auto const* const text = TextOf(value)) {
            if constexpr (object::Parsable<T>) {
                Set(object::Parse<T>(*text));
            } else {
                Set(*text);
            }
            return;
        }
    }
    if (value.Is<object::Primitive<T, object::Object>>()) {
        Set(value.As<object::Primitive<T, object::Object>>().Get());
        return;
    }
    if constexpr (std::is_same_v<T, std::chrono::milliseconds>) {
        if (value.Is<object::UInt32>()) {
            Set(std::chrono::milliseconds(value.As<object::UInt32>().Get()));
            return;
        }
    }

    auto const& other = value.As<Primitive>();
    auto const previous = std::exchange(range, other.range);
    try {
        Set(other.Get());
    } catch (...) {
        range = previous;
        throw;
    }
}

template <class T>
std::shared_ptr<object::Object const> Primitive<T>::GetObject() const {
    return std::make_shared<object::Primitive<T, object::Object>>(this->Get());
}

template <class T>
void Primitive<T>::DescribeValidValues([[maybe_unused]] std::ostream& stream) const {
    if constexpr (Ranged<T>) {
        stream << fmt::format("Must be a number between {} to {}", ToNumber(range.minimum), ToNumber(range.maximum));
    }
}

template <class T>
std::shared_ptr<object::Object> Primitive<T>::Clone() const {
    return std::make_shared<Primitive>(*this);
}

template <class T>
void Primitive<T>::Restore(State state) {
    this->Fill(std::move(state.value));
    range = state.range;
}

template class Primitive<bool>;
template class Primitive<std::uint16_t>;
template class Primitive<std::uint32_t>;
template class Primitive<double>;
template class Primitive<std::string>;
template class Primitive<std::chrono::milliseconds>;

}  // namespace qel::property
