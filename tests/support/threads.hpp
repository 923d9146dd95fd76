#pragma once

#include <latch>
#include <thread>
#include <utility>
#include <vector>

namespace qel::tests {

/// Runs `work(index)` on so many threads, all let go at the same moment, and waits for their end.
template <class Work>
void RunTogether(int threads, Work const& work) {
    std::latch start(threads);
    std::vector<std::thread> running;
    for (int index = 0; index < threads; ++index) {
        running.emplace_back([&, index] {
            start.arrive_and_wait();
            work(index);
        });
    }
    for (auto& thread : running) {
        thread.join();
    }
}

/// What `work` returns when another thread calls it.
template <class Work>
auto OnAnotherThread(Work const& work) {
    decltype(work()) result{};
    std::thread([&] { result = work(); }).join();
    return result;
}

}  // namespace qel::tests
