#include "host/events/progress.hpp"

#include <algorithm>

#include <fmt/format.h>

namespace qel::host {

std::string Plural(std::uint64_t count, char const* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

Progress::Progress(std::FILE* terminal, std::chrono::milliseconds pause) : terminal(terminal), pause(pause) {}

void Progress::Show(Counts const& counts, std::uint64_t events) {
    if (terminal == nullptr) {
        return;
    }
    auto const now = Clock::now();
    if (now - shown < pause) {
        return;
    }
    shown = now;
    isShown = true;
    std::fputs(("\r\x1b[K" + DescribeSpeed(counts, events, GetSeconds())).c_str(), terminal);
    std::fflush(terminal);
}

void Progress::Clear() {
    if (isShown) {
        std::fputs("\r\x1b[K", terminal);
        std::fflush(terminal);
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
