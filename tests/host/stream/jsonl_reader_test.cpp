#include "host/stream/jsonl_reader.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/host/support/streams.hpp"

namespace qel::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Read(std::string const& stream) { return tests::ReadStream<JsonlReader>(stream); }

TEST(JsonlReaderTest, ReadsAFrameFromEachLine) {
    EXPECT_THAT(Read(R"({"timestamp": 40000000, "channel": {"id": 1, "name": "Gate camera"}, )"
                     R"("objects": [{"id": 7, "class": "person", "box": [0.5, 0.25, 0.125, 0.5], "confidence": 0.9}, )"
                     R"({"id": 3, "class": "dog", "box": [1, 2, 3, 4], "confidence": 1}]})"
                     "\n"
                     R"({"timestamp": 80000000, "channel": {"id": 2, "name": ""}, "objects": []})"),
                ElementsAre("40ms channel 1 Gate camera: 7 person [0.5 0.25 0.125 0.5] 0.9 3 dog [1 2 3 4] 1",
                            "80ms channel 2:"));
}

TEST(JsonlReaderTest, FillsInWhatMayBeMissing) {
    EXPECT_THAT(Read(R"({"timestamp": 0})"
                     "\n"
                     R"({"timestamp": 1, "objects": [{"id": 1, "box": [0, 0, 0, 0]}]})"
                     "\n"
                     R"({"timestamp": 2, "channel": {"id": 65535}})"),
                ElementsAre("0ms channel 0:", "1ns channel 0: 1 ? [0 0 0 0] 1", "2ns channel 65535:"));
}

TEST(JsonlReaderTest, DoesNotKeepAnythingOfTheFrameBefore) {
    EXPECT_THAT(Read(R"({"timestamp": 0, "channel": {"id": 3, "name": "x"}, "objects": [{"id": 1, "box": [0,0,0,0]}]})"
                     "\n"
                     R"({"timestamp": 0})"),
                ElementsAre("0ms channel 3 x: 1 ? [0 0 0 0] 1", "0ms channel 0:"));
}

TEST(JsonlReaderTest, TakesTimesAsNanosecondsOrAsText) {
    EXPECT_THAT(Read(R"({"timestamp": -1})"
                     "\n"
                     R"({"timestamp": 9223372036854775807})"
                     "\n"
                     R"({"timestamp": "1970-01-01T01:00:00.5+01:00"})"),
                ElementsAre("-1ns channel 0:", "9223372036854775807ns channel 0:", "500ms channel 0:"));
}

TEST(JsonlReaderTest, PassesOverBlankLinesAndUnknownKeys) {
    EXPECT_THAT(
        Read("\n   \t\r\n"
             R"({"timestamp": 0, "source": {"deep": [1, {"id": 4}]}, "objects": [{"id": 1, "box": [0, 0, 0, 0], )"
             R"("speed": null}], "channel": {"id": 1, "site": 4}})"
             "\r\n\n"),
        ElementsAre("0ms channel 1: 1 ? [0 0 0 0] 1"));
}

TEST(JsonlReaderTest, TakesAnEmptyStream) {
    EXPECT_THAT(Read(""), IsEmpty());
    EXPECT_THAT(Read("\n\n"), IsEmpty());
}

TEST(JsonlReaderTest, GoesOnBehindALineThatItCannotRead) {
    EXPECT_THAT(Read("{\"timestamp\": 0}\n{}\n{\"timestamp\": 1}\n"),
                ElementsAre("0ms channel 0:",
                            "line:2: timestamp: missing; allowed: nanoseconds since 1970 as a whole number, or an RFC "
                            "3339 text, from 1677-09-21 to 2262-04-11",
                            "1ns channel 0:"));
}

TEST(JsonlReaderTest, CountsPlacesOutsideThePictureAsPlaces) {
    EXPECT_THAT(Read(R"({"timestamp": 0, "objects": [{"id": 4294967295, "box": [-1.5, 2e3, 0, 1]}]})"),
                ElementsAre("0ms channel 0: 4294967295 ? [-1.5 2000 0 1] 1"));
}

struct Unreadable {
    char const* name;
    char const* line;
    char const* message;
};

class JsonlReaderMistakeTest : public testing::TestWithParam<Unreadable> {};

TEST_P(JsonlReaderMistakeTest, IsTold) {
    EXPECT_THAT(Read(GetParam().line), ElementsAre(std::string("line:1: ") + GetParam().message));
}

constexpr auto TimeAllowed =
    "; allowed: nanoseconds since 1970 as a whole number, or an RFC 3339 text, from 1677-09-21 to 2262-04-11";

std::string Time(std::string const& problem) { return problem + TimeAllowed; }

std::string const BoxAllowed = "; allowed: [left, top, width, height], four numbers, no negative width or height";

TEST(JsonlReaderMistakeTest, IsToldOfTimes) {
    EXPECT_THAT(Read(R"({"timestamp": 1.5})"), ElementsAre(Time("line:1: timestamp: 1.5: wrong type")));
    EXPECT_THAT(Read(R"({"timestamp": "noon"})"), ElementsAre(Time("line:1: timestamp: \"noon\": not a time")));
    EXPECT_THAT(Read(R"({"timestamp": null})"), ElementsAre(Time("line:1: timestamp: null: wrong type")));
    EXPECT_THAT(Read(R"({"timestamp": 9223372036854775808})"),
                ElementsAre(Time("line:1: timestamp: 9223372036854775808: out of range")));
    EXPECT_THAT(Read(R"({"objects": []})"), ElementsAre(Time("line:1: timestamp: missing")));
}

TEST(JsonlReaderMistakeTest, IsToldOfBoxes) {
    auto const read = [](std::string const& box) {
        return Read(R"({"timestamp": 0, "objects": [{"id": 1, "box": [0, 0, 1, 1]}, {"id": 2)" + box + "}]}");
    };
    EXPECT_THAT(read(""), ElementsAre("line:1: objects[1].box: missing" + BoxAllowed));
    EXPECT_THAT(read(R"(, "box": 3)"), ElementsAre("line:1: objects[1].box: 3: wrong type" + BoxAllowed));
    EXPECT_THAT(read(R"(, "box": [0, 0, 1])"),
                ElementsAre("line:1: objects[1].box: [0,0,1]: too few numbers" + BoxAllowed));
    EXPECT_THAT(read(R"(, "box": [0, 0, 1, 1, 1])"),
                ElementsAre("line:1: objects[1].box: [0,0,1,1,1]: too many numbers" + BoxAllowed));
    EXPECT_THAT(read(R"(, "box": [0, 0, "1", 1])"),
                ElementsAre("line:1: objects[1].box: \"1\": wrong type" + BoxAllowed));
    EXPECT_THAT(read(R"(, "box": [0, 0, -0.5, 1])"),
                ElementsAre("line:1: objects[1].box: [0,0,-0.5,1]: negative size" + BoxAllowed));
    EXPECT_THAT(read(R"(, "box": [0, 0, 1, -1e-300])"),
                ElementsAre("line:1: objects[1].box: [0,0,1,-1e-300]: negative size" + BoxAllowed));
}

INSTANTIATE_TEST_SUITE_P(
    JsonlReader, JsonlReaderMistakeTest,
    testing::Values(
        Unreadable{"ANumber", "5", "5: wrong type; allowed: an object, {...}"},
        Unreadable{"AList", "[]", "[]: wrong type; allowed: an object, {...}"},
        Unreadable{"RepeatedKey", R"({"timestamp": 1, "timestamp": 2})",
                   "timestamp: 2: repeated key; allowed: each key once"},
        Unreadable{"ChannelNumber", R"({"timestamp": 1, "channel": 1})",
                   "channel: 1: wrong type; allowed: an object, {...}"},
        Unreadable{"ChannelWithoutId", R"({"timestamp": 1, "channel": {}})",
                   "channel.id: missing; allowed: a whole number from 0 to 65535"},
        Unreadable{"HighChannel", R"({"timestamp": 1, "channel": {"id": 65536}})",
                   "channel.id: 65536: out of range; allowed: a whole number from 0 to 65535"},
        Unreadable{"ChannelName", R"({"timestamp": 1, "channel": {"id": 1, "name": 4}})",
                   "channel.name: 4: wrong type; allowed: a text"},
        Unreadable{"Objects", R"({"timestamp": 1, "objects": {}})", "objects: {}: wrong type; allowed: a list, [...]"},
        Unreadable{"NoObjects", R"({"timestamp": 1, "objects": null})",
                   "objects: null: wrong type; allowed: a list, [...]"},
        Unreadable{"AnObject", R"({"timestamp": 1, "objects": [7]})",
                   "objects[0]: 7: wrong type; allowed: an object, {...}"},
        Unreadable{"MissingId", R"({"timestamp": 1, "objects": [{"box": [0, 0, 1, 1]}]})",
                   "objects[0].id: missing; allowed: a whole number from 0 to 4294967295"},
        Unreadable{"NegativeId", R"({"timestamp": 1, "objects": [{"id": -1, "box": [0, 0, 1, 1]}]})",
                   "objects[0].id: -1: out of range; allowed: a whole number from 0 to 4294967295"},
        Unreadable{"HighId", R"({"timestamp": 1, "objects": [{"id": 4294967296, "box": [0, 0, 1, 1]}]})",
                   "objects[0].id: 4294967296: out of range; allowed: a whole number from 0 to 4294967295"},
        Unreadable{"FractionalId", R"({"timestamp": 1, "objects": [{"id": 1.5, "box": [0, 0, 1, 1]}]})",
                   "objects[0].id: 1.5: wrong type; allowed: a whole number from 0 to 4294967295"},
        Unreadable{"IdTwice",
                   R"({"timestamp": 1, "objects": [{"id": 4, "box": [0, 0, 1, 1]}, {"id": 4, "box": [0, 0, 1, 1]}]})",
                   "objects[1].id: 4: twice in one frame; allowed: each id once"},
        Unreadable{"Class", R"({"timestamp": 1, "objects": [{"id": 4, "class": 2, "box": [0, 0, 1, 1]}]})",
                   "objects[0].class: 2: wrong type; allowed: a text"},
        Unreadable{"Confidence",
                   R"({"timestamp": 1, "objects": [{"id": 4, "confidence": "high", "box": [0, 0, 1, 1]}]})",
                   "objects[0].confidence: \"high\": wrong type; allowed: a number"},
        Unreadable{"Truncated", R"({"timestamp": 1, "objects": [)",
                   R"({"timestamp": 1, "objects": [: not JSON: The JSON document has an improper structure: )"
                   R"(missing or superfluous commas, braces, missing keys, etc.; allowed: an object, {...})"},
        Unreadable{"NotFinite", R"({"timestamp": 1, "objects": [{"id": 4, "box": [0, 0, 1, NaN]}]})",
                   R"({"timestamp": 1, "objects": [{"id": 4, "box": [0, 0, 1, NaN]}]}: not JSON: The JSON )"
                   R"(document has an improper structure: missing or superfluous commas, braces, missing keys, etc.; )"
                   R"(allowed: an object, {...})"}),
    [](auto const& info) { return std::string(info.param.name); });

TEST(JsonlReaderTest, ReadsEveryLineOfRubbishToItsEnd) {
    std::string rubbish;
    unsigned int state = 1;
    for (int at = 0; at < 200'000; ++at) {
        state = state * 1664525 + 1013904223;
        rubbish += static_cast<char>(state >> 24);
    }
    auto const result = Read(rubbish);
    EXPECT_GT(result.size(), 500u);
    for (auto const& line : result) {
        EXPECT_THAT(line, testing::StartsWith("line:"));
        EXPECT_THAT(line, testing::HasSubstr("not JSON: "));
    }
}

TEST(JsonlReaderTest, SurvivesDeepNestingAndHugeNumbers) {
    std::string const deep(1'000'000, '[');
    EXPECT_THAT(Read(deep), ElementsAre(testing::HasSubstr("not JSON: ")));
    EXPECT_THAT(Read("{\"timestamp\": 0, \"x\": " + std::string(900, '[') + std::string(900, ']') + "}"),
                ElementsAre("0ms channel 0:"));
    EXPECT_THAT(Read("{\"timestamp\": 1e999}"), ElementsAre(testing::HasSubstr("not JSON: ")));
    EXPECT_THAT(Read("{\"timestamp\": " + std::string(100'000, '9') + "}"),
                ElementsAre(testing::HasSubstr("not JSON: ")));
    EXPECT_THAT(Read("{\"timestamp\": 0, \"channel\": {\"id\": 1, \"name\": \"\xff\"}}"),
                ElementsAre(testing::HasSubstr("name\": \"?\"}}: not JSON: The input is not valid UTF-8")));
}

TEST(JsonlReaderTest, TellsOfALineThatIsTooLong) {
    EXPECT_THAT(Read("{\"x\": \"" + std::string(LineReader::MaximumLength, 'x') + "\"}\n{\"timestamp\": 0}"),
                ElementsAre("line:1: line too long; allowed: 16 MiB", "0ms channel 0:"));
}

}  // namespace
}  // namespace qel::host
