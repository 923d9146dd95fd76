#include "host/system/descriptor.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <string>
#include <thread>

#include "host/failure.hpp"
#include "host/system/output.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

extern "C" void TakeSignal(int) {}

/// Runs the call, on this thread, under signals that end system calls.
void UnderSignals(std::function<void()> const& call) {
    struct sigaction action {};
    action.sa_handler = TakeSignal;
    struct sigaction old {};
    sigaction(SIGUSR1, &action, &old);
    std::atomic<bool> done = false;
    std::thread signals([&, caller = pthread_self()] {
        while (!done) {
            pthread_kill(caller, SIGUSR1);
            std::this_thread::yield();
        }
    });
    call();
    done = true;
    signals.join();
    sigaction(SIGUSR1, &old, nullptr);
}

TEST(DescriptorTest, ClosesItsFileButNoStandardOne) {
    int file = -1;
    {
        Descriptor const descriptor(open("/dev/null", O_RDONLY));
        file = descriptor.Get();
        EXPECT_NE(fcntl(file, F_GETFD), -1);
        Descriptor const standard(STDERR_FILENO);
    }
    EXPECT_EQ(fcntl(file, F_GETFD), -1);
    EXPECT_NE(fcntl(STDERR_FILENO, F_GETFD), -1);
}

TEST(OpenInputTest, TakesStandardInputByItsSign) {
    EXPECT_EQ(OpenInput("-"), STDIN_FILENO);
    EXPECT_EQ(NameOfInput("-"), "standard input");
    EXPECT_EQ(NameOfInput("x"), "x");
}

TEST(OpenInputTest, TellsWhyAFileCannotBeRead) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "missing").string();
    try {
        OpenInput(path);
        FAIL();
    } catch (Failure const& failure) {
        EXPECT_EQ(failure.what(), path + ": cannot be read: No such file or directory");
    }
}

TEST(OpenInputTest, EndsItsWaitForTheOtherEndOfAPipeAtASignal) {
    tests::TemporaryDirectory const directory;
    auto const pipe = (directory / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    UnderSignals([&] { EXPECT_THROW(OpenInput(pipe), Interrupted); });
    UnderSignals([&] { EXPECT_THROW(Output{pipe}, Interrupted); });
}

}  // namespace
}  // namespace qel::host
