#include "foundation/property/external.hpp"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/bad_cast.hpp"
#include "foundation/type/bad_cast.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/setting_host.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/values.hpp"

namespace qel::tests {
namespace {

using object::Object;
using property::External;
using property::Primitive;
using property::Range;
using property::context::Direction;
using std::chrono::milliseconds;
using testing::ThrowsMessage;
using namespace std::chrono_literals;

template <class T>
using ObjectOf = object::Primitive<T, Object>;

template <class T>
External<T> MakeByMembers(T value) {
    return External<T>("setting", value, &SettingHost<T>::SetValue, &SettingHost<T>::GetValue, "What it is for");
}

template <class T>
External<T> MakeByFunctions(T value) {
    return External<T>("setting", value, &SetHostValue<T>, &GetHostValue<T>, "What it is for");
}

template <class T>
class ExternalTest : public testing::Test {
protected:
    using Host = SettingHost<T>;

    void Bind(External<T>& property, Direction direction = Direction::ToTarget) {
        property.Bind(Host::TargetOf(host), direction);
    }

    T const first = Values<T>::First();
    T const second = Values<T>::Second();
    std::shared_ptr<Host> host = std::make_shared<Host>(first);
    External<T> property = MakeByMembers(second);
};
TYPED_TEST_SUITE(ExternalTest, ValueTypes);

TYPED_TEST(ExternalTest, IsMadeFromMembers) {
    EXPECT_EQ(this->property.GetName(), "setting");
    EXPECT_EQ(this->property.GetDescription(), "What it is for");
    EXPECT_EQ(this->property.Get(), this->second);
    EXPECT_EQ(this->property.GetTypeNameId(), hash::MurmurThree32::MakeData(Primitive<TypeParam>::ClassTypeName));
}

TYPED_TEST(ExternalTest, IsMadeFromFunctions) {
    auto property = MakeByFunctions(this->second);
    EXPECT_EQ(property.GetName(), "setting");
    EXPECT_EQ(property.GetDescription(), "What it is for");
    EXPECT_EQ(property.Get(), this->second);

    this->Bind(property);
    property.Set(ObjectOf<TypeParam>(this->second));
    EXPECT_EQ(this->host->value, this->second);
    this->host->value = this->first;
    EXPECT_EQ(property.GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->first);
}

TYPED_TEST(ExternalTest, StartsWithNothingWhenNoDefaultIsGiven) {
    External<TypeParam> const property("setting", &SetHostValue<TypeParam>, &GetHostValue<TypeParam>, "");
    EXPECT_EQ(property.Get(), TypeParam());
}

TYPED_TEST(ExternalTest, NeedsBothMembersAndAsksForTheSetterFirst) {
    using Host = SettingHost<TypeParam>;
    void (Host::*const noSet)(TypeParam) = nullptr;
    TypeParam (Host::*const noGet)() const = nullptr;
    auto const missingSet =
        ThrowsMessage<std::invalid_argument>("Must provide a set member function for an external property");
    auto const missingGet =
        ThrowsMessage<std::invalid_argument>("Must provide a get member function for an external property");
    EXPECT_THAT([&] { External<TypeParam>("setting", this->first, noSet, &Host::GetValue, ""); }, missingSet);
    EXPECT_THAT([&] { External<TypeParam>("setting", this->first, noSet, noGet, ""); }, missingSet);
    EXPECT_THAT([&] { External<TypeParam>("setting", this->first, &Host::SetValue, noGet, ""); }, missingGet);
    EXPECT_THAT([&] { External<TypeParam>("setting", this->first, &Host::SetValue, nullptr, ""); }, missingGet);
    if constexpr (property::Ranged<TypeParam>) {
        auto const end = this->first;
        EXPECT_THAT([&] { External<TypeParam>("setting", end, noSet, noGet, end, end, ""); }, missingSet);
        EXPECT_THAT([&] { External<TypeParam>("setting", end, &Host::SetValue, noGet, end, end, ""); }, missingGet);
    }
}

TYPED_TEST(ExternalTest, NeedsBothFunctionsAndAsksForTheSetterFirst) {
    using Host = SettingHost<TypeParam>;
    void (*const noSet)(Host*, TypeParam) = nullptr;
    TypeParam (*const noGet)(Host const*) = nullptr;
    auto* const get = &GetHostValue<TypeParam>;
    auto* const set = &SetHostValue<TypeParam>;
    auto const missingSet =
        ThrowsMessage<std::invalid_argument>("Must provide a set structure function for an external property");
    auto const missingGet =
        ThrowsMessage<std::invalid_argument>("Must provide a get structure function for an external property");
    EXPECT_THAT([&] { External<TypeParam>("setting", this->first, noSet, get, ""); }, missingSet);
    EXPECT_THAT([&] { External<TypeParam>("setting", this->first, noSet, noGet, ""); }, missingSet);
    EXPECT_THAT([&] { External<TypeParam>("setting", this->first, set, noGet, ""); }, missingGet);
    EXPECT_THAT([&] { External<TypeParam>("setting", noSet, noGet, ""); }, missingSet);
    EXPECT_THAT([&] { External<TypeParam>("setting", set, noGet, ""); }, missingGet);
}

TYPED_TEST(ExternalTest, KeepsItsValueToItselfUntilItIsBound) {
    this->property.Set(ObjectOf<TypeParam>(this->first));
    EXPECT_EQ(this->property.Get(), this->first);
    EXPECT_EQ(this->property.GetObject()->template As<ObjectOf<TypeParam>>().Get(), this->first);
    EXPECT_EQ(this->host->sets, 0);
}

TYPED_TEST(ExternalTest, BoundToTheTargetLeavesBothAsTheyAre) {
    this->Bind(this->property, Direction::ToTarget);
    EXPECT_EQ(this->property.Get(), this->second);
    EXPECT_EQ(this->host->value, this->first);
    EXPECT_EQ(this->host->sets, 0);
}

TYPED_TEST(ExternalTest, BoundFromTheTargetReadsAtOnce) {
    this->Bind(this->property, Direction::FromTarget);
    EXPECT_EQ(this->property.Get(), this->first);
    EXPECT_EQ(this->host->sets, 0);
}

TYPED_TEST(ExternalTest, WritesToItsTargetWhicheverWayItWasBound) {
    for (auto const direction : {Direction::ToTarget, Direction::FromTarget}) {
        this->host->value = this->first;
        this->host->sets = 0;
        this->Bind(this->property, direction);
        this->property.Set(ObjectOf<TypeParam>(this->second));
        EXPECT_EQ(this->property.Get(), this->second);
        EXPECT_EQ(this->host->value, this->second);
        EXPECT_EQ(this->host->sets, 1);
    }
}

TYPED_TEST(ExternalTest, ReadsFromItsTargetWhicheverWayItWasBound) {
    for (auto const direction : {Direction::ToTarget, Direction::FromTarget}) {
        this->Bind(this->property, direction);
        for (auto const& value : {this->second, this->first}) {
            this->host->value = value;
            auto const object = this->property.GetObject();
            EXPECT_EQ(object->template As<ObjectOf<TypeParam>>().Get(), value);
            EXPECT_EQ(this->property.Get(), value);
            EXPECT_NE(this->property.GetObject(), object);
        }
        EXPECT_EQ(this->host->sets, 0);
    }
}

TYPED_TEST(ExternalTest, WritesTheValueOfAPropertyToItsTarget) {
    this->Bind(this->property);
    this->property.Set(Primitive<TypeParam>("other", this->first, ""));
    EXPECT_EQ(this->property.Get(), this->first);
    EXPECT_EQ(this->host->value, this->first);
    this->property.Set(MakeByFunctions(this->second));
    EXPECT_EQ(this->property.Get(), this->second);
    EXPECT_EQ(this->host->value, this->second);
}

TYPED_TEST(ExternalTest, SetByAPlainValueReachesNoTarget) {
    this->Bind(this->property);
    this->property.Set(this->first);
    EXPECT_EQ(this->property.Get(), this->first);
    EXPECT_EQ(this->host->sets, 0);
}

TYPED_TEST(ExternalTest, IsReboundAndUnbound) {
    this->Bind(this->property);
    auto const other = std::make_shared<SettingHost<TypeParam>>(this->first);
    this->property.Bind(SettingHost<TypeParam>::TargetOf(other), Direction::ToTarget);
    this->property.Set(ObjectOf<TypeParam>(this->second));
    EXPECT_EQ(this->host->sets, 0);
    EXPECT_EQ(other->value, this->second);
    for (auto const direction : {Direction::FromTarget, Direction::ToTarget}) {
        this->property.Bind(nullptr, direction);
        EXPECT_EQ(this->property.Get(), this->second);
    }
    this->property.Set(ObjectOf<TypeParam>(this->first));
    EXPECT_EQ(other->sets, 1);
    EXPECT_EQ(this->property.Get(), this->first);
}

TYPED_TEST(ExternalTest, SharesItsTarget) {
    std::weak_ptr<SettingHost<TypeParam>> const watched = this->host;
    this->Bind(this->property);
    this->host.reset();
    EXPECT_FALSE(watched.expired());
    this->property.Set(ObjectOf<TypeParam>(this->second));
    this->property.Bind(nullptr, Direction::ToTarget);
    EXPECT_TRUE(watched.expired());
}

TYPED_TEST(ExternalTest, StaysAsItWasWhenTheTargetCannotBeRead) {
    auto const refusing = std::make_shared<SettingHost<TypeParam>>(this->first);
    refusing->refuse = true;
    this->Bind(this->property);
    EXPECT_THROW(this->property.Bind(SettingHost<TypeParam>::TargetOf(refusing), Direction::FromTarget),
                 typename SettingHost<TypeParam>::Refused);
    EXPECT_EQ(this->property.Get(), this->second);
    this->property.Set(ObjectOf<TypeParam>(this->second));
    EXPECT_EQ(this->host->value, this->second);

    this->host->refuse = true;
    EXPECT_THROW(this->property.GetObject(), typename SettingHost<TypeParam>::Refused);
    EXPECT_EQ(this->property.Get(), this->second);
}

TYPED_TEST(ExternalTest, StaysAsItWasWhenTheTargetRefusesTheValue) {
    this->Bind(this->property);
    this->host->refuse = true;
    EXPECT_THROW(this->property.Set(ObjectOf<TypeParam>(this->first)), typename SettingHost<TypeParam>::Refused);
    EXPECT_THROW(this->property.Set(Primitive<TypeParam>("other", this->first, "")),
                 typename SettingHost<TypeParam>::Refused);
    EXPECT_EQ(this->host->sets, 2);
    EXPECT_EQ(this->property.Get(), this->second);
    EXPECT_EQ(this->host->value, this->first);
}

TYPED_TEST(ExternalTest, IsCopiedWithItsBinding) {
    this->Bind(this->property);
    auto const copy = this->property.Clone();
    copy->template As<Primitive<TypeParam>>().Set(static_cast<Object const&>(ObjectOf<TypeParam>(this->first)));
    EXPECT_EQ(this->host->sets, 1);
    EXPECT_EQ(this->property.Get(), this->second);
    EXPECT_EQ(copy->template As<Primitive<TypeParam>>().Get(), this->first);
}

TYPED_TEST(ExternalTest, IsNoList) {
    ObjectOf<TypeParam> object(this->first);
    EXPECT_THAT([&] { this->property.Erase(object); },
                ThrowsMessage<std::logic_error>("A erase function has not been supplied for this external"));
    EXPECT_THAT([&] { this->property.Add(object); },
                ThrowsMessage<std::logic_error>("An add function has not been supplied for this external"));
    EXPECT_THAT([&] { this->property.SetAt(0, object); },
                ThrowsMessage<std::logic_error>("An set at function has not been supplied for this external"));
    EXPECT_EQ(this->property.Get(), this->second);
}

// Whichever step fails, property, range and host keep what they had.

struct FailingStep {
    char const* name;
    std::function<void(External<std::uint16_t>&)> set;
    char const* message;
};
void PrintTo(FailingStep const& step, std::ostream* stream) { *stream << step.name; }

class ExternalFailureTest : public testing::TestWithParam<FailingStep> {};

TEST_P(ExternalFailureTest, LeavesEverythingAsItWas) {
    using Host = SettingHost<std::uint16_t>;
    auto const host = std::make_shared<Host>(std::uint16_t{7});
    External<std::uint16_t> property("size", 8, &Host::SetValue, &Host::GetValue, 1, 300, "");
    property.Bind(Host::TargetOf(host), Direction::ToTarget);

    EXPECT_THAT([&] { GetParam().set(property); }, ThrowsMessage<std::exception>(GetParam().message));

    EXPECT_EQ(property.Get(), 8);
    EXPECT_EQ(property.GetRange().minimum, 1);
    EXPECT_EQ(property.GetRange().maximum, 300);
    EXPECT_EQ(host->value, 7);
    EXPECT_EQ(host->sets, 0);
    property.Set(object::UInt16(300));
    EXPECT_EQ(host->value, 300);
}

INSTANTIATE_TEST_SUITE_P(
    External, ExternalFailureTest,
    testing::Values(
        FailingStep{"Range", [](auto& property) { property.Set(object::UInt16(301)); },
                    "The 'size' property only accepts values in the range of 1 to 300: 301"},
        FailingStep{"RangeOfAnotherProperty",
                    [](auto& property) {
                        property.Set(Primitive<std::uint16_t>("other", 5, Range<std::uint16_t>{10, 20}, ""));
                    },
                    "The 'size' property only accepts values in the range of 10 to 20: 5"},
        FailingStep{"Parsing", [](auto& property) { property.Set(object::String("abc")); },
                    "Failed to parse the string into an unsigned integer: abc"},
        FailingStep{"ParsingOutOfRange", [](auto& property) { property.Set(object::String("70000")); },
                    "The parsed value '70000' was out of range of the integer type: 0 to 65535"},
        FailingStep{"RangeOfAText", [](auto& property) { property.Set(object::String("301")); },
                    "The 'size' property only accepts values in the range of 1 to 300: 301"},
        FailingStep{"Cast", [](auto& property) { property.Set(object::UInt32(9)); },
                    "Failed to cast the runtime object from 'qel.object.UInt32' to a 'qel.property.UInt16'"},
        FailingStep{"CastOfAStranger", [](auto& property) { property.Set(Stranger()); },
                    "Failed to cast the runtime object from '"},
        // A text that the property has understood and the conversion for the host refuses.
        FailingStep{"ConversionOfATextObject", [](auto& property) { property.Set(object::String("9")); },
                    "Cannot set external property with a 'qel.object.String'. Make sure to use the same type as the "
                    "property"},
        FailingStep{"ConversionOfATextProperty",
                    [](auto& property) { property.Set(Primitive<std::string>("other", "9", "")); },
                    "Cannot set external property with a 'qel.property.String'. Make sure to use the same type as the "
                    "property"}),
    [](auto const& info) { return std::string(info.param.name); });

TEST(ExternalHostFailureTest, TakesBackTheRangeOfAnotherProperty) {
    using Host = SettingHost<std::uint16_t>;
    auto const host = std::make_shared<Host>(std::uint16_t{7});
    External<std::uint16_t> property("size", 8, &Host::SetValue, &Host::GetValue, 1, 300, "");
    property.Bind(Host::TargetOf(host), Direction::ToTarget);
    host->refuse = true;
    EXPECT_THROW(property.Set(Primitive<std::uint16_t>("other", 15, Range<std::uint16_t>{10, 20}, "")), Host::Refused);
    EXPECT_EQ(property.Get(), 8);
    EXPECT_EQ(property.GetRange().minimum, 1);
    EXPECT_EQ(property.GetRange().maximum, 300);
    EXPECT_EQ(host->value, 7);
}

TEST(ExternalHostFailureTest, LeavesEverythingAsItWasWhenMemoryRunsOut) {
    using Host = SettingHost<std::string>;
    std::string const before(100, 'a');
    std::string const after(200, 'b');
    object::String const value(after);
    auto const host = std::make_shared<Host>(before);
    External<std::string> property("text", before, &Host::SetValue, &Host::GetValue, "");
    property.Bind(Host::TargetOf(host), Direction::ToTarget);
    std::size_t allocations = 0;
    for (; FailsForLackOfMemory(allocations, [&] { property.Set(value); }); ++allocations) {
        EXPECT_EQ(property.Get(), before);
        EXPECT_EQ(host->value, before);
    }
    EXPECT_GT(allocations, 0u);
    EXPECT_EQ(property.Get(), after);
    EXPECT_EQ(host->value, after);
}

TEST(ExternalTextTest, UnboundIsReadFromATextAndBoundIsNot) {
    using Host = SettingHost<milliseconds>;
    auto const host = std::make_shared<Host>(7ms);
    External<milliseconds> property("size", 8ms, &Host::SetValue, &Host::GetValue, "");
    property.Set(object::String("9"));
    EXPECT_EQ(property.Get(), 9ms);
    property.Bind(Host::TargetOf(host), Direction::ToTarget);
    EXPECT_THAT([&] { property.Set(object::String("10")); },
                ThrowsMessage<type::BadCast>("Cannot set external property with a 'qel.object.String'. Make sure to "
                                             "use the same type as the property"));
    EXPECT_EQ(property.Get(), 9ms);
    EXPECT_EQ(host->value, 7ms);
}

TEST(ExternalDurationTest, WritesACountOfMillisecondsToItsTarget) {
    using Host = SettingHost<milliseconds>;
    auto const host = std::make_shared<Host>(7ms);
    External<milliseconds> property("interval", 1s, &Host::SetValue, &Host::GetValue, 100ms, 24h, "");
    property.Bind(Host::TargetOf(host), Direction::ToTarget);
    property.Set(object::UInt32(1500));
    EXPECT_EQ(host->value, 1500ms);
    EXPECT_EQ(property.GetObject()->As<object::Milliseconds>().Get(), 1500ms);
}

TEST(ExternalRangeTest, TakesEndsInAnyUnitOfTime) {
    using Host = SettingHost<milliseconds>;
    External<milliseconds> property("interval", 1s, &Host::SetValue, &Host::GetValue, 100ms, 24h, "");
    EXPECT_EQ(property.GetRange().minimum, 100ms);
    EXPECT_EQ(property.GetRange().maximum, 86400000ms);
}

TEST(ExternalRangeTest, KeepsFractionsOfItsEnds) {
    using Host = SettingHost<double>;
    External<double> property("share", 0.5, &Host::SetValue, &Host::GetValue, 0.25, 0.75, "");
    EXPECT_THAT([&] { property.Set(object::Double(0.2)); },
                ThrowsMessage<std::out_of_range>(
                    "The 'share' property only accepts values in the range of 0.250000 to 0.750000: 0.200000"));
    std::ostringstream description;
    property.DescribeValidValues(description);
    EXPECT_EQ(description.str(), "Must be a number between 0.25 to 0.75");
}

TEST(ExternalRangeTest, IsThatOfTheTypeWhenNoneIsGiven) {
    auto const property = MakeByMembers<std::uint32_t>(7);
    EXPECT_EQ(property.GetRange().minimum, 0u);
    EXPECT_EQ(property.GetRange().maximum, 4294967295u);
}

TEST(ExternalRangeTest, DoesNotHoldForTheDefaultNorForWhatTheTargetHas) {
    using Host = SettingHost<std::uint16_t>;
    auto const host = std::make_shared<Host>(std::uint16_t{500});
    External<std::uint16_t> property("size", 0, &Host::SetValue, &Host::GetValue, 1, 300, "");
    EXPECT_EQ(property.Get(), 0);
    property.Bind(Host::TargetOf(host), Direction::FromTarget);
    EXPECT_EQ(property.Get(), 500);
}

TEST(ExternalDoubleTest, WritesNaNToItsTarget) {
    using Host = SettingHost<double>;
    auto const host = std::make_shared<Host>(7.0);
    External<double> property("share", 0.5, &Host::SetValue, &Host::GetValue, 0, 1, "");
    property.Bind(Host::TargetOf(host), Direction::ToTarget);
    property.Set(object::Double(std::numeric_limits<double>::quiet_NaN()));
    EXPECT_TRUE(std::isnan(property.Get()));
    EXPECT_TRUE(std::isnan(host->value));
}

/// Its target is a pointer to itself.
class PlainHost {
public:
    static constexpr char const* ClassTypeName = "qel.tests.PlainHost";
    void SetValue(bool next) noexcept { value = next; }
    bool GetValue() const noexcept { return value; }
    bool value = false;
};

TEST(ExternalTargetTest, IsTheHostItselfWhenTheHostNamesNoOther) {
    auto const host = std::make_shared<PlainHost>();
    External<bool> property("flag", false, &PlainHost::SetValue, &PlainHost::GetValue, "");
    property.Bind(host, Direction::ToTarget);
    property.Set(object::Bool(true));
    EXPECT_TRUE(host->value);
    EXPECT_TRUE(property.GetObject()->As<object::Bool>().Get());
}

/// Gets its value by a member of its base class.
class DerivedHost : public PlainHost {
public:
    static constexpr char const* ClassTypeName = "qel.tests.DerivedHost";
    void SetInverse(bool next) { value = !next; }
};

TEST(ExternalTargetTest, ReadsByAMemberThatTheHostInherits) {
    auto const host = std::make_shared<DerivedHost>();
    External<bool> property("flag", false, &DerivedHost::SetInverse, &DerivedHost::GetValue, "");
    property.Bind(host, Direction::ToTarget);
    property.Set(object::Bool(false));
    EXPECT_TRUE(property.GetObject()->As<object::Bool>().Get());
}

/// The common base, as the host of functions: it needs no type name.
void SetText(SettingTarget* target, std::string text) { dynamic_cast<SettingMixin&>(*target).text = std::move(text); }
std::string GetText(SettingTarget const* target) { return dynamic_cast<SettingMixin const&>(*target).text; }

TEST(ExternalTargetTest, IsTheCommonBaseForFunctionsThatTakeIt) {
    auto const host = std::make_shared<SettingHost<bool>>();
    External<std::string> property("text", &SetText, &GetText, "");
    property.Bind(SettingHost<bool>::TargetOf(host), Direction::FromTarget);
    EXPECT_EQ(property.Get(), "a mix-in");
    property.Set(object::String("new"));
    EXPECT_EQ(host->text, "new");
}

}  // namespace
}  // namespace qel::tests
