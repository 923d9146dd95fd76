#pragma once

#include <cstdint>
#include <optional>

#include "foundation/meta/timestamp.hpp"

namespace qel::host {

/// The times of frames that follow one another at a fixed rate.
class FrameClock {
public:
    /// `framesPerSecond` is more than 0 and counts to the sixth decimal.
    FrameClock(meta::Timestamp start, double framesPerSecond);

    /// The time of the frame that is so many behind the first, to the nearest nanosecond; nothing when a timestamp
    /// cannot hold it.
    std::optional<meta::Timestamp> TimeOf(std::uint64_t frame) const;

private:
    meta::Timestamp start;
    std::uint64_t millionthsOfFrames;  // in a second
};

}  // namespace qel::host
