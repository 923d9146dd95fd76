#pragma once

#include <chrono>
#include <optional>

#include "foundation/meta/timestamp.hpp"

namespace qel::observable::spatial {

/// How long a condition must have held before it is reported, and how long a gap in it may be.
struct HoldTimes {
    std::chrono::milliseconds on;
    std::chrono::milliseconds off;
};

/// One condition over time, frame by frame, and the event that reports it.
///
/// The event begins in the first frame that is `on` or more after the onset, and goes on through gaps in which the last
/// frame that held is not more than `off` ago. Until it begins, any gap starts the onset anew. Two frames one after the
/// other in which the condition holds are no gap, however far apart they are.
class Episode {
public:
    /// A condition that has just begun to hold.
    explicit Episode(meta::Timestamp now) : onset(now), lastHeld(now) {}

    /// The condition holds in the next frame. The event cannot begin in a frame in which it may not.
    void Hold(meta::Timestamp now, HoldTimes const& times, bool mayBegin = true);
    /// It does not hold in the next frame. False when the episode is over and there is nothing left to remember.
    bool Pause(meta::Timestamp now, HoldTimes const& times);

    bool IsReported() const { return reported; }
    meta::Timestamp GetOnset() const { return onset; }
    meta::Timestamp GetLastHeld() const { return lastHeld; }

    /// The id of the event, once it has one.
    std::optional<unsigned int> eventId;

private:
    meta::Timestamp onset;
    meta::Timestamp lastHeld;
    bool pausing = false;
    bool reported = false;
};

}  // namespace qel::observable::spatial
