#include "examples/camera/overlay.hpp"

#include <chrono>
#include <memory>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

namespace qel::camera {
namespace {

meta::Timestamp At(int milliseconds) { return meta::Timestamp(std::chrono::milliseconds(milliseconds)); }

cv::Mat Blank() { return cv::Mat::zeros(200, 400, CV_8UC3); }

host::ZoneOfChannel Square(unsigned int id) {
    return {{},
            std::make_shared<meta::data::Zone>(
                id, "", std::vector<meta::data::Point>{{0.5, 0.2}, {0.9, 0.2}, {0.9, 0.8}, {0.5, 0.8}})};
}

cv::Mat Draw(Overlay const& overlay, int milliseconds, std::vector<Track> const& tracks) {
    cv::Mat picture = Blank();
    overlay.Draw(picture, At(milliseconds), tracks);
    return picture;
}

/// The colour of the edge of the zone of `Square`, and of the box of `Somebody`.
cv::Vec3b ZoneColour(cv::Mat const& picture) { return picture.at<cv::Vec3b>(100, 360); }
cv::Vec3b BoxColour(cv::Mat const& picture) { return picture.at<cv::Vec3b>(150, 100); }

std::vector<Track> const Somebody{{7, {100, 120, 40, 60}, 1}};

TEST(OverlayTest, DrawsNothingWhereNothingIs) {
    EXPECT_EQ(cv::countNonZero(Draw(Overlay({}, {}), 0, {}).reshape(1)), 0);
}

TEST(OverlayTest, DrawsZonesAndBoxes) {
    cv::Mat const picture = Draw(Overlay({Square(3)}, {}), 0, Somebody);
    EXPECT_NE(ZoneColour(picture), cv::Vec3b());
    EXPECT_EQ(BoxColour(picture), ZoneColour(picture));
    EXPECT_EQ(picture.at<cv::Vec3b>(150, 300), cv::Vec3b());
}

TEST(OverlayTest, ShowsWhatAnEventIsAboutWhileItGoesOnAndForASecondAfterwards) {
    Overlay const overlay({Square(3)}, {{"rule", {7}, {3}, At(1000), At(2000)}});
    auto const calm = BoxColour(Draw(Overlay({Square(3)}, {}), 0, Somebody));
    for (int const time : {0, 999, 3001}) {
        EXPECT_EQ(BoxColour(Draw(overlay, time, Somebody)), calm) << time;
        EXPECT_EQ(ZoneColour(Draw(overlay, time, Somebody)), calm) << time;
    }
    for (int const time : {1000, 1500, 2000, 3000}) {
        EXPECT_NE(BoxColour(Draw(overlay, time, Somebody)), calm) << time;
        EXPECT_NE(ZoneColour(Draw(overlay, time, Somebody)), calm) << time;
    }
}

TEST(OverlayTest, LeavesOthersCalm) {
    Overlay const overlay({Square(3)}, {{"rule", {8}, {4}, At(1000), At(2000)}});
    auto const picture = Draw(overlay, 1500, Somebody);
    EXPECT_EQ(BoxColour(picture), ZoneColour(picture));
    EXPECT_EQ(BoxColour(picture), BoxColour(Draw(Overlay({Square(3)}, {}), 0, Somebody)));
}

TEST(OverlayTest, KnowsInWhichFrameAnEventStarts) {
    Overlay const overlay({}, {{"rule", {}, {}, At(142), meta::Timestamp::max()}});
    EXPECT_FALSE(overlay.HasStart(At(0)));
    EXPECT_TRUE(overlay.HasStart(At(142)));
    EXPECT_TRUE(overlay.HasStart(At(142) + std::chrono::nanoseconds(857143)));  // of the frame, which the event cuts
    EXPECT_FALSE(overlay.HasStart(At(285)));
}

}  // namespace
}  // namespace qel::camera
