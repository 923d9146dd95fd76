#include "examples/camera/frame_line.hpp"

#include <chrono>

#include <gtest/gtest.h>

namespace qel::camera {
namespace {

cv::Size const Picture(200, 100);

TEST(FrameLineTest, HasAnObjectForEachTrackInFractionsOfThePicture) {
    EXPECT_EQ(DescribeFrame(meta::Timestamp(std::chrono::milliseconds(1500)), 7,
                            {{3, {20, 10, 40, 50}, 0.936}, {4, {-10, 0, 30, 33.333}, 1}}, Picture),
              R"({"timestamp": 1500000000, "channel": {"id": 7}, "objects": [)"
              R"({"id": 3, "class": "person", "box": [0.1000, 0.1000, 0.2000, 0.5000], "confidence": 0.94}, )"
              R"({"id": 4, "class": "person", "box": [-0.0500, 0.0000, 0.1500, 0.3333], "confidence": 1.00}]})"
              "\n");
}

TEST(FrameLineTest, IsThereWithoutTracksToo) {
    EXPECT_EQ(DescribeFrame(meta::Timestamp(), 0, {}, Picture),
              "{\"timestamp\": 0, \"channel\": {\"id\": 0}, \"objects\": []}\n");
}

}  // namespace
}  // namespace qel::camera
