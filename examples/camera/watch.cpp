#include "examples/camera/watch.hpp"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>

#include "host/command/action.hpp"
#include "host/failure.hpp"

namespace qel::camera {

namespace {

constexpr double LongestStep = 1;  // seconds

}  // namespace

Watch::Watch(Options const& options) : options(options), video(options.video) {
    auto const rate = options.framesPerSecond ? options.framesPerSecond : video.GetRate();
    if (!rate && !video.IsLive()) {
        throw host::Failure(fmt::format("{}: does not tell how many pictures a second has: give --fps", options.video));
    }
    framesPerSecond = rate.value_or(UsualRate);
    clock.emplace(host::ParseStart(options.start), framesPerSecond);
}

bool Watch::Next(Sight& sight, host::StopSignals const& stop) {
    if (!video.Next(sight.picture)) {
        return false;
    }
    auto const time = TimeOf(count);
    if (!detector) {
        Begin(sight.picture.size(), stop);
    }
    if (sight.picture.size() != size) {
        throw host::Failure(fmt::format("{}: picture {} has another size", options.video, count));
    }
    double const passed = std::chrono::duration<double>(time - sight.time).count();
    sight.number = count++;
    sight.time = time;
    sight.tracks = tracker->Update(detector->Detect(sight.picture), std::clamp(passed, 0.0, LongestStep));
    return true;
}

meta::Timestamp Watch::TimeOf(std::uint64_t number) const {
    if (video.IsLive()) {
        return std::chrono::system_clock::now();
    }
    auto const time = clock->TimeOf(number);
    if (!time) {
        throw host::Failure(fmt::format("{}: picture {} is at no time that can be told", options.video, number));
    }
    return *time;
}

void Watch::Begin(cv::Size pictureSize, host::StopSignals const& stop) {
    size = pictureSize;
    Detector::Settings settings;
    settings.method = options.method == "knn" ? Detector::Method::Knn : Detector::Method::Mog2;
    settings.patience = std::max(1.0, options.patience * framesPerSecond);
    settings.threshold = options.threshold;
    settings.smallest = options.smallest;
    detector.emplace(settings, size);
    tracker.emplace(options.tracker, size);
    if (!video.IsLive() && options.learn > 0) {
        LookThrough(stop);
    }
}

/// Who is there in the first picture is only known from later ones not to be background.
void Watch::LookThrough(host::StopSignals const& stop) {
    Video before(options.video);
    int const step = std::max(1, (before.CountPictures() + options.learn - 1) / options.learn);
    cv::Mat picture;
    for (int number = 0; number < step * options.learn && stop.GetCaught() == 0 && before.Next(picture); ++number) {
        if (number % step == 0 && picture.size() == size) {
            detector->Learn(picture);
        }
    }
}

}  // namespace qel::camera
