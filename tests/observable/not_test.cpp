#include "observable/not.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "observable/registry/get.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/settings.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/threads.hpp"
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

constexpr std::uint32_t Input = 7;

std::shared_ptr<Event> OnlyEvent(std::vector<std::shared_ptr<object::Object>> const& reported) {
    EXPECT_EQ(reported.size(), 1u);
    return std::static_pointer_cast<Event>(reported.at(0));
}

// ---- Over time ------------------------------------------------------------------------------------------------------

struct Timeline {
    char const* name;
    char const* input;     // per frame: '.' nothing, 'x' an event, "x,x" two
    char const* reported;  // per frame: a letter for each event id, '-' for nothing
};

class NotTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(NotTimelineTest, Reports) {
    Not rule("gate empty", 0, Input);
    EXPECT_EQ(Player().Play(rule, {{Input, GetParam().input}}), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(Not, NotTimelineTest,
                         testing::Values(Timeline{"SilenceIsOneEvent", ". . .", "A A A"},
                                         Timeline{"AnInputThatAlwaysFiresLeavesNothingToReport", "x x x", "- - -"},
                                         Timeline{"TheInputEndsTheEvent", ". x .", "A - B"},
                                         Timeline{"TheNextSilenceIsANewEventHoweverShortTheInputFired", ". . x . . x .",
                                                  "A A - B B - C"},
                                         Timeline{"SilenceAfterAStartWithTheInput", "x . .", "- A A"},
                                         Timeline{"SeveralEventsOfTheInputAreAsOne", ". x,x,x .", "A - B"},
                                         Timeline{"WhatTheInputIsAboutPlaysNoPart", ". 12 . 3,4 .", "A - B - C"}),
                         [](auto const& tested) { return std::string(tested.param.name); });

// ---- What an event says ---------------------------------------------------------------------------------------------

TEST(NotEvent, TheFirstSilentFrameIsStartAndEndAndTheOnlyObjectIsTheOwnRecord) {
    Not rule("gate empty", 3, Input);
    rule.SetId(55);
    EXPECT_THAT(Describer().Each(rule.Process(Meta(At(10)))),
                ElementsAre("A gate empty/not/analytics 10..10 [record 55]"));
}

TEST(NotEvent, ItsEndMovesWithTheFramesWhileIdAndStartStay) {
    Not rule("gate empty", 0, Input);
    rule.SetId(55);
    Describer describe;
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(10)))),
                ElementsAre("A gate empty/not/analytics 10..10 [record 55]"));
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(25)))),
                ElementsAre("A gate empty/not/analytics 10..25 [record 55]"));
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(20)))),
                ElementsAre("A gate empty/not/analytics 10..20 [record 55]"));
}

TEST(NotEvent, TheEventAfterTheInputStartsAtItsOwnFrame) {
    Not rule("gate empty", 0, Input);
    rule.SetId(55);
    auto const frames = tests::MakeFrames({{Input, ". x ."}});
    auto const first = OnlyEvent(rule.Process(*frames[0]));
    EXPECT_THAT(rule.Process(*frames[1]), IsEmpty());
    auto const second = OnlyEvent(rule.Process(*frames[2]));
    EXPECT_NE(first->GetId(), second->GetId());
    EXPECT_EQ(second->GetStart(), At(30));
    EXPECT_EQ(second->GetEnd(), At(30));
}

TEST(NotEvent, EveryFrameHasAnEventObjectOfItsOwnThatCanHandOutReferencesToItself) {
    Not rule("gate empty", 0, Input);
    auto const first = OnlyEvent(rule.Process(Meta(At(10))));
    auto const second = OnlyEvent(rule.Process(Meta(At(20))));
    EXPECT_NE(first, second);
    EXPECT_EQ(first->GetEnd(), At(10));
    EXPECT_EQ(second->shared_from_this(), second);
}

TEST(NotEvent, TheRecordIsTheObservablesOwnOne) {
    Not rule("gate empty", 0, Input);
    auto const event = OnlyEvent(rule.Process(Meta(At(10))));
    EXPECT_EQ(event->GetObjects().at(0), rule.MakeObservableMetadata());
}

TEST(NotEvent, TakesNothingOutOfTheFrame) {
    Not rule("gate empty", 0, Input);
    rule.SetId(55);
    Meta const frame(At(10));
    frame.Append(tests::Channel(1));
    frame.Append(tests::Person(2));
    frame.Append(MakeEvent(At(0), At(0), {Record(Input + 1), tests::Person(2), tests::Zone(3)}));
    EXPECT_THAT(Describer().Each(rule.Process(frame)), ElementsAre("A gate empty/not/analytics 10..10 [record 55]"));
}

TEST(NotEvent, ANewNameIsInTheNextEventAndNotInEarlierOnes) {
    Not rule("gate empty", 0, Input);
    auto const before = OnlyEvent(rule.Process(Meta(At(10))));
    rule.SetName("nobody at the gate");
    auto const after = OnlyEvent(rule.Process(Meta(At(20))));
    EXPECT_EQ(before->GetName(), "gate empty");
    EXPECT_EQ(after->GetName(), "nobody at the gate");
    EXPECT_EQ(after->GetId(), before->GetId());
    EXPECT_EQ(after->GetStart(), before->GetStart());
}

TEST(NotEvent, ANewIdIsInTheNextRecordAndNotInEarlierOnes) {
    Not rule("gate empty", 0, Input);
    rule.SetId(55);
    auto const before = OnlyEvent(rule.Process(Meta(At(10))));
    rule.SetId(66);
    auto const after = OnlyEvent(rule.Process(Meta(At(20))));
    Describer describe;
    EXPECT_EQ(describe(before), "A gate empty/not/analytics 10..10 [record 55]");
    EXPECT_EQ(describe(after), "A gate empty/not/analytics 10..20 [record 66]");
}

TEST(NotEvent, MarksAndTextsGivenToAnEventDoNotReachTheNext) {
    Not rule("gate empty", 0, Input);
    rule.SetId(55);
    auto const event = OnlyEvent(rule.Process(Meta(At(10))));
    event->SetDuplicate(true);
    event->SetFinal(true);
    event->SetInternal(true);
    event->SetName("changed");
    event->SetType("changed");
    event->SetEnd(At(99));
    event->AppendObject(tests::Channel(1));
    EXPECT_THAT(Describer().Each(rule.Process(Meta(At(20)))),
                ElementsAre("A gate empty/not/analytics 10..20 [record 55]"));
}

TEST(NotEvent, GoesOnWithTheIdAndStartThatItsLastEventHasByThen) {
    Not rule("gate empty", 0, Input);
    auto const event = OnlyEvent(rule.Process(Meta(At(10))));
    *event = Event(4'000'000'000, "other", "other", "other", At(3), At(4), {});
    auto const next = OnlyEvent(rule.Process(Meta(At(20))));
    EXPECT_EQ(next->GetId(), 4'000'000'000);
    EXPECT_EQ(next->GetStart(), At(3));
    EXPECT_EQ(next->GetEnd(), At(20));
}

// ---- When the input has fired ---------------------------------------------------------------------------------------

bool Fires(std::shared_ptr<object::Object> item) {
    Not rule("gate empty", 0, Input);
    Meta const frame(At(10));
    frame.Append(std::move(item));
    return rule.Process(frame).empty();
}

TEST(NotInput, AnEventThatNamesAnotherObservableIsSilence) {
    EXPECT_FALSE(Fires(MakeEvent(At(0), At(0), {Record(Input + 1)})));
}

TEST(NotInput, AnEventThatNamesNobodyIsSilence) {
    EXPECT_FALSE(Fires(MakeEvent(At(0), At(0), {})));
    EXPECT_FALSE(Fires(MakeEvent(At(0), At(0), {tests::Person(Input), tests::Zone(Input), tests::Channel(Input)})));
}

TEST(NotInput, ARecordAnywhereAmongTheObjectsOfAnEventCounts) {
    EXPECT_TRUE(Fires(MakeEvent(At(0), At(0), {Record(Input)})));
    EXPECT_TRUE(Fires(MakeEvent(At(0), At(0), {Record(1), tests::Person(2), Record(3), Record(Input), Record(4)})));
}

TEST(NotInput, NullsAndStrangersAmongTheObjectsArePassedOver) {
    EXPECT_TRUE(Fires(MakeEvent(At(0), At(0), {nullptr, std::make_shared<tests::Stranger>(), Record(Input)})));
    EXPECT_FALSE(Fires(MakeEvent(At(0), At(0), {nullptr, std::make_shared<tests::Stranger>()})));
}

TEST(NotInput, NullsAndOtherItemsOfTheFrameArePassedOver) {
    EXPECT_FALSE(Fires(nullptr));
    EXPECT_FALSE(Fires(Record(Input)));
    EXPECT_FALSE(Fires(tests::Person(Input)));
    EXPECT_FALSE(Fires(std::make_shared<tests::Stranger>()));
}

TEST(NotInput, MarkedEventsCountLikeOthers) {
    auto const event = MakeEvent(At(0), At(0), {Record(Input)});
    event->SetFinal(true);
    event->SetDuplicate(true);
    event->SetInternal(true);
    EXPECT_TRUE(Fires(event));
}

TEST(NotInput, ARecordThatComesToAnEventInTheFrameCounts) {
    Not rule("gate empty", 0, Input);
    Meta const frame(At(10));
    auto const event = MakeEvent(At(0), At(0), {});
    frame.Append(event);
    EXPECT_EQ(rule.Process(frame).size(), 1u);
    event->AppendObject(Record(Input));
    EXPECT_THAT(rule.Process(frame), IsEmpty());
}

TEST(NotInput, ARecordCountsUnderTheIdThatItHasNow) {
    Not rule("gate empty", 0, Input);
    Meta const frame(At(10));
    auto const record = Record(Input);
    frame.Append(MakeEvent(At(0), At(0), {record}));
    EXPECT_THAT(rule.Process(frame), IsEmpty());
    record->SetId(Input + 1);
    EXPECT_EQ(rule.Process(frame).size(), 1u);
}

TEST(NotInput, AnInputThatIsNotSetNeverReportsWhateverIsInTheFrame) {
    Not rule("gate empty", 0, UnsetId);
    EXPECT_THAT(rule.Process(Meta(At(10))), IsEmpty());
    Meta const frame(At(20));
    frame.Append(MakeEvent(At(0), At(0), {Record(UnsetId)}));
    EXPECT_THAT(rule.Process(frame), IsEmpty());
}

TEST(NotInput, TakingTheInputAwayEndsTheEvent) {
    Not rule("gate empty", 0, Input);
    Player player;
    EXPECT_EQ(player.Play(rule, Meta(At(10))), "A");
    rule.SetInput(UnsetId);
    EXPECT_EQ(player.Play(rule, Meta(At(20))), "-");
    rule.SetInput(Input);
    EXPECT_EQ(player.Play(rule, Meta(At(30))), "B");
}

TEST(NotInput, AnotherInputOrChannelBetweenFramesLeavesTheEventToTheNextFrame) {
    Not rule("gate empty", 0, Input);
    Player player;
    EXPECT_EQ(player.Play(rule, Meta(At(10))), "A");
    rule.SetInput(Input + 1);
    rule.SetChannel(9);
    EXPECT_EQ(player.Play(rule, Meta(At(20))), "A");
    rule.SetInput(UnsetId);
    rule.SetInput(Input);
    EXPECT_EQ(player.Play(rule, Meta(At(30))), "A");
}

TEST(NotInput, ItsOwnEventIsAnEventLikeOthers) {
    Not rule("gate empty", 0, Input);
    rule.SetInput(rule.GetId());
    Player player;
    Meta const frame(At(10));
    frame.Append(rule.Process(frame).at(0));
    EXPECT_EQ(player.Play(rule, frame), "-");
}

TEST(NotInput, ResetDoesNotEndTheEvent) {
    Not rule("gate empty", 0, Input);
    Player player;
    EXPECT_EQ(player.Play(rule, Meta(At(10))), "A");
    rule.Reset();
    EXPECT_EQ(player.Play(rule, Meta(At(20))), "A");
}

// ---- Settings -------------------------------------------------------------------------------------------------------

TEST(NotSettings, Defaults) {
    EXPECT_STREQ(Not::DefaultName, "Not");
    EXPECT_EQ(Not::DefaultChannel, 0);
    EXPECT_EQ(Not::DefaultInput, 0xFFFFFFFF);
}

TEST(NotSettings, AreWhatTheConstructorWasGiven) {
    Not const rule("gate empty", 65535, 4294967294);
    EXPECT_EQ(rule.GetName(), "gate empty");
    EXPECT_EQ(rule.GetChannel(), 65535);
    EXPECT_EQ(rule.GetInput(), 4294967294);
    EXPECT_TRUE(rule.GetTriggersAction());
    EXPECT_STREQ(rule.GetTypeName(), "qel.observable.Not");
    EXPECT_EQ(rule.GetTypeNameId(), hash::MurmurThree32::MakeData("qel.observable.Not"));
}

TEST(NotSettings, AreWhatTheSettersWereGiven) {
    Not rule("gate empty", 1, 2);
    rule.SetChannel(3);
    rule.SetInput(4);
    EXPECT_EQ(rule.GetChannel(), 3);
    EXPECT_EQ(rule.GetInput(), 4u);
}

TEST(NotSettings, DependsOnItsInputUnlessThatIsUnset) {
    Not rule("gate empty", 0, UnsetId);
    EXPECT_THAT(rule.GetDependents(), IsEmpty());
    rule.SetInput(0);
    EXPECT_THAT(rule.GetDependents(), ElementsAre(0u));
    rule.SetInput(Input);
    EXPECT_THAT(rule.GetDependents(), ElementsAre(Input));
}

TEST(NotSettings, NamesThePropertyThatHoldsItsInputInOneStaticList) {
    InputNames names;
    {
        Not const rule("gate empty", 0, Input);
        names = rule.GetInputProperties();
    }
    EXPECT_THAT(names, ElementsAre("input"));
    EXPECT_EQ(Not("other", 0, UnsetId).GetInputProperties().data(), names.data());
}

TEST(NotSettings, ArePublished) {
    EXPECT_THAT(tests::DescribeSettings(Not::MakeProperties()),
                ElementsAre("channel: qel.property.UInt16 = 0. Must be a number between 0 to 65535. "
                            "The channel id the observable is assigned to",
                            "input: qel.property.UInt32 = 4294967295. Must be a number between 0 to 4294967295. "
                            "The source of input events",
                            "name: qel.property.String = ''. . The user-defined name for the observable",
                            "triggers_action: qel.property.Bool = true. . "
                            "Whether the observable triggers actions and other observables"));
}

TEST(NotSettings, AreReachedThroughTheirProperties) {
    auto const rule = std::make_shared<Not>("gate empty", std::uint16_t{1}, 2);
    auto const schemas = Not::MakeProperties();
    tests::BindSetting(schemas, rule, "channel")->Set(object::UInt16(12));
    tests::BindSetting(schemas, rule, "input")->Set(object::UInt32(4000000000));
    tests::BindSetting(schemas, rule, "name")->Set(object::String("renamed"));
    tests::BindSetting(schemas, rule, "triggers_action")->Set(object::Bool(false));
    EXPECT_EQ(rule->GetChannel(), 12);
    EXPECT_EQ(rule->GetInput(), 4000000000);
    EXPECT_EQ(rule->GetName(), "renamed");
    EXPECT_FALSE(rule->GetTriggersAction());
    EXPECT_EQ(tests::ValueText(*tests::BindSetting(schemas, rule, "channel")->GetObject()), "12");
    EXPECT_EQ(tests::ValueText(*tests::BindSetting(schemas, rule, "input")->GetObject()), "4000000000");
}

TEST(NotSettings, TheRegistryMakesOneWithTheDefaults) {
    auto const made = Observable::Make(hash::MurmurThree32::MakeData("qel.observable.Not"));
    ASSERT_TRUE(made);
    EXPECT_STREQ(made->GetTypeName(), "qel.observable.Not");
    EXPECT_EQ(made->GetName(), "Not");
    auto const rule = std::static_pointer_cast<Not>(made);
    EXPECT_EQ(rule->GetChannel(), 0);
    EXPECT_EQ(rule->GetInput(), UnsetId);
    EXPECT_EQ(rule->GetPtr(), rule);
}

TEST(NotSettings, TheRegistryKnowsItsSettings) {
    auto const types = registry::Get().GetMap();
    auto const found = types->find(hash::MurmurThree32::MakeData("qel.observable.Not"));
    ASSERT_NE(found, types->end());
    EXPECT_EQ(tests::DescribeSettings(found->second.GetSchemas()), tests::DescribeSettings(Not::MakeProperties()));
}

TEST(NotSettings, ItsPrintFormIsThatOfAnyObservableBehindAWordAndWithoutTheLastBrace) {
    Not rule("gate empty", 0, Input);
    rule.SetId(3);
    std::ostringstream stream;
    stream << rule;
    EXPECT_EQ(stream.str(), "{\"observable\":{\"typename\":qel.observable.Not,\"id\":3}");
}

// ---- Threads and failures -------------------------------------------------------------------------------------------

constexpr int Rounds = 2000;

TEST(NotThreads, SettingsMayBeChangedAndReadWhileFramesAreProcessed) {
    Not rule("gate empty", 0, Input);
    std::size_t mostReported = 0;
    std::uint32_t lastInput = Input;
    // Every thread goes on until all have done their rounds. Relaxed: the counters must not put the calls in order.
    std::array<std::atomic<int>, 3> done{};
    tests::RunTogether(3, [&](int thread) {
        auto& own = done[static_cast<std::size_t>(thread)];
        auto const all = [&] {
            return std::all_of(done.begin(), done.end(),
                               [](auto const& rounds) { return rounds.load(std::memory_order_relaxed) >= Rounds; });
        };
        for (int round = 0; !all(); ++round) {
            if (thread == 0) {
                mostReported = std::max(mostReported, rule.Process(Meta(At(round))).size());
            } else if (thread == 1) {
                lastInput = round % 2 == 0 ? UnsetId : Input;
                rule.SetInput(lastInput);
                rule.SetChannel(static_cast<std::uint16_t>(round % 100));
            } else {
                auto const dependents = rule.GetDependents();
                EXPECT_TRUE(dependents.empty() || dependents == std::vector<unsigned int>{Input});
                auto const input = rule.GetInput();
                EXPECT_TRUE(input == Input || input == UnsetId);
                EXPECT_LT(rule.GetChannel(), 100);
            }
            own.fetch_add(1, std::memory_order_relaxed);
        }
    });
    EXPECT_LE(mostReported, 1u);
    EXPECT_EQ(rule.GetInput(), lastInput);
}

TEST(NotFailure, AFrameThatFailsForLackOfMemoryLeavesTheEventAsItWas) {
    Not rule("the gate is empty", 0, Input);
    Player player;
    EXPECT_EQ(player.Play(rule, Meta(At(10))), "A");
    std::size_t failures = 0;
    for (;; ++failures) {
        rule.SetName("a name of another length, " + std::string(failures, '.'));
        Meta const frame(At(20));
        frame.Append(MakeEvent(At(0), At(0), {Record(Input + 1)}));
        if (!tests::FailsForLackOfMemory(failures, [&] { rule.Process(frame); })) {
            break;
        }
        EXPECT_EQ(player.Play(rule, Meta(At(30))), "A");
        EXPECT_EQ(rule.GetInput(), Input);  // the lock is free again
    }
    EXPECT_GT(failures, 3u);
}

TEST(NotFailure, AFrameThatFailsForLackOfMemoryBeginsNoEvent) {
    std::size_t failures = 0;
    for (;; ++failures) {
        Not rule("a name that does not fit into a short string", 0, Input);
        Meta const frame(At(10));
        if (!tests::FailsForLackOfMemory(failures, [&] { rule.Process(frame); })) {
            break;
        }
        EXPECT_EQ(OnlyEvent(rule.Process(Meta(At(20))))->GetStart(), At(20));
    }
    EXPECT_GT(failures, 3u);
}

}  // namespace
}  // namespace qel::observable
