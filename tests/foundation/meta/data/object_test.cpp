#include "foundation/meta/data/object.hpp"

#include <limits>
#include <memory>
#include <set>
#include <type_traits>

#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using meta::data::Box;
using meta::data::Object;
using meta::data::ObjectBase;

static_assert(std::is_same_v<Object, meta::data::detail::Object<meta::data::ObjectType>>);
static_assert(std::is_base_of_v<ObjectBase, Object>);
static_assert(!std::is_copy_assignable_v<Object>, "a record never changes");

/// A record of another kind of tracked thing.
struct VehicleType {
    static constexpr char const* ClassTypeName = "qel.tests.Vehicle";
};
using Vehicle = meta::data::detail::Object<VehicleType>;

TEST(TrackedObjectTest, IsTypedAsAnObject) {
    EXPECT_TRUE(Object(1).Is<Object>());
    EXPECT_EQ(Object(1).GetTypeNameId(), hash::MurmurThree32::MakeData("qel.meta.data.Object"));
    EXPECT_STREQ(Object::ClassTypeName, "qel.meta.data.Object");
}

TEST(TrackedObjectTest, NeedsOnlyAnId) {
    Object const object(7);
    EXPECT_EQ(object.GetId(), 7u);
    EXPECT_EQ(object.GetClassification(), "");
    EXPECT_EQ(object.GetBox(), Box());
    EXPECT_EQ(object.GetConfidence(), 1.0);
    static_assert(!std::is_convertible_v<unsigned int, Object>);
}

TEST(TrackedObjectTest, SaysWhatAndWhereItIs) {
    Object const object(7, "person", Box{0.1, 0.2, 0.3, 0.4}, 0.9);
    EXPECT_EQ(object.GetId(), 7u);
    EXPECT_EQ(object.GetClassification(), "person");
    EXPECT_EQ(object.GetBox().left, 0.1);
    EXPECT_EQ(object.GetBox().top, 0.2);
    EXPECT_EQ(object.GetBox().width, 0.3);
    EXPECT_EQ(object.GetBox().height, 0.4);
    EXPECT_EQ(object.GetConfidence(), 0.9);
}

TEST(TrackedObjectTest, IsCopiedWhole) {
    Object const object(7, "person", Box{0.1, 0.2, 0.3, 0.4}, 0.9);
    Object const copy(object);
    std::shared_ptr<object::Object> const clone = object.Clone();
    EXPECT_NE(clone.get(), &object);
    for (Object const* each : {&copy, static_cast<Object const*>(&clone->As<Object>())}) {
        EXPECT_EQ(each->GetId(), 7u);
        EXPECT_EQ(each->GetClassification(), "person");
        EXPECT_EQ(each->GetBox(), object.GetBox());
        EXPECT_EQ(each->GetConfidence(), 0.9);
    }
}

TEST(TrackedObjectTest, IsOrderedByItsId) {
    ObjectBase const& small = Object(1);
    ObjectBase const& great = Object(std::numeric_limits<unsigned int>::max());
    EXPECT_TRUE(small < great);
    EXPECT_FALSE(great < small);
    EXPECT_FALSE(small < small);
    EXPECT_FALSE(Object(1, "person") < Object(1, "vehicle"));
    EXPECT_FALSE(Object(1, "vehicle") < Object(1, "person"));
}

TEST(TrackedObjectTest, StandsOnceInASetAndTheFirstStays) {
    std::set<Object> objects{Object(2, "vehicle"), Object(1, "person"), Object(2, "person")};
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(objects.begin()->GetId(), 1u);
    EXPECT_EQ(objects.rbegin()->GetClassification(), "vehicle");
}

TEST(TrackedObjectTest, IsTypedByItsKind) {
    Vehicle const vehicle(7);
    EXPECT_TRUE(vehicle.Is<Vehicle>());
    EXPECT_FALSE(vehicle.Is<Object>());
    EXPECT_EQ(static_cast<ObjectBase const&>(vehicle).GetId(), 7u);
}

TEST(GeometryTest, ComparesEveryNumber) {
    using meta::data::Point;
    EXPECT_EQ(Point(), (Point{0, 0}));
    EXPECT_EQ((Point{1, 2}), (Point{1, 2}));
    EXPECT_NE((Point{1, 2}), (Point{3, 2}));
    EXPECT_NE((Point{1, 2}), (Point{1, 3}));
    EXPECT_EQ((Box{1, 2, 3, 4}), (Box{1, 2, 3, 4}));
    EXPECT_NE((Box{1, 2, 3, 4}), (Box{0, 2, 3, 4}));
    EXPECT_NE((Box{1, 2, 3, 4}), (Box{1, 0, 3, 4}));
    EXPECT_NE((Box{1, 2, 3, 4}), (Box{1, 2, 0, 4}));
    EXPECT_NE((Box{1, 2, 3, 4}), (Box{1, 2, 3, 0}));
}

}  // namespace
}  // namespace qel::tests
