#pragma once

#include <cstdint>
#include <optional>

#include <opencv2/core.hpp>

#include "examples/camera/detector.hpp"
#include "examples/camera/options.hpp"
#include "examples/camera/sight.hpp"
#include "examples/camera/tracker.hpp"
#include "examples/camera/video.hpp"
#include "foundation/meta/timestamp.hpp"
#include "host/stream/frame_clock.hpp"
#include "host/system/stop_signals.hpp"

namespace qel::camera {

/// Finds the people of a video.
class Watch {
public:
    /// The options outlive it. Throws `host::Failure` when the video cannot be opened or does not tell its rate.
    explicit Watch(Options const& options);

    double GetRate() const { return framesPerSecond; }

    /// The next picture, false at the end. Asks from time to time whether to stop. Throws `host::Failure`, as `Video`
    /// does and for a picture of another size.
    bool Next(Sight& sight, host::StopSignals const& stop);

private:
    meta::Timestamp TimeOf(std::uint64_t number) const;
    void Begin(cv::Size pictureSize, host::StopSignals const& stop);
    void LookThrough(host::StopSignals const& stop);

    Options const& options;
    Video video;
    double framesPerSecond = 0;
    std::optional<host::FrameClock> clock;
    std::optional<Detector> detector;
    std::optional<Tracker> tracker;
    cv::Size size;
    std::uint64_t count = 0;
};

}  // namespace qel::camera
