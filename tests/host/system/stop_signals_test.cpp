#include "host/system/stop_signals.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <thread>

namespace qel::host {
namespace {

/// A pipe from which nothing is to be read yet.
class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe(ends.data()), 0); }
    ~Pipe() {
        close(ends[0]);
        CloseWriter();
    }

    int GetReader() const { return ends[0]; }
    void Write() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
    void CloseWriter() {
        if (ends[1] >= 0) {
            close(ends[1]);
            ends[1] = -1;
        }
    }

private:
    std::array<int, 2> ends{};
};

TEST(StopSignalsTest, RememberWhichSignalAsksToStop) {
    for (int const signal : {SIGINT, SIGTERM}) {
        StopSignals const stop;
        EXPECT_EQ(stop.GetCaught(), 0);
        std::raise(signal);
        EXPECT_EQ(stop.GetCaught(), signal);
    }
}

TEST(StopSignalsTest, LetASecondSignalEndTheProgram) {
    EXPECT_EXIT(
        {
            StopSignals const stop;
            std::raise(SIGINT);
            std::raise(SIGINT);
        },
        testing::KilledBySignal(SIGINT), "");
}

TEST(StopSignalsTest, LetASecondSignalOfTheOtherKindEndTheProgram) {
    EXPECT_EXIT(
        {
            StopSignals const stop;
            std::raise(SIGTERM);
            std::raise(SIGINT);
        },
        testing::KilledBySignal(SIGINT), "");
}

TEST(StopSignalsTest, LeaveIgnoredWhatWasIgnored) {
    EXPECT_EXIT(
        {
            std::signal(SIGINT, SIG_IGN);
            {
                StopSignals const stop;
                std::raise(SIGINT);
                EXPECT_EQ(stop.GetCaught(), 0);
                std::raise(SIGTERM);
                std::raise(SIGINT);
                EXPECT_EQ(stop.GetCaught(), SIGTERM);
            }
            std::raise(SIGINT);
            std::exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(StopSignalsTest, AreGoneWithTheObject) {
    EXPECT_EXIT(
        {
            { StopSignals const stop; }
            std::raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "");
}

TEST(StopSignalsTest, LetReadWhatThereIs) {
    StopSignals const stop;
    Pipe pipe;
    pipe.Write();
    EXPECT_TRUE(stop.WaitForInput(pipe.GetReader()));
}

TEST(StopSignalsTest, LetReadTheEnd) {
    StopSignals const stop;
    Pipe pipe;
    pipe.CloseWriter();
    EXPECT_TRUE(stop.WaitForInput(pipe.GetReader()));
}

TEST(StopSignalsTest, DoNotWaitWhenTheSignalCameBefore) {
    StopSignals const stop;
    Pipe const pipe;
    std::raise(SIGTERM);
    EXPECT_FALSE(stop.WaitForInput(pipe.GetReader()));
}

TEST(StopSignalsTest, EndAWait) {
    StopSignals const stop;
    Pipe const pipe;
    pthread_t const waiting = pthread_self();
    std::thread other([&] { pthread_kill(waiting, SIGINT); });
    EXPECT_FALSE(stop.WaitForInput(pipe.GetReader()));
    other.join();
}

}  // namespace
}  // namespace qel::host
