#include "examples/camera/event_list.hpp"

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/failure.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::camera {
namespace {

using testing::ElementsAre;

meta::Timestamp Seconds(int seconds) { return meta::Timestamp(std::chrono::seconds(seconds)); }

class EventListTest : public testing::Test {
protected:
    std::vector<RecordedEvent> Read(std::string const& text, std::uint16_t channel = 1) {
        std::ofstream(path) << text;
        return ReadEvents(path, channel, stop);
    }

    tests::TemporaryDirectory directory;
    std::string const path = (directory / "events.jsonl").string();
    host::StopSignals stop;
};

TEST_F(EventListTest, GivesEachEventFromItsStartToItsEnd) {
    auto const events = Read(
        R"({"phase": "start", "time": "1970-01-01T00:00:01Z", "channel": 1, "event": 1, "rule": "a", "objects": [{"id": 7}], "zones": []})"
        "\n"
        R"({"phase": "start", "time": "1970-01-01T00:00:02Z", "channel": 1, "event": 2, "rule": "b", "objects": [], "zones": [4, 5]})"
        "\n"
        R"({"phase": "update", "time": "1970-01-01T00:00:03Z", "channel": 1, "event": 1, "rule": "a", "objects": [], "zones": []})"
        "\n"
        R"({"phase": "end", "time": "1970-01-01T00:00:04Z", "channel": 1, "event": 1, "rule": "a", "objects": [], "zones": []})"
        "\n");
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].rule, "a");
    EXPECT_THAT(events[0].objects, ElementsAre(7));
    EXPECT_EQ(events[0].first, Seconds(1));
    EXPECT_EQ(events[0].last, Seconds(4));
    EXPECT_EQ(events[1].rule, "b");
    EXPECT_THAT(events[1].zones, ElementsAre(4, 5));
    EXPECT_EQ(events[1].first, Seconds(2));
    EXPECT_EQ(events[1].last, meta::Timestamp::max());
}

TEST_F(EventListTest, PassesOverTheEventsOfOtherChannels) {
    std::string const text =
        R"({"phase": "start", "time": "1970-01-01T00:00:01Z", "channel": 1, "event": 1, "rule": "a", "objects": [], "zones": []})"
        "\n"
        R"({"phase": "start", "time": "1970-01-01T00:00:02Z", "channel": 2, "event": 2, "rule": "b", "objects": [], "zones": []})"
        "\n"
        R"({"phase": "end", "time": "1970-01-01T00:00:03Z", "channel": 1, "event": 1, "rule": "a", "objects": [], "zones": []})"
        "\n"
        R"({"phase": "end", "time": "1970-01-01T00:00:04Z", "channel": 2, "event": 2, "rule": "b", "objects": [], "zones": []})"
        "\n";
    auto const events = Read(text, 2);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].rule, "b");
    EXPECT_EQ(events[0].first, Seconds(2));
    EXPECT_EQ(events[0].last, Seconds(4));
    EXPECT_TRUE(Read(text, 3).empty());
}

TEST_F(EventListTest, TellsWhichLineIsNoEvent) {
    try {
        Read(
            "{\"phase\": \"update\", \"channel\": 1, \"event\": 1}\n{\"phase\": \"start\", \"channel\": 1, \"event\": "
            "1, \"time\": \"noon\", \"rule\": "
            "\"a\"}\n");
        FAIL() << "the second line was read";
    } catch (host::Failure const& failure) {
        EXPECT_EQ(std::string(failure.what()), path + ":2: not an event: \"noon\" is not a time");
    }
}

TEST_F(EventListTest, RefusesAnEndWithoutAStart) {
    EXPECT_THROW(Read("{\"phase\": \"end\", \"channel\": 1, \"event\": 1, \"time\": \"1970-01-01T00:00:04Z\"}\n"),
                 host::Failure);
}

}  // namespace
}  // namespace qel::camera
