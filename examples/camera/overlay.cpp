#include "examples/camera/overlay.hpp"

#include <algorithm>
#include <chrono>
#include <set>
#include <string>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <opencv2/imgproc.hpp>

namespace qel::camera {

namespace {

constexpr std::chrono::milliseconds Afterglow{1000};
/// Times in an event file have milliseconds, those of frames are finer.
constexpr std::chrono::milliseconds TimeStep{1};

cv::Scalar const Calm(255, 160, 0);  // blue, green, red
cv::Scalar const Alert(0, 60, 255);
cv::Scalar const White(255, 255, 255);
cv::Scalar const Black(0, 0, 0);
constexpr double TextSize = 0.45;

/// Legible on any ground.
void Write(cv::Mat& picture, std::string const& text, cv::Point place) {
    cv::putText(picture, text, place, cv::FONT_HERSHEY_SIMPLEX, TextSize, Black, 3, cv::LINE_AA);
    cv::putText(picture, text, place, cv::FONT_HERSHEY_SIMPLEX, TextSize, White, 1, cv::LINE_AA);
}

void DrawZone(cv::Mat& picture, meta::data::Zone const& zone, bool hasEvent) {
    std::vector<cv::Point> corners;
    for (auto const& point : zone.GetPoints()) {
        corners.emplace_back(cvRound(point.x * picture.cols), cvRound(point.y * picture.rows));
    }
    if (corners.empty()) {
        return;
    }
    bool const isClosed = zone.GetShape() == meta::data::Zone::Shape::Polygon;
    cv::polylines(picture, corners, isClosed, hasEvent ? Alert : Calm, 2, cv::LINE_AA);
    cv::Point const name = corners.front() + cv::Point(4, 14);
    Write(picture, zone.GetName(),
          {std::clamp(name.x, 4, std::max(4, picture.cols - 120)),
           std::clamp(name.y, 14, std::max(14, picture.rows - 4))});
}

}  // namespace

std::vector<RecordedEvent const*> Overlay::EventsAt(meta::Timestamp time) const {
    std::vector<RecordedEvent const*> shown;
    for (auto const& event : events) {
        bool const isOver = event.last < meta::Timestamp::max() - Afterglow && time > event.last + Afterglow;
        if (event.first <= time && !isOver) {
            shown.push_back(&event);
        }
    }
    return shown;
}

bool Overlay::HasStart(meta::Timestamp time) const {
    return std::any_of(events.begin(), events.end(), [&](RecordedEvent const& event) {
        return event.first <= time && time - event.first < TimeStep;
    });
}

void Overlay::Draw(cv::Mat& picture, meta::Timestamp time, std::vector<Track> const& tracks) const {
    auto const shown = EventsAt(time);
    for (auto const& zone : zones) {
        bool const hasEvent = std::any_of(shown.begin(), shown.end(),
                                          [&](auto const* event) { return event->zones.contains(zone.zone->GetId()); });
        DrawZone(picture, *zone.zone, hasEvent);
    }
    for (auto const& track : tracks) {
        bool const hasEvent = std::any_of(shown.begin(), shown.end(),
                                          [&](auto const* event) { return event->objects.contains(track.id); });
        cv::rectangle(picture, track.box, hasEvent ? Alert : Calm, 2);
        Write(picture, std::to_string(track.id), cv::Point(track.box.tl()) - cv::Point(0, 4));
    }
    cv::Point line(8, 18);
    for (auto const* const event : shown) {
        std::string const about = event->objects.empty() ? "" : fmt::format(": {}", fmt::join(event->objects, ", "));
        Write(picture, event->rule + about, line);
        line.y += 18;
    }
}

}  // namespace qel::camera
