#pragma once

#include <optional>
#include <string>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

namespace qel::camera {

/// The pictures of a video file, or of a camera as they come.
class Video {
public:
    /// A file, the number of a camera, or an address such as rtsp://... Throws `host::Failure` when it cannot be
    /// opened.
    explicit Video(std::string const& name);

    /// The number of a camera, and an address, give pictures as they are taken.
    bool IsLive() const { return isLive; }
    /// In a second, or nothing when the file does not say.
    std::optional<double> GetRate() const;
    /// How many pictures the file says that it has; 0 when it does not.
    int CountPictures() const;

    /// The next picture; false at the end of a file. Throws `host::Failure` when a live source breaks off.
    bool Next(cv::Mat& picture);

private:
    std::string name;
    bool isLive;
    cv::VideoCapture capture;
};

}  // namespace qel::camera
