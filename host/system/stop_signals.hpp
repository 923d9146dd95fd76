#pragma once

#include <csignal>

namespace qel::host {

/// While this object lives, the first SIGINT or SIGTERM asks the program to stop instead of ending it, a second one of
/// either kind ends it. A signal that was ignored before stays so. One object at a time; all other threads keep the two
/// blocked.
class StopSignals {
public:
    StopSignals();
    StopSignals(StopSignals const&) = delete;
    StopSignals& operator=(StopSignals const&) = delete;
    ~StopSignals();

    /// The signal that asks the program to stop, or 0.
    int GetCaught() const;

    /// Waits until there is something to read from the file (or its end) and returns true, or until a signal asks the
    /// program to stop and returns false.
    bool WaitForInput(int file) const;

private:
    struct sigaction oldInterrupt;
    struct sigaction oldTerminate;
};

}  // namespace qel::host
