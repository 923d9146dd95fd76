// What a run with several threads writes, against what one thread writes.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "host/system/read_file.hpp"
#include "tests/host/support/compress.hpp"
#include "tests/host/support/program.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// Objects that wander about on several channels, in frames that come as they like: some late, some repeated, now and
/// then none for a channel for a while.
std::string Wander(int frames, int channels, unsigned int seed) {
    std::mt19937 random(seed);
    auto const draw = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned int>(limit)); };
    struct Place {
        int x;
        int y;
    };
    std::vector<std::vector<Place>> places(static_cast<std::size_t>(channels), std::vector<Place>(5));
    for (auto& channel : places) {
        for (auto& place : channel) {
            place = {draw(900), draw(900)};
        }
    }
    std::string stream;
    std::vector<int> times(places.size(), 0);
    for (int frame = 0; frame < frames; ++frame) {
        int const channel = draw(draw(channels) + 1);
        auto& time = times[static_cast<std::size_t>(channel)];
        time += draw(20) == 0 ? -draw(200) : 40 * draw(6);
        std::string objects;
        int id = channel;
        for (auto& place : places[static_cast<std::size_t>(channel)]) {
            place.x = std::clamp(place.x + draw(121) - 60, 0, 900);
            place.y = std::clamp(place.y + draw(121) - 60, 0, 900);
            ++id;
            if (draw(12) != 0) {
                objects += fmt::format("{}{{\"id\": {}, \"class\": \"{}\", \"box\": [{}, {}, 0.1, 0.1]}}",
                                       objects.empty() ? "" : ", ", id, id % 3 == 0 ? "vehicle" : "person",
                                       place.x / 1000.0, place.y / 1000.0);
            }
        }
        stream += fmt::format(
            "{{\"timestamp\": {}, \"channel\": {{\"id\": {}, \"name\": \"camera {}\"}}, \"objects\": [{}]}}\n",
            time * 1'000'000ll, channel * 7, channel, objects);
    }
    return stream;
}

std::string Frame(int channel, int milliseconds, char const* objects) {
    return fmt::format("{{\"timestamp\": {}, \"channel\": {{\"id\": {}}}, \"objects\": [{}]}}\n",
                       milliseconds * 1'000'000ll, channel, objects);
}
constexpr auto Present = R"({"id": 1, "class": "person", "box": [0.4, 0.5, 0.2, 0.3]})";

class JobsTest : public testing::Test {
protected:
    std::string Write(char const* name, std::string const& text) {
        auto const path = (directory / name).string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    std::vector<std::string> Arguments(std::string const& jobs, std::vector<std::string> const& more = {}) {
        std::vector<std::string> arguments{"run", "--rules", rules, "--jobs", jobs};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    /// Expects one outcome from any number of threads, and returns it, without what the time it took is to blame for.
    Outcome RunWithAnyJobs(std::vector<std::string> const& more, std::string const& input = "") {
        auto expected = WithoutTimes(RunQel(Arguments("1", more), input));
        for (auto const* const jobs : {"2", "3", "8"}) {
            auto const outcome = WithoutTimes(RunQel(Arguments(jobs, more), input));
            EXPECT_EQ(outcome.code, expected.code) << jobs;
            EXPECT_EQ(outcome.error, expected.error) << jobs;
            EXPECT_TRUE(outcome.out == expected.out) << jobs;
        }
        return expected;
    }

    static Outcome WithoutTimes(Outcome outcome) {
        static std::regex const times(" in [0-9.]+ s \\([^)]*\\)");
        outcome.error = std::regex_replace(outcome.error, times, "");
        return outcome;
    }

    TemporaryDirectory directory;
    std::string rules = Write("rules.json", R"({
        "retrigger_ms": 300,
        "zones": [{"id": 1, "name": "Square", "polygon": [[0.3, 0.3], [0.8, 0.3], [0.8, 0.9], [0.3, 0.9]]},
                  {"id": 2, "name": "Corner", "polygon": [[0, 0], [0.5, 0], [0.5, 0.6], [0, 0.6]], "channel": 7},
                  {"id": 2, "name": "Corner", "polygon": [[0.2, 0], [0.9, 0], [0.9, 0.6]], "channel": 14},
                  {"id": 3, "name": "Middle", "line": [[0.5, 1.0], [0.5, 0.0]]}],
        "rules": [
            {"name": "in the square", "type": "qel.observable.spatial.Presence", "zone": "Square"},
            {"name": "was there", "type": "qel.observable.Previous", "input": "in the square", "interval": 900,
             "constrain_target": false},
            {"name": "crossed", "type": "qel.observable.spatial.LineCross", "zone": "Middle"},
            {"name": "there and crossed", "type": "qel.observable.And", "inputa": "was there", "inputb": "crossed"},
            {"name": "two", "type": "qel.observable.spatial.Count", "zone": "Square", "minimum": 2},
            {"name": "nobody", "type": "qel.observable.Not", "input": "in the square"},
            {"name": "either", "type": "qel.observable.Or", "inputa": "nobody", "inputb": "two",
             "constrain_target": false},
            {"name": "waits", "type": "qel.observable.spatial.Dwell", "zone": "Square", "duration": 400},
            {"name": "corner", "type": "qel.observable.spatial.Enter", "zone": 2, "channel": 7},
            {"name": "corner", "type": "qel.observable.spatial.Exit", "zone": 2, "channel": 14}]})");
};

TEST_F(JobsTest, GiveTheSameBytesWhateverTheirNumber) {
    for (unsigned int const seed : {1u, 2u}) {
        for (int const channels : {1, 2, 9}) {
            auto const input = Write("frames.jsonl", Wander(2'000, channels, seed));
            auto const outcome = RunWithAnyJobs({"--updates", "--input", input});
            EXPECT_EQ(outcome.code, 0);
            EXPECT_GT(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 3'000) << channels;
            EXPECT_THAT(outcome.error, HasSubstr(fmt::format("qel: 2000 frames of {} channel", channels)));
        }
    }
}

TEST_F(JobsTest, GiveTheSameBytesThroughAPipe) {
    auto const outcome = RunWithAnyJobs({}, Wander(5'000, 6, 4));
    EXPECT_THAT(outcome.out, HasSubstr("\"reason\": \"end_of_stream\""));
}

TEST_F(JobsTest, SkipTheSameLines) {
    std::string stream = Wander(500, 4, 5);
    for (int more = 0; more < 30; ++more) {
        stream += Wander(40, 4, 6) + (more % 2 == 0 ? "[]\n" : "rubbish\n\n \n");
    }
    auto const outcome = RunWithAnyJobs({"--on-error", "skip"}, stream);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.error, HasSubstr("standard input:541: []: wrong type"));
    EXPECT_THAT(outcome.ErrorLines().back(), HasSubstr("30 lines skipped"));
}

TEST_F(JobsTest, StopAtTheSameLine) {
    auto const outcome =
        RunWithAnyJobs({}, Wander(777, 5, 7) + std::string(17 * 1024 * 1024, 'x') + "\n" + Wander(500, 7, 8));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.error, StartsWith("standard input:778: line too long"));
    auto const other =
        RunWithAnyJobs({}, Wander(777, 5, 7) + "{\"timestamp\": 0, \"channel\": 1}\n" + Wander(500, 7, 8));
    EXPECT_EQ(other.code, 1);
    EXPECT_THAT(other.error, HasSubstr("qel: 777 frames of 5 channels"));
}

TEST_F(JobsTest, StopAtTheFrameWhoseRulesFail) {
    // A rule of the plug-in throws when it meets the event of another, which it does only on its own channel.
    rules = Write("greeters.json", R"({
        "zones": [{"id": 1, "name": "Square", "polygon": [[0.3, 0.3], [0.8, 0.3], [0.8, 0.9], [0.3, 0.9]]}],
        "rules": [{"name": "square", "type": "qel.observable.spatial.Presence", "zone": "Square"},
                  {"name": "a", "type": "qel.tests.plugin.One", "channel": 99},
                  {"name": "b", "type": "qel.tests.plugin.One", "channel": 99}]})");
    boost::filesystem::copy_file(QEL_TEST_PLUGIN, directory / "libqel_observable_one.so");
    auto const outcome = RunWithAnyJobs({"--plugins", directory.GetPath().string()},
                                        Wander(600, 5, 9) + Frame(99, 0, "") + Frame(99, 40, "") + Wander(600, 6, 9));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.error, StartsWith("standard input:601: Failed to cast "));
    EXPECT_THAT(outcome.error, HasSubstr("qel: 601 frames of 6 channels"));
    EXPECT_THAT(outcome.out, HasSubstr("\"reason\": \"end_of_stream\""));
}

TEST_F(JobsTest, HandEventsOnAsSoonAsTheyWait) {
    Program program(Arguments("3"));
    program.Write(Frame(1, 0, Present) + "{\"timest");
    EXPECT_THAT(program.ReadLine(), HasSubstr("\"start\", \"time\": \"1970-01-01T00:00:00.000Z\", \"event\": 1,"));
    program.Write("amp\": 40000000, \"channel\": {\"id\": 2}}\n" + Frame(3, 80, Present) + "\n \n");
    while (program.ReadLine().find("\"channel\": 3,") == std::string::npos) {
    }
    EXPECT_EQ(program.Finish().code, 0);
}

TEST_F(JobsTest, CloseEventsWhenInterruptedOrTerminated) {
    auto const frames = Wander(80, 5, 10);
    auto const expected = RunQel(Arguments("1"), frames).out;
    for (auto const& [signal, code] : {std::pair(SIGINT, 130), std::pair(SIGTERM, 143)}) {
        Program program(Arguments("4"));
        program.Write(frames);
        // Another channel tells when all of it has been seen.
        program.Write(Frame(1000, 0, Present) + "{\"timestamp\"");
        std::string out;
        for (auto line = program.ReadLine(); line.find("\"channel\": 1000") == std::string::npos;
             line = program.ReadLine()) {
            out += line + "\n";
        }
        program.Signal(signal);
        auto const outcome = program.Finish();
        EXPECT_EQ(outcome.code, code);
        EXPECT_EQ(out, expected.substr(0, out.size()));
        EXPECT_THAT(out, Not(HasSubstr("end_of_stream")));
        auto const next = expected.substr(out.size());
        EXPECT_THAT(next.substr(0, next.find('\n')), HasSubstr("end_of_stream"));
        EXPECT_THAT(outcome.error, StartsWith("qel: 81 frames of 6 channels"));
    }
}

TEST_F(JobsTest, EndWhileFramesAreComingInWhenInterrupted) {
    std::string const frames = Wander(4'000, 5, 11);
    Program program(Arguments("4", {"--updates"}));
    program.Write(frames.substr(0, 60'000));
    program.ReadLine();
    program.Signal(SIGTERM);
    auto const outcome = program.Finish(frames.substr(60'000));
    EXPECT_EQ(outcome.code, 143);
    EXPECT_THAT(outcome.out, HasSubstr("\"reason\": \"end_of_stream\""));
}

TEST_F(JobsTest, EndQuietlyWhenNobodyReadsTheOutput) {
    Program program(Arguments("3", {"--updates"}));
    program.Write(Frame(1, 0, Present));
    program.ReadLine();
    program.CloseOutput();
    auto const outcome = program.Finish(Wander(2'000, 5, 12));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.error, "");
}

TEST_F(JobsTest, TellThatTheOutputCannotBeWritten) {
    auto const outcome = RunWithAnyJobs({"--output", "/dev/full"}, Wander(2'000, 5, 13));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.error, "qel: /dev/full: cannot be written: No space left on device\n");
}

TEST_F(JobsTest, KeepTheirMemoryWhenTheStreamIsLong) {
#ifdef QEL_SANITIZED
    GTEST_SKIP() << "a sanitizer keeps what has been freed for a while";
#endif
    auto const peakOf = [&](int frames) {
        // Piece by piece, since a new process counts the memory of the one that starts it.
        auto const input = Write("long.jsonl.gz", "");
        for (int left = frames; left > 0; left -= 500) {
            std::ofstream(input, std::ios::binary | std::ios::app) << Gzip(Wander(500, 8, 14));
        }
        Program program(Arguments("3", {"--input", input, "--output", "/dev/null"}));
        EXPECT_EQ(program.Finish().code, 0);
        return program.GetPeakMemory();
    };
    auto const shortRun = peakOf(3'000);
    EXPECT_LT(peakOf(40'000), shortRun + 4096) << "KiB, against " << shortRun;
}

TEST_F(JobsTest, AreFrom1To256) {
    for (auto const* const jobs : {"0", "257", "-1", "two"}) {
        auto const outcome = RunQel(Arguments(jobs));
        EXPECT_EQ(outcome.code, 2);
        EXPECT_THAT(outcome.ErrorLines().at(0), StartsWith("--jobs: "));
    }
    EXPECT_EQ(RunQel(Arguments("256"), Wander(100, 3, 15)).out, RunQel(Arguments("1"), Wander(100, 3, 15)).out);
}

class CompressedTest : public JobsTest {
protected:
    std::string const frames = Wander(2'000, 4, 20);
    std::string const expected = RunQel(Arguments("1"), frames).out;
};

TEST_F(CompressedTest, StreamsAreRecognisedByTheirContent) {
    for (auto const& input :
         {Gzip(frames), Zstd(frames), Gzip(frames.substr(0, 50'000)) + Zstd(frames.substr(50'000))}) {
        EXPECT_TRUE(RunWithAnyJobs({}, input).out == expected);
        EXPECT_TRUE(RunQel(Arguments("2", {"--input", Write("frames.jsonl", input)})).out == expected);
    }
}

TEST_F(CompressedTest, FilesHaveTheFormatOfTheirNameBeforeTheLastEnding) {
    EXPECT_TRUE(RunQel(Arguments("2", {"--input", Write("frames.jsonl.gz", Gzip(frames))})).out == expected);
    EXPECT_TRUE(RunQel(Arguments("2", {"--input", Write("frames.ndjson.zst", Zstd(frames))})).out == expected);
    std::string const text = "1,1,40,50,20,30,1,1,1\n2,1,90,90,5,5,1,1,1\n";
    std::vector<std::string> const picture{"--fps", "25", "--width", "100", "--height", "100", "--input"};
    std::vector<std::string> outputs;
    for (auto const& input : {Write("gt.txt", text), Write("gt.txt.gz", Gzip(text)), Write("gt.mot.zst", Zstd(text))}) {
        auto arguments = Arguments("2", picture);
        arguments.push_back(input);
        auto const outcome = RunQel(arguments);
        EXPECT_EQ(outcome.code, 0) << outcome.error;
        outputs.push_back(outcome.out);
    }
    EXPECT_THAT(outputs[0], HasSubstr("\"in the square\""));
    EXPECT_EQ(outputs[1], outputs[0]);
    EXPECT_EQ(outputs[2], outputs[0]);
    auto const refused = RunQel(Arguments("2", {"--input", "frames.gz"}));
    EXPECT_EQ(refused.code, 2);
    EXPECT_EQ(refused.ErrorLines().at(0),
              "qel: --input: frames.gz: the file's ending does not tell its format: give --format jsonl or mot");
}

TEST_F(CompressedTest, StreamsThatBreakOffAreEvaluatedUpToThere) {
    auto const whole = Gzip(frames);
    for (auto const* const onError : {"stop", "skip"}) {
        auto const input = Write("frames.jsonl.gz", whole.substr(0, whole.size() - 100));
        auto const outcome = RunWithAnyJobs({"--on-error", onError, "--input", input});
        EXPECT_EQ(outcome.code, 1);
        std::smatch found;
        auto const first = outcome.ErrorLines().at(0);
        ASSERT_TRUE(std::regex_match(
            first, found, std::regex(".*: cannot be read behind line ([0-9]+): the gzip data ends too early")))
            << first;
        EXPECT_THAT(first, StartsWith(input));
        EXPECT_GT(std::stoi(found[1]), 1'950);
        EXPECT_THAT(outcome.ErrorLines().at(1), StartsWith("qel: " + found[1].str() + " frames of 4 channels"));
        EXPECT_THAT(outcome.out, HasSubstr("\"reason\": \"end_of_stream\""));
        EXPECT_EQ(outcome.out.substr(0, outcome.out.find("end_of_stream") - 300),
                  expected.substr(0, outcome.out.find("end_of_stream") - 300));
    }
}

TEST_F(CompressedTest, StreamsThatAreDamagedOrFollowedBySomethingElseAreToldOf) {
    auto damaged = Zstd(frames);
    damaged.back() = static_cast<char>(damaged.back() ^ 1);
    auto const outcome = RunWithAnyJobs({}, damaged);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.ErrorLines().at(0),
              "standard input: cannot be read behind line 2000: the zstd data cannot be decompressed: Restored data "
              "doesn't match checksum");
    EXPECT_TRUE(outcome.out == expected);
    auto const followed = RunWithAnyJobs({}, Gzip(frames) + frames);
    EXPECT_EQ(followed.code, 1);
    EXPECT_EQ(followed.ErrorLines().at(0),
              "standard input: cannot be read behind line 2000: something else stands behind the gzip data");
    EXPECT_TRUE(followed.out == expected);
}

TEST_F(CompressedTest, StreamsHandEventsOnAsTheyCome) {
    Program program(Arguments("2"));
    program.Write(Gzip(Frame(1, 0, Present)));
    EXPECT_THAT(program.ReadLine(), HasSubstr("\"event\": 1,"));
    program.Write(Zstd(Frame(2, 0, Present)));
    EXPECT_THAT(program.ReadLine(), HasSubstr("\"event\": 2,"));
    EXPECT_EQ(program.Finish().code, 0);
}

}  // namespace
}  // namespace qel::tests
