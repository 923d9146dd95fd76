#include <gmock/gmock.h>

#include "tests/spatial/support.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

// Frames are 250 ms apart, so that a digit from frame to frame is a quarter of the picture's height per second.
constexpr std::int64_t Step = 250;

class SpeedTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(SpeedTimelineTest, Reports) {
    Player player(MakeRule("Speed", GetParam().settings));
    EXPECT_EQ(player.Play(GetParam().places, Step), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, SpeedTimelineTest,
    testing::Values(Timeline{"AboveTheMinimum", {Real("minimum", 0.2)}, "012345", "--AAAA"},
                    Timeline{"NotAtTheMinimum", {Real("minimum", 0.25)}, "012345", "------"},
                    Timeline{"BelowTheMaximum", {Real("minimum", 0.2), Real("maximum", 0.3)}, "012345", "--AAAA"},
                    Timeline{"NotAtTheMaximum", {Real("minimum", 0.2), Real("maximum", 0.25)}, "012345", "------"},
                    Timeline{"StandingIsNoSpeed", {Real("minimum", 0)}, "222222", "------"},
                    Timeline{
                        "MayBeBoundFromAboveOnly", {Real("minimum", 0), Real("maximum", 0.3)}, "0123456", "--AAAAA"},
                    Timeline{"IsHalfAPictureASecondUnlessSet", {}, "036", "--A"},
                    Timeline{"OfExactlyHalfAPictureASecondIsNot", {}, "02468", "-----"}),
    NameOf);

TEST(SpeedTest, CarriesItsRecordTheObjectAndTheZoneFromTheOnsetToTheLastFrameThatHeld) {
    auto const rule = MakeRule("Speed", {Real("minimum", 0.2), Text("name", "fast")});
    rule->SetId(12);
    Player player(rule);
    EXPECT_EQ(player.Play("0123o", Step), "--AAA");
    EXPECT_THAT(player.Describe(), ElementsAre("A fast/speed/spatial 500..750 [record 12, object 7 "
                                               "person@1(-0.025 0.25 0.25 0.25), zone 1 square(0.25 0.25;0.75 "
                                               "0.25;0.75 0.75;0.25 0.75;)]"));
}

TEST(SpeedTest, CountsTheWayAcrossAsMuchAsTheWayDown) {
    // Three and four sixteenths of the height in half a second, along two sides of a triangle.
    for (auto const& [minimum, reported] : {std::pair{0.624, "A"}, std::pair{0.625, "-"}}) {
        Player player(MakeRule("Speed", {Real("minimum", minimum), Real("aspect", 2)}));
        player.Play(At(0), {Standing(7, {0.5, 0.5})});
        EXPECT_EQ(player.Play(At(500), {Standing(7, {0.5 - 3 / 32.0, 0.5 + 4 / 16.0})}), reported) << minimum;
    }
}

TEST(SpeedTest, RefusesValuesThatMakeNoSense) {
    auto const rule = MakeRule("Speed");
    for (auto const& setting : {Real("minimum", -0.1), Real("maximum", -0.1), Real("aspect", 0), Time("window", -1)}) {
        EXPECT_THROW(Set(rule, setting), std::out_of_range) << setting.name;
    }
}

TEST(SpeedTest, PublishesItsSettings) {
    auto const schemas = SchemasOf(*MakeRule("Speed"));
    auto const lines = DescribeSettings(schemas);
    auto const presence = DescribeSettings(SchemasOf(*MakeRule("Presence")));
    ASSERT_EQ(lines.size(), 12u);
    EXPECT_EQ(std::vector(lines.begin(), lines.begin() + 6), std::vector(presence.begin(), presence.begin() + 6));
    EXPECT_THAT(
        std::vector(lines.begin() + 6, lines.begin() + 10),
        ElementsAre("minimum: qel.property.Double = 0.500000. Must be a number between 0 to 1.7976931348623157e+308. "
                    "The speed above which an object must be, in picture heights a second; people walk at about 0.2 "
                    "through a picture in which they fill a quarter of the height",
                    "maximum: qel.property.Double = " + std::to_string(std::numeric_limits<double>::max()) +
                        ". Must be a number between 0 to 1.7976931348623157e+308. The speed below which it must be, in "
                        "picture heights a second; no bound unless set",
                    "window: qel.property.Milliseconds = 1000ms. Must be a number between 0 to 86400000. The "
                    "milliseconds over which a movement is measured, inside the zone or outside; at least half of them "
                    "must have been seen, so let them be longer than the time between frames",
                    "aspect: qel.property.Double = 1.777778. Must be a number between 0.1 to 10. The width of the "
                    "picture over its height; distances are in picture heights"));
    EXPECT_EQ(schemas.front().GetReference(), "zone.polygon");
}

}  // namespace
}  // namespace qel::tests::spatial
