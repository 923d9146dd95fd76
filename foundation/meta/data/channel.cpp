#include "foundation/meta/data/channel.hpp"

#include <utility>

namespace qel::meta::data {

Channel::Channel(unsigned int id, std::string name)
    : Object(object::TypeIdOf<Channel>), id(id), name(std::move(name)) {}

Channel::~Channel() = default;

std::shared_ptr<object::Object> Channel::Clone() const { return std::make_shared<Channel>(*this); }

}  // namespace qel::meta::data
