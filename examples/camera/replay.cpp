#include "examples/camera/replay.hpp"

#include "host/failure.hpp"
#include "host/rules/mistake.hpp"

namespace qel::camera {

Replay::Replay(Options const& options, host::StopSignals const& stop)
    : options(options), video(options.video), lines(options.tracks, stop), frames(lines) {}

double Replay::GetRate() const { return options.framesPerSecond.value_or(video.GetRate().value_or(UsualRate)); }

bool Replay::Next(Sight& sight, host::StopSignals const&) {
    host::Frame frame;
    if (!video.Next(sight.picture) || !ReadFrame(frame)) {
        return false;
    }
    sight.number = count++;
    sight.time = frame.time;
    sight.tracks.clear();
    for (auto const& object : frame.objects) {
        auto const& box = object->GetBox();
        double const width = sight.picture.cols;
        double const height = sight.picture.rows;
        sight.tracks.push_back({object->GetId(),
                                {box.left * width, box.top * height, box.width * width, box.height * height},
                                object->GetConfidence()});
    }
    return true;
}

/// The next one of the channel.
bool Replay::ReadFrame(host::Frame& frame) {
    try {
        while (frames.Next(frame)) {
            if (frame.channel == options.channel) {
                return true;
            }
        }
        return false;
    } catch (host::UnreadableLine const& line) {
        throw host::Failure(host::Describe(line.mistake));
    }
}

}  // namespace qel::camera
