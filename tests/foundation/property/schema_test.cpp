#include "foundation/property/schema.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/primitive.hpp"
#include "tests/support/setting_host.hpp"
#include "tests/support/values.hpp"

namespace qel::tests {
namespace {

using object::Object;
using property::Primitive;
using property::Property;
using property::Schema;
using property::context::Direction;
using testing::ThrowsMessage;
using namespace std::chrono_literals;

template <class T>
using ObjectOf = object::Primitive<T, Object>;

template <class T>
class SchemaTest : public testing::Test {
protected:
    using Host = SettingHost<T>;

    T const first = Values<T>::First();
    T const second = Values<T>::Second();
    std::shared_ptr<Host> host = std::make_shared<Host>(first);
    Schema schema{"setting", Values<T>::Second(), &Host::SetValue, &Host::GetValue, "What it is for"};
};
TYPED_TEST_SUITE(SchemaTest, ValueTypes);

TYPED_TEST(SchemaTest, TellsWhatThereIsToSet) {
    EXPECT_EQ(this->schema.GetName(), "setting");
    EXPECT_EQ(this->schema.GetTypeName(), Primitive<TypeParam>::ClassTypeName);
    EXPECT_EQ(this->schema.GetDescription(), "What it is for");
    auto const& prototype = *this->schema.GetPrototype();
    EXPECT_EQ(prototype.GetName(), "setting");
    EXPECT_EQ(prototype.template As<Primitive<TypeParam>>().Get(), this->second);
    EXPECT_EQ(prototype.GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->second);
}

TYPED_TEST(SchemaTest, TellsWhatItsValueNamesAndWhichTextsThereAre) {
    EXPECT_EQ(this->schema.GetReference(), "");
    EXPECT_TRUE(this->schema.GetChoices().empty());
    auto schema = this->schema;
    schema.SetReference("zone.line");
    schema.SetChoices({"one", "two"});
    EXPECT_EQ(schema.GetReference(), "zone.line");
    EXPECT_EQ(schema.GetChoices(), (std::vector<std::string>{"one", "two"}));
}

TYPED_TEST(SchemaTest, MakesPropertiesOfTheirOwn) {
    auto const one = this->schema.MakeProperty();
    auto const other = this->schema.MakeProperty();
    one->Set(ObjectOf<TypeParam>(this->first));
    EXPECT_EQ(one->GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->first);
    EXPECT_EQ(other->GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->second);
    EXPECT_EQ(this->schema.GetPrototype()->GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->second);
    EXPECT_EQ(one->shared_from_this(), one);
}

TYPED_TEST(SchemaTest, BindsAPropertyToATarget) {
    auto const property = this->schema.MakeProperty();
    this->schema.Bind(property, SettingHost<TypeParam>::TargetOf(this->host), Direction::FromTarget);
    EXPECT_EQ(property->template As<Primitive<TypeParam>>().Get(), this->first);
    property->Set(ObjectOf<TypeParam>(this->second));
    EXPECT_EQ(this->host->value, this->second);

    auto const other = this->schema.MakeProperty();
    this->host->value = this->first;
    this->schema.Bind(other, SettingHost<TypeParam>::TargetOf(this->host), Direction::ToTarget);
    EXPECT_EQ(other->template As<Primitive<TypeParam>>().Get(), this->second);
    EXPECT_EQ(other->GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->first);
}

TYPED_TEST(SchemaTest, BindsEachPropertyToItsOwnTarget) {
    auto const otherHost = std::make_shared<SettingHost<TypeParam>>(this->first);
    auto const one = this->schema.MakeProperty();
    auto const other = this->schema.MakeProperty();
    this->schema.Bind(one, SettingHost<TypeParam>::TargetOf(this->host), Direction::ToTarget);
    this->schema.Bind(other, SettingHost<TypeParam>::TargetOf(otherHost), Direction::ToTarget);
    other->Set(ObjectOf<TypeParam>(this->second));
    EXPECT_EQ(this->host->sets, 0);
    EXPECT_EQ(otherHost->value, this->second);
}

TYPED_TEST(SchemaTest, BindsNothingByItself) {
    auto const property = this->schema.MakeProperty();
    this->schema.Bind(property, SettingHost<TypeParam>::TargetOf(this->host), Direction::ToTarget);
    this->schema.MakeProperty()->Set(ObjectOf<TypeParam>(this->first));
    EXPECT_EQ(this->host->sets, 0);
}

TYPED_TEST(SchemaTest, IsMadeFromFunctions) {
    Schema const schema("setting", this->second, &SetHostValue<TypeParam>, &GetHostValue<TypeParam>, "Described");
    EXPECT_EQ(schema.GetName(), "setting");
    EXPECT_EQ(schema.GetTypeName(), Primitive<TypeParam>::ClassTypeName);
    EXPECT_EQ(schema.GetDescription(), "Described");
    auto const property = schema.MakeProperty();
    EXPECT_EQ(property->template As<Primitive<TypeParam>>().Get(), this->second);
    schema.Bind(property, SettingHost<TypeParam>::TargetOf(this->host), Direction::ToTarget);
    property->Set(ObjectOf<TypeParam>(this->second));
    EXPECT_EQ(this->host->value, this->second);
}

TYPED_TEST(SchemaTest, IsMadeFromFunctionsWithoutADefault) {
    Schema const schema("setting", &SetHostValue<TypeParam>, &GetHostValue<TypeParam>, "Described");
    EXPECT_EQ(schema.GetDescription(), "Described");
    auto const property = schema.MakeProperty();
    EXPECT_EQ(property->template As<Primitive<TypeParam>>().Get(), TypeParam());
    schema.Bind(property, SettingHost<TypeParam>::TargetOf(this->host), Direction::FromTarget);
    EXPECT_EQ(property->template As<Primitive<TypeParam>>().Get(), this->first);
}

TYPED_TEST(SchemaTest, NeedsBothAccessors) {
    using Host = SettingHost<TypeParam>;
    void (Host::*const noSet)(TypeParam) = nullptr;
    void (*const noSetFunction)(Host*, TypeParam) = nullptr;
    EXPECT_THAT([&] { Schema("setting", this->first, noSet, &Host::GetValue, ""); },
                ThrowsMessage<std::invalid_argument>("Must provide a set member function for an external property"));
    EXPECT_THAT([&] { Schema("setting", this->first, &Host::SetValue, nullptr, ""); },
                ThrowsMessage<std::invalid_argument>("Must provide a get member function for an external property"));
    EXPECT_THAT([&] { Schema("setting", noSetFunction, &GetHostValue<TypeParam>, ""); },
                ThrowsMessage<std::invalid_argument>("Must provide a set structure function for an external property"));
    EXPECT_THAT([&] { Schema("setting", this->first, &SetHostValue<TypeParam>, nullptr, ""); },
                ThrowsMessage<std::invalid_argument>("Must provide a get structure function for an external property"));
}

TEST(SchemaRangeTest, HoldsForItsProperties) {
    using Host = SettingHost<std::uint16_t>;
    Schema const schema("channel", 0, &Host::SetValue, &Host::GetValue, 1, 300, "The channel");
    auto const property = schema.MakeProperty();
    EXPECT_THAT(
        [&] { property->Set(object::UInt16(301)); },
        ThrowsMessage<std::out_of_range>("The 'channel' property only accepts values in the range of 1 to 300: 301"));
    std::ostringstream description;
    schema.GetPrototype()->DescribeValidValues(description);
    EXPECT_EQ(description.str(), "Must be a number between 1 to 300");
    EXPECT_EQ(schema.GetPrototype()->As<Primitive<std::uint16_t>>().Get(), 0);
}

TEST(SchemaRangeTest, TakesEndsInAnyUnitOfTime) {
    using Host = SettingHost<std::chrono::milliseconds>;
    Schema const schema("interval", 1s, &Host::SetValue, &Host::GetValue, 100ms, 24h, "The interval");
    auto const& range = schema.GetPrototype()->As<Primitive<std::chrono::milliseconds>>().GetRange();
    EXPECT_EQ(range.minimum, 100ms);
    EXPECT_EQ(range.maximum, 86400000ms);
}

TEST(SchemaRangeTest, TakesWholeNumbersForTheEndsOfDoubles) {
    using Host = SettingHost<double>;
    Schema const schema("share", 0.5, &Host::SetValue, &Host::GetValue, 0, 1, "The share");
    auto const& range = schema.GetPrototype()->As<Primitive<double>>().GetRange();
    EXPECT_EQ(range.minimum, 0.0);
    EXPECT_EQ(range.maximum, 1.0);
}

TEST(SchemaBindTest, RefusesANullProperty) {
    using Host = SettingHost<bool>;
    Schema const schema("flag", true, &Host::SetValue, &Host::GetValue, "");
    EXPECT_THAT([&] { schema.Bind(nullptr, std::make_shared<Host>(), Direction::ToTarget); },
                ThrowsMessage<std::invalid_argument>("Schema::Bind: a property must not be null"));
}

TEST(SchemaBindTest, RefusesAPropertyThatIsNotExternal) {
    using Host = SettingHost<bool>;
    Schema const schema("flag", true, &Host::SetValue, &Host::GetValue, "");
    EXPECT_THAT(
        [&] {
            schema.Bind(std::make_shared<Primitive<bool>>("plain", true, ""), std::make_shared<Host>(),
                        Direction::ToTarget);
        },
        ThrowsMessage<std::logic_error>("The 'plain' property is not external and cannot be bound to a target"));
}

TEST(SchemaListTest, IsBuiltInPlaceAndCopied) {
    using Host = SettingHost<bool>;
    std::vector<Schema> schemas;
    schemas.emplace_back("one", true, &Host::SetValue, &Host::GetValue, "The first");
    schemas.emplace_back("two", &SetHostValue<bool>, &GetHostValue<bool>, "The second");
    auto const copies = schemas;
    EXPECT_EQ(copies.at(0).GetName(), "one");
    EXPECT_EQ(copies.at(1).GetName(), "two");
    EXPECT_EQ(copies.at(0).GetPrototype(), schemas.at(0).GetPrototype());
}

// The way of a host that knows the names of settings only.
TEST(SchemaListTest, IsAllThatAHostNeedsToWriteAndRead) {
    using Host = SettingHost<std::uint32_t>;
    std::vector<Schema> const schemas{Schema("input", 7, &Host::SetValue, &Host::GetValue, 0, 80000, "The source")};
    auto const host = std::make_shared<Host>(9u);
    for (auto const& schema : schemas) {
        std::shared_ptr<Property> const property = schema.MakeProperty();
        schema.Bind(property, Host::TargetOf(host), Direction::ToTarget);
        property->Set(*schema.GetPrototype()->GetObject());
        EXPECT_EQ(host->value, 7u);
        property->Set(object::UInt32(70000));
        EXPECT_EQ(host->value, 70000u);
        EXPECT_TRUE(property->GetObject()->As<object::UInt32>().EqualTo(object::UInt32(70000)));
    }
}

}  // namespace
}  // namespace qel::tests
