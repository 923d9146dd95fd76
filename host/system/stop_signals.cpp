#include "host/system/stop_signals.hpp"

#include <poll.h>

#include <cerrno>
#include <initializer_list>

namespace qel::host {

namespace {

volatile std::sig_atomic_t caught = 0;

extern "C" void RememberSignal(int signal) {
    caught = signal;
    for (int const each : {SIGINT, SIGTERM}) {
        struct sigaction current {};
        sigaction(each, nullptr, &current);
        if (current.sa_handler == RememberSignal) {
            std::signal(each, SIG_DFL);
        }
    }
}

/// What a script has told its programs to ignore stays ignored.
void Catch(int signal, struct sigaction& old) {
    struct sigaction action {};
    action.sa_handler = RememberSignal;
    sigaction(signal, nullptr, &old);
    if (old.sa_handler != SIG_IGN) {
        sigaction(signal, &action, nullptr);
    }
}

}  // namespace

StopSignals::StopSignals() {
    caught = 0;
    Catch(SIGINT, oldInterrupt);
    Catch(SIGTERM, oldTerminate);
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
