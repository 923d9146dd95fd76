#include "foundation/property/property.hpp"

#include <cstdint>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/primitive.hpp"
#include "foundation/property/primitive.hpp"

namespace qel::tests {
namespace {

using property::context::Direction;
using testing::ThrowsMessage;

/// A property of another library, with only what it must have.
class OtherProperty : public property::Property {
public:
    static constexpr char const* ClassTypeName = "qel.tests.OtherProperty";

    OtherProperty() : Property(object::TypeIdOf<OtherProperty>, "other", "Some other property") {}

    void Set(object::Object const& other) override { value = other.As<object::Bool>().Get(); }
    std::shared_ptr<object::Object const> GetObject() const override { return std::make_shared<object::Bool>(value); }
    void DescribeValidValues(std::ostream& stream) const override { stream << "Must be a bool"; }
    std::shared_ptr<object::Object> Clone() const override { return std::make_shared<OtherProperty>(*this); }

    bool value = false;
};

/// A property of another library that stores any number.
class OtherNumber : public object::Primitive<std::uint16_t, property::Property> {
public:
    OtherNumber() : Primitive(7, "number", "Some number") {}

    using Primitive::Set;
    void Set(object::Object const& other) override { Set(other.As<object::UInt16>().Get()); }
    std::shared_ptr<object::Object const> GetObject() const override { return std::make_shared<object::UInt16>(Get()); }
    void DescribeValidValues(std::ostream&) const override {}
    std::shared_ptr<object::Object> Clone() const override { return std::make_shared<OtherNumber>(*this); }
};

TEST(PropertyTest, KnowsItsNameDescriptionAndType) {
    OtherProperty const property;
    EXPECT_EQ(property.GetName(), "other");
    EXPECT_EQ(property.GetDescription(), "Some other property");
    EXPECT_EQ(property.GetTypeNameId(), hash::MurmurThree32::MakeData("qel.tests.OtherProperty"));
}

TEST(PropertyTest, IsNotVisitedAsAPrimitiveWhenItIsNone) {
    OtherProperty property;
    EXPECT_FALSE(property::VisitPrimitive(property, [](auto&) { FAIL(); }));
}

TEST(PropertyTest, IsADynamicObject) {
    OtherProperty const property;
    object::Object const& object = property;
    EXPECT_TRUE(object.Is<OtherProperty>());
    auto const copy = object.Clone();
    EXPECT_EQ(copy->As<OtherProperty>().GetName(), "other");
    EXPECT_EQ(copy->As<OtherProperty>().GetDescription(), "Some other property");
}

TEST(PropertyTest, HoldsAnyValueWhenItSaysNothingElse) {
    OtherNumber property;
    EXPECT_EQ(property.Get(), 7u);
    property.Set(object::UInt16(65535));
    EXPECT_EQ(property.Get(), 65535u);
    property.Set(std::uint16_t{0});
    EXPECT_EQ(property.GetObject()->As<object::UInt16>().Get(), 0u);
    EXPECT_TRUE(property.EqualTo(object::UInt16(0)));
    EXPECT_FALSE(property.EqualTo(object::UInt16(1)));
    EXPECT_FALSE(property.EqualTo(property)) << "only a plain object";
    EXPECT_EQ(property.GetTypeNameId(), hash::MurmurThree32::MakeData("qel.property.UInt16"));
}

TEST(PropertyTest, IsNotAssigned) { EXPECT_FALSE(std::is_copy_assignable_v<OtherProperty>); }

TEST(PropertyTest, RefusesToBeBoundWhenItIsNotExternal) {
    OtherProperty property;
    for (auto const direction : {Direction::ToTarget, Direction::FromTarget}) {
        EXPECT_THAT(
            [&] { property.Bind(std::make_shared<int>(1), direction); },
            ThrowsMessage<std::logic_error>("The 'other' property is not external and cannot be bound to a target"));
        EXPECT_THROW(property.Bind(nullptr, direction), std::logic_error);
    }
}

}  // namespace
}  // namespace qel::tests
