// qel-camera: people who move in a video, as the frames that `qel run` reads; and frames and events drawn over a video.

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>
#include <opencv2/highgui.hpp>
#include <opencv2/imgcodecs.hpp>

#include "examples/camera/blocked_stop_signals.hpp"
#include "examples/camera/event_list.hpp"
#include "examples/camera/frame_line.hpp"
#include "examples/camera/options.hpp"
#include "examples/camera/overlay.hpp"
#include "examples/camera/replay.hpp"
#include "examples/camera/sight.hpp"
#include "examples/camera/watch.hpp"
#include "host/command/load_rules.hpp"
#include "host/failure.hpp"
#include "host/system/output.hpp"
#include "host/system/stop_signals.hpp"

namespace qel::camera {

namespace {

constexpr int Escape = 27;

/// Shows the pictures, or writes those that are asked for to a folder.
class Show {
public:
    Show(Options const& options, host::StopSignals const& stop, double framesPerSecond)
        : options(options),
          overlay(ReadZones(options), options.events.empty() ? std::vector<RecordedEvent>()
                                                             : ReadEvents(options.events, options.channel, stop)),
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
        {
            BlockedStopSignals const blocked;  // from the threads of the window
            cv::imshow("qel-camera", picture);
        }
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
        auto zones = rules->zones;
        std::erase_if(zones,
                      [&](auto const& zone) { return zone.channel.value_or(options.channel) != options.channel; });
        return zones;
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
    try {
        if (options.tracks.empty()) {
            Perform(options, Watch(options), stop);
        } else {
            Perform(options, Replay(options, stop), stop);
        }
    } catch (host::Interrupted const&) {  // the signal is told below
    } catch (host::Failure const&) {
        if (stop.GetCaught() == 0) {  // otherwise it may be the signal that has made it fail
            throw;
        }
    }
    return stop.GetCaught() == 0 ? host::Success : host::BySignal + stop.GetCaught();
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
