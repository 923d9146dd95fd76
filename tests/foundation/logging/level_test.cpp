#include "foundation/logging/level.hpp"

#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using logging::IsImportant;
using logging::Level;

TEST(LevelTest, NamesStandForTheirNumbers) {
    EXPECT_EQ(static_cast<unsigned int>(Level::Trace), 1u);
    EXPECT_EQ(static_cast<unsigned int>(Level::Debug), 2u);
    EXPECT_EQ(static_cast<unsigned int>(Level::Info), 4u);
    EXPECT_EQ(static_cast<unsigned int>(Level::Warning), 8u);
    EXPECT_EQ(static_cast<unsigned int>(Level::Error), 16u);
}

TEST(LevelTest, IsImportantFromSixteenOn) {
    for (unsigned int const level : {0u, 1u, 4u, 8u, 15u}) {
        EXPECT_FALSE(IsImportant(static_cast<Level>(level))) << level;
    }
    for (unsigned int const level : {16u, 17u, 32u, 0xFFFFFFFFu}) {
        EXPECT_TRUE(IsImportant(static_cast<Level>(level))) << level;
    }
}

}  // namespace
}  // namespace qel::tests
