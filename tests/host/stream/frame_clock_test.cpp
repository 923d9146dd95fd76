#include "host/stream/frame_clock.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>

namespace qel::host {
namespace {

std::optional<std::int64_t> TimeOf(double framesPerSecond, std::uint64_t frame, std::int64_t start = 0) {
    auto const time = FrameClock(meta::Timestamp(std::chrono::nanoseconds(start)), framesPerSecond).TimeOf(frame);
    return time ? std::optional<std::int64_t>(time->time_since_epoch().count()) : std::nullopt;
}

TEST(FrameClockTest, PutsFramesAtEqualDistances) {
    EXPECT_EQ(TimeOf(25, 0), 0);
    EXPECT_EQ(TimeOf(25, 1), 40'000'000);
    EXPECT_EQ(TimeOf(25, 25), 1'000'000'000);
    EXPECT_EQ(TimeOf(25, 3, 1700000000000000000), 1700000000120000000);
    EXPECT_EQ(TimeOf(0.5, 3), 6'000'000'000);
}

TEST(FrameClockTest, RoundsToTheNearestNanosecondAndDoesNotDrift) {
    EXPECT_EQ(TimeOf(3, 1), 333'333'333);
    EXPECT_EQ(TimeOf(3, 2), 666'666'667);
    EXPECT_EQ(TimeOf(3, 3'000'000'000), 1'000'000'000'000'000'000);
    EXPECT_EQ(TimeOf(29.97, 2997), 100'000'000'000);
    EXPECT_EQ(TimeOf(29.97, 2'997'000'000), 100'000'000'000'000'000);
}

TEST(FrameClockTest, HasNoTimeThatATimestampCannotHold) {
    EXPECT_EQ(TimeOf(1, 9'223'372'036), 9'223'372'036'000'000'000);
    EXPECT_EQ(TimeOf(1, 9'223'372'037), std::nullopt);
    EXPECT_EQ(TimeOf(1, 0, std::numeric_limits<std::int64_t>::max()), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(TimeOf(1, 1, std::numeric_limits<std::int64_t>::max()), std::nullopt);
    EXPECT_EQ(TimeOf(0.000001, 9'000'000'000'000'000), std::nullopt);
    EXPECT_EQ(TimeOf(1, 9'223'372'037, -9'000'000'000'000'000'000), 223'372'037'000'000'000);
}

}  // namespace
}  // namespace qel::host
