#include "host/rules/rule_set.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>

#include "foundation/meta/views.hpp"
#include "foundation/object/primitive.hpp"
#include "host/failure.hpp"
#include "tests/host/support/types.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/registered.hpp"

namespace qel::host {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

class RuleSetTest : public testing::Test {
protected:
    RuleFile Read(std::string const& text) {
        auto reading = ReadRules("rules", text, types);
        EXPECT_THAT(reading.mistakes, IsEmpty());
        return std::move(reading.file);
    }

    /// The names of the events that a rule set leaves in a frame with these objects, each with its zones and objects:
    /// "watch 7 zone 1".
    static std::vector<std::string> Run(RuleSet& rules, std::int64_t time, std::vector<unsigned int> const& objects) {
        meta::Meta const frame(tests::At(time));
        for (auto const id : objects) {
            frame.Append(tests::Person(id));
        }
        rules.Process(frame);
        std::vector<std::string> events;
        for (auto const& event : meta::EventsOf(frame)) {
            std::string text = event.GetName();
            for (auto const& object : meta::ObjectsOf(event)) {
                text += " " + std::to_string(object.GetId());
            }
            for (auto const& zone : meta::ItemsOf<meta::data::Zone>(event)) {
                text += " zone " + std::to_string(zone.GetId());
            }
            events.push_back(text + (event.IsFinal() ? " ends" : event.IsDuplicate() ? " goes on" : ""));
        }
        return events;
    }

    tests::Registered<tests::Watcher> watcher;
    TypeCatalogue types;
};

TEST_F(RuleSetTest, RunsTheRulesOverFramesWithTheZones) {
    auto const file = Read(R"({"zones": [{"id": 4, "polygon": [[0, 0], [1, 0], [1, 1]]}], "rules": [
        {"name": "any", "type": "qel.observable.Or", "inputa": "watch"},
        {"name": "watch", "type": "qel.tests.Watcher", "zone": 4}]})");
    RuleSet rules(file, 0);
    EXPECT_THAT(Run(rules, 0, {7}), ElementsAre("watch 7 zone 4", "any 7 zone 4"));
    EXPECT_THAT(Run(rules, 40, {7, 9}),
                ElementsAre("watch 7 zone 4 goes on", "watch 9 zone 4", "any 7 zone 4 goes on", "any 9 zone 4"));
    EXPECT_THAT(Run(rules, 80, {}),
                ElementsAre("watch 7 zone 4 ends", "watch 9 zone 4 ends", "any 7 zone 4 ends", "any 9 zone 4 ends"));
}

TEST_F(RuleSetTest, HasTheRulesAndZonesOfItsChannelOnly) {
    auto const file = Read(R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]], "channel": 1},
                                         {"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]], "channel": 2}], "rules": [
        {"name": "one", "type": "qel.tests.Watcher", "zone": 1, "channel": 1},
        {"name": "two", "type": "qel.tests.Watcher", "zone": 1, "channel": 2},
        {"name": "every", "type": "qel.observable.Not"}]})");
    RuleSet one(file, 1);
    RuleSet two(file, 2);
    RuleSet three(file, 3);
    EXPECT_THAT(Run(one, 0, {7}), ElementsAre("one 7 zone 1"));
    EXPECT_THAT(Run(two, 0, {7}), ElementsAre("two 7 zone 1"));
    EXPECT_THAT(Run(three, 0, {7}), IsEmpty());
}

TEST_F(RuleSetTest, GivesEveryChannelInstancesOfItsOwn) {
    auto const file = Read(R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]]}], "rules": [
        {"name": "watch", "type": "qel.tests.Watcher", "zone": 1}]})");
    RuleSet one(file, 1);
    RuleSet two(file, 2);
    EXPECT_THAT(Run(one, 0, {7}), ElementsAre("watch 7 zone 1"));
    EXPECT_THAT(Run(two, 0, {7}), ElementsAre("watch 7 zone 1")) << "new on this channel";
}

TEST_F(RuleSetTest, DropsRepetitionsWithinTheRetriggerTime) {
    auto const file = Read(R"({"retrigger_ms": 1000, "zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]]}],
        "rules": [{"name": "watch", "type": "qel.tests.Watcher", "zone": 1}]})");
    RuleSet rules(file, 0);
    EXPECT_THAT(Run(rules, 0, {7}), ElementsAre("watch 7 zone 1"));
    EXPECT_THAT(Run(rules, 500, {}), ElementsAre("watch 7 zone 1 ends"));
    EXPECT_THAT(Run(rules, 999, {7}), IsEmpty());
    EXPECT_THAT(Run(rules, 1000, {7}), ElementsAre("watch 7 zone 1"));
}

TEST_F(RuleSetTest, DropsNothingWithoutARetriggerTimeWhenTimesRunBackwards) {
    auto const file = Read(R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]]}],
        "rules": [{"name": "watch", "type": "qel.tests.Watcher", "zone": 1}]})");
    RuleSet rules(file, 0);
    EXPECT_THAT(Run(rules, 10'000, {7}), ElementsAre("watch 7 zone 1"));
    EXPECT_THAT(Run(rules, 10'040, {}), ElementsAre("watch 7 zone 1 ends"));
    EXPECT_THAT(Run(rules, 0, {7}), ElementsAre("watch 7 zone 1"));
    EXPECT_THAT(Run(rules, 0, {}), ElementsAre("watch 7 zone 1 ends"));
    EXPECT_THAT(Run(rules, 0, {7}), ElementsAre("watch 7 zone 1"));
}

TEST_F(RuleSetTest, KnowsWhichRuleAnInstanceIs) {
    auto const file = Read(R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]]}], "rules": [
        {"name": "elsewhere", "type": "qel.observable.Not", "channel": 9},
        {"name": "watch", "type": "qel.tests.Watcher", "zone": 1}]})");
    RuleSet rules(file, 0);
    meta::Meta const frame(tests::At(0));
    frame.Append(tests::Person(7));
    rules.Process(frame);
    auto const events = meta::EventsOf(frame);
    ASSERT_NE(events.begin(), events.end());
    auto const records = meta::ObservablesOf(*events.begin());
    EXPECT_EQ(rules.FindRule((*records.begin()).GetId()), 1u);
    EXPECT_EQ(rules.FindRule(observable::UnsetId), std::nullopt);
    EXPECT_EQ(&rules.GetFile(), &file);
}

/// A watcher that a test can look at.
class SeenWatcher : public tests::Watcher {
public:
    static inline std::vector<std::weak_ptr<SeenWatcher>> made;

    SeenWatcher() : Watcher("Watcher") {}

    static std::shared_ptr<observable::Observable> Make() {
        auto const instance = std::make_shared<SeenWatcher>();
        made.push_back(instance);
        return instance;
    }
};

TEST_F(RuleSetTest, GivesInstancesTheirSettingsOrTheDefaultsAndTheirChannel) {
    tests::RegisteredInfo const seen(observable::registry::Info(hash::MurmurThree32::MakeData("qel.tests.Seen"),
                                                                "qel.tests.Seen", &SeenWatcher::Make,
                                                                &tests::Watcher::MakeProperties));
    TypeCatalogue const withSeen;
    auto const reading = ReadRules("rules", R"({"zones": [{"id": 6, "polygon": [[0, 0], [1, 0], [1, 1]]}], "rules": [
        {"name": "set", "type": "qel.tests.Seen", "zone": 6, "limit": 300, "count": 12, "share": 0.25, "hold": 900,
         "anything": -1, "strict": true, "side": "right", "triggers_action": false},
        {"name": "left", "type": "qel.tests.Seen", "zone": 6}]})",
                                   withSeen);
    ASSERT_THAT(reading.mistakes, IsEmpty());
    SeenWatcher::made.clear();
    RuleSet const rules(reading.file, 40000);
    ASSERT_EQ(SeenWatcher::made.size(), 2u);
    auto const set = SeenWatcher::made[0].lock();
    auto const left = SeenWatcher::made[1].lock();
    EXPECT_EQ(set->GetName(), "set");
    EXPECT_FALSE(set->GetTriggersAction());
    EXPECT_EQ(set->GetChannel(), 40000);
    EXPECT_EQ(set->GetZone(), 6u);
    EXPECT_EQ(set->GetLimit(), 300);
    EXPECT_EQ(set->GetCount(), 12u);
    EXPECT_EQ(set->GetShare(), 0.25);
    EXPECT_EQ(set->GetAnything(), -1.0);
    EXPECT_EQ(set->GetHold(), milliseconds(900));
    EXPECT_TRUE(set->GetStrict());
    EXPECT_EQ(set->GetSide(), "right");

    EXPECT_EQ(left->GetName(), "left");
    EXPECT_TRUE(left->GetTriggersAction());
    EXPECT_EQ(left->GetChannel(), 40000) << "not the default of the type";
    EXPECT_EQ(left->GetLimit(), 2);
    EXPECT_EQ(left->GetCount(), 7u);
    EXPECT_EQ(left->GetShare(), 0.5);
    EXPECT_EQ(left->GetAnything(), 1.5);
    EXPECT_EQ(left->GetHold(), milliseconds(200));
    EXPECT_FALSE(left->GetStrict());
    EXPECT_EQ(left->GetSide(), "left");
}

TEST_F(RuleSetTest, TellsWhichRuleCannotBeMade) {
    auto const file = Read(R"({"rules": [{"name": "a", "type": "qel.observable.Not"}]})");
    auto broken = file;
    broken.rules[0].values.push_back(
        {types.Find("qel.tests.Watcher")->Find("limit"), std::make_shared<object::UInt16>(0)});
    try {
        RuleSet const rules(broken, 5);
        FAIL();
    } catch (Failure const& failure) {
        EXPECT_STREQ(failure.what(),
                     "rule \"a\" on channel 5: The 'limit' property only accepts values in the range of 1 to 300: 0");
    }
}

}  // namespace
}  // namespace qel::host
