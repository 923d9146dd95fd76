#include <gmock/gmock.h>

#include "tests/spatial/support.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

std::vector<std::shared_ptr<meta::data::Object>> Inside(std::vector<unsigned int> const& ids) {
    std::vector<std::shared_ptr<meta::data::Object>> objects;
    for (auto const id : ids) {
        objects.push_back(Standing(id, {0.5, 0.5}));
    }
    return objects;
}

std::vector<unsigned int> Carried(meta::data::Event const& event) {
    std::vector<unsigned int> ids;
    for (auto const& object : meta::ObjectsOf(event)) {
        ids.push_back(object.GetId());
    }
    return ids;
}

/// What a count says of frames 100 ms apart with so many objects in the zone.
std::string Play(Player& player, std::vector<unsigned int> const& numbers) {
    std::string words;
    for (auto const number : numbers) {
        std::vector<unsigned int> ids(number);
        for (unsigned int id = 0; id < number; ++id) {
            ids[id] = id;
        }
        words += player.Play(At(player.time), Inside(ids));
        player.time += 100;
    }
    return words;
}

TEST(CountTest, IsOneEventForTheSceneWhileTheNumberIsRight) {
    Player player(MakeRule("Count", {Number("minimum", 2), Number("maximum", 3), Time("hold_off", 0)}));
    EXPECT_EQ(Play(player, {0, 1, 2, 3, 4, 3, 2, 1}), "--AA-BB-");
}

TEST(CountTest, IsAtLeastOneAndUnboundedUnlessSet) {
    Player player(MakeRule("Count", {Time("hold_off", 0)}));
    EXPECT_EQ(Play(player, {0, 1, 500}), "-AA");
}

TEST(CountTest, MayCountNobody) {
    Player player(MakeRule("Count", {Number("minimum", 0), Number("maximum", 0), Time("hold_off", 0)}));
    EXPECT_EQ(Play(player, {0, 1, 0}), "A-B");
    player.zone = nullptr;
    EXPECT_EQ(Play(player, {0}), "-") << "there is no zone in which nobody is";
}

TEST(CountTest, HoldsOnAndOff) {
    Player player(MakeRule("Count", {Time("hold_on", 100), Time("hold_off", 100)}));
    EXPECT_EQ(Play(player, {1, 0, 1, 1, 0, 0, 1, 1}), "---AA--B");
}

TEST(CountTest, CarriesTheObjectsThroughAGapThoseOfTheLastFrameInWhichItHeld) {
    auto const rule = MakeRule("Count", {Number("minimum", 2), Time("hold_off", 200)});
    meta::Meta const frame(At(0));
    frame.Append(Square());
    for (auto const& object : Inside({5, 3})) {
        frame.Append(object);
    }
    frame.Append(Standing(9, {0.1, 0.1}));
    auto const first = rule->Process(frame);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_THAT(Carried(first[0]->As<meta::data::Event>()), ElementsAre(3, 5));

    meta::Meta const gap(At(100));
    gap.Append(Square());
    gap.Append(Standing(5, {0.5, 0.5}));
    auto const bridged = rule->Process(gap);
    ASSERT_EQ(bridged.size(), 1u);
    EXPECT_THAT(Carried(bridged[0]->As<meta::data::Event>()), ElementsAre(3, 5));
    EXPECT_EQ(bridged[0]->As<meta::data::Event>().GetEnd(), At(0));
    EXPECT_EQ(bridged[0]->As<meta::data::Event>().GetType(), "count");
    EXPECT_EQ(bridged[0]->As<meta::data::Event>().GetId(), first[0]->As<meta::data::Event>().GetId());
}

TEST(CountTest, ResetForgetsTheEvent) {
    Player player(MakeRule("Count"));
    EXPECT_EQ(Play(player, {1}), "A");
    player.rule->Reset();
    EXPECT_EQ(Play(player, {0, 1}), "-B");
}

TEST(CountTest, PublishesItsSettings) {
    auto const lines = DescribeSettings(SchemasOf(*MakeRule("Count")));
    ASSERT_EQ(lines.size(), 10u);
    EXPECT_EQ(
        lines[6],
        "minimum: qel.property.UInt32 = 1. Must be a number between 0 to 4294967295. The least number of objects in "
        "the zone");
    EXPECT_EQ(
        lines[7],
        "maximum: qel.property.UInt32 = 4294967295. Must be a number between 0 to 4294967295. The greatest number "
        "of objects in the zone");
}

}  // namespace
}  // namespace qel::tests::spatial
