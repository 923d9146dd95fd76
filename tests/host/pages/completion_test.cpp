#include "host/pages/completion.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/host/pages/command.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What bash offers for the last of these words.
class CompletionTest : public testing::Test {
protected:
    CompletionTest() { std::ofstream(script) << host::MakeBashCompletion(Command().program); }

    std::vector<std::string> Offered(std::string const& words) const {
        std::string const command = "bash -euc 'source \"$0\"; COMP_WORDS=(" + words +
                                    "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _walk; "
                                    "printf \"%s\\n\" \"${COMPREPLY[@]}\"' '" +
                                    script + "'";
        auto* const pipe = popen(command.c_str(), "r");
        std::string text;
        for (int letter = std::getc(pipe); letter != EOF; letter = std::getc(pipe)) {
            text += static_cast<char>(letter);
        }
        EXPECT_EQ(pclose(pipe), 0) << command;
        std::istringstream lines(text);
        std::vector<std::string> offered;
        for (std::string line; std::getline(lines, line);) {
            if (!line.empty()) {
                offered.push_back(line);
            }
        }
        return offered;
    }

private:
    TemporaryDirectory const directory;
    std::string const script = (directory / "completion").string();
};

TEST_F(CompletionTest, OffersCommandsAndOptionsOfTheProgram) {
    EXPECT_THAT(Offered("walk \"\""), ElementsAre("to", "-h", "--help"));
    EXPECT_THAT(Offered("walk t"), ElementsAre("to"));
    EXPECT_THAT(Offered("walk --"), ElementsAre("--help"));
    EXPECT_THAT(Offered("walk x"), IsEmpty());
}

TEST_F(CompletionTest, OffersTheOptionsOfTheCommandThatIsNamed) {
    EXPECT_THAT(Offered("walk to -"), ElementsAre("-h", "--help", "-f", "--file", "--pace", "--steps", "--quiet"));
    EXPECT_THAT(Offered("walk to HERE --qu"), ElementsAre("--quiet"));
    EXPECT_THAT(Offered("walk fro --"), IsEmpty());
}

TEST_F(CompletionTest, OffersTheValuesOfAnOptionThatAllowsOnlySome) {
    EXPECT_THAT(Offered("walk to --pace \"\""), ElementsAre("slow", "fast"));
    EXPECT_THAT(Offered("walk to --pace f"), ElementsAre("fast"));
}

TEST_F(CompletionTest, LeavesOtherValuesAndWordsToFileNames) {
    EXPECT_THAT(Offered("walk to --file \"\""), IsEmpty());
    EXPECT_THAT(Offered("walk to -f -"), IsEmpty());
    EXPECT_THAT(Offered("walk to --steps -"), IsEmpty());
    EXPECT_THAT(Offered("walk to --quiet \"\""), IsEmpty());
}

}  // namespace
}  // namespace qel::tests
