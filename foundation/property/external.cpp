#include "foundation/property/external.hpp"

namespace qel::property {

template <class T>
External<T>::External(std::string name, T value, Range<T> range, Accessors accessors, std::string description)
    : Primitive<T>(std::move(name), std::move(value), range, std::move(description)), accessors(std::move(accessors)) {}

template <class T>
External<T>::~External() = default;

template <class T>
void External<T>::Set(object::Object const& value) {
    auto before = this->GetState();
    try {
        Primitive<T>::Set(value);
        if (target) {
            accessors.set(target, value);
        }
    } catch (...) {
        this->Restore(std::move(before));
        throw;
    }
}

template <class T>
std::shared_ptr<object::Object const> External<T>::GetObject() const {
    return target ? Read(target) : Primitive<T>::GetObject();
}

template <class T>
void External<T>::Bind(std::shared_ptr<void> target, context::Direction direction) {
    if (target && direction == context::Direction::FromTarget) {
        Read(target);
    }
    this->target = std::move(target);
}

// Hosts compare these three texts: the articles stay.

template <class T>
void External<T>::Erase(object::Object&) {
    throw std::logic_error("A erase function has not been supplied for this external");
}

template <class T>
void External<T>::Add(object::Object&) {
    throw std::logic_error("An add function has not been supplied for this external");
}

template <class T>
void External<T>::SetAt(std::size_t, object::Object&) {
    throw std::logic_error("An set at function has not been supplied for this external");
}

template <class T>
std::shared_ptr<object::Object> External<T>::Clone() const {
    return std::make_shared<External>(*this);
}

template <class T>
std::shared_ptr<object::Primitive<T, object::Object>> External<T>::Read(std::shared_ptr<void const> const& from) const {
    auto value = std::make_shared<object::Primitive<T, object::Object>>(this->Get());
    accessors.get(from, *value);
    this->Fill(value->Get());
    return value;
}

template class External<bool>;
template class External<std::uint16_t>;
template class External<std::uint32_t>;
template class External<double>;
template class External<std::string>;
template class External<std::chrono::milliseconds>;

}  // namespace qel::property
