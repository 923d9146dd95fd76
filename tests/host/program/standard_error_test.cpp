// The program where nobody reads its messages: it does its work all the same.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/system/read_file.hpp"
#include "tests/host/support/program.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using Streams = Program::Streams;

class StandardErrorTest : public testing::TestWithParam<Streams> {
protected:
    StandardErrorTest() {
        std::ofstream(rules) << R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1], [0, 1]]}], "rules": [
            {"name": "here", "type": "qel.observable.spatial.Presence", "zone": 1}]})";
        std::ofstream(stream) << R"({"timestamp": 0, "objects": [{"id": 7, "box": [0.4, 0.4, 0.1, 0.1]}]})"
                              << "\nnot a frame\n";
    }

    Outcome Run(std::vector<std::string> const& arguments) const { return Program(arguments, GetParam()).Finish(); }

    TemporaryDirectory const directory;
    std::string const rules = (directory / "rules.json").string();
    std::string const stream = (directory / "frames.jsonl").string();
};

TEST_P(StandardErrorTest, RunsToTheEndAndClosesWhatIsOpen) {
    auto const expected = RunQel({"run", "--rules", rules, "--input", stream, "--on-error", "skip"});
    ASSERT_EQ(expected.OutLines().size(), 2u);
    auto const outcome = Run({"run", "--rules", rules, "--input", stream, "--on-error", "skip"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.out, expected.out);
    EXPECT_EQ(Run({"run", "--rules", rules, "--input", stream}).code, 1);
    EXPECT_EQ(Run({"run", "--rules", rules, "--input", stream}).out, expected.out);
}

TEST_P(StandardErrorTest, EndsWithTheCodeOfWhatIsWrong) {
    std::ofstream(rules) << "{}}";
    EXPECT_EQ(Run({"check", rules}).code, 1);
    EXPECT_EQ(Run({"run", "--rules", rules, "--input", stream}).code, 1);
    EXPECT_EQ(Run({"chekc"}).code, 2);
    EXPECT_EQ(Run({"run"}).code, 2);
    EXPECT_EQ(Run({"types", "Previos"}).code, 2);
}

TEST_P(StandardErrorTest, GetsNoMessageIntoAFileThatIsWritten) {
    auto const output = (directory / "events.jsonl").string();
    EXPECT_EQ(Run({"run", "--rules", rules, "--input", stream, "--on-error", "skip", "--output", output}).code, 0);
    EXPECT_EQ(host::ReadWholeFile(output), RunQel({"run", "--rules", rules, "--input", stream}).out);
}

INSTANTIATE_TEST_SUITE_P(Broken, StandardErrorTest, testing::Values(Streams::FullError, Streams::ClosedError),
                         [](auto const& info) { return info.param == Streams::FullError ? "Full" : "Closed"; });

}  // namespace
}  // namespace qel::tests
