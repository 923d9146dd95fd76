#include "foundation/property/property.hpp"

#include <stdexcept>
#include <utility>

namespace qel::property {

Property::Property(hash::MurmurThree32 const& type, std::string name, std::string description)
    : Object(type), name(std::move(name)), description(std::move(description)) {}

Property::~Property() = default;

void Property::Bind(std::shared_ptr<void>, context::Direction) {
    throw std::logic_error("The '" + name + "' property is not external and cannot be bound to a target");
}

}  // namespace qel::property
