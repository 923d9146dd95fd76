#include "host/system/workers.hpp"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <exception>
#include <latch>
#include <new>
#include <thread>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace qel::host {

namespace {

/// Keeps signals from the threads that are started meanwhile.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    BlockedSignals(BlockedSignals const&) = delete;
    BlockedSignals& operator=(BlockedSignals const&) = delete;
    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t before;
};

}  // namespace

class Workers::Pool {
public:
    explicit Pool(std::size_t size) {
        threads.reserve(size);
        try {
            while (threads.size() < size) {
                threads.emplace_back([this] { tasks.run(); });
            }
        } catch (std::exception const&) {
            // The system gives no more.
        }
    }
    Pool(Pool const&) = delete;
    Pool& operator=(Pool const&) = delete;
    ~Pool() {
        tasks.stop();
        for (auto& thread : threads) {
            thread.join();
        }
    }

    boost::asio::io_context tasks;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> const open{tasks.get_executor()};
    std::vector<std::thread> threads;
};

Workers::Workers(std::size_t count) {
    if (count > 1) {
        BlockedSignals const blocked;
        pool = std::make_unique<Pool>(count - 1);
    }
}

Workers::~Workers() = default;

void Workers::ForEach(std::size_t count, std::function<void(std::size_t)> const& work) {
    std::atomic<std::size_t> next{0};
    auto const takePart = [&] {
        for (std::size_t at = next++; at < count; at = next++) {
            work(at);
        }
    };
    std::size_t const helpers = pool && count > 0 ? std::min(pool->threads.size(), count - 1) : 0;
    std::latch done(static_cast<std::ptrdiff_t>(helpers));
    for (std::size_t helper = 0; helper < helpers; ++helper) {
        try {
            boost::asio::post(pool->tasks, [&] {
                takePart();
                done.count_down();
            });
        } catch (std::bad_alloc const&) {  // those that have been asked do it all
            done.count_down(static_cast<std::ptrdiff_t>(helpers - helper));
            break;
        }
    }
    takePart();
    done.wait();
}

}  // namespace qel::host
