#include "host/stream/frame_clock.hpp"

#include <chrono>
#include <cmath>
#include <limits>

namespace qel::host {

namespace {

__extension__ typedef __int128 Wide;

constexpr std::int64_t Million = 1'000'000;
constexpr std::int64_t NanosecondsPerSecond = 1'000'000'000;

}  // namespace

FrameClock::FrameClock(meta::Timestamp start, double framesPerSecond)
    : start(start), millionthsOfFrames(static_cast<std::uint64_t>(std::llround(framesPerSecond * Million))) {}

std::optional<meta::Timestamp> FrameClock::TimeOf(std::uint64_t frame) const {
    Wide const sinceStart =
        (Wide(frame) * Million * NanosecondsPerSecond + millionthsOfFrames / 2) / millionthsOfFrames;
    Wide const time = start.time_since_epoch().count() + sinceStart;
    if (time > std::numeric_limits<std::int64_t>::max()) {
        return std::nullopt;
    }
    return meta::Timestamp(std::chrono::nanoseconds(static_cast<std::int64_t>(time)));
}

}  // namespace qel::host
