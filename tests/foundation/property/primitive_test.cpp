#include "foundation/property/primitive.hpp"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/bad_cast.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/values.hpp"

namespace qel::tests {
namespace {

using object::BadCast;
using object::Object;
using property::Primitive;
using property::Range;
using std::chrono::milliseconds;
using testing::ThrowsMessage;
using namespace std::chrono_literals;

template <class T>
using ObjectOf = object::Primitive<T, Object>;

using UInt16 = Primitive<std::uint16_t>;
using UInt32 = Primitive<std::uint32_t>;
using Double = Primitive<double>;
using Milliseconds = Primitive<milliseconds>;
using Text = Primitive<std::string>;
using Bool = Primitive<bool>;

template <class T>
Primitive<T> Make(T value, T minimum, T maximum) {
    return Primitive<T>("size", value, Range<T>{minimum, maximum}, "The size");
}

template <class T>
std::string ValidValues(Primitive<T> const& property) {
    std::ostringstream stream;
    property.DescribeValidValues(stream);
    return stream.str();
}

template <class T>
class PropertyPrimitiveTest : public testing::Test {
protected:
    T const first = Values<T>::First();
    T const second = Values<T>::Second();
    Primitive<T> property{"setting", Values<T>::First(), "What it is for"};
};
TYPED_TEST_SUITE(PropertyPrimitiveTest, ValueTypes);

TYPED_TEST(PropertyPrimitiveTest, KnowsItsTextsAndType) {
    EXPECT_EQ(this->property.GetName(), "setting");
    EXPECT_EQ(this->property.GetDescription(), "What it is for");
    EXPECT_EQ(this->property.GetTypeNameId(), hash::MurmurThree32::MakeData(Primitive<TypeParam>::ClassTypeName));
}

TYPED_TEST(PropertyPrimitiveTest, HoldsItsValue) {
    EXPECT_EQ(this->property.Get(), this->first);
    this->property.Set(this->second);
    EXPECT_EQ(this->property.Get(), this->second);
}

TYPED_TEST(PropertyPrimitiveTest, GivesItsValueInANewObject) {
    auto const object = this->property.GetObject();
    EXPECT_EQ(object->template As<ObjectOf<TypeParam>>().Get(), this->first);
    EXPECT_NE(this->property.GetObject(), object);
    this->property.Set(this->second);
    EXPECT_EQ(object->template As<ObjectOf<TypeParam>>().Get(), this->first);
    EXPECT_EQ(this->property.GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->second);
}

TYPED_TEST(PropertyPrimitiveTest, IsVisitedAsWhatItIs) {
    property::Property& property = this->property;
    int visits = 0;
    EXPECT_TRUE(property::VisitPrimitive(property, [&]<class T>(Primitive<T>& visited) {
        EXPECT_TRUE((std::is_same_v<T, TypeParam>));
        EXPECT_EQ(&visited, &property);
        ++visits;
    }));
    EXPECT_TRUE(property::VisitPrimitive(std::as_const(property), [&]<class T>(Primitive<T> const& visited) {
        EXPECT_TRUE((std::is_same_v<T, TypeParam>));
        EXPECT_EQ(&visited, &property);
        ++visits;
    }));
    EXPECT_EQ(visits, 2);
}

TYPED_TEST(PropertyPrimitiveTest, IsSetFromAnObjectOfItsType) {
    Object const& object = ObjectOf<TypeParam>(this->second);
    this->property.Set(object);
    EXPECT_EQ(this->property.Get(), this->second);
}

TYPED_TEST(PropertyPrimitiveTest, IsSetFromAPropertyOfItsType) {
    Primitive<TypeParam> const other("other", this->second, "");
    this->property.Set(other);
    EXPECT_EQ(this->property.Get(), this->second);
    EXPECT_EQ(this->property.GetName(), "setting");
    EXPECT_EQ(this->property.GetDescription(), "What it is for");
}

TYPED_TEST(PropertyPrimitiveTest, IsSetFromItself) {
    Object const& itself = this->property;
    this->property.Set(itself);
    EXPECT_EQ(this->property.Get(), this->first);
}

TYPED_TEST(PropertyPrimitiveTest, RefusesAnObjectOfAnUnknownType) {
    EXPECT_THAT([&] { this->property.Set(Stranger()); },
                ThrowsMessage<BadCast>("Failed to cast the runtime object from '"));
    EXPECT_EQ(this->property.Get(), this->first);
}

TYPED_TEST(PropertyPrimitiveTest, RefusesAnObjectOfAnotherValueType) {
    auto const refuses = [&](Object const& other) {
        EXPECT_THAT([&] { this->property.Set(other); },
                    ThrowsMessage<BadCast>("Failed to cast the runtime object from '" +
                                           std::string(Object::TypeName(other.GetTypeNameId())) + "' to a '" +
                                           Primitive<TypeParam>::ClassTypeName + "'"));
        EXPECT_EQ(this->property.Get(), this->first);
    };
    auto const refusesOf = [&]<class Other>(Other const& value) {
        // A text is read and not refused for its type, and a number of 32 bits counts milliseconds.
        if constexpr (!std::is_same_v<Other, TypeParam>) {
            refuses(Primitive<Other>("other", value, ""));
            if constexpr (!(std::is_same_v<Other, std::uint32_t> && std::is_same_v<TypeParam, milliseconds>)) {
                refuses(ObjectOf<Other>(value));
            }
        }
    };
    refusesOf(true);
    refusesOf(std::uint16_t{1});
    refusesOf(std::uint32_t{1});
    refusesOf(1.0);
    refusesOf(1ms);
    if constexpr (std::is_same_v<TypeParam, bool>) {
        refusesOf(std::string("true"));
    }
}

TYPED_TEST(PropertyPrimitiveTest, IsCopiedWhole) {
    auto const object = this->property.Clone();
    auto const& copy = object->template As<Primitive<TypeParam>>();
    this->property.Set(this->second);
    EXPECT_EQ(copy.Get(), this->first);
    EXPECT_EQ(copy.GetName(), "setting");
    EXPECT_EQ(copy.GetDescription(), "What it is for");
}

// Ranges.

TEST(PropertyRangeTest, EndsAreInside) {
    auto property = Make<std::uint16_t>(7, 1, 300);
    property.Set(1);
    EXPECT_EQ(property.Get(), 1);
    property.Set(300);
    EXPECT_EQ(property.Get(), 300);
}

TEST(PropertyRangeTest, RefusesWhatIsOutside) {
    auto property = Make<std::uint16_t>(7, 1, 300);
    EXPECT_THAT([&] { property.Set(0); }, ThrowsMessage<std::out_of_range>(
                                              "The 'size' property only accepts values in the range of 1 to 300: 0"));
    EXPECT_THAT(
        [&] { property.Set(301); },
        ThrowsMessage<std::out_of_range>("The 'size' property only accepts values in the range of 1 to 300: 301"));
    EXPECT_EQ(property.Get(), 7);
}

TEST(PropertyRangeTest, HoldsForEveryWayOfSetting) {
    auto property = Make<std::uint32_t>(7, 1, 300);
    auto const refused =
        ThrowsMessage<std::out_of_range>("The 'size' property only accepts values in the range of 1 to 300: 301");
    EXPECT_THAT([&] { property.Set(object::UInt32(301)); }, refused);
    EXPECT_THAT([&] { property.Set(object::String("301")); }, refused);
    EXPECT_THAT([&] { property.Set(Text("other", "301", "")); }, refused);
    EXPECT_EQ(property.Get(), 7u);
}

TEST(PropertyRangeTest, OfDoublesIsWrittenWithSixDigits) {
    auto property = Make<double>(0.5, 0, 1);
    property.Set(0.0);
    property.Set(1.0);
    EXPECT_THAT([&] { property.Set(1.5); },
                ThrowsMessage<std::out_of_range>(
                    "The 'size' property only accepts values in the range of 0.000000 to 1.000000: 1.500000"));
    EXPECT_THAT([&] { property.Set(std::nextafter(1.0, 2.0)); },
                ThrowsMessage<std::out_of_range>(
                    "The 'size' property only accepts values in the range of 0.000000 to 1.000000: 1.000000"));
    EXPECT_THAT([&] { property.Set(-std::numeric_limits<double>::infinity()); },
                ThrowsMessage<std::out_of_range>(
                    "The 'size' property only accepts values in the range of 0.000000 to 1.000000: -inf"));
    EXPECT_EQ(property.Get(), 1.0);
}

TEST(PropertyRangeTest, OfDoublesHoldsNaN) {
    double const nan = std::numeric_limits<double>::quiet_NaN();
    std::function<void(Double&)> const ways[] = {
        [&](Double& property) { property.Set(nan); },
        [&](Double& property) { property.Set(object::Double(nan)); },
        [&](Double& property) { property.Set(object::String("nan")); },
        [&](Double& property) { property.Set(Make<double>(nan, 2, 3)); },
    };
    for (auto const& set : ways) {
        auto property = Make<double>(0.5, 0, 1);
        set(property);
        EXPECT_TRUE(std::isnan(property.Get()));
    }
}

TEST(PropertyRangeTest, OfDurationsIsWrittenInMilliseconds) {
    auto property = Make<milliseconds>(1s, 100ms, 24h);
    property.Set(100ms);
    property.Set(24h);
    EXPECT_THAT([&] { property.Set(99ms); },
                ThrowsMessage<std::out_of_range>(
                    "The 'size' property only accepts values in the range of 100 to 86400000: 99"));
    EXPECT_THAT([&] { property.Set(object::String("86400001")); },
                ThrowsMessage<std::out_of_range>(
                    "The 'size' property only accepts values in the range of 100 to 86400000: 86400001"));
    EXPECT_EQ(property.Get(), 24h);
}

TEST(PropertyRangeTest, IsThatOfTheTypeWhenNoneIsGiven) {
    UInt16 sixteen("size", 7, "");
    sixteen.Set(0);
    sixteen.Set(65535);
    EXPECT_EQ(sixteen.Get(), 65535);
    EXPECT_EQ(sixteen.GetRange().minimum, 0);
    EXPECT_EQ(sixteen.GetRange().maximum, 65535);

    UInt32 thirtyTwo("size", 7, "");
    thirtyTwo.Set(0);
    thirtyTwo.Set(4294967295u);
    EXPECT_EQ(thirtyTwo.Get(), 4294967295u);

    Milliseconds duration("size", 7ms, "");
    duration.Set(milliseconds::min());
    duration.Set(milliseconds::max());
    EXPECT_EQ(duration.Get(), milliseconds::max());

    Double number("size", 7, "");
    number.Set(std::numeric_limits<double>::lowest());
    number.Set(std::numeric_limits<double>::max());
    EXPECT_EQ(number.Get(), std::numeric_limits<double>::max());
    EXPECT_THROW(number.Set(std::numeric_limits<double>::infinity()), std::out_of_range);
    EXPECT_THROW(number.Set(-std::numeric_limits<double>::infinity()), std::out_of_range);
}

TEST(PropertyRangeTest, DoesNotHoldForTheFirstValue) {
    auto property = Make<std::uint16_t>(0, 1, 300);
    EXPECT_EQ(property.Get(), 0);
    EXPECT_THROW(property.Set(0), std::out_of_range);
}

TEST(PropertyRangeTest, IsCopied) {
    auto const copy = Make<std::uint16_t>(7, 1, 300).Clone();
    EXPECT_EQ(copy->As<UInt16>().GetRange().minimum, 1);
    EXPECT_EQ(copy->As<UInt16>().GetRange().maximum, 300);
}

TEST(PropertyRangeTest, IsTakenOverFromAPropertyBeforeTheValue) {
    auto property = Make<std::uint32_t>(7, 1, 300);
    property.Set(Make<std::uint32_t>(70000, 1000, 80000));
    EXPECT_EQ(property.Get(), 70000u);
    EXPECT_EQ(property.GetRange().minimum, 1000u);
    EXPECT_EQ(property.GetRange().maximum, 80000u);
    EXPECT_THAT(
        [&] { property.Set(300); },
        ThrowsMessage<std::out_of_range>("The 'size' property only accepts values in the range of 1000 to 80000: 300"));
}

TEST(PropertyRangeTest, IsNotTakenOverWithAValueOutsideOfIt) {
    auto property = Make<std::uint32_t>(7, 1, 300);
    EXPECT_THAT(
        [&] { property.Set(Make<std::uint32_t>(5, 10, 20)); },
        ThrowsMessage<std::out_of_range>("The 'size' property only accepts values in the range of 10 to 20: 5"));
    EXPECT_EQ(property.Get(), 7u);
    EXPECT_EQ(property.GetRange().minimum, 1u);
    EXPECT_EQ(property.GetRange().maximum, 300u);
}

TEST(PropertyRangeTest, IsDescribed) {
    EXPECT_EQ(ValidValues(Make<std::uint16_t>(7, 0, 10)), "Must be a number between 0 to 10");
    EXPECT_EQ(ValidValues(Make<double>(7, 0, 10)), "Must be a number between 0 to 10");
    EXPECT_EQ(ValidValues(Make<double>(0, -0.25, 0.5)), "Must be a number between -0.25 to 0.5");
    EXPECT_EQ(ValidValues(Make<milliseconds>(1s, 100ms, 24h)), "Must be a number between 100 to 86400000");
    EXPECT_EQ(ValidValues(UInt32("size", 7, "")), "Must be a number between 0 to 4294967295");
    EXPECT_EQ(ValidValues(UInt16("size", 7, "")), "Must be a number between 0 to 65535");
}

TEST(PropertyRangeTest, IsDescribedInDecimalWhateverTheStreamIsSetTo) {
    std::ostringstream stream;
    stream << std::hex << std::showbase;
    Make<std::uint16_t>(17, 16, 32).DescribeValidValues(stream);
    EXPECT_EQ(stream.str(), "Must be a number between 16 to 32");
}

TEST(PropertyRangeTest, OfTextsAndBoolsIsNothing) {
    EXPECT_EQ(ValidValues(Text("text", "", "")), "");
    EXPECT_EQ(ValidValues(Bool("flag", true, "")), "");
}

// Texts.

TEST(PropertyTextTest, IsReadFromAnObjectOrAProperty) {
    UInt32 property("size", 7, "");
    property.Set(object::String("70000"));
    EXPECT_EQ(property.Get(), 70000u);
    property.Set(object::String("12abc"));
    EXPECT_EQ(property.Get(), 12u);
    property.Set(Text("other", " +13", ""));
    EXPECT_EQ(property.Get(), 13u);

    Double number("size", 7, "");
    number.Set(object::String("0.25"));
    EXPECT_EQ(number.Get(), 0.25);
    number.Set(Text("other", "-1e3", ""));
    EXPECT_EQ(number.Get(), -1000.0);

    Milliseconds duration("size", 7ms, "");
    duration.Set(object::String("1500"));
    EXPECT_EQ(duration.Get(), 1500ms);
    duration.Set(Text("other", "-3", ""));
    EXPECT_EQ(duration.Get(), -3ms);
}

TEST(PropertyTextTest, LeavesTheRangeAlone) {
    auto property = Make<std::uint32_t>(7, 1, 300);
    property.Set(object::String("12"));
    property.Set(Text("other", "13", ""));
    property.Set(object::UInt32(14));
    EXPECT_EQ(property.GetRange().minimum, 1u);
    EXPECT_EQ(property.GetRange().maximum, 300u);
}

TEST(PropertyTextTest, LetsPassTheErrorsOfParsing) {
    UInt32 property("size", 7, "");
    EXPECT_THAT([&] { property.Set(object::String("4294967296")); },
                ThrowsMessage<std::out_of_range>(
                    "The parsed value '4294967296' was out of range of the integer type: 0 to 4294967295"));
    EXPECT_THAT([&] { property.Set(object::String("abc")); },
                ThrowsMessage<std::invalid_argument>("Failed to parse the string into an unsigned integer: abc"));
    EXPECT_EQ(property.Get(), 7u);

    UInt16 sixteen("size", 7, "");
    EXPECT_THAT(
        [&] { sixteen.Set(object::String("70000")); },
        ThrowsMessage<std::out_of_range>("The parsed value '70000' was out of range of the integer type: 0 to 65535"));
    EXPECT_EQ(sixteen.Get(), 7);

    Double number("size", 7, "");
    EXPECT_THAT([&] { number.Set(object::String("1e309")); },
                ThrowsMessage<std::out_of_range>(
                    "The string was out of the range of a double-precision floating pointer number: 1e309"));
    EXPECT_EQ(number.Get(), 7.0);

    Milliseconds duration("size", 7ms, "");
    EXPECT_THAT([&] { duration.Set(object::String("soon")); },
                ThrowsMessage<std::invalid_argument>("Failed to parse the string into a signed integer: soon"));
    EXPECT_EQ(duration.Get(), 7ms);
}

TEST(PropertyTextTest, IsTakenAsItIsByAText) {
    Text property("text", "before", "");
    property.Set(object::String(" 12abc"));
    EXPECT_EQ(property.Get(), " 12abc");
    property.Set(Text("other", "", ""));
    EXPECT_EQ(property.Get(), "");
}

TEST(PropertyTextTest, IsNotReadByABool) {
    Bool property("flag", false, "");
    EXPECT_THAT(
        [&] { property.Set(object::String("true")); },
        ThrowsMessage<BadCast>("Failed to cast the runtime object from 'qel.object.String' to a 'qel.property.Bool'"));
    EXPECT_THAT([&] { property.Set(Text("other", "true", "")); },
                ThrowsMessage<BadCast>(
                    "Failed to cast the runtime object from 'qel.property.String' to a 'qel.property.Bool'"));
    EXPECT_FALSE(property.Get());
}

TEST(PropertyDurationTest, IsSetFromACountOfMilliseconds) {
    auto property = Make<milliseconds>(1s, 100ms, 24h);
    property.Set(object::UInt32(1500));
    EXPECT_EQ(property.Get(), 1500ms);
    EXPECT_THAT([&] { property.Set(object::UInt32(99)); },
                ThrowsMessage<std::out_of_range>(
                    "The 'size' property only accepts values in the range of 100 to 86400000: 99"));
    EXPECT_THAT([&] { property.Set(object::UInt16(1500)); },
                ThrowsMessage<BadCast>(
                    "Failed to cast the runtime object from 'qel.object.UInt16' to a 'qel.property.Milliseconds'"));
    EXPECT_EQ(property.Get(), 1500ms);

    Milliseconds unlimited("size", 7ms, "");
    unlimited.Set(object::UInt32(4294967295u));
    EXPECT_EQ(unlimited.Get(), 4294967295ms);
}

/// Takes even numbers only.
class Even : public UInt16 {
public:
    using UInt16::Set;
    using UInt16::UInt16;
    void Set(std::uint16_t value) override {
        if (value % 2 != 0) {
            throw std::invalid_argument("odd");
        }
        UInt16::Set(value);
    }
};

TEST(PropertyPrimitiveOverrideTest, SeesEveryValueThatIsSet) {
    Even property("size", 8, Range<std::uint16_t>{0, 10}, "");
    EXPECT_THROW(property.Set(object::UInt16(3)), std::invalid_argument);
    EXPECT_THROW(property.Set(object::String("3")), std::invalid_argument);
    EXPECT_THROW(property.Set(Make<std::uint16_t>(3, 1, 5)), std::invalid_argument);
    EXPECT_EQ(property.Get(), 8);
    EXPECT_EQ(property.GetRange().maximum, 10);
    property.Set(Make<std::uint16_t>(4, 1, 5));
    EXPECT_EQ(property.Get(), 4);
    EXPECT_EQ(property.GetRange().maximum, 5);
}

}  // namespace
}  // namespace qel::tests
