// What the pages show is what the program takes and gives.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/system/read_file.hpp"
#include "tests/host/support/program.hpp"

namespace qel::tests {
namespace {

using testing::HasSubstr;

std::filesystem::path const root = QEL_ROOT;

/// The blocks of a page that are in this language.
std::vector<std::string> BlocksOf(char const* page, std::string const& language) {
    std::string const text = host::ReadWholeFile(root / "docs" / page);
    std::string const fence = "```" + language + "\n";
    std::vector<std::string> blocks;
    for (std::size_t at = text.find(fence); at != std::string::npos; at = text.find(fence, at)) {
        at += fence.size();
        blocks.push_back(text.substr(at, text.find("```", at) - at));
    }
    EXPECT_FALSE(blocks.empty()) << page << " shows no " << language;
    return blocks;
}

std::string Scenario(char const* name, char const* file) {
    return host::ReadWholeFile(root / "tests" / "scenarios" / name / file);
}

TEST(DocumentsTest, ShowARuleFileThatIsEvaluated) {
    for (auto const& block : BlocksOf("rule_file.md", "json")) {
        EXPECT_EQ(block, Scenario("gate_then_kerb", "rules.json"));
    }
}

TEST(DocumentsTest, ShowFramesThatAreReadAndEventsThatAreWritten) {
    auto const known = Scenario("two_channels", "frames.jsonl") + Scenario("gate_then_kerb", "expected.jsonl");
    for (auto const& block : BlocksOf("streams.md", "jsonl")) {
        EXPECT_THAT(known, HasSubstr(block));
    }
}

TEST(DocumentsTest, ShowMistakesAsTheyAreTold) {
    auto const folder = (root / "tests" / "host" / "program").string() + "/";
    auto const outcome = RunQel({"check", folder + "mistakes.json"});
    EXPECT_EQ(outcome.code, 1);
    std::string told;
    for (auto const& line : outcome.ErrorLines()) {
        ASSERT_EQ(line.substr(0, folder.size()), folder);
        told += line.substr(folder.size()) + "\n";
    }
    EXPECT_EQ(outcome.ErrorLines().size(), 10u);
    EXPECT_EQ(told, host::ReadWholeFile(folder + "mistakes.txt"));
    for (auto const& block : BlocksOf("rule_file.md", "text")) {
        EXPECT_THAT(told, HasSubstr(block));
    }
}

}  // namespace
}  // namespace qel::tests
