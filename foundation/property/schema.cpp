#include "foundation/property/schema.hpp"

#include <stdexcept>

namespace qel::property {

std::string Schema::GetTypeName() const { return object::Object::TypeName(prototype->GetTypeNameId()); }

std::shared_ptr<Property> Schema::MakeProperty() const {
    return std::static_pointer_cast<Property>(prototype->Clone());
}

void Schema::Bind(std::shared_ptr<Property> property, std::shared_ptr<void> target,
                  context::Direction direction) const {
    if (!property) {
        throw std::invalid_argument("Schema::Bind: a property must not be null");
    }
    property->Bind(std::move(target), direction);
}

}  // namespace qel::property
