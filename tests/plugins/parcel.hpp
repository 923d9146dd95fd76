#pragma once

#include <memory>
#include <string>
#include <utility>

#include "foundation/object/object.hpp"

namespace qel::tests {

/// A dynamic object of a class of which the test and each plug-in have a copy of their own: none of them exports it.
class Parcel : public object::Object {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Parcel";

    explicit Parcel(std::string sender) : Object(object::TypeIdOf<Parcel>), sender(std::move(sender)) {}

    std::string const& GetSender() const { return sender; }

    std::shared_ptr<object::Object> Clone() const override { return std::make_shared<Parcel>(*this); }

private:
    std::string sender;
};

}  // namespace qel::tests
