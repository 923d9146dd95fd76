#include "observable/and.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/timeline.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;
using tests::MakeEvent;
using tests::Player;
using tests::Record;

constexpr std::uint32_t A = 101;
constexpr std::uint32_t B = 102;

// ---- Over time ------------------------------------------------------------------------------------------------------

struct Timeline {
    char const* name;
    char const* inputA;    // per frame: '.' nothing, "12" an event with the objects 1 and 2, ',' between two events
    char const* inputB;    // the same
    char const* reported;  // per frame: the objects and the id's letter of each event, "-" for nothing
};

std::string NameOf(testing::TestParamInfo<Timeline> const& tested) { return tested.param.name; }

class AndUnconstrainedTest : public testing::TestWithParam<Timeline> {};

TEST_P(AndUnconstrainedTest, Reports) {
    And rule("both", 0, A, B, false);
    EXPECT_EQ(Player().Play(rule, {{A, GetParam().inputA}, {B, GetParam().inputB}}), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(And, AndUnconstrainedTest,
                         testing::Values(Timeline{"BothInputsAreOneEventThatGoesOn", "x x x", "x x x", "A A A"},
                                         Timeline{"OneInputIsNotEnough", "x . x", ". x .", "- - -"},
                                         Timeline{"SilenceOfAEndsTheEvent", "x . x x", "x x x x", "A - B B"},
                                         Timeline{"SilenceOfBEndsTheEvent", "x x x x", "x . x x", "A - B B"},
                                         Timeline{"SilenceOfBothEndsTheEvent", "x . x", "x . x", "A - B"},
                                         Timeline{"TheObjectsAreThoseOfBothInputs", "12 3 1", "2 1 x", "12A 13A 1A"},
                                         Timeline{"ObjectsNeedNotMatch", "1 1", "2 3", "12A 13A"},
                                         Timeline{"SeveralEventsOfAnInputAreTakenTogether", "1,2 12,34", "3,1 5",
                                                  "123A 12345A"}),
                         NameOf);

class AndConstrainedTest : public testing::TestWithParam<Timeline> {};

TEST_P(AndConstrainedTest, Reports) {
    And rule("both", 0, A, B, true);
    EXPECT_EQ(Player().Play(rule, {{A, GetParam().inputA}, {B, GetParam().inputB}}), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(
    And, AndConstrainedTest,
    testing::Values(
        Timeline{"OnlyObjectsInBothInputsAreTargets", "12", "23", "2A"},
        Timeline{"AnObjectInAAloneIsNoTarget", "1 1", "x 2", "- -"},
        Timeline{"EveryTargetHasAnEventByItsIdInAscendingOrder", "231 31", "123 31", "1A,2B,3C 1A,3C"},
        Timeline{"ATargetGoesOnWhileBothHoldIt", "1 1 1", "1 1 1", "1A 1A 1A"},
        Timeline{"ATargetThatComesBackIsNew", "1 2 1", "1 2 1", "1A 2B 1C"},
        Timeline{"ATargetThatIsInOneInputOnlyForAFrameIsNewAfterwards", "12 12 12", "12 2 12", "1A,2B 2B 1C,2B"},
        Timeline{"TargetsComeAndGoWithoutDisturbingOthers", "2 123 23 3", "2 123 23 3", "2A 1B,2A,3C 2A,3C 3C"},
        Timeline{"SilenceOfAnInputEndsAllTargets", "12 . 12 12 12", "12 12 12 . 12", "1A,2B - 1C,2D - 1E,2F"},
        Timeline{"FramesWithoutACommonTargetEndAllTargets", "1 1 1", "1 2 1", "1A - 1B"},
        Timeline{"ATargetGoesOnWhicheverEventsHoldIt", "1,2 2,1 12", "12 2,1 1,2", "1A,2B 1A,2B 1A,2B"},
        Timeline{"ATargetInSeveralEventsIsOne", "1,12,1", "1,1", "1A"},
        Timeline{"InputsWithoutObjectsReportNothing", "x x", "x 1", "- -"}),
    NameOf);

TEST(And, EqualInputsNeverReport) {
    for (bool const constrained : {false, true}) {
        And rule("both", 0, A, A, constrained);
        EXPECT_EQ(Player().Play(rule, {{A, "1 1,1 12"}}), "- - -");
    }
}

TEST(And, OneInputUnsetNeverReports) {
    for (bool const constrained : {false, true}) {
        And withoutA("both", 0, UnsetId, B, constrained);
        And withoutB("both", 0, A, UnsetId, constrained);
        for (auto const& frame : tests::MakeFrames({{A, "1"}, {B, "1"}, {UnsetId, "1"}})) {
            EXPECT_THAT(withoutA.Process(*frame), IsEmpty());
            EXPECT_THAT(withoutB.Process(*frame), IsEmpty());
        }
    }
}

TEST(And, OneInputEndsTheEventsOfBothModes) {
    for (char const* const inputA : {"1 1 . 1 1", "1 1 1 1 1"}) {
        char const* const inputB = inputA[4] == '.' ? "1 1 1 1 1" : "1 1 . 1 1";
        And rule("both", 0, A, B, true);
        Player player;
        auto const frames = tests::MakeFrames({{A, inputA}, {B, inputB}});
        EXPECT_EQ(player.Play(rule, *frames[0]), "1A");
        rule.SetConstrainTarget(false);
        EXPECT_EQ(player.Play(rule, *frames[1]), "1B");
        EXPECT_EQ(player.Play(rule, *frames[2]), "-");
        EXPECT_EQ(player.Play(rule, *frames[3]), "1C");
        rule.SetConstrainTarget(true);
        EXPECT_EQ(player.Play(rule, *frames[4]), "1D");
    }
}

// ---- Which copy of a target -----------------------------------------------------------------------------------------

std::shared_ptr<meta::data::Object> Copy(unsigned int id, std::string name) {
    return std::make_shared<meta::data::Object>(id, std::move(name));
}

struct Chosen {
    char const* name;
    std::vector<int> startsA;  // of the events of A, which hold copies "A0", "A1", ...
    std::vector<int> startsB;  // of the events of B
    char const* copy;
};

class AndCopyTest : public testing::TestWithParam<Chosen> {};

TEST_P(AndCopyTest, IsFromTheInputWhoseLastEventStartedLater) {
    And rule("both", 0, A, B, true);
    Meta const frame(At(50));
    auto const append = [&](std::uint32_t input, char const* name, std::vector<int> const& starts) {
        for (std::size_t place = 0; place < starts.size(); ++place) {
            frame.Append(MakeEvent(At(starts[place]), At(60), {Record(input), Copy(1, name + std::to_string(place))}));
        }
    };
    append(B, "B", GetParam().startsB);
    append(A, "A", GetParam().startsA);
    auto const reported = rule.Process(frame);
    ASSERT_EQ(reported.size(), 1u);
    auto const& event = reported[0]->As<Event>();
    EXPECT_EQ((*meta::ObjectsOf(event).begin()).GetClassification(), GetParam().copy);
}

INSTANTIATE_TEST_SUITE_P(And, AndCopyTest,
                         testing::Values(Chosen{"BStartedLater", {10}, {11}, "B0"},
                                         Chosen{"AStartedLater", {11}, {10}, "A0"},
                                         Chosen{"BothStartedAtOnce", {10}, {10}, "A0"},
                                         Chosen{"OnlyTheLastEventsCount", {99, 10}, {5, 11}, "B0"},
                                         Chosen{"OnlyTheLastEventsCountAlsoForA", {5, 11}, {99, 10}, "A0"},
                                         Chosen{"TheFirstCopyOfTheChosenInputIsTaken", {1, 1}, {1, 1, 2}, "B0"}),
                         [](auto const& tested) { return std::string(tested.param.name); });

TEST(And, TheLastEventCountsThoughItDoesNotHoldTheTarget) {
    And rule("both", 0, A, B, true);
    Meta const frame(At(50));
    frame.Append(MakeEvent(At(20), At(20), {Record(A), Copy(1, "A")}));
    frame.Append(MakeEvent(At(10), At(10), {Record(B), Copy(1, "B")}));
    frame.Append(MakeEvent(At(30), At(30), {Record(B)}));
    auto const reported = rule.Process(frame);
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ((*meta::ObjectsOf(reported[0]->As<Event>()).begin()).GetClassification(), "B");
}

TEST(And, UnconstrainedTheStartsPlayNoPart) {
    And rule("both", 0, A, B, false);
    Meta const frame(At(50));
    frame.Append(MakeEvent(At(10), At(10), {Record(A), Copy(1, "A")}));
    frame.Append(MakeEvent(At(20), At(20), {Record(B), Copy(1, "B")}));
    auto const reported = rule.Process(frame);
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ((*meta::ObjectsOf(reported[0]->As<Event>()).begin()).GetClassification(), "A");
}

// ---- Settings -------------------------------------------------------------------------------------------------------

TEST(And, TheModeIsWhatTheConstructorWasGiven) {
    And const unconstrained("both", 12, A, B, false);
    EXPECT_FALSE(unconstrained.GetConstrainTarget());
    EXPECT_EQ(unconstrained.GetChannel(), 12);
    EXPECT_TRUE(And("both", 12, A, B, true).GetConstrainTarget());
}

TEST(And, OneFromTheRegistryIsConstrained) {
    auto const made = Observable::Make(object::TypeIdOf<And>);
    EXPECT_TRUE(std::static_pointer_cast<And>(made)->GetConstrainTarget());
}

}  // namespace
}  // namespace qel::observable
