#include "host/events/event_log.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/rules/type_catalogue.hpp"
#include "tests/host/support/types.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/registered.hpp"

namespace qel::host {
namespace {

using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;

/// Keeps changes in words: "start 1 of gate on 0 at 40ms".
class WordWriter : public EventWriter {
public:
    void Write(EventChange const& change) override {
        written.push_back(fmt::format("{} {} of {}{} on {} at {}ms{}", NameOf(change.phase), change.number, change.rule,
                                      change.ruleIndex ? "" : " (nobody's)", change.channel,
                                      change.time.time_since_epoch() / std::chrono::milliseconds(1),
                                      change.atEndOfStream ? " with the stream" : ""));
    }

    std::vector<std::string> Take() { return std::exchange(written, {}); }

private:
    std::vector<std::string> written;
};

class EventLogTest : public testing::Test {
protected:
    EventLogTest() {
        auto reading = ReadRules("rules", R"({"rules": [{"name": "first", "type": "qel.tests.Unlucky"},
                                                        {"name": "second", "type": "qel.tests.Unlucky"}]})",
                                 types);
        file = std::move(reading.file);
        rules = std::make_unique<RuleSet>(file, std::uint16_t{0});
        while (!rules->FindRule(firstRule)) {
            ++firstRule;  // ids go on from rule to rule
        }
    }

    /// An event of the second rule, as the notifier leaves it in a frame.
    std::shared_ptr<Event> Make(unsigned int id, char const* flags = "") {
        auto event = std::make_shared<Event>(id, "name", "type", "category", tests::At(0), tests::At(0),
                                             Event::Objects{std::make_shared<meta::data::Observable>(firstRule + 1)});
        event->SetDuplicate(std::string(flags).find('d') != std::string::npos);
        event->SetFinal(std::string(flags).find('f') != std::string::npos);
        return event;
    }

    void Add(EventLog& log, std::int64_t time, std::vector<std::shared_ptr<Event>> const& events,
             std::uint16_t channel = 0) {
        std::vector<Event> copies;
        for (auto const& event : events) {
            copies.push_back(*event);
        }
        log.Add(channel, *rules, tests::At(time), copies);
    }

    tests::Registered<tests::Unlucky> unlucky;
    TypeCatalogue types;
    RuleFile file;
    std::unique_ptr<RuleSet> rules;
    unsigned int firstRule = 0;
    WordWriter writer;
    EventLog log{writer, false};
    EventLog logWithUpdates{writer, true};
};

TEST_F(EventLogTest, TellsWhenAnEventStartsAndEnds) {
    Add(log, 0, {Make(70)});
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of second on 0 at 0ms"));
    Add(log, 40, {Make(70, "d")});
    EXPECT_THAT(writer.Take(), IsEmpty());
    Add(log, 80, {Make(70, "df")});
    EXPECT_THAT(writer.Take(), ElementsAre("end 1 of second on 0 at 80ms"));
    EXPECT_EQ(log.GetCount(), 1u);
}

TEST_F(EventLogTest, TellsOfUpdatesWhenAsked) {
    Add(logWithUpdates, 0, {Make(70)});
    Add(logWithUpdates, 40, {Make(70, "d")});
    Add(logWithUpdates, 80, {Make(70, "df")});
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of second on 0 at 0ms", "update 1 of second on 0 at 40ms",
                                           "end 1 of second on 0 at 80ms"));
}

TEST_F(EventLogTest, NumbersEventsOverAllChannelsInTheOrderOfTheirFirstLines) {
    Add(log, 0, {Make(70), Make(50)}, 4);
    Add(log, 0, {Make(70)}, 2);
    Add(log, 40, {Make(50, "df"), Make(70, "df")}, 4);
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of second on 4 at 0ms", "start 2 of second on 4 at 0ms",
                                           "start 3 of second on 2 at 0ms", "end 2 of second on 4 at 40ms",
                                           "end 1 of second on 4 at 40ms"));
}

TEST_F(EventLogTest, StartsAndEndsAnEventThatIsFinalAtOnce) {
    Add(log, 0, {Make(70, "f")});
    log.CloseAll();
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of second on 0 at 0ms", "end 1 of second on 0 at 0ms"));
}

TEST_F(EventLogTest, EndsAnEventOnceWhenItHasSeveralFinalCopies) {
    Add(log, 0, {Make(70), Make(70)});
    Add(log, 40, {Make(70, "df"), Make(70, "df")});
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of second on 0 at 0ms", "end 1 of second on 0 at 40ms"));
}

TEST_F(EventLogTest, TakesASecondEventOfOneIdInAFrameForAnUpdate) {
    Add(logWithUpdates, 0, {Make(70), Make(70)});
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of second on 0 at 0ms", "update 1 of second on 0 at 0ms"));
}

TEST_F(EventLogTest, ClosesWhatIsOpenInTheOrderOfTheNumbersAtTheLastTimeOfItsChannel) {
    Add(log, 0, {Make(70), Make(71)}, 4);
    Add(log, 40, {Make(7)}, 2);
    Add(log, 80, {Make(70, "d"), Make(71, "df")}, 4);
    writer.Take();
    log.CloseAll();
    EXPECT_THAT(writer.Take(), ElementsAre("end 1 of second on 4 at 80ms with the stream",
                                           "end 3 of second on 2 at 40ms with the stream"));
    log.CloseAll();
    EXPECT_THAT(writer.Take(), IsEmpty());
}

TEST_F(EventLogTest, ClosesWithTheLatestStateOfAnEvent) {
    class Ends : public EventWriter {
    public:
        void Write(EventChange const& change) override { end = change.event.GetEnd(); }
        meta::Timestamp end;
    } ends;
    EventLog other(ends, false);
    Add(other, 0, {Make(70)});
    auto later = Make(70, "d");
    later->SetEnd(tests::At(40));
    Add(other, 40, {later});
    other.CloseAll();
    EXPECT_EQ(ends.end, tests::At(40));
}

TEST_F(EventLogTest, NamesTheRuleOfTheFirstRecordThatIsOneOfARule) {
    auto const event =
        std::make_shared<Event>(1, "name", "type", "category", tests::At(0), tests::At(0),
                                Event::Objects{std::make_shared<meta::data::Observable>(0xFFFFFFFE), nullptr,
                                               std::make_shared<meta::data::Observable>(firstRule),
                                               std::make_shared<meta::data::Observable>(firstRule + 1)});
    Add(log, 0, {event});
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of first on 0 at 0ms"));
}

TEST_F(EventLogTest, UsesTheEventsOwnNameWhenNoRuleOwnsIt) {
    Add(log, 0,
        {std::make_shared<Event>(1, "stray", "type", "category", tests::At(0), tests::At(0), Event::Objects{})});
    EXPECT_THAT(writer.Take(), ElementsAre("start 1 of stray (nobody's) on 0 at 0ms"));
}

}  // namespace
}  // namespace qel::host
