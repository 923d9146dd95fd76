#pragma once

#include <memory>

#include "foundation/object/object.hpp"

namespace qel::tests {

/// A dynamic object of a kind that the system does not know; its name is not made known to it either.
class Stranger : public object::Object {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Stranger";

    explicit Stranger(int value = 0) : Object(object::TypeIdOf<Stranger>), value(value) {}

    std::shared_ptr<object::Object> Clone() const override { return std::make_shared<Stranger>(*this); }

    int value;
};

}  // namespace qel::tests
