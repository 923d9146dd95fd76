#include "foundation/type/registry.hpp"

#include <exception>
#include <functional>
#include <latch>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/type/registry/construct.hpp"
#include "foundation/type/registry/detail/loading.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using hash::MurmurThree32;
using testing::ElementsAre;
using type::registry::Construct;

class Shape : public std::enable_shared_from_this<Shape> {
public:
    Shape(std::string name, int sides) : name(std::move(name)), sides(sides) {}
    virtual ~Shape() = default;

    std::string const name;
    int const sides;
};

class Triangle : public Shape {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Triangle";
    static auto DefaultArguments() { return std::tuple("Triangle", 3); }
    static std::vector<std::string> MakeProperties() { return {"sides"}; }

    using Shape::Shape;
};

class Square : public Shape {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Square";
    static auto DefaultArguments() { return std::tuple("Square", 4); }
    static std::vector<std::string> MakeProperties() { return {"sides", "length"}; }

    using Shape::Shape;
};

/// Another library's class that goes by the name of the first one.
class OtherTriangle : public Shape {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Triangle";
    static auto DefaultArguments() { return std::tuple("OtherTriangle", 3); }
    static std::vector<std::string> MakeProperties() { return {}; }

    using Shape::Shape;
};

class Point {
public:
    static std::tuple<> DefaultArguments() { return {}; }
};

/// What is known of a type of shape.
struct Info {
    Info(MurmurThree32 type, char const* typeName, std::function<std::shared_ptr<Shape>()> make,
         std::function<std::vector<std::string>()> properties)
        : type(type), typeName(typeName), make(std::move(make)), properties(std::move(properties)) {}

    MurmurThree32 type;
    char const* typeName;
    std::function<std::shared_ptr<Shape>()> make;
    std::function<std::vector<std::string>()> properties;
};

using Registry = type::Registry<Info>;
template <class T>
using Scoped = type::registry::detail::Scoped<T, Registry>;

MurmurThree32 const TriangleType = MurmurThree32::MakeData("qel.tests.Triangle");
MurmurThree32 const SquareType = MurmurThree32::MakeData("qel.tests.Square");

Info NamedInfo(char const* name) { return Info(TriangleType, name, {}, {}); }

// The locked view.

using View = type::registry::Lock<int>;
static_assert(std::is_nothrow_move_constructible_v<View>);
static_assert(!std::is_copy_constructible_v<View> && !std::is_copy_assignable_v<View>);

TEST(RegistryLockTest, GivesAccessToTheMap) {
    std::string map = "map";
    type::registry::Lock<std::string> const view(map, {});
    EXPECT_EQ(&*view, &map);
    EXPECT_EQ(view->size(), 3u);
}

TEST(RegistryLockTest, UnlocksOnceWhenItIsDestroyed) {
    int map = 0;
    int unlocked = 0;
    {
        View const view(map, [&] { ++unlocked; });
        EXPECT_EQ(unlocked, 0);
    }
    EXPECT_EQ(unlocked, 1);
}

TEST(RegistryLockTest, LeavesTheUnlockingToTheViewItIsMovedInto) {
    int map = 0;
    int unlocked = 0;
    {
        View from(map, [&] { ++unlocked; });
        {
            View const into = std::move(from);
            EXPECT_EQ(&*into, &map);
            EXPECT_EQ(unlocked, 0);
        }
        EXPECT_EQ(unlocked, 1);
    }
    EXPECT_EQ(unlocked, 1);
}

// The registry.

TEST(RegistryTest, StartsEmpty) {
    Registry const registry;
    EXPECT_TRUE(registry.GetMap()->empty());
    static_assert(!std::is_copy_constructible_v<Registry> && !std::is_copy_assignable_v<Registry>);
}

TEST(RegistryTest, KeepsWhatAViewPutsIntoTheMap) {
    Registry const registry;
    registry.GetMap()->emplace(TriangleType, NamedInfo("a"));
    EXPECT_STREQ(registry.GetMap()->at(TriangleType).typeName, "a");
    static_assert(
        std::is_same_v<std::remove_reference_t<decltype(*registry.GetMap())>, std::unordered_map<MurmurThree32, Info>>);
}

TEST(RegistryTest, LetsOneViewLiveAtATime) {
    Registry registry;
    std::latch asking(1);
    std::size_t seen = 0;
    std::thread other;
    {
        auto const view = registry.GetMap();
        other = std::thread([&] {
            asking.count_down();
            seen = registry.GetMap()->size();
        });
        asking.wait();
        for (unsigned int type = 0; type < 1000; ++type) {
            view->emplace(MurmurThree32(type), NamedInfo("a"));
        }
    }
    other.join();
    EXPECT_EQ(seen, 1000u);
}

TEST(RegistryTest, MayBeUsedFromManyThreads) {
    Registry registry;
    RunTogether(4, [&](int thread) {
        for (unsigned int number = 0; number < 500; ++number) {
            MurmurThree32 const type(static_cast<unsigned int>(thread) * 1000 + number);
            registry.GetMap()->emplace(type, NamedInfo("a"));
            EXPECT_EQ(registry.GetMap()->count(type), 1u);
        }
    });
    EXPECT_EQ(registry.GetMap()->size(), 2000u);
}

TEST(RegistryTest, IsUnlockedByAViewThatWasMoved) {
    Registry registry;
    {
        auto view = registry.GetMap();
        auto const moved = std::move(view);
        moved->emplace(TriangleType, NamedInfo("a"));
    }
    EXPECT_EQ(registry.GetMap()->size(), 1u);
}

// The factory.

TEST(ConstructTest, MakesAnInstanceFromTheDefaultArguments) {
    auto const triangle = Construct<Triangle>();
    EXPECT_EQ(triangle->name, "Triangle");
    EXPECT_EQ(triangle->sides, 3);
    EXPECT_NE(Construct<Point>(), nullptr);
}

TEST(ConstructTest, MakesAnotherInstanceEveryTime) { EXPECT_NE(Construct<Triangle>(), Construct<Triangle>()); }

TEST(ConstructTest, MakesAnInstanceThatCanShareItself) {
    std::shared_ptr<Shape> const shape = Construct<Triangle>();
    EXPECT_EQ(shape->shared_from_this(), shape);
}

// The registration object.

TEST(ScopedTest, RegistersItsClassForAsLongAsItLives) {
    Registry registry;
    {
        Scoped<Triangle> const registration(registry);
        auto const view = registry.GetMap();
        ASSERT_EQ(view->size(), 1u);
        Info const& info = view->at(TriangleType);
        EXPECT_EQ(info.type, TriangleType);
        EXPECT_STREQ(info.typeName, "qel.tests.Triangle");
        EXPECT_EQ(info.make()->name, "Triangle");
        EXPECT_THAT(info.properties(), ElementsAre("sides"));
    }
    EXPECT_TRUE(registry.GetMap()->empty());
}

TEST(ScopedTest, RegistersClassesBesideOneAnother) {
    Registry registry;
    Scoped<Triangle> const triangle(registry);
    {
        Scoped<Square> const square(registry);
        EXPECT_EQ(registry.GetMap()->size(), 2u);
        EXPECT_EQ(registry.GetMap()->at(SquareType).make()->name, "Square");
    }
    EXPECT_EQ(registry.GetMap()->size(), 1u);
    EXPECT_EQ(registry.GetMap()->count(TriangleType), 1u);
}

TEST(ScopedTest, LeavesTheFirstRegistrationOfAType) {
    Registry registry;
    Scoped<Triangle> const first(registry);
    Scoped<OtherTriangle> const second(registry);
    EXPECT_EQ(registry.GetMap()->size(), 1u);
    EXPECT_EQ(registry.GetMap()->at(TriangleType).make()->name, "Triangle");
    EXPECT_THAT(registry.GetMap()->at(TriangleType).properties(), ElementsAre("sides"));
}

TEST(ScopedTest, TakesOutWhateverHoldsTheType) {
    Registry registry;
    Scoped<Triangle> const first(registry);
    { Scoped<OtherTriangle> const second(registry); }
    EXPECT_TRUE(registry.GetMap()->empty());
}

TEST(ScopedTest, LeavesTheRegistryAsItWasWhenALoadingFails) {
    Registry registry;
    Scoped<Triangle> const first(registry);
    {
        type::registry::detail::Loading const loading;
        Scoped<OtherTriangle> const second(registry);
        Scoped<Square> const square(registry);
        EXPECT_TRUE(type::registry::detail::Loading::Keep(std::make_exception_ptr(std::bad_alloc())));
    }
    EXPECT_EQ(registry.GetMap()->size(), 1u);
    EXPECT_EQ(registry.GetMap()->at(TriangleType).make()->name, "Triangle");
}

TEST(ScopedTest, MayFindNothingToTakeOut) {
    Registry registry;
    {
        Scoped<Triangle> const registration(registry);
        registry.GetMap()->clear();
        registry.GetMap()->emplace(SquareType, NamedInfo("a"));
    }
    EXPECT_EQ(registry.GetMap()->size(), 1u);
}

}  // namespace
}  // namespace qel::tests
