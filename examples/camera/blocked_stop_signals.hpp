#pragma once

#include <csignal>

namespace qel::camera {

/// Keeps SIGINT and SIGTERM from this thread while it lives, and for ever from the threads that are started meanwhile.
class BlockedStopSignals {
public:
    BlockedStopSignals() {
        sigset_t stopping;
        sigemptyset(&stopping);
        sigaddset(&stopping, SIGINT);
        sigaddset(&stopping, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &stopping, &before);
    }
    BlockedStopSignals(BlockedStopSignals const&) = delete;
    BlockedStopSignals& operator=(BlockedStopSignals const&) = delete;
    ~BlockedStopSignals() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t before;
};

}  // namespace qel::camera
