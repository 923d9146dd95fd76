// The program qel-camera over a video that is made here.

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>
#include <boost/process/args.hpp>
#include <boost/process/child.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>
#include <boost/process/pipe.hpp>
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
        if (!MakeVideo(video, "MJPG")) {
            GTEST_SKIP() << "OpenCV writes no MJPG here";
        }
    }

    /// False where OpenCV does not write it.
    static bool MakeVideo(std::string const& path, char const (&codec)[5]) {
        cv::VideoWriter writer(path, cv::VideoWriter::fourcc(codec[0], codec[1], codec[2], codec[3]), 10, Picture);
        if (!writer.isOpened()) {
            return false;
        }
        for (int number = 0; number < Pictures; ++number) {
            cv::Mat picture(Picture, CV_8UC3, cv::Scalar(150, 160, 155));
            cv::rectangle(picture, {FeetIn(number) - cv::Point(Person.width / 2, Person.height), Person},
                          cv::Scalar(30, 20, 40), cv::FILLED);
            writer.write(picture);
        }
        return true;
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

/// That there is nobody but him, from a picture on in which he is known.
void ExpectToFollowHim(std::vector<nlohmann::json> const& frames, int from) {
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(Pictures));
    for (int number = from; number < Pictures; ++number) {
        auto const& objects = frames[static_cast<std::size_t>(number)].at("objects");
        ASSERT_EQ(objects.size(), 1U) << number;
        auto const box = objects[0].at("box").get<std::vector<double>>();
        EXPECT_EQ(objects[0].at("id"), 1) << number;
        EXPECT_NEAR((box[0] + box[2] / 2) * Picture.width, FeetIn(number).x, 5) << number;
        EXPECT_NEAR((box[1] + box[3]) * Picture.height, FeetIn(number).y, 5) << number;
    }
}

/// Whether the picture is not the plain ground there.
bool IsDrawnAt(cv::Mat const& picture, cv::Point place) {
    return cv::norm(picture.at<cv::Vec3b>(place), picture.at<cv::Vec3b>(120, 20)) > 100;
}

TEST_F(CameraProgramTest, FollowsWhoWalksThroughAVideo) {
    auto const outcome = Run(video + heights);
    ASSERT_EQ(outcome.code, 0) << outcome.out;
    ExpectToFollowHim(outcome.Frames(), 3);
}

TEST_F(CameraProgramTest, TellsTheBackgroundByTheOtherMethodToo) {
    auto const outcome = Run(video + heights + " --method knn --threshold 400");
    ASSERT_EQ(outcome.code, 0) << outcome.out;
    ExpectToFollowHim(outcome.Frames(), 3);
    auto const unprepared = heights + " --learn 0 --threshold 400";
    EXPECT_FALSE(Run(video + unprepared + " --method knn").out == Run(video + unprepared + " --method mog2").out);
}

TEST_F(CameraProgramTest, TakesWhoStandsThereAtFirstForBackgroundWithoutALookBeforehand) {
    auto const outcome = Run(video + heights + " --learn 0");
    ASSERT_EQ(outcome.code, 0) << outcome.out;
    auto const frames = outcome.Frames();
    EXPECT_THAT(frames.at(3).at("objects"), IsEmpty());
    EXPECT_EQ(frames.at(7).at("objects").size(), 2U) << "he and the hole that he leaves";
    ExpectToFollowHim(frames, 13);
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

/// A frame for each picture, a second apart, with somebody whose box is this.
std::string TrackLine(int number, int channel, std::string const& box) {
    return R"({"timestamp": )" + std::to_string(number * 1'000'000'000LL) + R"(, "channel": {"id": )" +
           std::to_string(channel) + R"(}, "objects": [{"id": 9, "box": )" + box + "}]}\n";
}

std::string EventLine(int number, int channel) {
    return R"({"phase": "start", "time": "1970-01-01T00:00:0)" + std::to_string(number) + R"(Z", "event": )" +
           std::to_string(number) + R"(, "rule": "r", "channel": )" + std::to_string(channel) +
           R"(, "objects": [], "zones": []})" + "\n";
}

TEST_F(CameraProgramTest, WritesThePicturesInWhichEventsStartWithThePeopleOfAFile) {
    std::string tracks;
    for (int number = 0; number < Pictures; ++number) {
        tracks += TrackLine(number, 1, "[0.5, 0.1, 0.2, 0.2]");
    }
    auto const outcome =
        Run(video + " --snapshot " + pictures.string() + " --tracks " + Write("tracks.jsonl", tracks) + " --rules " +
            Write("rules.json", R"({"zones": [{"id": 1, "line": [[0, 0.9], [1, 0.9]]}], "rules": []})") + " --events " +
            Write("events.jsonl", EventLine(5, 1)));
    ASSERT_EQ(outcome.code, 0) << outcome.out;
    EXPECT_EQ(outcome.out, "");
    ASSERT_THAT(FilesIn(pictures), ElementsAre("000005.png"));
    cv::Mat const picture = cv::imread((pictures / "000005.png").string());
    EXPECT_TRUE(IsDrawnAt(picture, {160, 48})) << "the box";
    EXPECT_TRUE(IsDrawnAt(picture, {300, 216})) << "the line";
}

TEST_F(CameraProgramTest, DrawsItsOwnChannelOnly) {
    std::string tracks;
    for (int number = 0; number < Pictures; ++number) {
        tracks += TrackLine(number, 1, "[0.5, 0.1, 0.2, 0.2]") + TrackLine(number, 2, "[0.1, 0.1, 0.2, 0.2]");
    }
    auto const outcome = Run(video + " --channel 2 --snapshot " + pictures.string() + " --tracks " +
                             Write("tracks.jsonl", tracks) + " --rules " +
                             Write("rules.json", R"({"zones": [{"id": 1, "channel": 1, "line": [[0, 0.9], [1, 0.9]]},)"
                                                 R"({"id": 2, "channel": 2, "line": [[0, 0.8], [1, 0.8]]},)"
                                                 R"({"id": 3, "line": [[0, 0.7], [1, 0.7]]}], "rules": []})") +
                             " --events " + Write("events.jsonl", EventLine(5, 1) + EventLine(7, 2)));
    ASSERT_EQ(outcome.code, 0) << outcome.out;
    ASSERT_THAT(FilesIn(pictures), ElementsAre("000007.png"));
    cv::Mat const picture = cv::imread((pictures / "000007.png").string());
    EXPECT_FALSE(IsDrawnAt(picture, {160, 48})) << "the box of channel 1";
    EXPECT_TRUE(IsDrawnAt(picture, {32, 48})) << "the box of channel 2";
    EXPECT_FALSE(IsDrawnAt(picture, {300, 216})) << "the line of channel 1";
    EXPECT_TRUE(IsDrawnAt(picture, {300, 192})) << "the line of channel 2";
    EXPECT_TRUE(IsDrawnAt(picture, {300, 168})) << "the line of all channels";
}

TEST_F(CameraProgramTest, TellsWhichLineOfTheTracksCannotBeRead) {
    auto const tracks = Write("tracks.jsonl", TrackLine(0, 1, "[0.5, 0.1, 0.2, 0.2]") + "{\"timestamp\": true}\n");
    auto const outcome = Run(video + " --snapshot " + pictures.string() + " --snapshot-at 0,1 --tracks " + tracks);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out,
              "qel-camera: " + tracks +
                  ":2: timestamp: true: wrong type; allowed: nanoseconds since 1970 as a whole number, or an "
                  "RFC 3339 text, from 1677-09-21 to 2262-04-11\n");
    EXPECT_THAT(FilesIn(pictures), ElementsAre("000000.png"));
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

TEST_F(CameraProgramTest, TellsThatAVideoHasNoPictures) {
    auto const path = Write("empty.y4m", "YUV4MPEG2 W64 H48 F10:1 Ip C420jpeg\n");
    for (std::string const& drawing : {std::string(), " --snapshot-at 0 --snapshot " + pictures.string() +
                                                          " --tracks " + Write("tracks.jsonl", "")}) {
        auto const outcome = Run(path + drawing);
        EXPECT_EQ(outcome.code, 1);
        EXPECT_EQ(outcome.out, "qel-camera: " + path + ": no pictures\n");
    }
}

TEST_F(CameraProgramTest, AsksForTheRateOfAFileThatTellsNoneThatCanBe) {
    auto const path = Write("fast.y4m", "YUV4MPEG2 W64 H48 F2000000:1 Ip C420jpeg\nFRAME\n" + std::string(4608, 'g'));
    auto const outcome = Run(path);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "qel-camera: " + path + ": does not tell how many pictures a second has: give --fps\n");
    EXPECT_EQ(Run(path + " --fps 10").code, 0);
}

struct Limits {
    char const* option;
    char const* lowest;
    char const* highest;
    std::vector<char const*> outside;
};

class CameraLimitsTest : public CameraProgramTest, public testing::WithParamInterface<Limits> {};

TEST_P(CameraLimitsTest, AreKeptByWhatIsGiven) {
    auto const& limits = GetParam();
    auto const given = [&](std::string const& value) { return Run(video + " --" + limits.option + " " + value); };
    for (std::string const value : {limits.lowest, limits.highest}) {
        EXPECT_EQ(given(value).code, 0) << value;
    }
    std::vector<std::string> refused(limits.outside.begin(), limits.outside.end());
    refused.insert(refused.end(), {"nan", "inf"});
    for (auto const& value : refused) {
        auto const outcome = given(value);
        EXPECT_EQ(outcome.code, 2) << value;
        EXPECT_EQ(outcome.out,
                  fmt::format("--{}: Value {} not in range {} to {}\nRun with --help for more information.\n",
                              limits.option, value, limits.lowest, limits.highest));
    }
}

INSTANTIATE_TEST_SUITE_P(Camera, CameraLimitsTest,
                         testing::Values(Limits{"fps", "0.001", "1000", {"0", "0.0009", "1001"}},
                                         Limits{"patience", "0.001", "1000000", {"0", "1000001"}},
                                         Limits{"threshold", "0.001", "1000000", {"0", "1000001"}},
                                         Limits{"smallest", "0", "1", {"-0.1", "1.1"}},
                                         Limits{"learn", "0", "1000000", {"-1", "1000001", "2147483647"}},
                                         Limits{"height-at-top", "0.001", "2", {"0", "2.1"}},
                                         Limits{"height-at-bottom", "0.001", "2", {"0", "2.1"}},
                                         Limits{"overlap", "0.01", "1", {"0", "1.1"}},
                                         Limits{"confirm", "1", "1000", {"0", "1001"}},
                                         Limits{"coast", "0", "60", {"-1", "61"}},
                                         Limits{"tell-unseen", "0", "60", {"-1", "61"}}),
                         [](auto const& each) {
                             std::string name = each.param.option;
                             std::erase(name, '-');
                             return name;
                         });

/// qel-camera as a process to which signals are sent. It prints on one stream all that it has to say.
class RunningCamera {
public:
    explicit RunningCamera(std::vector<std::string> const& arguments)
        : program(boost::process::exe = QEL_CAMERA_PROGRAM, boost::process::args = arguments,
                  (boost::process::std_out & boost::process::std_err) > output) {}

    pid_t GetId() const { return program.id(); }
    void Signal(int signal) const { kill(program.id(), signal); }

    /// Returns once its first thread waits for something, or is no more.
    void AwaitItsWaiting() const {
        for (char state = 'R'; state == 'R' || state == 'D'; std::this_thread::yield()) {
            std::ifstream file("/proc/" + std::to_string(program.id()) + "/stat");
            std::string status;
            std::getline(file, status);
            state = status.at(status.rfind(')') + 2);
        }
    }

    std::string ReadLine() {
        std::string line;
        std::getline(output, line);
        return line;
    }

    /// Its exit code, and behind it what it has printed that is not read yet.
    std::pair<int, std::string> Finish() {
        std::string rest;
        for (std::string line; std::getline(output, line);) {
            rest += line + "\n";
        }
        program.wait();
        return {program.exit_code(), rest};
    }

private:
    boost::process::ipstream output;
    mutable boost::process::child program;
};

/// Sends a video to the first who asks for it, and then nothing until this object goes.
class LiveSource {
public:
    std::string GetAddress() const { return "tcp://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()); }

    void Send(std::string const& video) {
        acceptor.accept(connection);
        boost::asio::write(connection, boost::asio::buffer(video));
    }
    void Close() { connection.close(); }

private:
    using Tcp = boost::asio::ip::tcp;

    boost::asio::io_context context;
    Tcp::acceptor acceptor{context, Tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0)};
    Tcp::socket connection{context};
};

constexpr int LivePictures = 20;

std::string LiveVideo() {
    std::string video = "YUV4MPEG2 W64 H48 F10:1 Ip C420jpeg\n";
    for (int number = 0; number < LivePictures; ++number) {
        video += "FRAME\n" + std::string(4608, 'g');
    }
    return video;
}

class CameraLiveTest : public testing::Test {
protected:
    CameraLiveTest() : program({source.GetAddress()}) {
        source.Send(LiveVideo());
        for (int number = 0; number < LivePictures; ++number) {
            EXPECT_EQ(nlohmann::json::parse(program.ReadLine()).at("objects"), nlohmann::json::array());
        }
    }

    LiveSource source;
    RunningCamera program;
};

TEST_F(CameraLiveTest, TellsThatTheSourceHasBrokenOff) {
    source.Close();
    EXPECT_EQ(program.Finish(), std::pair(1, "qel-camera: " + source.GetAddress() + ": no more pictures come\n"));
}

TEST_F(CameraLiveTest, IsInterruptedWhileItWaitsForPictures) {
    program.AwaitItsWaiting();
    program.Signal(SIGINT);
    source.Close();
    EXPECT_EQ(program.Finish(), std::pair(130, std::string()));
}

TEST_F(CameraLiveTest, IsTerminatedWhileItWaitsForPictures) {
    program.AwaitItsWaiting();
    program.Signal(SIGTERM);
    source.Close();
    EXPECT_EQ(program.Finish(), std::pair(143, std::string()));
}

TEST_F(CameraProgramTest, IsStoppedWhileItWaitsForTracks) {
    for (auto const& [signal, code] : {std::pair(SIGINT, 130), std::pair(SIGTERM, 143)}) {
        std::string const pipe = (directory / ("tracks" + std::to_string(signal))).string();
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        RunningCamera program({video, "--snapshot", pictures.string(), "--snapshot-at", "0", "--tracks", pipe});
        std::ofstream tracks(pipe);  // waits for the program to open it
        program.Signal(signal);
        EXPECT_EQ(program.Finish(), std::pair(code, std::string()));
    }
}

/// For each thread but the first of a process, whether it is spared the signals that stop a program.
std::vector<bool> AreOtherThreadsSpared(pid_t process) {
    std::vector<bool> spared;
    auto const folder = std::filesystem::path("/proc") / std::to_string(process) / "task";
    for (auto const& thread : std::filesystem::directory_iterator(folder)) {
        if (thread.path().filename() == std::to_string(process)) {
            continue;
        }
        std::ifstream status(thread.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("SigBlk:")) {
                auto const blocked = std::stoull(line.substr(7), nullptr, 16);
                auto const isBlocked = [blocked](int signal) { return (blocked >> (signal - 1) & 1) != 0; };
                spared.push_back(isBlocked(SIGINT) && isBlocked(SIGTERM));
            }
        }
    }
    return spared;
}

TEST_F(CameraProgramTest, HasNoOtherThreadThatTakesASignal) {
    std::string const path = (directory / "xvid.avi").string();
    if (!MakeVideo(path, "XVID")) {
        GTEST_SKIP() << "OpenCV writes no XVID here, whose pictures several threads decode";
    }
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    LiveSource source;
    RunningCamera program({source.GetAddress()});
    source.Send(text.str());
    program.ReadLine();
    auto const spared = AreOtherThreadsSpared(program.GetId());
    if (spared.empty()) {
        GTEST_SKIP() << "there is one processor, and nothing is done by other threads";
    }
    EXPECT_THAT(spared, testing::Each(true));
    source.Close();
    program.Finish();
}

}  // namespace
}  // namespace qel::camera
