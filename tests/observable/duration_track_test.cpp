#include "observable/duration_track.hpp"

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "observable/observable.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/slot_of.hpp"
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
using tests::SlotOf;
using tests::Zone;

constexpr std::uint32_t Input = 7;

using Items = std::vector<std::shared_ptr<object::Object>>;

// A rule as a plug-in has it: every event of the frame is one of its own condition.
class Rule : public Observable, public DurationTrack {
public:
    explicit Rule(milliseconds duration = milliseconds(1000))
        : Observable(hash::MurmurThree32::MakeData("qel.tests.DurationRule")), DurationTrack(duration) {
        SetId(70);
        SetName("too long");
    }

    Items Process(meta::Meta const& frame) override { return TrackObjects(tests::Items(frame), frame.GetTimestamp()); }

    bool IsTracked(meta::data::Object const& object) const override {
        asked.push_back(object.GetId());
        if (object.GetId() == refuses) {
            throw std::runtime_error("no idea");
        }
        return object.GetId() != ignores;
    }
    std::shared_ptr<object::Object const> MakeTrackRecord() const override {
        ++records;
        if (records == failsAtRecord) {
            throw std::runtime_error("no record");
        }
        return MakeObservableMetadata();
    }
    std::string GetTrackName() const override { return GetName(); }
    std::string GetTrackType() const override { return type; }
    std::string GetTrackCategory() const override { return "tests"; }

    unsigned int ignores = 99;
    unsigned int refuses = 99;
    std::string type = "duration";
    mutable std::vector<unsigned int> asked;
    mutable int records = 0;
    int failsAtRecord = -1;
};

// Plays frames to a rule, one by one, in the words of tests/support/timeline.hpp.
class Stage {
public:
    explicit Stage(Rule& rule) : rule(rule) {}

    std::string operator()(meta::Timestamp at, std::string const& input) {
        meta::Meta const frame(at);
        tests::AppendEvents(frame, Input, input);
        return player.Play(rule, frame);
    }
    std::string operator()(std::int64_t at, std::string const& input) { return (*this)(At(at), input); }

private:
    Rule& rule;
    tests::Player player;
};

// Over time.

struct Frame {
    std::int64_t at;  // milliseconds
    char const* input;
    char const* reported;
};

struct Story {
    char const* name;
    std::int64_t duration;  // milliseconds
    std::vector<Frame> frames;
};

void PrintTo(Story const& story, std::ostream* stream) { *stream << story.name; }

class DurationTrackTest : public testing::TestWithParam<Story> {};

TEST_P(DurationTrackTest, Reports) {
    Rule rule(milliseconds(GetParam().duration));
    Stage play(rule);
    for (auto const& frame : GetParam().frames) {
        EXPECT_EQ(play(frame.at, frame.input), frame.reported) << "at " << frame.at << " ms";
    }
}

auto const NameOf = [](auto const& tested) { return std::string(tested.param.name); };

INSTANTIATE_TEST_SUITE_P(
    DurationTrack, DurationTrackTest,
    testing::Values(
        Story{"WithoutInputThereIsNothing", 0, {{0, ".", "-"}, {5000, ".", "-"}}},
        Story{"ExactlyTheDurationIsNotLonger", 1000, {{0, "3", "-"}, {1000, "3", "-"}, {1001, "3", "3A"}}},
        Story{"TheIdStaysWhileTheObjectIsThere",
              1000,
              {{0, "3", "-"}, {600, "3", "-"}, {1200, "3", "3A"}, {1800, "3", "3A"}, {99999, "3", "3A"}}},
        Story{"TwoFramesCanBeEnough", 1000, {{0, "3", "-"}, {5000, "3", "3A"}}},
        Story{"OneFrameWithoutTheObjectStartsFromZero",
              1000,
              {{0, "3", "-"},
               {1001, "3", "3A"},
               {1100, ".", "-"},
               {1200, "3", "-"},
               {2200, "3", "-"},
               {2201, "3", "3B"}}},
        Story{"AGapBeforeTheFirstEventStartsFromZeroToo",
              1000,
              {{0, "3", "-"}, {900, "5", "-"}, {1001, "3", "-"}, {2001, "3", "-"}, {2002, "3", "3A"}}},
        Story{"ObjectsHaveTheirOwnTimes",
              1000,
              {{0, "3", "-"}, {500, "35", "-"}, {1001, "35", "35A"}, {1501, "35", "35A,35B"}, {1600, "5", "5B"}}},
        Story{"EventsComeInTheOrderOfTheInput",
              1000,
              {{0, "53", "-"}, {1001, "53", "53A,53B"}, {1002, "3,5", "3B,5A"}, {1003, "5,3", "5A,3B"}}},
        Story{"ManyNewObjectsInAnyOrder",
              1000,
              {{0, "4826", "-"},
               {500, "9,1,5", "-"},
               {600, "73", "-"},
               {700, "84,62", "-"},
               {1701, "2846", "2846A,2846B,2846C,2846D"}}},
        Story{"AnObjectInTwoEventsIsReportedTwiceUnderOneId",
              1000,
              {{0, "3,34", "-"}, {1001, "3,34", "3A,34A,34B"}, {1002, "34", "34A,34B"}}},
        Story{"AnObjectTwiceInAnEventIsReportedTwiceUnderOneId",
              1000,
              {{0, "33", "-"}, {1001, "33", "33A,33A"}, {1002, "3", "3A"}}},
        Story{"AnEventWithoutObjectsIsNothing", 0, {{0, "x", "-"}, {1, "x", "-"}}},
        Story{"WithoutDurationTheSecondFrameReports", 0, {{0, "3", "-"}, {1, "3", "3A"}}},
        Story{"WithoutDurationTimeHasToMove", 0, {{0, "3", "-"}, {0, "3", "-"}, {1, "3", "3A"}, {1, "3", "3A"}}},
        Story{"BelowZeroTheSecondFrameReportsThoughTimeStandsStill", -1, {{0, "3", "-"}, {0, "3", "3A"}}},
        Story{"BelowZeroTheSecondEventOfAFrameReports", -1, {{0, "3,3,3", "3A,3A"}, {0, "5", "-"}}},
        Story{"BelowZeroTimeMayRunBackwardsAsFar", -1000, {{5000, "3", "-"}, {4001, "3", "3A"}, {4000, "3", "-"}}},
        Story{"TimeMayJumpAhead", 1000, {{0, "3", "-"}, {9'000'000'000'000, "3", "3A"}}},
        Story{"TimeMayRunBackwards", 1000, {{5000, "3", "-"}, {1000, "3", "-"}, {6000, "3", "-"}, {6001, "3", "3A"}}},
        Story{"AnEventThatTimeTakesBackReturnsUnderItsId",
              1000,
              {{0, "3", "-"}, {1001, "3", "3A"}, {500, "3", "-"}, {1002, "3", "3A"}}}),
    NameOf);

// Durations and times at the ends of their types.

constexpr auto Earliest = meta::Timestamp::min();
constexpr auto Latest = meta::Timestamp::max();

TEST(DurationTrackDurationTest, IsExactToTheNanosecond) {
    Rule rule(milliseconds(1000));
    Stage play(rule);
    meta::Timestamp const seen(std::chrono::nanoseconds(17));
    EXPECT_EQ(play(seen, "3"), "-");
    EXPECT_EQ(play(seen + std::chrono::nanoseconds(1'000'000'000), "3"), "-");
    EXPECT_EQ(play(seen + std::chrono::nanoseconds(1'000'000'001), "3"), "3A");
}

TEST(DurationTrackDurationTest, TheLongestIsNeverOver) {
    Rule rule(milliseconds::max());
    Stage play(rule);
    EXPECT_EQ(play(Earliest, "3"), "-");
    EXPECT_EQ(play(Latest, "3"), "-");
}

TEST(DurationTrackDurationTest, AWholeClockCanBeLongEnough) {
    Rule rule(milliseconds(18'446'744'073'709));
    Stage play(rule);
    EXPECT_EQ(play(Earliest, "3"), "-");
    EXPECT_EQ(play(Latest, "3"), "3A");
}

TEST(DurationTrackDurationTest, MoreThanTheClockHoldsIsNeverOverEither) {
    Rule rule(milliseconds(18'446'744'073'710));
    Stage play(rule);
    EXPECT_EQ(play(Earliest, "3"), "-");
    EXPECT_EQ(play(Latest, "3"), "-");
}

TEST(DurationTrackDurationTest, TheShortestIsOverInTheSecondFrameWhateverItsTime) {
    Rule rule(milliseconds::min());
    Stage play(rule);
    EXPECT_EQ(play(Latest, "3"), "-");
    EXPECT_EQ(play(Earliest, "3"), "3A");
}

TEST(DurationTrackDurationTest, AChangeHoldsFromTheNextFrameOn) {
    Rule rule(milliseconds(1000));
    Stage play(rule);
    EXPECT_EQ(rule.GetDuration(), milliseconds(1000));
    EXPECT_EQ(play(0, "3"), "-");
    rule.SetDuration(milliseconds(100));
    EXPECT_EQ(rule.GetDuration(), milliseconds(100));
    EXPECT_EQ(play(101, "3"), "3A");
    rule.SetDuration(milliseconds(1000));
    EXPECT_EQ(play(1000, "3"), "-");
    EXPECT_EQ(play(1001, "3"), "3A") << "the id is kept while the object is seen";
}

TEST(DurationTrackDurationTest, IsKeptWhateverItIs) {
    for (auto const duration : {milliseconds::min(), milliseconds(0), milliseconds::max()}) {
        EXPECT_EQ(Rule(duration).GetDuration(), duration);
    }
}

TEST(DurationTrackResetTest, ReturnsEveryObjectToUnseen) {
    Rule rule(milliseconds(1000));
    Stage play(rule);
    EXPECT_EQ(play(0, "3"), "-");
    EXPECT_EQ(play(500, "35"), "-");
    EXPECT_EQ(play(1001, "35"), "35A");
    rule.ResetDurationTrack();
    EXPECT_EQ(play(2000, "35"), "-");
    EXPECT_EQ(play(3000, "35"), "-");
    EXPECT_EQ(play(3001, "35"), "35B,35C");
    EXPECT_EQ(rule.GetDuration(), milliseconds(1000));
}

// What an event holds.

TEST(DurationTrackEventTest, HoldsTheRecordAndThenTheObjectsOfTheInputThemselves) {
    Rule rule(milliseconds(0));
    Describer describe;
    Items const input{MakeEvent(At(1), At(2), {Zone(4), Person(3), nullptr, Record(Input), Channel(1)})};
    EXPECT_THAT(rule.TrackObjects(input, At(100)), IsEmpty());
    auto const reported = rule.TrackObjects(input, At(200));

    EXPECT_THAT(
        describe.Each(reported),
        ElementsAre("A too long/duration/tests 200..200 [record 70, zone 4 (), object 3 person@1(0 0 0 0), null, "
                    "record 7, channel 1 camera]"));
    auto const& objects = reported.front()->As<Event>().GetObjects();
    auto const& cause = input.front()->As<Event>().GetObjects();
    EXPECT_EQ(objects.front(), rule.MakeObservableMetadata());
    EXPECT_TRUE(std::equal(objects.begin() + 1, objects.end(), cause.begin(), cause.end())) << "shared, not copied";
}

TEST(DurationTrackEventTest, StartsAndEndsWithTheFrame) {
    Rule rule(milliseconds(0));
    Describer describe;
    auto const play = [&](std::int64_t at) {
        return describe.Each(rule.TrackObjects({MakeEvent(At(1), At(2), {Person(3)})}, At(at)));
    };
    EXPECT_THAT(play(100), IsEmpty());
    EXPECT_THAT(play(200), ElementsAre("A too long/duration/tests 200..200 [record 70, object 3 person@1(0 0 0 0)]"));
    EXPECT_THAT(play(300), ElementsAre("A too long/duration/tests 300..300 [record 70, object 3 person@1(0 0 0 0)]"));
    rule.SetName("renamed");
    rule.type = "dwell";
    EXPECT_THAT(play(400), ElementsAre("A renamed/dwell/tests 400..400 [record 70, object 3 person@1(0 0 0 0)]"));
}

TEST(DurationTrackEventTest, HasNoFlagsWhateverTheInputHas) {
    Rule rule(milliseconds(0));
    auto const input = MakeEvent(At(1), At(2), {Person(3)});
    input->SetDuplicate(true);
    input->SetInternal(true);
    input->SetFinal(true);
    EXPECT_THAT(rule.TrackObjects({input}, At(100)), IsEmpty());
    auto const reported = rule.TrackObjects({input}, At(200));
    ASSERT_EQ(reported.size(), 1u);
    auto const& event = reported.front()->As<Event>();
    EXPECT_FALSE(event.IsDuplicate() || event.IsInternal() || event.IsFinal());
}

TEST(DurationTrackEventTest, IsAnotherObjectInEveryFrameAndForEveryInput) {
    Rule rule(milliseconds(0));
    Stage play(rule);
    Items const input{MakeEvent(At(1), At(2), {Person(3)}), MakeEvent(At(1), At(2), {Person(3)})};
    EXPECT_THAT(rule.TrackObjects(input, At(100)), IsEmpty());
    auto const first = rule.TrackObjects(input, At(200));
    auto const second = rule.TrackObjects(input, At(300));
    ASSERT_EQ(first.size(), 2u);
    ASSERT_EQ(second.size(), 2u);
    EXPECT_NE(first[0], first[1]);
    EXPECT_NE(first[0], second[0]);
    EXPECT_NE(first[0], input[0]);
}

TEST(DurationTrackEventTest, ARecordThatIsNullStaysNull) {
    class WithoutRecord : public Rule {
    public:
        using Rule::Rule;
        std::shared_ptr<object::Object const> MakeTrackRecord() const override { return nullptr; }
    };
    WithoutRecord rule(milliseconds(0));
    EXPECT_THAT(rule.TrackObjects({MakeEvent(At(0), At(0), {Person(3)})}, At(0)), IsEmpty());
    auto const reported = rule.TrackObjects({MakeEvent(At(0), At(0), {Person(3)})}, At(1));
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ(reported.front()->As<Event>().GetObjects().front(), nullptr);
}

TEST(DurationTrackEventTest, AllEventsShareTheirTextsForAsLongAsTheseStayTheSame) {
    Rule rule(milliseconds(0));
    auto const play = [&](std::int64_t at) {
        auto const reported = rule.TrackObjects({MakeEvent(At(0), At(0), {Person(3), Person(4)})}, At(at));
        std::vector<std::shared_ptr<Event>> events;
        for (auto const& item : reported) {
            events.push_back(std::static_pointer_cast<Event>(item));
        }
        return events;
    };
    play(0);
    auto const first = play(1);
    auto const second = play(2);
    ASSERT_EQ(first.size(), 2u);
    ASSERT_EQ(second.size(), 2u);
    EXPECT_EQ(&first[0]->GetName(), &first[1]->GetName());
    EXPECT_EQ(&first[0]->GetName(), &second[0]->GetName());
    rule.type = "other";
    auto const third = play(3);
    ASSERT_EQ(third.size(), 2u);
    EXPECT_EQ(third[0]->GetType(), "other");
    EXPECT_EQ(first[0]->GetType(), "duration");
}

// What counts as input.

TEST(DurationTrackInputTest, NullsAndOtherItemsArePassedOver) {
    Rule rule(milliseconds(0));
    auto const play = [&](std::int64_t at) {
        return rule.TrackObjects({nullptr, Person(4), Record(Input), std::make_shared<tests::Stranger>(),
                                  MakeEvent(At(0), At(0), {nullptr, std::make_shared<tests::Stranger>(), Person(3)})},
                                 At(at));
    };
    EXPECT_THAT(play(0), IsEmpty());
    ASSERT_EQ(play(1).size(), 1u);
    EXPECT_THAT(rule.asked, ElementsAre(3u, 3u)) << "tracked objects count inside of events only";
}

TEST(DurationTrackInputTest, EveryEventCountsWhoeverItNames) {
    Rule rule(milliseconds(0));
    tests::Player player;
    for (auto const& [at, reported] : {std::pair(0, "-"), std::pair(1, "3A")}) {
        meta::Meta const frame(At(at));
        frame.Append(MakeEvent(At(0), At(0), {Record(55), Person(3)}));
        EXPECT_EQ(player.Play(rule, frame), reported);
    }
}

TEST(DurationTrackInputTest, ObjectsThatTheRuleDoesNotTrackAreNotReportedButStayInTheEvents) {
    Rule rule(milliseconds(0));
    rule.ignores = 5;
    Stage play(rule);
    EXPECT_EQ(play(0, "35,5"), "-");
    EXPECT_EQ(play(1, "35,5"), "35A");
    rule.ignores = 3;
    EXPECT_EQ(play(2, "35,5"), "-") << "nobody saw 5 before";
    rule.ignores = 99;
    EXPECT_EQ(play(3, "35"), "35B") << "and 3 was lost meanwhile";
}

TEST(DurationTrackInputTest, TheRuleIsAskedOnceForEveryRecordInTheirOrder) {
    Rule rule(milliseconds(0));
    Stage play(rule);
    play(0, "53,5,33");
    EXPECT_THAT(rule.asked, ElementsAre(5u, 3u, 5u, 3u, 3u));
}

TEST(DurationTrackInputTest, ARecordIsMadeOnceForEveryReportedEvent) {
    Rule rule(milliseconds(0));
    Stage play(rule);
    play(0, "53,5");
    EXPECT_EQ(rule.records, 0);
    play(1, "53,5");
    EXPECT_EQ(rule.records, 3);
}

TEST(DurationTrackInputTest, IdsMayBeAnyNumber) {
    Rule rule(milliseconds(0));
    auto const largest = std::numeric_limits<unsigned int>::max();
    auto const play = [&](std::int64_t at) {
        return rule.TrackObjects({MakeEvent(At(0), At(0), {Person(largest), Person(0)})}, At(at));
    };
    EXPECT_THAT(play(0), IsEmpty());
    auto const first = play(1);
    auto const second = play(2);
    ASSERT_EQ(first.size(), 2u);
    ASSERT_EQ(second.size(), 2u);
    EXPECT_NE(first[0]->As<Event>().GetId(), first[1]->As<Event>().GetId());
    EXPECT_EQ(first[0]->As<Event>().GetId(), second[0]->As<Event>().GetId());
    EXPECT_EQ(first[1]->As<Event>().GetId(), second[1]->As<Event>().GetId());
}

// What fails is as if it had not been.

TEST(DurationTrackFailureTest, AFailureWhileLookingChangesNothing) {
    Rule rule(milliseconds(1000));
    Stage play(rule);
    EXPECT_EQ(play(0, "3"), "-");
    EXPECT_EQ(play(1001, "3"), "3A");
    rule.refuses = 5;
    EXPECT_THAT([&] { play(1002, "45"); }, testing::ThrowsMessage<std::runtime_error>("no idea"));
    EXPECT_EQ(play(2003, "34"), "34A") << "3 is still known and 4 is new";
}

TEST(DurationTrackFailureTest, AFailureWhileReportingChangesNothing) {
    Rule rule(milliseconds(1000));
    Stage play(rule);
    EXPECT_EQ(play(0, "35"), "-");
    rule.failsAtRecord = 2;
    EXPECT_THAT([&] { play(1001, "354"); }, testing::ThrowsMessage<std::runtime_error>("no record"));
    EXPECT_EQ(play(2002, "354"), "354A,354B") << "3 and 5 are still known and 4 is new";
}

TEST(DurationTrackFailureTest, WhenMemoryRunsOutNothingIsChanged) {
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        Rule rule(milliseconds(1000));
        rule.asked.reserve(100);
        Stage play(rule);
        EXPECT_EQ(play(0, "37"), "-");
        meta::Meta const frame(At(1001));
        tests::AppendEvents(frame, Input, "35");
        auto const input = tests::Items(frame);
        try {
            tests::FailingAllocation const failing(failures);
            rule.TrackObjects(input, At(1001));
            failed = false;
        } catch (std::bad_alloc const&) {
            EXPECT_EQ(play(1002, "357"), "357A,357B") << failures;
        }
    }
    EXPECT_GT(failures, 5u);
}

// The interface that plug-ins are built against.

TEST(DurationTrackVirtualMembersTest, StandInTheirOrder) {
    EXPECT_EQ(SlotOf(&DurationTrack::IsTracked), 0u);
    EXPECT_EQ(SlotOf(&DurationTrack::MakeTrackRecord), 1u);
    EXPECT_EQ(SlotOf(&DurationTrack::GetTrackName), 2u);
    EXPECT_EQ(SlotOf(&DurationTrack::GetTrackType), 3u);
    EXPECT_EQ(SlotOf(&DurationTrack::GetTrackCategory), 4u);
}

TEST(DurationTrackVirtualMembersTest, IsAnAbstractBaseThatIsNoObservable) {
    EXPECT_TRUE(std::is_abstract_v<DurationTrack>);
    EXPECT_TRUE(std::has_virtual_destructor_v<DurationTrack>);
    EXPECT_FALSE((std::is_base_of_v<Observable, DurationTrack>));
    EXPECT_FALSE(std::is_copy_constructible_v<DurationTrack> || std::is_copy_assignable_v<DurationTrack>);
    EXPECT_FALSE(std::is_copy_constructible_v<Rule> || std::is_copy_assignable_v<Rule>);
}

TEST(DurationTrackVirtualMembersTest, ASubclassIsDestroyedThroughTheBase) {
    struct Destroyed : Rule {
        explicit Destroyed(bool& flag) : flag(flag) {}
        ~Destroyed() override { flag = true; }
        bool& flag;
    };
    bool destroyed = false;
    std::unique_ptr<DurationTrack>(std::make_unique<Destroyed>(destroyed)).reset();
    EXPECT_TRUE(destroyed);
}

}  // namespace
}  // namespace qel::observable
