#include "foundation/meta/elapsed.hpp"

#include <chrono>
#include <compare>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace qel::meta {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr auto Earliest = std::numeric_limits<std::int64_t>::min();
constexpr auto Latest = std::numeric_limits<std::int64_t>::max();

struct Row {
    char const* name;
    std::int64_t then;      // nanoseconds since the epoch
    std::int64_t now;       // nanoseconds since the epoch
    std::int64_t interval;  // milliseconds
    std::strong_ordering expected;
};

class ElapsedTest : public testing::TestWithParam<Row> {};

TEST_P(ElapsedTest, ComparesWithAnInterval) {
    auto const& row = GetParam();
    Elapsed const elapsed{Timestamp(nanoseconds(row.then)), Timestamp(nanoseconds(row.now))};
    milliseconds const interval(row.interval);

    EXPECT_EQ(elapsed <=> interval, row.expected);
    EXPECT_EQ(elapsed > interval, row.expected == std::strong_ordering::greater);
    EXPECT_EQ(elapsed >= interval, row.expected != std::strong_ordering::less);
    EXPECT_EQ(elapsed == interval, row.expected == std::strong_ordering::equal);
    EXPECT_EQ(interval > elapsed, row.expected == std::strong_ordering::less);
}

constexpr auto Shorter = std::strong_ordering::less;
constexpr auto Exactly = std::strong_ordering::equal;
constexpr auto Longer = std::strong_ordering::greater;

INSTANTIATE_TEST_SUITE_P(Ordinary, ElapsedTest,
                         testing::Values(Row{"ANanosecondShort", 5'000'000, 6'999'999, 2, Shorter},
                                         Row{"ToTheNanosecond", 5'000'000, 7'000'000, 2, Exactly},
                                         Row{"ANanosecondLong", 5'000'000, 7'000'001, 2, Longer},
                                         Row{"NoTimeAtAll", 5'000'000, 5'000'000, 0, Exactly},
                                         Row{"OneNanosecondAndNoInterval", 5'000'000, 5'000'001, 0, Longer},
                                         Row{"BeforeTheEpoch", -7'000'000, -5'000'000, 2, Exactly},
                                         Row{"AcrossTheEpoch", -1'000'000, 1'000'000, 2, Exactly},
                                         Row{"BackwardsIsShorterThanNothing", 7'000'000, 5'000'000, 0, Shorter},
                                         Row{"BackwardsByANegativeInterval", 7'000'000, 5'000'000, -2, Exactly},
                                         Row{"BackwardsByLessThanANegativeInterval", 7'000'000, 5'000'001, -2, Longer},
                                         Row{"BackwardsByMoreThanANegativeInterval", 7'000'000, 4'999'999, -2, Shorter},
                                         Row{"StandingStillIsLongerThanANegativeInterval", 5'000'000, 5'000'000, -1,
                                             Longer}),
                         [](auto const& tested) { return std::string(tested.param.name); });

// The whole span of the clock is 2^64 - 1 ns: 18446744073709 ms and 551615 ns.
INSTANTIATE_TEST_SUITE_P(
    AtTheEnds, ElapsedTest,
    testing::Values(Row{"TheLongestIntervalIsLongerThanTheClock", Earliest, Latest,
                        std::numeric_limits<std::int64_t>::max(), Shorter},
                    Row{"TheClockIsLongerThanItsWholeMilliseconds", Earliest, Latest, 18'446'744'073'709, Longer},
                    Row{"TheClockIsShorterThanOneMillisecondMore", Earliest, Latest, 18'446'744'073'710, Shorter},
                    Row{"MoreThanHalfTheClockDoesNotTurnNegative", Earliest, 1, 1, Longer},
                    Row{"AnIntervalThatOverflowsNanosecondsIsLong", 0, Latest, 9'223'372'036'855, Shorter},
                    Row{"AnIntervalThatJustFitsNanoseconds", 0, 9'223'372'036'854'000'000, 9'223'372'036'854, Exactly},
                    Row{"TheWholeClockBackwards", Latest, Earliest, -18'446'744'073'709, Shorter},
                    Row{"TheWholeClockBackwardsIsMoreThanAllAnIntervalCanSay", Latest, Earliest,
                        std::numeric_limits<std::int64_t>::min(), Longer},
                    Row{"ANegativeIntervalThatOverflowsNanoseconds", 0, Earliest, -9'223'372'036'855, Longer},
                    Row{"TheEarliestTimeOnItself", Earliest, Earliest, 0, Exactly},
                    Row{"TheLatestTimeOnItself", Latest, Latest, 0, Exactly}),
    [](auto const& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace qel::meta
