#include "host/events/progress.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>

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

/// What a program writes to its terminal.
class Terminal {
public:
    ~Terminal() { std::fclose(file); }

    std::FILE* Get() const { return file; }
    std::string Read() const {
        std::string text(static_cast<std::size_t>(std::ftell(file)), '\0');
        std::rewind(file);
        EXPECT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
        return text;
    }

private:
    std::FILE* file = std::tmpfile();
};

TEST(ProgressTest, RenewsOneLineAndTakesItAway) {
    Terminal const terminal;
    Progress progress(terminal.Get(), std::chrono::milliseconds(0));
    progress.Clear();
    progress.Show(Seen(1, 1, 0), 0);
    progress.Show(Seen(2, 1, 0), 5);
    progress.Clear();
    progress.Clear();
    EXPECT_THAT(terminal.Read(), testing::MatchesRegex("\r\x1b\\[K1 frame of 1 channel in .*, 0 events"
                                                       "\r\x1b\\[K2 frames of 1 channel in .*, 5 events"
                                                       "\r\x1b\\[K"));
}

TEST(ProgressTest, IsNotRenewedTooOften) {
    Terminal const terminal;
    Progress progress(terminal.Get(), std::chrono::hours(1));
    progress.Show(Seen(1, 1, 0), 0);
    progress.Clear();
    EXPECT_EQ(terminal.Read(), "");
}

TEST(ProgressTest, NeedsNoTerminal) {
    Progress progress(nullptr, std::chrono::milliseconds(0));
    progress.Show(Seen(1, 1, 0), 0);
    progress.Clear();
    EXPECT_GE(progress.GetSeconds(), 0.0);
}

}  // namespace
}  // namespace qel::host
