// Tells made-up stories to Previous, Compound and DurationTrack and to slow models of their rules. QEL_RANDOM_RUNS and
// QEL_RANDOM_SEED in the environment choose other stories.

#include <cstddef>

#include <gtest/gtest.h>

#include "tests/stories/story.hpp"
#include "tests/support/random.hpp"

namespace qel::tests {
namespace {

TEST(TemporalRandomTest, DoesWhatTheModelsDo) {
    std::size_t spoken = 0;
    RunAtRandom(2000, [&](Random& random) {
        auto const telling = TellOfTime(random);
        EXPECT_EQ(telling.difference, "");
        spoken += telling.said.size();
    });
    EXPECT_GT(spoken, 0u);
}

}  // namespace
}  // namespace qel::tests
