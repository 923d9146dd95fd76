// The program qel over real recordings, beside a naive count straight from the tracks: who crossed the line, entered,
// left, was in the zone and for how long. The recordings are no part of this project; without them these tests are
// skipped.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/host/support/program.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using Nanoseconds = std::int64_t;
constexpr Nanoseconds Millisecond = 1'000'000;

struct Place {
    double x;
    double y;
};

/// The frames of a recording, in order, also those without anybody: who was where. Places are in the recording's own
/// unit.
struct Recording {
    struct Frame {
        Nanoseconds time;
        std::map<unsigned int, Place> places;
    };
    std::vector<Frame> frames;
};

/// What the rules are about: the line x = `line` (or y = `line`), and an upright rectangle.
struct Scene {
    bool lineIsUpright;
    double line;
    double left, top, right, bottom;
    std::int64_t dwellMilliseconds;
    unsigned int crowd;
};

/// An event as "<id> <start> <end>" in nanoseconds, without the id for an event about the scene.
using Told = std::map<std::string, std::multiset<std::string>>;

// ---- The naive count ------------------------------------------------------------------------------------------------

bool IsInside(Scene const& scene, Place place) {
    return place.x >= scene.left && place.x <= scene.right && place.y >= scene.top && place.y <= scene.bottom;
}

int SideOf(Scene const& scene, Place place) {
    double const off = (scene.lineIsUpright ? place.x : place.y) - scene.line;
    return std::abs(off) < 1e-9 ? 0 : off < 0 ? -1 : 1;
}

std::string Write(unsigned int id, Nanoseconds start, Nanoseconds end) {
    return fmt::format("{} {} {}", id, start, end);
}

/// Runs of frames in which something holds, one after the other: first and last time.
template <class Holds>
std::vector<std::pair<Nanoseconds, Nanoseconds>> RunsOf(Recording const& recording, Holds holds) {
    std::vector<std::pair<Nanoseconds, Nanoseconds>> runs;
    bool running = false;
    for (auto const& frame : recording.frames) {
        bool const now = holds(frame);
        if (now && running) {
            runs.back().second = frame.time;
        } else if (now) {
            runs.push_back({frame.time, frame.time});
        }
        running = now;
    }
    return runs;
}

Told CountNaively(Recording const& recording, Scene const& scene) {
    Told told;
    std::set<unsigned int> ids;
    for (auto const& frame : recording.frames) {
        for (auto const& [id, place] : frame.places) {
            ids.insert(id);
        }
    }
    for (unsigned int const id : ids) {
        for (auto const& [first, last] : RunsOf(recording, [&](Recording::Frame const& frame) {
                 auto const at = frame.places.find(id);
                 return at != frame.places.end() && IsInside(scene, at->second);
             })) {
            told["in the zone"].insert(Write(id, first, last));
            if (last - first > scene.dwellMilliseconds * Millisecond) {
                told["stayed"].insert(Write(id, first, last));
            }
        }
        int side = 0;
        std::optional<bool> inside;
        std::optional<std::size_t> seen;
        for (std::size_t number = 0; number < recording.frames.size(); ++number) {
            auto const& frame = recording.frames[number];
            auto const at = frame.places.find(id);
            if (at == frame.places.end()) {
                continue;
            }
            if (seen && *seen + 1 != number && frame.time - recording.frames[*seen].time > 500 * Millisecond) {
                side = 0;
                inside.reset();
            }
            seen = number;
            int const sideNow = SideOf(scene, at->second);
            if (side != 0 && sideNow == -side) {
                told["crossed"].insert(Write(id, frame.time, frame.time));
            }
            side = sideNow == 0 ? side : sideNow;
            bool const insideNow = IsInside(scene, at->second);
            if (inside && *inside != insideNow) {
                told[insideNow ? "came in" : "went out"].insert(Write(id, frame.time, frame.time));
            }
            inside = insideNow;
        }
    }
    for (auto const& [first, last] : RunsOf(recording, [&](Recording::Frame const& frame) {
             return std::count_if(frame.places.begin(), frame.places.end(),
                                  [&](auto const& each) { return IsInside(scene, each.second); }) >= scene.crowd;
         })) {
        told["crowd"].insert(fmt::format("{} {}", first, last));
    }
    return told;
}

// ---- The program ----------------------------------------------------------------------------------------------------

std::string MakeRules(Scene const& scene, Place from, Place to) {
    auto const rule = [](char const* name, char const* type, char const* zone, std::string const& settings) {
        return fmt::format(R"({{"name": "{}", "type": "qel.observable.spatial.{}", "zone": "{}"{}}})", name, type, zone,
                           settings);
    };
    std::string const rules = fmt::format(
        "{},{},{},{},{},{}", rule("crossed", "LineCross", "line", R"(, "settle": 0)"),
        rule("came in", "Enter", "zone", R"(, "settle": 0)"), rule("went out", "Exit", "zone", R"(, "settle": 0)"),
        rule("in the zone", "Presence", "zone", R"(, "hold_off": 0)"),
        rule("stayed", "Dwell", "zone", fmt::format(R"(, "hold_off": 0, "duration": {})", scene.dwellMilliseconds)),
        rule("crowd", "Count", "zone", fmt::format(R"(, "hold_off": 0, "minimum": {})", scene.crowd)));
    return fmt::format(
        R"({{"version": 1, "zones": [{{"id": 1, "name": "zone", "polygon": [[{0}, {1}], [{2}, {1}], [{2}, {3}], [{0}, {3}]]}},)"
        R"({{"id": 2, "name": "line", "line": [[{4}, {5}], [{6}, {7}]]}}], "rules": [{8}]}})",
        scene.left, scene.top, scene.right, scene.bottom, from.x, from.y, to.x, to.y, rules);
}

std::string MakeStream(Recording const& recording) {
    std::string stream;
    for (auto const& frame : recording.frames) {
        stream += fmt::format(R"({{"timestamp": {}, "objects": [)", frame.time);
        char const* separator = "";
        for (auto const& [id, place] : frame.places) {
            stream += fmt::format(R"({}{{"id": {}, "box": [{}, {}, 0, 0]}})", separator, id, place.x, place.y);
            separator = ", ";
        }
        stream += "]}\n";
    }
    return stream;
}

Told ReadEvents(Outcome const& outcome) {
    Told told;
    std::map<int, std::string> started;
    for (auto const& line : outcome.OutLines()) {
        auto const event = nlohmann::json::parse(line);
        if (event.at("phase") == "start") {
            continue;
        }
        auto const times =
            fmt::format("{} {}", event.at("start_ns").get<Nanoseconds>(), event.at("end_ns").get<Nanoseconds>());
        std::string const rule = event.at("rule");
        told[rule].insert(rule == "crowd"
                              ? times
                              : fmt::format("{} {}", event.at("objects").at(0).at("id").get<unsigned int>(), times));
    }
    return told;
}

class RecordingsTest : public testing::Test {
protected:
    void SetUp() override {
        char const* const folder = std::getenv("QEL_RECORDINGS");
        if (folder == nullptr) {
            GTEST_SKIP() << "the recordings are not here: configure with -DQEL_RECORDINGS=<folder>";
        }
        recordings = folder;
    }

    std::ifstream Open(std::string const& file) const {
        std::ifstream stream(recordings + "/" + file);
        EXPECT_TRUE(stream) << file;
        return stream;
    }

    std::string WriteRules(Scene const& scene) const {
        constexpr double Far = 10'000;
        auto const path = (directory.GetPath() / "rules.json").string();
        std::ofstream(path) << MakeRules(scene, scene.lineIsUpright ? Place{scene.line, -Far} : Place{-Far, scene.line},
                                         scene.lineIsUpright ? Place{scene.line, Far} : Place{Far, scene.line});
        return path;
    }

    /// Lets the program and the naive count look at a recording; returns what both of them found.
    Told Compare(Recording const& recording, Scene const& scene, std::vector<std::string> arguments,
                 std::string const& input) const {
        arguments.insert(arguments.begin(), {"run", "--rules", WriteRules(scene)});
        auto const outcome = RunQel(arguments, input);
        EXPECT_EQ(outcome.code, 0) << outcome.error;
        auto const told = ReadEvents(outcome);
        auto const expected = CountNaively(recording, scene);
        EXPECT_EQ(told, expected);
        for (auto const& [rule, events] : expected) {
            RecordProperty(rule, static_cast<int>(events.size()));
        }
        return told;
    }

    Told Compare(Recording const& recording, Scene const& scene) const {
        return Compare(recording, scene, {"--input", "-", "--format", "jsonl"}, MakeStream(recording));
    }

    std::string recordings;
    TemporaryDirectory directory;
};

/// The ids of the events, each as often as it occurs.
std::map<unsigned int, int> IdsOf(std::multiset<std::string> const& events) {
    std::map<unsigned int, int> ids;
    for (auto const& event : events) {
        ++ids[static_cast<unsigned int>(std::stoul(event))];
    }
    return ids;
}

// ---- The recordings -------------------------------------------------------------------------------------------------

/// The boxes' bottom centres as fractions of the picture.
Recording ReadMot(std::istream& stream, double width, double height, double framesPerSecond) {
    Recording recording;
    std::string line;
    while (std::getline(stream, line)) {
        std::replace(line.begin(), line.end(), ',', ' ');
        std::istringstream fields(line);
        std::size_t frame = 0;
        unsigned int id = 0;
        double left = 0;
        double top = 0;
        double boxWidth = 0;
        double boxHeight = 0;
        fields >> frame >> id >> left >> top >> boxWidth >> boxHeight;
        while (recording.frames.size() < frame) {
            auto const number = static_cast<double>(recording.frames.size());
            recording.frames.push_back({static_cast<Nanoseconds>(std::llround(number * 1e9 / framesPerSecond)), {}});
        }
        recording.frames[frame - 1].places[id] = {(left + boxWidth / 2) / width, (top + boxHeight) / height};
    }
    return recording;
}

struct Tud {
    char const* folder;
    std::size_t crossings;
};

class TudTest : public RecordingsTest, public testing::WithParamInterface<Tud> {};

TEST_P(TudTest, ThePedestriansOfTheStreetCrossItsMiddleAsOftenAsCounted) {
    for (char const* const file : {"gt.txt", "test.txt"}) {
        std::string const path = std::string("mot15-tud/") + GetParam().folder + "/" + file;
        auto stream = Open(path);
        auto const told = Compare(
            ReadMot(stream, 640, 480, 25), {true, 0.5, 0.25, 0.5, 0.75, 1.0, 1000, 4},
            {"--input", recordings + "/" + path, "--format", "mot", "--fps", "25", "--width", "640", "--height", "480"},
            "");
        if (std::string(file) == "gt.txt") {
            EXPECT_EQ(told.at("crossed").size(), GetParam().crossings);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Recordings, TudTest, testing::Values(Tud{"TUD-Campus", 5}, Tud{"TUD-Stadtmitte", 2}),
                         [](auto const& info) { return std::string(info.param.folder).substr(4); });

TEST_F(RecordingsTest, OfNineteenPeopleOnTheCampusSixteenCrossItsMiddleAndThreeOfThemFourTimes) {
    auto stream = Open("pets2009/PETS2009-S2L1.xml");
    Recording recording;
    auto const attribute = [](std::string const& line, std::string const& name) {
        auto const at = line.find(" " + name + "=\"");
        return std::stod(line.substr(at + name.size() + 3));
    };
    unsigned int id = 0;
    for (std::string line; std::getline(stream, line);) {
        if (line.find("<frame ") != std::string::npos) {
            auto const number = attribute(line, "number");
            recording.frames.push_back({std::llround(number * 1e9 / 7), {}});
        } else if (line.find("<object ") != std::string::npos) {
            id = static_cast<unsigned int>(attribute(line, "id"));
        } else if (line.find("<box ") != std::string::npos) {
            recording.frames.back().places[id] = {attribute(line, "xc") / 768, attribute(line, "yc") / 576};
        }
    }
    ASSERT_EQ(recording.frames.size(), 795u);
    auto const told = Compare(recording, {true, 0.5, 0.3, 0.3, 0.7, 0.7, 5000, 5});
    auto const crossings = IdsOf(told.at("crossed"));
    EXPECT_EQ(crossings.size(), 16u);
    EXPECT_EQ(std::count_if(crossings.begin(), crossings.end(), [](auto const& each) { return each.second == 4; }), 3);
}

TEST_F(RecordingsTest, WhoPassesTheCarsCameraIsToldAsCounted) {
    for (char const* const file : {"0001.txt", "0017.txt", "0019.txt"}) {
        auto stream = Open(std::string("kitti-tracking/") + file);
        Recording recording;
        for (std::string line; std::getline(stream, line);) {
            std::istringstream fields(line);
            std::size_t frame = 0;
            int id = 0;
            std::string kind;
            double skipped = 0;
            double left = 0;
            double top = 0;
            double right = 0;
            double bottom = 0;
            fields >> frame >> id >> kind >> skipped >> skipped >> skipped >> left >> top >> right >> bottom;
            while (recording.frames.size() <= frame) {
                recording.frames.push_back({static_cast<Nanoseconds>(recording.frames.size()) * 100 * Millisecond, {}});
            }
            if (id >= 0) {
                recording.frames[frame].places[static_cast<unsigned int>(id)] = {(left + right) / 2 / 1242,
                                                                                 bottom / 375};
            }
        }
        auto const told = Compare(recording, {true, 0.5, 0.3, 0.4, 0.7, 1.0, 2000, 3});
        EXPECT_FALSE(told.empty()) << file;
    }
}

TEST_F(RecordingsTest, WalkersSeenEveryFourHundredMillisecondsAreToldAsCounted) {
    auto stream = Open("ucy-zara/zara01-obsmat.txt");
    std::map<Nanoseconds, std::map<unsigned int, Place>> frames;
    double frame = 0;
    double id = 0;
    double x = 0;
    double z = 0;
    double y = 0;
    double skipped = 0;
    while (stream >> frame >> id >> x >> z >> y >> skipped >> skipped >> skipped) {
        frames[std::llround(frame) * 40 * Millisecond][static_cast<unsigned int>(id)] = {x, y};
    }
    Recording recording;
    for (auto const& [time, places] : frames) {
        recording.frames.push_back({time, places});
    }
    ASSERT_EQ(recording.frames.size(), 866u);
    auto const told = Compare(recording, {false, 9.0, -3.0, 6.0, 3.0, 13.0, 6000, 6});
    EXPECT_GT(told.at("stayed").size(), 0u);
}

TEST_F(RecordingsTest, EachOfSeventyFivePeopleGoesThroughTheBottleneckOnce) {
    auto stream = Open("bottleneck-crowd/040_c_56_h-.txt");
    Recording recording;
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::istringstream fields(line);
        unsigned int id = 0;
        std::size_t frame = 0;
        double x = 0;
        double y = 0;
        fields >> id >> frame >> x >> y;
        while (recording.frames.size() <= frame) {
            recording.frames.push_back({static_cast<Nanoseconds>(recording.frames.size()) * 40 * Millisecond, {}});
        }
        recording.frames[frame].places[id] = {x, y};
    }
    auto const crossings = IdsOf(Compare(recording, {false, 0.0, -1.0, 0.25, 1.0, 1.25, 3000, 10}).at("crossed"));
    EXPECT_EQ(crossings.size(), 75u);
    EXPECT_TRUE(std::all_of(crossings.begin(), crossings.end(), [](auto const& each) { return each.second == 1; }));
}

}  // namespace
}  // namespace qel::tests
