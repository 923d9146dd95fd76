#include "foundation/type/is_unshared.hpp"

#include <memory>

#include <gtest/gtest.h>

namespace qel::type {
namespace {

TEST(IsUnsharedTest, WhatOneHolderAloneHasIsUnshared) {
    auto const thing = std::make_shared<int>(1);
    EXPECT_TRUE(IsUnshared(thing));
    std::weak_ptr<int> const watcher = thing;
    EXPECT_TRUE(IsUnshared(thing));
}

TEST(IsUnsharedTest, WhatTwoHoldIsSharedUntilOneLetsGo) {
    auto const thing = std::make_shared<int>(1);
    auto other = thing;
    EXPECT_FALSE(IsUnshared(thing));
    other.reset();
    EXPECT_TRUE(IsUnshared(thing));
}

TEST(IsUnsharedTest, NothingIsNotUnshared) { EXPECT_FALSE(IsUnshared(std::shared_ptr<int>())); }

}  // namespace
}  // namespace qel::type
