#include "observable/event_buffer.hpp"

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/frames.hpp"
#include "tests/support/stranger.hpp"

namespace qel::observable {
namespace {

using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;
using tests::Person;

constexpr std::uint32_t Target = 5;

Event Holding(Event::Objects objects) { return {"test", "scripted", "tests", At(0), At(0), std::move(objects)}; }

std::shared_ptr<meta::data::Zone> Zone(unsigned int id, std::string name = {}) {
    return std::make_shared<meta::data::Zone>(id, std::move(name));
}

std::vector<unsigned int> Ids(std::set<meta::data::Zone> const& zones) {
    std::vector<unsigned int> ids;
    for (auto const& zone : zones) {
        ids.push_back(zone.GetId());
    }
    return ids;
}

std::vector<unsigned int> Gather(std::vector<Event> const& buffer) {
    std::set<meta::data::Zone> zones;
    AddEventBufferZonesToList(zones, buffer, Target);
    return Ids(zones);
}

TEST(AddEventBufferZonesToList, AnEmptyBufferHasNoZones) { EXPECT_THAT(Gather({}), IsEmpty()); }

TEST(AddEventBufferZonesToList, AllZonesOfEveryEventThatHoldsTheTargetAreAdded) {
    EXPECT_THAT(Gather({Holding({Person(Target), Zone(3), Zone(1)}), Holding({Zone(2), Person(4), Person(Target)})}),
                ElementsAre(1u, 2u, 3u));
}

TEST(AddEventBufferZonesToList, EventsThatDoNotHoldTheTargetContributeNothing) {
    EXPECT_THAT(Gather({Holding({Person(Target - 1), Zone(1)}), Holding({Person(Target + 1), Zone(4)}),
                        Holding({Zone(2)}), Holding({Person(Target), Zone(3)}), Holding({})}),
                ElementsAre(3u));
}

TEST(AddEventBufferZonesToList, OnlyATrackedObjectIsATarget) {
    EXPECT_THAT(Gather({Holding({Zone(Target), tests::Record(Target), tests::Channel(Target), nullptr,
                                 std::make_shared<tests::Stranger>()})}),
                IsEmpty());
}

TEST(AddEventBufferZonesToList, NullsAndOtherObjectsArePassedOver) {
    EXPECT_THAT(Gather({Holding({nullptr, tests::Record(8), tests::Channel(9), std::make_shared<tests::Stranger>(),
                                 Person(Target), nullptr, Zone(1)})}),
                ElementsAre(1u));
}

TEST(AddEventBufferZonesToList, AZoneInSeveralEventsIsThereOnceAsItFirstCame) {
    std::set<meta::data::Zone> zones;
    AddEventBufferZonesToList(
        zones,
        {Holding({Person(Target), Zone(1, "first"), Zone(1, "second")}), Holding({Person(Target), Zone(1, "third")})},
        Target);
    ASSERT_EQ(zones.size(), 1u);
    EXPECT_EQ(zones.begin()->GetName(), "first");
}

TEST(AddEventBufferZonesToList, WhatIsInTheSetStaysThere) {
    std::set<meta::data::Zone> zones{meta::data::Zone(1, "there"), meta::data::Zone(9)};
    AddEventBufferZonesToList(zones, {Holding({Person(Target), Zone(1, "new"), Zone(2)})}, Target);
    EXPECT_THAT(Ids(zones), ElementsAre(1u, 2u, 9u));
    EXPECT_EQ(zones.begin()->GetName(), "there");
}

TEST(AddEventBufferZonesToList, ATargetThatIsInNoEventLeavesTheSetUnchanged) {
    std::set<meta::data::Zone> zones{meta::data::Zone(1, "there")};
    AddEventBufferZonesToList(zones, {Holding({Person(Target), Zone(2)})}, Target + 1);
    EXPECT_THAT(Ids(zones), ElementsAre(1u));
}

}  // namespace
}  // namespace qel::observable
