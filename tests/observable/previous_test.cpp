#include "observable/previous.hpp"

#include <chrono>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/primitive.hpp"
#include "observable/registry/get.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/random.hpp"
#include "tests/support/settings.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/timeline.hpp"

namespace qel::observable {
namespace {

using meta::data::Event;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;
using tests::Channel;
using tests::Describer;
using tests::MakeEvent;
using tests::Person;
using tests::Record;
using tests::Zone;

constexpr std::uint32_t Input = 7;

class Rule : public Previous {
public:
    explicit Rule(bool constrainTarget, milliseconds interval = milliseconds(1000))
        : Previous("look back", 0, Input, interval) {
        SetId(70);
        SetConstrainTarget(constrainTarget);
    }
};

// One frame of a story: its time in milliseconds, what the input reports in it and what the rule does, in the words of
// tests/support/timeline.hpp.
struct Frame {
    std::int64_t at;
    char const* input;
    char const* reported;
};

// Plays frames to a rule, one by one.
class Stage {
public:
    explicit Stage(Previous& rule) : rule(rule) {}

    std::string operator()(std::int64_t at, std::string const& input) {
        return player.Play(rule, *MakeFrame(at, input));
    }
    std::vector<std::string> InFull(std::int64_t at, std::string const& input) {
        return describe.Each(rule.Process(*MakeFrame(at, input)));
    }

private:
    static std::unique_ptr<meta::Meta> MakeFrame(std::int64_t at, std::string const& input) {
        auto frame = std::make_unique<meta::Meta>(At(at));
        tests::AppendEvents(*frame, Input, input);
        return frame;
    }

    Previous& rule;
    tests::Player player;
    Describer describe;
};

void Tell(Previous& rule, std::vector<Frame> const& frames) {
    Stage play(rule);
    for (auto const& frame : frames) {
        EXPECT_EQ(play(frame.at, frame.input), frame.reported) << "at " << frame.at << " ms";
    }
}

struct Story {
    char const* name;
    std::vector<Frame> frames;
};

void PrintTo(Story const& story, std::ostream* stream) { *stream << story.name; }

auto const NameOf = [](auto const& tested) { return std::string(tested.param.name); };

class PreviousInBothModesTest : public testing::TestWithParam<Story> {};
class PreviousPerTargetTest : public testing::TestWithParam<Story> {};
class PreviousUnconstrainedTest : public testing::TestWithParam<Story> {};

// The interval is a second.
TEST_P(PreviousInBothModesTest, ReportsPerTarget) {
    Rule rule(true);
    Tell(rule, GetParam().frames);
}
TEST_P(PreviousInBothModesTest, ReportsUnconstrained) {
    Rule rule(false);
    Tell(rule, GetParam().frames);
}
TEST_P(PreviousPerTargetTest, Reports) {
    Rule rule(true);
    Tell(rule, GetParam().frames);
}
TEST_P(PreviousUnconstrainedTest, Reports) {
    Rule rule(false);
    Tell(rule, GetParam().frames);
}

INSTANTIATE_TEST_SUITE_P(
    Previous, PreviousInBothModesTest,
    testing::Values(
        Story{"WithoutInputThereIsNothing", {{0, ".", "-"}, {100, ".", "-"}}},
        Story{"TheEndOfTheIntervalIsInIt", {{0, "3", "3A"}, {500, ".", "3A"}, {1000, ".", "3A"}, {1001, ".", "-"}}},
        Story{"AReturnAfterTheIntervalIsANewEvent",
              {{0, "3", "3A"}, {1001, ".", "-"}, {1100, "3", "3B"}, {1200, ".", "3B"}}},
        Story{"AReturnInTimeGoesOn", {{0, "3", "3A"}, {900, "3", "3A"}, {1900, ".", "3A"}, {1901, ".", "-"}}},
        Story{"AnInputInEveryFrameIsOneEvent",
              {{0, "3", "3A"}, {700, "3", "3A"}, {1400, "3", "3A"}, {2100, "3", "3A"}}},
        Story{"TwoFramesWithInputAreOneEventHoweverFarApart", {{0, "3", "3A"}, {9000, "3", "3A"}, {10001, ".", "-"}}},
        Story{"TimeMayStandStill", {{0, "3", "3A"}, {0, ".", "3A"}, {0, "3", "3A"}, {0, ".", "3A"}, {1001, ".", "-"}}},
        Story{"TimeMayJumpAhead", {{0, "3", "3A"}, {9'000'000'000'000, ".", "-"}}},
        Story{"TimeMayRunBackwards",
              {{5000, "3", "3A"}, {1000, ".", "3A"}, {-9000, ".", "3A"}, {6000, ".", "3A"}, {6001, ".", "-"}}},
        Story{"AnInputThatEndedTooLongAgoIsNotReported", {{2000, "3@999", "-"}, {2001, ".", "-"}, {2002, "3", "3A"}}},
        Story{"AnInputThatEndedJustInTimeIs", {{2000, "3@1000", "3A"}, {2001, ".", "-"}}},
        Story{"AnInputMayEndAfterItsFrame", {{0, "3@500", "3A"}, {1500, ".", "3A"}, {1501, ".", "-"}}},
        Story{"AFirstEventAgesFromItsOwnEnd", {{1000, "3@600", "3A"}, {1600, ".", "3A"}, {1601, ".", "-"}}}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Previous, PreviousPerTargetTest,
    testing::Values(
        Story{"EveryTargetOfAnEventIsReportedWithAllOfThem", {{0, "37", "37A,37B"}, {500, ".", "37A,37B"}}},
        Story{"TargetsAreReportedInOrderOfTheirIds",
              {{0, "7,3,5", "3A,5B,7C"}, {1, "9", "3A,5B,7C,9D"}, {2, "4", "3A,4E,5B,7C,9D"}}},
        Story{"ObjectsKeepTheOrderOfTheirEvent", {{0, "735", "735A,735B,735C"}}},
        Story{"TargetsEndOnTheirOwn",
              {{0, "3", "3A"}, {600, "5", "3A,5B"}, {1000, ".", "3A,5B"}, {1001, ".", "5B"}, {1601, ".", "-"}}},
        Story{"ATargetThatReturnsLateIsNewWhileAnotherGoesOn",
              {{0, "3,5", "3A,5B"}, {900, "5", "3A,5B"}, {1100, ".", "5B"}, {1200, "3", "3C,5B"}}},
        Story{"TheLatestEventOfATargetIsTheOneRemembered",
              {{0, "37", "37A,37B"}, {500, "3", "3A,37B"}, {1001, ".", "3A"}, {1501, ".", "-"}}},
        Story{"OfTheEventsOfAFrameTheLastOneIsRemembered", {{0, "37,39", "39A,37B,39C"}}},
        Story{"EachEventAgesFromItsOwnEnd",
              {{1000, "3", "3A"}, {1500, "3@1100", "3A"}, {2100, ".", "3A"}, {2101, ".", "-"}}},
        Story{"ALaterEventMayBeTheOlderOne", {{1000, "3,3@100", "3A"}, {1100, ".", "3A"}, {1101, ".", "-"}}},
        Story{"AnEventThatEndedTooLongAgoEndsWhatItReplaces",
              {{5000, "3", "3A"}, {5100, "3@100", "-"}, {5200, "3", "3B"}}},
        Story{"AnEventWithoutTargetsIsNotRemembered", {{0, "x", "-"}, {1, "3", "3A"}, {2, "x", "3A"}}},
        Story{"AnObjectTwiceInAnEventIsOneTarget", {{0, "33", "33A"}}},
        Story{"AnEventThatEndedTooLongAgoLeavesOtherTargetsAlone",
              {{2000, "3", "3A"}, {2100, "35@100", "-"}, {2200, "5", "5B"}}}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Previous, PreviousUnconstrainedTest,
    testing::Values(Story{"TheObjectsAreThoseOfTheFirstEvent",
                          {{0, "37", "37A"}, {500, "5", "37A"}, {1500, ".", "37A"}, {1501, ".", "-"}}},
                    Story{"OfTheFirstFrameTheFirstEventCounts", {{0, "3,7", "3A"}, {1, "7,3", "3A"}}},
                    Story{"AnEventWithoutTargetsIsRememberedToo",
                          {{0, "x", "A"}, {1, "3", "A"}, {1001, ".", "A"}, {1002, ".", "-"}}},
                    Story{"LaterEventsAgeFromTheirFrame",
                          {{0, "3", "3A"}, {500, "3@400", "3A"}, {1500, ".", "3A"}, {1501, ".", "-"}}},
                    Story{"LaterEventsCountHoweverLongAgoTheyEnded",
                          {{5000, "3", "3A"}, {5100, "3@100", "3A"}, {6100, ".", "3A"}, {6101, ".", "-"}}},
                    Story{"ALaterEventPullsAFarEndBackToItsFrame",
                          {{0, "3@9000", "3A"}, {100, "3", "3A"}, {1100, ".", "3A"}, {1101, ".", "-"}}},
                    Story{"AFirstEventThatEndedTooLongAgoIsForgotten", {{2000, "3@999", "-"}, {2001, "5", "5A"}}},
                    Story{"TimeThatRunsBackwardsBringsTheEndBack",
                          {{5000, "3", "3A"}, {1000, "3", "3A"}, {2000, ".", "3A"}, {2001, ".", "-"}}},
                    Story{"ANewEpisodeHasTheObjectsOfItsOwnFirstEvent",
                          {{0, "3", "3A"}, {1001, ".", "-"}, {1002, "5", "5B"}}}),
    NameOf);

// What is remembered outlives a change of the mode: the mode that takes over works with whatever is there.

TEST(PreviousModeTest, TheMemoryOfNoTargetIsTargetZero) {
    Rule rule(false);
    Stage play(rule);
    EXPECT_EQ(play(5000, "35"), "35A");
    rule.SetConstrainTarget(true);
    EXPECT_EQ(play(5100, "."), "35A");
    EXPECT_EQ(play(5200, "7"), "35A,7B");
    EXPECT_EQ(play(6000, "."), "35A,7B");
    EXPECT_EQ(play(6001, "."), "7B");
}

TEST(PreviousModeTest, AnObjectWithIdZeroTakesThePlaceOfTheMemoryOfNoTarget) {
    Rule rule(false);
    Stage play(rule);
    EXPECT_EQ(play(5000, "35"), "35A");
    rule.SetConstrainTarget(true);
    EXPECT_EQ(play(5100, "0"), "0A");
    rule.SetConstrainTarget(false);
    EXPECT_EQ(play(6100, "."), "0A");
    EXPECT_EQ(play(6101, "."), "-");
}

TEST(PreviousModeTest, TargetsGoOnAsOneEventUnderTheIdOfTheLowestWhileTheInputFires) {
    Rule rule(true);
    Stage play(rule);
    EXPECT_EQ(play(5000, "37"), "37A,37B");
    EXPECT_EQ(play(5100, "5"), "37A,5C,37B");
    rule.SetConstrainTarget(false);
    // The memory of no target begins without objects; those of all targets are reported beside it, however old.
    EXPECT_EQ(play(5200, "9"), "37537A");
    EXPECT_EQ(play(6200, "."), "37537A");
    EXPECT_EQ(play(6201, "."), "-");
    EXPECT_EQ(play(6202, "9"), "9D");
}

TEST(PreviousModeTest, TargetsAreForgottenWhenTheInputIsSilentSinceTheMemoryOfNoTargetIsFromTheEpoch) {
    Rule rule(true);
    Stage play(rule);
    EXPECT_EQ(play(5000, "37"), "37A,37B");
    rule.SetConstrainTarget(false);
    EXPECT_EQ(play(5100, "."), "-");
    rule.SetConstrainTarget(true);
    EXPECT_EQ(play(5200, "."), "-");
}

TEST(PreviousModeTest, NearTheEpochTargetsGoOnThoughTheInputIsSilent) {
    Rule rule(true);
    Stage play(rule);
    EXPECT_EQ(play(900, "7,3"), "3A,7B");
    rule.SetConstrainTarget(false);
    EXPECT_EQ(play(1000, "."), "37A");
    rule.SetConstrainTarget(true);
    // Target zero continues the event that was reported for none; the other targets start anew.
    EXPECT_EQ(play(1000, "."), "A,3C,7D");
    EXPECT_EQ(play(1001, "."), "3C,7D");
}

TEST(PreviousModeTest, TheEpochIsMeantToTheNanosecond) {
    for (auto const& [late, reported] : {std::pair(0, "3A"), std::pair(1, "-")}) {
        Rule rule(true);
        Stage play(rule);
        EXPECT_EQ(play(900, "3"), "3A");
        rule.SetConstrainTarget(false);
        tests::Player player;
        EXPECT_EQ(player.Play(rule, meta::Meta(At(1000) + std::chrono::nanoseconds(late))), reported);
    }
}

// The interval at the ends of its type, with times at the ends of theirs.

constexpr auto Earliest = meta::Timestamp::min();
constexpr auto Latest = meta::Timestamp::max();

std::size_t CountReported(Previous& rule, meta::Timestamp at, std::vector<meta::Timestamp> const& inputEnds = {}) {
    meta::Meta const frame(at);
    for (auto const end : inputEnds) {
        frame.Append(MakeEvent(end, end, {Record(Input), Person(3)}));
    }
    return rule.Process(frame).size();
}

class PreviousIntervalTest : public testing::TestWithParam<bool> {
protected:
    Rule MakeRule(milliseconds interval) const { return Rule(GetParam(), interval); }
};

TEST_P(PreviousIntervalTest, IsExactToTheNanosecond) {
    auto rule = MakeRule(milliseconds(1000));
    meta::Timestamp const seen(std::chrono::nanoseconds(17));
    EXPECT_EQ(CountReported(rule, seen, {seen}), 1u);
    EXPECT_EQ(CountReported(rule, seen + std::chrono::nanoseconds(1'000'000'000)), 1u);
    EXPECT_EQ(CountReported(rule, seen + std::chrono::nanoseconds(1'000'000'001)), 0u);
}

TEST_P(PreviousIntervalTest, TheLongestIsForEver) {
    auto rule = MakeRule(milliseconds::max());
    EXPECT_EQ(CountReported(rule, Earliest, {Earliest}), 1u);
    EXPECT_EQ(CountReported(rule, Latest), 1u);
}

TEST_P(PreviousIntervalTest, MoreThanTheClockHoldsIsForEverToo) {
    auto rule = MakeRule(milliseconds(18'446'744'073'710));
    EXPECT_EQ(CountReported(rule, Earliest, {Earliest}), 1u);
    EXPECT_EQ(CountReported(rule, Latest), 1u);
}

TEST_P(PreviousIntervalTest, AWholeClockCanBeTooLongAgo) {
    auto rule = MakeRule(milliseconds(18'446'744'073'709));
    EXPECT_EQ(CountReported(rule, Earliest, {Earliest}), 1u);
    EXPECT_EQ(CountReported(rule, Latest), 0u);
}

TEST_P(PreviousIntervalTest, ZeroReportsInTheFrameOfTheInputAndWhileTimeStandsStill) {
    auto rule = MakeRule(milliseconds(0));
    EXPECT_EQ(CountReported(rule, At(100), {At(100)}), 1u);
    EXPECT_EQ(CountReported(rule, At(100)), 1u);
    EXPECT_EQ(CountReported(rule, At(100) + std::chrono::nanoseconds(1)), 0u);
}

TEST_P(PreviousIntervalTest, BelowZeroOnlyWhatEndsLaterIsReported) {
    auto rule = MakeRule(milliseconds(-10));
    EXPECT_EQ(CountReported(rule, At(100), {At(100)}), 0u);
    EXPECT_EQ(CountReported(rule, At(100), {At(109)}), 0u);
    EXPECT_EQ(CountReported(rule, At(100), {At(110)}), 1u);
    EXPECT_EQ(CountReported(rule, At(101)), 0u);
}

TEST_P(PreviousIntervalTest, TheShortestReportsNothing) {
    auto rule = MakeRule(milliseconds::min());
    EXPECT_EQ(CountReported(rule, Earliest, {Latest}), 0u);
    EXPECT_EQ(CountReported(rule, At(0), {At(0)}), 0u);
}

TEST_P(PreviousIntervalTest, AChangeHoldsFromTheNextFrameOn) {
    auto rule = MakeRule(milliseconds(1000));
    EXPECT_EQ(CountReported(rule, At(0), {At(0)}), 1u);
    rule.SetInterval(milliseconds(200));
    EXPECT_EQ(CountReported(rule, At(200)), 1u);
    rule.SetInterval(milliseconds(5000));
    EXPECT_EQ(CountReported(rule, At(5000)), 1u);
    rule.SetInterval(milliseconds(200));
    EXPECT_EQ(CountReported(rule, At(5000)), 0u);
    rule.SetInterval(milliseconds(5000));
    EXPECT_EQ(CountReported(rule, At(5000)), 0u) << "what was too old is forgotten";
}

INSTANTIATE_TEST_SUITE_P(Previous, PreviousIntervalTest, testing::Bool(),
                         [](auto const& tested) { return tested.param ? "PerTarget" : "Unconstrained"; });

// What an event holds.

TEST(PreviousEventTest, ATargetsEventHoldsTheRecordAndCopiesOfTheObjectsOfTheInput) {
    Rule rule(true);
    Describer describe;
    auto const object = std::make_shared<meta::data::Object>(3, "person", meta::data::Box{0.1, 0.2, 0.3, 0.4}, 0.5);
    meta::Meta const frame(At(200));
    frame.Append(MakeEvent(At(100), At(150), {Zone(4), object, Record(Input), Channel(1), Person(9)}));

    auto const reported = rule.Process(frame);
    EXPECT_THAT(describe.Each(reported),
                ElementsAre("A look back/previous/analytics 200..200 [record 70, object 3 person@0.5(0.1 0.2 0.3 0.4), "
                            "object 9 person@1(0 0 0 0)]",
                            "B look back/previous/analytics 200..200 [record 70, object 3 person@0.5(0.1 0.2 0.3 0.4), "
                            "object 9 person@1(0 0 0 0)]"));
    auto const& first = reported.front()->As<Event>().GetObjects();
    auto const& second = reported.back()->As<Event>().GetObjects();
    EXPECT_EQ(first[0], rule.MakeObservableMetadata());
    EXPECT_EQ(second[0], rule.MakeObservableMetadata());
    EXPECT_NE(first[1], object);
    EXPECT_NE(second[1], object);
    EXPECT_NE(first[1], second[1]) << "every event has copies of its own";
}

TEST(PreviousEventTest, TheOneEventHoldsTheRecordAndCopiesOfTheObjectsOfTheInput) {
    Rule rule(false);
    Describer describe;
    auto const object = Person(3);
    meta::Meta const frame(At(200));
    frame.Append(MakeEvent(At(100), At(150), {Zone(4), object, Record(Input), Channel(1), Person(9)}));

    auto const reported = rule.Process(frame);
    EXPECT_THAT(describe.Each(reported),
                ElementsAre("A look back/previous/analytics 200..200 [record 70, object 3 person@1(0 0 0 0), "
                            "object 9 person@1(0 0 0 0)]"));
    EXPECT_EQ(reported.front()->As<Event>().GetObjects()[0], rule.MakeObservableMetadata());
    EXPECT_NE(reported.front()->As<Event>().GetObjects()[1], object);
}

TEST_P(PreviousIntervalTest, TheStartStaysAndTheEndMoves) {
    Rule rule(GetParam());
    Stage play(rule);
    EXPECT_THAT(play.InFull(200, "3"),
                ElementsAre("A look back/previous/analytics 200..200 [record 70, object 3 person@1(0 0 0 0)]"));
    EXPECT_THAT(play.InFull(700, "."),
                ElementsAre("A look back/previous/analytics 200..700 [record 70, object 3 person@1(0 0 0 0)]"));
    EXPECT_THAT(play.InFull(900, "3"),
                ElementsAre("A look back/previous/analytics 200..900 [record 70, object 3 person@1(0 0 0 0)]"));
    EXPECT_THAT(play.InFull(100, "."),
                ElementsAre("A look back/previous/analytics 200..100 [record 70, object 3 person@1(0 0 0 0)]"));
}

TEST_P(PreviousIntervalTest, ANewNameOrIdIsInTheNextEventWhichGoesOn) {
    Rule rule(GetParam());
    Stage play(rule);
    EXPECT_THAT(play.InFull(0, "3"),
                ElementsAre("A look back/previous/analytics 0..0 [record 70, object 3 person@1(0 0 0 0)]"));
    rule.SetName("recently");
    rule.SetId(71);
    EXPECT_THAT(play.InFull(1, "."),
                ElementsAre("A recently/previous/analytics 0..1 [record 71, object 3 person@1(0 0 0 0)]"));
}

TEST_P(PreviousIntervalTest, WhatIsDoneToAnInputEventLaterDoesNotReachTheMemory) {
    Rule rule(GetParam());
    tests::Player player;
    auto const input = MakeEvent(At(0), At(0), {Record(Input), Person(3)});
    meta::Meta const first(At(0));
    first.Append(input);
    EXPECT_EQ(player.Play(rule, first), "3A");

    input->SetEnd(At(9000));
    input->EditObjects([](Event::Objects& objects) { objects = {Person(8), Person(9)}; });
    EXPECT_EQ(player.Play(rule, meta::Meta(At(1000))), "3A");
    EXPECT_EQ(player.Play(rule, meta::Meta(At(1001))), "-");
}

TEST_P(PreviousIntervalTest, WhatIsDoneToAReportedEventDoesNotReachTheNext) {
    Rule rule(GetParam());
    meta::Meta const first(At(0));
    tests::AppendEvents(first, Input, "3");
    auto const reported = rule.Process(first);
    auto const id = reported.front()->As<Event>().GetId();
    reported.front()->As<Event>() = Event();

    auto const next = rule.Process(meta::Meta(At(500)));
    ASSERT_EQ(next.size(), 1u);
    EXPECT_EQ(next.front()->As<Event>().GetId(), id);
    EXPECT_EQ(next.front()->As<Event>().GetStart(), At(0));
}

TEST_P(PreviousIntervalTest, TheFlagsOfTheInputAreNotTakenOver) {
    Rule rule(GetParam());
    auto const input = MakeEvent(At(0), At(0), {Record(Input), Person(3)});
    input->SetDuplicate(true);
    input->SetInternal(true);
    input->SetFinal(true);
    meta::Meta const frame(At(0));
    frame.Append(input);
    auto const reported = rule.Process(frame);
    ASSERT_EQ(reported.size(), 1u);
    auto const& event = reported.front()->As<Event>();
    EXPECT_FALSE(event.IsDuplicate() || event.IsInternal() || event.IsFinal());
}

// What counts as input.

TEST_P(PreviousIntervalTest, OnlyEventsThatNameTheInputAreSeen) {
    Rule rule(GetParam());
    tests::Player player;
    meta::Meta const frame(At(0));
    frame.Append(MakeEvent(At(0), At(0), {Record(Input + 1), Person(3)}));
    frame.Append(MakeEvent(At(0), At(0), {Person(3)}));
    frame.Append(Record(Input));
    frame.Append(Person(3));
    EXPECT_EQ(player.Play(rule, frame), "-");
}

TEST_P(PreviousIntervalTest, NullsAndStrangersArePassedOver) {
    Rule rule(GetParam());
    tests::Player player;
    meta::Meta const frame(At(0));
    frame.Append(nullptr);
    frame.Append(std::make_shared<tests::Stranger>());
    frame.Append(
        MakeEvent(At(0), At(0), {nullptr, std::make_shared<tests::Stranger>(), Record(Input), nullptr, Person(3)}));
    frame.Append(nullptr);
    EXPECT_EQ(player.Play(rule, frame), "3A");
}

TEST_P(PreviousIntervalTest, AnEventThatNamesItsInputTwiceIsStillOne) {
    Rule rule(GetParam());
    tests::Player player;
    meta::Meta const frame(At(0));
    frame.Append(MakeEvent(At(0), At(0), {Record(Input), Record(Input + 1), Record(Input), Person(3)}));
    EXPECT_EQ(player.Play(rule, frame), "3A");
}

TEST_P(PreviousIntervalTest, AnUnsetInputMatchesNothingNotEvenItsOwnNumber) {
    Rule rule(GetParam());
    rule.SetInput(UnsetId);
    tests::Player player;
    meta::Meta const frame(At(0));
    frame.Append(MakeEvent(At(0), At(0), {Record(UnsetId), Person(3)}));
    EXPECT_EQ(player.Play(rule, frame), "-");
}

TEST_P(PreviousIntervalTest, WhatIsRememberedOutlivesItsInput) {
    Rule rule(GetParam());
    Stage play(rule);
    EXPECT_EQ(play(0, "3"), "3A");
    rule.SetInput(UnsetId);
    EXPECT_EQ(play(500, "."), "3A");
    rule.SetInput(Input + 1);
    EXPECT_EQ(play(1000, "."), "3A");
    EXPECT_EQ(play(1001, "."), "-");
}

TEST_P(PreviousIntervalTest, NothingOfTheFramesIsKeptAliveByWhatIsRemembered) {
    Rule rule(GetParam());
    std::weak_ptr<object::Object> seen;
    {
        auto const person = Person(3);
        seen = person;
        meta::Meta const frame(At(0));
        frame.Append(MakeEvent(At(0), At(0), {Record(Input), person}));
        EXPECT_EQ(rule.Process(frame).size(), 1u);
    }
    EXPECT_TRUE(seen.expired());
    EXPECT_EQ(Stage(rule)(500, "."), "3A");
}

TEST_P(PreviousIntervalTest, ResetForgetsNothing) {
    Rule rule(GetParam());
    Stage play(rule);
    EXPECT_EQ(play(0, "3"), "3A");
    rule.Reset();
    EXPECT_EQ(play(500, "."), "3A");
}

TEST(PreviousTargetTest, IdsMayBeAnyNumber) {
    Rule rule(true);
    meta::Meta const frame(At(0));
    auto const largest = std::numeric_limits<unsigned int>::max();
    frame.Append(MakeEvent(At(0), At(0), {Record(Input), Person(largest), Person(0)}));
    auto const reported = rule.Process(frame);
    ASSERT_EQ(reported.size(), 2u);
    auto const first = reported[0]->As<Event>().GetId();
    auto const second = reported[1]->As<Event>().GetId();
    EXPECT_NE(first, second);

    auto const next = rule.Process(meta::Meta(At(1)));
    ASSERT_EQ(next.size(), 2u);
    EXPECT_EQ(next[0]->As<Event>().GetId(), first);
    EXPECT_EQ(next[1]->As<Event>().GetId(), second);
}

TEST_P(PreviousIntervalTest, WhenMemoryRunsOutItIsAsIfTheFrameHadNotBeen) {
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        Rule rule(GetParam());
        Stage play(rule);
        EXPECT_EQ(play(0, "3"), "3A");
        meta::Meta const frame(At(500));
        tests::AppendEvents(frame, Input, "35");
        try {
            tests::FailingAllocation const failing(failures);
            rule.Process(frame);
            failed = false;
        } catch (std::bad_alloc const&) {
            EXPECT_EQ(play(1000, "."), "3A") << failures;
            EXPECT_EQ(play(1001, "."), "-") << failures;
        }
    }
    EXPECT_GT(failures, 5u);
}

// The law of the mode without targets: with times that never fall and inputs that end at their frame's time, it reports
// in a frame exactly when its input fired in some frame no longer ago than the interval.
TEST(PreviousLawTest, ReportsExactlyWhenTheInputFiredWithinTheInterval) {
    tests::RunAtRandom(2000, [](tests::Random& random) {
        std::int64_t const intervals[] = {-1, 0, 1, 3, 100, std::numeric_limits<std::int64_t>::max()};
        milliseconds const interval(intervals[random.Below(std::size(intervals))]);
        Rule rule(false, interval);
        std::vector<std::int64_t> fired;
        std::int64_t now = static_cast<std::int64_t>(random.Below(3)) * 1'000'000'000'000 - 1'000'000'000'000;
        for (std::size_t frames = 30; frames > 0; --frames) {
            std::int64_t const steps[] = {0, 1, 999'999, 1'000'000, 1'000'001, 3'000'000, 100'000'000};
            now += steps[random.Below(std::size(steps))];
            meta::Timestamp const time{std::chrono::nanoseconds(now)};
            meta::Meta const frame(time);
            if (random.OneIn(4)) {
                fired.push_back(now);
                frame.Append(MakeEvent(time, time, {Record(Input)}));
            }
            bool within = false;
            for (auto const then : fired) {
                within = within || interval == milliseconds::max() || now - then <= interval.count() * 1'000'000;
            }
            ASSERT_EQ(rule.Process(frame).size(), within ? 1u : 0u) << "at " << now << " ns";
        }
    });
}

// Settings.

TEST(PreviousSettingsTest, TheConstructorTakesFourAndLeavesTheFlagCleared) {
    Previous const rule("mine", 12, 34, milliseconds(56));
    EXPECT_EQ(rule.GetName(), "mine");
    EXPECT_EQ(rule.GetChannel(), 12);
    EXPECT_EQ(rule.GetInput(), 34u);
    EXPECT_EQ(rule.GetInterval(), milliseconds(56));
    EXPECT_FALSE(rule.GetConstrainTarget());
    EXPECT_TRUE(rule.GetTriggersAction());
}

TEST(PreviousSettingsTest, EverySettingIsReadAsItWasWritten) {
    Previous rule("mine", 0, UnsetId, milliseconds(1));
    rule.SetChannel(65535);
    rule.SetInput(9);
    rule.SetInterval(milliseconds::min());
    rule.SetConstrainTarget(true);
    EXPECT_EQ(rule.GetChannel(), 65535);
    EXPECT_EQ(rule.GetInput(), 9u);
    EXPECT_EQ(rule.GetInterval(), milliseconds::min());
    EXPECT_TRUE(rule.GetConstrainTarget());
}

TEST(PreviousSettingsTest, Defaults) {
    EXPECT_STREQ(Previous::DefaultName, "Previous");
    EXPECT_EQ(Previous::DefaultChannel, 0);
    EXPECT_EQ(Previous::DefaultInput, 0xFFFFFFFF);
    EXPECT_EQ(Previous::DefaultInterval, milliseconds(1000));
    EXPECT_TRUE(Previous::DefaultConstrainTarget);
}

TEST(PreviousSettingsTest, TheFactoryMakesOneWithDefaultsButForTheFlag) {
    auto const made = Observable::Make(hash::MurmurThree32::MakeData("qel.observable.Previous"));
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(made->GetTypeName(), "qel.observable.Previous");
    auto const& rule = dynamic_cast<Previous const&>(*made);
    EXPECT_EQ(rule.GetName(), "Previous");
    EXPECT_EQ(rule.GetChannel(), 0);
    EXPECT_EQ(rule.GetInput(), UnsetId);
    EXPECT_EQ(rule.GetInterval(), milliseconds(1000));
    EXPECT_FALSE(rule.GetConstrainTarget());
    EXPECT_EQ(made->GetPtr(), made);
}

TEST(PreviousSettingsTest, DependsOnItsInput) {
    Previous rule("mine", 0, UnsetId, milliseconds(1));
    EXPECT_THAT(rule.GetDependents(), IsEmpty());
    rule.SetInput(0);
    EXPECT_THAT(rule.GetDependents(), ElementsAre(0u));
    rule.SetInput(34);
    EXPECT_THAT(rule.GetDependents(), ElementsAre(34u));
    EXPECT_THAT(rule.GetInputProperties(), ElementsAre("input"));
    EXPECT_EQ(rule.GetInputProperties().data(), Rule(true).GetInputProperties().data()) << "one list for all";
}

TEST(PreviousSettingsTest, IsWrittenAsAnObservableWithoutAClosingBrace) {
    Rule const rule(true);
    std::ostringstream stream;
    stream << static_cast<Previous const&>(rule);
    EXPECT_EQ(stream.str(), "{\"observable\":{\"typename\":qel.observable.Previous,\"id\":70}");
}

TEST(PreviousSettingsTest, Schemas) {
    EXPECT_THAT(
        tests::DescribeSettings(Previous::MakeProperties()),
        ElementsAre(
            "interval: qel.property.Milliseconds = 1000ms. Must be a number between 100 to 86400000. The maximum "
            "number of milliseconds in the past to look for events",
            "channel: qel.property.UInt16 = 0. Must be a number between 0 to 65535. The channel id the observable "
            "is assigned to",
            "input: qel.property.UInt32 = 4294967295. Must be a number between 0 to 4294967295. One of the "
            "sources of input events",
            "constrain_target: qel.property.Bool = true. . Whether the the input events must match target id's",
            "name: qel.property.String = ''. . The user-defined name for the observable",
            "triggers_action: qel.property.Bool = true. . Whether the observable triggers actions and other "
            "observables"));
}

TEST(PreviousSettingsTest, TheRegistryPublishesTheSchemas) {
    auto const types = registry::Get().GetMap();
    auto const found = types->find(hash::MurmurThree32::MakeData("qel.observable.Previous"));
    ASSERT_NE(found, types->end());
    EXPECT_EQ(tests::DescribeSettings(found->second.GetSchemas()), tests::DescribeSettings(Previous::MakeProperties()));
}

TEST(PreviousSettingsTest, SettingsReachTheRuleThroughItsSchemas) {
    auto const schemas = Previous::MakeProperties();
    auto const rule = std::make_shared<Previous>("mine", 0, UnsetId, milliseconds(1));
    tests::BindSetting(schemas, rule, "interval")->Set(object::Milliseconds(milliseconds(2000)));
    tests::BindSetting(schemas, rule, "channel")->Set(object::UInt16(12));
    tests::BindSetting(schemas, rule, "input")->Set(object::UInt32(34));
    tests::BindSetting(schemas, rule, "constrain_target")->Set(object::Bool(true));
    EXPECT_EQ(rule->GetInterval(), milliseconds(2000));
    EXPECT_EQ(rule->GetChannel(), 12);
    EXPECT_EQ(rule->GetInput(), 34u);
    EXPECT_TRUE(rule->GetConstrainTarget());

    EXPECT_EQ(tests::ValueText(*tests::BindSetting(schemas, rule, "interval")->GetObject()), "2000ms");
    EXPECT_EQ(tests::ValueText(*tests::BindSetting(schemas, rule, "channel")->GetObject()), "12");
    EXPECT_EQ(tests::ValueText(*tests::BindSetting(schemas, rule, "input")->GetObject()), "34");
    EXPECT_EQ(tests::ValueText(*tests::BindSetting(schemas, rule, "constrain_target")->GetObject()), "true");
}

TEST(PreviousSettingsTest, TheIntervalGoesFromATenthOfASecondToADay) {
    auto const rule = std::make_shared<Previous>("mine", 0, UnsetId, milliseconds(1));
    auto const interval = tests::BindSetting(Previous::MakeProperties(), rule, "interval");
    interval->Set(object::Milliseconds(milliseconds(100)));
    EXPECT_EQ(rule->GetInterval(), milliseconds(100));
    interval->Set(object::Milliseconds(std::chrono::hours(24)));
    EXPECT_EQ(rule->GetInterval(), milliseconds(86'400'000));

    EXPECT_THAT([&] { interval->Set(object::Milliseconds(milliseconds(99))); },
                testing::ThrowsMessage<std::out_of_range>(
                    "The 'interval' property only accepts values in the range of 100 to 86400000: 99"));
    EXPECT_THAT([&] { interval->Set(object::Milliseconds(milliseconds(86'400'001))); },
                testing::ThrowsMessage<std::out_of_range>(
                    "The 'interval' property only accepts values in the range of 100 to 86400000: 86400001"));
    EXPECT_EQ(rule->GetInterval(), milliseconds(86'400'000));
}

}  // namespace
}  // namespace qel::observable
