// Each folder beside this file is a rule file, a stream and the events that come of them, byte by byte; arguments.txt,
// where it is there, holds more arguments of `qel run`, one a line.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/system/read_file.hpp"
#include "tests/host/support/program.hpp"

namespace qel::tests {
namespace {

std::vector<std::string> Scenarios() {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(QEL_SCENARIOS)) {
        if (entry.is_directory()) {
            names.push_back(entry.path().filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

class ScenarioTest : public testing::TestWithParam<std::string> {};

TEST_P(ScenarioTest, GivesTheExpectedEvents) {
    std::filesystem::path const folder = std::filesystem::path(QEL_SCENARIOS) / GetParam();
    std::vector<std::string> arguments{"run", "--rules", folder / "rules.json", "--input", folder / "frames.jsonl"};
    std::ifstream more(folder / "arguments.txt");
    for (std::string argument; std::getline(more, argument);) {
        arguments.push_back(argument);
    }
    auto const outcome = RunQel(arguments);
    EXPECT_EQ(outcome.code, 0) << outcome.error;
    EXPECT_EQ(outcome.out, host::ReadWholeFile(folder / "expected.jsonl"));
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ScenarioTest, testing::ValuesIn(Scenarios()),
                         [](auto const& info) { return info.param; });

}  // namespace
}  // namespace qel::tests
