#include <gmock/gmock.h>

#include <limits>

#include "tests/spatial/exact_geometry.hpp"
#include "tests/spatial/support.hpp"
#include "tests/support/random.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

/// A timeline and what both rules say to it.
struct Crossing {
    char const* name;
    Settings settings;
    char const* places;
    char const* entered;
    char const* left;
};

class ZoneCrossingTest : public testing::TestWithParam<Crossing> {};

TEST_P(ZoneCrossingTest, Reports) {
    Player enter(MakeRule("Enter", GetParam().settings));
    EXPECT_EQ(enter.Play(GetParam().places), GetParam().entered);
    Player exit(MakeRule("Exit", GetParam().settings));
    EXPECT_EQ(exit.Play(GetParam().places), GetParam().left);
}

std::string NameOfCrossing(testing::TestParamInfo<Crossing> const& info) { return info.param.name; }

Settings const AtOnce{Time("settle", 0)};
Settings const AlongPaths{Time("settle", 0), Flag("by_path", true)};
Settings const AlongSettledPaths{Flag("by_path", true)};

INSTANTIATE_TEST_SUITE_P(AtOnce, ZoneCrossingTest,
                         testing::Values(Crossing{"OneEventPerChangeOfSides", AtOnce, "ooiioo", "--A---", "----A-"},
                                         Crossing{"TheFirstSideIsNoChange", AtOnce, "ii", "--", "--"},
                                         Crossing{"EdgeAndCornerAreInside", AtOnce, "oeco", "-A--", "---A"},
                                         Crossing{"EveryChangeCounts", AtOnce, "oioioi", "-A-B-C", "--A-B-"},
                                         Crossing{"AJumpAcrossTheZoneIsNoneUnlessAsked", AtOnce, "oror", "----",
                                                  "----"}),
                         NameOfCrossing);

// 200 ms unless set, frames 100 ms apart: the third frame of a stay settles it.
INSTANTIATE_TEST_SUITE_P(
    Settled, ZoneCrossingTest,
    testing::Values(Crossing{"TheEventComesWhenTheNewSideIsSettled", {}, "oooiiiooo", "-----A---", "--------A"},
                    Crossing{"AShorterStayChangesNothing", {}, "oooiiooo", "--------", "--------"},
                    Crossing{"AnUnsettledStartIsNoSide", {}, "ooiii", "-----", "-----"},
                    Crossing{"AStayIsBrokenByTheOtherSide", {}, "oooiioiiooo", "-----------", "-----------"},
                    Crossing{"AShortAbsenceBelongsToTheStay", {}, "oooi.i", "-----A", "------"},
                    Crossing{"FiveHundredMillisecondsApartAreOnePath", {}, "oooi....i", "--------A", "---------"},
                    Crossing{"LongerApartStartsAnew", {}, "oooi.....iii", "------------", "------------"},
                    Crossing{
                        "ConsecutiveFramesAreOnePathHoweverFarApart", {}, "ooo________i_______i", "----A", "-----"}),
    NameOfCrossing);

INSTANTIATE_TEST_SUITE_P(
    ByPath, ZoneCrossingTest,
    testing::Values(Crossing{"AMovementAcrossTellsBothAtOnce", AlongPaths, "oror", "-ABC", "-ABC"},
                    Crossing{"ACrossingLeavesAnOutsideSettled", AlongSettledPaths, "ooororrr", "---ABC--", "---ABC--"},
                    Crossing{"AnUnsettledEntryBreaksNothing", AlongSettledPaths, "oooior", "-----A", "-----A"},
                    Crossing{"FromASettledInsideItOnlyBreaksTheStay", AlongSettledPaths, "iiioororrr", "----------",
                             "---------A"},
                    Crossing{"AlsoOverAFrameWithoutTheObject", AlongPaths, "o.r", "--A", "--A"},
                    Crossing{"NotFromAnUnsettledOutside", AlongSettledPaths, "oro", "---", "---"},
                    Crossing{"FromASettledOutside", AlongSettledPaths, "ooor", "---A", "---A"},
                    Crossing{"AMovementIntoTheZoneIsAnEntryOnly", AlongPaths, "oi", "-A", "--"},
                    Crossing{"ALongJumpInTimeIsNoMovement", AlongPaths, "o.......r", "---------", "---------"}),
    NameOfCrossing);

TEST(ZoneCrossingByPathTest, AStandingObjectCrossesNothing) {
    Player player(MakeRule("Enter", AlongPaths));
    EXPECT_EQ(player.Play("ooo"), "---");
}

TEST(ZoneCrossingByPathTest, AMovementThatTouchesACornerWasInTheZone) {
    Player player(MakeRule("Enter", AlongPaths));
    EXPECT_EQ(player.Play(At(0), {Standing(1, {0.0, 0.5})}), "-");
    EXPECT_EQ(player.Play(At(100), {Standing(1, {0.5, 0.0})}), "A");
    EXPECT_EQ(player.Play(At(200), {Standing(1, {0.4, 0.0})}), "-") << "above the zone";
}

TEST(ZoneCrossingByPathTest, AMovementAlongAnEdgeWasInTheZone) {
    Player player(MakeRule("Exit", AlongPaths));
    EXPECT_EQ(player.Play(At(0), {Standing(1, {0.0, 0.25})}), "-");
    EXPECT_EQ(player.Play(At(100), {Standing(1, {1.0, 0.25})}), "A");
    EXPECT_EQ(player.Play(At(200), {Standing(1, {1.0, 0.125})}), "-");
    EXPECT_EQ(player.Play(At(300), {Standing(1, {0.0, 0.125})}), "-") << "above the edge";
}

TEST(ZoneCrossingByPathTest, AFrameWithoutTheZoneIsPassedOver) {
    Player player(MakeRule("Enter", AlongPaths));
    EXPECT_EQ(player.Play("o"), "-");
    player.zone = nullptr;
    EXPECT_EQ(player.Play("i"), "-");
    player.zone = Square();
    EXPECT_EQ(player.Play("r"), "A");
}

TEST(ZoneCrossingByPathTest, BothEndsMustBeOutsideTheZoneAsItIsNow) {
    Player player(MakeRule("Enter", AlongPaths));
    EXPECT_EQ(player.Play("o"), "-");
    player.zone = std::make_shared<meta::data::Zone>(
        1, "grown", std::vector<Point>{{0.0, 0.25}, {0.75, 0.25}, {0.75, 0.75}, {0.0, 0.75}});
    EXPECT_EQ(player.Play("r"), "-") << "from inside of it";
    EXPECT_EQ(player.Play(At(player.time), {Standing(7, {-0.5, 0.5})}), "A");
}

TEST(ZoneCrossingRandomTest, AMovementFromOutsideToOutsideWasInAZoneOfAnyShapeIfItTouchedTheBoundary) {
    RunAtRandom(5'000, [](Random& random) {
        auto const ring = PointsAtRandom(random, random.Below(7));
        auto const boundary = Close(ring);
        auto const ends = PointsAtRandom(random, 2);
        auto const isOutside = [&](Point point) { return !IsOn(boundary, point) && TurnsAround(ring, point) == 0; };
        if (!isOutside(ends[0]) || !isOutside(ends[1])) {
            return;
        }
        bool touches = false;
        for (std::size_t at = 0; ring.size() >= 3 && at + 1 < boundary.size(); ++at) {
            touches = touches || Touch(ends[0], ends[1], boundary[at], boundary[at + 1]);
        }
        Player player(MakeRule("Enter", AlongPaths), std::make_shared<meta::data::Zone>(1, "", ring));
        EXPECT_EQ(player.Play(At(0), {Standing(1, ends[0])}), "-");
        EXPECT_EQ(player.Play(At(100), {Standing(1, ends[1])}), touches ? "A" : "-")
            << testing::PrintToString(ring) << testing::PrintToString(ends);
    });
}

TEST(ZoneCrossingByPathTest, APlaceThatIsNotFiniteIsNone) {
    double const infinite = std::numeric_limits<double>::infinity();
    double const none = std::numeric_limits<double>::quiet_NaN();
    for (Point const place : {Point{infinite, 0.5}, Point{0.5, infinite}, Point{none, 0.5}, Point{0.5, none}}) {
        Player player(MakeRule("Enter", AlongPaths));
        EXPECT_EQ(player.Play("o"), "-");
        EXPECT_EQ(player.Play(At(player.time), {Standing(7, place)}), "-");
        EXPECT_EQ(player.Play("r"), "A") << "as over a frame without the object";
    }
}

TEST(ZoneCrossingByPathTest, AnUnsettledCrossingBreaksTheStayOutside) {
    Player player(MakeRule("Enter", AlongSettledPaths));
    EXPECT_EQ(player.Play("or"), "--");
    EXPECT_EQ(player.Play("ro"), "--") << "100 ms on the right are too short";
    EXPECT_EQ(player.Play("oor"), "--A");
}

TEST(ZoneCrossingEventTest, IsOfOneFrameAndCarriesRecordObjectAndZone) {
    auto const rule = MakeRule("Enter", {Time("settle", 100), Text("name", "in")});
    rule->SetId(3);
    Player player(rule);
    EXPECT_EQ(player.Play("ooii"), "---A");
    EXPECT_THAT(player.Describe(),
                ElementsAre("A in/enter/spatial 300..300 [record 3, object 7 person@1(0.375 0.25 0.25 0.25), zone 1 "
                            "square(0.25 0.25;0.75 0.25;0.75 0.75;0.25 0.75;)]"));
    auto const exitRule = MakeRule("Exit", AtOnce);
    Player exitPlayer(exitRule);
    exitPlayer.Play("io");
    EXPECT_EQ(exitRule->GetName(), "Exit");
    EXPECT_THAT(exitPlayer.Describe(), ElementsAre(testing::StartsWith("A Exit/exit/spatial 100..100 [record ")));
}

TEST(ZoneCrossingEventTest, ObjectsAreToldApartAndReportedByAscendingId) {
    Player player(MakeRule("Enter", AtOnce));
    EXPECT_EQ(player.Play(At(0), {Standing(9, {0.1, 0.5}), Standing(3, {0.1, 0.5}), Standing(4, {0.1, 0.5})}), "-");
    EXPECT_EQ(player.Play(At(100), {Standing(9, {0.5, 0.5}), Standing(3, {0.5, 0.5}), Standing(4, {0.1, 0.5})}), "AB");
}

TEST(ZoneCrossingEventTest, AFrameWithoutTheZoneSeesNobody) {
    Player player(MakeRule("Enter", AtOnce));
    player.Play("o");
    player.zone = nullptr;
    EXPECT_EQ(player.Play("iiiiii"), "------");
    player.zone = Square();
    EXPECT_EQ(player.Play("i"), "-") << "600 ms later the id starts anew";
}

TEST(ZoneCrossingEventTest, AZoneThatMovesOverAStandingObjectIsEnteredByIt) {
    Player player(MakeRule("Enter", {Time("settle", 100)}));
    EXPECT_EQ(player.Play("rr"), "--");
    player.zone = std::make_shared<meta::data::Zone>(
        1, "moved", std::vector<Point>{{0.75, 0.25}, {1.0, 0.25}, {1.0, 0.75}, {0.75, 0.75}});
    EXPECT_EQ(player.Play("rr"), "-A");
    EXPECT_THAT(player.Describe(), ElementsAre(testing::HasSubstr("zone 1 moved(0.75 ")));
}

TEST(ZoneCrossingEventTest, AnObjectThatDoesNotCountForAFrameIsAbsent) {
    Player player(MakeRule("Enter", {Time("settle", 0), Text("classes", "person"), Real("minimum_confidence", 0.5)}));
    EXPECT_EQ(player.Play(At(0), {Standing(7, {0.1, 0.5})}), "-");
    EXPECT_EQ(player.Play(At(100), {Standing(7, {0.5, 0.5}, "car")}), "-");
    EXPECT_EQ(player.Play(At(200), {Standing(7, {0.5, 0.5}, "person", 0.4)}), "-");
    EXPECT_EQ(player.Play(At(300), {Standing(7, {0.5, 0.5})}), "A");
    EXPECT_EQ(player.Play(At(400), {Standing(7, {0.1, 0.5})}), "-");
    EXPECT_EQ(player.Play(At(500), {Standing(7, {0.1, 0.5}, "car")}), "-");
    EXPECT_EQ(player.Play(At(901), {Standing(7, {0.5, 0.5})}), "-") << "501 ms later the id starts anew";
}

TEST(ZoneCrossingEventTest, StaysDoNotLastWhileTimeStandsStillOrRunsBackwards) {
    Player player(MakeRule("Enter"));
    EXPECT_EQ(player.Play("oooo"), "----");
    EXPECT_EQ(player.Play("iiii", 0), "----") << "all at 400 ms";
    EXPECT_EQ(player.Play("iii", -100), "---");
    player.time = 599;
    EXPECT_EQ(player.Play("ii", 1), "-A");
}

TEST(ZoneCrossingEventTest, HalfASecondApartIsSoInEitherDirectionOfTime) {
    for (auto const& [later, reported] :
         std::vector<std::pair<std::int64_t, std::string>>{{1500, "A"}, {1501, "-"}, {500, "A"}, {499, "-"}}) {
        Player player(MakeRule("Enter", AtOnce));
        player.time = 1000;
        EXPECT_EQ(player.Play("o.", 0), "--");
        player.time = later;
        EXPECT_EQ(player.Play("i"), reported) << later;
    }
}

TEST(ZoneCrossingEventTest, SettlesAfterExactlyADay) {
    constexpr std::int64_t Day = 24 * 60 * 60 * 1000;
    for (auto const& [early, reported] : std::vector<std::pair<std::chrono::nanoseconds, std::string>>{
             {std::chrono::nanoseconds(0), "A"}, {std::chrono::nanoseconds(1), "-"}}) {
        Player player(MakeRule("Enter", {Time("settle", Day)}));
        EXPECT_EQ(player.Play("oo", Day), "--");
        EXPECT_EQ(player.Play("i", Day), "-");
        EXPECT_EQ(player.Play(At(player.time) - early, {Standing(7, {0.5, 0.5})}), reported);
    }
}

TEST(ZoneCrossingEventTest, ResetForgetsEverything) {
    Player player(MakeRule("Enter", AtOnce));
    player.Play("o");
    player.rule->Reset();
    EXPECT_EQ(player.Play("i"), "-");
}

TEST(ZoneCrossingEventTest, PublishesItsSettings) {
    auto const lines = DescribeSettings(SchemasOf(*MakeRule("Enter")));
    EXPECT_EQ(lines, DescribeSettings(SchemasOf(*MakeRule("Exit"))));
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines[4],
              "settle: qel.property.Milliseconds = 200ms. Must be a number between 0 to 86400000. The milliseconds for "
              "which an object must stay on a side before it counts as being there");
    EXPECT_EQ(
        lines[5],
        "by_path: qel.property.Bool = false. . Whether a movement across the zone counts that is outside in both of "
        "its frames");
    EXPECT_EQ(SchemasOf(*MakeRule("Enter")).front().GetReference(), "zone.polygon");
}

}  // namespace
}  // namespace qel::tests::spatial
