#include <gmock/gmock.h>

#include <cmath>
#include <numbers>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/spatial/exact_geometry.hpp"
#include "tests/spatial/support.hpp"
#include "tests/support/random.hpp"

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
        Timeline{"BeginningOnTheLineIsNoSide", AtOnce, "iiro", "---A"},
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
std::vector<Point> const Corner{{0.0, 0.5}, {0.5, 0.5}, {0.5, 1.0}};
std::vector<Point> const Plateau{{0.0, 1.0}, {0.25, 0.5}, {0.75, 0.5}, {1.0, 1.0}};
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

// Samples exactly on the line, points of the line exactly on the way, and ways along the line.
INSTANTIATE_TEST_SUITE_P(
    Contact, LineCrossPathTest,
    testing::Values(
        Path{"OntoTheTopFromInsideAndOffOutside", Roof, {{0.5, 0.5}, {0.5, 0.25}, {0.75, 0.25}}, "--A"},
        Path{"OntoTheTopFromInsideAndBack", Roof, {{0.5, 0.5}, {0.5, 0.25}, {0.5, 0.75}}, "---"},
        Path{"FromTheTopDownAlongAPieceAndBackOutside",
             Roof,
             {{0.5, 0.125}, {0.5, 0.25}, {0.625, 0.5}, {0.75, 0.5}},
             "----"},
        Path{"FromTheTopDownAlongAPieceAndOffInside",
             Roof,
             {{0.5, 0.125}, {0.5, 0.25}, {0.625, 0.5}, {0.5, 0.5}},
             "---A"},
        Path{"AlongAPieceAndPastTheCornerOutside",
             Corner,
             {{0.25, 0.25}, {0.25, 0.5}, {0.75, 0.5}, {0.75, 0.25}},
             "----"},
        Path{"FromInsideAlongAPieceAndPastTheCorner",
             Corner,
             {{0.25, 0.75}, {0.25, 0.5}, {0.75, 0.5}, {0.75, 0.25}},
             "--A-"},
        Path{"AlongThePlateauFromInsideToOutside", Plateau, {{0.5, 0.75}, {0.5, 0.5}, {0.9, 0.5}, {0.9, 0.25}}, "--A-"},
        Path{"FromTheExtensionOfAPieceOntoItAndInside", Plateau, {{0.0, 0.5}, {0.5, 0.5}, {0.5, 0.75}}, "--A"},
        Path{"ASampleOnTheLineInEveryFrameIsNoSide", Roof, {{0.375, 0.5}, {0.5, 0.25}, {0.625, 0.5}}, "---"},
        Path{"BeginningOnTheLineIsNoSide", Roof, {{0.375, 0.5}, {0.5, 0.5}, {0.25, 0.5}}, "--A"},
        Path{"OntoAnEndAndOn", Roof, {{0.125, 0.75}, {0.25, 0.75}, {0.375, 0.75}}, "--A"},
        Path{"OntoAnEndAndBack", Roof, {{0.125, 0.75}, {0.25, 0.75}, {0.125, 0.75}}, "---"}),
    [](auto const& info) { return std::string(info.param.name); });

std::vector<Point> const Ring{{0.25, 0.25}, {0.75, 0.25}, {0.75, 0.75}, {0.25, 0.75}, {0.25, 0.25}};
/// A letter P: its last end touches the middle of its first piece.
std::vector<Point> const Loop{{0.5, 1.0}, {0.5, 0.0}, {0.75, 0.0}, {0.75, 0.5}, {0.5, 0.5}};

// Lines that close: their ends are no ends.
INSTANTIATE_TEST_SUITE_P(
    Closed, LineCrossPathTest,
    testing::Values(
        Path{"InThroughTheJointAndOut", Ring, {{0.125, 0.125}, {0.5, 0.5}, {0.5, 0.9}}, "-AB"},
        Path{"OntoTheJointAndIn", Ring, {{0.125, 0.125}, {0.25, 0.25}, {0.5, 0.5}}, "--A"},
        Path{"OntoTheJointAndOff", Ring, {{0.125, 0.125}, {0.25, 0.25}, {0.25, 0.125}}, "---"},
        Path{"AlongAnEdgeThroughTheJoint", Ring, {{0.125, 0.25}, {0.5, 0.25}, {0.5, 0.5}}, "--A"},
        Path{"ThereAndBackIsNoLineToCross",
             {{0.25, 0.5}, {0.75, 0.5}, {0.25, 0.5}},
             {{0.25, 0.25}, {0.25, 0.75}, {0.5, 0.25}, {0.75, 0.75}},
             "----"},
        Path{"ThroughATouchingEndIntoTheLoop", Loop, {{0.375, 0.625}, {0.625, 0.375}}, "-A"},
        Path{"OntoATouchingEndFromTheLoopAndOff", Loop, {{0.625, 0.375}, {0.5, 0.5}, {0.625, 0.625}}, "--A"}),
    [](auto const& info) { return std::string(info.param.name); });

// Along the first or last piece, past the end that nothing else touches: that is around the line.
INSTANTIATE_TEST_SUITE_P(
    AroundAnEnd, LineCrossPathTest,
    testing::Values(Path{"OffFromAboveAndBackAbove",
                         Plateau,
                         {{0.125, 0.5}, {0.125, 0.75}, {-0.125, 1.25}, {-0.25, 1.0}, {0.125, 0.5}},
                         "-----"},
                    Path{"OffFromBelowAndBackBelow",
                         Plateau,
                         {{0.25, 0.75}, {0.125, 0.75}, {-0.125, 1.25}, {0.0, 1.25}, {0.25, 0.75}},
                         "-----"},
                    Path{"OnAndOffAbove", Plateau, {{-0.125, 1.25}, {0.125, 0.75}, {0.125, 0.5}}, "---"},
                    Path{"OnAndOffBelow", Plateau, {{-0.125, 1.25}, {0.125, 0.75}, {0.25, 0.75}}, "---"},
                    Path{"FromEndToEnd",
                         {{0.25, 0.5}, {0.5, 0.5}, {0.75, 0.5}},
                         {{0.5, 0.25}, {0.125, 0.5}, {0.875, 0.5}, {0.5, 0.75}, {0.5, 0.25}},
                         "----A"}),
    [](auto const& info) { return std::string(info.param.name); });

/// What an odd number of turns go around is inside.
void ExpectEventsWhereTheInsideChanges(std::vector<Point> const& line, std::vector<Point> const& ring,
                                       std::vector<Point> const& path) {
    std::string expected;
    std::optional<bool> wasInside;
    char next = 'A';
    for (auto const& point : path) {
        bool const isOff = !IsOn(line, point);
        bool const inside = isOff && TurnsAround(ring, point) % 2 != 0;
        expected += isOff && wasInside && *wasInside != inside ? next++ : '-';
        if (isOff) {
            wasInside = inside;
        }
    }
    EXPECT_EQ(PlayPath(line, path, AtOnce), expected)
        << "line " << testing::PrintToString(line) << ", path " << testing::PrintToString(path);
}

TEST(LineCrossRandomTest, WhoCrossesAClosedLineChangesBetweenInsideAndOutside) {
    RunAtRandom(5'000, [](Random& random) {
        auto const ring = PointsAtRandom(random, 2 + random.Below(5));
        ExpectEventsWhereTheInsideChanges(Close(ring), ring, PointsAtRandom(random, 6));
    });
}

TEST(LineCrossRandomTest, WhoCrossesALineWithFarEndsChangesBetweenAboveAndBelow) {
    RunAtRandom(5'000, [](Random& random) {
        auto line = PointsAtRandom(random, 1 + random.Below(5));
        line.insert(line.begin(), {-1000, line.front().y});
        line.push_back({1000, line.back().y});
        auto ring = line;
        ring.insert(ring.end(), {{1000, 1000}, {-1000, 1000}});
        ExpectEventsWhereTheInsideChanges(line, ring, PointsAtRandom(random, 6));
    });
}

TEST(LineCrossRandomTest, RoundingHardlyEverMakesADifference) {
    int paths = 0;
    int differences = 0;
    RunAtRandom(5'000, [&](Random& random) {
        auto const scaled = [&](std::vector<Point> points, std::size_t mostSteps) {
            auto const scale = [&](double& value) {
                value = (value + 1) / 20;
                for (auto steps = random.Below(mostSteps + 1); steps > 0; --steps) {
                    value = std::nextafter(value, random.OneIn(2) ? 0.0 : 1.0);
                }
            };
            for (auto& point : points) {
                scale(point.x);
                scale(point.y);
            }
            return points;
        };
        auto const ring = PointsAtRandom(random, 2 + random.Below(5));
        auto const path = PointsAtRandom(random, 6);
        ++paths;
        if (PlayPath(Close(scaled(ring, 2)), scaled(path, 2), AtOnce) != PlayPath(Close(ring), path, AtOnce)) {
            ++differences;
        }
    });
    EXPECT_LE(differences, paths / 1000 + 1);
}

TEST(LineCrossRandomTest, AStraightLineIsCrossedInPiecesAsItIsWhole) {
    RunAtRandom(5'000, [](Random& random) {
        std::vector<Point> const whole{{1, 2}, {3, 2}};
        std::vector<Point> const inPieces{{1, 2}, {2, 2}, {3, 2}};
        auto path = PointsAtRandom(random, 6);
        for (auto& point : path) {
            if (point.y == 2 && !IsOn(whole, point)) {
                point.y = 3;  // straight ahead of the line is on no side of it
            }
        }
        EXPECT_EQ(PlayPath(inPieces, path, AtOnce), PlayPath(whole, path, AtOnce)) << testing::PrintToString(path);
    });
}

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
    // From outside both ways lead first to its left.
    std::vector<Point> const spiral{{0.25, 0.5}, {1.0, 0.5}, {1.0, 0.25}, {0.0, 0.25}, {0.0, 0.75}, {0.75, 0.75}};
    for (auto const& [direction, reported] :
         std::vector<std::pair<std::string, std::string>>{{"left_to_right", "--"}, {"right_to_left", "-A"}}) {
        Settings const settings{Time("settle", 0), Text("direction", direction)};
        EXPECT_EQ(PlayPath(spiral, {{0.5, 0.0}, {0.5, 1.0}}, settings), reported);
        EXPECT_EQ(PlayPath(spiral, {{0.5, 1.0}, {0.5, 0.0}}, settings), reported);
    }
}

TEST(LineCrossTest, OverAJointIsAcrossTheLineOrNotWhateverTheSlope) {
    Point const joint{0.3, 0.7};
    auto const around = [&](double degrees) {
        double const angle = degrees * std::numbers::pi / 180;
        return Point{joint.x + 0.2 * std::cos(angle), joint.y + 0.2 * std::sin(angle)};
    };
    std::vector<Point> const line{around(100), joint, around(260)};
    double const slope = std::atan(std::numbers::sqrt2) * 180 / std::numbers::pi;
    for (double const start : {0.0, 0.5, slope}) {
        for (double degrees = start; degrees < 360; ++degrees) {
            bool const touches = std::abs(degrees - 90) < 10 || std::abs(degrees - 270) < 10;
            bool const runsAlong =
                std::abs(std::abs(degrees - 90) - 10) < 1e-9 || std::abs(std::abs(degrees - 270) - 10) < 1e-9;
            if (!runsAlong) {
                EXPECT_EQ(PlayPath(line, {around(degrees), around(degrees + 180)}, AtOnce), touches ? "--" : "-A")
                    << degrees;
                EXPECT_EQ(PlayPath(line, {around(degrees), joint, around(degrees + 180)}, AtOnce),
                          touches ? "---" : "--A")
                    << degrees;
            }
        }
    }
    EXPECT_EQ(PlayPath({{0.0, 0.5}, {0.25, 0.25 * std::numbers::sqrt2}, {0.5, 0.25}},
                       {{0.0, 0.0}, {0.5, 0.5 * std::numbers::sqrt2}}, AtOnce),
              "-A");
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

TEST(LineCrossTest, WhoSettlesOnTheOtherSideAroundTheEndHasNotCrossed) {
    Point const above{0.5, 0.25};
    Point const below{0.5, 0.75};
    Point const aboveBeside{0.1, 0.25};
    Point const belowBeside{0.1, 0.75};
    std::vector<Point> around{above, above, above, aboveBeside, belowBeside, below, below, below};
    EXPECT_EQ(PlayPath(Bar, around, {}), "--------");
    around.insert(around.end(), {above, above, above});
    EXPECT_EQ(PlayPath(Bar, around, {}), "----------A") << "from the side that was settled around the end";
    // What began a stay that was too short does not count for the next one.
    EXPECT_EQ(PlayPath(Bar, {above, above, above, below, above, aboveBeside, belowBeside, below, below, below}, {}),
              "----------");
}

TEST(LineCrossTest, AFrameWithoutTheLineIsAFrameWithoutObjects) {
    Player player(MakeRule("LineCross", AtOnce), Upright());
    EXPECT_EQ(player.Play("o"), "-");
    auto const line = std::exchange(player.zone, nullptr);
    EXPECT_EQ(player.Play("r"), "-");
    player.zone = line;
    EXPECT_EQ(player.Play("r"), "A");
    player.zone = nullptr;
    EXPECT_EQ(player.Play("....."), "-----");
    player.zone = line;
    EXPECT_EQ(player.Play("o"), "-") << "600 ms later the id starts anew";
}

TEST(LineCrossTest, StaysDoNotLastWhileTimeStandsStillOrRunsBackwards) {
    Player player(MakeRule("LineCross"), Upright());
    EXPECT_EQ(player.Play("oooo"), "----");
    EXPECT_EQ(player.Play("rrrr", 0), "----") << "all at 400 ms";
    EXPECT_EQ(player.Play("rrr", -100), "---");
    player.time = 599;
    EXPECT_EQ(player.Play("rr", 1), "-A");
}

TEST(LineCrossTest, TakesTheLineBesideAnAreaOfItsId) {
    auto const rule = MakeRule("LineCross", AtOnce);
    std::string reported;
    for (std::int64_t const time : {0, 100}) {
        meta::Meta const frame(At(time));
        frame.Append(Square());
        frame.Append(Upright());
        frame.Append(Standing(7, PlaceOf(time == 0 ? 'o' : 'r')));
        reported += std::to_string(rule->Process(frame).size());
    }
    EXPECT_EQ(reported, "01");
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
    EXPECT_THAT(schemas[5].GetChoices(), ElementsAre("any", "left_to_right", "right_to_left"));
}

}  // namespace
}  // namespace qel::tests::spatial
