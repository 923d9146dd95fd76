#include "foundation/type/binding.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using type::Binding;

static_assert(!std::is_copy_constructible_v<Binding> && !std::is_copy_assignable_v<Binding>);
static_assert(std::is_nothrow_move_constructible_v<Binding> && std::is_nothrow_move_assignable_v<Binding>);
static_assert(std::is_nothrow_default_constructible_v<Binding>);

class BindingTest : public testing::Test {
protected:
    Binding Bind(unsigned int id) {
        return {[this](unsigned int gone) { unbound.push_back(gone); }, id};
    }

    std::vector<unsigned int> unbound;
};

TEST_F(BindingTest, UnbindsItsIdOnceWhenItIsDestroyed) {
    {
        Binding const binding = Bind(7);
        EXPECT_THAT(unbound, IsEmpty());
    }
    EXPECT_THAT(unbound, ElementsAre(7));
}

TEST_F(BindingTest, UnbindsAtOnceWhenItIsDropped) {
    static_cast<void>(Bind(7));
    EXPECT_THAT(unbound, ElementsAre(7));
}

TEST_F(BindingTest, MayBeEmpty) {
    Binding none;
    none.Reset();
    Binding withoutUnbinder(nullptr, 7);
    withoutUnbinder.Reset();
    EXPECT_THAT(unbound, IsEmpty());
}

TEST_F(BindingTest, UnbindsNowWhenItIsReset) {
    Binding binding = Bind(7);
    binding.Reset();
    EXPECT_THAT(unbound, ElementsAre(7));
    binding.Reset();
    EXPECT_THAT(unbound, ElementsAre(7));
}

TEST_F(BindingTest, LeavesTheUnbindingToTheHandleItIsMovedInto) {
    std::optional<Binding> from = Bind(7);
    std::optional<Binding> into = std::move(*from);
    from.reset();
    EXPECT_THAT(unbound, IsEmpty());
    into.reset();
    EXPECT_THAT(unbound, ElementsAre(7));
}

TEST_F(BindingTest, UnbindsWhatItHeldWhenAnotherIsMovedIn) {
    Binding into = Bind(1);
    {
        Binding from = Bind(2);
        into = std::move(from);
        EXPECT_THAT(unbound, ElementsAre(1));
    }
    EXPECT_THAT(unbound, ElementsAre(1));
    into = Binding();
    EXPECT_THAT(unbound, ElementsAre(1, 2));
}

TEST_F(BindingTest, KeepsWhatItHoldsWhenItIsMovedIntoItself) {
    {
        Binding binding = Bind(7);
        Binding& itself = binding;
        binding = std::move(itself);
        EXPECT_THAT(unbound, IsEmpty());
    }
    EXPECT_THAT(unbound, ElementsAre(7));
}

TEST_F(BindingTest, TakesOverAHandleThatUnbindingWouldDestroy) {
    auto owner = std::make_unique<Binding>(Bind(2));
    Binding binding(
        [&](unsigned int id) {
            unbound.push_back(id);
            owner.reset();
        },
        1);
    binding = std::move(*owner);
    EXPECT_THAT(unbound, ElementsAre(1));
    binding.Reset();
    EXPECT_THAT(unbound, ElementsAre(1, 2));
}

TEST_F(BindingTest, KeepsBackWhatTheUnbinderThrows) {
    auto const fail = [this](unsigned int id) {
        unbound.push_back(id);
        throw std::runtime_error("unbinding failed");
    };
    { Binding const destroyed(fail, 1); }
    Binding binding(fail, 2);
    binding.Reset();
    binding = Binding(fail, 3);
    binding = Binding();
    EXPECT_THAT(unbound, ElementsAre(1, 2, 3));
}

TEST_F(BindingTest, UnbindsOnceWhenTheUnbinderReachesTheHandle) {
    Binding binding;
    binding = Binding(
        [&](unsigned int id) {
            unbound.push_back(id);
            binding.Reset();
        },
        7);
    binding.Reset();
    EXPECT_THAT(unbound, ElementsAre(7));
}

TEST_F(BindingTest, LetsTheUnbinderRefillTheHandle) {
    Binding binding(
        [&](unsigned int id) {
            unbound.push_back(id);
            binding = Bind(2);
        },
        1);
    binding.Reset();
    EXPECT_THAT(unbound, ElementsAre(1));
    binding.Reset();
    EXPECT_THAT(unbound, ElementsAre(1, 2));
}

TEST_F(BindingTest, DestroysTheUnbinderWhenItHasRun) {
    auto const held = std::make_shared<int>();
    Binding binding([held](unsigned int) {}, 7);
    binding.Reset();
    EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace qel::tests
