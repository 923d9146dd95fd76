#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "examples/camera/tracker.hpp"
#include "foundation/meta/timestamp.hpp"

namespace qel::camera {

/// A frame as a line of JSON, with its end.
std::string DescribeFrame(meta::Timestamp time, std::uint16_t channel, std::vector<Track> const& tracks,
                          cv::Size picture);

}  // namespace qel::camera
