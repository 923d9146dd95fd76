// Tells made-up stories to a Notifier and to a slow model of its rules. QEL_RANDOM_RUNS and QEL_RANDOM_SEED in the
// environment choose other stories.

#include <gtest/gtest.h>

#include "tests/stories/story.hpp"
#include "tests/support/random.hpp"

namespace qel::tests {
namespace {

TEST(NotifierRandomTest, SaysWhatAWalkOverPlainListsWould) {
    RunAtRandom(2000, [](Random& random) { EXPECT_EQ(TellOfNotifier(random).difference, ""); });
}

}  // namespace
}  // namespace qel::tests
