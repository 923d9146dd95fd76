#include <gmock/gmock.h>

#include "tests/spatial/support.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

/// A way of half a second from the middle of a picture as wide as it is high, and whether its heading is the right one.
struct Way {
    char const* name;
    double right;
    double down;
    double heading;
    double tolerance;
    bool counts;
};

class DirectionTest : public testing::TestWithParam<Way> {};

TEST_P(DirectionTest, CountsWaysOfTheRightHeading) {
    auto const& [name, right, down, heading, tolerance, counts] = GetParam();
    Player player(MakeRule("Direction", {Real("heading", heading), Real("tolerance", tolerance), Real("aspect", 1)}));
    player.Play(At(0), {Standing(7, {0.5, 0.5})});
    EXPECT_EQ(player.Play(At(500), {Standing(7, {0.5 + right, 0.5 + down})}), counts ? "A" : "-");
}

std::string NameOfWay(testing::TestParamInfo<Way> const& info) { return info.param.name; }

constexpr double Far = 0.125;

INSTANTIATE_TEST_SUITE_P(
    Axis, DirectionTest,
    testing::Values(Way{"UpIsZero", 0, -Far, 0, 0, true}, Way{"RightIs90", Far, 0, 90, 0, true},
                    Way{"DownIs180", 0, Far, 180, 0, true}, Way{"LeftIs270", -Far, 0, 270, 0, true},
                    Way{"UpIs360Too", 0, -Far, 360, 0, true}, Way{"UpAndRightIs45", Far, -Far, 45, 0, true},
                    Way{"UpAndLeftIs315", -Far, -Far, 315, 0, true}, Way{"DownAndLeftIs225", -Far, Far, 225, 0, true}),
    NameOfWay);

INSTANTIATE_TEST_SUITE_P(Tolerance, DirectionTest,
                         testing::Values(Way{"ToTheRightIsInclusive", Far, -Far, 0, 45, true},
                                         Way{"ToTheLeftIsInclusive", -Far, -Far, 0, 45, true},
                                         Way{"EndsThere", Far, -Far, 0, 44.9, false},
                                         Way{"EndsThereOnTheLeft", -Far, -Far, 0, 44.9, false},
                                         Way{"ReachesAcrossZeroFromTheRight", -Far, -Far, 10, 55, true},
                                         Way{"ReachesAcrossZeroNoFartherFromTheRight", -Far, -Far, 10, 54.9, false},
                                         Way{"ReachesAcrossZeroFromTheLeft", Far, -Far, 350, 55, true},
                                         Way{"ReachesAcrossZeroNoFartherFromTheLeft", Far, -Far, 350, 54.9, false},
                                         Way{"ReachesAcross180FromTheRight", -Far, Far, 170, 55, true},
                                         Way{"ReachesAcross180FromTheLeft", Far, Far, 190, 55, true},
                                         Way{"OfHalfATurnIsEveryHeading", 0, Far, 0, 180, true},
                                         Way{"OfLessIsNotTheOppositeOne", 0, Far, 0, 179.9, false},
                                         Way{"OfHalfATurnIsEveryHeadingFrom360Too", 0, Far, 360, 180, true}),
                         NameOfWay);

INSTANTIATE_TEST_SUITE_P(Speed, DirectionTest,
                         testing::Values(Way{"StandingHeadsNowhere", 0, 0, 0, 180, false},
                                         Way{"BelowTheMinimumIsTooSlow", 0, -0.0249, 0, 180, false},
                                         Way{"AboveTheMinimumIsEnough", 0, -0.0251, 0, 180, true}),
                         NameOfWay);

TEST(DirectionSettingsTest, TheMinimumSpeedMayBeSet) {
    for (auto const& [speed, reported] : {std::pair{0.25, "-"}, std::pair{0.24, "A"}, std::pair{0.0, "A"}}) {
        Player player(MakeRule("Direction", {Real("minimum_speed", speed)}));
        player.Play(At(0), {Standing(7, PlaceOf('3'))});
        EXPECT_EQ(player.Play(At(500), {Standing(7, PlaceOf('1'))}), reported) << speed;
    }
    Player player(MakeRule("Direction", {Real("minimum_speed", 0), Real("tolerance", 180)}));
    EXPECT_EQ(player.Play("111111"), "------");
}

TEST(DirectionSettingsTest, TheHeadingIsThatInThePictureAsItIsSeen) {
    // As many fractions across as up are more across than up in a picture that is wider than high.
    for (auto const& [aspect, reported] : {std::pair{1.0, "-"}, std::pair{1.5, "A"}, std::pair{0.5, "-"}}) {
        Player player(MakeRule("Direction", {Real("heading", 90), Real("tolerance", 40), Real("aspect", aspect)}));
        player.Play(At(0), {Standing(7, {0.5, 0.5})});
        EXPECT_EQ(player.Play(At(500), {Standing(7, {0.625, 0.375})}), reported) << aspect;
    }
}

TEST(DirectionSettingsTest, CarriesItsRecordTheObjectAndTheZoneFromTheOnsetToTheLastFrameThatHeld) {
    auto const rule = MakeRule("Direction", {Real("heading", 180), Text("name", "wrong way")});
    rule->SetId(12);
    Player player(rule);
    EXPECT_EQ(player.Play("0123o", 250), "--AAA");
    EXPECT_THAT(player.Describe(), ElementsAre("A wrong way/direction/spatial 500..750 [record 12, object 7 "
                                               "person@1(-0.025 0.25 0.25 0.25), zone 1 square(0.25 0.25;0.75 "
                                               "0.25;0.75 0.75;0.25 0.75;)]"));
}

TEST(DirectionSettingsTest, RefusesValuesThatMakeNoSense) {
    auto const rule = MakeRule("Direction");
    for (auto const& setting :
         {Real("heading", -1), Real("heading", 360.5), Real("tolerance", -1), Real("tolerance", 180.5),
          Real("minimum_speed", -1), Real("aspect", 0), Time("window", -1)}) {
        EXPECT_THROW(Set(rule, setting), std::out_of_range) << setting.name;
    }
}

TEST(DirectionSettingsTest, PublishesItsSettings) {
    auto const schemas = SchemasOf(*MakeRule("Direction"));
    auto const lines = DescribeSettings(schemas);
    auto const speed = DescribeSettings(SchemasOf(*MakeRule("Speed")));
    ASSERT_EQ(lines.size(), 13u);
    EXPECT_EQ(std::vector(lines.begin(), lines.begin() + 6), std::vector(speed.begin(), speed.begin() + 6));
    EXPECT_THAT(
        std::vector(lines.begin() + 6, lines.begin() + 9),
        ElementsAre("heading: qel.property.Double = 0.000000. Must be a number between 0 to 360. Where objects must be "
                    "heading, in degrees: 0 is up the picture, 90 to the right, 180 down, 270 to the left",
                    "tolerance: qel.property.Double = 45.000000. Must be a number between 0 to 180. How many degrees "
                    "their heading may be off to either side",
                    "minimum_speed: qel.property.Double = 0.050000. Must be a number between 0 to "
                    "1.7976931348623157e+308. The speed above which they must be, in picture heights a second; slower "
                    "ones head nowhere"));
    EXPECT_EQ(std::vector(lines.begin() + 9, lines.end()), std::vector(speed.begin() + 8, speed.end()));
    EXPECT_EQ(schemas.front().GetReference(), "zone.polygon");
}

}  // namespace
}  // namespace qel::tests::spatial
