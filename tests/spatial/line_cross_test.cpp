#include <gmock/gmock.h>

#include "tests/spatial/support.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

std::shared_ptr<meta::data::Zone> Line(std::vector<Point> points) {
    return std::make_shared<meta::data::Zone>(1, "line", std::move(points), meta::data::Zone::Shape::Line);
}

/// From the bottom of the picture to its top: 'o' and 'l' are on the left hand, 'r' is on the right.
std::shared_ptr<meta::data::Zone> Upright() { return Line({{0.5, 1.0}, {0.5, 0.0}}); }

Settings const AtOnce{Time("settle", 0)};

class LineCrossTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(LineCrossTimelineTest, Reports) {
    Player player(MakeRule("LineCross", GetParam().settings), Upright());
    EXPECT_EQ(player.Play(GetParam().places), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(
    Line, LineCrossTimelineTest,
    testing::Values(
        Timeline{"EveryCrossingIsAnEvent", AtOnce, "oorrlr", "--A-BC"},
        Timeline{"StayingOnOneSideIsNone", AtOnce, "olol", "----"},
        Timeline{"APointOnTheLineKeepsItsSide", AtOnce, "oiiro", "---AB"},
        Timeline{"TouchingTheLineIsNoCrossing", AtOnce, "oio", "---"},
        Timeline{"BeginningOnTheLineIsNoSide", AtOnce, "ir", "--"},
        Timeline{"BothSidesMustBeSettled", {}, "ooorrrooo", "-----A--B"},
        Timeline{"AShortVisitIsNone", {}, "ooorrooo", "--------"},
        Timeline{"AnUnsettledStartIsNoSide", {}, "oorrr", "-----"},
        Timeline{"OnTheLineTheStayGoesOn", {}, "ooorii", "-----A"},
        Timeline{"LeftToRightOnly", {Time("settle", 0), Text("direction", "left_to_right")}, "oror", "-A-B"},
        Timeline{"RightToLeftOnly", {Time("settle", 0), Text("direction", "right_to_left")}, "oror", "--A-"},
        Timeline{"AnyDirectionWhenAsked", {Time("settle", 0), Text("direction", "any")}, "oro", "-AB"},
        Timeline{"LongerApartThanHalfASecondStartsAnew", AtOnce, "o.....r", "-------"}),
    NameOf);

/// A path of one object, 100 ms from point to point, every sample settles.
struct Path {
    char const* name;
    std::vector<Point> line;
    std::vector<Point> points;
    char const* reported;
};

std::string PlayPath(std::vector<Point> const& line, std::vector<Point> const& points, Settings const& settings) {
    Player player(MakeRule("LineCross", settings), Line(line));
    std::string words;
    for (std::size_t at = 0; at < points.size(); ++at) {
        words += player.Play(At(static_cast<std::int64_t>(at) * 100), {Standing(7, points[at])});
    }
    return words;
}

class LineCrossPathTest : public testing::TestWithParam<Path> {};

TEST_P(LineCrossPathTest, Reports) {
    EXPECT_EQ(PlayPath(GetParam().line, GetParam().points, AtOnce), GetParam().reported);
}

TEST_P(LineCrossPathTest, ReportsTheSameOnceAlongTheLineWalkedBackwards) {
    std::vector<Point> const backwards(GetParam().line.rbegin(), GetParam().line.rend());
    EXPECT_EQ(PlayPath(backwards, GetParam().points, AtOnce), GetParam().reported);
}

TEST_P(LineCrossPathTest, ReportsEachCrossingInOneDirectionOnly) {
    auto const both = PlayPath(GetParam().line, GetParam().points, AtOnce);
    auto const right =
        PlayPath(GetParam().line, GetParam().points, {Time("settle", 0), Text("direction", "left_to_right")});
    auto const left =
        PlayPath(GetParam().line, GetParam().points, {Time("settle", 0), Text("direction", "right_to_left")});
    for (std::size_t at = 0; at < both.size(); ++at) {
        EXPECT_EQ(both[at] != '-', (right[at] != '-') != (left[at] != '-')) << at;
    }
}

std::vector<Point> const Bar{{0.25, 0.5}, {0.75, 0.5}};
std::vector<Point> const Roof{{0.25, 0.75}, {0.5, 0.25}, {0.75, 0.75}};
std::vector<Point> const Stairs{{0.0, 0.25}, {0.25, 0.25}, {0.25, 0.5}, {0.5, 0.5}, {0.5, 0.75}, {0.75, 0.75}};

INSTANTIATE_TEST_SUITE_P(
    OnePiece, LineCrossPathTest,
    testing::Values(
        Path{"ThroughTheMiddle", Bar, {{0.5, 0.25}, {0.5, 0.75}}, "-A"},
        Path{"ThroughAnEnd", Bar, {{0.25, 0.25}, {0.25, 0.75}}, "-A"},
        Path{"ThroughTheOtherEndAslant", Bar, {{0.5, 0.25}, {1.0, 0.75}}, "-A"},
        Path{"PastAnEnd", Bar, {{0.125, 0.25}, {0.125, 0.75}}, "--"},
        Path{"AroundAnEndAndBackThroughTheMiddle", Bar, {{0.5, 0.25}, {0.1, 0.5}, {0.5, 0.75}, {0.5, 0.25}}, "---A"},
        Path{"OntoTheMiddleAndOn", Bar, {{0.5, 0.25}, {0.5, 0.5}, {0.5, 0.75}}, "--A"},
        Path{"OntoAnEndAndOn", Bar, {{0.25, 0.25}, {0.25, 0.5}, {0.25, 0.75}}, "--A"},
        Path{"AlongTheLineAndOffToTheOtherSide",
             Bar,
             {{0.5, 0.25}, {0.375, 0.5}, {0.5, 0.5}, {0.625, 0.5}, {0.625, 0.75}},
             "----A"},
        Path{"AlongTheLineAndOffToTheSameSide", Bar, {{0.5, 0.25}, {0.375, 0.5}, {0.625, 0.5}, {0.5, 0.25}}, "----"},
        Path{"AlongTheLinePastItsEndAndOffToTheOtherSide",
             Bar,
             {{0.5, 0.25}, {0.5, 0.5}, {0.875, 0.5}, {0.875, 0.75}},
             "----"},
        Path{"StandingStill", Bar, {{0.5, 0.25}, {0.5, 0.25}, {0.5, 0.75}, {0.5, 0.75}}, "--A-"},
        Path{"TwoEqualPointsAreNoLine", {{0.5, 0.5}, {0.5, 0.5}}, {{0.25, 0.25}, {0.75, 0.75}}, "--"}),
    [](auto const& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Pieces, LineCrossPathTest,
    testing::Values(Path{"ThroughOnePiece", Roof, {{0.25, 0.5}, {0.5, 0.5}}, "-A"},
                    Path{"ThroughBothIsNoCrossing", Roof, {{0.125, 0.5}, {0.875, 0.5}}, "--"},
                    Path{"ThroughBothInTwoStepsIsTwo", Roof, {{0.125, 0.5}, {0.5, 0.5}, {0.875, 0.5}}, "-AB"},
                    Path{"TouchingTheTopFromOutsideIsNone", Roof, {{0.25, 0.25}, {0.75, 0.25}}, "--"},
                    Path{"DownThroughTheTopIsOne", Roof, {{0.5, 0.125}, {0.5, 0.625}}, "-A"},
                    Path{"ThroughAnEnd", Roof, {{0.0, 0.75}, {0.5, 0.75}}, "-A"},
                    Path{"PastTheEnds", Roof, {{0.0, 0.875}, {1.0, 0.875}}, "--"},
                    Path{"AroundTheEndIsNoChangeOfSides",
                         Roof,
                         {{0.125, 0.5}, {0.125, 0.875}, {0.5, 0.875}, {0.5, 0.5}, {0.125, 0.5}},
                         "----A"},
                    Path{"OntoAPieceAndOn", Roof, {{0.25, 0.5}, {0.375, 0.5}, {0.5, 0.5}}, "--A"},
                    Path{"OntoAPieceAndBack", Roof, {{0.25, 0.5}, {0.375, 0.5}, {0.25, 0.5}}, "---"},
                    Path{"ThroughFivePiecesIsOne", Stairs, {{0.0, 0.0}, {0.75, 1.0}}, "-A"},
                    Path{"AcrossTheStairs", Stairs, {{0.375, 0.25}, {0.125, 0.75}}, "-A"},
                    Path{"RepeatedPointsDoNotCount",
                         {{0.25, 0.5}, {0.5, 0.5}, {0.5, 0.5}, {0.75, 0.5}},
                         {{0.5, 0.25}, {0.5, 0.75}},
                         "-A"},
                    Path{"StraightPiecesAreLikeOne",
                         {{0.25, 0.5}, {0.5, 0.5}, {0.75, 0.5}},
                         {{0.5, 0.25}, {0.5, 0.5}, {0.5, 0.75}},
                         "--A"}),
    [](auto const& info) { return std::string(info.param.name); });

TEST(LineCrossTest, LeftAndRightAreThoseOfAWalkerFromTheFirstPointToTheLast) {
    // From left to right through the picture, the right hand is below.
    Player player(MakeRule("LineCross", {Time("settle", 0), Text("direction", "left_to_right")}), Line(Bar));
    EXPECT_EQ(player.Play(At(0), {Standing(7, {0.5, 0.25})}), "-");
    EXPECT_EQ(player.Play(At(100), {Standing(7, {0.5, 0.75})}), "A");
    EXPECT_EQ(player.Play(At(200), {Standing(7, {0.5, 0.25})}), "-");
}

TEST(LineCrossTest, TheDirectionIsThatOfTheFirstPieceMet) {
    std::vector<Point> const zigzag{{0.0, 0.25}, {1.0, 0.25}, {0.0, 0.5}, {1.0, 0.5}};
    for (auto const& [direction, down, up] : std::vector<std::tuple<std::string, std::string, std::string>>{
             {"left_to_right", "-A", "--"}, {"right_to_left", "--", "-A"}}) {
        Settings const settings{Time("settle", 0), Text("direction", direction)};
        EXPECT_EQ(PlayPath(zigzag, {{0.5, 0.0}, {0.5, 0.75}}, settings), down);
        EXPECT_EQ(PlayPath(zigzag, {{0.5, 0.75}, {0.5, 0.0}}, settings), up);
    }
}

TEST(LineCrossTest, ALineOfOnePointOrNoneIsCrossedByNobody) {
    for (auto const& points : {std::vector<Point>{}, std::vector<Point>{{0.5, 0.5}}}) {
        Player player(MakeRule("LineCross", AtOnce), Line(points));
        EXPECT_EQ(player.Play("oror"), "----");
    }
}

TEST(LineCrossTest, AnAreaIsNoLine) {
    Player player(MakeRule("LineCross", AtOnce), Square());
    EXPECT_EQ(player.Play("oror"), "----");
}

TEST(LineCrossTest, AnotherLineStartsAnew) {
    Player player(MakeRule("LineCross", AtOnce), Upright());
    EXPECT_EQ(player.Play("o"), "-");
    player.zone = Line({{0.6, 1.0}, {0.6, 0.0}});
    EXPECT_EQ(player.Play("ro"), "-A");
}

TEST(LineCrossTest, TheEventIsOfOneFrameAndCarriesRecordObjectAndZone) {
    auto const rule = MakeRule("LineCross", {Text("name", "kerb")});
    rule->SetId(3);
    Player player(rule, Upright());
    EXPECT_EQ(player.Play("ooorrr"), "-----A");
    EXPECT_THAT(player.Describe(),
                ElementsAre("A kerb/line_cross/spatial 500..500 [record 3, object 7 person@1(0.775 0.25 "
                            "0.25 0.25), zone 1 line line(0.5 1;0.5 0;)]"));
}

TEST(LineCrossTest, RefusesADirectionThatItDoesNotKnow) {
    auto const rule = MakeRule("LineCross");
    EXPECT_THAT(
        [&] { Set(rule, Text("direction", "up")); },
        testing::ThrowsMessage<std::invalid_argument>("The direction must be any, left_to_right or right_to_left: up"));
}

TEST(LineCrossTest, PublishesItsSettings) {
    auto const schemas = SchemasOf(*MakeRule("LineCross"));
    auto const lines = DescribeSettings(schemas);
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(
        lines[5],
        "direction: qel.property.String = 'any'. . The direction that counts, as seen when walking along the line: "
        "any, left_to_right or right_to_left");
    EXPECT_EQ(schemas.front().GetReference(), "zone.line");
}

}  // namespace
}  // namespace qel::tests::spatial
