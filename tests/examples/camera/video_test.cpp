#include "examples/camera/video.hpp"

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "host/failure.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::camera {
namespace {

class VideoTest : public testing::Test {
protected:
    /// A video of one grey size, whose header tells this rate.
    std::string Make(std::string const& rate, int pictures) const {
        std::string const path = (directory / "video.y4m").string();
        std::ofstream file(path, std::ios::binary);
        file << "YUV4MPEG2 W64 H48 F" << rate << " Ip C420jpeg\n";
        for (int number = 0; number < pictures; ++number) {
            file << "FRAME\n" << std::string(64 * 48 * 3 / 2, 'g');
        }
        return path;
    }

    tests::TemporaryDirectory directory;
};

TEST_F(VideoTest, TellsTheRateOfAFileWhereItIsOneThatCanBe) {
    struct {
        char const* inHeader;
        std::optional<double> rate;
    } const cases[] = {{"25:1", 25},
                       {"1:2", 0.5},
                       {"1000:1", 1000},
                       {"1001:1", std::nullopt},
                       {"1:1000", 0.001},
                       {"1:1001", std::nullopt},
                       {"2000000:1", std::nullopt}};
    for (auto const& each : cases) {
        EXPECT_EQ(Video(Make(each.inHeader, 3)).GetRate(), each.rate) << each.inHeader;
    }
}

TEST_F(VideoTest, GivesThePicturesOfAFileToItsEnd) {
    Video video(Make("10:1", 2));
    cv::Mat picture;
    EXPECT_TRUE(video.Next(picture));
    EXPECT_EQ(picture.size(), cv::Size(64, 48));
    EXPECT_TRUE(video.Next(picture));
    EXPECT_FALSE(video.Next(picture));
    EXPECT_FALSE(video.Next(picture));
}

TEST_F(VideoTest, EndsWhereAFileBreaksOff) {
    auto const path = Make("10:1", 3);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 3000);
    Video video(path);
    cv::Mat picture;
    EXPECT_TRUE(video.Next(picture));
    EXPECT_TRUE(video.Next(picture));
    EXPECT_FALSE(video.Next(picture));
}

TEST_F(VideoTest, RefusesAFileWithoutAPicture) {
    auto const path = Make("10:1", 0);
    Video video(path);
    cv::Mat picture;
    try {
        video.Next(picture);
        FAIL() << "there is a picture";
    } catch (host::Failure const& failure) {
        EXPECT_EQ(failure.what(), path + ": no pictures");
    }
}

}  // namespace
}  // namespace qel::camera
