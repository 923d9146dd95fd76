// When a new event is dropped because the same has been reported a short while ago.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "observable/notifier.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/rule_set.hpp"
#include "tests/support/timeline.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;
using tests::MakeEvent;
using tests::Person;
using tests::Record;
using tests::RuleSet;

/// A new event from a word: "X12" is one of observable X about the persons 1 and 2, "12" one that names none. A zone is
/// z, a channel c, a null 0.
std::shared_ptr<Event> Parse(std::string const& word) {
    Event::Objects objects;
    for (char const each : word) {
        switch (each) {
            case 'z':
                objects.push_back(tests::Zone(1));
                break;
            case 'c':
                objects.push_back(tests::Channel(1));
                break;
            case '0':
                objects.push_back(nullptr);
                break;
            case 'V':
            case 'X':
            case 'Y':
                objects.push_back(Record(static_cast<unsigned int>(each)));
                break;
            default:
                objects.push_back(Person(static_cast<unsigned int>(each - '0')));
        }
    }
    return MakeEvent(At(0), At(0), std::move(objects));
}

/// A rule that reports events in frame after frame.
class Frames {
public:
    Frames() : rule(rules.Add("rule", 1)) {}
    explicit Frames(milliseconds retriggerTime) : Frames() { rules.notifier.SetEventRetriggerTime(retriggerTime); }

    /// Has the rule report these events and returns those that are in the frame afterwards, apart from final copies.
    std::vector<std::shared_ptr<object::Object>> Process(meta::Timestamp time, RuleSet::Rule::Output const& reported) {
        rule->Reports(reported);
        Meta const frame(time);
        rules.notifier.Process(frame);
        auto items = tests::Items(frame);
        std::erase_if(items, [](auto const& item) { return item->template As<Event>().IsFinal(); });
        return items;
    }

    /// The same with new events from words, "." for no event.
    std::string Process(meta::Timestamp time, std::string const& words) {
        std::vector<std::pair<std::shared_ptr<Event>, std::string>> made;
        RuleSet::Rule::Output reported;
        for (auto const& word : words == "." ? std::vector<std::string>() : tests::Split(words, ' ')) {
            made.emplace_back(Parse(word), word);
            reported.push_back(made.back().first);
        }
        std::string kept;
        auto const items = Process(time, reported);
        for (auto const& [event, word] : made) {
            if (std::count(items.begin(), items.end(), event) > 0) {
                kept += (kept.empty() ? "" : " ") + word;
            }
        }
        return kept.empty() ? "." : kept;
    }

    RuleSet rules;
    std::shared_ptr<RuleSet::Rule> const rule;
};

// ---- Over time ------------------------------------------------------------------------------------------------------

struct FrameRow {
    std::int64_t time;     // milliseconds
    char const* reported;  // new events
    char const* kept;
};

struct Row {
    char const* name;
    std::int64_t retriggerTime;  // milliseconds
    std::vector<FrameRow> frames;
};

class RetriggerTest : public testing::TestWithParam<Row> {};

TEST_P(RetriggerTest, DropsWhatHasBeenReportedWithinTheRetriggerTime) {
    Frames frames(milliseconds(GetParam().retriggerTime));
    for (auto const& row : GetParam().frames) {
        EXPECT_EQ(frames.Process(At(row.time), row.reported), row.kept) << "at " << row.time;
    }
}

std::string NameOf(testing::TestParamInfo<Row> const& tested) { return tested.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Time, RetriggerTest,
    testing::Values(
        Row{"WithoutATimeOnlyTheSameFrameCounts", 0, {{0, "X1 X1", "X1"}, {1, "X1", "X1"}}},
        Row{"WithoutATimeAFrameOfTheSameTimeIsAnother", 0, {{5, "X1", "X1"}, {5, "X1", "X1"}}},
        Row{"UpToTheTimeItIsDroppedAndAtTheTimeNoLonger",
            5000,
            {{1000, "X1", "X1"}, {1000, "X1", "."}, {1001, "X1", "."}, {5999, "X1", "."}, {6000, "X1", "X1"}}},
        Row{"ADroppedEventDoesNotMoveTheInterval", 5000, {{0, "X1", "X1"}, {3000, "X1", "."}, {6000, "X1", "X1"}}},
        Row{"TheNextIntervalBeginsWithTheEventThatPassed",
            5000,
            {{0, "X1", "X1"}, {6000, "X1", "X1"}, {10999, "X1", "."}, {11000, "X1", "X1"}}},
        Row{"EachThingHasItsOwnInterval",
            5000,
            {{0, "X1", "X1"}, {2000, "X2", "X2"}, {5000, "X1 X2", "X1"}, {7000, "X1 X2", "X2"}}},
        Row{"ManyInOneFrame", 5000, {{0, "X1 X2 X1 Y1 X2 X", "X1 X2 Y1 X"}, {1, "X X1 X2 Y1 Y", "Y"}}},
        Row{"BeforeTheEpoch", 5000, {{-6000, "X1", "X1"}, {-1001, "X1", "."}, {-1000, "X1", "X1"}}}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    About, RetriggerTest,
    testing::Values(
        Row{"OtherObjects", 5000, {{0, "X1", "X1"}, {1, "X2", "X2"}}},
        Row{"MoreObjects", 5000, {{0, "X12", "X12"}, {1, "X123", "X123"}}},
        Row{"FewerObjects", 5000, {{0, "X12", "X12"}, {1, "X1 X2 X", "X1 X2 X"}}},
        Row{"OverlappingObjects", 5000, {{0, "X12", "X12"}, {1, "X23", "X23"}}},
        Row{"TheSameObjectsInAnotherOrder", 5000, {{0, "X12", "X12"}, {1, "X21", "."}}},
        Row{"RepeatedObjectsCountOnce", 5000, {{0, "X112", "X112"}, {1, "X12 X2211", "."}}},
        Row{"RepeatedObjectsCountOnceTheOtherWayRound", 5000, {{0, "X12", "X12"}, {1, "X1222", "."}}},
        Row{"NoObjectsAtAll", 5000, {{0, "X", "X"}, {1, "X", "."}, {2, "X1", "X1"}}},
        Row{"AnotherObservable", 5000, {{0, "X1", "X1"}, {1, "Y1", "Y1"}}},
        Row{"NoObservable", 5000, {{0, "1 1", "1 1"}, {1, "1 X1", "1 X1"}, {2, "1 X1", "1"}}},
        Row{"TheFirstRecordCounts", 5000, {{0, "XY1", "XY1"}, {1, "Y1", "Y1"}, {2, "X1 XV1", "."}}},
        Row{"WhereItStandsDoesNotMatter", 5000, {{0, "1X2Y", "1X2Y"}, {1, "X12 12X 21XY", "."}, {2, "Y12", "Y12"}}},
        Row{"ZonesChannelsAndNullsDoNotMatter", 5000, {{0, "0zX1c", "0zX1c"}, {1, "X1", "."}, {2, "0X0z1", "."}}}),
    NameOf);

constexpr std::int64_t Longest = milliseconds::max().count();
constexpr std::int64_t Shortest = milliseconds::min().count();

INSTANTIATE_TEST_SUITE_P(
    OddTimes, RetriggerTest,
    testing::Values(
        Row{"TheLongestTimeIsForEver", Longest, {{0, "X1", "X1"}, {1, "X1", "."}, {9'000'000'000'000, "X1", "."}}},
        Row{"ANegativeTimeStillCoversTheFrame", -10, {{0, "X1 X1", "X1"}, {0, "X1", "X1"}}},
        Row{"ANegativeTimeCoversAClockThatRunsBackFurther",
            -10,
            {{100, "X1", "X1"}, {90, "X1", "X1"}, {79, "X1", "."}, {80, "X1", "X1"}}},
        Row{"TheMostNegativeTimeForgetsAtOnce",
            Shortest,
            {{9'000'000'000'000, "X1", "X1"}, {-9'000'000'000'000, "X1", "X1"}}},
        Row{"AClockThatRunsBackFindsWhatIsToCome",
            5000,
            {{10000, "X1", "X1"}, {0, "X1", "."}, {14999, "X1", "."}, {15000, "X1", "X1"}}},
        Row{"WithoutATimeAClockThatRunsBackFindsWhatIsToCome", 0, {{10, "X1", "X1"}, {9, "X1", "."}, {10, "X1", "X1"}}},
        // 10000 stands in front of 0, which is old enough at 5000 but waits until its turn.
        Row{"ALaterTimeInFrontHoldsBackEarlierOnes",
            5000,
            {{10000, "X1", "X1"}, {0, "X2", "X2"}, {5000, "X2", "."}, {14999, "X2", "."}, {15000, "X1 X2", "X1 X2"}}}),
    NameOf);

TEST(RetriggerTimeTest, CountsNanoseconds) {
    Frames frames(milliseconds(1));
    meta::Timestamp const start(nanoseconds(123));
    EXPECT_EQ(frames.Process(start, "X1"), "X1");
    EXPECT_EQ(frames.Process(start + nanoseconds(999'999), "X1"), ".");
    EXPECT_EQ(frames.Process(start + nanoseconds(1'000'000), "X1"), "X1");
}

TEST(RetriggerTimeTest, ReachesOverTheWholeClock) {
    auto const first = meta::Timestamp::min();
    auto const last = meta::Timestamp::max();
    {
        Frames frames(milliseconds::max());
        EXPECT_EQ(frames.Process(first, "X1"), "X1");
        EXPECT_EQ(frames.Process(last, "X1"), ".");
    }
    Frames frames(milliseconds(1));
    EXPECT_EQ(frames.Process(first, "X1"), "X1");
    EXPECT_EQ(frames.Process(last, "X1"), "X1");
    EXPECT_EQ(frames.Process(first, "X1"), ".");
}

TEST(RetriggerTimeTest, IsNothingAtFirst) {
    Frames frames;
    EXPECT_EQ(frames.Process(At(0), "X1"), "X1");
    EXPECT_EQ(frames.Process(At(0), "X1"), "X1");
}

TEST(RetriggerTimeTest, IsThatOfTheMomentAlsoForEventsOfBefore) {
    Frames frames(milliseconds(100));
    EXPECT_EQ(frames.Process(At(0), "X1"), "X1");
    frames.rules.notifier.SetEventRetriggerTime(milliseconds(1000));
    EXPECT_EQ(frames.Process(At(999), "X1"), ".");
    frames.rules.notifier.SetEventRetriggerTime(milliseconds(10));
    EXPECT_EQ(frames.Process(At(999), "X1"), "X1");
}

TEST(RetriggerTimeTest, AnIntervalMadeLongerDoesNotBringBackWhatIsForgotten) {
    Frames frames(milliseconds(10));
    EXPECT_EQ(frames.Process(At(0), "X1"), "X1");
    EXPECT_EQ(frames.Process(At(10), "."), ".");
    frames.rules.notifier.SetEventRetriggerTime(milliseconds(1000));
    EXPECT_EQ(frames.Process(At(20), "X1"), "X1");
}

// ---- What is tested and what is recorded ----------------------------------------------------------------------------

TEST(RetriggerRecordTest, ADroppedEventLeavesNoTrace) {
    Frames frames(milliseconds(5000));
    EXPECT_EQ(frames.Process(At(0), "X1"), "X1");
    auto const dropped = Parse("X1");
    dropped->AppendObject(tests::Zone(1));
    Meta const frame(At(1));
    frame.Append(tests::Channel(1));
    frames.rules.Heard();
    frames.rule->Reports({dropped});
    tests::LogCapture capture;
    frames.rules.notifier.Process(frame);

    EXPECT_THAT(frames.rules.Heard(), IsEmpty());
    EXPECT_EQ(dropped->GetObjects().size(), 3u) << "no channel";
    EXPECT_FALSE(dropped->IsDuplicate());
    EXPECT_THAT(capture.Take(),
                ElementsAre("qel.observable.Notifier 4: channel_id:1:rule_id:1: rule: 1 Event(s) Generated"));

    Meta const next(At(2));
    frames.rules.notifier.Process(next);
    EXPECT_THAT(tests::Items(next), IsEmpty()) << "it was not there, so it does not end";
    EXPECT_THAT(frames.Process(At(3), {dropped}), IsEmpty()) << "and it does not go on";
}

TEST(RetriggerRecordTest, AContinuedEventIsNeverDropped) {
    Frames frames(milliseconds(5000));
    auto const again = [](unsigned int id) { return MakeEvent(id, At(0), At(0), {Record(1), Person(1)}); };
    EXPECT_EQ(frames.Process(At(0), {again(50)}).size(), 1u);
    auto const kept = frames.Process(At(1), {again(50), again(50), again(51)});
    EXPECT_EQ(kept.size(), 2u) << "not the one with a new id";
    EXPECT_TRUE(kept.back()->As<Event>().IsDuplicate());
}

TEST(RetriggerRecordTest, AContinuedEventIsNotRecordedSoTheIntervalRunsFromTheFirst) {
    Frames frames(milliseconds(100));
    auto const again = [] { return MakeEvent(50, At(0), At(0), {Record(1), Person(1)}); };
    frames.Process(At(0), {again()});
    frames.Process(At(60), {again()});
    frames.Process(At(99), {again()});
    EXPECT_EQ(frames.Process(At(100), {MakeEvent(51, At(0), At(0), {Record(1), Person(1)})}).size(), 1u);
}

TEST(RetriggerRecordTest, AFinalCopyIsNotRecorded) {
    Frames frames(milliseconds(100));
    EXPECT_EQ(frames.Process(At(0), "X1"), "X1");
    EXPECT_EQ(frames.Process(At(60), "."), ".");
    EXPECT_EQ(frames.Process(At(100), "X1"), "X1");
}

TEST(RetriggerRecordTest, InternalEventsAreRecordedButNeverDropped) {
    RuleSet rules;
    rules.notifier.SetEventRetriggerTime(milliseconds(5000));
    auto const internal = rules.AddInternal("internal", 1);
    auto const rule = rules.Add("rule", 2);
    std::size_t seen = 0;
    auto const watcher = rules.Add("watcher", 3);
    watcher->process = [&](Meta const& frame) {
        seen += tests::Items(frame).size();
        return tests::Scripted::Output{};
    };
    internal->Reports({Parse("X1"), Parse("X1")});
    rule->Reports({Parse("X1"), Parse("X2")});
    Meta const frame(At(0));
    rules.notifier.Process(frame);
    EXPECT_EQ(seen, 3u);
    EXPECT_EQ(tests::Items(frame).size(), 1u) << "only the one about 2";

    internal->Reports({Parse("X2")});
    seen = 0;
    rules.notifier.Process(Meta(At(1)));
    EXPECT_EQ(seen, 1u);
}

TEST(RetriggerRecordTest, EventsAboutTheSameAreForgottenOneByOne) {
    RuleSet rules;
    rules.notifier.SetEventRetriggerTime(milliseconds(100));
    auto const rule = rules.AddInternal("rule", 1);
    for (std::int64_t const time : {0, 10, 20}) {
        rule->Reports({Parse("X1"), Parse("X1")});
        rules.notifier.Process(Meta(At(time)));
    }
    rule->SetTriggersAction(true);
    for (std::int64_t const time : {30, 100, 119, 120}) {
        rule->Reports({Parse("X1")});
        rules.notifier.Process(Meta(At(time)));
        EXPECT_EQ(rules.Heard().size(), time == 120 ? 1u : 0u) << time;
    }
}

TEST(RetriggerRecordTest, RulesShareWhatIsRecordedUnderOneObservableRecord) {
    RuleSet rules;
    auto const first = rules.Add("first", 1);
    auto const second = rules.Add("second", 2);
    first->Reports({Parse("X1")});
    second->Reports({Parse("X1")});
    rules.notifier.Process(Meta(At(0)));
    EXPECT_EQ(rules.Heard().size(), 1u);
}

TEST(RetriggerRecordTest, TheSameEventObjectTwiceInAFrameIsDroppedTheSecondTime) {
    Frames frames;
    auto const named = Parse("X1");
    auto const unnamed = Parse("1");
    EXPECT_THAT(frames.Process(At(0), {named, named, unnamed, unnamed}), ElementsAre(named, unnamed, unnamed));
}

// ---- Events that change after they have been recorded ---------------------------------------------------------------

// What happens to an event about X1 that was recorded; then the words are tried, each on its own.
struct Change {
    char const* name;
    std::function<void(Event&)> change;
    char const* dropped;  // of all that are tried, in their order
};

class RetriggerChangeTest : public testing::TestWithParam<Change> {
protected:
    static constexpr char const* Tried[] = {"X1", "X2", "X12", "X", "Y1", "Y12", "1"};

    /// Which of the words are dropped.
    static std::string Dropped(Frames& frames) {
        std::string dropped;
        std::int64_t time = 1;
        for (char const* const word : Tried) {
            // Alone: what passes must not be recorded for the next.
            auto const event = Parse(word);
            if (frames.Process(At(time++), {event}).empty()) {
                dropped += (dropped.empty() ? "" : " ") + std::string(word);
            } else {
                *event = Event();
            }
        }
        return dropped;
    }
};

TEST_P(RetriggerChangeTest, BetweenFramesIsSeen) {
    Frames frames(milliseconds(5000));
    auto const event = Parse("X1");
    frames.Process(At(0), {event});
    EXPECT_EQ(frames.Process(At(0), "X1"), ".") << "and has been looked at already";
    GetParam().change(*event);
    EXPECT_EQ(Dropped(frames), GetParam().dropped);
}

TEST_P(RetriggerChangeTest, BeforeTheFirstLookIsSeen) {
    Frames frames(milliseconds(5000));
    auto const event = Parse("X1");
    frames.Process(At(0), {event});
    GetParam().change(*event);
    EXPECT_EQ(Dropped(frames), GetParam().dropped);
}

TEST_P(RetriggerChangeTest, InsideThePassIsSeen) {
    for (char const* const word : Tried) {
        Frames frames(milliseconds(5000));
        auto const event = Parse("X1");
        auto const trigger = Parse("V9");
        auto const tried = Parse(word);
        auto const bound = frames.rule->Bind([&](auto const& heard) {
            if (heard == trigger) {
                GetParam().change(*event);
            }
        });
        auto const kept = frames.Process(At(0), {event, trigger, tried});
        EXPECT_EQ(kept.size() == 2, (" " + std::string(GetParam().dropped) + " ").find(" " + std::string(word) + " ") !=
                                        std::string::npos)
            << word;
    }
}

TEST_P(RetriggerChangeTest, OfOneOfManyIsSeen) {
    Frames frames(milliseconds(5000));
    auto const event = Parse("X1");
    RuleSet::Rule::Output many;
    for (unsigned int id = 100; id < 200; ++id) {
        many.push_back(MakeEvent(At(0), At(0), {Record('X'), Person(id)}));
    }
    many.insert(many.begin() + 50, event);
    EXPECT_EQ(frames.Process(At(0), many).size(), 101u);
    GetParam().change(*event);
    EXPECT_EQ(Dropped(frames), GetParam().dropped);
}

void Set(Event& event, std::string const& word) {
    auto const other = Parse(word);
    event.EditObjects([&](Event::Objects& objects) { objects = other->GetObjects(); });
}

INSTANTIATE_TEST_SUITE_P(
    Retrigger, RetriggerChangeTest,
    testing::Values(Change{"Nothing", [](Event&) {}, "X1"},  //
                    Change{"AnObjectAppended", [](Event& event) { event.AppendObject(Person(2)); }, "X12"},
                    Change{"ACopyOfAnObjectAppended", [](Event& event) { event.AppendObject(*Person(2)); }, "X12"},
                    Change{"TheSameObjectAppended", [](Event& event) { event.AppendObject(Person(1)); }, "X1"},
                    Change{"AZoneAppended", [](Event& event) { event.AppendObject(tests::Zone(2)); }, "X1"},
                    Change{"ANullAppended", [](Event& event) { event.AppendObject(nullptr); }, "X1"},
                    Change{"ALaterRecordAppended", [](Event& event) { event.AppendObject(Record('Y')); }, "X1"},
                    Change{"ObjectsEditedAway",
                           [](Event& event) { event.EditObjects([](auto& objects) { objects.pop_back(); }); }, "X"},
                    Change{"RecordEdited", [](Event& event) { Set(event, "Y1"); }, "Y1"},
                    Change{"RecordEditedAway", [](Event& event) { Set(event, "1"); }, ""},
                    Change{"AnEarlierRecordEditedIn", [](Event& event) { Set(event, "YX1"); }, "Y1"},
                    Change{"TwoEdits",
                           [](Event& event) {
                               Set(event, "Y1");
                               Set(event, "X2");
                           },
                           "X2"},
                    Change{"AnotherEventAssigned", [](Event& event) { event = *Parse("Y12"); }, "Y12"},
                    Change{"MovedFrom", [](Event& event) { Event const thief(std::move(event)); }, ""},
                    Change{"ADefaultEventAssigned", [](Event& event) { event = Event(); }, ""},
                    Change{"RecordRenumbered",
                           [](Event& event) {
                               std::const_pointer_cast<object::Object>(event.GetObjects().front())
                                   ->As<meta::data::Observable>()
                                   .SetId('Y');
                           },
                           "Y1"}),
    [](auto const& tested) { return std::string(tested.param.name); });

TEST(RetriggerChangesTest, ARecordOfManyEventsIsRenumberedInAllOfThem) {
    Frames frames(milliseconds(5000));
    auto const record = Record('X');
    RuleSet::Rule::Output events;
    for (unsigned int id = 1; id < 10; ++id) {
        events.push_back(MakeEvent(At(0), At(0), {record, Person(id)}));
    }
    EXPECT_EQ(frames.Process(At(0), events).size(), 9u);
    record->SetId('Y');
    EXPECT_EQ(frames.Process(At(1), "X1 X5 X9 Y1 Y5 Y9"), "X1 X5 X9");
    record->SetId('X');
    EXPECT_EQ(frames.Process(At(2), "X2 Y2 X7 Y7"), "Y2 Y7");
}

TEST(RetriggerChangesTest, WhatAnAugmentedMetaCallbackAppendsBelongsToTheRecordedEvent) {
    Frames frames(milliseconds(5000));
    {
        auto const augmented = Observable::AddAugmentedMetaCallback([] { return Person(2); });
        EXPECT_EQ(frames.Process(At(0), "X1 X1"), "X1 X1") << "the first is about 1 and 2 by then";
    }
    EXPECT_EQ(frames.Process(At(1), "X12 X1"), "X1");
}

TEST(RetriggerChangesTest, EventsThatBecomeEqualAreForgottenEachAtItsTime) {
    Frames frames(milliseconds(100));
    auto const first = Parse("X1");
    auto const second = Parse("X2");
    frames.Process(At(0), {first});
    frames.Process(At(50), {second});
    Set(*second, "X1");
    EXPECT_EQ(frames.Process(At(60), "X2"), "X2");
    EXPECT_EQ(frames.Process(At(100), "X1"), ".") << "the second is not old enough";
    EXPECT_EQ(frames.Process(At(150), "X1"), "X1");
}

TEST(RetriggerChangesTest, AnEventThatHasLostItsRecordIsForgottenLikeOthers) {
    Frames frames(milliseconds(100));
    auto const first = Parse("X1");
    frames.Process(At(0), {first});
    EXPECT_EQ(frames.Process(At(50), "X1 X2"), "X2");
    Set(*first, "1");
    EXPECT_EQ(frames.Process(At(60), "X1 X2"), "X1");
    EXPECT_EQ(frames.Process(At(100), "X1 X2"), ".") << "those of 50 and 60";
    EXPECT_EQ(frames.Process(At(150), "X1 X2"), "X2");
    EXPECT_EQ(frames.Process(At(160), "X1 X2"), "X1");
}

TEST(RetriggerChangesTest, AForgottenEventMayChangeAsItLikes) {
    Frames frames(milliseconds(100));
    auto const event = Parse("X1");
    frames.Process(At(0), {event});
    EXPECT_EQ(frames.Process(At(10), "X1 X2"), "X2");
    EXPECT_EQ(frames.Process(At(100), "X1"), "X1");
    Set(*event, "X9");
    EXPECT_EQ(frames.Process(At(101), "X1 X2 X9"), "X9");
}

// ---- Event ids that change ------------------------------------------------------------------------------------------

std::shared_ptr<Event> WithId(unsigned int id) { return MakeEvent(id, At(0), At(0), {}); }

TEST(PreviousEventsTest, AreFoundByTheIdsOfTheMoment) {
    Frames frames;
    auto const event = WithId(50);
    frames.Process(At(0), {event, WithId(60)});
    *event = *WithId(70);

    auto const kept = frames.Process(At(1), {WithId(50), WithId(60), WithId(70)});
    EXPECT_FALSE(kept[0]->As<Event>().IsDuplicate());
    EXPECT_TRUE(kept[1]->As<Event>().IsDuplicate());
    EXPECT_TRUE(kept[2]->As<Event>().IsDuplicate());
}

TEST(PreviousEventsTest, AreFoundByTheIdsOfTheMomentInsideThePass) {
    Frames frames;
    auto const event = WithId(50);
    frames.Process(At(0), {event});
    auto const trigger = WithId(99);
    auto const bound = frames.rule->Bind([&](auto const& heard) {
        if (heard == trigger) {
            *event = *WithId(70);
        }
    });
    auto const kept = frames.Process(At(1), {WithId(50), trigger, WithId(50), WithId(70)});
    EXPECT_TRUE(kept[0]->As<Event>().IsDuplicate());
    EXPECT_FALSE(kept[2]->As<Event>().IsDuplicate());
    EXPECT_TRUE(kept[3]->As<Event>().IsDuplicate());
}

TEST(PreviousEventsTest, EndUnlessTheirIdOfTheMomentIsAmongTheNewEvents) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = WithId(50);
    auto const other = WithId(60);
    rule->Reports({event, other});
    rules.notifier.Process(Meta(At(0)));

    auto const next = WithId(70);
    auto const bound = rule->Bind([&](auto const&) {
        *event = *WithId(80);
        *next = *WithId(60);
    });
    rule->Reports({next});
    Meta const frame(At(1));
    rules.notifier.Process(frame);
    auto const items = tests::Items(frame);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0], next);
    EXPECT_EQ(items[1]->As<Event>().GetId(), 80u);
    EXPECT_TRUE(items[1]->As<Event>().IsFinal());
}

}  // namespace
}  // namespace qel::observable
