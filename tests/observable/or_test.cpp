#include "observable/or.hpp"

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
using tests::At;
using tests::Describer;
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

class OrUnconstrainedTest : public testing::TestWithParam<Timeline> {};

TEST_P(OrUnconstrainedTest, Reports) {
    Or rule("either", 0, A, B);
    EXPECT_EQ(Player().Play(rule, {{A, GetParam().inputA}, {B, GetParam().inputB}}), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(Or, OrUnconstrainedTest,
                         testing::Values(Timeline{"OneInputIsEnough", "1 . 1", ". 2 .", "1A 2A 1A"},
                                         Timeline{"BothInputsAreOneEvent", "1 12", "2 3", "12A 123A"},
                                         Timeline{"SilenceOfBothEndsTheEvent", "x . . x", "x . x .", "A - B B"},
                                         Timeline{"SilenceFromTheStart", ". . x", ". . .", "- - A"},
                                         Timeline{"SeveralEventsAreTakenTogether", "1,2 . 5,5", "3,1 4 .",
                                                  "123A 4A 5A"},
                                         Timeline{"EventsWithoutObjectsCount", "x . .", ". x .", "A A -"}),
                         NameOf);

class OrConstrainedTest : public testing::TestWithParam<Timeline> {};

TEST_P(OrConstrainedTest, Reports) {
    Or rule("either", 0, A, B);
    rule.SetConstrainTarget(true);
    EXPECT_EQ(Player().Play(rule, {{A, GetParam().inputA}, {B, GetParam().inputB}}), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(
    Or, OrConstrainedTest,
    testing::Values(Timeline{"TheObjectsOfBothInputsAreTargets", "12", "23", "1A,2B,3C"},
                    Timeline{"TargetsAreInAscendingOrderWhateverTheirOrderInTheInputs", "3,1", "42", "1A,2B,3C,4D"},
                    Timeline{"ATargetGoesOnFromInputToInput", "1 . 1", ". 1 .", "1A 1A 1A"},
                    Timeline{"ATargetThatIsInNeitherForAFrameIsNewAfterwards", "12 2 12", "x x x", "1A,2B 2B 1C,2B"},
                    Timeline{"SilenceOfBothEndsAllTargets", "12 . .", ". . 21", "1A,2B - 1C,2D"},
                    Timeline{"FramesWithoutTargetsEndAllTargets", "1 x 1", ". . .", "1A - 1B"},
                    Timeline{"EventsWithoutObjectsReportNothing", "x .", ". x", "- -"}),
    NameOf);

TEST(Or, EqualInputsAreAsOne) {
    Or rule("either", 0, A, A);
    EXPECT_EQ(Player().Play(rule, {{A, "1 . 2,1"}}), "1A - 12B");
    rule.SetConstrainTarget(true);
    EXPECT_EQ(Player().Play(rule, {{A, "1 . 2,1"}}), "1A - 1B,2C");
}

TEST(Or, OneInputIsEnoughWhenTheOtherIsUnset) {
    Or withoutA("either", 0, UnsetId, B);
    Or withoutB("either", 0, A, UnsetId);
    std::vector<tests::Script> const scripts{{A, "1 . 1"}, {B, ". 2 ."}, {UnsetId, "3 4 5"}};
    EXPECT_EQ(Player().Play(withoutA, scripts), "- 2A -");
    EXPECT_EQ(Player().Play(withoutB, scripts), "1A - 1B");
}

TEST(Or, AnEventOfOneInputHasThatInputsObjectsAndZones) {
    Or rule("either", 0, A, B);
    rule.SetId(55);
    Meta const frame(At(10));
    frame.Append(MakeEvent(At(5), At(5), {Record(A), tests::Zone(4), tests::Person(3)}));
    frame.Append(MakeEvent(At(5), At(5), {Record(A + 7), tests::Zone(5), tests::Person(6)}));
    EXPECT_THAT(Describer().Each(rule.Process(frame)),
                ElementsAre("A either/or/analytics 10..10 [record 55, object 3 person@1(0 0 0 0), zone 4 ()]"));
}

TEST(Or, ATargetSeenInOneInputHasOnlyThatInputsZones) {
    Or rule("either", 0, A, B);
    rule.SetId(55);
    rule.SetConstrainTarget(true);
    Meta const frame(At(10));
    frame.Append(MakeEvent(At(5), At(5), {Record(A), tests::Person(1), tests::Person(2), tests::Zone(10)}));
    frame.Append(MakeEvent(At(5), At(5), {Record(B), tests::Person(2), tests::Person(3), tests::Zone(11)}));
    EXPECT_THAT(
        Describer().Each(rule.Process(frame)),
        ElementsAre("A either/or/analytics 10..10 [record 55, object 1 person@1(0 0 0 0), zone 10 ()]",
                    "B either/or/analytics 10..10 [record 55, object 2 person@1(0 0 0 0), zone 10 (), zone 11 ()]",
                    "C either/or/analytics 10..10 [record 55, object 3 person@1(0 0 0 0), zone 11 ()]"));
}

TEST(Or, OfATargetInBothInputsTheCopyInAIsTakenWhateverTheStarts) {
    Or rule("either", 0, A, B);
    rule.SetConstrainTarget(true);
    Meta const frame(At(10));
    frame.Append(MakeEvent(At(9), At(9), {Record(B), std::make_shared<meta::data::Object>(1, "B")}));
    frame.Append(MakeEvent(At(5), At(5), {Record(A), std::make_shared<meta::data::Object>(1, "A")}));
    auto const reported = rule.Process(frame);
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ((*meta::ObjectsOf(reported[0]->As<Event>()).begin()).GetClassification(), "A");
}

// ---- Settings -------------------------------------------------------------------------------------------------------

TEST(Or, ANewOneIsUnconstrainedThoughTheSettingsDefaultIsNot) {
    Or const rule("either", 12, A, B);
    EXPECT_FALSE(rule.GetConstrainTarget());
    EXPECT_EQ(rule.GetChannel(), 12);
    EXPECT_TRUE(Or::DefaultContrainTarget);
}

TEST(Or, OneFromTheRegistryIsUnconstrained) {
    auto const made = Observable::Make(object::TypeIdOf<Or>);
    EXPECT_FALSE(std::static_pointer_cast<Or>(made)->GetConstrainTarget());
}

}  // namespace
}  // namespace qel::observable
