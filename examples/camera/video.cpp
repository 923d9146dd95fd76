#include "examples/camera/video.hpp"

#include <charconv>
#include <filesystem>
#include <future>
#include <system_error>

#include <fmt/format.h>

#include "examples/camera/blocked_stop_signals.hpp"
#include "host/failure.hpp"

namespace qel::camera {

namespace {

std::optional<int> CameraNumber(std::string const& name) {
    int number = 0;
    auto const [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    bool const isNumber = error == std::errc() && end == name.data() + name.size() && number >= 0;
    return isNumber ? std::optional(number) : std::nullopt;
}

bool IsAddress(std::string const& name) { return name.find("://") != std::string::npos; }

}  // namespace

Video::Video(std::string const& name) : name(name), isLive(CameraNumber(name) || IsAddress(name)) {
    if (!isLive && !std::filesystem::exists(name)) {
        throw host::Failure(fmt::format("{}: no such file", name));
    }
    if (!Open()) {
        throw host::Failure(fmt::format("{}: cannot be opened as a video", name));
    }
}

/// In a thread of its own, whose threads are then without the signals, too: it may wait long for an address, and this
/// one is still to be stopped.
bool Video::Open() {
    std::future<bool> opening;
    {
        BlockedStopSignals const blocked;
        opening = std::async(std::launch::async, [this, camera = CameraNumber(name)] {
            return camera ? capture.open(*camera) : capture.open(name);
        });
    }
    return opening.get();
}

std::optional<double> Video::GetRate() const {
    double const rate = capture.get(cv::CAP_PROP_FPS);
    return rate >= LowestRate && rate <= HighestRate ? std::optional(rate) : std::nullopt;
}

int Video::CountPictures() const {
    double const count = capture.get(cv::CAP_PROP_FRAME_COUNT);
    return count >= 1 && count < 1e9 ? static_cast<int>(count) : 0;
}

bool Video::Next(cv::Mat& picture) {
    if (capture.read(picture) && !picture.empty()) {
        isEmpty = false;
        return true;
    }
    if (isLive) {
        throw host::Failure(fmt::format("{}: no more pictures come", name));
    }
    if (isEmpty) {
        throw host::Failure(fmt::format("{}: no pictures", name));
    }
    return false;
}

}  // namespace qel::camera
