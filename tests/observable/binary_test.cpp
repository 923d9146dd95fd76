// What And and Or have in common.

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "observable/and.hpp"
#include "observable/or.hpp"
#include "observable/registry/get.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/settings.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/timeline.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;
using tests::Describer;
using tests::MakeEvent;
using tests::Player;
using tests::Record;

constexpr std::uint32_t A = 101;
constexpr std::uint32_t B = 102;

using Reported = std::vector<std::shared_ptr<object::Object>>;

std::shared_ptr<meta::data::Object> Person(unsigned int id, std::string copy = "person") {
    return std::make_shared<meta::data::Object>(id, std::move(copy));
}
std::shared_ptr<meta::data::Zone> Zone(unsigned int id, std::string copy = "zone") {
    return std::make_shared<meta::data::Zone>(id, std::move(copy));
}
Event const& EventOf(std::shared_ptr<object::Object> const& item) { return item->As<Event>(); }

/// What an event is about, without times and texts.
std::vector<std::string> Objects(std::shared_ptr<object::Object> const& item) {
    return Describer().Each(EventOf(item).GetObjects());
}

std::unique_ptr<Meta> Frame(std::vector<std::shared_ptr<object::Object>> const& items, std::int64_t time = 10) {
    auto frame = std::make_unique<Meta>(At(time));
    for (auto const& item : items) {
        frame->Append(item);
    }
    return frame;
}

std::shared_ptr<Event> From(std::uint32_t input, Event::Objects objects, std::int64_t start = 0) {
    objects.push_back(Record(input));
    return MakeEvent(At(start), At(start), std::move(objects));
}

template <class T>
struct Kind;
template <>
struct Kind<And> {
    static And Make(std::string name, std::uint32_t a, std::uint32_t b) { return {std::move(name), 0, a, b, false}; }
    static constexpr char const* TypeName = "qel.observable.And";
    static constexpr char const* Short = "And";
    static constexpr char const* EventType = "and";
};
template <>
struct Kind<Or> {
    static Or Make(std::string name, std::uint32_t a, std::uint32_t b) { return {std::move(name), 0, a, b}; }
    static constexpr char const* TypeName = "qel.observable.Or";
    static constexpr char const* Short = "Or";
    static constexpr char const* EventType = "or";
};

template <class T>
class BinaryTest : public testing::Test {
protected:
    T rule = Kind<T>::Make("both", A, B);
    Player player;
    Describer describe;

    std::string Texts() const { return std::string("both/") + Kind<T>::EventType + "/analytics"; }
};

struct KindNames {
    template <class T>
    static std::string GetName(int) {
        return Kind<T>::Short;
    }
};
using Kinds = testing::Types<And, Or>;
TYPED_TEST_SUITE(BinaryTest, Kinds, KindNames);

// ---- What an event says ---------------------------------------------------------------------------------------------

TYPED_TEST(BinaryTest, AnUnconstrainedEventCarriesTheRecordThenAllObjectsThenAllZonesByTheirIds) {
    this->rule.SetId(55);
    auto const frame = Frame({From(A, {Zone(9), Person(4), Person(2)}), From(B, {Person(3), Zone(1)}),
                              From(A, {Zone(5), Person(1)}), From(B, {Zone(7)})});
    EXPECT_THAT(this->describe.Each(this->rule.Process(*frame)),
                ElementsAre("A " + this->Texts() +
                            " 10..10 [record 55, object 1 person@1(0 0 0 0), object 2 person@1(0 0 0 0), "
                            "object 3 person@1(0 0 0 0), object 4 person@1(0 0 0 0), zone 1 zone(), zone 5 zone(), "
                            "zone 7 zone(), zone 9 zone()]"));
}

TYPED_TEST(BinaryTest, AConstrainedEventCarriesTheRecordThenTheTargetThenItsZones) {
    this->rule.SetId(55);
    this->rule.SetConstrainTarget(true);
    auto const frame =
        Frame({From(A, {Zone(9), Person(2), Zone(3)}), From(B, {Person(2), Zone(5), Zone(9)}), From(B, {Zone(7)})});
    EXPECT_THAT(this->describe.Each(this->rule.Process(*frame)),
                ElementsAre("A " + this->Texts() +
                            " 10..10 [record 55, object 2 person@1(0 0 0 0), zone 3 zone(), zone 5 zone(), "
                            "zone 9 zone()]"));
}

TYPED_TEST(BinaryTest, AnEventWithoutObjectsCarriesTheRecordAlone) {
    this->rule.SetId(55);
    EXPECT_THAT(this->describe.Each(this->rule.Process(*Frame({From(A, {}), From(B, {})}))),
                ElementsAre("A " + this->Texts() + " 10..10 [record 55]"));
}

TYPED_TEST(BinaryTest, TheEndMovesWithTheFramesWhileIdAndStartStay) {
    this->rule.SetId(55);
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        Describer describe;
        std::string const rest = " [record 55, object 1 person@1(0 0 0 0)]";
        std::vector<std::string> reported;
        for (int const time : {10, 25, 20}) {
            auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})}, time);
            reported.push_back(describe(this->rule.Process(*frame).at(0)));
        }
        EXPECT_THAT(reported,
                    ElementsAre("A " + this->Texts() + " 10..10" + rest, "A " + this->Texts() + " 10..25" + rest,
                                "A " + this->Texts() + " 10..20" + rest));
    }
}

TYPED_TEST(BinaryTest, ObjectsAndZonesAreCopiesAndTheRecordIsTheObservablesOwnOne) {
    auto const person = std::make_shared<meta::data::Object>(1, "person", meta::data::Box{0.1, 0.2, 0.3, 0.4}, 0.5);
    auto const zone = std::make_shared<meta::data::Zone>(2, "kerb", std::vector<meta::data::Point>{{0, 1}, {1, 0}},
                                                         meta::data::Zone::Shape::Line);
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        auto const reported = this->rule.Process(*Frame({From(A, {person, zone}), From(B, {person, zone})}));
        auto const& objects = EventOf(reported.at(0)).GetObjects();
        ASSERT_EQ(objects.size(), 3u);
        EXPECT_EQ(objects[0], this->rule.MakeObservableMetadata());
        EXPECT_NE(objects[1], person);
        EXPECT_EQ(this->describe(objects[1]), "object 1 person@0.5(0.1 0.2 0.3 0.4)");
        EXPECT_NE(objects[2], zone);
        EXPECT_EQ(this->describe(objects[2]), "zone 2 kerb line(0 1;1 0;)");
    }
}

TYPED_TEST(BinaryTest, EachOfSeveralEventsHasCopiesOfItsOwn) {
    this->rule.SetConstrainTarget(true);
    auto const reported = this->rule.Process(
        *Frame({From(A, {Person(1), Person(2), Zone(3)}), From(B, {Person(1), Person(2), Zone(3)})}));
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_NE(EventOf(reported[0]).GetObjects().at(2), EventOf(reported[1]).GetObjects().at(2));
    EXPECT_EQ(EventOf(reported[0]).GetObjects().at(0), EventOf(reported[1]).GetObjects().at(0));
}

TYPED_TEST(BinaryTest, AnEventCanHandOutReferencesToItself) {
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        auto const reported = this->rule.Process(*Frame({From(A, {Person(1)}), From(B, {Person(1)})}));
        EXPECT_EQ(reported.at(0)->shared_from_this(), reported.at(0));
    }
}

TYPED_TEST(BinaryTest, AZoneThatSeveralEventsShareIsThereOnceAsItFirstCameInAThenB) {
    auto const frame = Frame({From(B, {Person(1), Zone(5, "B"), Zone(4, "B")}),
                              From(A, {Person(1), Zone(5, "A first"), Zone(5, "A again")}),
                              From(A, {Person(1), Zone(5, "A second")})});
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        auto const reported = this->rule.Process(*frame);
        ASSERT_EQ(reported.size(), 1u);
        EXPECT_THAT(Objects(reported[0]), ElementsAre("record " + std::to_string(this->rule.GetId()),
                                                      "object 1 person@1(0 0 0 0)", "zone 4 B()", "zone 5 A first()"));
    }
}

TYPED_TEST(BinaryTest, ATargetHasTheZonesOfTheEventsThatHoldIt) {
    this->rule.SetConstrainTarget(true);
    auto const frame = Frame({From(A, {Person(1), Person(2), Zone(10)}), From(A, {Person(1), Zone(11)}),
                              From(A, {Zone(12)}), From(B, {Person(1), Person(2), Zone(13)}),
                              From(B, {Person(2), Zone(14)}), From(B, {Person(3), Zone(15)})});
    auto const reported = this->rule.Process(*frame);
    std::string const record = "record " + std::to_string(this->rule.GetId());
    EXPECT_THAT(Objects(reported.at(0)), ElementsAre(record, "object 1 person@1(0 0 0 0)", "zone 10 zone()",
                                                     "zone 11 zone()", "zone 13 zone()"));
    EXPECT_THAT(Objects(reported.at(1)), ElementsAre(record, "object 2 person@1(0 0 0 0)", "zone 10 zone()",
                                                     "zone 13 zone()", "zone 14 zone()"));
}

TYPED_TEST(BinaryTest, OfAnObjectTheFirstOccurrenceInTheEventsOfAIsTheOneUnconstrained) {
    auto const frame = Frame({From(B, {Person(1, "B"), Person(2, "B first")}, 9), From(B, {Person(2, "B second")}, 9),
                              From(A, {Person(1, "A first"), Person(1, "A again")}), From(A, {Person(1, "A second")})});
    EXPECT_THAT(Objects(this->rule.Process(*frame).at(0)),
                ElementsAre("record " + std::to_string(this->rule.GetId()), "object 1 A first@1(0 0 0 0)",
                            "object 2 B first@1(0 0 0 0)"));
}

TYPED_TEST(BinaryTest, OtherObjectsOfTheInputsAreLeftOut) {
    auto const inA = From(
        A, {nullptr, Record(1), tests::Channel(2), std::make_shared<tests::Stranger>(), Person(3), nullptr, Zone(4)});
    auto const inB = From(B, {Person(3), nullptr, std::make_shared<tests::Stranger>()});
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        EXPECT_THAT(
            Objects(this->rule.Process(*Frame({inA, inB})).at(0)),
            ElementsAre("record " + std::to_string(this->rule.GetId()), "object 3 person@1(0 0 0 0)", "zone 4 zone()"));
    }
}

TYPED_TEST(BinaryTest, ANewNameIsInTheNextEventAndNotInEarlierOnes) {
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        this->rule.SetName("both");
        auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
        auto const before = this->rule.Process(*frame).at(0);
        this->rule.SetName("renamed, with a name that is longer than most");
        auto const after = this->rule.Process(*frame).at(0);
        EXPECT_EQ(EventOf(before).GetName(), "both");
        EXPECT_EQ(EventOf(after).GetName(), "renamed, with a name that is longer than most");
        EXPECT_EQ(EventOf(after).GetId(), EventOf(before).GetId());
    }
}

TYPED_TEST(BinaryTest, MarksAndTextsGivenToAnEventDoNotReachTheNext) {
    this->rule.SetId(55);
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
        auto const reported = this->rule.Process(*frame);
        Describer describe;
        auto const before = describe(reported.at(0));
        auto& event = reported.at(0)->template As<Event>();
        event.SetDuplicate(true);
        event.SetFinal(true);
        event.SetInternal(true);
        event.SetName("changed");
        event.SetType("changed");
        event.SetEnd(At(99));
        event.AppendObject(tests::Channel(1));
        EXPECT_EQ(describe(this->rule.Process(*frame).at(0)), before);
    }
}

TYPED_TEST(BinaryTest, GoesOnWithTheIdAndStartThatTheLastEventHasByThen) {
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
        auto const reported = this->rule.Process(*frame);
        reported.at(0)->template As<Event>() = Event(4'000'000'000, "other", "other", "other", At(3), At(4), {});
        auto const next = this->rule.Process(*frame);
        EXPECT_EQ(EventOf(next.at(0)).GetId(), 4'000'000'000);
        EXPECT_EQ(EventOf(next.at(0)).GetStart(), At(3));
        EXPECT_EQ(EventOf(next.at(0)).GetEnd(), At(10));
    }
}

// ---- Reading the inputs ---------------------------------------------------------------------------------------------

TYPED_TEST(BinaryTest, SilenceOfBothInputsReportsNothing) {
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        EXPECT_THAT(this->rule.Process(Meta(At(10))), IsEmpty());
        EXPECT_THAT(this->rule.Process(*Frame({From(A + 7, {Person(1)}), MakeEvent(At(0), At(0), {Person(1)})})),
                    IsEmpty());
    }
}

TYPED_TEST(BinaryTest, AnEventWhoseRecordsNameBothInputsIsAnEventOfBoth) {
    auto const frame = Frame({MakeEvent(At(0), At(0), {Record(B), Person(1), Record(A)})});
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1A");
    this->rule.SetConstrainTarget(true);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1B");
}

TYPED_TEST(BinaryTest, AnEventThatNamesAnInputTwiceIsAsOne) {
    auto const frame =
        Frame({MakeEvent(At(0), At(0), {Record(A), Person(1), Zone(2), Record(A)}), From(B, {Person(1)})});
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1A");
    this->rule.SetConstrainTarget(true);
    EXPECT_THAT(Objects(this->rule.Process(*frame).at(0)), ElementsAre("record " + std::to_string(this->rule.GetId()),
                                                                       "object 1 person@1(0 0 0 0)", "zone 2 zone()"));
}

TYPED_TEST(BinaryTest, OneEventThatStandsInTheFrameTwiceIsAsOne) {
    auto const event = From(A, {Person(1), Zone(2)});
    auto const frame = Frame({event, From(B, {Person(1)}), event});
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        EXPECT_THAT(
            Objects(this->rule.Process(*frame).at(0)),
            ElementsAre("record " + std::to_string(this->rule.GetId()), "object 1 person@1(0 0 0 0)", "zone 2 zone()"));
    }
}

TYPED_TEST(BinaryTest, InputsThatAreNotSetFindNothingWhateverIsInTheFrame) {
    this->rule.SetInputA(UnsetId);
    this->rule.SetInputB(UnsetId);
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        EXPECT_THAT(this->rule.Process(*Frame({From(UnsetId, {Person(1)})})), IsEmpty());
    }
}

TYPED_TEST(BinaryTest, NullsAndStrangersInTheFrameArePassedOver) {
    auto const frame = Frame({nullptr, std::make_shared<tests::Stranger>(), Record(A), From(A, {Person(1)}), nullptr,
                              Person(2), Zone(3), tests::Channel(4), From(B, {Person(1)})});
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1A");
    this->rule.SetConstrainTarget(true);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1B");
}

TYPED_TEST(BinaryTest, MarkedEventsCountLikeOthers) {
    auto const inA = From(A, {Person(1)});
    auto const inB = From(B, {Person(1)});
    inA->SetFinal(true);
    inA->SetDuplicate(true);
    inB->SetInternal(true);
    EXPECT_EQ(this->player.Play(this->rule, *Frame({inA, inB})), "1A");
}

TYPED_TEST(BinaryTest, ARecordOrAnObjectThatComesToAnEventInTheFrameCounts) {
    this->rule.SetConstrainTarget(true);
    auto const event = MakeEvent(At(0), At(0), {Person(1)});
    auto const frame = Frame({event, From(B, {Person(2)})});
    this->rule.Process(*frame);
    event->AppendObject(Person(2));
    event->AppendObject(Record(A));
    auto const reported = this->rule.Process(*frame);
    ASSERT_FALSE(reported.empty());
    EXPECT_THAT(meta::ObjectsOf(EventOf(reported.back())).begin()->GetId(), 2u);
    EXPECT_EQ(this->player.Play(this->rule, *frame), (std::is_same_v<TypeParam, And> ? "2A" : "1A,2B"));
}

TYPED_TEST(BinaryTest, ARecordCountsUnderTheIdThatItHasNow) {
    auto const record = Record(A + 7);
    auto const frame = Frame({MakeEvent(At(0), At(0), {record, Person(1)}), From(B, {Person(2)})});
    this->rule.Process(*frame);
    record->SetId(A);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "12A");
}

// ---- Over time ------------------------------------------------------------------------------------------------------

TYPED_TEST(BinaryTest, TheModesKeepTheirEventsApartAndGoOnAfterAChangeBack) {
    auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1A");
    this->rule.SetConstrainTarget(true);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1B");
    this->rule.SetConstrainTarget(false);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1A");
    this->rule.SetConstrainTarget(true);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1B");
}

TYPED_TEST(BinaryTest, SilenceEndsTheEventsOfBothModes) {
    auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1A");
    this->rule.SetConstrainTarget(true);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1B");
    EXPECT_EQ(this->player.Play(this->rule, Meta(At(20))), "-");
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1C");
    this->rule.SetConstrainTarget(false);
    EXPECT_EQ(this->player.Play(this->rule, *frame), "1D");
}

TYPED_TEST(BinaryTest, TargetsThatWentWhileTheOtherModeWasOnGoOnAfterwards) {
    auto const withOne = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
    auto const withTwo = Frame({From(A, {Person(2)}), From(B, {Person(2)})});
    this->rule.SetConstrainTarget(true);
    EXPECT_EQ(this->player.Play(this->rule, *withOne), "1A");
    this->rule.SetConstrainTarget(false);
    EXPECT_EQ(this->player.Play(this->rule, *withTwo), "2B");
    this->rule.SetConstrainTarget(true);
    EXPECT_EQ(this->player.Play(this->rule, *withOne), "1A");
}

TYPED_TEST(BinaryTest, OtherInputsBetweenFramesLeaveTheEventsToTheNextFrame) {
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        Player player;
        this->rule.SetInputA(A);
        this->rule.SetInputB(B);
        EXPECT_EQ(player.Play(this->rule, *Frame({From(A, {Person(1)}), From(B, {Person(1)})})), "1A");
        this->rule.SetInputA(A + 7);
        this->rule.SetInputB(B + 7);
        this->rule.SetChannel(9);
        EXPECT_EQ(player.Play(this->rule, *Frame({From(A + 7, {Person(1)}), From(B + 7, {Person(1)})})), "1A");
        this->rule.SetInputA(UnsetId);
        this->rule.SetInputB(UnsetId);
        EXPECT_EQ(player.Play(this->rule, *Frame({From(A, {Person(1)})})), "-");
    }
}

TYPED_TEST(BinaryTest, ResetDoesNotEndTheEvents) {
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        Player player;
        auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
        EXPECT_EQ(player.Play(this->rule, *frame), "1A");
        this->rule.Reset();
        EXPECT_EQ(player.Play(this->rule, *frame), "1A");
    }
}

TYPED_TEST(BinaryTest, WhatHasBeenReportedDoesNotChangeLater) {
    this->rule.SetId(55);
    for (bool const constrained : {false, true}) {
        this->rule.SetConstrainTarget(constrained);
        auto const frame = Frame({From(A, {Person(1)}), From(B, {Person(1)})});
        auto const first = this->rule.Process(*frame);
        Describer describe;
        auto const before = describe.Each(first);
        this->rule.SetId(66);
        this->rule.Process(*Frame({From(A, {Person(1), Zone(2)}), From(B, {Person(1)})}, 99));
        EXPECT_EQ(describe.Each(first), before);
        this->rule.SetId(55);
    }
}

TYPED_TEST(BinaryTest, AFrameThatFailsForLackOfMemoryLeavesAllEventsAsTheyWere) {
    Event::Objects const before{Person(1), Person(2), Zone(8)};
    Event::Objects const after{Person(2), Person(3), Zone(9)};
    for (bool const constrained : {false, true}) {
        std::size_t failures = 0;
        for (;; ++failures) {
            auto rule = Kind<TypeParam>::Make("a name that does not fit into a short string", A, B);
            Player player;
            EXPECT_EQ(player.Play(rule, *Frame({From(A, before), From(B, before)})), "12A");
            rule.SetConstrainTarget(true);
            EXPECT_EQ(player.Play(rule, *Frame({From(A, before), From(B, before)})), "1B,2C");
            rule.SetConstrainTarget(constrained);
            rule.SetName("another name that does not fit into a short string");

            auto const frame = Frame({From(A, after), From(B, after)});
            if (!tests::FailsForLackOfMemory(failures, [&] { rule.Process(*frame); })) {
                break;
            }
            rule.SetConstrainTarget(true);
            EXPECT_EQ(player.Play(rule, *Frame({From(A, before), From(B, before)})), "1B,2C");
            rule.SetConstrainTarget(false);
            EXPECT_EQ(player.Play(rule, *Frame({From(A, before), From(B, before)})), "12A");
        }
        EXPECT_GT(failures, 5u);
    }
}

TYPED_TEST(BinaryTest, AFrameThatFailsForLackOfMemoryBeginsNoEvent) {
    Event::Objects const objects{Person(1), Person(2), Zone(8)};
    for (bool const constrained : {false, true}) {
        std::size_t failures = 0;
        for (;; ++failures) {
            auto rule = Kind<TypeParam>::Make("a name that does not fit into a short string", A, B);
            rule.SetConstrainTarget(constrained);
            auto const frame = Frame({From(A, objects), From(B, objects)}, 10);
            if (!tests::FailsForLackOfMemory(failures, [&] { rule.Process(*frame); })) {
                break;
            }
            for (auto const& item : rule.Process(*Frame({From(A, objects), From(B, objects)}, 20))) {
                EXPECT_EQ(EventOf(item).GetStart(), At(20));
            }
        }
        EXPECT_GT(failures, 5u);
    }
}

// ---- Settings -------------------------------------------------------------------------------------------------------

TYPED_TEST(BinaryTest, Defaults) {
    EXPECT_STREQ(TypeParam::DefaultName, Kind<TypeParam>::Short);
    EXPECT_EQ(TypeParam::DefaultChannel, 0);
    EXPECT_EQ(TypeParam::DefaultInputA, 0xFFFFFFFF);
    EXPECT_EQ(TypeParam::DefaultInputB, 0xFFFFFFFF);
    EXPECT_TRUE(TypeParam::DefaultContrainTarget);
    EXPECT_EQ(InputA, "inputa");
    EXPECT_EQ(InputB, "inputb");
}

TYPED_TEST(BinaryTest, ANewOneHasTheTypeTheNameAndTheInputsThatItWasGiven) {
    EXPECT_EQ(this->rule.GetName(), "both");
    EXPECT_EQ(this->rule.GetInputA(), A);
    EXPECT_EQ(this->rule.GetInputB(), B);
    EXPECT_TRUE(this->rule.GetTriggersAction());
    EXPECT_STREQ(this->rule.GetTypeName(), Kind<TypeParam>::TypeName);
    EXPECT_EQ(this->rule.GetTypeNameId(), hash::MurmurThree32::MakeData(Kind<TypeParam>::TypeName));
}

TYPED_TEST(BinaryTest, SettingsAreWhatTheSettersWereGiven) {
    this->rule.SetChannel(65535);
    this->rule.SetInputA(4294967294);
    this->rule.SetInputB(0);
    EXPECT_EQ(this->rule.GetChannel(), 65535);
    EXPECT_EQ(this->rule.GetInputA(), 4294967294);
    EXPECT_EQ(this->rule.GetInputB(), 0u);
    this->rule.SetConstrainTarget(true);
    EXPECT_TRUE(this->rule.GetConstrainTarget());
    this->rule.SetConstrainTarget(false);
    EXPECT_FALSE(this->rule.GetConstrainTarget());
}

TYPED_TEST(BinaryTest, DependsOnEveryInputThatIsSetOnce) {
    struct Row {
        std::uint32_t a;
        std::uint32_t b;
        std::vector<unsigned int> dependents;
    };
    for (auto const& row : {Row{A, B, {A, B}}, Row{B, A, {B, A}}, Row{A, A, {A}}, Row{UnsetId, B, {B}},
                            Row{A, UnsetId, {A}}, Row{UnsetId, UnsetId, {}}, Row{0, 0, {0}}}) {
        this->rule.SetInputA(row.a);
        this->rule.SetInputB(row.b);
        EXPECT_EQ(this->rule.GetDependents(), row.dependents) << row.a << ' ' << row.b;
    }
}

TYPED_TEST(BinaryTest, NamesThePropertiesThatHoldItsInputsInOneStaticList) {
    InputNames names;
    {
        auto const other = Kind<TypeParam>::Make("other", UnsetId, UnsetId);
        names = other.GetInputProperties();
    }
    EXPECT_THAT(names, ElementsAre("inputa", "inputb"));
    EXPECT_EQ(this->rule.GetInputProperties().data(), names.data());
}

TYPED_TEST(BinaryTest, SettingsArePublished) {
    EXPECT_THAT(tests::DescribeSettings(TypeParam::MakeProperties()),
                ElementsAre("channel: qel.property.UInt16 = 0. Must be a number between 0 to 65535. "
                            "The channel id the observable is assigned to",
                            "inputa: qel.property.UInt32 = 4294967295. Must be a number between 0 to 4294967295. "
                            "One of the sources of input events",
                            "inputb: qel.property.UInt32 = 4294967295. Must be a number between 0 to 4294967295. "
                            "One of the sources of input events",
                            "constrain_target: qel.property.Bool = true. . "
                            "Whether the the input events must match target id's",
                            "name: qel.property.String = ''. . The user-defined name for the observable",
                            "triggers_action: qel.property.Bool = true. . "
                            "Whether the observable triggers actions and other observables"));
}

TYPED_TEST(BinaryTest, SettingsAreReachedThroughTheirProperties) {
    auto const made = Observable::Make(object::TypeIdOf<TypeParam>);
    auto const rule = std::static_pointer_cast<TypeParam>(made);
    auto const schemas = TypeParam::MakeProperties();
    for (bool const constrained : {true, false}) {
        tests::BindSetting(schemas, made, "channel")->Set(object::UInt16(12));
        tests::BindSetting(schemas, made, "inputa")->Set(object::UInt32(13));
        tests::BindSetting(schemas, made, "inputb")->Set(object::UInt32(4000000000));
        tests::BindSetting(schemas, made, "constrain_target")->Set(object::Bool(constrained));
        tests::BindSetting(schemas, made, "name")->Set(object::String("renamed"));
        tests::BindSetting(schemas, made, "triggers_action")->Set(object::Bool(false));
        EXPECT_EQ(rule->GetChannel(), 12);
        EXPECT_EQ(rule->GetInputA(), 13u);
        EXPECT_EQ(rule->GetInputB(), 4000000000);
        EXPECT_EQ(rule->GetConstrainTarget(), constrained);
        EXPECT_EQ(rule->GetName(), "renamed");
        EXPECT_FALSE(rule->GetTriggersAction());
        std::vector<std::string> values;
        for (auto const* name : {"channel", "inputa", "inputb", "constrain_target"}) {
            values.push_back(tests::ValueText(*tests::BindSetting(schemas, made, name)->GetObject()));
        }
        EXPECT_THAT(values, ElementsAre("12", "13", "4000000000", constrained ? "true" : "false"));
    }
}

TYPED_TEST(BinaryTest, TheRegistryMakesOneWithTheDefaults) {
    auto const made = Observable::Make(hash::MurmurThree32::MakeData(Kind<TypeParam>::TypeName));
    ASSERT_TRUE(made);
    EXPECT_STREQ(made->GetTypeName(), Kind<TypeParam>::TypeName);
    EXPECT_EQ(made->GetName(), Kind<TypeParam>::Short);
    auto const rule = std::static_pointer_cast<TypeParam>(made);
    EXPECT_EQ(rule->GetChannel(), 0);
    EXPECT_EQ(rule->GetInputA(), UnsetId);
    EXPECT_EQ(rule->GetInputB(), UnsetId);
    EXPECT_EQ(rule->GetPtr(), rule);
}

TYPED_TEST(BinaryTest, TheRegistryKnowsItsSettings) {
    auto const types = registry::Get().GetMap();
    auto const found = types->find(hash::MurmurThree32::MakeData(Kind<TypeParam>::TypeName));
    ASSERT_NE(found, types->end());
    EXPECT_EQ(tests::DescribeSettings(found->second.GetSchemas()),
              tests::DescribeSettings(TypeParam::MakeProperties()));
}

TYPED_TEST(BinaryTest, ThePrintFormIsThatOfAnyObservableBehindAWordAndWithoutTheLastBrace) {
    this->rule.SetId(3);
    std::ostringstream stream;
    stream << this->rule;
    EXPECT_EQ(stream.str(), std::string("{\"observable\":{\"typename\":") + Kind<TypeParam>::TypeName + ",\"id\":3}");
}

}  // namespace
}  // namespace qel::observable
