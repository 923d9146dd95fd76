// A run that writes to a file, killed and resumed.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/system/read_file.hpp"
#include "tests/host/support/program.hpp"
#include "tests/support/random.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using testing::ElementsAre;

class ResumeTest : public testing::Test {
protected:
    ResumeTest() {
        std::ofstream(rules) << R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1], [0, 1]]}], "rules": [
            {"name": "here", "type": "qel.observable.spatial.Presence", "zone": 1}]})";
    }

    void MakeStream(int frames) {
        std::ofstream stream(input);
        for (int frame = 0; frame < frames; ++frame) {
            stream << fmt::format("{{\"timestamp\": {}, \"channel\": {{\"id\": {}}}, \"objects\": [",
                                  frame * 40'000'000ll, frame % 3);
            for (int id = 0; id < 10; ++id) {
                stream << fmt::format("{}{{\"id\": {}, \"box\": [0.4, 0.4, 0.1, 0.1]}}", id > 0 ? ", " : "", id);
            }
            stream << "]}\n";
        }
    }

    std::vector<std::string> Arguments(std::vector<std::string> const& more = {}) const {
        std::vector<std::string> arguments{"run", "--updates", "--rules", rules, "--input", input, "--output", output};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    /// What an undisturbed run writes.
    std::string Expected() {
        EXPECT_EQ(RunQel(Arguments()).code, 0);
        auto text = host::ReadWholeFile(output);
        std::filesystem::remove(output);
        return text;
    }

    std::uintmax_t Size() const {
        std::error_code missing;
        auto const size = std::filesystem::file_size(output, missing);
        return missing ? 0 : size;
    }

    TemporaryDirectory const directory;
    std::string const rules = (directory / "rules.json").string();
    std::string const input = (directory / "frames.jsonl").string();
    std::string const output = (directory / "events.jsonl").string();
};

TEST_F(ResumeTest, EndsWithTheBytesOfAnUndisturbedRunAfterFiftyKills) {
    constexpr int Kills = 50;
    MakeStream(1500);
    std::string const expected = Expected();
    Random random(20);
    int killed = 0;
    for (int run = 0; killed < Kills; ++run) {
        ASSERT_LT(run, 10 * Kills) << "too few are caught before they end";
        std::uintmax_t const enough = Size() + random.Below(expected.size() / Kills);
        Program program(Arguments({"--resume", "--jobs", std::to_string(1 + run % 2)}));
        while (Size() < enough && program.IsRunning()) {
        }
        program.Signal(SIGKILL);
        int const code = program.Finish().code;
        killed += code == 128 + SIGKILL;
        ASSERT_TRUE(code == 128 + SIGKILL || code == 0);
        std::string const left = host::ReadWholeFile(output);
        ASSERT_TRUE(expected.starts_with(left));
        if (code == 0) {
            std::filesystem::resize_file(output, random.Below(left.size()));
        } else if (run % 2 == 0 && !left.empty()) {  // as if the kill had fallen into a write
            std::filesystem::resize_file(output, left.size() - random.Below(400) % left.size());
        }
    }
    EXPECT_EQ(RunQel(Arguments({"--resume"})).code, 0);
    EXPECT_TRUE(host::ReadWholeFile(output) == expected);
}

TEST_F(ResumeTest, LeavesAWholeOutputAsItIs) {
    MakeStream(10);
    RunQel(Arguments());
    auto const whole = host::ReadWholeFile(output);
    EXPECT_EQ(RunQel(Arguments({"--resume"})).code, 0);
    EXPECT_EQ(host::ReadWholeFile(output), whole);
}

TEST_F(ResumeTest, RefusesTheOutputOfAnotherRun) {
    MakeStream(10);
    RunQel(Arguments());
    auto const whole = host::ReadWholeFile(output);
    MakeStream(9);
    auto const outcome = RunQel(Arguments({"--resume"}));
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.ErrorLines(),
                ElementsAre("qel: " + output + ":91: not what this run writes there; the file is of another"));
    EXPECT_EQ(host::ReadWholeFile(output), whole);
}

TEST_F(ResumeTest, NeedsFiles) {
    for (auto const& files : {std::vector<std::string>{"--input", input}, {"--output", output}}) {
        std::vector<std::string> arguments{"run", "--rules", rules, "--resume"};
        arguments.insert(arguments.end(), files.begin(), files.end());
        auto const outcome = RunQel(arguments);
        EXPECT_EQ(outcome.code, 2);
        EXPECT_THAT(outcome.ErrorLines(),
                    ElementsAre("qel: --resume needs --input and --output with files, which it reads again"));
    }
}

}  // namespace
}  // namespace qel::tests
