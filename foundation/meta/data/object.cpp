#include "foundation/meta/data/object.hpp"

namespace qel::meta::data {

ObjectBase::~ObjectBase() = default;

template class detail::Object<ObjectType>;

}  // namespace qel::meta::data
