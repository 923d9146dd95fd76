#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "examples/camera/tracker.hpp"

namespace qel::camera {

/// What the command line says.
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

/// Adds the arguments and options of qel-camera, which fill `options`.
void AddOptions(CLI::App& program, Options& options);

/// What can be wrong with the command line without looking into a file. Throws `host::CommandLineError`, and
/// `host::Failure` where there is no display.
void Check(Options const& options);

}  // namespace qel::camera
