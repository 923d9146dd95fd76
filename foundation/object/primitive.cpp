#include "foundation/object/primitive.hpp"

#include "foundation/object/parse.hpp"

namespace qel::object {

template <class T>
Primitive<T, Object>::Primitive(T value) : Object(TypeIdOf<Primitive>), value(std::move(value)) {}

template <class T>
Primitive<T, Object>::~Primitive() = default;

template <class T>
void Primitive<T, Object>::Set(T value) {
    this->value = std::move(value);
}

template <class T>
void Primitive<T, Object>::Set(Object const& other) {
    if constexpr (Parsable<T>) {
        if (other.Is<String>()) {
            Set(Parse<T>(other.As<String>().Get()));
            return;
        }
    }
    Set(other.As<Primitive>().Get());
}

template <class T>
bool Primitive<T, Object>::EqualTo(Object const& other) const {
    return other.Is<Primitive>() && other.As<Primitive>().Get() == value;
}

template <class T>
std::shared_ptr<Object> Primitive<T, Object>::Clone() const {
    return std::make_shared<Primitive>(*this);
}

template class Primitive<bool, Object>;
template class Primitive<std::uint16_t, Object>;
template class Primitive<std::uint32_t, Object>;
template class Primitive<double, Object>;
template class Primitive<std::string, Object>;
template class Primitive<std::chrono::milliseconds, Object>;

}  // namespace qel::object
