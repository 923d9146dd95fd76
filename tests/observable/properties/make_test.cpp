#include "observable/properties/make.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/bad_cast.hpp"
#include "foundation/object/primitive.hpp"
#include "observable/not.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/settings.hpp"

namespace qel::observable::properties {
namespace {

using property::context::Direction;
using testing::ElementsAre;
using tests::BindSetting;
using tests::Scripted;

TEST(CommonSettings, AreAccessibleByFunctions) {
    Scripted observable("gate");
    EXPECT_EQ(GetName(&observable), "gate");
    SetName(&observable, "kerb");
    EXPECT_EQ(observable.GetName(), "kerb");
    EXPECT_TRUE(GetTriggersAction(&observable));
    SetTriggersAction(&observable, false);
    EXPECT_FALSE(observable.GetTriggersAction());
    EXPECT_FALSE(GetTriggersAction(&observable));
}

TEST(CommonSettings, AreNameAndTriggersAction) {
    EXPECT_THAT(tests::DescribeSettings(Make({}, true)),
                ElementsAre("name: qel.property.String = ''. . The user-defined name for the observable",
                            "triggers_action: qel.property.Bool = true. . Whether the observable triggers actions and "
                            "other observables"));
}

TEST(CommonSettings, HaveTheGivenDefaultOfTriggersAction) {
    EXPECT_FALSE(Make({}, false).back().GetPrototype()->GetObject()->As<object::Bool>().Get());
}

TEST(CommonSettings, FollowTheSettingsOfTheType) {
    std::vector<property::Schema> own;
    own.emplace_back("channel", Not::DefaultChannel, &Not::SetChannel, &Not::GetChannel, "a channel");
    own.emplace_back("input", Not::DefaultInput, &Not::SetInput, &Not::GetInput, "an input");
    auto const prototypes = std::vector{own[0].GetPrototype(), own[1].GetPrototype()};

    auto const all = Make(std::move(own), true);
    ASSERT_EQ(all.size(), 4u);
    EXPECT_EQ(all[0].GetPrototype(), prototypes[0]);
    EXPECT_EQ(all[1].GetPrototype(), prototypes[1]);
    EXPECT_EQ(all[2].GetName(), "name");
    EXPECT_EQ(all[3].GetName(), "triggers_action");
}

TEST(CommonSettings, ReadTheObservable) {
    auto const observable = std::make_shared<Scripted>("gate");
    observable->SetTriggersAction(false);
    auto const schemas = Make({}, true);
    EXPECT_EQ(BindSetting(schemas, observable, "name")->GetObject()->As<object::String>().Get(), "gate");
    EXPECT_FALSE(BindSetting(schemas, observable, "triggers_action")->GetObject()->As<object::Bool>().Get());
}

TEST(CommonSettings, WriteTheObservable) {
    auto const observable = std::make_shared<Scripted>("gate");
    auto const schemas = Make({}, true);
    BindSetting(schemas, observable, "name")->Set(object::String("kerb"));
    BindSetting(schemas, observable, "triggers_action")->Set(object::Bool(false));
    EXPECT_EQ(observable->GetName(), "kerb");
    EXPECT_FALSE(observable->GetTriggersAction());
}

TEST(CommonSettings, DoNotWriteTheDefaultsWhenTheyAreBound) {
    auto const observable = std::make_shared<Scripted>("gate");
    observable->SetTriggersAction(false);
    for (auto const direction : {Direction::ToTarget, Direction::FromTarget}) {
        for (auto const& schema : Make({}, true)) {
            schema.Bind(schema.MakeProperty(), std::shared_ptr<Observable>(observable), direction);
        }
    }
    EXPECT_EQ(observable->GetName(), "gate");
    EXPECT_FALSE(observable->GetTriggersAction());
}

TEST(CommonSettings, WorkForAnObservableOfAnyClass) {
    std::shared_ptr<Observable> const observable = Observable::Make(object::TypeIdOf<Not>);
    auto const schemas = Not::MakeProperties();
    BindSetting(schemas, observable, "name")->Set(object::String("gate empty"));
    EXPECT_EQ(observable->GetName(), "gate empty");
}

TEST(CommonSettings, RefuseValuesOfAnotherType) {
    auto const observable = std::make_shared<Scripted>("gate");
    auto const schemas = Make({}, true);
    EXPECT_THAT([&] { BindSetting(schemas, observable, "name")->Set(object::Bool(true)); },
                testing::ThrowsMessage<object::BadCast>(
                    "Failed to cast the runtime object from 'qel.object.Bool' to a 'qel.property.String'"));
    EXPECT_THAT([&] { BindSetting(schemas, observable, "triggers_action")->Set(object::UInt32(0)); },
                testing::ThrowsMessage<object::BadCast>(
                    "Failed to cast the runtime object from 'qel.object.UInt32' to a 'qel.property.Bool'"));
    EXPECT_EQ(observable->GetName(), "gate");
    EXPECT_TRUE(observable->GetTriggersAction());
}

}  // namespace
}  // namespace qel::observable::properties
