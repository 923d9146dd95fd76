#include "host/stream/mot_reader.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/host/support/streams.hpp"

namespace qel::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// At ten frames a second in a picture of 100 x 200 pixels.
std::vector<std::string> Read(std::string const& stream, meta::Timestamp start = {}) {
    return tests::ReadStream<MotReader>(stream, FrameClock(start, 10), MotReader::Picture{100, 200});
}

TEST(MotReaderTest, PutsTheLinesOfAFrameTogether) {
    EXPECT_THAT(Read("1,1,10,20,30,40,1,-1,-1,-1\n1,2,50,100,25,50,1,-1,-1,-1\n2,1,20,20,30,40,1,-1,-1,-1\n"),
                ElementsAre("0ms channel 0: 1 ? [0.1 0.1 0.3 0.2] 1 2 ? [0.5 0.5 0.25 0.25] 1",
                            "100ms channel 0: 1 ? [0.2 0.1 0.3 0.2] 1"));
}

TEST(MotReaderTest, PutsFrameOneAtTheStart) {
    EXPECT_THAT(Read("1,1,0,0,0,0\n", meta::Timestamp(std::chrono::hours(1))),
                ElementsAre("3600000ms channel 0: 1 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, TakesMissingFramesForEmptyOnes) {
    EXPECT_THAT(Read("3,1,0,0,0,0\n6,1,0,0,0,0\n"),
                ElementsAre("0ms channel 0:", "100ms channel 0:", "200ms channel 0: 1 ? [0 0 0 0] 1",
                            "300ms channel 0:", "400ms channel 0:", "500ms channel 0: 1 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, TakesAnEmptyStream) {
    EXPECT_THAT(Read(""), IsEmpty());
    EXPECT_THAT(Read("\n \t\r\n"), IsEmpty());
}

TEST(MotReaderTest, TakesFramesAsTheyComeWhenTheyRunBackwards) {
    EXPECT_THAT(Read("2,1,0,0,0,0\n1,1,0,0,0,0\n2,5,0,0,0,0\n"),
                ElementsAre("0ms channel 0:", "100ms channel 0: 1 ? [0 0 0 0] 1", "0ms channel 0: 1 ? [0 0 0 0] 1",
                            "100ms channel 0: 5 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, InventsNoFramesBehindOneThatCameBefore) {
    EXPECT_THAT(Read("1,1,0,0,0,0\n2,2,0,0,0,0\n3,3,0,0,0,0\n2,4,0,0,0,0\n4,5,0,0,0,0\n"),
                ElementsAre("0ms channel 0: 1 ? [0 0 0 0] 1", "100ms channel 0: 2 ? [0 0 0 0] 1",
                            "200ms channel 0: 3 ? [0 0 0 0] 1", "100ms channel 0: 4 ? [0 0 0 0] 1",
                            "300ms channel 0: 5 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, TakesNumbersAsProgramsWriteThem) {
    EXPECT_THAT(Read(" 1.00 , 7.00,\t1e1, -20.5 ,30,40.0 , 0.5\r\n\n1,8,0,0,0,0"),
                ElementsAre("0ms channel 0: 7 ? [0.1 -0.1025 0.3 0.2] 0.5 8 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, KnowsTheClassesOfTheBenchmark) {
    EXPECT_THAT(
        Read("1,1,0,0,0,0,1,1,0.5\n1,2,0,0,0,0,1,3\n1,3,0,0,0,0,1,13,1\n1,4,0,0,0,0,1,99,1\n1,5,0,0,0,0,1,-1,1\n"),
        ElementsAre("0ms channel 0: 1 person [0 0 0 0] 1 2 car [0 0 0 0] 1 3 crowd [0 0 0 0] 1 "
                    "4 99 [0 0 0 0] 1 5 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, TakesTheLastThreeOfTenColumnsForAPlaceOnTheGround) {
    EXPECT_THAT(Read("1,1,0,0,0,0,1,4.4852,5.5016,0\n"), ElementsAre("0ms channel 0: 1 ? [0 0 0 0] 1"));
    EXPECT_THAT(Read("1,1,0,0,0,0,1,3,5.5,0\n"), ElementsAre("0ms channel 0: 1 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, TakesAConfidenceOfMinusOneForNone) {
    EXPECT_THAT(Read("1,1,0,0,0,0,-1,-1,-1,-1\n1,2,0,0,0,0,0\n1,3,0,0,0,0,-0.5\n"),
                ElementsAre("0ms channel 0: 1 ? [0 0 0 0] 1 2 ? [0 0 0 0] 0 3 ? [0 0 0 0] -0.5"));
}

TEST(MotReaderTest, ReadsTheRestOfAFrameBehindALineThatItCannotRead) {
    EXPECT_THAT(Read("1,1,0,0,0,0\n1,x,0,0,0,0\n1,2,0,0,0,0\nrubbish\n2,1,0,0,0,0\n"),
                ElementsAre("line:2: id: x: not a number; allowed: a finite number",
                            "line:4: frame: rubbish: not a number; allowed: a finite number",
                            "0ms channel 0: 1 ? [0 0 0 0] 1 2 ? [0 0 0 0] 1", "100ms channel 0: 1 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, HandsOutAFrameBeforeItTellsOfALineOfALaterOne) {
    EXPECT_THAT(Read("1,1,0,0,0,0\n2,x,0,0,0,0\n2,2,0,0,0,0\n3,-1,0,0,0,0\n"),
                ElementsAre("0ms channel 0: 1 ? [0 0 0 0] 1", "line:2: id: x: not a number; allowed: a finite number",
                            "100ms channel 0: 2 ? [0 0 0 0] 1",
                            "line:4: id: -1: not an id; allowed: a whole number from 0 to 4294967295"));
}

TEST(MotReaderTest, RefusesAnIdTwiceInOneFrame) {
    EXPECT_THAT(Read("1,1,0,0,0,0\n1,1,50,0,0,0\n2,1,0,0,0,0\n"),
                ElementsAre("line:2: id: 1: twice in one frame; allowed: each id once",
                            "0ms channel 0: 1 ? [0 0 0 0] 1", "100ms channel 0: 1 ? [0 0 0 0] 1"));
}

TEST(MotReaderTest, RefusesAHugeGapInsteadOfFillingIt) {
    EXPECT_THAT(Read("1,1,0,0,0,0\n1000003,1,0,0,0,0\n2,1,0,0,0,0\n"),
                ElementsAre("0ms channel 0: 1 ? [0 0 0 0] 1",
                            "line:2: frame: 1000003: too far behind frame 1; allowed: gaps of up to 1000000 frames",
                            "100ms channel 0: 1 ? [0 0 0 0] 1"));
}

struct Unreadable {
    char const* name;
    char const* line;
    char const* message;
};

class MotReaderMistakeTest : public testing::TestWithParam<Unreadable> {};

TEST_P(MotReaderMistakeTest, IsTold) {
    EXPECT_THAT(Read(GetParam().line), ElementsAre(std::string("line:1: ") + GetParam().message));
}

INSTANTIATE_TEST_SUITE_P(
    MotReader, MotReaderMistakeTest,
    testing::Values(
        Unreadable{"FrameZero", "0,1,0,0,0,0",
                   "frame: 0: not the number of a frame; allowed: a whole number from 1 to the last frame before "
                   "2262-04-11"},
        Unreadable{"HalfAFrame", "1.5,1,0,0,0,0",
                   "frame: 1.5: not the number of a frame; allowed: a whole number from 1 to the last frame before "
                   "2262-04-11"},
        Unreadable{"FrameAfterTheEndOfTime", "92233720370,1,0,0,0,0",
                   "frame: 92233720370: not the number of a frame; allowed: a whole number from 1 to the last frame "
                   "before 2262-04-11"},
        Unreadable{"HugeFrame", "1e300,1,0,0,0,0",
                   "frame: 1e300: not the number of a frame; allowed: a whole number from 1 to the last frame before "
                   "2262-04-11"},
        Unreadable{"NegativeId", "1,-1,0,0,0,0", "id: -1: not an id; allowed: a whole number from 0 to 4294967295"},
        Unreadable{"HalfAnId", "1,2.5,0,0,0,0", "id: 2.5: not an id; allowed: a whole number from 0 to 4294967295"},
        Unreadable{"HighId", "1,4294967296,0,0,0,0",
                   "id: 4294967296: not an id; allowed: a whole number from 0 to 4294967295"},
        Unreadable{"NegativeWidth", "1,1,0,0,-1,0", "width: 1,1,0,0,-1,0: negative size; allowed: 0 or more"},
        Unreadable{"NegativeHeight", "1,1,0,0,0,-1", "height: 1,1,0,0,0,-1: negative size; allowed: 0 or more"},
        Unreadable{"NotANumber", "1,1,nan,0,0,0", "left: nan: not a number; allowed: a finite number"},
        Unreadable{"Infinite", "1,1,0,inf,0,0", "top: inf: not a number; allowed: a finite number"},
        Unreadable{"TooLarge", "1,1,0,1e999,0,0", "top: 1e999: not a number; allowed: a finite number"},
        Unreadable{"InfiniteVisibility", "1,1,0,0,0,0,1,1,inf",
                   "visibility: inf: not a number; allowed: a finite number"},
        Unreadable{"TrailingText", "1,1,0,0,0,5px", "height: 5px: not a number; allowed: a finite number"},
        Unreadable{"EmptyColumn", "1,1,,0,0,0", "left: not a number; allowed: a finite number"},
        Unreadable{"TooFew", "1,1,0,0,0",
                   "1,1,0,0,0: too few columns; allowed: 6 to 10 numbers with commas between them"},
        Unreadable{"TooMany", "1,1,0,0,0,0,1,1,1,1,1",
                   "1,1,0,0,0,0,1,1,1,1,1: too many columns; allowed: 6 to 10 numbers with commas between them"},
        Unreadable{"Class", "1,1,0,0,0,0,1,2.5,1",
                   "class: 1,1,0,0,0,0,1,2.5,1: not a class; allowed: a whole number, -1 when unknown"}),
    [](auto const& info) { return std::string(info.param.name); });

TEST(MotReaderTest, TellsOfALineThatIsTooLong) {
    EXPECT_THAT(Read(std::string(LineReader::MaximumLength + 1, '1') + "\n1,1,0,0,0,0"),
                ElementsAre("line:1: line too long; allowed: 16 MiB", "0ms channel 0: 1 ? [0 0 0 0] 1"));
}

}  // namespace
}  // namespace qel::host
