#include "foundation/type/container/id_table.hpp"

#include <cstdint>
#include <map>

#include <gtest/gtest.h>

#include "tests/support/allocation_counter.hpp"
#include "tests/support/random.hpp"

namespace qel::type::container {
namespace {

using tests::AllocationsOf;

TEST(IdTableTest, FindsNothingAtFirst) { EXPECT_EQ(IdTable().Find(0), IdTable::None); }

TEST(IdTableTest, EveryIdIsOneLikeOthers) {
    IdTable table;
    table.Set(0, 7);
    table.Set(0xFFFFFFFF, 8);
    EXPECT_EQ(table.Find(0), 7u);
    EXPECT_EQ(table.Find(0xFFFFFFFF), 8u);
    EXPECT_EQ(table.Find(1), IdTable::None);
}

TEST(IdTableTest, TheLastPlaceOfAnIdHolds) {
    IdTable table;
    table.Set(3, 1);
    table.Set(3, 0);
    EXPECT_EQ(table.Find(3), 0u);
}

TEST(IdTableTest, KeepsItsMemoryWhenItIsCleared) {
    IdTable table;
    auto const fill = [&table] {
        table.Clear();
        for (std::uint32_t id = 0; id < 1000; ++id) {
            table.Set(id, id);
        }
    };
    fill();
    EXPECT_EQ(AllocationsOf(fill), 0u);
}

TEST(IdTableTest, DoesNotSweepForEverWhatOnceWasNeeded) {
    IdTable table;
    for (std::uint32_t id = 0; id < 100'000; ++id) {
        table.Set(id, id);
    }
    for (int round = 0; round < 20; ++round) {
        table.Clear();
        table.Set(5, 5);
        EXPECT_EQ(table.Find(5), 5u);
        EXPECT_EQ(table.Find(6), IdTable::None);
    }
    EXPECT_GT(AllocationsOf([&table] {
                  for (std::uint32_t id = 0; id < 1000; ++id) {
                      table.Set(id, id);
                  }
              }),
              0u);
}

TEST(IdTableTest, AgreesWithAMapOverRandomIds) {
    tests::RunAtRandom(200, [](tests::Random& random) {
        IdTable table;
        std::map<std::uint32_t, std::uint32_t> model;
        // Few ids, near ones, or those that differ in the upper bits only.
        std::size_t const ids = 1 + random.Below(300);
        unsigned int const shift = random.OneIn(3) ? 20 : 0;
        for (int step = 0; step < 1000; ++step) {
            auto const id = static_cast<std::uint32_t>(random.Below(ids)) << shift;
            if (random.OneIn(300)) {
                table.Clear();
                model.clear();
            } else if (random.OneIn(2)) {
                table.Set(id, static_cast<std::uint32_t>(step));
                model[id] = static_cast<std::uint32_t>(step);
            }
            auto const found = model.find(id);
            ASSERT_EQ(table.Find(id), found == model.end() ? IdTable::None : found->second);
        }
    });
}

}  // namespace
}  // namespace qel::type::container
