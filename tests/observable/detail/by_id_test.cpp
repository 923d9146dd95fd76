#include "observable/detail/by_id.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/random.hpp"

namespace qel::observable::detail {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Thing {
public:
    explicit Thing(std::uint32_t id) : id(id) {}
    std::uint32_t GetId() const { return id; }

private:
    std::uint32_t id;
};

std::vector<Thing> ThingsWith(std::vector<std::uint32_t> const& ids) { return {ids.begin(), ids.end()}; }

void AddAll(ById<Thing>& things, std::vector<Thing> const& added) {
    for (auto const& thing : added) {
        things.Add(thing);
    }
}

/// Ids, each with the place at which it was added.
std::vector<std::pair<std::uint32_t, std::size_t>> OrderOf(ById<Thing> const& things) {
    std::vector<std::pair<std::uint32_t, std::size_t>> order;
    for (auto const key : things.GetKeys()) {
        order.emplace_back(ById<Thing>::IdOf(key), ById<Thing>::PlaceOf(key));
    }
    return order;
}

TEST(ByIdTest, OfNothingThereIsNoOrder) {
    ById<Thing> things;
    things.KeepFirst();
    EXPECT_THAT(things.GetKeys(), IsEmpty());
    EXPECT_EQ(things.GetAdded(), 0u);
}

TEST(ByIdTest, ThoseOfOneIdStayInTheOrderOfAdding) {
    auto const added = ThingsWith({7, 3, 7, 0, 3});
    ById<Thing> things;
    AddAll(things, added);
    things.Sort();
    EXPECT_THAT(OrderOf(things), ElementsAre(std::pair(0u, 3u), std::pair(3u, 1u), std::pair(3u, 4u), std::pair(7u, 0u),
                                             std::pair(7u, 2u)));
    EXPECT_EQ(&things[things.GetKeys().back()], &added[2]);
}

TEST(ByIdTest, OnlyTheFirstOfEveryIdIsKept) {
    auto const added = ThingsWith({7, 3, 7, 0, 3});
    ById<Thing> things;
    AddAll(things, added);
    things.KeepFirst();
    EXPECT_THAT(OrderOf(things), ElementsAre(std::pair(0u, 3u), std::pair(3u, 1u), std::pair(7u, 0u)));
    EXPECT_EQ(things.GetAdded(), 5u);
}

TEST(ByIdTest, MayBeUsedAnewOnceItIsClear) {
    auto const first = ThingsWith({5, 4});
    auto const second = ThingsWith({2, 1, 2});
    ById<Thing> things;
    AddAll(things, first);
    things.KeepFirst();
    things.Clear();
    EXPECT_EQ(things.GetAdded(), 0u);
    AddAll(things, second);
    things.KeepFirst();
    EXPECT_THAT(OrderOf(things), ElementsAre(std::pair(1u, 1u), std::pair(2u, 0u)));
}

/// Of all things, or of the first with each id.
std::vector<std::pair<std::uint32_t, std::size_t>> ExpectedOrder(std::vector<std::uint32_t> const& ids,
                                                                 bool firstOnly) {
    std::vector<std::pair<std::uint32_t, std::size_t>> order;
    for (std::size_t place = 0; place < ids.size(); ++place) {
        order.emplace_back(ids[place], place);
    }
    std::sort(order.begin(), order.end());
    if (firstOnly) {
        order.erase(std::unique(order.begin(), order.end(),
                                [](auto const& left, auto const& right) { return left.first == right.first; }),
                    order.end());
    }
    return order;
}

std::vector<std::uint32_t> RandomIds(tests::Random& random, std::size_t count, unsigned int bits, unsigned int shift) {
    std::vector<std::uint32_t> ids;
    for (std::size_t number = 0; number < count; ++number) {
        auto const varying = static_cast<std::uint32_t>(random.Below(std::size_t{1} << bits));
        ids.push_back(0x5A5A5A5A ^ varying << shift);
    }
    return ids;
}

TEST(ByIdTest, ManyAreSortedWhateverPartOfTheirIdsDiffers) {
    tests::Random random(1);
    for (unsigned int shift = 0; shift < 32; ++shift) {
        for (unsigned int const bits : {1u, 3u, 8u, 32u}) {
            auto const ids = RandomIds(random, 300, bits, shift);
            auto const added = ThingsWith(ids);
            ById<Thing> things;
            AddAll(things, added);
            things.Sort();
            ASSERT_EQ(OrderOf(things), ExpectedOrder(ids, false)) << bits << " bits from bit " << shift;
        }
    }
}

TEST(ByIdTest, HoweverManyThereAreNowAndWereBefore) {
    tests::Random random(2);
    ById<Thing> things;
    for (std::size_t const count : {300u, 47u, 48u, 49u, 1u, 400u, 60u, 2u, 48u}) {
        auto const ids = RandomIds(random, count, 5, 8);
        auto const added = ThingsWith(ids);
        things.Clear();
        AddAll(things, added);
        things.KeepFirst();
        EXPECT_EQ(OrderOf(things), ExpectedOrder(ids, true)) << count << " things";
        EXPECT_EQ(things.GetAdded(), count);
    }
}

}  // namespace
}  // namespace qel::observable::detail
