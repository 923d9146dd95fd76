#include "foundation/meta/data/observable.hpp"

#include "foundation/meta/key_changes.hpp"

namespace qel::meta::data {

Observable::Observable(unsigned int id) : Object(object::TypeIdOf<Observable>), id(id) {}

Observable::Observable(Observable const& other) : Object(other), id(other.GetId()) {}

Observable::~Observable() = default;

void Observable::SetId(unsigned int newId) {
    id.store(newId, std::memory_order_relaxed);
    CountKeyChange();
}

std::shared_ptr<object::Object> Observable::Clone() const { return std::make_shared<Observable>(*this); }

}  // namespace qel::meta::data
