#include "observable/registry/get.hpp"

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/primitive.hpp"
#include "observable/and.hpp"
#include "observable/not.hpp"
#include "observable/or.hpp"
#include "observable/previous.hpp"
#include "tests/support/registered.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/threads.hpp"

namespace qel::observable::registry {
namespace {

using hash::MurmurThree32;
using testing::UnorderedElementsAre;
using tests::Registered;
using tests::RegisteredInfo;
using tests::Scripted;

MurmurThree32 const scripted = MurmurThree32::MakeData("qel.tests.Scripted");

/// An entry for Scripted whose factory gives its instances a name.
Info Naming(std::string name) {
    return Info(
        scripted, "qel.tests.Scripted", [name = std::move(name)] { return std::make_shared<Scripted>(name); },
        &Scripted::MakeProperties);
}

/// A test type that goes by the name of Scripted.
class Impostor : public Observable {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Scripted";
    static auto DefaultArguments() { return std::tuple(); }

    Impostor() : Observable(object::TypeIdOf<Impostor>) { SetName("impostor"); }

    static std::vector<property::Schema> MakeProperties() { return {}; }
};

std::vector<std::string> TypeNames() {
    std::vector<std::string> names;
    auto const types = Get().GetMap();
    for (auto const& [type, info] : *types) {
        EXPECT_EQ(type, info.GetTypeNameId());
        EXPECT_EQ(type, MurmurThree32::MakeData(info.GetTypeName()));
        names.emplace_back(info.GetTypeName());
    }
    return names;
}

TEST(Registry, IsOne) { EXPECT_EQ(&Get(), &Get()); }

TEST(Registry, HoldsTheBuiltInTypesAndNoOthers) {
    EXPECT_THAT(TypeNames(), UnorderedElementsAre("qel.observable.And", "qel.observable.Not", "qel.observable.Or",
                                                  "qel.observable.Previous"));
}

TEST(Registry, MakesAnInstanceOfEachBuiltInTypeUnderItsShortName) {
    for (std::string const name : {"And", "Not", "Or", "Previous"}) {
        auto const typeName = "qel.observable." + name;
        auto const type = MurmurThree32::MakeData(typeName.c_str());
        auto const made = Observable::Make(type);
        ASSERT_NE(made, nullptr) << name;
        EXPECT_EQ(made->GetName(), name);
        EXPECT_EQ(made->GetTypeNameId(), type);
        EXPECT_EQ(made->GetTypeName(), typeName);
        EXPECT_EQ(Observable::TypeName(type), typeName);
        EXPECT_TRUE(made->GetTriggersAction());
        EXPECT_EQ(made->GetPtr(), made) << "the instance knows its owner";
        EXPECT_EQ(made.use_count(), 1) << "and nobody else owns it";
    }
}

TEST(Registry, MakesTheBuiltInClasses) {
    EXPECT_NE(dynamic_cast<And*>(Observable::Make(object::TypeIdOf<And>).get()), nullptr);
    EXPECT_NE(dynamic_cast<Not*>(Observable::Make(object::TypeIdOf<Not>).get()), nullptr);
    EXPECT_NE(dynamic_cast<Or*>(Observable::Make(object::TypeIdOf<Or>).get()), nullptr);
    EXPECT_NE(dynamic_cast<Previous*>(Observable::Make(object::TypeIdOf<Previous>).get()), nullptr);
}

TEST(Registry, MakesANewInstanceEachTime) {
    auto const first = Observable::Make(object::TypeIdOf<And>);
    auto const second = Observable::Make(object::TypeIdOf<And>);
    EXPECT_NE(first, second);
    EXPECT_EQ(second->GetId(), first->GetId() + 1);
}

TEST(Registry, DoesNotHoldTheBasesAndTheLoggers) {
    for (char const* const name : {"qel.observable.Compound", "qel.observable.DurationTrack", "qel.observable.Graph",
                                   "qel.observable.Notifier", "qel.observable.Observable", "qel.observable.and", ""}) {
        auto const type = MurmurThree32::MakeData(name);
        EXPECT_EQ(Observable::Make(type), nullptr) << name;
        EXPECT_EQ(Observable::TypeName(type), nullptr) << name;
    }
}

TEST(Registry, HasSchemasOfEveryTypeThatEndWithTheSettingsThatAllHave) {
    Registered<Scripted> const registered;
    auto const types = Get().GetMap();
    EXPECT_EQ(types->size(), 5u);
    for (auto const& [type, info] : *types) {
        auto const schemas = info.GetSchemas();
        ASSERT_GE(schemas.size(), 2u) << info.GetTypeName();
        EXPECT_EQ(schemas[schemas.size() - 2].GetName(), "name") << info.GetTypeName();
        auto const& last = schemas.back();
        EXPECT_EQ(last.GetName(), "triggers_action") << info.GetTypeName();
        EXPECT_TRUE(last.GetPrototype()->GetObject()->As<object::Bool>().Get()) << info.GetTypeName();
    }
}

TEST(Registry, KnowsATypeForAsLongAsItIsRegistered) {
    EXPECT_EQ(Observable::TypeName(scripted), nullptr);
    {
        Registered<Scripted> const registered;
        EXPECT_EQ(Observable::TypeName(scripted), Scripted::ClassTypeName);
        auto const made = Observable::Make(scripted);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->GetName(), "scripted");
        EXPECT_STREQ(made->GetTypeName(), "qel.tests.Scripted");
    }
    EXPECT_EQ(Observable::TypeName(scripted), nullptr);
    EXPECT_EQ(Observable::Make(scripted), nullptr);
}

TEST(Registry, KeepsTheFirstOfTwoRegistrationsOfOneType) {
    RegisteredInfo const first(Naming("first"));
    RegisteredInfo const second(Naming("second"));
    Registered<Impostor> const third;
    EXPECT_EQ(Observable::Make(scripted)->GetName(), "first");
    EXPECT_EQ(Get().GetMap()->at(scripted).GetSchemas().size(), 2u);
    EXPECT_EQ(Get().GetMap()->size(), 5u);
}

TEST(Registry, LosesATypeWithTheEndOfAnyRegistrationOfIt) {
    Registered<Scripted> const first;
    { Registered<Impostor> const second; }
    EXPECT_EQ(Observable::Make(scripted), nullptr);
    EXPECT_EQ(TypeNames().size(), 4u);
}

TEST(Registry, TakesAnotherRegistrationOfATypeThatWasLost) {
    Registered<Scripted> const first;
    { Registered<Impostor> const second; }
    Registered<Impostor> const third;
    EXPECT_EQ(Observable::Make(scripted)->GetName(), "impostor");
}

TEST(Registry, ThrowsForATypeWithoutAFactoryAndIsFreeAgain) {
    RegisteredInfo const registered(Info(scripted, "qel.tests.Scripted", nullptr, nullptr));
    EXPECT_THROW(Observable::Make(scripted), std::bad_function_call);
    EXPECT_EQ(Observable::TypeName(scripted), std::string("qel.tests.Scripted"));
}

TEST(Registry, PassesOnWhatAFactoryThrowsAndIsFreeAgain) {
    RegisteredInfo const registered(Info(
        scripted, "qel.tests.Scripted", []() -> std::shared_ptr<Observable> { throw std::runtime_error("none"); },
        nullptr));
    EXPECT_THAT([] { Observable::Make(scripted); }, testing::ThrowsMessage<std::runtime_error>("none"));
    EXPECT_EQ(tests::OnAnotherThread([] { return TypeNames().size(); }), 5u);
}

TEST(Registry, GivesWhatTheFactoryGivesAlsoNull) {
    RegisteredInfo const registered(Info(
        scripted, "qel.tests.Scripted", [] { return nullptr; }, nullptr));
    EXPECT_EQ(Observable::Make(scripted), nullptr);
}

TEST(Registry, IsLockedWhileAFactoryRuns) {
    std::atomic<bool> asking = false;
    std::atomic<bool> made = false;
    std::thread other;
    RegisteredInfo const registered(Info(
        scripted, "qel.tests.Scripted",
        [&] {
            other = std::thread([&] {
                asking = true;
                Observable::TypeName(scripted);
                EXPECT_TRUE(made);
            });
            while (!asking) {
                std::this_thread::yield();
            }
            for (int i = 0; i < 1000; ++i) {  // time enough for the other to come through, were it not locked
                std::this_thread::yield();
            }
            made = true;
            return nullptr;
        },
        nullptr));
    Observable::Make(scripted);
    other.join();
}

TEST(Registry, MayBeUsedFromSeveralThreads) {
    tests::RunTogether(4, [](int index) {
        for (int i = 0; i < 200; ++i) {
            if (index == 0) {
                Registered<Scripted> const registered;
                EXPECT_NE(Observable::TypeName(scripted), nullptr);
            } else {
                EXPECT_EQ(Observable::Make(object::TypeIdOf<Not>)->GetName(), "Not");
                if (auto const made = Observable::Make(scripted)) {
                    EXPECT_EQ(made->GetName(), "scripted");
                }
            }
        }
    });
    EXPECT_EQ(TypeNames().size(), 4u);
}

}  // namespace
}  // namespace qel::observable::registry
