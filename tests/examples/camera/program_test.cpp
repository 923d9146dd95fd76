// The program qel-camera over a video that is made here.

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "tests/support/temporary_directory.hpp"

namespace qel::camera {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int Pictures = 60;
cv::Size const Picture(320, 240);
cv::Size const Person(18, 48);  // a fifth of the picture

/// Where the feet are of the one who walks along the lower half.
cv::Point FeetIn(int picture) { return {30 + 4 * picture, 200}; }

struct Outcome {
    int code;
    std::string out;

    std::vector<nlohmann::json> Frames() const {
        std::vector<nlohmann::json> frames;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            frames.push_back(nlohmann::json::parse(line));
        }
        return frames;
    }
};

class CameraProgramTest : public testing::Test {
protected:
    void SetUp() override {
        cv::VideoWriter writer(video, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10, Picture);
        if (!writer.isOpened()) {
            GTEST_SKIP() << "OpenCV writes no MJPG here";
        }
        for (int number = 0; number < Pictures; ++number) {
            cv::Mat picture(Picture, CV_8UC3, cv::Scalar(150, 160, 155));
            cv::rectangle(picture, {FeetIn(number) - cv::Point(Person.width / 2, Person.height), Person},
                          cv::Scalar(30, 20, 40), cv::FILLED);
            writer.write(picture);
        }
    }

    /// What a command prints, standard error too.
    static Outcome RunCommand(std::string const& command) {
        FILE* const pipe = popen(("exec 2>&1; " + command).c_str(), "r");
        Outcome outcome{0, {}};
        for (int character = std::fgetc(pipe); character != EOF; character = std::fgetc(pipe)) {
            outcome.out += static_cast<char>(character);
        }
        outcome.code = WEXITSTATUS(pclose(pipe));
        return outcome;
    }

    static Outcome Run(std::string const& arguments) { return RunCommand(QEL_CAMERA_PROGRAM " " + arguments); }

    std::string Write(std::string const& name, std::string const& text) const {
        std::string const path = (directory / name).string();
        std::ofstream(path) << text;
        return path;
    }

    std::vector<std::string> FilesIn(std::filesystem::path const& folder) const {
        std::vector<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(folder)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    tests::TemporaryDirectory directory;
    std::string const video = (directory / "walk.avi").string();
    std::filesystem::path const pictures = (directory / "pictures").string();
    std::string const heights = " --height-at-top 0.2 --height-at-bottom 0.2";
};

TEST_F(CameraProgramTest, FollowsWhoWalksThroughAVideo) {
    auto const outcome = Run(video + heights);
    ASSERT_EQ(outcome.code, 0) << outcome.out;
    auto const frames = outcome.Frames();
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(Pictures));
    for (int number = 10; number < Pictures; ++number) {
        auto const& objects = frames[static_cast<std::size_t>(number)].at("objects");
        ASSERT_EQ(objects.size(), 1U) << number;
        auto const box = objects[0].at("box").get<std::vector<double>>();
        EXPECT_EQ(objects[0].at("id"), 1) << number;
        EXPECT_NEAR((box[0] + box[2] / 2) * Picture.width, FeetIn(number).x, 5) << number;
        EXPECT_NEAR((box[1] + box[3]) * Picture.height, FeetIn(number).y, 5) << number;
    }
}

TEST_F(CameraProgramTest, TakesTimesFromTheRateOfTheFile) {
    auto const frames = Run(video).Frames();
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(Pictures));
    EXPECT_EQ(frames[0].at("timestamp"), 0);
    EXPECT_EQ(frames[1].at("timestamp"), 100'000'000);
}

TEST_F(CameraProgramTest, TakesRateStartAndChannelFromTheCommandLine) {
    auto const frames = Run(video + " --fps 4 --start 1970-01-01T00:00:10Z --channel 3").Frames();
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(Pictures));
    EXPECT_EQ(frames[0].at("timestamp"), 10'000'000'000);
    EXPECT_EQ(frames[3].at("timestamp"), 10'750'000'000);
    EXPECT_EQ(frames[3].at("channel").at("id"), 3);
}

TEST_F(CameraProgramTest, IsToldOfNobodyWhereNobodyIsAsTall) {
    for (auto const& frame : Run(video + " --height-at-top 0.6 --height-at-bottom 0.6").Frames()) {
        EXPECT_THAT(frame.at("objects"), IsEmpty());
    }
}

TEST_F(CameraProgramTest, EndsQuietlyWhenNobodyReads) {
    auto const outcome = RunCommand("{ " QEL_CAMERA_PROGRAM " " + video + "; echo $? >&2; } | true");
    EXPECT_EQ(outcome.out, "0\n");
}

TEST_F(CameraProgramTest, WritesThePicturesThatAreAskedFor) {
    ASSERT_EQ(Run(video + " --snapshot " + pictures.string() + " --snapshot-at 20,30").code, 0);
    EXPECT_THAT(FilesIn(pictures), testing::UnorderedElementsAre("000020.png", "000030.png"));
    EXPECT_EQ(cv::imread((pictures / "000020.png").string()).size(), Picture);
}

TEST_F(CameraProgramTest, WritesThePicturesInWhichEventsStartWithThePeopleOfAFile) {
    std::string tracks;
    for (int number = 0; number < Pictures; ++number) {
        tracks += R"({"timestamp": )" + std::to_string(number * 1'000'000'000LL) +
                  R"(, "objects": [{"id": 9, "box": [0.5, 0.1, 0.2, 0.2]}]})" + "\n";
    }
    auto const outcome = Run(
        video + " --snapshot " + pictures.string() + " --tracks " + Write("tracks.jsonl", tracks) + " --rules " +
        Write("rules.json", R"({"zones": [{"id": 1, "line": [[0, 0.9], [1, 0.9]]}], "rules": []})") + " --events " +
        Write(
            "events.jsonl",
            R"({"phase": "start", "time": "1970-01-01T00:00:05Z", "event": 1, "rule": "r", "objects": [], "zones": []})"
            "\n"));
    ASSERT_EQ(outcome.code, 0) << outcome.out;
    EXPECT_EQ(outcome.out, "");
    ASSERT_THAT(FilesIn(pictures), ElementsAre("000005.png"));
    cv::Mat const picture = cv::imread((pictures / "000005.png").string());
    cv::Vec3b const ground = picture.at<cv::Vec3b>(120, 20);
    EXPECT_GT(cv::norm(picture.at<cv::Vec3b>(48, 160), ground), 100) << "the box";
    EXPECT_GT(cv::norm(picture.at<cv::Vec3b>(216, 300), ground), 100) << "the line";
}

struct Refusal {
    char const* name;
    char const* arguments;  // behind the video
    int code;
    char const* message;
};

class CameraRefusalTest : public CameraProgramTest, public testing::WithParamInterface<Refusal> {};

TEST_P(CameraRefusalTest, TellsWhatIsWrong) {
    auto const outcome = Run(video + " " + GetParam().arguments);
    EXPECT_EQ(outcome.code, GetParam().code);
    EXPECT_EQ(outcome.out, std::string("qel-camera: ") + GetParam().message + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Camera, CameraRefusalTest,
    testing::Values(
        Refusal{"AStartThatIsNoTime", "--start noon", 2,
                "--start: noon: not a time; allowed: nanoseconds since 1970 as a whole number, or an RFC 3339 text"},
        Refusal{"ASnapshotOfWhat", "--snapshot x", 2,
                "--snapshot needs --snapshot-at, or --events, whose starts it shows"},
        Refusal{"ASnapshotToWhere", "--snapshot-at 3", 2,
                "--snapshot-at needs --snapshot, the folder for the pictures"},
        Refusal{"TracksThatNobodySees", "--tracks x", 2,
                "--tracks, --rules and --events are to be drawn: give --view or --snapshot"},
        Refusal{"EventsThatAreNotThere", "--snapshot /dev/null/x --snapshot-at 1 --events /nowhere/events", 1,
                "/nowhere/events: cannot be read: No such file or directory"}),
    [](auto const& each) { return std::string(each.param.name); });

TEST_F(CameraProgramTest, TellsThatAVideoIsNotThere) {
    auto const outcome = Run("/nowhere/walk.avi");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "qel-camera: /nowhere/walk.avi: no such file\n");
}

TEST_F(CameraProgramTest, TellsThatAFileIsNoVideo) {
    auto const outcome = Run(Write("text.avi", "no video"));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.out, HasSubstr("text.avi: cannot be opened as a video\n"));
}

}  // namespace
}  // namespace qel::camera
