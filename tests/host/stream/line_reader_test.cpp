#include "host/stream/line_reader.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <string>
#include <vector>

#include "host/failure.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LineReaderTest : public testing::Test {
protected:
    std::string Write(std::string const& text) {
        auto const path = (directory / "input").string();
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    /// The lines of a text; "(too long)" for one that is.
    std::vector<std::string> LinesOf(std::string const& text) {
        LineReader reader(Write(text), stop);
        std::vector<std::string> lines;
        std::string_view line;
        for (;;) {
            switch (reader.Next(line)) {
                case LineReader::Result::End:
                case LineReader::Result::Stopped:
                    return lines;
                case LineReader::Result::TooLong:
                    lines.emplace_back("(too long)");
                    break;
                case LineReader::Result::Line:
                    lines.emplace_back(line);
            }
            EXPECT_EQ(reader.GetLineNumber(), lines.size());
        }
    }

    tests::TemporaryDirectory directory;
    StopSignals stop;
};

TEST_F(LineReaderTest, GivesTheLinesWithoutTheirEnds) {
    EXPECT_THAT(LinesOf("one\ntwo\n"), ElementsAre("one", "two"));
    EXPECT_THAT(LinesOf("one\n\ntwo\r\n"), ElementsAre("one", "", "two\r"));
    EXPECT_THAT(LinesOf(""), IsEmpty());
    EXPECT_THAT(LinesOf("\n"), ElementsAre(""));
}

TEST_F(LineReaderTest, TakesALastLineWithoutAnEnd) {
    EXPECT_THAT(LinesOf("one\ntwo"), ElementsAre("one", "two"));
    EXPECT_THAT(LinesOf("x"), ElementsAre("x"));
}

TEST_F(LineReaderTest, DropsAMarkOfTheByteOrderBeforeTheFirstLineOnly) {
    EXPECT_THAT(LinesOf("\xEF\xBB\xBFone\n\xEF\xBB\xBFtwo"), ElementsAre("one", "\xEF\xBB\xBFtwo"));
    EXPECT_THAT(LinesOf("\xEF\xBB\xBF"), ElementsAre(""));
}

TEST_F(LineReaderTest, PutsLinesTogetherThatAreReadInPieces) {
    std::string const longLine(3'000'000, 'a');
    std::string const other(700'001, 'b');
    EXPECT_THAT(LinesOf(longLine + "\n" + other + "\nshort\n" + longLine),
                ElementsAre(longLine, other, "short", longLine));
}

TEST_F(LineReaderTest, FindsEveryLineWhereverAPieceEnds) {
    std::string text;
    std::vector<std::string> expected;
    for (std::size_t length = 0; length < 3000; ++length) {
        expected.emplace_back(length * 7919 % 1000, static_cast<char>('a' + length % 26));
        text += expected.back() + "\n";
    }
    EXPECT_EQ(LinesOf(text), expected);
}

TEST_F(LineReaderTest, PassesOverALineThatIsTooLong) {
    std::string const longest(LineReader::MaximumLength, 'x');
    EXPECT_THAT(LinesOf("one\n" + longest + "y\ntwo\n"), ElementsAre("one", "(too long)", "two"));
    EXPECT_THAT(LinesOf(longest + longest + longest + "\nlast"), ElementsAre("(too long)", "last"));
    EXPECT_THAT(LinesOf("one\n" + longest + "y"), ElementsAre("one", "(too long)"));
    EXPECT_THAT(LinesOf(longest + "\n"), ElementsAre(longest));
}

TEST_F(LineReaderTest, LetsReadingGoOnBehindEveryLine) {
    LineReader reader(Write("{}"), stop);
    std::string_view line;
    ASSERT_EQ(reader.Next(line), LineReader::Result::Line);
    char sum = 0;
    for (std::size_t at = 0; at < LineReader::Padding; ++at) {
        sum = static_cast<char>(sum + line.data()[line.size() + at]);  // the address sanitizer looks on
    }
    EXPECT_EQ(line, "{}") << static_cast<int>(sum);
}

TEST_F(LineReaderTest, SaysBeforeItMayHaveToWait) {
    LineReader reader(Write("one\ntwo\n"), stop);
    int waits = 0;
    reader.SetBeforeWaiting([&] { ++waits; });
    std::string_view line;
    reader.Next(line);
    EXPECT_EQ(waits, 1);
    reader.Next(line);
    EXPECT_EQ(waits, 1) << "the second line was there already";
    reader.Next(line);
    EXPECT_EQ(waits, 2);
}

TEST_F(LineReaderTest, StopsWhenASignalAsksToStop) {
    LineReader reader(Write("one\ntwo\n"), stop);
    std::raise(SIGTERM);
    std::string_view line;
    EXPECT_EQ(reader.Next(line), LineReader::Result::Stopped);
}

TEST_F(LineReaderTest, TellsWhyAFileCannotBeRead) {
    auto const missing = (directory / "missing").string();
    try {
        LineReader const reader(missing, stop);
        FAIL();
    } catch (Failure const& failure) {
        EXPECT_EQ(failure.what(), missing + ": cannot be read: No such file or directory");
    }
    LineReader reader(directory.GetPath().string(), stop);
    std::string_view line;
    try {
        reader.Next(line);
        FAIL();
    } catch (Failure const& failure) {
        EXPECT_EQ(failure.what(), directory.GetPath().string() + ": cannot be read: Is a directory");
    }
}

TEST_F(LineReaderTest, HasANameForMessages) {
    auto const path = Write("");
    EXPECT_EQ(LineReader(path, stop).GetName(), path);
    EXPECT_EQ(LineReader("-", stop).GetName(), "standard input");
}

}  // namespace
}  // namespace qel::host
