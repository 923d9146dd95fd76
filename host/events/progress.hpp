#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include "host/rules/evaluation.hpp"

namespace qel::host {

/// A line on a terminal that tells how far a run has come.
class Progress {
public:
    /// Writes to the terminal, which may be null for none, and renews the line no sooner than `pause` after the last
    /// time.
    Progress(std::FILE* terminal, std::chrono::milliseconds pause);

    void Show(Counts const& counts, std::uint64_t events);
    /// Takes the line away, before something else is written to the terminal.
    void Clear();

    /// How long the run has taken.
    double GetSeconds() const;

private:
    using Clock = std::chrono::steady_clock;

    std::FILE* terminal;
    std::chrono::milliseconds pause;
    bool isShown = false;
    Clock::time_point const start = Clock::now();
    Clock::time_point shown = start;
};

/// "1 frame", "2 frames"
std::string Plural(std::uint64_t count, char const* what);

/// "1000 frames of 1 channel in 0.35 s (2857 frames/s, 114.3 x real time), 17 events"
std::string DescribeSpeed(Counts const& counts, std::uint64_t events, double seconds);

}  // namespace qel::host
