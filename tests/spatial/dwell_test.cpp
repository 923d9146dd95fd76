#include <gmock/gmock.h>

#include "tests/spatial/support.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

class DwellTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(DwellTimelineTest, Reports) {
    Settings settings{Time("duration", 300)};
    settings.insert(settings.end(), GetParam().settings.begin(), GetParam().settings.end());
    Player player(MakeRule("Dwell", settings));
    EXPECT_EQ(player.Play(GetParam().places), GetParam().reported);
}

Settings const NoHold{Time("hold_off", 0)};

INSTANTIATE_TEST_SUITE_P(
    Stay, DwellTimelineTest,
    testing::Values(Timeline{"MustBeStrictlyLonger", NoHold, "iiiii", "----A"},
                    Timeline{"GoesOnAsOneEvent", NoHold, "iiiiiio", "----AA-"},
                    Timeline{"StartsAgainAfterAFrameOutside", NoHold, "iiioiiiii", "--------A"},
                    Timeline{"IsANewEventAfterAFrameOutside", NoHold, "iiiiioiiiii", "----A-----B"},
                    Timeline{"BridgesGaps", {Time("hold_off", 200)}, "iioiii", "----AA"},
                    Timeline{"AGapAtTheEndIsNoPartOfTheStay", {Time("hold_off", 500)}, "iiiooooooo", "----------"},
                    Timeline{"GoesOnThroughAGapThatIsBridged", {Time("hold_off", 200)}, "iiiiiooooo", "----AAA---"},
                    Timeline{"BeginsAnewWhenAReturnComesTooLateThoughNoFrameFellBetween",
                             {Time("hold_off", 200)},
                             "iiiiio__iiiii",
                             "----AA----B"},
                    Timeline{
                        "CountsFromThePresence", {Time("hold_on", 200), Time("hold_off", 0)}, "iiiiiiii", "------AA"}),
    NameOf);

TEST(DwellTest, LastsFromTheEntryToTheLastFrameInTheZoneAndCarriesItsOwnRecord) {
    auto const rule = MakeRule("Dwell", {Time("duration", 100), Text("name", "waiting")});
    rule->SetId(5);
    Player player(rule);
    EXPECT_EQ(player.Play("iii"), "--A");
    EXPECT_THAT(player.Describe(),
                ElementsAre("A waiting/dwell/spatial 0..200 [object 7 person@1(0.375 0.25 0.25 0.25), "
                            "zone 1 square(0.25 0.25;0.75 0.25;0.75 0.75;0.25 0.75;), record 5]"));
    EXPECT_EQ(player.Play("o"), "A");
    EXPECT_THAT(player.Describe(), ElementsAre(testing::StartsWith("A waiting/dwell/spatial 0..200 [object 7 person")));
}

TEST(DwellTest, ObjectsAreToldApart) {
    Player player(MakeRule("Dwell", {Time("duration", 100)}));
    EXPECT_EQ(player.Play(At(0), {Standing(9, {0.5, 0.5})}), "-");
    EXPECT_EQ(player.Play(At(100), {Standing(9, {0.5, 0.5}), Standing(3, {0.5, 0.5})}), "-");
    EXPECT_EQ(player.Play(At(200), {Standing(9, {0.5, 0.5}), Standing(3, {0.5, 0.5})}), "A");
    EXPECT_EQ(player.Play(At(300), {Standing(9, {0.5, 0.5}), Standing(3, {0.5, 0.5})}), "BA");
}

TEST(DwellTest, TakesTheSettingsOfAPresenceAndADuration) {
    auto const rule = MakeRule("Dwell", {Time("duration", 0), Text("classes", "car"), Text("anchor", "center"),
                                         Real("minimum_confidence", 0.5), Time("hold_off", 0), Time("hold_on", 0)});
    Player player(rule);
    auto const standing = [](unsigned int id, char const* classification, double confidence) {
        return std::make_shared<meta::data::Object>(id, classification, meta::data::Box{0.4, 0.5, 0.2, 0.4},
                                                    confidence);
    };
    std::vector const objects{standing(1, "car", 0.5), standing(2, "bus", 0.5), standing(3, "car", 0.4)};
    EXPECT_EQ(player.Play(At(0), objects), "-");
    EXPECT_EQ(player.Play(At(100), objects), "A");

    auto const lines = DescribeSettings(SchemasOf(*rule));
    auto const presence = DescribeSettings(SchemasOf(*MakeRule("Presence")));
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_EQ(std::vector(lines.begin(), lines.begin() + 6), std::vector(presence.begin(), presence.begin() + 6));
    EXPECT_EQ(
        lines[6],
        "duration: qel.property.Milliseconds = 10000ms. Must be a number between 0 to 86400000. The milliseconds for "
        "longer than which an object must be in the zone");
    EXPECT_EQ(SchemasOf(*rule).front().GetReference(), "zone.polygon");
    for (auto const& schema : SchemasOf(*rule)) {
        auto const property = BindSetting(SchemasOf(*rule), rule, schema.GetName());
        auto const value = property->GetObject();
        property->Set(*value);
        EXPECT_EQ(ValueText(*property->GetObject()), ValueText(*value)) << schema.GetName();
    }
}

TEST(DwellTest, ResetForgetsEverything) {
    Player player(MakeRule("Dwell", {Time("duration", 100)}));
    EXPECT_EQ(player.Play("iii"), "--A");
    player.rule->Reset();
    EXPECT_EQ(player.Play("iii"), "--B");
}

TEST(DwellTest, DependsOnNobody) { EXPECT_TRUE(MakeRule("Dwell")->GetDependents().empty()); }

}  // namespace
}  // namespace qel::tests::spatial
