#include <gmock/gmock.h>

#include <limits>

#include "tests/spatial/exact_geometry.hpp"
#include "tests/spatial/support.hpp"
#include "tests/support/random.hpp"

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

TEST(PresenceTest, AnEventKeepsItsOnsetThroughAGapAndAReturnThatIsTooLateHasItsOwn) {
    Player player(MakeRule("Presence", {Time("hold_off", 200)}));
    EXPECT_EQ(player.Play("io"), "AA");
    EXPECT_EQ(player.Spans(), "A 0..0");
    EXPECT_EQ(player.Play("i"), "A");
    EXPECT_EQ(player.Spans(), "A 0..200");
    EXPECT_EQ(player.Play("o__i"), "AB");
    EXPECT_EQ(player.Spans(), "B 600..600");
    EXPECT_EQ(player.Play("oooi"), "BB-C");
    EXPECT_EQ(player.Spans(), "C 1000..1000");
}

TEST(PresenceTest, AnObjectThatDoesNotCountForAFrameIsInAGap) {
    Player player(
        MakeRule("Presence", {Time("hold_off", 100), Text("classes", "person"), Real("minimum_confidence", 0.5)}));
    Point const inside{0.5, 0.5};
    EXPECT_EQ(player.Play(At(0), {Standing(7, inside)}), "A");
    EXPECT_EQ(player.Play(At(100), {Standing(7, inside, "car")}), "A");
    EXPECT_THAT(player.Describe(), ElementsAre(testing::HasSubstr("object 7 person@1"))) << "as it counted last";
    EXPECT_EQ(player.Play(At(200), {Standing(7, inside, "car")}), "-");
    EXPECT_EQ(player.Play(At(300), {Standing(7, inside)}), "B");
    EXPECT_EQ(player.Play(At(400), {Standing(7, inside, "person", 0.4)}), "B");
    EXPECT_EQ(player.Play(At(500), {Standing(7, inside, "person", 0.4)}), "-");
}

TEST(PresenceTest, GoesOnInAZoneThatChangesItsShapeAndCarriesItAsItIs) {
    Player player(MakeRule("Presence", {Time("hold_off", 100)}));
    EXPECT_EQ(player.Play("i"), "A");
    player.zone = std::make_shared<meta::data::Zone>(1, "grown", std::vector<Point>{{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    EXPECT_EQ(player.Play("o"), "A");
    EXPECT_EQ(player.Spans(), "A 0..100");
    EXPECT_THAT(player.Describe(), ElementsAre(testing::HasSubstr("zone 1 grown(0 0;")));
    player.zone = std::make_shared<meta::data::Zone>(1, "shrunk", std::vector<Point>{{0, 0}, {0, 1}});
    EXPECT_EQ(player.Play("ii"), "A-");
}

TEST(PresenceTest, TakesTheFirstZoneOfItsIdAndShape) {
    auto const zone = [](char const* name, Point corner, meta::data::Zone::Shape shape) {
        return std::make_shared<meta::data::Zone>(
            1, name, std::vector<Point>{corner, {corner.x + 0.5, corner.y}, {corner.x + 0.5, corner.y + 0.5}}, shape);
    };
    meta::Meta const frame(At(0));
    frame.Append(zone("line", {0.0, 0.0}, meta::data::Zone::Shape::Line));
    frame.Append(zone("first", {0.0, 0.0}, meta::data::Zone::Shape::Polygon));
    frame.Append(zone("second", {0.5, 0.5}, meta::data::Zone::Shape::Polygon));
    frame.Append(Standing(7, {0.375, 0.25}));
    frame.Append(Standing(8, {0.875, 0.75}));
    EXPECT_THAT(Describer().Each(MakeRule("Presence")->Process(frame)),
                ElementsAre(testing::AllOf(testing::HasSubstr("object 7"), testing::HasSubstr("zone 1 first("))));
}

TEST(PresenceTest, BridgesAGapOfExactlyADayAndHoldsOnForOne) {
    constexpr std::int64_t Day = 24 * 60 * 60 * 1000;
    std::vector const inside{Standing(7, {0.5, 0.5})};
    for (auto const& [late, bridged, begun] :
         std::vector<std::tuple<std::chrono::nanoseconds, std::string, std::string>>{
             {std::chrono::nanoseconds(-1), "A", "-"},
             {std::chrono::nanoseconds(0), "A", "A"},
             {std::chrono::nanoseconds(1), "B", "A"}}) {
        Player gap(MakeRule("Presence", {Time("hold_off", Day)}));
        EXPECT_EQ(gap.Play("io"), "AA");
        EXPECT_EQ(gap.Play(At(Day) + late, inside), bridged) << late.count();
        Player onset(MakeRule("Presence", {Time("hold_on", Day)}));
        EXPECT_EQ(onset.Play("ii"), "--");
        EXPECT_EQ(onset.Play(At(Day) + late, inside), begun) << late.count();
    }
}

/// A zone, and places that are in it or not.
struct Area {
    char const* name;
    std::vector<Point> corners;
    std::vector<Point> inside;
    std::vector<Point> outside;
};

class PresenceAreaTest : public testing::TestWithParam<Area> {};

TEST_P(PresenceAreaTest, Holds) {
    auto const zone = std::make_shared<meta::data::Zone>(1, "area", GetParam().corners);
    auto const isIn = [&](Point place) {
        return Player(MakeRule("Presence"), zone).Play(At(0), {Standing(7, place)}) == "A";
    };
    for (auto const& place : GetParam().inside) {
        EXPECT_TRUE(isIn(place)) << place.x << ' ' << place.y;
    }
    for (auto const& place : GetParam().outside) {
        EXPECT_FALSE(isIn(place)) << place.x << ' ' << place.y;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, PresenceAreaTest,
    testing::Values(
        Area{"Slanted", {{0, 0}, {4, 2}, {0, 4}}, {{1, 1}, {2, 1}, {1, 0.5}, {3, 1.5}, {4, 2}}, {{2, 0.75}, {4, 1.75}}},
        Area{
            "Concave", {{0, 0}, {4, 0}, {2, 2}, {4, 4}, {0, 4}}, {{1, 2}, {2, 2}, {3, 1}, {3, 3}}, {{3, 2}, {2.25, 2}}},
        Area{"TouchingItself",
             {{0, 0}, {2, 2}, {4, 0}, {4, 4}, {2, 2}, {0, 4}},
             {{0.5, 2}, {3.5, 2}, {2, 2}},
             {{2, 1}, {2, 3}}},
        Area{"CrossingItself", {{0, 0}, {4, 4}, {4, 0}, {0, 4}}, {{0.5, 2}, {3.5, 2}, {2, 2}}, {{2, 1}, {2, 3}}},
        Area{"GoingAroundTwice",
             {{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}, {3, 0}, {3, 3}, {0, 3}},
             {{1, 1}, {3.5, 3.5}},
             {{5, 1}}},
        Area{"ACornerTwice", {{0, 0}, {4, 0}, {4, 0}, {4, 4}, {0, 4}}, {{2, 2}, {4, 0}, {4, 2}}, {{5, 0}, {5, 2}}},
        Area{"TheFirstCornerAgainAtTheEnd", {{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}}, {{2, 2}, {0, 2}}, {{5, 2}}},
        Area{"AllOnALine", {{0, 0}, {2, 2}, {4, 4}}, {{1, 1}, {3, 3}, {4, 4}}, {{1, 2}, {5, 5}}},
        Area{"TwoCorners", {{0, 0}, {4, 4}}, {}, {{0, 0}, {2, 2}}}, Area{"OneCorner", {{2, 2}}, {}, {{2, 2}}},
        Area{"NoCorner", {}, {}, {{0, 0}}}),
    [](auto const& info) { return std::string(info.param.name); });

TEST(PresenceRandomTest, TheAreaIsTheBoundaryAndWhatItGoesAround) {
    RunAtRandom(5'000, [](Random& random) {
        auto const ring = PointsAtRandom(random, 3 + random.Below(5));
        Point const place = PointsAtRandom(random, 1).front();
        Player player(MakeRule("Presence"), std::make_shared<meta::data::Zone>(1, "area", ring));
        EXPECT_EQ(player.Play(At(0), {Standing(7, place)}),
                  IsOn(Close(ring), place) || TurnsAround(ring, place) != 0 ? "A" : "-")
            << testing::PrintToString(ring) << ' ' << place.x << ' ' << place.y;
    });
}

TEST(PresenceTest, APlaceThatIsNotFiniteIsNone) {
    double const infinite = std::numeric_limits<double>::infinity();
    double const none = std::numeric_limits<double>::quiet_NaN();
    for (auto const& box : {meta::data::Box{infinite, infinite, 0.1, 0.1}, meta::data::Box{0.5, 0.5, infinite, 0},
                            meta::data::Box{0.5, 0.25, 0, infinite}, meta::data::Box{none, 0.5, 0, 0},
                            meta::data::Box{0.5, none, 0, 0}, meta::data::Box{0.5, 0.5, none, 0}}) {
        Player player(MakeRule("Presence", {Time("hold_off", 0)}));
        EXPECT_EQ(player.Play("i"), "A");
        EXPECT_EQ(player.Play(At(100), {std::make_shared<meta::data::Object>(7, "person", box)}), "-");
    }
}

TEST(PresenceTest, CopiesAnObjectThatIsPartOfAnother) {
    struct Truck {
        meta::data::Object cabin{7, "cabin", {0.25, 0.25, 0.5, 0.25}};
    };
    auto truck = std::make_shared<Truck>();
    auto const rule = MakeRule("Presence");
    auto const events = [&] {
        meta::Meta const frame(At(0));
        frame.Append(Square());
        frame.Append(std::shared_ptr<meta::data::Object>(truck, &truck->cabin));
        return rule->Process(frame);
    }();
    truck.reset();
    EXPECT_THAT(Describer().Each(events), ElementsAre(testing::HasSubstr("object 7 cabin@1(0.25 0.25 0.5 0.25)")));
}

TEST(PresenceTest, LetsGoOfZonesAndObjectsThatItNeedsNoLonger) {
    for (bool const isReset : {false, true}) {
        Player player(MakeRule("Presence", {Time("hold_off", 0)}));
        std::weak_ptr<meta::data::Zone> const zone = player.zone;
        EXPECT_EQ(player.Play("i"), "A");
        player.zone = nullptr;
        if (isReset) {
            player.rule->Reset();
        }
        EXPECT_EQ(player.Play("."), "-");
        EXPECT_TRUE(zone.expired()) << isReset;
    }
}

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
