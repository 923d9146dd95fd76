#pragma once

#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

#include "examples/camera/tracker.hpp"
#include "foundation/meta/timestamp.hpp"

namespace qel::camera {

/// A picture with its time and who is in it.
struct Sight {
    std::uint64_t number = 0;  // from 0
    cv::Mat picture;
    meta::Timestamp time;
    std::vector<Track> tracks;
};

}  // namespace qel::camera
