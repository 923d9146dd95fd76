#include "host/system/stop_signals.hpp"

#include <poll.h>

#include <cerrno>

namespace qel::host {

namespace {

volatile std::sig_atomic_t caught = 0;

extern "C" void RememberSignal(int signal) { caught = signal; }

}  // namespace

StopSignals::StopSignals() {
    caught = 0;
    struct sigaction action {};
    action.sa_handler = RememberSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, &oldInterrupt);
    sigaction(SIGTERM, &action, &oldTerminate);
}

StopSignals::~StopSignals() {
    sigaction(SIGINT, &oldInterrupt, nullptr);
    sigaction(SIGTERM, &oldTerminate, nullptr);
}

int StopSignals::GetCaught() const { return caught; }

bool StopSignals::WaitForInput(int file) const {
    // Blocked from the question to the wait, so that a signal in between is not missed.
    sigset_t stopping;
    sigemptyset(&stopping);
    sigaddset(&stopping, SIGINT);
    sigaddset(&stopping, SIGTERM);
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &stopping, &before);
    pollfd waiting{file, POLLIN, 0};
    int ready = 0;
    do {
        ready = caught == 0 ? ppoll(&waiting, 1, nullptr, &before) : -1;
    } while (ready < 0 && caught == 0 && errno == EINTR);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return caught == 0;
}

}  // namespace qel::host
