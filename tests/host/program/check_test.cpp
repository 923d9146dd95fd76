#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/host/support/program.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using testing::ElementsAre;

class CheckTest : public testing::Test {
protected:
    std::string Write(std::string const& text) {
        auto const path = (directory / "rules.json").string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    TemporaryDirectory directory;
};

TEST_F(CheckTest, IsContentWithARuleFileWithoutMistakes) {
    auto const path = Write(R"({"rules": [{"name": "a", "type": "qel.observable.Not", "input": "b"},
                                           {"name": "b", "type": "qel.observable.spatial.Presence", "zone": 1}],
                                "zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]]}]})");
    auto const outcome = RunQel({"check", path});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.OutLines(), ElementsAre(path + ": 2 rules and 1 zone, no mistake"));
    EXPECT_EQ(outcome.error, "");
}

TEST_F(CheckTest, TellsEveryMistakeInALineOfItsOwn) {
    auto const path = Write("{\"version\": 3,\n\"rules\": [{\"name\": \"a\", \"type\": \"And\"}]}");
    auto const outcome = RunQel({"check", path});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(
        outcome.ErrorLines(),
        ElementsAre(path + ":1:13: version: 3: unknown version; allowed: 1",
                    path + ":2:33: rules[0].type: \"And\": unknown type; allowed: a type that `qel types` lists; "
                           "did you mean \"qel.observable.And\"?"));
}

TEST_F(CheckTest, WarnsWithoutRefusing) {
    auto const path = Write(R"({"rules": [{"name": "a", "type": "qel.observable.Not"}]})");
    auto const outcome = RunQel({"check", path});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_THAT(outcome.ErrorLines(),
                ElementsAre(path + ":1:12: rules[0].input: warning: not set, so the rule reads nothing there"));
}

TEST_F(CheckTest, ReadsStandardInput) {
    auto const outcome = RunQel({"check", "-"}, "{\"rules\": 1}");
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.ErrorLines(), ElementsAre("standard input:1:11: rules: 1: wrong type; allowed: a list, [...]"));
    EXPECT_THAT(RunQel({"check", "-"}, "{\"rules\": []}").OutLines(),
                ElementsAre("standard input: 0 rules and 0 zones, no mistake"));
}

TEST_F(CheckTest, TellsThatTheFileCannotBeRead) {
    auto const outcome = RunQel({"check", (directory / "missing").string()});
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.ErrorLines(), ElementsAre("qel: " + (directory / "missing").string() +
                                                  ": cannot be read: No such file or directory"));
}

TEST_F(CheckTest, KnowsTheTypesOfOtherPlugins) {
    auto const rules = R"({"rules": [{"name": "hello", "type": "qel.tests.plugin.One", "limit": 11}]})";
    auto const path = Write(rules);
    EXPECT_THAT(RunQel({"check", path}).error, testing::HasSubstr("unknown type"));
    boost::filesystem::copy_file(QEL_TEST_PLUGIN, directory / "libqel_observable_one.so");
    EXPECT_THAT(RunQel({"check", path, "--plugins", directory.GetPath().string()}).ErrorLines(),
                ElementsAre(path + ":1:71: rules[0].limit: 11: out of range; allowed: a whole number from 0 to 10"));
}

TEST_F(CheckTest, GoesOnWithoutAPluginThatCannotBeLoaded) {
    auto const path = Write(R"({"rules": []})");
    std::ofstream((directory / "libqel_observable_rubbish.so").string()) << "rubbish";
    auto const outcome = RunQel({"check", path, "--plugins", directory.GetPath().string()});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.ErrorLines().size(), 1u);
    EXPECT_THAT(outcome.error, testing::HasSubstr((directory / "libqel_observable_rubbish.so").string()));
}

}  // namespace
}  // namespace qel::tests
