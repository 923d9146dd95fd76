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
                    Timeline{"DoesNotStartInAGapThoughThePresenceGoesOn",
                             {Time("hold_on", 200), Time("hold_off", 500)},
                             "iiiiiooooooo",
                             "------------"},
                    Timeline{"GoesOnThroughAGapThatIsBridged", {Time("hold_off", 200)}, "iiiiiooooo", "----AAA---"},
                    Timeline{"BeginsAnewWhenAReturnComesTooLateThoughNoFrameFellBetween",
                             {Time("hold_off", 200)},
                             "iiiiio__iiiii",
                             "----AA----B"},
                    Timeline{
                        "CountsFromThePresence", {Time("hold_on", 200), Time("hold_off", 0)}, "iiiiiiii", "------AA"}),
    NameOf);

TEST(DwellTest, GoesOnInALateFrame) {
    Player player(MakeRule("Dwell", {Time("duration", 300)}));
    EXPECT_EQ(player.Play("iiiii"), "----A");
    player.time = 250;
    EXPECT_EQ(player.Play("i"), "A");
    EXPECT_EQ(player.Spans(), "A 0..250");
    player.time = 500;
    EXPECT_EQ(player.Play("i"), "A");
    EXPECT_EQ(player.Spans(), "A 0..500");
    player.time = -1000;
    EXPECT_EQ(player.Play("i"), "A");
}

TEST(DwellTest, FramesOfOneTimeDoNotLast) {
    Player player(MakeRule("Dwell", {Time("duration", 0)}));
    EXPECT_EQ(player.Play("iii", 0), "---");
    player.time = 1;
    EXPECT_EQ(player.Play("i"), "A");
}

TEST(DwellTest, AfterABridgedGapTheEndMovesOnAndTheStartStays) {
    Player player(MakeRule("Dwell", {Time("duration", 300), Time("hold_off", 200)}));
    EXPECT_EQ(player.Play("iiiiio"), "----AA");
    EXPECT_EQ(player.Spans(), "A 0..400");
    EXPECT_EQ(player.Play("i"), "A");
    EXPECT_EQ(player.Spans(), "A 0..600");
}

TEST(DwellTest, LongerIsLongerByANanosecondAlsoForADay) {
    std::vector const inside{Standing(7, {0.5, 0.5})};
    for (std::int64_t const duration : {std::int64_t{300}, std::int64_t{24 * 60 * 60 * 1000}}) {
        Player player(MakeRule("Dwell", {Time("duration", duration)}));
        EXPECT_EQ(player.Play(At(0), inside), "-");
        EXPECT_EQ(player.Play(At(duration), inside), "-");
        EXPECT_EQ(player.Play(At(duration) + std::chrono::nanoseconds(1), inside), "A");
    }
}

TEST(DwellTest, AReturnThatIsTooLateIsANewStayBesideOneThatGoesOn) {
    Player player(MakeRule("Dwell", {Time("duration", 200), Time("hold_off", 100)}));
    auto const seven = Standing(7, {0.5, 0.5});
    auto const eight = Standing(8, {0.5, 0.5});
    for (auto const& [time, reported] : std::vector<std::pair<std::int64_t, std::string>>{{0, "-"}, {201, "AB"}}) {
        EXPECT_EQ(player.Play(At(time), {seven, eight}), reported) << time;
    }
    EXPECT_EQ(player.Play(At(301), {eight}), "AB");
    EXPECT_EQ(player.Spans(), "A 0..201, B 0..301");
    EXPECT_EQ(player.Play(At(302), {seven, eight}), "B") << "101 ms after it was there last";
    EXPECT_EQ(player.Play(At(502), {seven, eight}), "B");
    EXPECT_EQ(player.Play(At(503), {seven, eight}), "CB");
    EXPECT_EQ(player.Spans(), "C 302..503, B 0..503");
}

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
