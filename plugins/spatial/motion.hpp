#pragma once

#include <chrono>
#include <optional>

#include <boost/circular_buffer.hpp>

#include "foundation/meta/timestamp.hpp"
#include "plugins/spatial/geometry.hpp"

namespace qel::observable::spatial {

/// How one object has moved lately, as far back as a window of time reaches.
///
/// However many samples come, some thousands are kept at most: of samples closer together than a thousandth of the
/// window some are dropped, which makes the oldest of the window younger by no more than that.
class Motion {
public:
    /// Gets the memory that the next `Move` needs.
    void MakeRoom();

    /// Where the object is now. What was known of this time or of later ones is forgotten: of several samples of one
    /// time the last counts, and where time runs backwards the path goes on from what came before.
    void Move(meta::Timestamp now, Point to, std::chrono::milliseconds window) noexcept;

    void Clear() noexcept { samples.clear(); }

    /// With the object here now, the way per second from the oldest sample that is not older than the window. None
    /// before the window is half full.
    std::optional<Movement> GetVelocity(meta::Timestamp now, Point to, std::chrono::milliseconds window,
                                        double aspect) const;

private:
    struct Sample {
        meta::Timestamp time;
        Point place;
    };

    boost::circular_buffer<Sample> samples;  // each later than the one before
};

}  // namespace qel::observable::spatial
