#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/command/action.hpp"
#include "host/failure.hpp"
#include "host/rules/type_catalogue.hpp"
#include "host/stream/frame_clock.hpp"
#include "host/stream/scene.hpp"
#include "host/system/output.hpp"

namespace qel::host {

namespace {

constexpr std::int64_t NanosecondsPerMillisecond = 1'000'000;

struct Options {
    Scene::Options scene;
    std::uint32_t seconds = 60;
    double framesPerSecond = 25;
    std::string start = "2024-01-01T12:00:00Z";
    std::uint16_t channel = 1;
    std::uint16_t channels = 1;
    double dropOuts = 0.01;
    double jitter = 0.0015;
    double idSwitches = 0;
    std::string output = "-";
    std::string plugins;
};

std::int64_t Millionths(double share) { return std::llround(share * 1e6); }

/// Millionths as a fraction with four digits, cut.
std::string Fraction(std::int64_t millionths) {
    std::int64_t const digits = (millionths < 0 ? -millionths : millionths) / 100;
    bool const negative = millionths < 0 && digits != 0;
    return fmt::format("{}{}.{:04}", negative ? "-" : "", digits / 10'000, digits % 10'000);
}

std::string Describe(meta::Timestamp time, std::uint32_t channel, std::vector<Scene::Object> const& objects) {
    std::string line =
        fmt::format("{{\"timestamp\": {}, \"channel\": {{\"id\": {}, \"name\": \"simulated\"}}, \"objects\": [",
                    time.time_since_epoch().count(), channel);
    char const* separator = "";
    for (auto const& [id, kind, box, confidence] : objects) {
        line += fmt::format("{}{{\"id\": {}, \"class\": \"{}\", \"box\": [{}, {}, {}, {}], \"confidence\": 0.{:02}}}",
                            separator, id, kind == Walker::Kind::Person ? "person" : "vehicle", Fraction(box.left),
                            Fraction(box.top), Fraction(box.width), Fraction(box.height), confidence);
        separator = ", ";
    }
    return line + "]}\n";
}

/// One for each channel, each with the seed behind that of the one before, so that a channel can be had alone.
std::vector<Scene> MakeScenes(Options const& options) {
    Scene::Options scene = options.scene;
    scene.detector = {Millionths(options.dropOuts), Millionths(options.jitter)};
    scene.idSwitches = Millionths(options.idSwitches);
    std::vector<Scene> scenes;
    for (std::uint32_t channel = 0; channel < options.channels; ++channel) {
        scenes.emplace_back(scene);
        ++scene.seed;
    }
    return scenes;
}

int Simulate(Options const& options) {
    meta::Timestamp const start = ParseStart(options.start);
    if (options.channel + options.channels - 1 > std::numeric_limits<std::uint16_t>::max()) {
        throw CommandLineError(fmt::format("--channels: {}: the last one would be {}; allowed: numbers up to 65535",
                                           options.channels, options.channel + options.channels - 1));
    }
    TypeCatalogue::LoadPlugins(options.plugins);
    FrameClock const clock(start, options.framesPerSecond);
    auto const room = std::chrono::duration_cast<std::chrono::seconds>(meta::Timestamp::max() - std::max(start, {}));
    auto const end = start + std::min(std::chrono::seconds(options.seconds), room);
    auto scenes = MakeScenes(options);
    Output output(options.output);
    for (std::uint64_t frame = 0;; ++frame) {
        auto const time = clock.TimeOf(frame);
        if (!time || *time >= end) {
            break;
        }
        std::int64_t const passed = (*time - start).count() / NanosecondsPerMillisecond;
        for (std::uint32_t at = 0; at < scenes.size(); ++at) {
            output.Write(Describe(*time, options.channel + at, scenes[at].LookAt(passed)));
        }
    }
    output.Flush();
    return Success;
}

}  // namespace

void AddSimulate(CLI::App& program, Action& action) {
    auto const options = std::make_shared<Options>();
    auto* const command = program.add_subcommand("simulate", "Write a made-up stream for trying rules");
    auto& scene = options->scene;
    command->add_option("--seed", scene.seed, "The same seed gives the same stream")->capture_default_str();
    command->add_option("--people", scene.people, "How many walk about at a time")
        ->check(CLI::Range(0, 1000))
        ->capture_default_str();
    command->add_option("--vehicles", scene.vehicles, "How many drive by at a time")
        ->check(CLI::Range(0, 1000))
        ->capture_default_str();
    command->add_option("--seconds", options->seconds, "How long it lasts")
        ->check(CLI::Range(0, 1'000'000))
        ->capture_default_str();
    command->add_option("--fps", options->framesPerSecond, "Frames in a second of each channel")
        ->check(InRange(0.001, 1000))
        ->capture_default_str();
    command
        ->add_option("--start", options->start, "Time of the first frame: nanoseconds since 1970 or an RFC 3339 text")
        ->capture_default_str();
    command->add_option("--channel", options->channel, "The number of the channel, or of the first one")
        ->capture_default_str();
    command->add_option("--channels", options->channels, "How many channels, each with a scene of its own")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    command->add_option("--drop-outs", options->dropOuts, "The share of detections that are missing")
        ->check(InRange(0, 1))
        ->capture_default_str();
    command
        ->add_option("--jitter", options->jitter,
                     "How wrong the left, top, width and height of a box are at most, as a share of the picture")
        ->check(InRange(0, 0.03))
        ->capture_default_str();
    command
        ->add_option("--id-switches", options->idSwitches,
                     "The share of detections with another id than the same person or vehicle had before")
        ->check(InRange(0, 1))
        ->capture_default_str();
    command->add_option("--output", options->output, "Where frames go, - for standard output")
        ->type_name("FILE")
        ->capture_default_str();
    AddPluginsOption(*command, options->plugins);
    command->footer(
        "People come in from the left or the right, walk about on the lower half of the picture, stop now and\n"
        "then, and leave; vehicles drive along a road behind them. Who comes next has a new id. The detector misses\n"
        "each person and vehicle in each frame with the probability --drop-outs. When the tracker errs, two people\n"
        "or two vehicles whose boxes overlap exchange their ids; one that overlaps no other gets a new id. The\n"
        "three rates count to the sixth decimal. The channels' frames take turns; a channel has the scene of the\n"
        "seed behind that of the channel before. Frames are in the format jsonl.\n\n"
        "  qel simulate --seed 7 --people 10 --seconds 300 > frames.jsonl\n"
        "  qel simulate --drop-outs 0.2 --jitter 0.01 --id-switches 0.002 --channels 4 > hard.jsonl\n"
        "  qel simulate | qel run --rules rules.json");
    command->callback([options, &action] { action = [options] { return Simulate(*options); }; });
}

}  // namespace qel::host
