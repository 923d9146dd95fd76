#include "foundation/object/primitive.hpp"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/bad_cast.hpp"
#include "foundation/property/primitive.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/values.hpp"

namespace qel::tests {
namespace {

using object::BadCast;
using object::Bool;
using object::Double;
using object::Milliseconds;
using object::Object;
using object::String;
using object::UInt16;
using object::UInt32;
using testing::ThrowsMessage;

template <class T>
using ObjectOf = object::Primitive<T, Object>;

TEST(PrimitiveNamesTest, AreThoseOfTheirTypes) {
    EXPECT_STREQ(Bool::ClassTypeName, "qel.object.Bool");
    EXPECT_STREQ(UInt16::ClassTypeName, "qel.object.UInt16");
    EXPECT_STREQ(UInt32::ClassTypeName, "qel.object.UInt32");
    EXPECT_STREQ(Double::ClassTypeName, "qel.object.Double");
    EXPECT_STREQ(String::ClassTypeName, "qel.object.String");
    EXPECT_STREQ(Milliseconds::ClassTypeName, "qel.object.Milliseconds");
    EXPECT_STREQ(property::Primitive<bool>::ClassTypeName, "qel.property.Bool");
    EXPECT_STREQ(property::Primitive<std::uint16_t>::ClassTypeName, "qel.property.UInt16");
    EXPECT_STREQ(property::Primitive<std::uint32_t>::ClassTypeName, "qel.property.UInt32");
    EXPECT_STREQ(property::Primitive<double>::ClassTypeName, "qel.property.Double");
    EXPECT_STREQ(property::Primitive<std::string>::ClassTypeName, "qel.property.String");
    EXPECT_STREQ(property::Primitive<std::chrono::milliseconds>::ClassTypeName, "qel.property.Milliseconds");
}

TEST(PrimitiveNamesTest, BelongToTheAliases) {
    EXPECT_TRUE((std::is_same_v<Bool, ObjectOf<bool>>));
    EXPECT_TRUE((std::is_same_v<UInt16, ObjectOf<std::uint16_t>>));
    EXPECT_TRUE((std::is_same_v<UInt32, ObjectOf<std::uint32_t>>));
    EXPECT_TRUE((std::is_same_v<Double, ObjectOf<double>>));
    EXPECT_TRUE((std::is_same_v<String, ObjectOf<std::string>>));
    EXPECT_TRUE((std::is_same_v<Milliseconds, ObjectOf<std::chrono::milliseconds>>));
}

template <class T>
class ObjectPrimitiveTest : public testing::Test {
protected:
    T const first = Values<T>::First();
    T const second = Values<T>::Second();
};
TYPED_TEST_SUITE(ObjectPrimitiveTest, ValueTypes);

TYPED_TEST(ObjectPrimitiveTest, HoldsItsValue) {
    ObjectOf<TypeParam> object(this->first);
    EXPECT_EQ(object.Get(), this->first);
    object.Set(this->second);
    EXPECT_EQ(object.Get(), this->second);
}

TYPED_TEST(ObjectPrimitiveTest, IsOfItsType) {
    ObjectOf<TypeParam> const object(this->first);
    EXPECT_EQ(object.GetTypeNameId(), hash::MurmurThree32::MakeData(ObjectOf<TypeParam>::ClassTypeName));
    EXPECT_STREQ(Object::TypeName(object.GetTypeNameId()), ObjectOf<TypeParam>::ClassTypeName);
    Object const& base = object;
    EXPECT_EQ(&base.As<ObjectOf<TypeParam>>(), &object);
    EXPECT_FALSE(base.Is<property::Primitive<TypeParam>>());
}

TYPED_TEST(ObjectPrimitiveTest, IsCopiedWhole) {
    ObjectOf<TypeParam> object(this->first);
    auto const copy = object.Clone();
    object.Set(this->second);
    EXPECT_EQ(copy->template As<ObjectOf<TypeParam>>().Get(), this->first);
    EXPECT_EQ(copy->shared_from_this(), copy);
}

TYPED_TEST(ObjectPrimitiveTest, TakesTheValueOfAnObjectOfItsType) {
    ObjectOf<TypeParam> object(this->first);
    Object const& other = ObjectOf<TypeParam>(this->second);
    object.Set(other);
    EXPECT_EQ(object.Get(), this->second);
    object.Set(static_cast<Object const&>(object));
    EXPECT_EQ(object.Get(), this->second);
}

TYPED_TEST(ObjectPrimitiveTest, EqualsOnlyAnObjectOfItsTypeAndValue) {
    ObjectOf<TypeParam> const object(this->first);
    EXPECT_TRUE(object.EqualTo(object));
    EXPECT_TRUE(object.EqualTo(ObjectOf<TypeParam>(this->first)));
    EXPECT_FALSE(object.EqualTo(ObjectOf<TypeParam>(this->second)));
    EXPECT_FALSE(object.EqualTo(Stranger()));
    EXPECT_FALSE(object.EqualTo(property::Primitive<TypeParam>("name", this->first, "")));
}

TYPED_TEST(ObjectPrimitiveTest, RefusesAPropertyAndAStranger) {
    ObjectOf<TypeParam> object(this->first);
    std::string const name = ObjectOf<TypeParam>::ClassTypeName;
    property::Primitive<TypeParam> const sameValueType("name", this->second, "");
    EXPECT_THAT(
        [&] { object.Set(sameValueType); },
        ThrowsMessage<BadCast>("Failed to cast the runtime object from '" +
                               std::string(property::Primitive<TypeParam>::ClassTypeName) + "' to a '" + name + "'"));
    EXPECT_THAT([&] { object.Set(Stranger()); }, ThrowsMessage<BadCast>("Failed to cast the runtime object from '"));
    EXPECT_EQ(object.Get(), this->first);
}

TEST(ObjectPrimitiveWidthTest, IsNotEqualToAnotherTypeOfTheSameNumber) {
    EXPECT_FALSE(UInt16(1).EqualTo(UInt32(1)));
    EXPECT_FALSE(UInt32(1).EqualTo(UInt16(1)));
    EXPECT_FALSE(UInt32(1).EqualTo(Double(1)));
    EXPECT_FALSE(UInt32(1).EqualTo(Bool(true)));
    EXPECT_FALSE(UInt32(1).EqualTo(Milliseconds(std::chrono::milliseconds(1))));
    EXPECT_FALSE(String("1").EqualTo(UInt32(1)));
}

TEST(ObjectPrimitiveWidthTest, IsNotSetFromAnotherTypeOfNumber) {
    UInt32 object(7);
    EXPECT_THAT(
        [&] { object.Set(UInt16(1)); },
        ThrowsMessage<BadCast>("Failed to cast the runtime object from 'qel.object.UInt16' to a 'qel.object.UInt32'"));
    EXPECT_THAT(
        [&] { object.Set(Bool(true)); },
        ThrowsMessage<BadCast>("Failed to cast the runtime object from 'qel.object.Bool' to a 'qel.object.UInt32'"));
    EXPECT_EQ(object.Get(), 7u);
}

TEST(ObjectPrimitiveDoubleTest, ComparesAsDoublesDo) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(Double(nan).EqualTo(Double(nan)));
    EXPECT_TRUE(Double(0.0).EqualTo(Double(-0.0)));
    EXPECT_FALSE(Double(0.1 + 0.2).EqualTo(Double(0.3)));
}

TEST(ObjectPrimitiveTextTest, IsReadFromATextObject) {
    UInt16 sixteen(0);
    sixteen.Set(String(" 12abc"));
    EXPECT_EQ(sixteen.Get(), 12);
    UInt32 thirtyTwo(0);
    thirtyTwo.Set(String("70000"));
    EXPECT_EQ(thirtyTwo.Get(), 70000u);
    Double number(0);
    number.Set(String("-1.5"));
    EXPECT_EQ(number.Get(), -1.5);
    number.Set(String("nan"));
    EXPECT_TRUE(std::isnan(number.Get()));
    Milliseconds duration(std::chrono::milliseconds(0));
    duration.Set(String("-1500"));
    EXPECT_EQ(duration.Get(), std::chrono::milliseconds(-1500));
}

TEST(ObjectPrimitiveTextTest, LetsPassTheErrorsOfParsing) {
    UInt16 sixteen(7);
    EXPECT_THAT([&] { sixteen.Set(String("abc")); },
                ThrowsMessage<std::invalid_argument>("Failed to parse the string into an unsigned integer: abc"));
    EXPECT_THAT(
        [&] { sixteen.Set(String("70000")); },
        ThrowsMessage<std::out_of_range>("The parsed value '70000' was out of range of the integer type: 0 to 65535"));
    EXPECT_EQ(sixteen.Get(), 7);
}

TEST(ObjectPrimitiveTextTest, IsTakenAsItIsByAText) {
    String text("before");
    text.Set(String(" 12abc"));
    EXPECT_EQ(text.Get(), " 12abc");
}

TEST(ObjectPrimitiveTextTest, IsNotReadByABool) {
    Bool object(false);
    EXPECT_THAT(
        [&] { object.Set(String("true")); },
        ThrowsMessage<BadCast>("Failed to cast the runtime object from 'qel.object.String' to a 'qel.object.Bool'"));
    EXPECT_FALSE(object.Get());
}

// A property, as the same template on top of property::Property.

template <class T>
class PropertyFlavourTest : public testing::Test {};
TYPED_TEST_SUITE(PropertyFlavourTest, ValueTypes);

TYPED_TEST(PropertyFlavourTest, EqualsAnObjectAndNoProperty) {
    auto const first = Values<TypeParam>::First();
    property::Primitive<TypeParam> const property("name", first, "");
    object::Primitive<TypeParam, property::Property> const& base = property;
    EXPECT_EQ(base.Get(), first);
    EXPECT_TRUE(base.EqualTo(ObjectOf<TypeParam>(first)));
    EXPECT_FALSE(base.EqualTo(ObjectOf<TypeParam>(Values<TypeParam>::Second())));
    EXPECT_FALSE(base.EqualTo(property));
    EXPECT_FALSE(base.EqualTo(Stranger()));
}

}  // namespace
}  // namespace qel::tests
