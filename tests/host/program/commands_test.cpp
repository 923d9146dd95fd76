// The commands that are quickly told: types, graph, simulate, and the command line as such.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

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
