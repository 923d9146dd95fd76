#include "foundation/property/external/convert.hpp"

#include <chrono>
#include <cmath>
#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/property/primitive.hpp"
#include "foundation/type/bad_cast.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/values.hpp"

namespace qel::tests {
namespace {

using property::Primitive;
using property::external::Convert;
using testing::ThrowsMessage;

template <class T>
using ObjectOf = object::Primitive<T, object::Object>;

std::string Refusal(char const* typeName) {
    return std::string("Cannot set external property with a '") + typeName +
           "'. Make sure to use the same type as the property";
}

template <class T>
class ConvertTest : public testing::Test {};
TYPED_TEST_SUITE(ConvertTest, ValueTypes);

TYPED_TEST(ConvertTest, TakesObjectsAndPropertiesOfItsType) {
    auto const value = Values<TypeParam>::First();
    EXPECT_EQ(Convert<TypeParam>(ObjectOf<TypeParam>(value)), value);
    EXPECT_EQ(Convert<TypeParam>(Primitive<TypeParam>("name", value, "")), value);
}

TYPED_TEST(ConvertTest, RefusesEveryOtherType) {
    auto const refuses = [](object::Object const& object) {
        EXPECT_THAT([&] { Convert<TypeParam>(object); },
                    ThrowsMessage<type::BadCast>(Refusal(object::Object::TypeName(object.GetTypeNameId()))));
    };
    auto const refusesOf = [&]<class Other>(Other const& value) {
        if constexpr (!std::is_same_v<Other, TypeParam>) {
            refuses(Primitive<Other>("name", value, ""));
            if constexpr (!(std::is_same_v<Other, std::uint32_t> &&
                            std::is_same_v<TypeParam, std::chrono::milliseconds>)) {
                refuses(ObjectOf<Other>(value));
            }
        }
    };
    refusesOf(true);
    refusesOf(std::uint16_t{1});
    refusesOf(std::uint32_t{1});
    refusesOf(1.0);
    refusesOf(std::string("1"));
    refusesOf(std::chrono::milliseconds(1));
}

TYPED_TEST(ConvertTest, EndsItsMessageAtAnUnknownTypeName) {
    EXPECT_THAT([] { Convert<TypeParam>(Stranger()); },
                ThrowsMessage<type::BadCast>("Cannot set external property with a '"));
}

TEST(ConvertMessageTest, NamesTheTypeOfTheObject) {
    EXPECT_THAT([] { Convert<std::uint32_t>(object::UInt16(1)); },
                ThrowsMessage<type::BadCast>("Cannot set external property with a 'qel.object.UInt16'. Make sure to "
                                             "use the same type as the property"));
}

TEST(ConvertMillisecondsTest, TakesACountOfThem) {
    EXPECT_EQ(Convert<std::chrono::milliseconds>(object::UInt32(4294967295u)), std::chrono::milliseconds(4294967295));
}

TEST(ConvertDoubleTest, TakesNaN) {
    EXPECT_TRUE(std::isnan(Convert<double>(object::Double(std::numeric_limits<double>::quiet_NaN()))));
}

}  // namespace
}  // namespace qel::tests
