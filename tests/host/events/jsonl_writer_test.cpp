#include "host/events/jsonl_writer.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/data/zone.hpp"
#include "host/events/json_text.hpp"
#include "host/system/read_file.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

using meta::data::Event;

meta::Timestamp Nanoseconds(std::int64_t count) { return meta::Timestamp(std::chrono::nanoseconds(count)); }

/// What the writer makes of a change.
std::string Written(EventChange const& change) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "events").string();
    Output output(path);
    JsonlWriter(output).Write(change);
    output.Flush();
    return ReadWholeFile(path);
}

Event MakeEvent(Event::Objects objects) {
    return Event(99, "engine's name", "and", "analytics", Nanoseconds(1700000000040000000),
                 Nanoseconds(1700000000080999999), std::move(objects));
}

TEST(JsonlWriterTest, WritesAllOfAChangeInItsOrder) {
    auto const event =
        MakeEvent({std::make_shared<meta::data::Observable>(5), std::make_shared<meta::data::Object>(7, "person"),
                   std::make_shared<meta::data::Object>(3), nullptr, std::make_shared<meta::data::Zone>(1, "Gate"),
                   std::make_shared<meta::data::Zone>(2), std::make_shared<meta::data::Channel>(1, "camera")});
    std::string const rule = "gate then kerb";
    EXPECT_EQ(Written({EventChange::Phase::Start, Nanoseconds(1700000000080999999), 12, rule, 3, 1, event}),
              "{\"phase\": \"start\", \"time\": \"2023-11-14T22:13:20.080Z\", \"event\": 12, "
              "\"rule\": \"gate then kerb\", \"rule_id\": 4, \"type\": \"and\", \"category\": \"analytics\", "
              "\"channel\": 1, \"start\": \"2023-11-14T22:13:20.040Z\", \"end\": \"2023-11-14T22:13:20.080Z\", "
              "\"start_ns\": 1700000000040000000, \"end_ns\": 1700000000080999999, "
              "\"objects\": [{\"id\": 7, \"class\": \"person\"}, {\"id\": 3, \"class\": \"\"}], \"zones\": [1, 2]}\n");
}

TEST(JsonlWriterTest, SaysWhyAnEventEndsWithTheStream) {
    auto const event = MakeEvent({});
    std::string const rule = "r";
    EXPECT_EQ(Written({EventChange::Phase::End, Nanoseconds(0), 1, rule, 0, 65535, event, true}),
              "{\"phase\": \"end\", \"time\": \"1970-01-01T00:00:00.000Z\", \"event\": 1, \"rule\": \"r\", "
              "\"rule_id\": 1, \"type\": \"and\", \"category\": \"analytics\", \"channel\": 65535, "
              "\"start\": \"2023-11-14T22:13:20.040Z\", \"end\": \"2023-11-14T22:13:20.080Z\", "
              "\"start_ns\": 1700000000040000000, \"end_ns\": 1700000000080999999, \"objects\": [], \"zones\": [], "
              "\"reason\": \"end_of_stream\"}\n");
}

TEST(JsonlWriterTest, LeavesOutTheRuleIdOfAnEventThatNoRuleOwns) {
    auto const event = MakeEvent({});
    std::string const written =
        Written({EventChange::Phase::Update, Nanoseconds(0), 1, event.GetName(), std::nullopt, 0, event});
    EXPECT_NE(written.find("\"phase\": \"update\""), std::string::npos);
    EXPECT_NE(written.find("\"rule\": \"engine's name\", \"type\": "), std::string::npos);
}

TEST(AppendJsonTextTest, EscapesWhatJsonDoesNotTake) {
    std::string text = "x";
    AppendJsonText(text, std::string_view("a\"b\\c\n\t\x01\0\x1f\x7f é/", 15));
    EXPECT_EQ(text, "x\"a\\\"b\\\\c\\u000a\\u0009\\u0001\\u0000\\u001f\x7f é/\"");
}

}  // namespace
}  // namespace qel::host
