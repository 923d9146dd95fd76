#include "examples/camera/detector.hpp"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "examples/camera/blocked_stop_signals.hpp"

namespace qel::camera {

namespace {

/// Both methods take a colour for background once it has had this share of the recent pictures.
constexpr double BackgroundShare = 0.4;
constexpr int LongestHistory = 1'000'000;
constexpr int Foreground = 255;  // shadows are darker in the mask

cv::Ptr<cv::BackgroundSubtractor> MakeBackground(Detector::Settings const& settings) {
    if (settings.method == Detector::Method::Knn) {
        return cv::createBackgroundSubtractorKNN(LongestHistory, settings.threshold);
    }
    auto const mixture = cv::createBackgroundSubtractorMOG2(LongestHistory, settings.threshold);
    mixture->setBackgroundRatio(1 - BackgroundShare);
    return mixture;
}

/// An ellipse of about this width and height in pixels.
cv::Mat MakeBrush(double width, double height) {
    auto const odd = [](double size) { return std::max(1, static_cast<int>(std::lround(size)) | 1); };
    return cv::getStructuringElement(cv::MORPH_ELLIPSE, {odd(width), odd(height)});
}

}  // namespace

Detector::Detector(Settings const& settings, cv::Size picture)
    : background(MakeBackground(settings)),
      // With the rate r, what has been there for n pictures has a share of 1 - (1 - r)^n.
      learningRate(1 - std::pow(1 - BackgroundShare, 1 / settings.patience)),
      smallest(settings.smallest * picture.height),
      speck(MakeBrush(picture.height * 0.004, picture.height * 0.004)),
      gap(MakeBrush(picture.height * 0.009, picture.height * 0.02)) {}

void Detector::Learn(cv::Mat const& picture) {
    BlockedStopSignals const blocked;
    ++learnt;
    background->apply(picture, foreground, 1.0 / learnt);
}

std::vector<cv::Rect2d> Detector::Detect(cv::Mat const& picture) {
    BlockedStopSignals const blocked;
    ++learnt;
    background->apply(picture, foreground, std::max(learningRate, 1.0 / learnt));
    cv::threshold(foreground, foreground, Foreground - 1, Foreground, cv::THRESH_BINARY);
    cv::morphologyEx(foreground, foreground, cv::MORPH_OPEN, speck);
    cv::morphologyEx(foreground, foreground, cv::MORPH_CLOSE, gap);
    std::vector<std::vector<cv::Point>> outlines;
    cv::findContours(foreground, outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    std::vector<cv::Rect2d> boxes;
    for (auto const& outline : outlines) {
        cv::Rect2d const box = cv::boundingRect(outline);
        if (box.width >= smallest && box.height >= smallest) {
            boxes.push_back(box);
        }
    }
    return boxes;
}

}  // namespace qel::camera
