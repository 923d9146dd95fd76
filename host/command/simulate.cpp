#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/command/action.hpp"
#include "host/failure.hpp"
#include "host/stream/frame_clock.hpp"
#include "host/stream/scene.hpp"
#include "host/stream/timestamp.hpp"
#include "host/system/output.hpp"

namespace qel::host {

namespace {

constexpr std::int64_t NanosecondsPerMillisecond = 1'000'000;

struct Options {
    std::uint64_t seed = 1;
    std::uint32_t people = 6;
    std::uint32_t vehicles = 2;
    std::uint32_t seconds = 60;
    double framesPerSecond = 25;
    std::string start = "2024-01-01T12:00:00Z";
    std::uint16_t channel = 1;
    std::string output = "-";
};

/// Millionths as a fraction with four digits, cut.
std::string Fraction(std::int64_t millionths) {
    std::int64_t const digits = (millionths < 0 ? -millionths : millionths) / 100;
    bool const negative = millionths < 0 && digits != 0;
    return fmt::format("{}{}.{:04}", negative ? "-" : "", digits / 10'000, digits % 10'000);
}

class Scene {
public:
    explicit Scene(Options const& options) : people(options.people), channel(options.channel) {
        std::mt19937_64 seeds(options.seed);
        for (std::uint32_t at = 0; at < options.people + options.vehicles; ++at) {
            walkers.emplace_back(at < people ? Walker::Kind::Person : Walker::Kind::Vehicle, seeds());
        }
    }

    /// The frame at this time, `passed` milliseconds after the start.
    std::string DescribeFrame(meta::Timestamp time, std::int64_t passed) {
        std::string line =
            fmt::format("{{\"timestamp\": {}, \"channel\": {{\"id\": {}, \"name\": \"simulated\"}}, \"objects\": [",
                        time.time_since_epoch().count(), channel);
        char const* separator = "";
        for (std::uint32_t at = 0; at < walkers.size(); ++at) {
            if (auto const seen = walkers[at].LookAt(passed)) {
                auto const& box = seen->box;
                line += fmt::format(
                    "{}{{\"id\": {}, \"class\": \"{}\", \"box\": [{}, {}, {}, {}], \"confidence\": 0.{:02}}}",
                    separator, seen->crossing * walkers.size() + at + 1, at < people ? "person" : "vehicle",
                    Fraction(box.left), Fraction(box.top), Fraction(box.width), Fraction(box.height), seen->confidence);
                separator = ", ";
            }
        }
        return line + "]}\n";
    }

private:
    std::uint32_t people;
    std::uint16_t channel;
    std::vector<Walker> walkers;
};

int Simulate(Options const& options) {
    auto const start = ParseTimeOrNanoseconds(options.start);
    if (!start) {
        throw CommandLineError(fmt::format(
            "--start: {}: not a time; allowed: nanoseconds since 1970 as a whole number, or an RFC 3339 text",
            options.start));
    }
    FrameClock const clock(*start, options.framesPerSecond);
    auto const end = *start + std::chrono::seconds(options.seconds);
    Scene scene(options);
    Output output(options.output);
    for (std::uint64_t frame = 0;; ++frame) {
        auto const time = clock.TimeOf(frame);
        if (!time || *time >= end) {
            break;
        }
        output.Write(scene.DescribeFrame(*time, (*time - *start).count() / NanosecondsPerMillisecond));
    }
    output.Flush();
    return Success;
}

}  // namespace

void AddSimulate(CLI::App& program, Action& action) {
    auto const options = std::make_shared<Options>();
    auto* const command = program.add_subcommand("simulate", "Write a made-up stream for trying rules");
    command->add_option("--seed", options->seed, "The same seed gives the same stream")->capture_default_str();
    command->add_option("--people", options->people, "How many walk about at a time")
        ->check(CLI::Range(0, 1000))
        ->capture_default_str();
    command->add_option("--vehicles", options->vehicles, "How many drive by at a time")
        ->check(CLI::Range(0, 1000))
        ->capture_default_str();
    command->add_option("--seconds", options->seconds, "How long it lasts")
        ->check(CLI::Range(0, 1'000'000))
        ->capture_default_str();
    command->add_option("--fps", options->framesPerSecond, "Frames in a second")
        ->check(CLI::Range(0.001, 1000.0))
        ->capture_default_str();
    command
        ->add_option("--start", options->start, "Time of the first frame: nanoseconds since 1970 or an RFC 3339 text")
        ->capture_default_str();
    command->add_option("--channel", options->channel, "The number of the channel")->capture_default_str();
    command->add_option("--output", options->output, "Where frames go, - for standard output")
        ->type_name("FILE")
        ->capture_default_str();
    command->footer(
        "People come in from the left or the right, walk about on the lower half of the picture, stop now and\n"
        "then, and leave; vehicles drive along a road behind them. Who comes next has a new id. One detection in\n"
        "a hundred is missing. Frames are in the format jsonl.\n\n"
        "  qel simulate --seed 7 --people 10 --seconds 300 > frames.jsonl\n"
        "  qel simulate | qel run --rules rules.json");
    command->callback([options, &action] { action = [options] { return Simulate(*options); }; });
}

}  // namespace qel::host
