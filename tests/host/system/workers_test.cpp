#include "host/system/workers.hpp"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <latch>
#include <set>
#include <thread>
#include <vector>

namespace qel::host {
namespace {

TEST(WorkersTest, DoEverythingOnce) {
    for (std::size_t const threads : {1, 2, 3, 20}) {
        Workers workers(threads);
        for (std::size_t const count : {0, 1, 2, 7, 1000}) {
            std::vector<std::atomic<int>> calls(count);
            workers.ForEach(count, [&](std::size_t at) { ++calls[at]; });
            for (auto const& each : calls) {
                EXPECT_EQ(each, 1) << threads << " threads, " << count;
            }
        }
    }
}

#ifndef QEL_SANITIZED  // a sanitizer needs more room than there is
[[noreturn]] void WorkWithRoomForFewThreads() {
    constexpr rlim_t Room = 200'000'000;
    rlimit const limit{Room, Room};
    setrlimit(RLIMIT_AS, &limit);
    Workers workers(200);
    std::atomic<int> calls = 0;
    workers.ForEach(1000, [&](std::size_t) { ++calls; });
    std::exit(calls == 1000 ? 0 : 1);
}

TEST(WorkersTest, AreAsManyAsTheSystemGives) {
    EXPECT_EXIT(WorkWithRoomForFewThreads(), testing::ExitedWithCode(0), "");
}
#endif

TEST(WorkersTest, SeeWhatWasDoneBeforeAndShowWhatTheyHaveDone) {
    Workers workers(3);
    std::vector<int> numbers(100, 0);  // the thread sanitizer looks on
    for (int round = 1; round <= 200; ++round) {
        workers.ForEach(numbers.size(), [&](std::size_t at) { ++numbers[at]; });
        for (int& number : numbers) {
            ASSERT_EQ(number, 2 * round - 1);
            ++number;
        }
    }
}

TEST(WorkersTest, WorkAtTheSameTimeTheAskingThreadIncluded) {
    Workers workers(3);
    std::latch all(3);
    std::vector<std::thread::id> threads(3);
    workers.ForEach(3, [&](std::size_t at) {
        threads[at] = std::this_thread::get_id();
        all.arrive_and_wait();
    });
    std::set<std::thread::id> const different(threads.begin(), threads.end());
    EXPECT_EQ(different.size(), 3u);
    EXPECT_EQ(different.count(std::this_thread::get_id()), 1u);
}

TEST(WorkersTest, OfOneThreadAreTheAskingThread) {
    Workers workers(1);
    auto const asking = std::this_thread::get_id();
    workers.ForEach(10, [&](std::size_t) { EXPECT_EQ(std::this_thread::get_id(), asking); });
}

TEST(WorkersTest, LeaveSignalsToTheAskingThread) {
    Workers workers(2);
    std::latch both(2);
    std::vector<int> isBlocked(2);
    std::vector<std::thread::id> threads(2);
    workers.ForEach(2, [&](std::size_t at) {
        sigset_t blocked;
        pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        isBlocked[at] = sigismember(&blocked, SIGINT) + sigismember(&blocked, SIGTERM);
        threads[at] = std::this_thread::get_id();
        both.arrive_and_wait();
    });
    for (std::size_t at = 0; at < 2; ++at) {
        EXPECT_EQ(isBlocked[at], threads[at] == std::this_thread::get_id() ? 0 : 2);
    }
}

}  // namespace
}  // namespace qel::host
