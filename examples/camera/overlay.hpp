#pragma once

#include <utility>
#include <vector>

#include <opencv2/core.hpp>

#include "examples/camera/event_list.hpp"
#include "examples/camera/tracker.hpp"
#include "foundation/meta/timestamp.hpp"
#include "host/rules/rule_file.hpp"

namespace qel::camera {

/// Draws zones, people and what the rules say of them into a picture.
class Overlay {
public:
    Overlay(std::vector<host::ZoneOfChannel> zones, std::vector<RecordedEvent> events)
        : zones(std::move(zones)), events(std::move(events)) {}

    void Draw(cv::Mat& picture, meta::Timestamp time, std::vector<Track> const& tracks) const;

    /// Whether an event is told to start in the frame of this time.
    bool HasStart(meta::Timestamp time) const;

private:
    /// The events to be shown in the frame of this time: those that go on, and for a while those that are over.
    std::vector<RecordedEvent const*> EventsAt(meta::Timestamp time) const;

    std::vector<host::ZoneOfChannel> zones;
    std::vector<RecordedEvent> events;
};

}  // namespace qel::camera
