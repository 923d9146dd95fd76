#include <gmock/gmock.h>

#include <tuple>
#include <utility>

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

TEST(CountTest, NoNumberIsAtLeastTheGreaterAndAtMostTheSmallerBound) {
    Player player(MakeRule("Count", {Number("minimum", 2), Number("maximum", 1), Time("hold_off", 0)}));
    EXPECT_EQ(Play(player, {0, 1, 2, 3}), "----");
}

TEST(CountTest, CountsEveryIdOnceAndTheBoundaryToo) {
    Player player(MakeRule("Count", {Number("minimum", 2), Number("maximum", 2), Time("hold_off", 0)}));
    Point const inside{0.5, 0.5};
    Point const corner{0.25, 0.25};
    Point const outside{0.125, 0.125};
    EXPECT_EQ(player.Play(At(0), {Standing(1, inside), Standing(1, inside)}), "-");
    EXPECT_EQ(player.Play(At(100), {Standing(1, inside), Standing(2, corner), Standing(1, inside)}), "A");
    EXPECT_EQ(player.Play(At(200), {Standing(1, outside), Standing(2, inside), Standing(1, inside)}), "-")
        << "the first of two with one id is the one that counts";
}

TEST(CountTest, LastsFromTheOnsetToTheLastFrameThatHeldAndCarriesTheZone) {
    auto const rule = MakeRule("Count", {Number("minimum", 2), Time("hold_off", 200), Text("name", "pair")});
    rule->SetId(4);
    Player player(rule);
    EXPECT_EQ(Play(player, {1, 2, 1}), "-AA");
    EXPECT_EQ(player.Spans(), "A 100..100");
    player.zone = nullptr;
    EXPECT_EQ(Play(player, {0}), "A") << "without its zone the number is not right";
    player.zone = Square();
    player.time = 300;
    EXPECT_EQ(Play(player, {3}), "A");
    EXPECT_EQ(player.Spans(), "A 100..300");
    EXPECT_THAT(player.Describe(),
                ElementsAre("A pair/count/spatial 100..300 [record 4, object 0 person@1(0.375 0.25 0.25 0.25), "
                            "object 1 person@1(0.375 0.25 0.25 0.25), object 2 person@1(0.375 0.25 0.25 0.25), zone 1 "
                            "square(0.25 0.25;0.75 0.25;0.75 0.75;0.25 0.75;)]"));
    player.time = 501;
    EXPECT_EQ(Play(player, {2}), "A") << "two frames one after the other are no gap";
    EXPECT_EQ(Play(player, {1}), "A");
    player.time = 702;
    EXPECT_EQ(Play(player, {2}), "B");
    EXPECT_EQ(player.Spans(), "B 702..702");
}

TEST(CountTest, HoldsInFramesOfOneTimeAndOverTimesThatRunBackwards) {
    Player player(MakeRule("Count", {Time("hold_on", 100), Time("hold_off", 100)}));
    for (auto const& [time, number, reported] :
         std::vector<std::tuple<std::int64_t, unsigned int, std::string>>{{1000, 1, "-"},
                                                                          {1000, 1, "-"},
                                                                          {900, 1, "-"},
                                                                          {1100, 1, "A"},
                                                                          {900, 1, "A"},
                                                                          {950, 0, "A"},
                                                                          {1001, 0, "-"}}) {
        player.time = time;
        EXPECT_EQ(Play(player, {number}), reported) << time;
    }
}

TEST(CountTest, LetsGoOfTheZoneAndTheObjectsThatItNeedsNoLonger) {
    for (bool const isReset : {false, true}) {
        Player player(MakeRule("Count", {Time("hold_off", 0)}));
        std::weak_ptr<meta::data::Zone> const zone = player.zone;
        auto person = Standing(7, {0.5, 0.5});
        EXPECT_EQ(player.Play(At(0), {person}), "A");
        std::weak_ptr<meta::data::Object> const object = std::exchange(person, nullptr);
        player.zone = nullptr;
        if (isReset) {
            player.rule->Reset();
        }
        EXPECT_EQ(player.Play(At(100), {}), "-");
        EXPECT_TRUE(zone.expired()) << isReset;
        EXPECT_TRUE(object.expired()) << isReset;
    }
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
