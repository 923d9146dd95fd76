#include "foundation/type/pimpl.hpp"

#include <memory>
#include <stdexcept>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qel::tests {
namespace {

TEST(DerefTest, GivesWhatThePointerPointsTo) {
    auto const unique = std::make_unique<int>(1);
    auto const shared = std::make_shared<int>(2);
    EXPECT_EQ(&type::Deref(unique), unique.get());
    EXPECT_EQ(&type::Deref(shared), shared.get());
    static_assert(std::is_same_v<decltype(type::Deref(unique)), int&>, "a const owner changes its state");
}

TEST(DerefTest, RefusesANullPointer) {
    EXPECT_THAT([] { type::Deref(std::unique_ptr<int>()); }, testing::ThrowsMessage<std::logic_error>("Pimpl is null"));
    EXPECT_THAT([] { type::Deref(std::shared_ptr<int>()); }, testing::ThrowsMessage<std::logic_error>("Pimpl is null"));
}

}  // namespace
}  // namespace qel::tests
