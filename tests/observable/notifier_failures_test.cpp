// What is left of a pass that fails, and of calls into the notifier from inside of it.

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "observable/notifier.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/rule_set.hpp"
#include "tests/support/scripted.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using tests::At;
using tests::MakeEvent;
using tests::Person;
using tests::Record;
using tests::RuleSet;
using tests::Scripted;

using Items = std::vector<std::shared_ptr<object::Object>>;

constexpr char const* Failure = "told to fail";

[[noreturn]] void Fail() { throw std::domain_error(Failure); }

/// A continuing event of observable 1 about one person.
std::shared_ptr<Event> About(unsigned int id) { return MakeEvent(id, At(0), At(0), {Record(1), Person(id)}); }

/// A rule set in the middle of its work: `previous` went on into the last frame, with a subscriber for what comes.
class NotifierFailuresTest : public testing::Test {
protected:
    NotifierFailuresTest() {
        rules.notifier.SetEventRetriggerTime(milliseconds(1000));
        first->Reports({About(1), About(2)});
        hidden->Reports({About(3)});
        rules.notifier.Process(Meta(At(0)));
        rules.Heard();
    }

    /// What the notifier takes for the frame before the next one, by what it continues and closes: the previous events
    /// are those of the frame that did not fail, with which nothing has happened.
    void ExpectPreviousEventsOfBefore() {
        // 1 goes on, 2 ends, 3 ends unseen; what the failed pass brought was never there.
        auto const going = About(1);
        first->Reports({going});
        Meta const frame(At(2000));
        rules.notifier.Process(frame);
        auto const items = tests::Items(frame);
        ASSERT_EQ(items.size(), 2u);
        EXPECT_EQ(items[0], going);
        EXPECT_TRUE(going->IsDuplicate());
        EXPECT_EQ(items[1]->As<Event>().GetId(), 2u);
        EXPECT_TRUE(items[1]->As<Event>().IsFinal());
    }

    /// Processes the frame, which fails.
    void ExpectFailure(Meta const& frame) {
        EXPECT_THAT([&] { rules.notifier.Process(frame); }, ThrowsMessage<std::domain_error>(Failure));
    }

    /// Whether a new event about this person would be dropped at this time.
    bool IsRecorded(unsigned int person, std::int64_t time) {
        auto const event = MakeEvent(100 + person, At(0), At(0), {Record(1), Person(person)});
        last->Reports({event});
        Meta const frame(At(time));
        rules.notifier.Process(frame);
        auto const items = tests::Items(frame);
        return std::count(items.begin(), items.end(), event) == 0;
    }

    RuleSet rules;
    std::shared_ptr<RuleSet::Rule> const hidden = rules.AddInternal("hidden", 10);
    std::shared_ptr<RuleSet::Rule> const first = rules.Add("first", 11);
    std::shared_ptr<RuleSet::Rule> const last = rules.Add("last", 12);
};

TEST_F(NotifierFailuresTest, AnObservableThatThrowsLeavesTheFrameAsItIs) {
    auto const host = Person(50);
    auto const internal = About(3);
    auto const going = About(1);
    auto const fresh = About(4);
    hidden->Reports({internal});
    first->Reports({going, fresh, nullptr});
    last->process = [](Meta const&) -> Scripted::Output { Fail(); };
    Meta const frame(At(1));
    frame.Append(host);
    ExpectFailure(frame);

    EXPECT_EQ(tests::Items(frame), (Items{host, internal, going, fresh, nullptr}))
        << "internal events stay and nothing is closed";
    EXPECT_TRUE(internal->IsInternal());
    EXPECT_TRUE(going->IsDuplicate());
    EXPECT_EQ(rules.Heard().size(), 1u) << "of 4";
    last->process = nullptr;
    ExpectPreviousEventsOfBefore();
}

TEST_F(NotifierFailuresTest, EventsOfAFailedPassAreNewAgainButRecorded) {
    first->Reports({About(4)});
    last->process = [](Meta const&) -> Scripted::Output { Fail(); };
    ExpectFailure(Meta(At(500)));
    last->process = nullptr;

    auto const again = About(4);
    first->Reports({again});
    Meta const frame(At(1499));
    rules.notifier.Process(frame);
    EXPECT_FALSE(again->IsDuplicate());
    EXPECT_EQ(tests::Items(frame).size(), 2u) << "dropped; 1 and 2 are closed";
    EXPECT_EQ(rules.Heard().size(), 1u) << "in the failed pass";

    first->Reports({again});
    rules.notifier.Process(Meta(At(1500)));
    EXPECT_EQ(rules.Heard().size(), 1u);
}

TEST_F(NotifierFailuresTest, ExpiryOfAFailedPassStays) {
    hidden->process = [](Meta const&) -> Scripted::Output { Fail(); };
    ExpectFailure(Meta(At(1000)));
    hidden->process = nullptr;
    EXPECT_FALSE(IsRecorded(1, 10)) << "forgotten, though the clock has run back";
}

TEST_F(NotifierFailuresTest, EventsOfAFailedPassAreLetGo) {
    std::weak_ptr<Event> dropped;
    {
        auto const event = MakeEvent(4, At(0), At(0), {});
        dropped = event;
        first->Reports({About(1), event});
        last->process = [](Meta const&) -> Scripted::Output { Fail(); };
        ExpectFailure(Meta(At(1)));
    }
    EXPECT_FALSE(dropped.expired()) << "recorded";
    last->process = nullptr;
    hidden->process = [](Meta const&) -> Scripted::Output { Fail(); };
    ExpectFailure(Meta(At(5000)));
    EXPECT_TRUE(dropped.expired());
}

TEST_F(NotifierFailuresTest, ASubscriberThatThrowsStopsThePassBeforeTheEventIsInTheFrame) {
    auto const bound = first->Bind([](auto const&) { Fail(); });
    bool reached = false;
    auto const next = first->Bind([&](auto const&) { reached = true; });
    last->process = [&](Meta const&) {
        reached = true;
        return Scripted::Output{};
    };
    auto const going = About(1);
    auto const fresh = About(4);
    first->Reports({going, fresh, About(5)});
    Meta const frame(At(1));
    frame.Append(tests::Channel(7));
    tests::LogCapture capture;
    ExpectFailure(frame);

    EXPECT_EQ(tests::Items(frame).size(), 2u);
    EXPECT_EQ(tests::Items(frame).back(), going);
    EXPECT_EQ(fresh->GetObjects().size(), 3u) << "it has its channel";
    EXPECT_FALSE(reached);
    EXPECT_THAT(capture.Take(), IsEmpty());
    EXPECT_EQ(rules.Heard().size(), 1u) << "by the subscriber before";
    last->process = nullptr;
    ExpectPreviousEventsOfBefore();
}

TEST_F(NotifierFailuresTest, AnEventIsRecordedBeforeItsSubscribersHearOfIt) {
    auto const bound = first->Bind([](auto const&) { Fail(); });
    first->Reports({About(4), About(5)});
    ExpectFailure(Meta(At(1)));
    EXPECT_TRUE(IsRecorded(4, 2));
    EXPECT_FALSE(IsRecorded(5, 3)) << "its turn had not come";
}

TEST_F(NotifierFailuresTest, AnAugmentedMetaCallbackThatThrowsStopsThePass) {
    {
        auto const augmented =
            Observable::AddAugmentedMetaCallback([]() -> std::shared_ptr<object::Object> { Fail(); });
        first->Reports({About(1), About(4)});
        Meta const frame(At(1));
        ExpectFailure(frame);
        EXPECT_EQ(tests::Items(frame).size(), 1u);
        EXPECT_THAT(rules.Heard(), IsEmpty());
    }
    ExpectPreviousEventsOfBefore();
}

TEST_F(NotifierFailuresTest, ALogSinkThatThrowsStopsThePassBehindTheEventsOfTheLine) {
    bool reached = false;
    last->process = [&](Meta const&) {
        reached = true;
        return Scripted::Output{};
    };
    {
        tests::LogCapture const capture([](std::string const&) { Fail(); });
        first->Reports({About(1), About(4)});
        Meta const frame(At(1));
        ExpectFailure(frame);
        EXPECT_EQ(tests::Items(frame).size(), 2u);
        EXPECT_FALSE(reached);
        EXPECT_EQ(rules.Heard().size(), 1u);
    }
    last->process = nullptr;
    ExpectPreviousEventsOfBefore();
}

TEST_F(NotifierFailuresTest, AnEventThatNobodyOwnsCannotBeToldOf) {
    Event event(1000, "", "", "", At(0), At(0), {});
    std::shared_ptr<object::Object> const unowned(std::shared_ptr<void>(), &event);
    first->Reports({About(1), unowned});
    Meta const frame(At(1));
    EXPECT_THROW(rules.notifier.Process(frame), std::bad_weak_ptr);
    EXPECT_EQ(tests::Items(frame).size(), 1u);
    ExpectPreviousEventsOfBefore();
    rules.notifier.Process(Meta(At(100'000)));  // lets go of what is recorded
}

TEST_F(NotifierFailuresTest, AnInternalOrContinuedEventThatNobodyOwnsIsFine) {
    Event internal(1000, "", "", "", At(0), At(0), {});
    Event continued(1, "", "", "", At(0), At(0), {});
    hidden->Reports({std::shared_ptr<object::Object>(std::shared_ptr<void>(), &internal)});
    first->Reports({std::shared_ptr<object::Object>(std::shared_ptr<void>(), &continued)});
    Meta const frame(At(1));
    rules.notifier.Process(frame);
    EXPECT_EQ(tests::Items(frame).size(), 2u) << "with the final copy of 2";
    rules.notifier.Process(Meta(At(2)));
    rules.notifier.Process(Meta(At(100'000)));
}

TEST_F(NotifierFailuresTest, WhereverMemoryRunsOutTheNextFrameIsTakenAsIfTheFailedOneHadNotBeen) {
    // The first allocation to fail is the first of the pass, then the second, and so on until none fails.
    std::size_t failed = 0;
    for (bool done = false; !done;) {
        RuleSet memory;
        memory.notifier.SetEventRetriggerTime(milliseconds(1000));
        auto const internal = memory.AddInternal("internal", 20);
        auto const rule = memory.Add("rule", 21);
        auto const ended = About(3);
        internal->Reports({About(1), About(2)});
        rule->Reports({ended, About(4)});
        memory.notifier.Process(Meta(At(0)));

        Items const reportedInternal{About(1), About(5)};
        Items const reported{About(4), About(6), nullptr, About(7)};
        internal->Reports(reportedInternal);
        rule->Reports(reported);
        Meta const frame(At(1));
        frame.Append(tests::Channel(9));
        done = !tests::FailsForLackOfMemory(failed, [&] { memory.notifier.Process(frame); });
        auto items = tests::Items(frame);
        if (done) {
            ASSERT_EQ(items.size(), 6u);
            break;
        }
        ++failed;
        items.erase(items.begin());  // the channel
        Items all = reportedInternal;
        all.insert(all.end(), reported.begin(), reported.end());
        for (std::size_t place = 0; place < items.size(); ++place) {
            if (place < all.size()) {
                ASSERT_EQ(items[place], all[place]);
            } else {
                ASSERT_TRUE(place == all.size() && items[place]->As<Event>().IsFinal());
            }
        }

        // 1 and 4 go on; 2 and 3 end; 5, 6 and 7 were never there.
        auto const going = About(4);
        internal->Reports({});
        rule->Reports({going});
        Meta const next(At(2000));
        memory.notifier.Process(next);
        auto const left = tests::Items(next);
        ASSERT_EQ(left.size(), 2u) << "after failure " << failed;
        ASSERT_EQ(left[0], going);
        ASSERT_TRUE(going->IsDuplicate());
        ASSERT_EQ(left[1]->As<Event>().GetId(), 3u);
        ASSERT_TRUE(left[1]->As<Event>().IsFinal());
        ASSERT_FALSE(ended->IsFinal());
    }
    EXPECT_GT(failed, 10u);
}

TEST_F(NotifierFailuresTest, WhereverMemoryRunsOutWhenARuleIsAddedTheRuleSetStaysWhole) {
    std::size_t failed = 0;
    for (bool done = false; !done; ++failed) {
        Notifier notifier;
        auto const one = std::make_shared<Scripted>();
        auto const two = std::make_shared<Scripted>();
        auto const added = notifier.AddObservable(one);
        type::Binding binding;
        done = !tests::FailsForLackOfMemory(failed, [&] { binding = notifier.AddObservable(two); });
        auto const path = notifier.GetObservables();
        EXPECT_EQ(path, done ? (std::vector<std::shared_ptr<Observable>>{one, two})
                             : (std::vector<std::shared_ptr<Observable>>{one}));
    }
    EXPECT_GT(failed, 3u);
}

// ---- Calls from inside ----------------------------------------------------------------------------------------------

struct Call {
    char const* name;
    std::function<void(Notifier&)> call;
};

class NotifierCallBackTest : public testing::TestWithParam<Call> {
protected:
    /// Calls, which must be refused at once.
    void ExpectRefusal() {
        ++refusals;
        try {
            GetParam().call(notifier);
            ADD_FAILURE() << "not refused";
        } catch (std::system_error const& error) {
            EXPECT_EQ(error.code(), std::errc::resource_deadlock_would_occur);
        }
    }

    /// Nothing has changed, and all works as before.
    void ExpectAllIsWell() {
        EXPECT_GT(refusals, 0);
        EXPECT_EQ(notifier.GetObservables(), (std::vector<std::shared_ptr<Observable>>{rule}));
        rule->process = nullptr;
        Meta const frame(At(0));
        notifier.Process(frame);
        EXPECT_THAT(tests::Items(frame), IsEmpty());
        GetParam().call(notifier);
    }

    int refusals = 0;
    Notifier notifier;
    std::shared_ptr<Scripted> const rule = [] {
        auto made = std::make_shared<Scripted>();
        made->SetId(7);
        return made;
    }();
    type::Binding const binding = notifier.AddObservable(rule);
};

TEST_P(NotifierCallBackTest, IsRefusedToAnObservable) {
    rule->process = [&](Meta const&) {
        ExpectRefusal();
        return Scripted::Output{Person(1)};
    };
    Meta const frame(At(0));
    notifier.Process(frame);
    EXPECT_EQ(tests::Items(frame).size(), 1u) << "the pass goes on";
    ExpectAllIsWell();
}

TEST_P(NotifierCallBackTest, IsRefusedToASubscriberAndAnAugmentedMetaCallback) {
    rule->process = [&](Meta const&) {
        auto event = MakeEvent(At(0), At(0), {});
        event->SetFinal(true);
        return Scripted::Output{std::move(event)};
    };
    auto const bound = rule->Bind([&](auto const&) { ExpectRefusal(); });
    {
        auto const augmented = Observable::AddAugmentedMetaCallback([&] {
            ExpectRefusal();
            return nullptr;
        });
        notifier.Process(Meta(At(0)));
    }
    EXPECT_EQ(refusals, 2);
    ExpectAllIsWell();
}

TEST_P(NotifierCallBackTest, IsRefusedToALogSink) {
    rule->process = [&](Meta const&) {
        auto event = MakeEvent(At(0), At(0), {});
        event->SetFinal(true);
        return Scripted::Output{std::move(event)};
    };
    {
        tests::LogCapture const capture([&](std::string const&) { ExpectRefusal(); });
        notifier.Process(Meta(At(0)));
        EXPECT_EQ(refusals, 1);
        auto const other = std::make_shared<Scripted>();
        auto const added = notifier.AddObservable(other);
        EXPECT_EQ(refusals, 2) << "the line of the graph";
        notifier.RemoveObservable(other);
    }
    ExpectAllIsWell();
}

TEST_P(NotifierCallBackTest, IsRefusedToAnObservableThatIsAskedForItsInputs) {
    struct Asking : Scripted {
        std::vector<unsigned int> GetDependents() const override {
            if (asked) {
                asked();
            }
            return {};
        }
        std::function<void()> asked;
    };
    auto const asking = std::make_shared<Asking>();
    asking->asked = [&] { ExpectRefusal(); };
    {
        auto const added = notifier.AddObservable(asking);
        notifier.ObservableChanged(rule);
    }
    asking->asked = nullptr;
    notifier.RemoveObservable(asking);
    EXPECT_EQ(refusals, 2);
    ExpectAllIsWell();
}

TEST_P(NotifierCallBackTest, LeavesAPassThatItEndsInTheStatedState) {
    rule->process = [&](Meta const&) {
        ++refusals;
        GetParam().call(notifier);
        return Scripted::Output{};
    };
    EXPECT_THROW(notifier.Process(Meta(At(0))), std::system_error);
    ExpectAllIsWell();
}

INSTANTIATE_TEST_SUITE_P(
    Notifier, NotifierCallBackTest,
    testing::Values(
        Call{"AddObservable",
             [](Notifier& notifier) { auto const added = notifier.AddObservable(std::make_shared<Scripted>()); }},
        Call{"RemoveObservable",
             [](Notifier& notifier) { notifier.RemoveObservable(notifier.GetObservables().front()); }},
        Call{"RemoveObservableOfItsOwn",
             [](Notifier& notifier) {
                 auto const same = std::make_shared<Scripted>();
                 same->SetId(7);
                 notifier.RemoveObservable(same);
             }},
        Call{"RemoveObservableId", [](Notifier& notifier) { notifier.RemoveObservableId(7); }},
        Call{"ObservableChanged",
             [](Notifier& notifier) {
                 auto const same = std::make_shared<Scripted>();
                 same->SetId(7);
                 notifier.ObservableChanged(same);
             }},
        Call{"GetObservables", [](Notifier& notifier) { (void)notifier.GetObservables(); }},
        Call{"SetEventRetriggerTime", [](Notifier& notifier) { notifier.SetEventRetriggerTime(milliseconds(5)); }},
        Call{"Process", [](Notifier& notifier) { notifier.Process(Meta(At(0))); }}),
    [](auto const& tested) { return std::string(tested.param.name); });

TEST(NotifierNestingTest, ANotifierMayBeUsedFromInsideThePassOfAnother) {
    RuleSet outer;
    RuleSet inner;
    auto const rule = inner.Add("inner", 1);
    auto const calling = outer.Add("outer", 1);
    calling->process = [&](Meta const& frame) {
        rule->Reports({About(5)});
        inner.notifier.Process(frame);
        return Scripted::Output{About(6)};
    };
    Meta const frame(At(0));
    outer.notifier.Process(frame);
    EXPECT_EQ(tests::Items(frame).size(), 2u);
    EXPECT_EQ(inner.Heard().size(), 1u);
}

TEST(NotifierNestingTest, AnotherThreadWaitsForTheEndOfThePass) {
    RuleSet rules;
    auto const rule = rules.Add("rule", 1);
    std::vector<std::string> order;
    std::thread other;
    rule->process = [&](Meta const&) {
        other = std::thread([&] {
            rules.notifier.SetEventRetriggerTime(milliseconds(1));
            order.push_back("other");
        });
        return Scripted::Output{About(1)};
    };
    auto const bound = rule->Bind([&](auto const&) { order.push_back("pass"); });
    rules.notifier.Process(Meta(At(0)));
    other.join();
    EXPECT_THAT(order, ElementsAre("pass", "other"));
}

// ---- Bindings that are dropped inside -------------------------------------------------------------------------------

class NotifierDroppedBindingTest : public testing::Test {
protected:
    NotifierDroppedBindingTest() {
        auto const made = std::make_shared<Scripted>();
        owned = made;
        binding = notifier.AddObservable(made);
        notifier.RemoveObservable(made);
    }

    /// Drops the binding, which must not take effect yet.
    void Drop() {
        binding.Reset();
        EXPECT_FALSE(owned.expired());
    }

    Notifier notifier;
    std::weak_ptr<Scripted> owned;  // by nothing but the binding
    type::Binding binding;
    std::shared_ptr<Scripted> const rule = std::make_shared<Scripted>();
    type::Binding const ruleBinding = notifier.AddObservable(rule);
};

TEST_F(NotifierDroppedBindingTest, TakeEffectAtTheEndOfThePass) {
    rule->process = [&](Meta const&) {
        Drop();
        return Scripted::Output{};
    };
    notifier.Process(Meta(At(0)));
    EXPECT_TRUE(owned.expired());
}

TEST_F(NotifierDroppedBindingTest, TakeEffectAtTheEndOfAPassThatFails) {
    rule->process = [&](Meta const&) -> Scripted::Output {
        Drop();
        Fail();
    };
    EXPECT_THROW(notifier.Process(Meta(At(0))), std::domain_error);
    EXPECT_TRUE(owned.expired());
}

TEST_F(NotifierDroppedBindingTest, TakeEffectForTheIdThatTheRuleHasAtTheEnd) {
    rule->process = [&](Meta const&) {
        Drop();
        owned.lock()->SetId(1'000'000);
        return Scripted::Output{};
    };
    notifier.Process(Meta(At(0)));
    EXPECT_FALSE(owned.expired());
}

TEST_F(NotifierDroppedBindingTest, TakeEffectAtTheEndOfAnotherCallToo) {
    tests::LogCapture const capture([&](std::string const&) { Drop(); });
    auto const added = notifier.AddObservable(std::make_shared<Scripted>());
    EXPECT_TRUE(owned.expired());
}

TEST_F(NotifierDroppedBindingTest, MayBeThatOfTheObservableThatRuns) {
    std::weak_ptr<Scripted> running;
    type::Binding own;
    {
        auto const made = std::make_shared<Scripted>();
        running = made;
        own = notifier.AddObservable(made);
        made->process = [&](Meta const&) {
            own.Reset();
            return Scripted::Output{About(5)};
        };
    }
    Meta const frame(At(0));
    notifier.Process(frame);
    EXPECT_EQ(tests::Items(frame).size(), 1u);
    EXPECT_FALSE(running.expired()) << "it is in the graph";
    notifier.RemoveObservable(running.lock());
    EXPECT_TRUE(running.expired());
}

TEST_F(NotifierDroppedBindingTest, MayAllBeDroppedAtOnceWithoutMemory) {
    std::vector<std::weak_ptr<Scripted>> all;
    std::vector<type::Binding> bindings;
    for (int left = 100; left > 0; --left) {
        auto const made = std::make_shared<Scripted>();
        all.push_back(made);
        bindings.push_back(notifier.AddObservable(made));
        notifier.RemoveObservable(made);
    }
    rule->process = [&](Meta const&) {
        EXPECT_EQ(tests::AllocationsOf([&] { bindings.clear(); }), 0u);
        return Scripted::Output{};
    };
    notifier.Process(Meta(At(0)));
    for (auto const& each : all) {
        EXPECT_TRUE(each.expired());
    }
}

TEST(NotifierBindingsTest, MayBeDroppedInsideAPassWithoutMemoryDownToTheLast) {
    for (std::size_t const count : {1u, 2u, 7u}) {
        SCOPED_TRACE(count);
        Notifier notifier;
        std::vector<std::shared_ptr<Scripted>> rules;
        std::vector<type::Binding> bindings;
        for (std::size_t left = count; left > 0; --left) {
            rules.push_back(std::make_shared<Scripted>());
            bindings.push_back(notifier.AddObservable(rules.back()));
        }
        rules.back()->process = [&](Meta const&) {
            EXPECT_EQ(tests::AllocationsOf([&] { bindings.clear(); }), 0u);
            return Scripted::Output{};
        };
        notifier.Process(Meta(At(0)));
        EXPECT_THAT(bindings, IsEmpty());
    }
}

TEST(NotifierBindingsTest, ThatAreGoneLeaveNothingBehind) {
    Notifier notifier;
    auto const rule = std::make_shared<Scripted>();
    auto const addAndDrop = [&](int times) {
        for (int left = times; left > 0; --left) {
            auto const binding = notifier.AddObservable(rule);
            notifier.RemoveObservable(rule);
        }
    };
    addAndDrop(10);
    auto const before = tests::LiveBytes();
    addAndDrop(1000);
    EXPECT_EQ(tests::LiveBytes(), before);
}

TEST_F(NotifierDroppedBindingTest, OfAnotherThreadWaitForTheEndOfThePass) {
    std::thread other;
    rule->process = [&](Meta const&) {
        other = std::thread([&] { binding.Reset(); });
        return Scripted::Output{About(5)};
    };
    auto const bound = rule->Bind([&](auto const&) { EXPECT_FALSE(owned.expired()); });
    notifier.Process(Meta(At(0)));
    other.join();
    EXPECT_TRUE(owned.expired());
}

/// What a destructor does with a notifier, and what somebody inside a pass does to it.
class LastWill : public Scripted {
public:
    LastWill(unsigned int id, std::function<void()> will) : will(std::move(will)) { SetId(id); }
    ~LastWill() override { will(); }

private:
    std::function<void()> will;
};

class NotifierEndsTest : public testing::Test {
protected:
    /// Adds a rule that only the graph keeps, and that uses the notifier when it goes.
    void AddWill() {
        notifier
            .AddObservable(std::make_shared<LastWill>(1,
                                                      [this] {
                                                          notifier.SetEventRetriggerTime(milliseconds(1));
                                                          ++wills;
                                                      }))
            .Reset();
    }

    Notifier notifier;
    int wills = 0;
};

TEST_F(NotifierEndsTest, ARuleRemovedByItsIdMayUseTheNotifierThoughACycleKeepsThePathEmpty) {
    AddWill();
    auto const cyclic = std::make_shared<Scripted>();
    cyclic->SetId(2);
    auto const binding = notifier.AddObservable(cyclic);
    cyclic->dependents = {2};
    EXPECT_THROW(notifier.ObservableChanged(cyclic), std::runtime_error);
    ASSERT_THAT(notifier.GetObservables(), IsEmpty());

    auto const sameId = std::make_shared<Scripted>();
    sameId->SetId(1);
    EXPECT_THAT([&] { notifier.RemoveObservable(sameId); },
                ThrowsMessage<std::runtime_error>("A cycle within the rule was detected"));
    EXPECT_EQ(wills, 1);

    EXPECT_THROW(AddWill(), std::runtime_error);
    EXPECT_EQ(wills, 1) << "after the failure the notifier owns it";
    cyclic->dependents = {};
    notifier.ObservableChanged(cyclic);
    EXPECT_EQ(notifier.GetObservables().size(), 2u);
}

TEST(NotifierEndTest, MayComeFromASubscriberInsideItsPass) {
    auto notifier = std::make_unique<Notifier>();
    auto rule = std::make_shared<Scripted>("rule", [](Meta const&) { return Items{About(7)}; });
    std::weak_ptr<Scripted> const weak = rule;
    auto const heard = rule->Bind([&](auto const&) { notifier.reset(); });
    auto const binding = notifier->AddObservable(std::move(rule));
    Meta const frame(At(0));
    notifier->Process(frame);
    EXPECT_EQ(tests::Items(frame).size(), 1u);
    EXPECT_EQ(notifier, nullptr);
    EXPECT_TRUE(weak.expired());
}

TEST(NotifierEndTest, MayComeFromARuleInsideItsPass) {
    auto notifier = std::make_unique<Notifier>();
    auto const binding = notifier->AddObservable(std::make_shared<Scripted>("rule", [&](Meta const&) {
        notifier.reset();
        return Items{About(7)};
    }));
    Meta const frame(At(0));
    notifier->Process(frame);
    EXPECT_EQ(tests::Items(frame).size(), 1u);
}

TEST(NotifierInputsTest, ThatCannotBeAskedForLeaveTheRuleSetAsItWas) {
    class Mute : public Scripted {
    public:
        std::vector<unsigned int> GetDependents() const override {
            if (fails) {
                Fail();
            }
            return {};
        }
        bool fails = false;
    };
    Notifier notifier;
    auto const first = std::make_shared<Scripted>();
    auto const mute = std::make_shared<Mute>();
    auto const firstBinding = notifier.AddObservable(first);
    auto const muteBinding = notifier.AddObservable(mute);
    mute->fails = true;
    auto const other = std::make_shared<Scripted>();
    std::weak_ptr<Scripted> owned;
    {
        auto const refused = std::make_shared<Scripted>();
        owned = refused;
        EXPECT_THROW(static_cast<void>(notifier.AddObservable(refused)), std::domain_error);
    }
    EXPECT_FALSE(owned.expired()) << "after a failure the notifier owns it";
    EXPECT_THROW(notifier.ObservableChanged(first), std::domain_error);
    EXPECT_THROW(notifier.RemoveObservable(first), std::domain_error);
    EXPECT_THROW(notifier.RemoveObservableId(first->GetId()), std::domain_error);
    EXPECT_THAT(notifier.GetObservables(), ElementsAre(first, mute));
    mute->fails = false;
    auto const otherBinding = notifier.AddObservable(other);
    EXPECT_THAT(notifier.GetObservables(), ElementsAre(first, mute, other));
}

TEST(NotifierAddTest, ALogSinkThatThrowsLeavesTheRuleSetAsItWas) {
    Notifier notifier;
    auto const first = std::make_shared<Scripted>();
    auto const firstBinding = notifier.AddObservable(first);
    auto const second = std::make_shared<Scripted>();
    {
        tests::LogCapture const log([](std::string const&) { Fail(); });
        EXPECT_THROW(static_cast<void>(notifier.AddObservable(second)), std::domain_error);
    }
    EXPECT_THAT(notifier.GetObservables(), ElementsAre(first));
    EXPECT_EQ(second.use_count(), 2) << "the notifier owns it";
    auto const secondBinding = notifier.AddObservable(second);
    EXPECT_THAT(notifier.GetObservables(), ElementsAre(first, second));
}

}  // namespace
}  // namespace qel::observable
