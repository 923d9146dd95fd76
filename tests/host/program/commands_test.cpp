// The commands that are quickly told: types, graph, simulate, and the command line as such.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "foundation/hash/murmur_three_32.hpp"
#include "host/system/read_file.hpp"
#include "tests/host/support/program.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

TEST(TypesTest, ListOneTypeWithItsSettings) {
    auto const outcome = RunQel({"types", "qel.observable.Previous"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(
        outcome.OutLines(),
        ElementsAre(
            "qel.observable.Previous", "  setting           type          default        range          description",
            "  interval          milliseconds  1000           100..86400000  The maximum number of milliseconds "
            "in the past to look for events",
            "  channel           integer       every channel  0..65535       The channel id the observable is "
            "assigned to",
            "  input             rule          none                          One of the sources of input events",
            "  constrain_target  bool          true                          Whether the the input events must "
            "match target id's",
            "  name              text          required                      The user-defined name for the "
            "observable",
            "  triggers_action   bool          true                          Whether the observable triggers "
            "actions and other observables"));
}

TEST(TypesTest, ListTheTextsThatASettingTakes) {
    EXPECT_THAT(RunQel({"types", "qel.observable.spatial.Presence"}).out, HasSubstr("bottom_center|center|top_center"));
}

TEST(TypesTest, ListAllTypes) {
    auto const lines = RunQel({"types"}).OutLines();
    for (auto const* const name : {"qel.observable.And", "qel.observable.Not", "qel.observable.Or",
                                   "qel.observable.Previous", "qel.observable.spatial.Presence"}) {
        EXPECT_THAT(lines, testing::Contains(name));
    }
}

TEST(TypesTest, AreJsonForPrograms) {
    auto const json = nlohmann::json::parse(RunQel({"types", "qel.observable.spatial.LineCross", "--json"}).out);
    ASSERT_EQ(json.size(), 1u);
    EXPECT_EQ(json[0]["type"], "qel.observable.spatial.LineCross");
    auto const& zone = json[0]["settings"][0];
    EXPECT_EQ(zone, nlohmann::json::parse(R"({"name": "zone", "type": "line", "property": "qel.property.UInt32",
        "default": null, "minimum": null, "maximum": null, "description": "The id of the zone"})"));
    auto const& settings = json[0]["settings"];
    EXPECT_EQ(settings.back()["name"], "triggers_action");
    EXPECT_EQ(settings.back()["default"], true);
    EXPECT_EQ(settings[5]["choices"], nlohmann::json::parse(R"(["any", "left_to_right", "right_to_left"])"));
    EXPECT_GE(nlohmann::json::parse(RunQel({"types", "--json"}).out).size(), 5u);
}

TEST(TypesTest, AreAJsonSchemaForEditors) {
    auto const outcome = RunQel({"types", "--json-schema"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.error, "");
    auto const types = nlohmann::json::parse(outcome.out)["properties"]["rules"]["items"]["properties"]["type"]["enum"];
    EXPECT_THAT(types, testing::IsSupersetOf({"qel.observable.And", "qel.observable.spatial.LineCross"}));
    EXPECT_THAT(types, testing::Not(testing::Contains("qel.tests.plugin.One")));

    TemporaryDirectory const directory;
    boost::filesystem::copy_file(QEL_TEST_PLUGIN, directory / "libqel_observable_one.so");
    EXPECT_THAT(RunQel({"types", "--json-schema", "--plugins", directory.GetPath().string()}).out,
                HasSubstr("\"qel.tests.plugin.One\""));
}

TEST(TypesTest, AreAJsonSchemaOnlyAltogetherAndInsteadOfAList) {
    EXPECT_EQ(RunQel({"types", "--json-schema", "--json"}).code, 2);
    EXPECT_EQ(RunQel({"types", "--json-schema", "qel.observable.And"}).code, 2);
}

TEST(TypesTest, RefuseAnUnknownName) {
    auto const outcome = RunQel({"types", "Previos"});
    EXPECT_EQ(outcome.code, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.ErrorLines(), ElementsAre("qel: no type is called \"Previos\""));
    EXPECT_THAT(RunQel({"types", "Previous"}).ErrorLines(),
                ElementsAre("qel: no type is called \"Previous\"; did you mean \"qel.observable.Previous\"?"));
}

TEST(GraphTest, HasNoControlCharacters) {
    auto const outcome =
        RunQel({"graph", "-"}, R"({"rules": [{"name": "a\u001b[2J\nb\u0000", "type": "qel.observable.Not"}]})");
    EXPECT_EQ(outcome.out, "digraph G {\n1 [label=\"a?[2J b?\\nqel.observable.Not\"];\n}\n");
}

TEST(GraphTest, IsDotWithArrowsToTheInputs) {
    auto const outcome = RunQel({"graph", "-"}, R"({"rules": [
        {"name": "both \"at\" once", "type": "qel.observable.And", "inputa": "a", "inputb": "b", "channel": 2},
        {"name": "a", "type": "qel.observable.Not", "input": "b", "triggers_action": false},
        {"name": "b", "type": "qel.observable.Not"}]})");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.out,
              "digraph G {\n"
              "1 [label=\"both \\\"at\\\" once\\nqel.observable.And\\nchannel 2\"];\n"
              "2 [label=\"a\\nqel.observable.Not\", style=dashed];\n"
              "3 [label=\"b\\nqel.observable.Not\"];\n"
              "1->2 [label=\"inputa\"];\n"
              "1->3 [label=\"inputb\"];\n"
              "2->3 [label=\"input\"];\n"
              "}\n");
}

TEST(GraphTest, TellsOfMistakesInTheRules) {
    auto const outcome = RunQel({"graph", "-"}, "{");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.error, StartsWith("standard input:1:2: "));
}

TEST(SimulateTest, TakesPluginsAsEveryCommandDoes) {
    for (char const* const command : {"run", "check", "types", "graph", "simulate"}) {
        auto const outcome = RunQel({command, "--help"});
        EXPECT_THAT(outcome.out, HasSubstr("--plugins DIR")) << command;
    }
    auto const outcome = RunQel({"simulate", "--seconds", "0", "--plugins", "/does/not/exist"});
    EXPECT_EQ(outcome.code, 2);
    EXPECT_THAT(outcome.ErrorLines(),
                ElementsAre("qel: --plugins: /does/not/exist: cannot be read: No such file or directory"));
}

TEST(SimulateTest, EndsWithTheLastTimeThatThereIs) {
    auto const outcome = RunQel({"simulate", "--seconds", "100", "--fps", "1", "--people", "0", "--vehicles", "0",
                                 "--start", "9223372035854775807"});
    EXPECT_EQ(outcome.code, 0);
    ASSERT_EQ(outcome.OutLines().size(), 1u);
    EXPECT_THAT(outcome.OutLines()[0], StartsWith("{\"timestamp\": 9223372035854775807, "));
}

TEST(SimulateTest, WritesFramesThatRunTakes) {
    auto const outcome = RunQel({"simulate", "--seconds", "4", "--fps", "10", "--start", "1970-01-01T00:00:01Z",
                                 "--channel", "7", "--people", "20", "--seed", "3"});
    EXPECT_EQ(outcome.code, 0);
    auto const lines = outcome.OutLines();
    ASSERT_EQ(lines.size(), 40u);
    EXPECT_THAT(lines[0], StartsWith("{\"timestamp\": 1000000000, \"channel\": {\"id\": 7, \"name\": \"simulated\"}, "
                                     "\"objects\": ["));
    EXPECT_THAT(lines[39], StartsWith("{\"timestamp\": 4900000000, "));
    std::set<int> ids;
    for (auto const& line : lines) {
        auto const frame = nlohmann::json::parse(line);
        for (auto const& object : frame["objects"]) {
            int const id = object["id"];
            ids.insert(id);
            EXPECT_EQ(object["class"], (id - 1) % 22 < 20 ? "person" : "vehicle");
        }
    }
    EXPECT_GT(ids.size(), 5u);
}

TEST(SimulateTest, GivesTheSameBytesForTheSameSeed) {
    auto const make = [](char const* seed) { return RunQel({"simulate", "--seconds", "10", "--seed", seed}).out; };
    auto const one = make("1");
    EXPECT_EQ(make("1"), one);
    EXPECT_NE(make("2"), one);
    EXPECT_EQ(RunQel({"simulate", "--seconds", "10"}).out, one);
}

TEST(SimulateTest, GivesTheSameBytesOnEveryMachine) {
    EXPECT_THAT(
        RunQel({"simulate", "--seconds", "8", "--fps", "0.5", "--people", "2"}).OutLines(),
        ElementsAre(R"({"timestamp": 1704110400000000000, "channel": {"id": 1, "name": "simulated"}, "objects": []})",
                    R"({"timestamp": 1704110402000000000, "channel": {"id": 1, "name": "simulated"}, "objects": [)"
                    R"({"id": 1, "class": "person", "box": [-0.0506, 0.4058, 0.0509, 0.2039], "confidence": 0.95}, )"
                    R"({"id": 3, "class": "vehicle", "box": [0.6924, 0.2490, 0.1285, 0.1098], "confidence": 0.70}]})",
                    R"({"timestamp": 1704110404000000000, "channel": {"id": 1, "name": "simulated"}, "objects": [)"
                    R"({"id": 1, "class": "person", "box": [0.1170, 0.4442, 0.0561, 0.2237], "confidence": 0.81}, )"
                    R"({"id": 2, "class": "person", "box": [0.8987, 0.3904, 0.0489, 0.1963], "confidence": 0.96}, )"
                    R"({"id": 3, "class": "vehicle", "box": [0.2077, 0.2494, 0.1305, 0.1107], "confidence": 0.83}]})",
                    R"({"timestamp": 1704110406000000000, "channel": {"id": 1, "name": "simulated"}, "objects": [)"
                    R"({"id": 1, "class": "person", "box": [0.2868, 0.4816, 0.0614, 0.2423], "confidence": 0.70}, )"
                    R"({"id": 2, "class": "person", "box": [0.6597, 0.4241, 0.0521, 0.2131], "confidence": 0.94}, )"
                    R"({"id": 4, "class": "vehicle", "box": [0.4161, 0.2899, 0.1303, 0.1094], "confidence": 0.95}]})"));
}

TEST(SimulateTest, GivesTheSameBytesOnEveryMachineHoweverMuchIsWrong) {
    EXPECT_THAT(
        RunQel({"simulate", "--seconds", "6", "--fps", "0.5", "--people", "3", "--seed", "6", "--channels", "2",
                "--drop-outs", "0.2", "--jitter", "0.01", "--id-switches", "0.4"})
            .OutLines(),
        ElementsAre(R"({"timestamp": 1704110400000000000, "channel": {"id": 1, "name": "simulated"}, "objects": []})",
                    R"({"timestamp": 1704110400000000000, "channel": {"id": 2, "name": "simulated"}, "objects": []})",
                    R"({"timestamp": 1704110402000000000, "channel": {"id": 1, "name": "simulated"}, "objects": [)"
                    R"({"id": 1, "class": "person", "box": [-0.0104, 0.3158, 0.0474, 0.1459], "confidence": 0.93}]})",
                    R"({"timestamp": 1704110402000000000, "channel": {"id": 2, "name": "simulated"}, "objects": [)"
                    R"({"id": 1, "class": "person", "box": [0.9766, 0.4853, 0.0584, 0.2409], "confidence": 0.82}, )"
                    R"({"id": 3, "class": "person", "box": [-0.0735, 0.3993, 0.0494, 0.1928], "confidence": 0.84}]})",
                    R"({"timestamp": 1704110404000000000, "channel": {"id": 1, "name": "simulated"}, "objects": [)"
                    R"({"id": 2, "class": "person", "box": [0.7513, 0.4402, 0.0496, 0.2332], "confidence": 0.90}, )"
                    R"({"id": 3, "class": "person", "box": [0.7870, 0.4413, 0.0610, 0.2153], "confidence": 0.94}, )"
                    R"({"id": 4, "class": "vehicle", "box": [0.2587, 0.2580, 0.1251, 0.1162], "confidence": 0.86}, )"
                    R"({"id": 5, "class": "vehicle", "box": [0.9864, 0.2558, 0.1206, 0.1022], "confidence": 0.90}]})",
                    R"({"timestamp": 1704110404000000000, "channel": {"id": 2, "name": "simulated"}, "objects": [)"
                    R"({"id": 6, "class": "person", "box": [0.8130, 0.4662, 0.0516, 0.2458], "confidence": 0.79}, )"
                    R"({"id": 8, "class": "person", "box": [0.0941, 0.4007, 0.0580, 0.2013], "confidence": 0.88}, )"
                    R"({"id": 4, "class": "vehicle", "box": [-0.1331, 0.2967, 0.1330, 0.1147], "confidence": 0.80}, )"
                    R"({"id": 5, "class": "vehicle", "box": [0.3538, 0.2418, 0.1232, 0.1065], "confidence": 0.91}]})"));
    auto const outcome = RunQel({"simulate", "--seconds", "20", "--people", "30", "--vehicles", "10", "--seed", "77",
                                 "--channels", "3", "--drop-outs", "0.1", "--jitter", "0.02", "--id-switches", "0.01"});
    EXPECT_EQ(hash::MurmurThree32::MakeData(outcome.out.c_str()).GetValue(), 1256561717u);
}

TEST(SimulateTest, HasChannelsThatTakeTurnsAndAreEachAsIfAlone) {
    auto const all = RunQel({"simulate", "--seconds", "5", "--seed", "11", "--channel", "3", "--channels", "4",
                             "--id-switches", "0.05"})
                         .OutLines();
    ASSERT_EQ(all.size(), 4u * 125);
    for (std::size_t channel = 0; channel < 4; ++channel) {
        auto const alone = RunQel({"simulate", "--seconds", "5", "--seed", std::to_string(11 + channel), "--channel",
                                   std::to_string(3 + channel), "--id-switches", "0.05"})
                               .OutLines();
        ASSERT_EQ(alone.size(), 125u);
        for (std::size_t frame = 0; frame < alone.size(); ++frame) {
            ASSERT_EQ(all[4 * frame + channel], alone[frame]);
        }
    }
}

TEST(SimulateTest, HasDefaultsThatCanBeGiven) {
    EXPECT_EQ(RunQel({"simulate", "--seconds", "10"}).out, RunQel({"simulate",
                                                                   "--seconds",
                                                                   "10",
                                                                   "--seed",
                                                                   "1",
                                                                   "--people",
                                                                   "6",
                                                                   "--vehicles",
                                                                   "2",
                                                                   "--fps",
                                                                   "25",
                                                                   "--start",
                                                                   "2024-01-01T12:00:00Z",
                                                                   "--channel",
                                                                   "1",
                                                                   "--channels",
                                                                   "1",
                                                                   "--drop-outs",
                                                                   "0.01",
                                                                   "--jitter",
                                                                   "0.0015",
                                                                   "--id-switches",
                                                                   "0"})
                                                               .out);
}

TEST(SimulateTest, ShowsNobodyToADetectorThatMissesEverything) {
    EXPECT_THAT(RunQel({"simulate", "--seconds", "20", "--drop-outs", "1"}).OutLines(),
                testing::Each(testing::EndsWith("\"objects\": []}")));
}

TEST(SimulateTest, RefusesNumbersOutsideOfTheirRanges) {
    auto const refused = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "simulate");
        auto const outcome = RunQel(arguments);
        EXPECT_EQ(outcome.code, 2);
        EXPECT_EQ(outcome.out, "");
        return outcome.ErrorLines().at(0);
    };
    EXPECT_EQ(refused({"--jitter", "0.031"}), "--jitter: Value 0.031 not in range 0 to 0.03");
    EXPECT_EQ(refused({"--jitter", "-0.001"}), "--jitter: Value -0.001 not in range 0 to 0.03");
    EXPECT_EQ(refused({"--drop-outs", "1.01"}), "--drop-outs: Value 1.01 not in range 0 to 1");
    EXPECT_EQ(refused({"--id-switches", "nan"}), "--id-switches: Value nan not in range 0 to 1");
    EXPECT_EQ(refused({"--id-switches", "few"}), "--id-switches: Value few not in range 0 to 1");
    EXPECT_EQ(refused({"--fps", "nan"}), "--fps: Value nan not in range 0.001 to 1000");
    EXPECT_EQ(refused({"--channels", "0"}), "--channels: Value 0 not in range 1 to 64");
    EXPECT_EQ(refused({"--channels", "65"}), "--channels: Value 65 not in range 1 to 64");
    EXPECT_EQ(refused({"--channel", "65500", "--channels", "37"}),
              "qel: --channels: 37: the last one would be 65536; allowed: numbers up to 65535");
    EXPECT_EQ(RunQel({"simulate", "--channel", "65500", "--channels", "36", "--seconds", "0"}).code, 0);
}

TEST(SimulateTest, EndsQuietlyWhenNobodyReadsItsOutput) {
    Program program({"simulate", "--seconds", "100000"});
    program.ReadLine();
    program.CloseOutput();
    auto const outcome = program.Finish();
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.error, "");
}

TEST(CommandLineTest, HelpsAPersonToWork) {
    auto const outcome = RunQel({"--help"});
    EXPECT_EQ(outcome.code, 0);
    for (auto const* const text : {"run", "check", "types", "graph", "simulate", "Exit: 0", "Examples:"}) {
        EXPECT_THAT(outcome.out, HasSubstr(text));
    }
    for (auto const* const command : {"run", "check", "types", "graph", "simulate"}) {
        auto const help = RunQel({command, "--help"});
        EXPECT_EQ(help.code, 0);
        EXPECT_THAT(help.out, HasSubstr(std::string("  qel ") + command)) << "an example";
    }
}

TEST(CommandLineTest, IsRefusedWithTheExitCodeTwo) {
    EXPECT_EQ(RunQel({}).code, 2);
    EXPECT_THAT(RunQel({}).ErrorLines().at(0), "A subcommand is required");
    auto const unknown = RunQel({"chek", "rules.json"});
    EXPECT_EQ(unknown.code, 2);
    EXPECT_THAT(unknown.ErrorLines(), ElementsAre("qel: no command is called \"chek\"; allowed: run, check, types, "
                                                  "graph, simulate; did you mean \"check\"?"));
    EXPECT_EQ(RunQel({"check"}).code, 2);
    EXPECT_EQ(RunQel({"--colour"}).code, 2);
}

TEST(CommandLineTest, TellsTheVersion) {
    auto const outcome = RunQel({"--version"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.out, testing::MatchesRegex("qel [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

}  // namespace
}  // namespace qel::tests
