#pragma once

#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/video/background_segm.hpp>

namespace qel::camera {

/// Finds what moves before a background that stands still. SIGINT and SIGTERM do not come to the threads that help it.
class Detector {
public:
    enum class Method { Mog2, Knn };

    struct Settings {
        Method method = Method::Mog2;
        /// How many pictures long something must stand still to become part of the background.
        double patience = 400;
        /// How far a pixel must be off the background, as the method counts it: a squared distance.
        double threshold = 16;
        /// The least height and width of what is reported, in heights of the picture.
        double smallest = 0.02;
    };

    Detector(Settings const& settings, cv::Size picture);

    /// Learns the background from a picture out of many, in any order.
    void Learn(cv::Mat const& picture);

    /// Boxes in pixels, those that are cut into pieces by something before them in several pieces. The picture is one
    /// of a series and has the size that the constructor was given.
    std::vector<cv::Rect2d> Detect(cv::Mat const& picture);

private:
    cv::Ptr<cv::BackgroundSubtractor> background;
    double const learningRate;
    double const smallest;  // in pixels
    cv::Mat speck;
    cv::Mat gap;
    cv::Mat foreground;
    int learnt = 0;
};

}  // namespace qel::camera
