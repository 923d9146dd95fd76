#include "foundation/object/object.hpp"

#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/object/bad_cast.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using hash::MurmurThree32;
using meta::data::Event;
using meta::data::Zone;
using object::BadCast;
using object::Object;
using testing::ThrowsMessage;

char const* NameOf(char const* text) { return Object::TypeName(MurmurThree32::MakeData(text)); }

/// A class of another library that goes by the same name as `Stranger`.
class StrangersTwin : public Stranger {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Stranger";
};

/// A zone to the compiler, and something else by its name.
class NoZone : public Zone {
public:
    static constexpr char const* ClassTypeName = "qel.tests.NoZone";
};

/// Takes its type as an argument.
class Typed : public Object {
public:
    Typed(char const* name, int value) : Object(MurmurThree32::MakeData(name)), value(value) {}

    std::shared_ptr<Object> Clone() const override { return std::make_shared<Typed>(*this); }

    int value;
};

TEST(ObjectTest, IsWhatItsTypeNameSays) {
    Zone const zone(1);
    Object const& object = zone;
    EXPECT_TRUE(object.Is<Zone>());
    EXPECT_FALSE(object.Is<Event>());
    EXPECT_FALSE(object.Is<Stranger>());
    EXPECT_EQ(object.GetTypeNameId(), MurmurThree32::MakeData("qel.meta.data.Zone"));
}

TEST(ObjectTest, IsTypedByNameAndNotByTheCompiler) {
    Stranger const stranger;
    EXPECT_TRUE(stranger.Is<StrangersTwin>());
    Zone const zone(1);
    EXPECT_FALSE(zone.Is<NoZone>());
    Typed const named("qel.tests.NoZone", 0);
    EXPECT_TRUE(named.Is<NoZone>());
    EXPECT_FALSE(named.Is<Zone>());
}

TEST(ObjectTest, IsCastToTheTypeThatItHas) {
    Zone zone(1);
    Object& object = zone;
    EXPECT_EQ(&object.As<Zone>(), &zone);
    EXPECT_EQ(&std::as_const(object).As<Zone>(), &zone);
    static_assert(std::is_same_v<decltype(object.As<Zone>()), Zone&>);
    static_assert(std::is_same_v<decltype(std::as_const(object).As<Zone>()), Zone const&>);
}

TEST(ObjectTest, NamesBothTypesWhenACastFails) {
    Zone zone(1);
    Object& object = zone;
    auto const message = "Failed to cast the runtime object from 'qel.meta.data.Zone' to a 'qel.meta.data.Event'";
    EXPECT_THAT([&] { object.As<Event>(); }, ThrowsMessage<BadCast>(message));
    EXPECT_THAT([&] { std::as_const(object).As<Event>(); }, ThrowsMessage<BadCast>(message));
}

TEST(ObjectTest, NamesAWantedTypeThatNobodyMadeKnown) {
    Zone const zone(1);
    EXPECT_THAT([&] { zone.As<Stranger>(); },
                ThrowsMessage<BadCast>(
                    "Failed to cast the runtime object from 'qel.meta.data.Zone' to a 'qel.tests.Stranger'"));
}

TEST(ObjectTest, EndsTheMessageWhereTheNameOfItsOwnTypeIsUnknown) {
    Stranger stranger;
    auto const message = "Failed to cast the runtime object from '";
    EXPECT_THAT([&] { stranger.As<Event>(); }, ThrowsMessage<BadCast>(message));
    EXPECT_THAT([&] { std::as_const(stranger).As<Event>(); }, ThrowsMessage<BadCast>(message));
}

TEST(ObjectTest, PublishesTheNameOfAClass) {
    EXPECT_STREQ(object::TypeNameOf<Event>(), "qel.meta.data.Event");
    EXPECT_STREQ(object::TypeNameOf<Stranger>(), "qel.tests.Stranger");
}

TEST(ObjectTest, KnowsTheNamesOfTheSystemsOwnTypes) {
    for (char const* const name :
         {"qel.object.Bool", "qel.object.UInt16", "qel.object.UInt32", "qel.object.Double", "qel.object.String",
          "qel.object.Milliseconds", "qel.property.Bool", "qel.property.UInt16", "qel.property.UInt32",
          "qel.property.Double", "qel.property.String", "qel.property.Milliseconds", "qel.meta.data.Event",
          "qel.meta.data.Observable", "qel.meta.data.Object", "qel.meta.data.Zone", "qel.meta.data.Channel"}) {
        EXPECT_STREQ(NameOf(name), name);
    }
}

TEST(ObjectTest, KnowsNoNameOfAnotherType) {
    EXPECT_EQ(NameOf("qel.tests.Stranger"), nullptr);
    EXPECT_EQ(NameOf(""), nullptr);
}

TEST(ObjectTest, IsNamedInTheMessageOnceItsNameIsMadeKnown) {
    Typed const object("qel.tests.LateName", 0);
    EXPECT_THAT([&] { object.As<Zone>(); }, ThrowsMessage<BadCast>("Failed to cast the runtime object from '"));
    object::RegisterTypeName("qel.tests.LateName");
    EXPECT_THAT([&] { object.As<Zone>(); },
                ThrowsMessage<BadCast>(
                    "Failed to cast the runtime object from 'qel.tests.LateName' to a 'qel.meta.data.Zone'"));
}

TEST(RegisterTypeNameTest, RefusesANullPointer) {
    EXPECT_THAT([] { object::RegisterTypeName(nullptr); },
                ThrowsMessage<std::invalid_argument>("RegisterTypeName: a type name must not be null"));
}

TEST(RegisterTypeNameTest, CopiesTheText) {
    std::string text = "qel.tests.CopiedName";
    object::RegisterTypeName(text.c_str());
    text.assign(text.size(), '?');
    EXPECT_STREQ(NameOf("qel.tests.CopiedName"), "qel.tests.CopiedName");
}

TEST(RegisterTypeNameTest, KeepsTheFirstTextForEver) {
    object::RegisterTypeName("qel.tests.FirstName");
    char const* const first = NameOf("qel.tests.FirstName");
    object::RegisterTypeName(std::string("qel.tests.FirstName").c_str());
    for (int other = 0; other < 1000; ++other) {
        object::RegisterTypeName(("qel.tests.OtherName" + std::to_string(other)).c_str());
    }
    EXPECT_EQ(NameOf("qel.tests.FirstName"), first);
    EXPECT_STREQ(first, "qel.tests.FirstName");
}

TEST(RegisterTypeNameTest, KeepsTheFirstOfTwoNamesWithOneId) {
    char const* const first = "qel.tests.Name19684";
    char const* const second = "qel.tests.Name131437";
    ASSERT_EQ(MurmurThree32::MakeData(first), MurmurThree32::MakeData(second));
    object::RegisterTypeName(first);
    object::RegisterTypeName(second);
    EXPECT_STREQ(NameOf(second), first);
}

TEST(RegisterTypeNameTest, MayBeCalledFromAnyThread) {
    auto const name = [](int number) { return "qel.tests.ThreadedName" + std::to_string(number); };
    RunTogether(4, [&](int thread) {
        for (int number = 0; number < 200; ++number) {
            object::RegisterTypeName(name(number).c_str());
            EXPECT_EQ(NameOf(name(number).c_str()), name(number)) << thread;
            EXPECT_STREQ(NameOf("qel.meta.data.Event"), "qel.meta.data.Event");
        }
    });
}

TEST(ObjectTest, IsClonedWhole) {
    Stranger const stranger(5);
    std::shared_ptr<Object> const clone = static_cast<Object const&>(stranger).Clone();
    EXPECT_NE(clone.get(), &stranger);
    EXPECT_EQ(clone->As<Stranger>().value, 5);
}

TEST(ObjectTest, HandsOutSharedReferencesToItself) {
    std::shared_ptr<Object> const object = std::make_shared<Stranger>();
    EXPECT_EQ(object->shared_from_this(), object);
    EXPECT_EQ(std::as_const(*object).shared_from_this(), object);
}

TEST(ObjectTest, HasNoSharedReferenceWhenNobodySharesIt) {
    Stranger stranger;
    EXPECT_THROW(stranger.shared_from_this(), std::bad_weak_ptr);
}

TEST(ObjectTest, DoesNotShareItsOwnerWithACopy) {
    auto const original = std::make_shared<Stranger>(5);
    Stranger copy(*original);
    EXPECT_THROW(copy.shared_from_this(), std::bad_weak_ptr);
    EXPECT_TRUE(copy.Is<Stranger>());

    auto const assigned = std::make_shared<Stranger>(6);
    *assigned = *original;
    EXPECT_EQ(assigned->shared_from_this(), assigned);
}

TEST(ObjectTest, KeepsItsTypeInAnAssignment) {
    Typed left("qel.tests.Left", 1);
    Typed const right("qel.tests.Right", 2);
    left = right;
    EXPECT_EQ(left.value, 2);
    EXPECT_EQ(left.GetTypeNameId(), MurmurThree32::MakeData("qel.tests.Left"));
}

TEST(BadCastTest, CarriesItsMessage) {
    BadCast const error("what is wrong");
    EXPECT_STREQ(error.what(), "what is wrong");
    static_assert(std::is_base_of_v<std::exception, BadCast>);
}

}  // namespace
}  // namespace qel::tests
