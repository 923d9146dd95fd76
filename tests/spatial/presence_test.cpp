#include <gmock/gmock.h>

#include "tests/spatial/support.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

class PresenceTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(PresenceTimelineTest, Reports) {
    Player player(MakeRule("Presence", GetParam().settings));
    EXPECT_EQ(player.Play(GetParam().places), GetParam().reported);
}

Settings const NoHold{Time("hold_off", 0)};

INSTANTIATE_TEST_SUITE_P(Zone, PresenceTimelineTest,
                         testing::Values(Timeline{"InsideIsOneEvent", NoHold, "iii", "AAA"},
                                         Timeline{"OutsideIsNothing", NoHold, "oro", "---"},
                                         Timeline{"EdgeAndCornerBelongToTheZone", NoHold, "oeco", "-AA-"},
                                         Timeline{"LeavingEndsTheEvent", NoHold, "iio", "AA-"},
                                         Timeline{"ComingBackIsAnotherEvent", NoHold, "ioi", "A-B"},
                                         Timeline{"AbsenceIsAGap", NoHold, "i.i", "A-B"}),
                         NameOf);

// Frames are 100 ms apart: at most 200 ms from the last frame that held is a gap of one frame that is bridged, and of
// two at its end.
INSTANTIATE_TEST_SUITE_P(
    HoldOff, PresenceTimelineTest,
    testing::Values(
        Timeline{"BridgesAGapOfExactlyThatTime", {Time("hold_off", 200)}, "ioi", "AAA"},
        Timeline{"EndsInTheFirstFrameThatIsLater", {Time("hold_off", 200)}, "ioooo", "AAA--"},
        Timeline{"AReturnAfterThatIsNew", {Time("hold_off", 200)}, "ioooi", "AAA-B"},
        Timeline{"BridgesAbsence", {Time("hold_off", 200)}, "i.i", "AAA"},
        Timeline{"AReturnLaterThanThatIsNewThoughNoFrameWasWithout", {Time("hold_off", 200)}, "iooi", "AAAB"},
        Timeline{"IsHalfASecondUnlessSet", {}, "iooooooo", "AAAAAA--"},
        Timeline{"AReturnThatIsTooLateIsNewThoughNoFrameFellBetween", {Time("hold_off", 200)}, "io__i", "AAB"},
        Timeline{"TwoFramesOneAfterTheOtherAreNoGap", {Time("hold_off", 200)}, "i_______i", "AA"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    HoldOn, PresenceTimelineTest,
    testing::Values(Timeline{"StartsInTheFirstFrameAfterExactlyThatTime", {Time("hold_on", 200)}, "iiii", "--AA"},
                    Timeline{"AGapBeforeTheStartIsNotBridged", {Time("hold_on", 200)}, "iioiii", "-----A"},
                    Timeline{"AGapAfterTheStartIs", {Time("hold_on", 200)}, "iiioi", "--AAA"},
                    Timeline{
                        "ANewEventHoldsOnAgain", {Time("hold_on", 200), Time("hold_off", 0)}, "iiioiii", "--A---B"}),
    NameOf);

TEST(PresenceTest, CarriesItsRecordTheObjectAndTheZoneFromTheOnsetToTheLastFrameThatHeld) {
    auto const rule = MakeRule("Presence", {Time("hold_on", 100), Text("name", "at the gate")});
    rule->SetId(12);
    Player player(rule);
    player.Play("ii");
    EXPECT_THAT(player.Describe(), ElementsAre("A at the gate/presence/spatial 0..100 [record 12, object 7 "
                                               "person@1(0.375 0.25 0.25 0.25), zone 1 square(0.25 0.25;0.75 0.25;0.75 "
                                               "0.75;0.25 0.75;)]"));
    player.Play("o");
    EXPECT_THAT(player.Describe(),
                ElementsAre("A at the gate/presence/spatial 0..100 [record 12, object 7 "
                            "person@1(-0.025 0.25 0.25 0.25), zone 1 square(0.25 0.25;0.75 0.25;0.75 "
                            "0.75;0.25 0.75;)]"));
    player.Play(".");
    EXPECT_THAT(player.Describe(),
                ElementsAre("A at the gate/presence/spatial 0..100 [record 12, object 7 "
                            "person@1(-0.025 0.25 0.25 0.25), zone 1 square(0.25 0.25;0.75 0.25;0.75 "
                            "0.75;0.25 0.75;)]"));
}

TEST(PresenceTest, HasOneEventPerObjectByAscendingId) {
    Player player(MakeRule("Presence"));
    EXPECT_EQ(player.Play(At(0), {Standing(9, {0.5, 0.5})}), "A");
    EXPECT_EQ(player.Play(At(100), {Standing(9, {0.5, 0.5}), Standing(3, {0.5, 0.5}), Standing(4, {0.1, 0.1})}), "BA");
}

TEST(PresenceTest, ForgetsAnObjectWithItsEventSoThatAReusedIdStartsAnew) {
    Player player(MakeRule("Presence", {Time("hold_on", 100), Time("hold_off", 100)}));
    EXPECT_EQ(player.Play("ii..ii"), "-AA--B");
}

TEST(PresenceTest, WithoutItsZoneNothingHolds) {
    Player player(MakeRule("Presence", {Time("hold_off", 100)}));
    EXPECT_EQ(player.Play("i"), "A");
    player.zone = nullptr;
    EXPECT_EQ(player.Play("ii"), "A-");
    player.zone = Square(2);
    EXPECT_EQ(player.Play("i"), "-");
    player.zone = std::make_shared<meta::data::Zone>(1, "line", Square()->GetPoints(), meta::data::Zone::Shape::Line);
    EXPECT_EQ(player.Play("i"), "-");
    Set(player.rule, Number("zone", 0xFFFFFFFF));
    player.zone = Square(0xFFFFFFFF);
    EXPECT_EQ(player.Play("i"), "-");
}

TEST(PresenceTest, ResetForgetsEverything) {
    Player player(MakeRule("Presence"));
    EXPECT_EQ(player.Play("i"), "A");
    player.rule->Reset();
    EXPECT_EQ(player.Play("oi"), "-B");
}

TEST(PresenceTest, PublishesItsSettings) {
    auto const rule = MakeRule("Presence");
    EXPECT_EQ(rule->GetName(), "Presence");
    EXPECT_STREQ(rule->GetTypeName(), "qel.observable.spatial.Presence");
    EXPECT_THAT(
        DescribeSettings(SchemasOf(*rule)),
        ElementsAre(
            "zone: qel.property.UInt32 = 4294967295. Must be a number between 0 to 4294967295. The id of the zone",
            "classes: qel.property.String = ''. . The classes of the objects that count, separated by commas; empty "
            "for "
            "all",
            "minimum_confidence: qel.property.Double = 0.000000. Must be a number between 0 to 1. The least "
            "confidence "
            "of the objects that count",
            "anchor: qel.property.String = 'bottom_center'. . The point of an object's box that says where it is: "
            "bottom_center, center or top_center",
            "hold_on: qel.property.Milliseconds = 0ms. Must be a number between 0 to 86400000. The milliseconds for "
            "which "
            "the condition must have held before the event starts",
            "hold_off: qel.property.Milliseconds = 500ms. Must be a number between 0 to 86400000. The longest gap in "
            "the "
            "condition, in milliseconds, that the event outlasts",
            "name: qel.property.String = ''. . The user-defined name for the observable",
            "triggers_action: qel.property.Bool = true. . Whether the observable triggers actions and other "
            "observables"));
    EXPECT_EQ(SchemasOf(*rule).front().GetReference(), "zone.polygon");
}

TEST(PresenceTest, CountsTheObjectsOfTheGivenClassesOnly) {
    Player player(MakeRule("Presence", {Text("classes", " car ,, bus\t")}));
    EXPECT_EQ(player.Play(
                  At(0), {Standing(1, {0.5, 0.5}, "car"), Standing(2, {0.5, 0.5}, "bus"), Standing(3, {0.5, 0.5}, "bu"),
                          Standing(4, {0.5, 0.5}, ""), Standing(5, {0.5, 0.5}, "Car")}),
              "AB");
}

TEST(PresenceTest, CountsTheObjectsOfAtLeastTheGivenConfidenceOnly) {
    Player player(MakeRule("Presence", {Real("minimum_confidence", 0.5)}));
    EXPECT_EQ(player.Play(At(0), {Standing(1, {0.5, 0.5}, "car", 0.5), Standing(2, {0.5, 0.5}, "car", 0.49)}), "A");
}

TEST(PresenceTest, TakesTheFirstOfTwoObjectsWithOneId) {
    Player player(MakeRule("Presence"));
    EXPECT_EQ(player.Play(At(0), {Standing(1, {0.5, 0.5}), Standing(1, {0.1, 0.1})}), "A");
    player.rule->Reset();
    EXPECT_EQ(player.Play(At(100), {Standing(1, {0.1, 0.1}), Standing(1, {0.5, 0.5})}), "-");
}

TEST(PresenceTest, LooksAtTheAnchorOfTheBox) {
    // The box stands on the zone's lower half: its bottom is outside, its middle and top are in.
    auto const object = std::make_shared<meta::data::Object>(1, "person", meta::data::Box{0.4, 0.3, 0.2, 0.5});
    for (auto const& [anchor, reported] : std::vector<std::pair<std::string, std::string>>{
             {"bottom_center", "-"}, {"center", "A"}, {"top_center", "A"}}) {
        Player player(MakeRule("Presence", {Text("anchor", anchor)}));
        EXPECT_EQ(player.Play(At(0), {object}), reported) << anchor;
    }
    // The anchor is that of the whole box, also where the box reaches past the picture.
    Player player(MakeRule("Presence"));
    player.zone = std::make_shared<meta::data::Zone>(1, "", std::vector<Point>{{-1, 1}, {1, 1}, {1, 2}, {-1, 2}});
    EXPECT_EQ(player.Play(At(0), {std::make_shared<meta::data::Object>(1, "", meta::data::Box{-0.5, 0.5, 0.1, 1.0})}),
              "A");
}

TEST(PresenceTest, RefusesAnAnchorThatItDoesNotKnow) {
    auto const rule = MakeRule("Presence", {Text("anchor", "center")});
    EXPECT_THAT([&] { Set(rule, Text("anchor", "middle")); },
                testing::ThrowsMessage<std::invalid_argument>(
                    "The anchor must be bottom_center, center or top_center: middle"));
    EXPECT_EQ(ValueText(*BindSetting(SchemasOf(*rule), rule, "anchor")->GetObject()), "'center'");
}

TEST(PresenceTest, StandsTimesThatRunBackwardsOrAreFarApart) {
    Player player(MakeRule("Presence"));
    EXPECT_EQ(player.Play(meta::Timestamp::max(), {Standing(1, {0.5, 0.5})}), "A");
    EXPECT_EQ(player.Play(meta::Timestamp::min(), {}), "A");
    EXPECT_EQ(player.Play(meta::Timestamp::min(), {Standing(1, {0.5, 0.5})}), "A");
    EXPECT_EQ(player.Play(meta::Timestamp::max(), {}), "-");
}

}  // namespace
}  // namespace qel::tests::spatial
