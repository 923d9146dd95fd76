#include "foundation/type/binding/function.hpp"

#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/type/binding.hpp"

namespace qel::tests {
namespace {

using testing::ElementsAre;
using type::binding::function::MakeUnbind;

struct Target {
    void Unbind(unsigned int id) { unbound.push_back(id); }

    std::vector<unsigned int> unbound;
};

/// Loses its last owner while it unbinds.
struct Vanishing {
    Vanishing(std::shared_ptr<Vanishing>& owner, bool& gone) : owner(owner), gone(gone) {}
    ~Vanishing() { gone = true; }

    void Unbind(unsigned int) {
        owner.reset();
        EXPECT_FALSE(gone);
    }

    std::shared_ptr<Vanishing>& owner;
    bool& gone;
};

TEST(MakeUnbindTest, UnbindsFromALivingTarget) {
    auto const target = std::make_shared<Target>();
    auto const unbind = MakeUnbind(target);
    unbind(3);
    unbind(0);
    EXPECT_THAT(target->unbound, ElementsAre(3, 0));
}

TEST(MakeUnbindTest, DoesNothingWhenTheTargetHasGone) {
    auto target = std::make_shared<Target>();
    auto const unbind = MakeUnbind<Target>(target);
    std::weak_ptr<Target> const watched = target;
    target.reset();
    EXPECT_TRUE(watched.expired()) << "the unbinder keeps the target alive";
    EXPECT_NO_THROW(unbind(3));
}

TEST(MakeUnbindTest, KeepsTheTargetForTheCallAndNoLonger) {
    bool gone = false;
    std::shared_ptr<Vanishing> owner;
    owner = std::make_shared<Vanishing>(owner, gone);
    auto const unbind = MakeUnbind(owner);
    unbind(3);
    EXPECT_EQ(owner, nullptr);
    EXPECT_TRUE(gone);
}

TEST(MakeUnbindTest, DoesNothingWithoutATarget) { EXPECT_NO_THROW(MakeUnbind(std::shared_ptr<Target>())(3)); }

TEST(MakeUnbindTest, MakesAHandleThatMayOutliveItsTarget) {
    auto target = std::make_shared<Target>();
    type::Binding const outliving(MakeUnbind(target), 1);
    { type::Binding const binding(MakeUnbind(target), 2); }
    EXPECT_THAT(target->unbound, ElementsAre(2));
    target.reset();
}

}  // namespace
}  // namespace qel::tests
