#include "observable/detail/block.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/data/object.hpp"
#include "tests/support/allocation_counter.hpp"

namespace qel::observable::detail {
namespace {

using meta::data::Object;
using tests::AllocationsOf;

template <std::size_t size>
using Bytes = std::array<std::byte, size>;

TEST(BlockTest, GivesAThingTheRoomThatItNeedsUpToTheNextAlignment) {
    constexpr std::size_t step = alignof(std::max_align_t);
    EXPECT_EQ(Block::SizeOf<Bytes<1>>, Block::SizeOf<Bytes<step>>);
    EXPECT_EQ(Block::SizeOf<Bytes<step + 1>>, Block::SizeOf<Bytes<step>> + step);
    EXPECT_EQ(Block::SizeOf<Bytes<step>> % step, 0u);
}

TEST(BlockTest, MakesSharedThingsInOnePieceOfMemory) {
    std::vector<std::shared_ptr<Object>> objects;
    objects.reserve(10);
    EXPECT_EQ(AllocationsOf([&] {
                  Block block(10 * Block::SizeOf<Object>);
                  for (unsigned int id = 0; id < 10; ++id) {
                      objects.push_back(block.Make<Object>(id));
                  }
              }),
              1u);
    for (unsigned int id = 0; id < 10; ++id) {
        EXPECT_EQ(objects[id]->GetId(), id);
        EXPECT_EQ(objects[id].use_count(), 1);
        EXPECT_EQ(objects[id]->shared_from_this(), objects[id]);
    }
}

TEST(BlockTest, TheMemoryGoesWithTheLastOfThem) {
    auto const before = tests::LiveBytes();
    std::shared_ptr<Object> last;
    std::weak_ptr<Object> first;
    {
        Block block(2 * Block::SizeOf<Object>);
        auto const gone = block.Make<Object>(1u);
        first = gone;
        last = block.Make<Object>(2u);
    }
    EXPECT_TRUE(first.expired());
    EXPECT_EQ(last->GetId(), 2u);
    last.reset();
    EXPECT_GT(tests::LiveBytes(), before) << "a weak reference keeps it too";
    first.reset();
    EXPECT_EQ(tests::LiveBytes(), before);
}

TEST(BlockTest, WhatDoesNotFitGetsMemoryOfItsOwn) {
    auto const before = tests::LiveBytes();
    {
        std::shared_ptr<Object> second;
        {
            Block block(Block::SizeOf<Object>);
            auto const first = block.Make<Object>(1u);
            second = block.Make<Object>(2u);
        }
        EXPECT_EQ(second->GetId(), 2u);
    }
    EXPECT_EQ(tests::LiveBytes(), before);
}

TEST(BlockTest, IsGivenBackWhenNothingIsMade) {
    auto const before = tests::LiveBytes();
    { Block const block(100); }
    EXPECT_EQ(tests::LiveBytes(), before);
}

TEST(BlockTest, IsGivenBackWhenMakingFails) {
    struct Failing {
        Failing() { throw std::domain_error("no"); }
    };
    auto const before = tests::LiveBytes();
    {
        Block block(Block::SizeOf<Failing> + Block::SizeOf<Object>);
        EXPECT_THROW(block.Make<Failing>(), std::domain_error);
        EXPECT_EQ(block.Make<Object>(3u)->GetId(), 3u);
    }
    EXPECT_EQ(tests::LiveBytes(), before);
}

TEST(BlockTest, ThingsMayBeDroppedOnSeveralThreads) {
    for (int round = 0; round < 200; ++round) {
        std::array<std::shared_ptr<Object>, 2> things;
        {
            Block block(2 * Block::SizeOf<Object>);
            things = {block.Make<Object>(1u), block.Make<Object>(2u)};
        }
        std::thread other([thing = std::move(things[1])]() mutable { thing.reset(); });
        things[0].reset();
        other.join();
    }
}

}  // namespace
}  // namespace qel::observable::detail
