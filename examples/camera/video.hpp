#pragma once

#include <optional>
#include <string>

#include <opencv2/core.hpp>
#include <opencv2/videoio.hpp>

namespace qel::camera {

// Pictures in a second.
inline constexpr double LowestRate = 0.001;
inline constexpr double HighestRate = 1000;
inline constexpr double UsualRate = 25;  // where nobody tells

/// The pictures of a video file, or of a camera as they come.
class Video {
public:
    /// A file, the number of a camera, or an address such as rtsp://... Throws `host::Failure` when it cannot be
    /// opened. SIGINT and SIGTERM do not come to the threads that decode it.
    explicit Video(std::string const& name);

    /// The number of a camera, and an address, give pictures as they are taken.
    bool IsLive() const { return isLive; }
    /// How many pictures a second has, from `LowestRate` to `HighestRate`; nothing when the file does not tell or tells
    /// what cannot be.
    std::optional<double> GetRate() const;
    /// How many pictures the file says that it has; 0 when it does not.
    int CountPictures() const;

    /// The next picture; false at the end of a file, and where one cannot be decoded any further. Throws
    /// `host::Failure` when a live source breaks off, and for a file without a picture.
    bool Next(cv::Mat& picture);

private:
    bool Open();

    std::string name;
    bool isLive;
    bool isEmpty = true;  // as far as it has been read
    cv::VideoCapture capture;
};

}  // namespace qel::camera
