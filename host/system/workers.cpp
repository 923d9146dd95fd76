#include "host/system/workers.hpp"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <latch>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

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
    explicit Pool(std::size_t size) : size(size), threads(size) {}

    std::size_t const size;
    boost::asio::thread_pool threads;
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
    std::size_t const helpers = pool && count > 0 ? std::min(pool->size, count - 1) : 0;
    std::latch done(static_cast<std::ptrdiff_t>(helpers));
    for (std::size_t helper = 0; helper < helpers; ++helper) {
        boost::asio::post(pool->threads, [&] {
            takePart();
            done.count_down();
        });
    }
    takePart();
    done.wait();
}

}  // namespace qel::host
