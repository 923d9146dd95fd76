#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "host/system/read_file.hpp"
#include "tests/host/support/program.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

/// A frame of channel 0, in which the object 1 stands in the middle of the picture.
std::string Present(std::int64_t milliseconds) {
    return fmt::format("{{\"timestamp\": {}, \"objects\": [{{\"id\": 1, \"box\": [0.4, 0.3, 0.2, 0.2]}}]}}\n",
                       milliseconds * 1'000'000);
}
std::string Empty(std::int64_t milliseconds) {
    return fmt::format("{{\"timestamp\": {}}}\n", milliseconds * 1'000'000);
}

/// The line of an event of the rule below about the object 1.
std::string Line(char const* phase, int time, int number, int start, int end, char const* reason = "") {
    auto const text = [](int milliseconds) {
        return fmt::format("1970-01-01T00:00:{:02}.{:03}Z", milliseconds / 1000, milliseconds % 1000);
    };
    return fmt::format(
        "{{\"phase\": \"{}\", \"time\": \"{}\", \"event\": {}, \"rule\": \"inside\", \"rule_id\": 1, "
        "\"type\": \"presence\", \"category\": \"spatial\", \"channel\": 0, \"start\": \"{}\", \"end\": "
        "\"{}\", \"start_ns\": {}, \"end_ns\": {}, \"objects\": [{{\"id\": 1, \"class\": \"\"}}], "
        "\"zones\": [1]{}}}",
        phase, text(time), number, text(start), text(end), start * 1'000'000ll, end * 1'000'000ll, reason);
}
constexpr auto WithTheStream = ", \"reason\": \"end_of_stream\"";

class RunTest : public testing::Test {
protected:
    std::string Write(char const* name, std::string const& text) {
        auto const path = (directory / name).string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    std::vector<std::string> Arguments(std::vector<std::string> const& more = {}) {
        std::vector<std::string> arguments{"run", "--rules", rules};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    TemporaryDirectory directory;
    std::string rules = Write("rules.json", R"({
        "zones": [{"id": 1, "polygon": [[0.25, 0.25], [0.75, 0.25], [0.75, 0.75], [0.25, 0.75]]}],
        "rules": [{"name": "inside", "type": "qel.observable.spatial.Presence", "zone": 1, "hold_off": 0}]})");
};

TEST_F(RunTest, WritesALineForEachEventThatStartsOrEnds) {
    auto const outcome = RunQel(Arguments(), Empty(0) + Present(40) + Present(80) + Empty(120));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.OutLines(), ElementsAre(Line("start", 40, 1, 40, 40), Line("end", 120, 1, 40, 80)));
}

TEST_F(RunTest, WritesUpdatesWhenAsked) {
    auto const outcome = RunQel(Arguments({"--updates"}), Present(0) + Present(40) + Empty(80));
    EXPECT_THAT(outcome.OutLines(),
                ElementsAre(Line("start", 0, 1, 0, 0), Line("update", 40, 1, 0, 40), Line("end", 80, 1, 0, 40)));
}

TEST_F(RunTest, ClosesWhatIsOpenWhenTheStreamEnds) {
    auto const outcome = RunQel(Arguments(), Present(0) + Present(40));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.OutLines(), ElementsAre(Line("start", 0, 1, 0, 0), Line("end", 40, 1, 0, 40, WithTheStream)));
}

TEST_F(RunTest, SumsUpOnStandardError) {
    auto const outcome = RunQel(Arguments({"--on-error", "skip"}),
                                Present(0) + Present(40) + Present(40) + "{}\n" + Empty(20) + Present(60));
    EXPECT_EQ(outcome.code, 0);
    auto const lines = outcome.ErrorLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_THAT(lines[0], StartsWith("standard input:4: timestamp: missing; allowed: "));
    EXPECT_TRUE(std::regex_match(lines[1], std::regex("qel: 5 frames of 1 channel in [0-9.]+ s \\([0-9]+ frames/s, "
                                                      "[0-9.]+ x real time\\), 2 events")))
        << lines[1];
    EXPECT_EQ(lines[2], "qel: 1 time repeated, 1 time backwards, 1 line skipped");
}

TEST_F(RunTest, TakesAnEmptyStream) {
    auto const outcome = RunQel(Arguments(), "");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.ErrorLines().back(), "qel: 0 times repeated, 0 times backwards, 0 lines skipped");
}

TEST_F(RunTest, ReadsAndWritesFiles) {
    auto const input = Write("frames.jsonl", Present(0) + Empty(40));
    auto const output = (directory / "events.jsonl").string();
    auto const outcome = RunQel(Arguments({"--input", input, "--output", output}));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(host::ReadWholeFile(output), Line("start", 0, 1, 0, 0) + "\n" + Line("end", 40, 1, 0, 0) + "\n");
}

TEST_F(RunTest, TakesStandardInputAndOutputByTheirSign) {
    auto const outcome =
        RunQel(Arguments({"--input", "-", "--output", "-", "--format", "jsonl"}), Present(0) + Empty(40));
    EXPECT_THAT(outcome.OutLines(), ElementsAre(Line("start", 0, 1, 0, 0), Line("end", 40, 1, 0, 0)));
}

TEST_F(RunTest, ReadsTheBenchmarksText) {
    auto const input = Write("gt.txt", "2,1,40,30,20,20,1,-1,-1,-1\n4,1,90,90,1,1,1,-1,-1,-1\n");
    std::vector<std::string> const picture{"--fps", "25", "--width", "100", "--height", "100"};
    auto arguments = Arguments({"--input", input});
    arguments.insert(arguments.end(), picture.begin(), picture.end());
    auto const outcome = RunQel(arguments);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.OutLines(), ElementsAre(Line("start", 40, 1, 40, 40), Line("end", 80, 1, 40, 40)));
    EXPECT_THAT(outcome.ErrorLines().at(0), StartsWith("qel: 4 frames of 1 channel in "));

    arguments.insert(arguments.end(), {"--start", "1970-01-01T00:00:01Z"});
    EXPECT_THAT(RunQel(arguments).OutLines(),
                ElementsAre(Line("start", 1040, 1, 1040, 1040), Line("end", 1080, 1, 1040, 1040)));
}

TEST_F(RunTest, GivesTheSameBytesAgain) {
    auto const frames = RunQel({"simulate", "--seconds", "20", "--people", "8"}).out;
    auto const first = RunQel(Arguments({"--updates"}), frames);
    EXPECT_GT(first.out.size(), 10'000u);
    EXPECT_EQ(RunQel(Arguments({"--updates"}), frames).out, first.out);
}

TEST_F(RunTest, NeverWritesIdsOfTheEngine) {
    // Rules that are made in vain draw ids of events and of observables, which must not show.
    auto const other = Write("other.json", R"({
        "zones": [{"id": 1, "polygon": [[0.25, 0.25], [0.75, 0.25], [0.75, 0.75], [0.25, 0.75]]}],
        "rules": [{"name": "inside", "type": "qel.observable.spatial.Presence", "zone": 1, "hold_off": 0},
                  {"name": "hidden", "type": "qel.observable.Not", "triggers_action": false},
                  {"name": "silent", "type": "qel.observable.Not", "input": "inside", "triggers_action": false}]})");
    std::string const frames = Empty(0) + Present(40) + Empty(80) + Present(120);
    EXPECT_EQ(RunQel({"run", "--rules", other}, frames).out, RunQel(Arguments(), frames).out);
}

TEST_F(RunTest, StopsAtALineThatItCannotRead) {
    auto const outcome = RunQel(Arguments(), Present(0) + "rubbish\n" + Empty(40));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.OutLines(), ElementsAre(Line("start", 0, 1, 0, 0), Line("end", 0, 1, 0, 0, WithTheStream)));
    EXPECT_THAT(outcome.ErrorLines().at(0), StartsWith("standard input:2: rubbish: not JSON: "));
    EXPECT_THAT(outcome.ErrorLines().back(), HasSubstr(" 0 lines skipped"));
}

TEST_F(RunTest, NamesTheFileOfALineThatItCannotRead) {
    auto const input = Write("frames.jsonl", "\n[]\n");
    EXPECT_EQ(RunQel(Arguments({"--input", input})).ErrorLines().at(0),
              input + ":2: []: wrong type; allowed: an object, {...}");
}

TEST_F(RunTest, TellsOfTheFirstLinesThatItSkipsAndCountsTheOthers) {
    std::string rubbish;
    for (int line = 0; line < 1000; ++line) {
        rubbish += "[]\n";
    }
    auto const outcome = RunQel(Arguments({"--on-error", "skip"}), rubbish + Present(0));
    EXPECT_EQ(outcome.code, 0);
    auto const lines = outcome.ErrorLines();
    ASSERT_EQ(lines.size(), 23u);
    EXPECT_EQ(lines[19], "standard input:20: []: wrong type; allowed: an object, {...}");
    EXPECT_EQ(lines[20], "further lines that cannot be read are only counted");
    EXPECT_EQ(lines[22], "qel: 0 times repeated, 0 times backwards, 1000 lines skipped");
}

TEST_F(RunTest, TellsOfMistakesInTheRulesBeforeTheFirstFrame) {
    auto const wrong = Write("wrong.json", R"({"rules": [{"name": "a", "type": "qel.observable.Nto"}], "zones": 1})");
    auto const output = Write("events.jsonl", "what was there");
    auto const outcome = RunQel({"run", "--rules", wrong, "--output", output}, Present(0));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.ErrorLines(),
                ElementsAre(wrong + ":1:34: rules[0].type: \"qel.observable.Nto\": unknown type; allowed: a type that "
                                    "`qel types` lists; did you mean \"qel.observable.Not\"?",
                            wrong + ":1:67: zones: 1: wrong type; allowed: a list, [...]"));
    EXPECT_EQ(host::ReadWholeFile(output), "what was there");
}

TEST_F(RunTest, HandsEventsOnAsSoonAsItWaits) {
    Program program(Arguments());
    program.Write(Present(0));
    EXPECT_EQ(program.ReadLine(), Line("start", 0, 1, 0, 0));
    program.Write(Empty(40));
    EXPECT_EQ(program.ReadLine(), Line("end", 40, 1, 0, 0));
    EXPECT_EQ(program.Finish().code, 0);
}

TEST_F(RunTest, ClosesEventsWhenItIsInterruptedOrTerminated) {
    for (auto const& [signal, code] : {std::pair(SIGINT, 130), std::pair(SIGTERM, 143)}) {
        Program program(Arguments());
        program.Write(Present(0) + Present(40) + "{\"timestamp\": 8");
        EXPECT_EQ(program.ReadLine(), Line("start", 0, 1, 0, 0));
        program.Signal(signal);
        EXPECT_EQ(program.ReadLine(), Line("end", 40, 1, 0, 40, WithTheStream));
        auto const outcome = program.Finish();
        EXPECT_EQ(outcome.code, code);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.ErrorLines().at(0), StartsWith("qel: 2 frames of 1 channel in "));
    }
}

TEST_F(RunTest, EvaluatesNoFrameThatASignalCutsOff) {
    Program program(Arguments({"--format", "mot", "--fps", "25", "--width", "1", "--height", "1"}));
    program.Write("1,1,0.4,0.4,0.1,0.1\n2,1,0.4,0.4,0.1,0.1\n3,8,0.4,0.4,0.1,0.1\n");
    EXPECT_EQ(program.ReadLine(), Line("start", 0, 1, 0, 0));
    program.Signal(SIGTERM);
    EXPECT_EQ(program.ReadLine(), Line("end", 40, 1, 0, 40, WithTheStream)) << "and no start of person 8";
    auto const outcome = program.Finish();
    EXPECT_EQ(outcome.code, 143);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.ErrorLines().at(0), StartsWith("qel: 2 frames of 1 channel in "));
}

TEST_F(RunTest, DoesNotWriteOverWhatItReads) {
    auto const input = Write("frames.jsonl", Present(0));
    for (auto const& output : {rules, input, (directory / "." / "frames.jsonl").string()}) {
        auto const outcome = RunQel(Arguments({"--input", input, "--output", output}));
        EXPECT_EQ(outcome.code, 2);
        EXPECT_THAT(outcome.ErrorLines(),
                    ElementsAre("qel: --output: " + output + ": is read, too, and would be lost"));
    }
    EXPECT_EQ(host::ReadWholeFile(input), Present(0));
}

TEST_F(RunTest, EndsQuietlyWhenNobodyReadsItsOutput) {
    Program program(Arguments());
    program.Write(Present(0));
    program.ReadLine();
    program.CloseOutput();
    auto const outcome = program.Finish(Empty(40));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.error, "");
}

TEST_F(RunTest, TellsThatTheOutputCannotBeWritten) {
    auto const outcome = RunQel(Arguments({"--output", "/dev/full"}), Present(0));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.ErrorLines(), ElementsAre("qel: /dev/full: cannot be written: No space left on device"));
    auto const missing = (directory / "missing" / "out").string();
    EXPECT_THAT(RunQel(Arguments({"--output", missing})).ErrorLines(),
                ElementsAre("qel: " + missing + ": cannot be written: No such file or directory"));
}

TEST_F(RunTest, TellsThatAFileCannotBeRead) {
    auto const missing = (directory / "missing.jsonl").string();
    auto const outcome = RunQel(Arguments({"--input", missing}));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.ErrorLines(), ElementsAre("qel: " + missing + ": cannot be read: No such file or directory"));
    EXPECT_THAT(RunQel({"run", "--rules", missing}).ErrorLines(),
                ElementsAre("qel: " + missing + ": cannot be read: No such file or directory"));
}

TEST_F(RunTest, TellsInOneLineWhatARuleThrows) {
    // The second of these rules throws when it meets an event of the first.
    auto const greeters = Write("greeters.json", R"({"rules": [{"name": "a", "type": "qel.tests.plugin.One"},
                                                               {"name": "b", "type": "qel.tests.plugin.One"}]})");
    boost::filesystem::copy_file(QEL_TEST_PLUGIN, directory / "libqel_observable_one.so");
    auto const outcome =
        RunQel({"run", "--rules", greeters, "--plugins", directory.GetPath().string()}, Empty(0) + Empty(40));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "");
    auto const lines = outcome.ErrorLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0],
              "standard input:1: Failed to cast the runtime object from "
              "'qel.meta.data.Observable' to a 'qel.meta.data.Object'");
    EXPECT_THAT(lines[1], StartsWith("qel: 1 frame of 1 channel in "));
}

TEST_F(RunTest, ShowsATableOnATerminal) {
    if (!Program::HasTerminals()) {
        GTEST_SKIP() << "this machine gives no pseudo-terminals";
    }
    Program program(Arguments(), Program::Streams::Terminal);
    auto const outcome = program.Finish(Present(0) + Empty(40));
    EXPECT_EQ(outcome.code, 0);
    auto const lines = outcome.OutLines();
    ASSERT_EQ(lines.size(), 5u) << outcome.out;
    EXPECT_EQ(lines[0],
              "TIME                      CHANNEL  EVENT  PHASE   RULE                      OBJECTS             "
              "  ZONES\r");
    EXPECT_EQ(lines[1],
              "1970-01-01T00:00:00.000Z        0      1  start   inside                    1                   "
              "  1\r");
    EXPECT_THAT(lines[2], StartsWith("1970-01-01T00:00:00.040Z        0      1  end "));
    EXPECT_THAT(lines[3], StartsWith("qel: 2 frames of 1 channel in "));
}

TEST_F(RunTest, WritesTheFormatThatIsAskedFor) {
    EXPECT_THAT(RunQel(Arguments({"--output-format", "table"}), Present(0)).OutLines().at(0), StartsWith("TIME  "));
    if (!Program::HasTerminals()) {
        GTEST_SKIP() << "this machine gives no pseudo-terminals";
    }
    Program program(Arguments({"--output-format", "jsonl"}), Program::Streams::Terminal);
    EXPECT_THAT(program.Finish(Present(0)).OutLines().at(0), StartsWith("{\"phase\": \"start\""));
}

TEST_F(RunTest, RefusesAWrongCommandLine) {
    struct Case {
        std::vector<std::string> arguments;
        char const* message;
    };
    for (auto const& [arguments, message] : {
             Case{{"--input", "frames.dat"},
                  "qel: --input: frames.dat: the file's ending does not tell its format: give --format jsonl or mot"},
             Case{{"--input", "gt.txt"}, "qel: the format mot needs --fps, --width and --height"},
             Case{{"--format", "mot", "--fps", "25", "--width", "640"},
                  "qel: the format mot needs --fps, --width and --height"},
             Case{{"--start", "noon"},
                  "qel: --start: noon: not a time; allowed: nanoseconds since 1970 as a whole number, or an RFC 3339 "
                  "text"},
             Case{{"--format", "csv"}, "--format: csv not in {jsonl,mot}"},
             Case{{"--on-error", "cry"}, "--on-error: cry not in {stop,skip}"},
             Case{{"--fps", "0"}, "--fps: Value 0 not in range 1e-06 to 1000000"},
             Case{{"--fps", "nan"}, "--fps: Value nan not in range 1e-06 to 1000000"},
             Case{{"--width", "nan"}, "--width: Value nan not in range 1 to 1000000"},
             Case{{"--height", "inf"}, "--height: Value inf not in range 1 to 1000000"},
             Case{{"--plugins", "/does/not/exist"},
                  "qel: --plugins: /does/not/exist: cannot be read: No such file or directory"},
             Case{{"--speed"}, "The following argument was not expected: --speed"},
         }) {
        auto const outcome = RunQel(Arguments(arguments));
        EXPECT_EQ(outcome.code, 2) << message;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.ErrorLines().at(0), message);
    }
    EXPECT_EQ(RunQel({"run"}).code, 2);
    EXPECT_EQ(RunQel({"run", "--rules", "-"}).ErrorLines().at(0),
              "qel: --rules and --input cannot both be standard input");
}

TEST_F(RunTest, ReadsTheFormatThatIsNamedWhateverTheFileIsCalled) {
    auto const input = Write("frames.dat", Present(0));
    EXPECT_EQ(RunQel(Arguments({"--input", input, "--format", "jsonl"})).code, 0);
}

TEST_F(RunTest, KeepsItsMemoryWhenTheStreamIsLong) {
#ifdef QEL_SANITIZED
    GTEST_SKIP() << "a sanitizer keeps what has been freed for a while";
#endif
    // Each frame has another object, so that whatever kept them would show.
    auto const peakOf = [&](int frames) {
        std::string stream;
        for (int at = 0; at < frames; ++at) {
            stream +=
                fmt::format("{{\"timestamp\": {}, \"objects\": [{{\"id\": {}, \"box\": [0.4, 0.3, 0.2, 0.2]}}]}}\n",
                            at * 40'000'000ll, at);
        }
        auto const input = Write("long.jsonl", stream);
        Program program(Arguments({"--input", input, "--output", "/dev/null"}));
        EXPECT_EQ(program.Finish().code, 0);
        return program.GetPeakMemory();
    };
    auto const shortRun = peakOf(2'000);
    auto const longRun = peakOf(60'000);
    EXPECT_LT(longRun, shortRun + 2048) << "KiB, against " << shortRun;
}

}  // namespace
}  // namespace qel::tests
