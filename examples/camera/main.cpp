// qel-camera: people who move in a video, as the frames that `qel run` reads; and frames and events drawn over a video.

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>
#include <opencv2/highgui.hpp>
#include <opencv2/imgcodecs.hpp>

#include "examples/camera/detector.hpp"
#include "examples/camera/event_list.hpp"
#include "examples/camera/frame_line.hpp"
#include "examples/camera/overlay.hpp"
#include "examples/camera/tracker.hpp"
#include "examples/camera/video.hpp"
#include "host/command/load_rules.hpp"
#include "host/failure.hpp"
#include "host/stream/frame_clock.hpp"
#include "host/stream/jsonl_reader.hpp"
#include "host/stream/line_reader.hpp"
#include "host/stream/timestamp.hpp"
#include "host/system/output.hpp"
#include "host/system/stop_signals.hpp"

namespace qel::camera {

namespace {

constexpr int Escape = 27;

struct Options {
    std::string video;
    std::optional<double> framesPerSecond;
    std::string start = "0";
    std::uint16_t channel = 1;
    std::string method = "mog2";
    double patience = 60;
    double threshold = 16;
    double smallest = 0.02;
    int learn = 200;
    Tracker::Settings tracker;
    std::string tracks;
    std::string rules;
    std::string events;
    bool view = false;
    std::string snapshot;
    std::vector<std::uint64_t> snapshotAt;

    bool IsDrawing() const { return view || !snapshot.empty(); }
};

/// What can be wrong with the command line without looking into a file.
void Check(Options const& options) {
    if (!options.snapshot.empty() && options.snapshotAt.empty() && options.events.empty()) {
        throw host::CommandLineError("--snapshot needs --snapshot-at, or --events, whose starts it shows");
    }
    if (options.snapshot.empty() && !options.snapshotAt.empty()) {
        throw host::CommandLineError("--snapshot-at needs --snapshot, the folder for the pictures");
    }
    if (!options.IsDrawing() && !(options.tracks.empty() && options.rules.empty() && options.events.empty())) {
        throw host::CommandLineError("--tracks, --rules and --events are to be drawn: give --view or --snapshot");
    }
    if (!host::ParseTimeOrNanoseconds(options.start)) {
        throw host::CommandLineError(fmt::format(
            "--start: {}: not a time; allowed: nanoseconds since 1970 as a whole number, or an RFC 3339 text",
            options.start));
    }
    bool const hasDisplay = std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr;
    if (options.view && !hasDisplay) {
        throw host::Failure("--view: there is no display here; --snapshot writes pictures instead");
    }
}

/// A picture with its time and who is in it.
struct Sight {
    std::uint64_t number = 0;  // from 0
    cv::Mat picture;
    meta::Timestamp time;
    std::vector<Track> tracks;
};

/// Finds the people of a video.
class Watch {
public:
    explicit Watch(Options const& options) : options(options), video(options.video) {
        auto const rate = options.framesPerSecond ? options.framesPerSecond : video.GetRate();
        if (!rate && !video.IsLive()) {
            throw host::Failure(
                fmt::format("{}: does not tell how many pictures a second has: give --fps", options.video));
        }
        framesPerSecond = rate.value_or(UsualRate);
        clock.emplace(*host::ParseTimeOrNanoseconds(options.start), framesPerSecond);
    }

    double GetRate() const { return framesPerSecond; }

    /// The next picture, false at the end. Asks from time to time whether to stop.
    bool Next(Sight& sight, host::StopSignals const& stop) {
        if (!video.Next(sight.picture)) {
            return false;
        }
        auto const time = TimeOf(count);
        if (!detector) {
            Begin(sight.picture.size(), stop);
        }
        if (sight.picture.size() != size) {
            throw host::Failure(fmt::format("{}: picture {} has another size", options.video, count));
        }
        double const passed = std::chrono::duration<double>(time - sight.time).count();
        sight.number = count++;
        sight.time = time;
        sight.tracks = tracker->Update(detector->Detect(sight.picture), std::clamp(passed, 0.0, LongestStep));
        return true;
    }

private:
    static constexpr double UsualRate = 25;
    static constexpr double LongestStep = 1;

    meta::Timestamp TimeOf(std::uint64_t number) const {
        if (video.IsLive()) {
            return std::chrono::system_clock::now();
        }
        auto const time = clock->TimeOf(number);
        if (!time) {
            throw host::Failure(fmt::format("{}: picture {} is at no time that can be told", options.video, number));
        }
        return *time;
    }

    void Begin(cv::Size pictureSize, host::StopSignals const& stop) {
        size = pictureSize;
        Detector::Settings settings;
        settings.method = options.method == "knn" ? Detector::Method::Knn : Detector::Method::Mog2;
        settings.patience = std::max(1.0, options.patience * framesPerSecond);
        settings.threshold = options.threshold;
        settings.smallest = options.smallest;
        detector.emplace(settings, size);
        tracker.emplace(options.tracker, size);
        if (!video.IsLive() && options.learn > 0) {
            LookThrough(stop);
        }
    }

    /// Who is there in the first picture is only known from later ones not to be background.
    void LookThrough(host::StopSignals const& stop) {
        Video before(options.video);
        int const step = std::max(1, (before.CountPictures() + options.learn - 1) / options.learn);
        cv::Mat picture;
        for (int number = 0; number < step * options.learn && stop.GetCaught() == 0 && before.Next(picture); ++number) {
            if (number % step == 0 && picture.size() == size) {
                detector->Learn(picture);
            }
        }
    }

    Options const& options;
    Video video;
    double framesPerSecond = 0;
    std::optional<host::FrameClock> clock;
    std::optional<Detector> detector;
    std::optional<Tracker> tracker;
    cv::Size size;
    std::uint64_t count = 0;
};

/// Reads the people of a video from a file, a frame for each picture.
class Replay {
public:
    Replay(Options const& options, host::StopSignals const& stop)
        : options(options), video(options.video), lines(options.tracks, stop), frames(lines) {}

    double GetRate() const { return options.framesPerSecond.value_or(video.GetRate().value_or(UsualRate)); }

    bool Next(Sight& sight, host::StopSignals const&) {
        host::Frame frame;
        if (!video.Next(sight.picture) || !ReadFrame(frame)) {
            return false;
        }
        sight.number = count++;
        sight.time = frame.time;
        sight.tracks.clear();
        for (auto const& object : frame.objects) {
            auto const& box = object->GetBox();
            double const width = sight.picture.cols;
            double const height = sight.picture.rows;
            sight.tracks.push_back({object->GetId(),
                                    {box.left * width, box.top * height, box.width * width, box.height * height},
                                    object->GetConfidence()});
        }
        return true;
    }

private:
    static constexpr double UsualRate = 25;

    bool ReadFrame(host::Frame& frame) {
        try {
            return frames.Next(frame);
        } catch (host::UnreadableLine const& line) {
            throw host::Failure(host::Describe(line.mistake));
        }
    }

    Options const& options;
    Video video;
    host::LineReader lines;
    host::JsonlReader frames;
    std::uint64_t count = 0;
};

/// Shows the pictures, or writes those that are asked for to a folder.
class Show {
public:
    Show(Options const& options, host::StopSignals const& stop, double framesPerSecond)
        : options(options),
          overlay(ReadZones(options),
                  options.events.empty() ? std::vector<RecordedEvent>() : ReadEvents(options.events, stop)),
          asked(options.snapshotAt.begin(), options.snapshotAt.end()),
          pause(std::max(1, static_cast<int>(std::lround(1000 / framesPerSecond)))) {
        if (!options.snapshot.empty()) {
            std::error_code error;
            std::filesystem::create_directories(options.snapshot, error);
            if (error) {
                throw host::Failure(fmt::format("{}: cannot be made: {}", options.snapshot, error.message()));
            }
        }
    }

    /// False when the user has had enough.
    bool Take(Sight& sight) {
        bool const isWanted =
            !options.snapshot.empty() && (asked.empty() ? overlay.HasStart(sight.time) : asked.contains(sight.number));
        if (!isWanted && !options.view) {
            return true;
        }
        cv::Mat picture = sight.picture.clone();
        overlay.Draw(picture, sight.time, sight.tracks);
        if (isWanted) {
            auto const file = std::filesystem::path(options.snapshot) / fmt::format("{:06}.png", sight.number);
            if (!cv::imwrite(file.string(), picture)) {
                throw host::Failure(fmt::format("{}: cannot be written", file.string()));
            }
        }
        if (!options.view) {
            return true;
        }
        cv::imshow("qel-camera", picture);
        int const key = cv::waitKey(pause);
        return key != Escape && key != 'q';
    }

private:
    static std::vector<host::ZoneOfChannel> ReadZones(Options const& options) {
        if (options.rules.empty()) {
            return {};
        }
        host::TypeCatalogue::LoadPlugins("");
        auto const rules = host::LoadRules(options.rules, host::TypeCatalogue());
        if (!rules) {
            throw host::Failure(fmt::format("{}: has mistakes", options.rules));
        }
        return rules->zones;
    }

    Options const& options;
    Overlay const overlay;
    std::set<std::uint64_t> const asked;
    int const pause;  // milliseconds
};

template <class Source>
void Perform(Options const& options, Source source, host::StopSignals const& stop) {
    std::optional<Show> show;
    if (options.IsDrawing()) {
        show.emplace(options, stop, source.GetRate());
    }
    host::Output output("-");
    Sight sight;
    while (stop.GetCaught() == 0 && source.Next(sight, stop)) {
        if (options.tracks.empty()) {
            output.Write(DescribeFrame(sight.time, options.channel, sight.tracks, sight.picture.size()));
            output.Flush();
        }
        if (show && !show->Take(sight)) {
            break;
        }
    }
}

int Run(Options const& options) {
    Check(options);
    host::StopSignals const stop;
    if (options.tracks.empty()) {
        Perform(options, Watch(options), stop);
    } else {
        Perform(options, Replay(options, stop), stop);
    }
    return stop.GetCaught() == 0 ? host::Success : host::BySignal + stop.GetCaught();
}

void AddOptions(CLI::App& program, Options& options) {
    program
        .add_option("video", options.video, "A video file, the number of a camera, or an address such as rtsp://...")
        ->required();
    program.add_option("--fps", options.framesPerSecond, "Pictures in a second, where a file is wrong about it")
        ->check(CLI::Range(0.001, 1000.0));
    program
        .add_option("--start", options.start,
                    "Time of a file's first picture: nanoseconds since 1970 or an RFC 3339 text")
        ->capture_default_str();
    program.add_option("--channel", options.channel, "The number of the channel")->capture_default_str();

    std::string const finding = "What moves";
    program.add_option("--method", options.method, "How the background is told: mog2 or knn")
        ->check(CLI::IsMember({"mog2", "knn"}))
        ->group(finding)
        ->capture_default_str();
    program.add_option("--patience", options.patience, "After how many seconds what stands still becomes background")
        ->check(CLI::PositiveNumber)
        ->group(finding)
        ->capture_default_str();
    program.add_option("--threshold", options.threshold, "How far a colour must be off (knn: try 400)")
        ->check(CLI::PositiveNumber)
        ->group(finding)
        ->capture_default_str();
    program.add_option("--smallest", options.smallest, "What is smaller is overlooked, in heights of the picture")
        ->check(CLI::Range(0.0, 1.0))
        ->group(finding)
        ->capture_default_str();
    program
        .add_option("--learn", options.learn,
                    "So many pictures of a file are looked at beforehand to know the background")
        ->check(CLI::NonNegativeNumber)
        ->group(finding)
        ->capture_default_str();

    std::string const following = "Who it is";
    auto& tracker = options.tracker;
    program
        .add_option("--height-at-top", tracker.heightAtTop,
                    "How tall people are whose feet are at the top of the picture, in heights of the picture")
        ->check(CLI::Range(0.001, 2.0))
        ->group(following)
        ->capture_default_str();
    program.add_option("--height-at-bottom", tracker.heightAtBottom, "The same at the bottom")
        ->check(CLI::Range(0.001, 2.0))
        ->group(following)
        ->capture_default_str();
    program.add_option("--overlap", tracker.minimumOverlap, "The least overlap of one person's boxes in two pictures")
        ->check(CLI::Range(0.01, 1.0))
        ->group(following)
        ->capture_default_str();
    program.add_option("--confirm", tracker.confirmAfter, "In how many pictures somebody is seen before he is told")
        ->check(CLI::Range(1, 1000))
        ->group(following)
        ->capture_default_str();
    program.add_option("--coast", tracker.coast, "For how many seconds somebody out of sight is remembered")
        ->check(CLI::Range(0.0, 60.0))
        ->group(following)
        ->capture_default_str();
    program.add_option("--tell-unseen", tracker.tellUnseen, "For how many of them he is told where he is expected")
        ->check(CLI::Range(0.0, 60.0))
        ->group(following)
        ->capture_default_str();

    std::string const drawing = "To look at";
    program.add_flag("--view", options.view, "Show the video in a window; q ends it")->group(drawing);
    program
        .add_option(
            "--snapshot", options.snapshot,
            "Write pictures to this folder: those of --snapshot-at, or those in which an event of --events starts")
        ->type_name("DIR")
        ->group(drawing);
    program.add_option("--snapshot-at", options.snapshotAt, "Which pictures, from 0, with commas between them")
        ->delimiter(',')
        ->group(drawing);
    program.add_option("--rules", options.rules, "Draw the zones of this rule file")->type_name("FILE")->group(drawing);
    program.add_option("--events", options.events, "Draw these events, as qel run writes them")
        ->type_name("FILE")
        ->group(drawing);
    program
        .add_option("--tracks", options.tracks, "Draw the people of this file, a frame a picture, and look for none")
        ->type_name("FILE")
        ->group(drawing);
    program.footer(
        "Writes a frame a line to standard output, in the format jsonl.\n\n"
        "Exit: 0 at the end of the video or when nobody reads the output any more, 1 for what cannot be read or\n"
        "written, 2 for a wrong command line, 130 and 143 when interrupted or terminated.\n\n"
        "  qel-camera vtest.avi --fps 7 | qel run --rules rules.json\n"
        "  qel-camera rtsp://camera/stream | qel run --rules rules.json\n"
        "  qel-camera vtest.avi --tracks tracks.jsonl --rules rules.json --events events.jsonl --view");
}

}  // namespace

}  // namespace qel::camera

int main(int argc, char** argv) {
    using namespace qel;
    std::signal(SIGPIPE, SIG_IGN);
    CLI::App program("Finds the people who move in a video", "qel-camera");
    camera::Options options;
    camera::AddOptions(program, options);
    try {
        program.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return program.exit(error) == 0 ? host::Success : host::WrongCommandLine;
    }
    try {
        return camera::Run(options);
    } catch (host::BrokenPipe const&) {
        return host::Success;
    } catch (host::CommandLineError const& error) {
        fmt::print(stderr, "qel-camera: {}\n", error.what());
        return host::WrongCommandLine;
    } catch (std::exception const& error) {
        fmt::print(stderr, "qel-camera: {}\n", error.what());
        return host::Wrong;
    }
}
