#include "host/events/progress.hpp"

#include <gtest/gtest.h>

namespace qel::host {
namespace {

Counts Seen(std::uint64_t frames, std::size_t channels, double seconds) {
    Counts counts;
    counts.frames = frames;
    counts.channels = channels;
    counts.seconds = seconds;
    return counts;
}

TEST(DescribeSpeedTest, TellsFramesSpeedAndEvents) {
    EXPECT_EQ(DescribeSpeed(Seen(1000, 2, 40), 17, 0.5),
              "1000 frames of 2 channels in 0.50 s (2000 frames/s, 80.0 x real time), 17 events");
    EXPECT_EQ(DescribeSpeed(Seen(1, 1, 0), 1, 2),
              "1 frame of 1 channel in 2.00 s (0 frames/s, 0.0 x real time), 1 event");
}

TEST(DescribeSpeedTest, TakesARunThatTookNoTime) {
    EXPECT_EQ(DescribeSpeed(Seen(0, 0, 0), 0, 0),
              "0 frames of 0 channels in 0.00 s (0 frames/s, 0.0 x real time), 0 events");
}

}  // namespace
}  // namespace qel::host
