#include "examples/camera/video.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>

#include <fmt/format.h>

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
    auto const camera = CameraNumber(name);
    if (!(camera ? capture.open(*camera) : capture.open(name))) {
        throw host::Failure(fmt::format("{}: cannot be opened as a video", name));
    }
}

std::optional<double> Video::GetRate() const {
    double const rate = capture.get(cv::CAP_PROP_FPS);
    return std::isfinite(rate) && rate > 0 ? std::optional(rate) : std::nullopt;
}

int Video::CountPictures() const {
    double const count = capture.get(cv::CAP_PROP_FRAME_COUNT);
    return count >= 1 && count < 1e9 ? static_cast<int>(count) : 0;
}

bool Video::Next(cv::Mat& picture) {
    if (capture.read(picture) && !picture.empty()) {
        return true;
    }
    if (isLive) {
        throw host::Failure(fmt::format("{}: no more pictures come", name));
    }
    return false;
}

}  // namespace qel::camera
