#include "foundation/meta/data/zone.hpp"

#include <limits>
#include <memory>
#include <set>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using meta::data::Point;
using meta::data::Zone;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::is_copy_assignable_v<Zone>, "a zone never changes");

TEST(ZoneTest, IsTypedAsAZone) {
    EXPECT_TRUE(Zone(1).Is<Zone>());
    EXPECT_EQ(Zone(1).GetTypeNameId(), hash::MurmurThree32::MakeData("qel.meta.data.Zone"));
    EXPECT_STREQ(Zone::ClassTypeName, "qel.meta.data.Zone");
}

TEST(ZoneTest, NeedsOnlyAnId) {
    Zone const zone(7);
    EXPECT_EQ(zone.GetId(), 7u);
    EXPECT_EQ(zone.GetName(), "");
    EXPECT_THAT(zone.GetPoints(), IsEmpty());
    EXPECT_EQ(zone.GetShape(), Zone::Shape::Polygon);
    static_assert(!std::is_convertible_v<unsigned int, Zone>);
}

TEST(ZoneTest, HasANameAndAShape) {
    Zone const zone(7, "kerb", {{0.1, 0.2}, {0.3, 0.4}}, Zone::Shape::Line);
    EXPECT_EQ(zone.GetId(), 7u);
    EXPECT_EQ(zone.GetName(), "kerb");
    EXPECT_THAT(zone.GetPoints(), ElementsAre(Point{0.1, 0.2}, Point{0.3, 0.4}));
    EXPECT_EQ(zone.GetShape(), Zone::Shape::Line);
}

TEST(ZoneTest, SharesItsNameAndPointsWithItsCopies) {
    Zone const zone(7, "kerb", {{0.1, 0.2}, {0.3, 0.4}}, Zone::Shape::Line);
    Zone const copy(zone);
    std::shared_ptr<object::Object> const clone = zone.Clone();
    EXPECT_NE(clone.get(), &zone);
    for (Zone const* each : {&copy, static_cast<Zone const*>(&clone->As<Zone>())}) {
        EXPECT_EQ(each->GetId(), 7u);
        EXPECT_EQ(&each->GetName(), &zone.GetName());
        EXPECT_EQ(&each->GetPoints(), &zone.GetPoints());
        EXPECT_EQ(each->GetShape(), Zone::Shape::Line);
    }
}

TEST(ZoneTest, OutlivesTheZoneItIsACopyOf) {
    auto zone = std::make_shared<Zone>(7, "kerb");
    Zone const copy(*zone);
    zone.reset();
    EXPECT_EQ(copy.GetName(), "kerb");
}

TEST(ZoneTest, IsOrderedByItsId) {
    Zone const small(1);
    Zone const great(std::numeric_limits<unsigned int>::max());
    EXPECT_TRUE(small < great);
    EXPECT_FALSE(great < small);
    EXPECT_FALSE(small < small);
    EXPECT_FALSE(Zone(1, "a") < Zone(1, "b"));
}

TEST(ZoneTest, StandsOnceInASetAndTheFirstStays) {
    std::set<Zone> const zones{Zone(2, "first"), Zone(1), Zone(2, "second")};
    ASSERT_EQ(zones.size(), 2u);
    EXPECT_EQ(zones.begin()->GetId(), 1u);
    EXPECT_EQ(zones.rbegin()->GetName(), "first");
}

}  // namespace
}  // namespace qel::tests
