#include "observable/notifier.hpp"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/rule_set.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/timeline.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using tests::At;
using tests::Channel;
using tests::MakeEvent;
using tests::Person;
using tests::Record;
using tests::RuleSet;
using tests::Scripted;

using Rules = std::vector<std::shared_ptr<Observable>>;

/// An event of observable 1 about one person. Its letter is that of its id: 1 is A.
std::shared_ptr<Event> About(char letter, std::int64_t time = 0) {
    auto const id = static_cast<unsigned int>(letter - 'A' + 1);
    return MakeEvent(id, At(time), At(time), {Record(1), Person(id)});
}

/// The letters of the events among the items, with their flags: '+' duplicate, '!' final, 'i' internal. "-" for none.
template <class Items>
std::string Letters(Items const& items) {
    std::string text;
    for (auto const& item : items) {
        if (item && item->template Is<Event>()) {
            auto const& event = item->template As<Event>();
            text += static_cast<char>('A' + event.GetId() - 1);
            text += event.IsDuplicate() ? "+" : "";
            text += event.IsFinal() ? "!" : "";
            text += event.IsInternal() ? "i" : "";
        }
    }
    return text.empty() ? "-" : text;
}
std::string Letters(Meta const& frame) { return Letters(tests::Items(frame)); }

// ---- New, continued, ended ------------------------------------------------------------------------------------------

struct Timeline {
    char const* name;
    char const*
        reported;  // by one rule, per frame: the letters of its events, '!' behind one that is final, '.' for none
    char const* frames;  // how they end: letters and flags
    char const* heard;   // by a subscriber, per frame
};

class NotifierTimelineTest : public testing::TestWithParam<Timeline> {
protected:
    // A rule reports a new event object in every frame.
    static RuleSet::Rule::Output Events(std::string const& letters) {
        RuleSet::Rule::Output events;
        for (char const letter : letters) {
            if (letter == '!') {
                events.back()->As<Event>().SetFinal(true);
            } else if (letter != '.') {
                events.push_back(About(letter));
            }
        }
        return events;
    }
};

TEST_P(NotifierTimelineTest, NewEventsAreToldOfContinuedOnesAreDuplicatesEndedOnesAreClosedOnce) {
    Notifier notifier;
    auto const rule = std::make_shared<Scripted>();
    auto const added = notifier.AddObservable(rule);
    std::string heard;
    auto const bound = rule->Bind([&](auto const& event) { heard += Letters(std::vector{event}); });

    std::string frames;
    std::string heardPerFrame;
    for (auto const& letters : tests::Split(GetParam().reported, ' ')) {
        rule->process = [&](Meta const&) { return Events(letters); };
        Meta const frame(At(0));
        notifier.Process(frame);
        frames += (frames.empty() ? "" : " ") + Letters(frame);
        heardPerFrame += (heardPerFrame.empty() ? "" : " ") + (heard.empty() ? "-" : std::exchange(heard, {}));
    }
    EXPECT_EQ(frames, GetParam().frames);
    EXPECT_EQ(heardPerFrame, GetParam().heard);
}

INSTANTIATE_TEST_SUITE_P(
    Notifier, NotifierTimelineTest,
    testing::Values(Timeline{"ANewEvent", "A", "A", "A"},  //
                    Timeline{"AnEventGoesOn", "A A A", "A A+ A+", "A - -"},
                    Timeline{"AnEventEndsWithOneFinalCopy", "A . . .", "A A+! - -", "A - - -"},
                    Timeline{"AContinuedEventEndsToo", "A A . .", "A A+ A+! -", "A - - -"},
                    Timeline{"AFinalEventGetsNoFinalCopy", "A! . .", "A! - -", "A! - -"},
                    Timeline{"AnEventWhoseLastCopyIsFinalGetsNone", "A A! .", "A A+! -", "A - -"},
                    Timeline{"AnEventThatGoesOnAfterAFinalCopyOfItsOwnIsClosed", "A! A .", "A! A+ A+!", "A! - -"},
                    Timeline{"AnIdThatComesBackLaterIsNew", "A . . A", "A A+! - A", "A - - A"},
                    Timeline{"AnIdThatComesBackInTheFrameOfItsFinalCopyIsNoDuplicateOfTheCopy", "A . A", "A A+! A",
                             "A - A"},
                    Timeline{"TheFrameBeforeTheLastIsForgotten", "A B B A", "A BA+! B+ AB+!", "A B - A"},
                    Timeline{"EventsGoOnIndependently", "AB BC C .", "AB B+CA+! C+B+! C+!", "AB C - -"},
                    Timeline{"FinalCopiesComeInTheOrderOfTheFrameBefore", "CAB .", "CAB C+!A+!B+!", "CAB -"},
                    Timeline{"FinalCopiesComeBehindAllNewEvents", "A B", "A BA+!", "A B"},
                    Timeline{"OneIdTwiceIsContinuedTwice", "A AA", "A A+A+", "A -"},
                    Timeline{"OneIdTwiceIsClosedTwice", "A AA . .", "A A+A+ A+!A+! -", "A - - -"},
                    Timeline{"OneOfTwoIsEnoughToGoOn", "A AA A .", "A A+A+ A+ A+!", "A - - -"}),
    [](auto const& tested) { return std::string(tested.param.name); });

TEST(NotifierTest, AFrameWithoutRulesStaysAsItIs) {
    Notifier notifier;
    Meta const frame(At(5));
    std::vector<std::shared_ptr<object::Object>> const items{Person(1), nullptr, About('A'), Channel(1),
                                                             std::make_shared<tests::Stranger>()};
    for (auto const& item : items) {
        frame.Append(item);
    }
    notifier.Process(frame);
    notifier.Process(frame);
    EXPECT_EQ(tests::Items(frame), items);
    EXPECT_EQ(Letters(frame), "A") << "and what is no rule's event goes unmarked";
}

TEST(NotifierTest, AppendsWhatTheRulesReportInTheOrderOfThePathAndOfTheReports) {
    RuleSet rules;
    auto const consumer = rules.Add("consumer", 2, {1});
    auto const input = rules.Add("input", 1);
    Meta const frame(At(0));
    frame.Append(Person(9));
    auto const seen = std::make_shared<std::string>();
    consumer->process = [seen](Meta const& at) {
        *seen = Letters(at);
        return Scripted::Output{About('C'), About('D')};
    };
    input->Reports({About('B'), About('A')});
    rules.notifier.Process(frame);

    EXPECT_EQ(*seen, "BA");
    EXPECT_EQ(Letters(frame), "BACD");
    EXPECT_TRUE(tests::Items(frame).front()->Is<meta::data::Object>());
}

TEST(NotifierTest, AppendsTheVeryObjectsThatARuleReports) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    RuleSet::Rule::Output const items{About('A'), Person(1), About('B')};
    rule->Reports(items);
    Meta const frame(At(0));
    rules.notifier.Process(frame);
    EXPECT_EQ(tests::Items(frame), items);
}

TEST(NotifierTest, AppendsOtherThanEventsUnchangedInTheirPlaces) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const zone = tests::Zone(3);
    auto const stranger = std::make_shared<tests::Stranger>();
    RuleSet::Rule::Output const items{zone, About('A'), nullptr, stranger, Record(1), About('B'), nullptr};
    rule->Reports(items);
    tests::LogCapture capture;
    Meta const frame(At(0));
    rules.notifier.Process(frame);

    EXPECT_EQ(tests::Items(frame), items);
    EXPECT_THAT(capture.Take(), ElementsAre("qel.observable.Notifier 4: rule_id:1: 2 Event(s) Generated"));
    EXPECT_EQ(rules.Heard().size(), 2u);

    Meta const next(At(0));
    rules.notifier.Process(next);
    EXPECT_EQ(Letters(next), "A+!B+!");
    EXPECT_EQ(tests::Items(next).size(), 2u) << "only events are closed";
}

TEST(NotifierTest, AFinalCopyIsTheLastStateInAnObjectOfItsOwn) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const first = std::make_shared<Event>(7, "gate", "presence", "spatial", At(10), At(10),
                                               Event::Objects{Record(1), Person(4), nullptr});
    rule->Reports({first});
    rules.notifier.Process(Meta(At(10)));
    auto const last = std::make_shared<Event>(7, "gate", "presence", "spatial", At(10), At(20),
                                              Event::Objects{Record(1), Person(5), nullptr, tests::Zone(2)});
    rule->Reports({last});
    rules.notifier.Process(Meta(At(20)));
    rules.Heard();

    Meta const frame(At(30));
    rules.notifier.Process(frame);

    EXPECT_THAT(rules.Describe(frame), ElementsAre("A gate/presence/spatial 10..20 duplicate final [record 1, object 5 "
                                                   "person@1(0 0 0 0), null, zone 2 ()]"));
    auto const copy = tests::Items(frame).front();
    EXPECT_NE(copy, last);
    EXPECT_EQ(copy->As<Event>().GetObjects(), last->GetObjects());
    EXPECT_FALSE(last->IsFinal());
    EXPECT_THAT(rules.Heard(), IsEmpty());
}

TEST(NotifierTest, AFinalCopyTellsWhatTheHostHasMadeOfTheEventMeanwhile) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = About('A');
    rule->Reports({event});
    rules.notifier.Process(Meta(At(0)));
    event->SetEnd(At(7));
    event->AppendObject(tests::Zone(3));

    Meta const frame(At(10));
    rules.notifier.Process(frame);
    EXPECT_THAT(rules.Describe(frame), ElementsAre("A test/scripted/tests 0..7 duplicate final [record 1, object 1 "
                                                   "person@1(0 0 0 0), zone 3 ()]"));
}

TEST(NotifierTest, AnEventObjectThatIsReportedAgainIsADuplicateInBothFrames) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = About('A');
    rule->Reports({event});
    Meta const first(At(0));
    first.Append(Channel(1));
    rules.notifier.Process(first);
    EXPECT_EQ(Letters(first), "A");
    EXPECT_EQ(rules.Heard().size(), 1u);

    rule->Reports({event});
    Meta const second(At(10));
    second.Append(Channel(2));
    rules.notifier.Process(second);
    EXPECT_EQ(Letters(first), "A+");
    EXPECT_EQ(tests::Items(second).back(), event);
    EXPECT_THAT(rules.Heard(), IsEmpty());
    EXPECT_EQ(event->GetObjects().size(), 3u) << "it keeps the channel of the first frame and gets no second";

    Meta const third(At(20));
    rules.notifier.Process(third);
    EXPECT_EQ(Letters(third), "A+!");
}

TEST(NotifierTest, ANewEventThatComesAsADuplicateIsToldOfAndStaysOne) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = About('A');
    event->SetDuplicate(true);
    rule->Reports({event});
    tests::LogCapture capture;
    Meta const frame(At(0));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "A+");
    EXPECT_EQ(rules.Heard().size(), 1u);
    EXPECT_THAT(capture.Take(), IsEmpty()) << "duplicates do not count, whoever marked them";
}

TEST(NotifierTest, AnIdMayBeContinuedByAnotherRule) {
    RuleSet rules;
    auto const first = rules.Add("first", 1);
    auto const second = rules.Add("second", 2);
    first->Reports({About('A')});
    rules.notifier.Process(Meta(At(0)));
    second->Reports({About('A')});
    Meta const frame(At(10));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "A+");
    EXPECT_EQ(rules.Heard().size(), 1u);
}

TEST(NotifierTest, TwoEventsOfOneNewIdInAFrameAreBothNew) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    rule->Reports({MakeEvent(1, At(0), At(0), {}), MakeEvent(1, At(0), At(0), {})});
    Meta const frame(At(0));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "AA");
    EXPECT_EQ(rules.Heard().size(), 2u);
}

TEST(NotifierTest, TheSameFrameMayBeProcessedAgain) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    Meta const frame(At(0));
    rule->Reports({About('A')});
    rules.notifier.Process(frame);
    rule->Reports({About('A')});
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "AA+");
}

TEST(NotifierTest, NotifiersKnowNothingOfEachOther) {
    RuleSet first;
    RuleSet second;
    first.Add("first", 1)->Reports({About('A')});
    second.Add("second", 1)->Reports({About('A')});
    Meta const frame(At(0));
    first.notifier.Process(frame);
    second.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "AA");
    Meta const next(At(0));
    first.notifier.Process(next);
    EXPECT_EQ(Letters(next), "A+!");
}

TEST(NotifierTest, TheTimeOfTheFrameDoesNotMatterForDuplicatesAndFinalCopies) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    std::vector<std::string> frames;
    for (std::int64_t const time : {100, 100, -5}) {
        rule->Reports({About('A')});
        Meta const frame(At(time));
        rules.notifier.Process(frame);
        frames.push_back(Letters(frame));
    }
    Meta const frame(At(-1000));
    rules.notifier.Process(frame);
    frames.push_back(Letters(frame));
    EXPECT_THAT(frames, ElementsAre("A", "A+", "A+", "A+!"));
}

// ---- Internal events ------------------------------------------------------------------------------------------------

TEST(NotifierInternalTest, EventsAreSeenByRulesBehindAndLeaveTheFrameAtTheEnd) {
    RuleSet rules;
    auto const input = rules.AddInternal("input", 1);
    auto const consumer = rules.Add("consumer", 2, {1});
    std::string seen;
    consumer->process = [&](Meta const& frame) {
        seen = Letters(frame);
        return Scripted::Output{About('B')};
    };
    input->Reports({About('A')});
    Meta const frame(At(0));
    rules.notifier.Process(frame);

    EXPECT_EQ(seen, "Ai");
    EXPECT_EQ(Letters(frame), "B");
}

TEST(NotifierInternalTest, EventsAreNotToldOfButLogged) {
    RuleSet rules;
    auto const rule = rules.AddInternal("rule", 1);
    rule->Reports({About('A'), About('B')});
    tests::LogCapture capture;
    rules.notifier.Process(Meta(At(0)));
    EXPECT_THAT(rules.Heard(), IsEmpty());
    EXPECT_THAT(capture.Take(), ElementsAre("qel.observable.Notifier 4: rule_id:1: 2 Event(s) Generated"));
}

TEST(NotifierInternalTest, EventsGoOnAndEndUnseen) {
    RuleSet rules;
    auto const rule = rules.AddInternal("rule", 1);
    auto const watcher = rules.Add("watcher", 2);
    std::vector<std::string> seen;
    watcher->process = [&](Meta const& frame) {
        seen.push_back(Letters(frame));
        return Scripted::Output{};
    };
    for (int left = 2; left > 0; --left) {
        rule->Reports({About('A')});
        rules.notifier.Process(Meta(At(0)));
    }
    Meta const last(At(0));
    rules.notifier.Process(last);

    EXPECT_THAT(seen, ElementsAre("Ai", "A+i", "-"));
    EXPECT_EQ(Letters(last), "-") << "the final copy is internal too";
}

TEST(NotifierInternalTest, ARuleThatBeginsToTriggerActionsContinuesItsInternalEvents) {
    RuleSet rules;
    auto const rule = rules.AddInternal("rule", 1);
    rule->Reports({About('A')});
    rules.notifier.Process(Meta(At(0)));

    rule->SetTriggersAction(true);
    rule->Reports({About('A'), About('B')});
    Meta const frame(At(10));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "A+B");
    EXPECT_EQ(rules.Heard().size(), 1u) << "of B";
}

TEST(NotifierInternalTest, ARuleThatCeasesToTriggerActionsHidesItsEvents) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    rule->Reports({About('A'), About('B')});
    rules.notifier.Process(Meta(At(0)));

    rule->SetTriggersAction(false);
    rule->Reports({About('A')});
    Meta const frame(At(10));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "B+!") << "A is internal from now on; B was not, and ends in sight";

    Meta const last(At(20));
    rules.notifier.Process(last);
    EXPECT_EQ(Letters(last), "-");
}

TEST(NotifierInternalTest, TheFlagIsAskedForAtEachEvent) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const bound = rule->Bind([&](auto const&) { rule->SetTriggersAction(false); });
    rule->Reports({About('A'), About('B')});
    Meta const frame(At(0));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "A");
    EXPECT_EQ(rules.Heard().size(), 1u);
}

TEST(NotifierInternalTest, EveryInternalEventLeavesTheFrameWhoeverMadeIt) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const ours = About('A');
    ours->SetInternal(true);
    auto const theirs = About('B');
    theirs->SetInternal(true);
    Meta const frame(At(0));
    frame.Append(Person(1));
    frame.Append(theirs);
    frame.Append(nullptr);
    frame.Append(About('C'));
    rule->Reports({ours, About('D')});
    rules.notifier.Process(frame);

    EXPECT_EQ(Letters(frame), "CD");
    EXPECT_EQ(tests::Items(frame).size(), 4u) << "with the person and the null";
    EXPECT_EQ(rules.Heard().size(), 2u) << "the rule triggers actions, whatever flag its event brings";
}

// ---- Channels -------------------------------------------------------------------------------------------------------

TEST(NotifierChannelTest, EventsGetTheFirstChannelOfTheFrame) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const other = rules.AddInternal("other", 2);
    auto const event = About('A');
    auto const internal = About('B');
    rule->Reports({event, tests::Zone(1)});
    other->Reports({internal});
    auto const channel = Channel(3, "gate");
    Meta const frame(At(0));
    frame.Append(Person(1));
    frame.Append(channel);
    frame.Append(Channel(4, "yard"));
    rules.notifier.Process(frame);

    EXPECT_EQ(rules.describe(event),
              "A test/scripted/tests 0..0 [record 1, object 1 person@1(0 0 0 0), channel 3 gate]");
    EXPECT_EQ(rules.describe(internal),
              "B test/scripted/tests 0..0 internal [record 1, object 2 person@1(0 0 0 0), channel 3 gate]");
    EXPECT_NE(event->GetObjects().back(), channel) << "a copy: only id and name are the channel's";
}

TEST(NotifierChannelTest, ContinuedEventsGetItToo) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    rule->Reports({About('A')});
    rules.notifier.Process(Meta(At(0)));
    auto const event = About('A');
    rule->Reports({event});
    Meta const frame(At(10));
    frame.Append(Channel(3, "gate"));
    rules.notifier.Process(frame);
    EXPECT_EQ(rules.describe(event.get()),
              "A test/scripted/tests 0..0 duplicate [record 1, object 1 person@1(0 0 0 0), channel 3 gate]");
}

TEST(NotifierChannelTest, AnEventThatHasAChannelGetsNoSecond) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = MakeEvent(1, At(0), At(0), {nullptr, Channel(9, "own"), Record(1)});
    rule->Reports({event});
    Meta const frame(At(0));
    frame.Append(Channel(3, "gate"));
    rules.notifier.Process(frame);
    EXPECT_EQ(rules.describe(event), "A test/scripted/tests 0..0 [null, channel 9 own, record 1]");
}

TEST(NotifierChannelTest, AFrameWithoutAChannelGivesNone) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = About('A');
    rule->Reports({event});
    tests::LogCapture capture;
    rules.notifier.Process(Meta(At(0)));
    EXPECT_EQ(event->GetObjects().size(), 2u);
    EXPECT_THAT(capture.Take(), ElementsAre("qel.observable.Notifier 4: rule_id:1: 1 Event(s) Generated"));
}

TEST(NotifierChannelTest, AChannelThatARuleReportsIsNotTheFrames) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = About('A');
    rule->Reports({Channel(3, "gate"), event});
    rules.notifier.Process(Meta(At(0)));
    EXPECT_EQ(event->GetObjects().size(), 2u);
}

TEST(NotifierChannelTest, AChannelThatARuleRemovesIsTheFramesAllTheSame) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const event = About('A');
    rule->process = [&](Meta const& frame) {
        frame.RemoveIf([](auto const& item) { return item->template Is<meta::data::Channel>(); });
        return Scripted::Output{event};
    };
    Meta const frame(At(0));
    frame.Append(Channel(3, "gate"));
    rules.notifier.Process(frame);
    EXPECT_EQ(event->GetObjects().size(), 3u);
}

// ---- What subscribers hear and see ----------------------------------------------------------------------------------

TEST(NotifierSubscriberTest, HearsOfAnEventThatIsCompleteButNotYetInTheFrame) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    Meta const frame(At(0));
    frame.Append(Channel(3, "gate"));
    auto const augmented = Observable::AddAugmentedMetaCallback([] { return tests::Zone(8); });
    std::vector<std::string> seen;
    auto const bound = rule->Bind([&](auto const& event) {
        seen.push_back(rules.describe(event));
        seen.push_back(Letters(frame));
    });
    rule->Reports({About('A'), About('B')});
    rules.notifier.Process(frame);

    EXPECT_THAT(
        seen, ElementsAre(
                  "A test/scripted/tests 0..0 [record 1, object 1 person@1(0 0 0 0), channel 3 gate, zone 8 ()]", "-",
                  "B test/scripted/tests 0..0 [record 1, object 2 person@1(0 0 0 0), channel 3 gate, zone 8 ()]", "A"));
}

TEST(NotifierSubscriberTest, HearsOfTheVeryEventThatGoesIntoTheFrame) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    std::shared_ptr<Event> heard;
    auto const bound = rule->Bind([&](auto const& event) { heard = event; });
    auto const event = About('A');
    rule->Reports({event});
    rules.notifier.Process(Meta(At(0)));
    EXPECT_EQ(heard, event);
}

TEST(NotifierSubscriberTest, HearsOfTheEventsOfItsOwnRuleOnly) {
    RuleSet rules;
    rules.Add("first", 1)->Reports({About('A')});
    rules.Add("second", 2)->Reports({About('B')});
    rules.Add("third", 3);
    rules.notifier.Process(Meta(At(0)));
    EXPECT_THAT(rules.Heard(),
                ElementsAre("first tells of A test/scripted/tests 0..0 [record 1, object 1 person@1(0 0 0 0)]",
                            "second tells of B test/scripted/tests 0..0 [record 1, object 2 person@1(0 0 0 0)]"));
}

TEST(NotifierSubscriberTest, EventsThatNobodyHearsOfAreNotAugmented) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    auto const internal = rules.AddInternal("internal", 2);
    int asked = 0;
    auto const augmented = Observable::AddAugmentedMetaCallback([&] {
        ++asked;
        return nullptr;
    });
    rule->Reports({About('A')});
    internal->Reports({About('B')});
    rules.notifier.Process(Meta(At(0)));
    rule->Reports({About('A')});
    rules.notifier.Process(Meta(At(0)));
    EXPECT_EQ(asked, 1);
}

// ---- Log lines ------------------------------------------------------------------------------------------------------

TEST(NotifierLogTest, OneLineForEachRuleThatReportsNewEvents) {
    RuleSet rules;
    auto const first = rules.Add("first", 1);
    auto const second = rules.AddInternal("second", 2);
    rules.Add("silent", 3);
    first->Reports({About('A')});
    rules.notifier.Process(Meta(At(0)));

    first->Reports({About('A'), About('B'), Person(1), About('C')});
    second->Reports({About('D')});
    Meta const frame(At(10));
    frame.Append(Channel(3, "gate"));
    tests::LogCapture capture;
    rules.notifier.Process(frame);
    EXPECT_THAT(capture.Take(),
                ElementsAre("qel.observable.Notifier 4: channel_id:3:rule_id:1: first: 2 Event(s) Generated",
                            "qel.observable.Notifier 4: channel_id:3:rule_id:2: second: 1 Event(s) Generated"));

    first->Reports({About('A'), Person(1)});
    rules.notifier.Process(Meta(At(20)));
    EXPECT_THAT(capture.Take(), IsEmpty()) << "duplicates, other items and final copies do not count";
}

TEST(NotifierLogTest, DroppedEventsCount) {
    RuleSet rules;
    rules.Add("rule", 1)->Reports({About('A'), About('A')});
    tests::LogCapture capture;
    Meta const frame(At(0));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "A");
    EXPECT_THAT(capture.Take(), ElementsAre("qel.observable.Notifier 4: rule_id:1: 2 Event(s) Generated"));
}

TEST(NotifierLogTest, ALineComesBehindTheEventsOfItsRuleAndBeforeTheNextRule) {
    RuleSet rules;
    auto const first = rules.Add("first", 1);
    auto const second = rules.Add("second", 2);
    Meta const frame(At(0));
    std::vector<std::string> order;
    auto const bound = first->Bind([&](auto const&) { order.push_back("told"); });
    second->process = [&](Meta const&) {
        order.push_back("second");
        return Scripted::Output{};
    };
    first->Reports({About('A'), About('B')});
    tests::LogCapture const capture([&](std::string const&) { order.push_back("logged at " + Letters(frame)); });
    rules.notifier.Process(frame);
    EXPECT_THAT(order, ElementsAre("told", "told", "logged at AB", "second"));
}

TEST(NotifierLogTest, NamesIdAndNameOfTheMoment) {
    RuleSet rules;
    auto const rule = rules.Add("before", 1);
    rule->SetId(5);
    rule->SetName("after");
    rule->Reports({About('A')});
    Meta const frame(At(0));
    frame.Append(Channel(3, "gate"));
    tests::LogCapture capture;
    rules.notifier.Process(frame);
    EXPECT_THAT(capture.Take(),
                ElementsAre("qel.observable.Notifier 4: channel_id:3:rule_id:5: after: 1 Event(s) Generated"));
}

// ---- The rule set ---------------------------------------------------------------------------------------------------

std::shared_ptr<Scripted> Make(unsigned int id, std::vector<unsigned int> inputs = {}) {
    auto rule = std::make_shared<Scripted>();
    rule->SetId(id);
    rule->dependents = std::move(inputs);
    return rule;
}

constexpr char const* CycleError = "A cycle within the rule was detected";

TEST(NotifierRulesTest, AreVisitedInTheOrderOfTheGraph) {
    Notifier notifier;
    EXPECT_THAT(notifier.GetObservables(), IsEmpty());
    auto const consumer = Make(1, {2});
    auto const input = Make(2);
    auto const first = notifier.AddObservable(consumer);
    auto const second = notifier.AddObservable(input);
    EXPECT_EQ(notifier.GetObservables(), (Rules{input, consumer}));

    consumer->dependents = {};
    notifier.ObservableChanged(consumer);
    EXPECT_EQ(notifier.GetObservables(), (Rules{consumer, input}));

    notifier.RemoveObservable(consumer);
    EXPECT_EQ(notifier.GetObservables(), (Rules{input}));
    notifier.RemoveObservableId(2);
    EXPECT_THAT(notifier.GetObservables(), IsEmpty());
}

TEST(NotifierRulesTest, ErrorsOfTheGraphReachTheCaller) {
    Notifier notifier;
    auto const input = Make(1);
    auto const consumer = Make(2, {1});
    auto const first = notifier.AddObservable(input);
    auto const second = notifier.AddObservable(consumer);
    Rules const path{input, consumer};

    EXPECT_THAT([&] { auto const again = notifier.AddObservable(Make(2)); },
                ThrowsMessage<std::runtime_error>("Observable already added"));
    EXPECT_THAT([&] { notifier.ObservableChanged(Make(3)); },
                ThrowsMessage<std::runtime_error>("Cannot update observable that has not been added"));
    EXPECT_THAT([&] { notifier.RemoveObservable(Make(3)); },
                ThrowsMessage<std::runtime_error>("Cannot remove observable that has not been added"));
    EXPECT_THAT([&] { notifier.RemoveObservableId(3); },
                ThrowsMessage<std::runtime_error>("Cannot remove observable that has not been added"));
    EXPECT_THAT(
        [&] { notifier.RemoveObservable(input); },
        ThrowsMessage<std::runtime_error>("Cannot remove observable: 1 as another observable: 2 depends on it"));
    EXPECT_THAT(
        [&] { notifier.RemoveObservableId(1); },
        ThrowsMessage<std::runtime_error>("Cannot remove observable: 1 as another observable: 2 depends on it"));
    EXPECT_EQ(notifier.GetObservables(), path);
}

TEST(NotifierRulesTest, ACycleStopsEveryRuleUntilItIsMended) {
    RuleSet rules;
    auto const bystander = rules.Add("bystander", 1);
    bystander->Reports({About('A')});
    rules.notifier.Process(Meta(At(0)));

    auto const own = Make(2, {2});
    EXPECT_THAT([&] { auto const added = rules.notifier.AddObservable(own); },
                ThrowsMessage<std::runtime_error>(CycleError));
    EXPECT_THAT(rules.notifier.GetObservables(), IsEmpty());
    EXPECT_THAT([&] { rules.notifier.RemoveObservableId(2); },
                ThrowsMessage<std::runtime_error>("Cannot remove observable that has not been added"))
        << "it is in the graph but not on the path";

    bystander->Reports({About('B')});
    Meta const frame(At(10));
    rules.notifier.Process(frame);
    EXPECT_EQ(Letters(frame), "A+!") << "what was there before ends";

    rules.notifier.RemoveObservable(own);
    Meta const next(At(20));
    rules.notifier.Process(next);
    EXPECT_EQ(Letters(next), "B");
}

TEST(NotifierRulesTest, AnIdThatTheRuleHasGotSinceIsTheOneToRemoveItBy) {
    Notifier notifier;
    auto const first = Make(1);
    auto const second = Make(2);
    auto const third = Make(3);
    std::vector<type::Binding> bindings;
    for (auto const& rule : {first, second, third}) {
        bindings.push_back(notifier.AddObservable(rule));
    }
    first->SetId(3);
    notifier.RemoveObservableId(3);
    EXPECT_EQ(notifier.GetObservables(), (Rules{second, third}));
    EXPECT_THAT([&] { notifier.RemoveObservableId(1); },
                ThrowsMessage<std::runtime_error>("Cannot remove observable that has not been added"));
}

TEST(NotifierRulesTest, NullIsRefusedByTheNameOfTheCall) {
    Notifier notifier;
    tests::LogCapture capture;
    EXPECT_THAT([&] { auto const added = notifier.AddObservable(nullptr); },
                ThrowsMessage<std::invalid_argument>("Notifier::AddObservable: the observable must not be null"));
    EXPECT_THAT([&] { notifier.RemoveObservable(nullptr); },
                ThrowsMessage<std::invalid_argument>("Notifier::RemoveObservable: the observable must not be null"));
    EXPECT_THAT([&] { notifier.ObservableChanged(nullptr); },
                ThrowsMessage<std::invalid_argument>("Notifier::ObservableChanged: the observable must not be null"));
    EXPECT_THAT(capture.Take(), IsEmpty());
    notifier.Process(Meta(At(0)));
}

TEST(NotifierRulesTest, AddingLogsOneLineOfTheGraph) {
    Notifier notifier;
    tests::LogCapture capture;
    auto const added = notifier.AddObservable(Make(8));
    EXPECT_THAT(capture.Take(), ElementsAre("qel.observable.Graph 4: Updating graph with observable [8]"));
}

TEST(NotifierRulesTest, GenerateMetaReturnsWhatAnObservableReports) {
    auto const rule = std::make_shared<Scripted>();
    auto const event = About('A');
    Meta const frame(At(0));
    Meta const* seen = nullptr;
    rule->process = [&](Meta const& at) {
        seen = &at;
        return Scripted::Output{event, nullptr};
    };
    EXPECT_THAT(GenerateMeta(frame, rule), ElementsAre(event, nullptr));
    EXPECT_EQ(seen, &frame);
    EXPECT_THAT(tests::Items(frame), IsEmpty());
    EXPECT_EQ(Letters(std::vector{event}), "A");
    EXPECT_THAT([&] { GenerateMeta(frame, nullptr); },
                ThrowsMessage<std::invalid_argument>("GenerateMeta: the observable must not be null"));
}

// ---- Who owns a rule ------------------------------------------------------------------------------------------------

class NotifierOwnershipTest : public testing::Test {
protected:
    /// Adds a rule that only the notifier holds from now on.
    type::Binding Add(unsigned int id, std::weak_ptr<Scripted>& rule) {
        auto const made = Make(id);
        rule = made;
        return notifier.AddObservable(made);
    }

    /// Whether the rule set still runs the rule.
    bool Runs(std::weak_ptr<Scripted> const& rule) {
        bool runs = false;
        if (auto const found = rule.lock()) {
            found->process = [&](Meta const&) {
                runs = true;
                return Scripted::Output{};
            };
        }
        notifier.Process(Meta(At(0)));
        return runs;
    }

    Notifier notifier;
    std::weak_ptr<Scripted> first;
    std::weak_ptr<Scripted> second;
};

TEST_F(NotifierOwnershipTest, ARuleWhoseBindingIsGoneRunsUntilItIsRemoved) {
    { auto const binding = Add(1, first); }
    EXPECT_TRUE(Runs(first));
    notifier.RemoveObservableId(1);
    EXPECT_TRUE(first.expired());
}

TEST_F(NotifierOwnershipTest, ARemovedRuleIsOwnedUntilItsBindingIsGone) {
    {
        auto const binding = Add(1, first);
        notifier.RemoveObservableId(1);
        EXPECT_FALSE(first.expired());
        EXPECT_FALSE(Runs(first));
    }
    EXPECT_TRUE(first.expired());
}

TEST_F(NotifierOwnershipTest, ABindingGivesUpItsOwnRuleOnly) {
    auto binding = Add(1, first);
    auto const other = Add(2, second);
    notifier.RemoveObservableId(1);
    notifier.RemoveObservableId(2);
    binding.Reset();
    EXPECT_TRUE(first.expired());
    EXPECT_FALSE(second.expired());
}

TEST_F(NotifierOwnershipTest, ABindingGivesUpEveryRuleThatHasTheIdThen) {
    auto const binding = Add(1, first);
    auto other = Add(2, second);
    notifier.RemoveObservableId(1);
    notifier.RemoveObservableId(2);
    first.lock()->SetId(2);
    other.Reset();
    EXPECT_TRUE(first.expired());
    EXPECT_TRUE(second.expired());
}

TEST_F(NotifierOwnershipTest, ABindingDoesNothingForARuleThatHasAnotherIdNow) {
    auto binding = Add(1, first);
    notifier.RemoveObservableId(1);
    first.lock()->SetId(2);
    binding.Reset();
    EXPECT_FALSE(first.expired());
}

TEST_F(NotifierOwnershipTest, TheUnsetIdIsABindingsIdLikeOthers) {
    {
        auto const binding = Add(UnsetId, first);
        auto const other = Add(1, second);
        EXPECT_TRUE(Runs(first));
        notifier.RemoveObservableId(UnsetId);
        EXPECT_FALSE(first.expired());
    }
    EXPECT_TRUE(first.expired());
    EXPECT_FALSE(second.expired());
}

TEST_F(NotifierOwnershipTest, ARuleThatWasRefusedIsOwnedAllTheSame) {
    auto binding = Add(1, first);
    EXPECT_THROW((void)Add(1, second), std::runtime_error);
    EXPECT_FALSE(second.expired());

    notifier.RemoveObservableId(1);
    binding.Reset();
    EXPECT_TRUE(first.expired());
    EXPECT_TRUE(second.expired()) << "it has the id of the binding";
}

TEST_F(NotifierOwnershipTest, ARuleThatClosedACycleIsOwnedAllTheSame) {
    std::weak_ptr<Scripted> rule;
    {
        auto const made = Make(1, {1});
        rule = made;
        EXPECT_THROW((void)notifier.AddObservable(made), std::runtime_error);
    }
    notifier.RemoveObservable(rule.lock());
    EXPECT_FALSE(rule.expired());
}

TEST_F(NotifierOwnershipTest, ARuleMayBeAddedAgain) {
    auto binding = Add(1, first);
    notifier.RemoveObservableId(1);
    auto const again = notifier.AddObservable(first.lock());
    EXPECT_TRUE(Runs(first));
    binding.Reset();
    notifier.RemoveObservableId(1);
    EXPECT_TRUE(first.expired()) << "the first binding has given up both shares";
}

TEST_F(NotifierOwnershipTest, RulesEndWithTheNotifierAndBindingsOutliveIt) {
    type::Binding binding;
    type::Binding other;
    {
        Notifier brief;
        auto const made = Make(1);
        first = made;
        binding = brief.AddObservable(made);
        auto const removed = Make(2);
        second = removed;
        other = brief.AddObservable(removed);
        brief.RemoveObservable(removed);
    }
    EXPECT_TRUE(first.expired());
    EXPECT_TRUE(second.expired());
    binding.Reset();
}

struct LastWill : Scripted {
    explicit LastWill(std::function<void()> will) : will(std::move(will)) { SetId(1); }
    ~LastWill() override { will(); }
    std::function<void()> will;
};

TEST_F(NotifierOwnershipTest, ARuleMayUseTheNotifierWhileItIsDestroyed) {
    int wills = 0;
    auto const add = [&] {
        return notifier.AddObservable(std::make_shared<LastWill>([&] {
            notifier.SetEventRetriggerTime(std::chrono::milliseconds(1));
            ++wills;
        }));
    };
    auto binding = add();
    notifier.RemoveObservableId(1);
    EXPECT_EQ(wills, 0);
    binding.Reset();
    EXPECT_EQ(wills, 1);

    add().Reset();
    EXPECT_EQ(wills, 1);
    notifier.RemoveObservableId(1);
    EXPECT_EQ(wills, 2);

    add().Reset();
    notifier.RemoveObservable(Make(1));
    EXPECT_EQ(wills, 3);
}

TEST_F(NotifierOwnershipTest, EventsAreHeldForOneFrameAndAsLongAsTheRetriggerTimeSays) {
    auto const rule = Make(1);
    auto const binding = notifier.AddObservable(rule);
    std::weak_ptr<Event> event;
    rule->process = [&](Meta const&) {
        auto const made = About('A');
        event = made;
        return Scripted::Output{made};
    };
    notifier.Process(Meta(At(0)));
    EXPECT_FALSE(event.expired());
    rule->process = nullptr;
    notifier.Process(Meta(At(1)));
    EXPECT_TRUE(event.expired());
}

}  // namespace
}  // namespace qel::observable
