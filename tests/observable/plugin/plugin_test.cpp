// What a host has of a plug-in library: its types while it is loaded, and nothing of it afterwards.

#include <dlfcn.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/bad_cast.hpp"
#include "foundation/object/primitive.hpp"
#include "observable/observable.hpp"
#include "observable/registry/get.hpp"
#include "tests/plugins/parcel.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/settings.hpp"

#ifndef OTHER  // there is no second compiler
#define OTHER nullptr
#endif

namespace qel::tests {
namespace {

using hash::MurmurThree32;
using meta::data::Event;
using observable::Observable;
using testing::ElementsAre;
using testing::ThrowsMessage;

MurmurThree32 const one = MurmurThree32::MakeData("qel.tests.plugin.One");

class Library {
public:
    explicit Library(char const* file) : file(file), handle(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(handle, nullptr) << dlerror();
    }
    ~Library() {
        if (handle != nullptr) {
            Unload();
        }
    }
    Library(Library const&) = delete;
    Library& operator=(Library const&) = delete;

    void Unload() {
        EXPECT_EQ(dlclose(std::exchange(handle, nullptr)), 0);
        EXPECT_EQ(dlopen(file, RTLD_NOW | RTLD_NOLOAD), nullptr) << "the library is still there";
    }

private:
    char const* file;
    void* handle;
};

struct Built {
    char const* by;
    char const* file;
    char const* typeName;
    char const* name;
};

class Plugin : public testing::TestWithParam<Built> {
protected:
    void SetUp() override {
        if (GetParam().file == nullptr) {
            GTEST_SKIP() << "there is no other compiler to build a plug-in with";
        }
    }

    MurmurThree32 const type = MurmurThree32::MakeData(GetParam().typeName);
};

TEST_P(Plugin, BringsItsTypeAndTakesItAway) {
    EXPECT_EQ(Observable::TypeName(type), nullptr);
    Library library(GetParam().file);
    EXPECT_STREQ(Observable::TypeName(type), GetParam().typeName);
    EXPECT_EQ(Observable::Make(type)->GetName(), GetParam().name);
    library.Unload();
    EXPECT_EQ(Observable::TypeName(type), nullptr);
    EXPECT_EQ(Observable::Make(type), nullptr);
    EXPECT_EQ(observable::registry::Get().GetMap()->size(), 4u);
}

TEST_P(Plugin, MayBeLoadedAgain) {
    for (int i = 0; i < 3; ++i) {
        Library library(GetParam().file);
        EXPECT_EQ(Observable::Make(type)->GetName(), GetParam().name);
        library.Unload();
        EXPECT_EQ(Observable::Make(type), nullptr);
    }
}

TEST_P(Plugin, IsUsedThroughTheBaseAndLeavesNothingBehind) {
    Library library(GetParam().file);
    {
        auto const rule = Observable::Make(type);
        rule->SetId(12);
        meta::Meta const frame(At(40));
        frame.Append(Person(7));
        auto const emitted = rule->Generate(frame);
        ASSERT_EQ(emitted.size(), 2u);
        auto const event = std::static_pointer_cast<Event>(emitted.front());
        EXPECT_EQ(event->GetName(), GetParam().name);
        EXPECT_EQ(event->GetStart(), At(40));
        EXPECT_EQ(event->GetObjects().front(), rule->MakeObservableMetadata());

        std::vector<std::shared_ptr<Event>> heard;
        auto const binding = rule->Bind([&](std::shared_ptr<Event> const& given) { heard.push_back(given); });
        rule->Notify(event);
        EXPECT_THAT(heard, ElementsAre(event));
        rule->Reset();
    }
    library.Unload();
}

TEST_P(Plugin, AgreesWithTheHostOnTypes) {
    Library const library(GetParam().file);
    auto const rule = Observable::Make(type);
    meta::Meta const frame(At(40));
    frame.Append(Zone(1));
    frame.Append(nullptr);
    frame.Append(Person(7));
    auto const emitted = rule->Generate(frame);
    ASSERT_EQ(emitted.size(), 2u);

    ASSERT_TRUE(emitted[0]->Is<Event>());
    auto const& objects = emitted[0]->As<Event>().GetObjects();
    ASSERT_EQ(objects.size(), 2u) << "the plug-in has seen the person, and nothing else as a person";
    EXPECT_TRUE(objects[0]->Is<meta::data::Observable>());
    EXPECT_EQ(objects[1]->As<meta::data::Object>().GetId(), 7u);

    ASSERT_TRUE(emitted[1]->Is<Parcel>()) << "a class that neither of the two exports";
    EXPECT_EQ(emitted[1]->As<Parcel>().GetSender(), GetParam().name);
    EXPECT_FALSE(emitted[1]->Is<Event>());
}

TEST_P(Plugin, ThrowsWhatTheHostCatches) {
    Library const library(GetParam().file);
    auto const rule = Observable::Make(type);
    meta::Meta const frame(At(40));
    frame.Append(MakeEvent(At(0), At(0), {Zone(1)}));
    EXPECT_THAT([&] { rule->Generate(frame); },
                ThrowsMessage<object::BadCast>("Failed to cast the runtime object from 'qel.meta.data.Zone' to a "
                                               "'qel.meta.data.Object'"));
}

TEST_P(Plugin, HasSettings) {
    Library library(GetParam().file);
    {
        auto const schemas = observable::registry::Get().GetMap()->at(type).GetSchemas();
        EXPECT_THAT(DescribeSettings(schemas),
                    ElementsAre("limit: qel.property.UInt16 = 2. Must be a number between 0 to 10. How many to greet",
                                "greeting: qel.property.String = 'hello'. . What to say",
                                "name: qel.property.String = ''. . The user-defined name for the observable",
                                "triggers_action: qel.property.Bool = true. . Whether the observable triggers actions "
                                "and other observables"));

        auto const rule = Observable::Make(type);
        BindSetting(schemas, rule, "greeting")->Set(object::String("good morning"));
        BindSetting(schemas, rule, "limit")->Set(object::UInt16(1));
        BindSetting(schemas, rule, "name")->Set(object::String("gate"));
        EXPECT_THAT(
            [&] { BindSetting(schemas, rule, "limit")->Set(object::UInt16(11)); },
            ThrowsMessage<std::out_of_range>("The 'limit' property only accepts values in the range of 0 to 10: 11"));

        meta::Meta const frame(At(40));
        frame.Append(Person(7));
        frame.Append(Person(8));
        auto const emitted = rule->Generate(frame);
        auto const& event = emitted.front()->As<Event>();
        EXPECT_EQ(event.GetType(), "good morning");
        EXPECT_EQ(event.GetName(), "gate");
        EXPECT_EQ(event.GetObjects().size(), 2u) << "its record and one person";
    }
    library.Unload();
}

INSTANTIATE_TEST_SUITE_P(Compiler, Plugin,
                         testing::Values(Built{"This", ONE, "qel.tests.plugin.One", "one"},
                                         Built{"Other", OTHER, "qel.tests.plugin.Other", "other"}),
                         [](auto const& info) { return std::string(info.param.by); });

TEST(TwoPlugins, OfOneTypeLeaveItToTheFirst) {
    Library const first(ONE);
    Library const second(ANOTHER_ONE);
    EXPECT_EQ(Observable::Make(one)->GetName(), "one");
}

TEST(TwoPlugins, OfOneTypeTakeItAwayWhicheverGoesFirst) {
    {
        Library first(ONE);
        Library second(ANOTHER_ONE);
        second.Unload();
        EXPECT_EQ(Observable::Make(one), nullptr);
        first.Unload();
    }
    {
        Library first(ONE);
        Library second(ANOTHER_ONE);
        first.Unload();
        EXPECT_EQ(Observable::Make(one), nullptr) << "the second was dropped when it came";
        second.Unload();
    }
    EXPECT_EQ(observable::registry::Get().GetMap()->size(), 4u);
}

}  // namespace
}  // namespace qel::tests
