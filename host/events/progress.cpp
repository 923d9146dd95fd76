#include "host/events/progress.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

namespace qel::host {

namespace {

constexpr std::chrono::milliseconds BetweenUpdates{200};

}  // namespace

std::string Plural(std::uint64_t count, char const* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

Progress::Progress() : isTerminal(isatty(STDERR_FILENO) == 1) {}

void Progress::Show(Counts const& counts, std::uint64_t events) {
    if (!isTerminal) {
        return;
    }
    auto const now = Clock::now();
    if (now - shown < BetweenUpdates) {
        return;
    }
    shown = now;
    isShown = true;
    fmt::print(stderr, "\r\x1b[K{}", DescribeSpeed(counts, events, GetSeconds()));
    std::fflush(stderr);
}

void Progress::Clear() {
    if (isShown) {
        fmt::print(stderr, "\r\x1b[K");
        std::fflush(stderr);
        isShown = false;
    }
}

double Progress::GetSeconds() const { return std::chrono::duration<double>(Clock::now() - start).count(); }

std::string DescribeSpeed(Counts const& counts, std::uint64_t events, double seconds) {
    double const atLeast = std::max(seconds, 1e-6);
    return fmt::format("{} of {} in {:.2f} s ({:.0f} frames/s, {:.1f} x real time), {}", Plural(counts.frames, "frame"),
                       Plural(counts.channels, "channel"), seconds, static_cast<double>(counts.frames) / atLeast,
                       counts.seconds / atLeast, Plural(events, "event"));
}

}  // namespace qel::host
