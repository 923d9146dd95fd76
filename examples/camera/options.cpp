#include "examples/camera/options.hpp"

#include <cstdlib>

#include "examples/camera/video.hpp"
#include "host/command/action.hpp"
#include "host/failure.hpp"

namespace qel::camera {

void AddOptions(CLI::App& program, Options& options) {
    program
        .add_option("video", options.video, "A video file, the number of a camera, or an address such as rtsp://...")
        ->required();
    program.add_option("--fps", options.framesPerSecond, "Pictures in a second, where a file is wrong about it")
        ->check(host::InRange(LowestRate, HighestRate));
    program
        .add_option("--start", options.start,
                    "Time of a file's first picture: nanoseconds since 1970 or an RFC 3339 text")
        ->capture_default_str();
    program.add_option("--channel", options.channel, "The number of the channel, the only one that is drawn")
        ->capture_default_str();

    std::string const finding = "What moves";
    program.add_option("--method", options.method, "How the background is told: mog2 or knn")
        ->check(CLI::IsMember({"mog2", "knn"}))
        ->group(finding)
        ->capture_default_str();
    program.add_option("--patience", options.patience, "After how many seconds what stands still becomes background")
        ->check(host::InRange(0.001, 1e6))
        ->group(finding)
        ->capture_default_str();
    program.add_option("--threshold", options.threshold, "How far a colour must be off (knn: try 400)")
        ->check(host::InRange(0.001, 1e6))
        ->group(finding)
        ->capture_default_str();
    program.add_option("--smallest", options.smallest, "What is smaller is overlooked, in heights of the picture")
        ->check(host::InRange(0, 1))
        ->group(finding)
        ->capture_default_str();
    program
        .add_option("--learn", options.learn,
                    "So many pictures of a file are looked at beforehand to know the background")
        ->check(host::InRange(0, 1e6))
        ->group(finding)
        ->capture_default_str();

    std::string const following = "Who it is";
    auto& tracker = options.tracker;
    program
        .add_option("--height-at-top", tracker.heightAtTop,
                    "How tall people are whose feet are at the top of the picture, in heights of the picture")
        ->check(host::InRange(0.001, 2))
        ->group(following)
        ->capture_default_str();
    program.add_option("--height-at-bottom", tracker.heightAtBottom, "The same at the bottom")
        ->check(host::InRange(0.001, 2))
        ->group(following)
        ->capture_default_str();
    program.add_option("--overlap", tracker.minimumOverlap, "The least overlap of one person's boxes in two pictures")
        ->check(host::InRange(0.01, 1))
        ->group(following)
        ->capture_default_str();
    program.add_option("--confirm", tracker.confirmAfter, "In how many pictures somebody is seen before he is told")
        ->check(host::InRange(1, 1000))
        ->group(following)
        ->capture_default_str();
    program.add_option("--coast", tracker.coast, "For how many seconds somebody out of sight is remembered")
        ->check(host::InRange(0, 60))
        ->group(following)
        ->capture_default_str();
    program.add_option("--tell-unseen", tracker.tellUnseen, "For how many of them he is told where he is expected")
        ->check(host::InRange(0, 60))
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
    host::ParseStart(options.start);
    bool const hasDisplay = std::getenv("DISPLAY") != nullptr || std::getenv("WAYLAND_DISPLAY") != nullptr;
    if (options.view && !hasDisplay) {
        throw host::Failure("--view: there is no display here; --snapshot writes pictures instead");
    }
}

}  // namespace qel::camera
