#include "foundation/meta/data/zone.hpp"

#include <utility>

namespace qel::meta::data {

Zone::Zone(unsigned int id, std::string name, std::vector<Point> points, Shape shape)
    : Object(object::TypeIdOf<Zone>),
      id(id),
      body(std::make_shared<Body const>(Body{std::move(name), std::move(points), shape})) {}

Zone::~Zone() = default;

std::shared_ptr<object::Object> Zone::Clone() const { return std::make_shared<Zone>(*this); }

}  // namespace qel::meta::data
