#pragma once

#include <cstdint>

#include "examples/camera/options.hpp"
#include "examples/camera/sight.hpp"
#include "examples/camera/video.hpp"
#include "host/stream/frame_reader.hpp"
#include "host/stream/jsonl_reader.hpp"
#include "host/stream/line_reader.hpp"
#include "host/system/stop_signals.hpp"

namespace qel::camera {

/// Reads the people of a video from a file, where each frame of the channel is of the next picture.
class Replay {
public:
    /// The options and signals outlive it. Throws `host::Failure` when the video or the file cannot be opened,
    /// `host::Interrupted` when a signal is caught meanwhile.
    Replay(Options const& options, host::StopSignals const& stop);

    double GetRate() const;

    /// The next picture, false when the video or the file ends. Throws `host::Failure`, as `Video` does and for a line
    /// that cannot be read.
    bool Next(Sight& sight, host::StopSignals const& stop);

private:
    bool ReadFrame(host::Frame& frame);

    Options const& options;
    Video video;
    host::LineReader lines;
    host::JsonlReader frames;
    std::uint64_t count = 0;
};

}  // namespace qel::camera
