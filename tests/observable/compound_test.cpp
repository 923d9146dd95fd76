#include "observable/compound.hpp"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/slot_of.hpp"
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
using tests::Describer;
using tests::MakeEvent;
using tests::Person;
using tests::Record;
using tests::Scripted;
using tests::SlotOf;
using tests::Zone;

using Chain = std::vector<std::shared_ptr<Observable>>;
using Output = Scripted::Output;

constexpr unsigned int Own = 70;  // id of the compound
constexpr unsigned int First = 71;
constexpr unsigned int Last = 72;

class Rule : public Compound {
public:
    explicit Rule(Chain chain) : Compound(hash::MurmurThree32::MakeData("qel.tests.Rule")), chain(std::move(chain)) {
        SetId(Own);
        SetName("whole");
    }

    Chain MakeObservables() const override {
        ++made;
        return chain;
    }
    std::string GetEventType() const override { return type; }

    Chain chain;
    std::string type = "chained";
    mutable int made = 0;
};

std::shared_ptr<Scripted> Member(unsigned int id, std::function<Output(Meta const&)> process = {}) {
    auto member = std::make_shared<Scripted>("member " + std::to_string(id), std::move(process));
    member->SetId(id);
    return member;
}

// A member that reports one event with these objects in every frame.
std::shared_ptr<Scripted> Reporter(unsigned int id, Event::Objects const& objects) {
    return Member(id, [objects](Meta const& frame) {
        return Output{MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), objects)};
    });
}

// What a compound makes of an event of its only member.
std::vector<std::string> CleanUp(Event::Objects const& objects) {
    Rule rule({Reporter(Last, objects)});
    auto const reported = rule.Process(Meta(At(0)));
    return Describer().Each(reported.at(0)->As<Event>().GetObjects());
}

// The chain.

TEST(CompoundChainTest, IsMadeWhenItIsFirstAskedForAndThenKept) {
    auto const member = Member(Last);
    Rule rule({member});
    EXPECT_EQ(rule.made, 0);
    EXPECT_THAT(rule.GetObservables(), ElementsAre(member));
    rule.Process(Meta(At(0)));
    rule.GetDependents();
    rule.Reset();
    rule.chain = {Member(First)};
    EXPECT_THAT(std::as_const(rule).GetObservables(), ElementsAre(member));
    EXPECT_EQ(rule.made, 1);
}

TEST(CompoundChainTest, IsMadeByTheFirstFrameToo) {
    auto const member = Member(Last);
    Rule rule({member});
    rule.Process(Meta(At(0)));
    EXPECT_EQ(rule.made, 1);
    EXPECT_EQ(member->GetName(), "whole");
}

TEST(CompoundChainTest, LivesAsLongAsTheCompound) {
    std::weak_ptr<Observable> member;
    {
        Rule rule({Member(Last)});
        member = rule.GetObservables().front();
        rule.chain.clear();
        EXPECT_FALSE(member.expired());
    }
    EXPECT_TRUE(member.expired());
}

TEST(CompoundChainTest, GivesItsLastMemberTheNameOfTheCompound) {
    auto const first = Member(First);
    auto const last = Member(Last);
    Rule rule({first, last});
    rule.GetObservables();
    EXPECT_EQ(first->GetName(), "member 71");
    EXPECT_EQ(last->GetName(), "whole");

    rule.SetName("renamed");
    EXPECT_EQ(last->GetName(), "whole") << "not before it is asked for";
    std::as_const(rule).GetObservables();
    EXPECT_EQ(last->GetName(), "renamed");

    rule.SetName("again");
    rule.Process(Meta(At(0)));
    EXPECT_EQ(last->GetName(), "again");

    last->SetName("its own");
    rule.GetObservables();
    EXPECT_EQ(last->GetName(), "again");
    EXPECT_EQ(first->GetName(), "member 71");
}

TEST(CompoundChainTest, ALastMemberSeesItsNewNameInTheSameFrame) {
    std::string seen;
    auto const last = Member(Last);
    last->process = [&](Meta const&) {
        seen = last->GetName();
        return Output();
    };
    Rule rule({last});
    rule.Process(Meta(At(0)));
    EXPECT_EQ(seen, "whole");
}

TEST(CompoundChainTest, IsResetMemberByMemberButNotMade) {
    class Resettable : public Observable {
    public:
        Resettable(std::string& log, char letter) : Observable(hash::MurmurThree32()), log(log), letter(letter) {}
        void Reset() override { log += letter; }

    private:
        std::string& log;
        char letter;
    };
    std::string log;
    Rule rule({std::make_shared<Resettable>(log, 'a'), std::make_shared<Resettable>(log, 'b'),
               std::make_shared<Resettable>(log, 'c')});
    rule.Reset();
    EXPECT_EQ(rule.made, 0);
    EXPECT_EQ(log, "");
    rule.GetObservables();
    rule.Reset();
    EXPECT_EQ(log, "abc");
}

TEST(CompoundChainTest, WithANullIsRefusedByWhoeverAsksForIt) {
    auto const refused = ThrowsMessage<std::logic_error>("Compound 'whole' has a null observable in its chain");
    for (auto const& chain : {Chain{nullptr}, Chain{nullptr, Member(Last)}, Chain{Member(First), nullptr}}) {
        Rule rule(chain);
        EXPECT_THAT([&] { rule.GetObservables(); }, refused);
        EXPECT_THAT([&] { std::as_const(rule).GetObservables(); }, refused);
        EXPECT_THAT([&] { rule.GetDependents(); }, refused);
        EXPECT_THAT([&] { rule.Process(Meta(At(0))); }, refused);
        rule.Reset();
        EXPECT_EQ(rule.made, 4) << "nothing of it was kept";

        rule.chain = {Member(Last)};
        EXPECT_THAT(rule.GetObservables(), ElementsAre(rule.chain.front()));
    }
}

TEST(CompoundChainTest, WithoutAMemberIsRefusedWhereTheLastOneIsNeeded) {
    auto const refused = ThrowsMessage<std::logic_error>("Compound 'whole' has no observables in its chain");
    Rule rule({});
    EXPECT_THAT([&] { rule.GetObservables(); }, refused);
    EXPECT_THAT([&] { std::as_const(rule).GetObservables(); }, refused);
    EXPECT_THAT([&] { rule.Process(Meta(At(0))); }, refused);
    EXPECT_THAT(rule.GetDependents(), IsEmpty());
    rule.Reset();

    rule.chain = {Member(Last)};
    EXPECT_THAT(rule.GetObservables(), ElementsAre(rule.chain.front())) << "it is asked for again";
}

// What it depends on.

TEST(CompoundDependentsTest, AreThoseOutsideOfTheChain) {
    auto const first = Member(First);
    auto const last = Member(Last);
    first->dependents = {12, Last, Own};
    last->dependents = {First, 12, 9, Last, 9};
    Rule rule({first, last});
    EXPECT_THAT(rule.GetDependents(), ElementsAre(12u, Own, 12u, 9u, 9u)) << "once for each time they are named";
}

TEST(CompoundDependentsTest, AreAskedForWithoutRenamingAnybody) {
    auto const member = Member(Last);
    member->dependents = {12};
    Rule rule({member});
    EXPECT_THAT(rule.GetDependents(), ElementsAre(12u));
    EXPECT_EQ(rule.made, 1);
    EXPECT_EQ(member->GetName(), "member 72");
}

TEST(CompoundDependentsTest, FollowTheMembers) {
    auto const member = Member(Last);
    Rule rule({member});
    EXPECT_THAT(rule.GetDependents(), IsEmpty());
    member->dependents = {12};
    EXPECT_THAT(rule.GetDependents(), ElementsAre(12u));
    member->SetId(12);
    EXPECT_THAT(rule.GetDependents(), IsEmpty());
}

// The run over a frame.

TEST(CompoundRunTest, OneMemberReportsUnderTheCompoundsNameTypeAndRecord) {
    Rule rule({Reporter(Last, {Record(Last), Person(3), Zone(4)})});
    Describer describe;
    Meta const frame(At(100));
    EXPECT_THAT(describe.Each(rule.Process(frame)),
                ElementsAre("A whole/chained/tests 100..100 [object 3 person@1(0 0 0 0), zone 4 (), record 70]"));
    EXPECT_THAT(tests::Items(frame), IsEmpty());
}

TEST(CompoundRunTest, AMemberSeesWhatTheFrameHoldsAndTheMembersBeforeReported) {
    std::vector<std::string> seen;
    Describer describe;
    auto const stranger = std::make_shared<tests::Stranger>();
    auto const first = Member(First, [&](Meta const& frame) {
        seen = describe.Each(frame);
        return Output{MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {Record(First)}), nullptr, stranger};
    });
    auto const second = Member(73, [&](Meta const& frame) {
        return Output{MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {Record(73)})};
    });
    auto const last = Member(Last, [&](Meta const& frame) {
        auto const more = describe.Each(frame);
        seen.insert(seen.end(), more.begin(), more.end());
        EXPECT_EQ(frame.GetTimestamp(), At(100));
        EXPECT_EQ(tests::Items(frame).at(3), stranger) << "the items themselves";
        return Output();
    });
    Rule rule({first, second, last});
    Meta const frame(At(100));
    frame.Append(Person(3));
    EXPECT_THAT(rule.Process(frame), IsEmpty());
    EXPECT_THAT(seen, ElementsAre("object 3 person@1(0 0 0 0)",  // the first sees the frame
                                  "object 3 person@1(0 0 0 0)",  // and the last all of it
                                  "A test/scripted/tests 100..100 internal [record 71]", "null", "stranger",
                                  "B test/scripted/tests 100..100 internal [record 73]"));
    EXPECT_THAT(describe.Each(frame), ElementsAre("object 3 person@1(0 0 0 0)")) << "nothing of it is left there";
}

TEST(CompoundRunTest, AMemberFindsTheEventsOfTheOneItDependsOn) {
    auto const first = Reporter(First, {Record(First), Person(3)});
    auto const last = Member(Last, [](Meta const& frame) {
        Output output;
        for (auto const& event : meta::EventsNaming(frame, First)) {
            auto objects = event.GetObjects();
            objects.push_back(Record(Last));
            output.push_back(MakeEvent(event.GetStart(), event.GetEnd(), objects));
        }
        return output;
    });
    Rule rule({first, last});
    EXPECT_THAT(Describer().Each(rule.Process(Meta(At(100)))),
                ElementsAre("A whole/chained/tests 100..100 [object 3 person@1(0 0 0 0), record 70]"));
}

TEST(CompoundRunTest, OnlyTheLastMemberReports) {
    Rule rule({Reporter(First, {Record(First)}), Member(Last)});
    EXPECT_THAT(rule.Process(Meta(At(0))), IsEmpty());
}

TEST(CompoundRunTest, WhatIsNoEventIsReportedAsItIs) {
    auto const stranger = std::make_shared<tests::Stranger>();
    auto const person = Person(3);
    auto const record = Record(Last);
    Rule rule({Member(Last, [&](Meta const&) { return Output{nullptr, stranger, person, record}; })});
    EXPECT_THAT(rule.Process(Meta(At(0))), ElementsAre(nullptr, stranger, person, record));
}

TEST(CompoundRunTest, TheEventsOfTheLastMemberAreChangedInPlace) {
    auto const event = MakeEvent(17, At(1), At(2), {Record(Last)});
    event->SetDuplicate(true);
    event->SetFinal(true);
    Rule rule({Member(Last, [&](Meta const&) { return Output{event}; })});
    EXPECT_THAT(rule.Process(Meta(At(100))), ElementsAre(event));
    EXPECT_EQ(event->GetId(), 17u);
    EXPECT_EQ(Describer()(event), "A whole/chained/tests 1..2 duplicate final [record 70]");
    EXPECT_EQ(event->GetObjects().front(), rule.MakeObservableMetadata());
}

TEST(CompoundRunTest, AnEventThatItsMemberMarkedInternalStaysSo) {
    auto const event = MakeEvent(At(1), At(2), {});
    event->SetInternal(true);
    Rule rule({Member(Last, [&](Meta const&) { return Output{event}; })});
    rule.Process(Meta(At(100)));
    EXPECT_TRUE(event->IsInternal());
}

TEST(CompoundRunTest, AMemberMayGoOnFromTheEventThatItRemembers) {
    // Not remembers the event that it reported, which is the one that the compound has changed.
    auto const last = std::make_shared<Not>("silence", 0, 12);
    last->SetId(Last);
    Rule rule({last});
    Describer describe;
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(100)))),
                ElementsAre("A whole/chained/analytics 100..100 [record 70]"));
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(200)))),
                ElementsAre("A whole/chained/analytics 100..200 [record 70]"));
    Meta const loud(At(300));
    loud.Append(MakeEvent(At(0), At(0), {Record(12)}));
    EXPECT_THAT(rule.Process(loud), IsEmpty());
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(400)))),
                ElementsAre("B whole/chained/analytics 400..400 [record 70]"));
}

TEST(CompoundRunTest, AMemberThatStandsTwiceInTheChainRunsTwice) {
    int runs = 0;
    auto const member = Member(Last, [&](Meta const& frame) {
        EXPECT_EQ(tests::Items(frame).size(), static_cast<std::size_t>(runs));
        ++runs;
        return Output{MakeEvent(At(runs), At(runs), {Record(Last)})};
    });
    Rule rule({member, member});
    EXPECT_THAT(Describer().Each(rule.Process(Meta(At(0)))), ElementsAre("A whole/chained/tests 2..2 [record 70]"));
    EXPECT_EQ(runs, 2);
}

TEST(CompoundRunTest, WhatAMemberAppendsItselfStaysInTheCopy) {
    Rule rule({Member(First,
                      [&](Meta const& frame) {
                          frame.Append(Person(3));
                          return Output();
                      }),
               Member(Last, [&](Meta const& frame) {
                   EXPECT_EQ(tests::Items(frame).size(), 1u);
                   return Output();
               })});
    Meta const frame(At(0));
    rule.Process(frame);
    EXPECT_THAT(tests::Items(frame), IsEmpty());
}

TEST(CompoundRunTest, MembersNotifyNobody) {
    auto const first = Reporter(First, {Record(First)});
    auto const last = Reporter(Last, {Record(Last)});
    int heard = 0;
    auto const listen = [&](auto const&) { ++heard; };
    auto const firstBinding = first->Bind(listen);
    auto const lastBinding = last->Bind(listen);
    Rule rule({first, last});
    rule.Process(Meta(At(0)));
    EXPECT_EQ(heard, 0);
}

TEST(CompoundRunTest, WhatAMemberThrowsPassesThrough) {
    bool fails = true;
    Rule rule({Reporter(First, {Record(First)}),
               Member(73,
                      [&](Meta const&) -> Output {
                          if (fails) {
                              throw std::runtime_error("broken");
                          }
                          return {};
                      }),
               Reporter(Last, {Record(Last)})});
    Meta const frame(At(0));
    EXPECT_THAT([&] { rule.Process(frame); }, ThrowsMessage<std::runtime_error>("broken"));
    EXPECT_THAT(tests::Items(frame), IsEmpty());
    fails = false;
    EXPECT_THAT(Describer().Each(rule.Process(frame)), ElementsAre("A whole/chained/tests 0..0 [record 70]"));
}

// The objects of a reported event.

TEST(CompoundCleanUpTest, RecordsOfMembersGoAndTheCompoundsOwnComesLast) {
    Rule rule({Member(First), Member(73),
               Reporter(Last, {Record(First), Person(3), Record(Last), Record(12), nullptr, Record(Last), Record(73),
                               Zone(4), Record(Own)})});
    auto const reported = rule.Process(Meta(At(0)));
    EXPECT_THAT(Describer().Each(reported.at(0)->As<Event>().GetObjects()),
                ElementsAre("object 3 person@1(0 0 0 0)", "record 12", "null", "zone 4 ()", "record 70", "record 70"));
}

TEST(CompoundCleanUpTest, WithoutTheLastMembersRecordNoneIsAdded) {
    Rule rule({Member(First), Reporter(Last, {Record(First), Person(3), Record(12)})});
    auto const reported = rule.Process(Meta(At(0)));
    EXPECT_THAT(Describer().Each(reported.at(0)->As<Event>().GetObjects()),
                ElementsAre("object 3 person@1(0 0 0 0)", "record 12"));
}

TEST(CompoundCleanUpTest, ACompoundWithTheIdOfAMemberKeepsItsOwnRecord) {
    Rule rule({Reporter(Last, {Record(Last), Person(3)})});
    rule.SetId(Last);
    auto const reported = rule.Process(Meta(At(0)));
    auto const& objects = reported.at(0)->As<Event>().GetObjects();
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(objects.back(), rule.MakeObservableMetadata());
}

TEST(CompoundCleanUpTest, IdsAreThoseAfterTheRun) {
    auto const last = Member(Last);
    last->process = [&](Meta const&) {
        last->SetId(99);
        return Output{MakeEvent(At(0), At(0), {Record(Last), Record(99)})};
    };
    Rule rule({last});
    auto const reported = rule.Process(Meta(At(0)));
    EXPECT_THAT(Describer().Each(reported.at(0)->As<Event>().GetObjects()), ElementsAre("record 72", "record 70"));
}

TEST(CompoundCleanUpTest, OfSeveralChannelsTheLastStays) {
    EXPECT_THAT(CleanUp({Channel(1), Person(3), Channel(2), nullptr, Zone(4), Channel(3), Person(5)}),
                ElementsAre("object 3 person@1(0 0 0 0)", "null", "zone 4 ()", "channel 3 camera",
                            "object 5 person@1(0 0 0 0)"));
    EXPECT_THAT(CleanUp({Channel(1), Channel(2)}), ElementsAre("channel 2 camera"));
    EXPECT_THAT(CleanUp({Channel(1), Channel(1), Channel(1)}), ElementsAre("channel 1 camera"));
}

TEST(CompoundCleanUpTest, OneChannelOrNoneLeavesTheListAsItIs) {
    EXPECT_THAT(CleanUp({}), IsEmpty());
    EXPECT_THAT(CleanUp({Person(3), nullptr}), ElementsAre("object 3 person@1(0 0 0 0)", "null"));
    EXPECT_THAT(CleanUp({Channel(1), Person(3)}), ElementsAre("channel 1 camera", "object 3 person@1(0 0 0 0)"));
}

TEST(CompoundCleanUpTest, TheOwnRecordComesBeforeChannelsAreDropped) {
    EXPECT_THAT(CleanUp({Channel(1), Record(Last), Channel(2)}), ElementsAre("channel 2 camera", "record 70"));
}

TEST(CompoundCleanUpTest, EveryEventIsCleaned) {
    Rule rule({Member(Last, [](Meta const&) {
        return Output{MakeEvent(At(1), At(1), {Record(Last), Person(3)}), nullptr,
                      MakeEvent(At(2), At(2), {Person(5), Record(Last)})};
    })});
    EXPECT_THAT(Describer().Each(rule.Process(Meta(At(0)))),
                ElementsAre("A whole/chained/tests 1..1 [object 3 person@1(0 0 0 0), record 70]", "null",
                            "B whole/chained/tests 2..2 [object 5 person@1(0 0 0 0), record 70]"));
}

TEST(CompoundCleanUpTest, AnEventThatIsReportedTwiceIsCleanedOnce) {
    auto const event = MakeEvent(At(1), At(1), {Record(Last), Person(3)});
    Rule rule({Member(Last, [&](Meta const&) { return Output{event, event}; })});
    rule.Process(Meta(At(0)));
    EXPECT_EQ(Describer()(event), "A whole/chained/tests 1..1 [object 3 person@1(0 0 0 0), record 70]");
}

TEST(CompoundCleanUpTest, NameAndTypeAreThoseOfTheMomentAndTheCategoryIsTheMembers) {
    Rule rule({Member(Last, [](Meta const&) {
        return Output{std::make_shared<Event>("a", "b", "first", At(1), At(1), Event::Objects{}),
                      std::make_shared<Event>("a", "b", "second", At(1), At(1), Event::Objects{})};
    })});
    EXPECT_THAT(Describer().Each(rule.Process(Meta(At(0)))),
                ElementsAre("A whole/chained/first 1..1 []", "B whole/chained/second 1..1 []"));
    rule.SetName("renamed");
    rule.type = "retyped";
    EXPECT_THAT(Describer().Each(rule.Process(Meta(At(0)))),
                ElementsAre("A renamed/retyped/first 1..1 []", "B renamed/retyped/second 1..1 []"));
}

TEST(CompoundCleanUpTest, ANewTypeAloneIsSeenAndSoIsANewCategory) {
    std::string category = "first";
    Rule rule({Member(Last, [&](Meta const&) {
        return Output{std::make_shared<Event>("a", "b", category, At(1), At(1), Event::Objects{})};
    })});
    Describer describe;
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(0)))), ElementsAre("A whole/chained/first 1..1 []"));
    rule.type = "retyped";
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(0)))), ElementsAre("B whole/retyped/first 1..1 []"));
    category = "second";
    EXPECT_THAT(describe.Each(rule.Process(Meta(At(0)))), ElementsAre("C whole/retyped/second 1..1 []"));
}

TEST(CompoundCleanUpTest, AFrameThatAlreadyHoldsTheEventFindsItUnderItsNewRecord) {
    auto const event = MakeEvent(At(1), At(1), {Record(Last)});
    Meta const frame(At(0));
    frame.Append(event);
    EXPECT_EQ(meta::EventsNaming(frame, Last).size(), 1u);
    Rule rule({Member(Last, [&](Meta const&) { return Output{event}; })});
    rule.Process(frame);
    EXPECT_TRUE(meta::EventsNaming(frame, Last).empty());
    EXPECT_EQ(meta::EventsNaming(frame, Own).size(), 1u);
}

// In a rule set.

TEST(CompoundInNotifierTest, IsOneObservableWithTheDependentsOfItsChain) {
    auto const input = Member(12, [](Meta const& frame) {
        return Output{MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {Record(12), Person(3)})};
    });
    auto const inner = Member(First, [](Meta const& frame) {
        return Output{
            MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), meta::EventsNaming(frame, 12).front().GetObjects())};
    });
    inner->dependents = {12};
    auto const last = Reporter(Last, {Record(Last), Person(3)});
    last->dependents = {First};
    auto const rule = std::make_shared<Rule>(Chain{inner, last});

    Notifier notifier;
    auto const ruleBinding = notifier.AddObservable(rule);
    auto const inputBinding = notifier.AddObservable(input);
    EXPECT_THAT(notifier.GetObservables(), ElementsAre(input, rule));
    Meta const frame(At(100));
    notifier.Process(frame);
    EXPECT_THAT(Describer().Each(frame),
                ElementsAre("A test/scripted/tests 100..100 [record 12, object 3 person@1(0 0 0 0)]",
                            "B whole/chained/tests 100..100 [object 3 person@1(0 0 0 0), record 70]"));
}

// What it costs.

TEST(CompoundCostTest, TheCopyOfTheFrameCostsTheSameHoweverMuchTheFrameHolds) {
    auto const bytesWith = [](unsigned int items) {
        auto const last = Member(Last, [](Meta const& frame) {
            EXPECT_EQ(meta::EventsNaming(frame, 12).size(), 1u);
            return Output();
        });
        Rule rule({Reporter(First, {Record(First)}), last});
        Meta const frame(At(0));
        frame.Append(MakeEvent(At(0), At(0), {Record(12)}));
        for (unsigned int item = 0; item < items; ++item) {
            frame.Append(MakeEvent(At(0), At(0), {Person(item)}));
        }
        rule.Process(frame);
        auto const before = tests::CountBytes();
        rule.Process(frame);
        return tests::CountBytes() - before;
    };
    EXPECT_EQ(bytesWith(10'000), bytesWith(10));
}

// The interface that plug-ins are built against.

TEST(CompoundVirtualMembersTest, FollowThoseOfAnObservableInTheirOrder) {
    EXPECT_EQ(SlotOf(&Compound::Reset), SlotOf(&Observable::Reset));
    EXPECT_EQ(SlotOf(&Compound::GetDependents), SlotOf(&Observable::GetDependents));
    EXPECT_EQ(SlotOf(&Compound::Process), SlotOf(&Observable::Process));
    EXPECT_EQ(SlotOf(&Compound::MakeObservables), 8u);
    EXPECT_EQ(SlotOf(&Compound::GetEventType), 9u);
}

TEST(CompoundVirtualMembersTest, IsAnAbstractObservableWithoutInputProperties) {
    EXPECT_TRUE(std::is_abstract_v<Compound>);
    Rule const rule({Member(Last)});
    EXPECT_TRUE(rule.GetInputProperties().empty());
    EXPECT_EQ(rule.GetTypeNameId(), hash::MurmurThree32::MakeData("qel.tests.Rule"));
}

}  // namespace
}  // namespace qel::observable
