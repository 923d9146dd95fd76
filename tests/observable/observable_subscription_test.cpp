#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "observable/observable.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/threads.hpp"

namespace qel::observable {
namespace {

using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;
using tests::At;
using tests::MakeEvent;
using tests::Person;
using tests::Scripted;
using type::Binding;

using EventPointer = std::shared_ptr<Event>;
using Objects = Event::Objects;

char const* const refusal = "Cannot insert invalid functions into the Callbacks";

/// Whether another thread can lock the mutex.
bool IsFree(std::recursive_mutex& mutex) {
    return tests::OnAnotherThread([&] { return std::unique_lock(mutex, std::try_to_lock).owns_lock(); });
}

EventPointer AnEvent() { return MakeEvent(At(0), At(0), {}); }

/// An observable whose subscribers note their names when they are called.
class ObservableSubscription : public testing::Test {
protected:
    Observable::Callback Noting(std::string name) {
        return [this, name = std::move(name)](EventPointer const&) { calls.push_back(name); };
    }

    Binding Bind(std::string name) { return observable->Bind(Noting(std::move(name))); }

    /// Who is called by one notification, in order.
    std::vector<std::string> CalledBy(Observable const& notifier) {
        calls.clear();
        notifier.Notify(AnEvent());
        return std::exchange(calls, {});
    }
    std::vector<std::string> Called() { return CalledBy(*observable); }

    /// Whether another thread can subscribe, augment and notify: the locks are free.
    void ExpectLocksAreFree() {
        std::thread([this] {
            auto const bound = observable->Bind([](EventPointer const&) {});
            auto const augmenting = Observable::AddAugmentedMetaCallback([] { return nullptr; });
            Scripted().Notify(AnEvent());
        }).join();
    }

    /// Whether a thread that adds an augmented-meta callback during a notification has to wait for its end.
    bool AugmentingWaits() {
        std::atomic<bool> asking = false;
        std::atomic<bool> over = false;
        bool waited = false;
        std::thread other;
        auto const a = observable->Bind([&](EventPointer const&) {
            other = std::thread([&] {
                asking = true;
                auto const augmenting = Observable::AddAugmentedMetaCallback([] { return nullptr; });
                waited = over;
            });
            while (!asking) {
                std::this_thread::yield();
            }
            for (int i = 0; i < 1000; ++i) {  // time enough for the other to come through, were it not locked
                std::this_thread::yield();
            }
            over = true;
        });
        observable->Notify(AnEvent());
        other.join();
        return waited;
    }

    std::vector<std::string> calls;
    std::shared_ptr<Scripted> observable = std::make_shared<Scripted>();
};

// Slots

TEST_F(ObservableSubscription, SubscribersAreCalledInTheOrderOfTheirSlots) {
    auto const a = Bind("a");
    auto const b = Bind("b");
    auto const c = Bind("c");
    EXPECT_THAT(Called(), ElementsAre("a", "b", "c"));
}

TEST_F(ObservableSubscription, AFreedIdIsUsedAgain) {
    auto const a = Bind("a");
    auto b = Bind("b");
    auto const c = Bind("c");
    b.Reset();
    auto const d = Bind("d");
    EXPECT_THAT(Called(), ElementsAre("a", "d", "c"));
    observable->Unbind(1);
    EXPECT_THAT(Called(), ElementsAre("a", "c"));
}

TEST_F(ObservableSubscription, TheLowestFreeIdIsUsedFirstAndThenANewOne) {
    std::vector<Binding> bindings;
    for (char const* const name : {"a", "b", "c", "d"}) {
        bindings.push_back(Bind(name));
    }
    observable->Unbind(2);
    observable->Unbind(0);
    EXPECT_THAT(Called(), ElementsAre("b", "d"));
    auto const e = Bind("e");
    EXPECT_THAT(Called(), ElementsAre("e", "b", "d"));
    auto const f = Bind("f");
    EXPECT_THAT(Called(), ElementsAre("e", "b", "f", "d"));
    auto const g = Bind("g");
    EXPECT_THAT(Called(), ElementsAre("e", "b", "f", "d", "g"));
}

TEST_F(ObservableSubscription, FreeSlotsAtTheEndStayAndAreUsedAgain) {
    auto a = Bind("a");
    auto b = Bind("b");
    b.Reset();
    a.Reset();
    auto const c = Bind("c");
    auto const d = Bind("d");
    EXPECT_THAT(Called(), ElementsAre("c", "d"));
    observable->Unbind(0);
    EXPECT_THAT(Called(), ElementsAre("d"));
}

TEST_F(ObservableSubscription, UnbindingAnUnknownOrFreeIdDoesNothing) {
    auto const a = Bind("a");
    auto b = Bind("b");
    auto const c = Bind("c");
    b.Reset();
    for (std::uint32_t const id : {std::uint32_t{1}, std::uint32_t{3}, std::uint32_t{99}, UnsetId}) {
        EXPECT_NO_THROW(observable->Unbind(id)) << id;
    }
    EXPECT_THAT(Called(), ElementsAre("a", "c"));
}

TEST_F(ObservableSubscription, UnbindingByIdLeavesAHandleThatDoesNothing) {
    auto a = Bind("a");
    observable->Unbind(0);
    EXPECT_FALSE(observable->HasObservers());
    EXPECT_NO_THROW(a.Reset());
    EXPECT_THAT(Called(), IsEmpty());
}

TEST_F(ObservableSubscription, HasObserversWhileThereIsOne) {
    EXPECT_FALSE(observable->HasObservers());
    auto a = Bind("a");
    EXPECT_TRUE(observable->HasObservers());
    auto b = Bind("b");
    a.Reset();
    EXPECT_TRUE(observable->HasObservers());
    b.Reset();
    EXPECT_FALSE(observable->HasObservers());
}

TEST_F(ObservableSubscription, IsOfOneObservableOnly) {
    Scripted const other;
    auto const a = Bind("a");
    EXPECT_FALSE(other.HasObservers());
    EXPECT_THAT(CalledBy(other), IsEmpty());
}

TEST_F(ObservableSubscription, DroppingTheHandleAtOnceUnsubscribesAtOnce) {
    static_cast<void>(Bind("a"));
    EXPECT_FALSE(observable->HasObservers());
}

TEST_F(ObservableSubscription, OneFunctionMayBeBoundTwice) {
    auto const noting = Noting("a");
    auto const first = observable->Bind(noting);
    auto second = observable->Bind(noting);
    EXPECT_THAT(Called(), ElementsAre("a", "a"));
    second.Reset();
    EXPECT_THAT(Called(), ElementsAre("a"));
}

// Handles and lifetimes

TEST_F(ObservableSubscription, AHandleMayOutliveItsObservable) {
    auto a = Bind("a");
    observable.reset();
    EXPECT_NO_THROW(a.Reset());
}

TEST_F(ObservableSubscription, AHandleDoesNotKeepTheObservableOrItsSubscribersAlive) {
    auto const kept = std::make_shared<int>(0);
    std::weak_ptr<Observable> const weak = observable;
    auto const binding = observable->Bind([kept](EventPointer const&) {});
    observable.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(ObservableSubscription, TheCallbackIsDestroyedWhenItIsUnbound) {
    auto const kept = std::make_shared<int>(0);
    auto byHandle = observable->Bind([kept](EventPointer const&) {});
    auto const byId = observable->Bind([kept](EventPointer const&) {});
    EXPECT_EQ(kept.use_count(), 3);
    byHandle.Reset();
    EXPECT_EQ(kept.use_count(), 2);
    observable->Unbind(1);
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(ObservableSubscription, ACallbackMayHoldTheLastReferenceToItsObservable) {
    std::weak_ptr<Observable> const weak = observable;
    auto const& rule = *observable;
    auto binding = rule.Bind([owner = observable](EventPointer const&) {});
    observable.reset();
    ASSERT_FALSE(weak.expired());
    binding.Reset();
    EXPECT_TRUE(weak.expired());
}

TEST_F(ObservableSubscription, ACallbackThatHoldsTheLastReferenceMayBeUnboundById) {
    std::weak_ptr<Observable> const weak = observable;
    auto const& rule = *observable;
    auto const binding = rule.Bind([owner = observable](EventPointer const&) {});
    observable.reset();
    rule.Unbind(0);
    EXPECT_TRUE(weak.expired());
}

TEST_F(ObservableSubscription, ACallbackIsDestroyedWithoutTheLock) {
    struct AtEnd {
        explicit AtEnd(std::function<void()> act) : act(std::move(act)) {}
        ~AtEnd() { act(); }
        std::function<void()> act;
    };
    auto& mutex = *observable->GetLock().mutex();
    bool free = false;
    auto atEnd = std::make_shared<AtEnd>([&] { free = IsFree(mutex); });
    auto binding = observable->Bind([held = std::move(atEnd)](EventPointer const&) {});
    binding.Reset();
    EXPECT_TRUE(free);
}

// Bind, step by step

TEST_F(ObservableSubscription, ObserverAddedSeesTheCallbackBeforeItIsStored) {
    int added = 0;
    observable->observerAdded = [&](Observable::Callback const& callback) {
        ++added;
        EXPECT_FALSE(observable->HasObservers());
        callback(AnEvent());
    };
    auto const binding = Bind("a");
    EXPECT_EQ(added, 1);
    EXPECT_THAT(calls, ElementsAre("a"));
    EXPECT_TRUE(observable->HasObservers());
}

TEST_F(ObservableSubscription, ObserverAddedRunsWithoutTheLock) {
    observable->observerAdded = [&](Observable::Callback const&) {
        observable->observerAdded = nullptr;
        ExpectLocksAreFree();
    };
    auto const binding = Bind("a");
    EXPECT_TRUE(observable->HasObservers());
}

TEST_F(ObservableSubscription, ObserverAddedMayTakeTheSlot) {
    Binding first;
    observable->observerAdded = [&](Observable::Callback const&) {
        observable->observerAdded = nullptr;
        first = Bind("first");
    };
    auto const second = Bind("second");
    EXPECT_THAT(Called(), ElementsAre("first", "second"));
}

TEST_F(ObservableSubscription, WhatObserverAddedThrowsStopsTheSubscription) {
    observable->observerAdded = [](Observable::Callback const&) { throw std::runtime_error("full"); };
    EXPECT_THAT([&] { static_cast<void>(Bind("a")); }, ThrowsMessage<std::runtime_error>("full"));
    EXPECT_FALSE(observable->HasObservers());
    observable->observerAdded = nullptr;
    ExpectLocksAreFree();
}

TEST_F(ObservableSubscription, AnEmptyCallbackIsShownToObserverAddedAndThenRefused) {
    int added = 0;
    observable->observerAdded = [&](Observable::Callback const& callback) {
        ++added;
        EXPECT_FALSE(callback);
    };
    EXPECT_THAT([&] { static_cast<void>(observable->Bind(nullptr)); }, ThrowsMessage<std::invalid_argument>(refusal));
    EXPECT_EQ(added, 1);
    EXPECT_FALSE(observable->HasObservers());
    observable->observerAdded = nullptr;
    ExpectLocksAreFree();
}

TEST_F(ObservableSubscription, AnEmptyCallbackLeavesTheOthers) {
    auto const a = Bind("a");
    EXPECT_THROW(static_cast<void>(observable->Bind({})), std::invalid_argument);
    EXPECT_TRUE(observable->HasObservers());
    auto const b = Bind("b");
    EXPECT_THAT(Called(), ElementsAre("a", "b"));
    observable->Unbind(1);
    EXPECT_THAT(Called(), ElementsAre("a")) << "the refused one took no slot";
}

// Notify

TEST_F(ObservableSubscription, AllSubscribersShareTheOneEventThroughPointersOfTheirOwn) {
    auto const event = AnEvent();
    std::vector<Event const*> seen;
    auto const taker = [&](EventPointer given) {
        seen.push_back(given.get());
        given.reset();
    };
    auto const a = observable->Bind(taker);
    auto const b = observable->Bind(taker);
    observable->Notify(event);
    EXPECT_THAT(seen, ElementsAre(event.get(), event.get()));
    EXPECT_EQ(event.use_count(), 1);
}

TEST_F(ObservableSubscription, NotifyStampsNothing) {
    auto const person = Person(1);
    auto const event = MakeEvent(17, At(1), At(2), {person});
    event->SetDuplicate(true);
    auto const a = Bind("a");
    observable->Notify(event);
    EXPECT_EQ(event->GetId(), 17u);
    EXPECT_EQ(event->GetName(), "test");
    EXPECT_EQ(event->GetType(), "scripted");
    EXPECT_EQ(event->GetCategory(), "tests");
    EXPECT_EQ(event->GetStart(), At(1));
    EXPECT_EQ(event->GetEnd(), At(2));
    EXPECT_TRUE(event->IsDuplicate());
    EXPECT_FALSE(event->IsFinal());
    EXPECT_FALSE(event->IsInternal());
    EXPECT_THAT(event->GetObjects(), ElementsAre(person));
}

TEST_F(ObservableSubscription, AnExceptionReachesTheCallerAndTheRestAreNotCalled) {
    auto const a = Bind("a");
    auto thrower = observable->Bind([](EventPointer const&) { throw std::runtime_error("no room"); });
    auto const c = Bind("c");
    EXPECT_THAT([&] { observable->Notify(AnEvent()); }, ThrowsMessage<std::runtime_error>("no room"));
    EXPECT_THAT(calls, ElementsAre("a"));
    ExpectLocksAreFree();
    thrower.Reset();
    EXPECT_THAT(Called(), ElementsAre("a", "c"));
}

TEST_F(ObservableSubscription, ANullEventIsRefused) {
    auto const a = Bind("a");
    EXPECT_THAT([&] { observable->Notify(nullptr); },
                ThrowsMessage<std::invalid_argument>("Observable::Notify: the event must not be null"));
    EXPECT_THAT(calls, IsEmpty());
    ExpectLocksAreFree();
}

TEST_F(ObservableSubscription, NotifyHoldsTheLock) {
    auto& mutex = *observable->GetLock().mutex();
    bool free = true;
    auto const a = observable->Bind([&](EventPointer const&) { free = IsFree(mutex); });
    observable->Notify(AnEvent());
    EXPECT_FALSE(free);
    EXPECT_TRUE(IsFree(mutex));
}

TEST_F(ObservableSubscription, NotifyHoldsTheLockOfTheAugmentedMetaToItsEnd) { EXPECT_TRUE(AugmentingWaits()); }

TEST_F(ObservableSubscription, NotifyHoldsTheLocksAgainAfterAnException) {
    {
        auto const thrower = observable->Bind([](EventPointer const&) { throw std::runtime_error("no room"); });
        EXPECT_THROW(observable->Notify(AnEvent()), std::runtime_error);
    }
    EXPECT_TRUE(AugmentingWaits());
}

TEST_F(ObservableSubscription, NotifyHoldsTheLocksAfterAnInnerNotificationHasEnded) {
    Scripted const other;
    auto const inner = observable->Bind([&](EventPointer const& event) { other.Notify(event); });
    EXPECT_TRUE(AugmentingWaits());
}

// A subscriber changes the subscriptions

TEST_F(ObservableSubscription, ASubscriberMayUnbindItself) {
    auto const a = Bind("a");
    Binding self;
    self = observable->Bind([&, text = std::string("a text that lives in the callback")](EventPointer const&) {
        self.Reset();
        calls.push_back(text);
    });
    auto const c = Bind("c");
    EXPECT_THAT(Called(), ElementsAre("a", "a text that lives in the callback", "c"));
    EXPECT_THAT(Called(), ElementsAre("a", "c"));
}

TEST_F(ObservableSubscription, ASubscriberMayUnbindItselfById) {
    auto const self = observable->Bind([&, text = std::string("a text that lives in the callback")](auto const&) {
        observable->Unbind(0);
        calls.push_back(text);
    });
    EXPECT_THAT(Called(), ElementsAre("a text that lives in the callback"));
    EXPECT_FALSE(observable->HasObservers());
}

TEST_F(ObservableSubscription, ThoseUnboundBeforeTheirTurnAreSkipped) {
    Binding later;
    auto const a = observable->Bind([&](EventPointer const&) { later.Reset(); });
    later = Bind("later");
    auto const c = Bind("c");
    EXPECT_THAT(Called(), ElementsAre("c"));
}

TEST_F(ObservableSubscription, ThoseUnboundAfterTheirTurnHearNothingMore) {
    auto earlier = Bind("earlier");
    auto const b = observable->Bind([&](EventPointer const&) { earlier.Reset(); });
    EXPECT_THAT(Called(), ElementsAre("earlier"));
    EXPECT_THAT(Called(), IsEmpty());
}

TEST_F(ObservableSubscription, ThoseBoundDuringANotificationHearTheNextOne) {
    std::vector<Binding> more;
    auto a = observable->Bind([&](EventPointer const&) {
        if (more.empty()) {
            for (int i = 0; i < 100; ++i) {  // enough that the slots move
                more.push_back(Bind("later"));
            }
        }
        calls.push_back("a");
    });
    EXPECT_THAT(Called(), ElementsAre("a"));
    EXPECT_EQ(Called().size(), 101u);
}

TEST_F(ObservableSubscription, OneBoundIntoASlotThatIsStillToComeHearsTheNextOne) {
    Binding later;
    auto const a = observable->Bind([&](EventPointer const&) {
        later.Reset();
        later = Bind("new");
    });
    later = Bind("old");
    auto const c = Bind("c");
    EXPECT_THAT(Called(), ElementsAre("c"));
}

TEST_F(ObservableSubscription, OneBoundIntoAFreeSlotAheadHearsTheNextOne) {
    Binding added;
    auto const a = observable->Bind([&](EventPointer const&) {
        if (calls.empty()) {
            added = Bind("added");
        }
    });
    auto gap = Bind("gap");
    auto const c = Bind("c");
    gap.Reset();
    EXPECT_THAT(Called(), ElementsAre("c"));
    calls.emplace_back("full");
    observable->Notify(AnEvent());
    EXPECT_THAT(calls, ElementsAre("full", "added", "c"));
}

TEST_F(ObservableSubscription, ASubscriberMayTakeTheLockAndAskForObservers) {
    bool observers = false;
    auto const a = observable->Bind([&](EventPointer const&) {
        auto const lock = observable->GetLock();
        observers = lock.owns_lock() && observable->HasObservers();
    });
    observable->Notify(AnEvent());
    EXPECT_TRUE(observers);
    ExpectLocksAreFree();
}

TEST_F(ObservableSubscription, ASubscriberMayDropTheLastReferenceToItsObservable) {
    auto const a = Bind("a");
    auto const b = observable->Bind([&](EventPointer const&) { observable.reset(); });
    auto const c = Bind("c");
    Observable const& rule = *observable;
    rule.Notify(AnEvent());
    EXPECT_EQ(observable, nullptr);
    EXPECT_THAT(calls, ElementsAre("a", "c")) << "the notification is finished";
}

TEST_F(ObservableSubscription, ASubscriberThatOwnsItsObservableMayUnbindItself) {
    std::weak_ptr<Observable> const weak = observable;
    Observable const& rule = *observable;
    auto const a = Bind("a");
    Binding self;
    self = rule.Bind([&, owner = observable](EventPointer const&) {
        self.Reset();
        EXPECT_NE(owner, nullptr);
    });
    auto const c = Bind("c");
    observable.reset();
    rule.Notify(AnEvent());
    EXPECT_TRUE(weak.expired());
    EXPECT_THAT(calls, ElementsAre("a", "c"));
}

// A subscriber notifies

TEST_F(ObservableSubscription, ASubscriberMayNotifyTheSameObservable) {
    int depth = 0;
    auto const a = observable->Bind([&](EventPointer const& event) {
        calls.push_back("a" + std::to_string(depth));
        if (depth < 2) {
            ++depth;
            observable->Notify(event);
            --depth;
        }
    });
    auto const b = observable->Bind([&](EventPointer const&) { calls.push_back("b" + std::to_string(depth)); });
    EXPECT_THAT(Called(), ElementsAre("a0", "a1", "a2", "b2", "b1", "b0"));
    ExpectLocksAreFree();
}

TEST_F(ObservableSubscription, ASubscriberMayNotifyAnotherObservable) {
    Scripted other;
    auto const there = other.Bind(Noting("there"));
    auto const a = observable->Bind([&](EventPointer const& event) {
        calls.emplace_back("before");
        other.Notify(event);
        calls.emplace_back("after");
    });
    EXPECT_THAT(Called(), ElementsAre("before", "there", "after"));
    ExpectLocksAreFree();
}

TEST_F(ObservableSubscription, ANotificationMayComeBackThroughAnotherObservable) {
    Scripted other;
    auto const there = other.Bind([&](EventPointer const& event) {
        calls.emplace_back("there");
        if (calls.size() < 4) {
            observable->Notify(event);
        }
    });
    auto const here = observable->Bind([&](EventPointer const& event) {
        calls.emplace_back("here");
        other.Notify(event);
    });
    EXPECT_THAT(Called(), ElementsAre("here", "there", "here", "there"));
}

TEST_F(ObservableSubscription, OneBoundDuringANotificationHearsTheOneStartedInside) {
    Binding added;
    auto const a = observable->Bind([&](EventPointer const& event) {
        calls.emplace_back("a");
        if (calls.size() == 1) {
            added = Bind("added");
            observable->Notify(event);
        }
    });
    auto const b = Bind("b");
    EXPECT_THAT(Called(), ElementsAre("a", "a", "b", "added", "b"));
}

TEST_F(ObservableSubscription, OneUnboundInAnInnerNotificationIsSkippedByTheOuterOne) {
    Binding later;
    auto const a = observable->Bind([&](EventPointer const& event) {
        calls.emplace_back("a");
        if (calls.size() == 1) {
            observable->Notify(event);
        } else {
            later.Reset();
        }
    });
    later = Bind("later");
    EXPECT_THAT(Called(), ElementsAre("a", "a"));
}

TEST_F(ObservableSubscription, AnExceptionInsideAnInnerNotificationMayBeCaughtByTheSubscriber) {
    Scripted other;
    auto const there = other.Bind([](EventPointer const&) { throw std::runtime_error("inner"); });
    auto const a = observable->Bind([&](EventPointer const& event) {
        EXPECT_THAT([&] { other.Notify(event); }, ThrowsMessage<std::runtime_error>("inner"));
        auto const augmenting = Observable::AddAugmentedMetaCallback([] { return nullptr; });
    });
    auto const b = Bind("b");
    EXPECT_THAT(Called(), ElementsAre("b"));
    ExpectLocksAreFree();
}

TEST_F(ObservableSubscription, AnExceptionPassesThroughTheOuterNotificationAndReleasesEveryLock) {
    Scripted other;
    auto const there = other.Bind([](EventPointer const&) { throw std::runtime_error("inner"); });
    auto const a = observable->Bind([&](EventPointer const& event) { other.Notify(event); });
    auto const b = Bind("b");
    EXPECT_THAT([&] { observable->Notify(AnEvent()); }, ThrowsMessage<std::runtime_error>("inner"));
    EXPECT_THAT(calls, IsEmpty());
    ExpectLocksAreFree();
}

// Augmented meta

using ObservableAugmentedMeta = ObservableSubscription;

TEST_F(ObservableAugmentedMeta, IsInTheEventBeforeTheFirstSubscriberRuns) {
    auto const person = Person(1);
    auto const augmented = Person(2);
    auto const event = MakeEvent(At(0), At(0), {person});
    Objects seen;
    auto const a = observable->Bind([&](EventPointer const& given) { seen = given->GetObjects(); });
    auto const augmenting = Observable::AddAugmentedMetaCallback([&] { return augmented; });
    observable->Notify(event);
    EXPECT_THAT(seen, ElementsAre(person, augmented));
    EXPECT_THAT(event->GetObjects(), ElementsAre(person, augmented)) << "the event itself has it, once";
}

TEST_F(ObservableAugmentedMeta, IsForTheEventsOfEveryObservableAlsoWithoutSubscribers) {
    auto const augmented = Person(2);
    auto const augmenting = Observable::AddAugmentedMetaCallback([&] { return augmented; });
    for (int i = 0; i < 2; ++i) {
        auto const event = AnEvent();
        Scripted().Notify(event);
        EXPECT_THAT(event->GetObjects(), ElementsAre(augmented));
    }
}

TEST_F(ObservableAugmentedMeta, EndsWithItsHandle) {
    auto augmenting = Observable::AddAugmentedMetaCallback([] { return Person(2); });
    augmenting.Reset();
    auto const event = AnEvent();
    observable->Notify(event);
    EXPECT_THAT(event->GetObjects(), IsEmpty());
}

TEST_F(ObservableAugmentedMeta, ComesInTheOrderOfTheSlotsTheLowestFreeOneUsedFirst) {
    std::vector<std::shared_ptr<object::Object>> const people{Person(0), Person(1), Person(2), Person(3), Person(4)};
    auto const augment = [&](int index) {
        return Observable::AddAugmentedMetaCallback([&, index] { return people[index]; });
    };
    std::vector<Binding> bindings;
    for (int index = 0; index < 3; ++index) {
        bindings.push_back(augment(index));
    }
    bindings[1].Reset();
    bindings[0].Reset();
    bindings.push_back(augment(3));
    auto event = AnEvent();
    observable->Notify(event);
    EXPECT_THAT(event->GetObjects(), ElementsAre(people[3], people[2]));
    bindings.push_back(augment(4));
    event = AnEvent();
    observable->Notify(event);
    EXPECT_THAT(event->GetObjects(), ElementsAre(people[3], people[4], people[2]));
}

TEST_F(ObservableAugmentedMeta, MayBeNullAndIsAppendedAsItIs) {
    auto const person = Person(1);
    auto const nothing = Observable::AddAugmentedMetaCallback([] { return nullptr; });
    auto const something = Observable::AddAugmentedMetaCallback([&] { return person; });
    auto const event = AnEvent();
    auto const a = Bind("a");
    observable->Notify(event);
    EXPECT_THAT(event->GetObjects(), ElementsAre(nullptr, person));
    EXPECT_THAT(calls, ElementsAre("a"));
}

TEST_F(ObservableAugmentedMeta, OfAnEmptyCallbackIsRefused) {
    EXPECT_THAT([] { static_cast<void>(Observable::AddAugmentedMetaCallback(nullptr)); },
                ThrowsMessage<std::invalid_argument>(refusal));
    ExpectLocksAreFree();
    auto const event = AnEvent();
    observable->Notify(event);
    EXPECT_THAT(event->GetObjects(), IsEmpty());
}

TEST_F(ObservableAugmentedMeta, ThatCannotBeMadeLeavesTheEventAsItIsAndCallsNobody) {
    auto const first = Observable::AddAugmentedMetaCallback([] { return Person(1); });
    auto second = Observable::AddAugmentedMetaCallback(
        []() -> std::shared_ptr<object::Object> { throw std::runtime_error("no position"); });
    auto const a = Bind("a");
    auto const event = AnEvent();
    EXPECT_THAT([&] { observable->Notify(event); }, ThrowsMessage<std::runtime_error>("no position"));
    EXPECT_THAT(event->GetObjects(), IsEmpty());
    EXPECT_THAT(calls, IsEmpty());
    second.Reset();
    ExpectLocksAreFree();
    EXPECT_THAT(Called(), ElementsAre("a"));
}

TEST_F(ObservableAugmentedMeta, MayBeAddedAndDroppedBySubscribers) {
    auto const person = Person(1);
    Binding augmenting;
    auto const a = observable->Bind([&](EventPointer const&) {
        if (calls.empty()) {
            augmenting = Observable::AddAugmentedMetaCallback([&] { return person; });
        } else {
            augmenting.Reset();
        }
        calls.emplace_back("a");
    });
    auto const first = AnEvent();
    observable->Notify(first);
    EXPECT_THAT(first->GetObjects(), IsEmpty()) << "added after the objects were collected";
    auto const second = AnEvent();
    observable->Notify(second);
    EXPECT_THAT(second->GetObjects(), ElementsAre(person)) << "dropped after the objects were collected";
    auto const third = AnEvent();
    observable->Notify(third);
    EXPECT_THAT(third->GetObjects(), IsEmpty());
    ExpectLocksAreFree();
}

TEST_F(ObservableAugmentedMeta, MayDropItselfAndAddOthersWhileItIsMade) {
    auto const once = Person(1);
    auto const afterwards = Person(2);
    Binding self;
    Binding other;
    self = Observable::AddAugmentedMetaCallback([&, kept = once] {
        self.Reset();
        other = Observable::AddAugmentedMetaCallback([&] { return afterwards; });
        return kept;
    });
    auto const first = AnEvent();
    observable->Notify(first);
    EXPECT_THAT(first->GetObjects(), ElementsAre(once));
    auto const second = AnEvent();
    observable->Notify(second);
    EXPECT_THAT(second->GetObjects(), ElementsAre(afterwards));
    ExpectLocksAreFree();
}

TEST_F(ObservableAugmentedMeta, DroppedBeforeItsTurnIsLeftOut) {
    Binding later;
    auto const person = Person(1);
    auto const first = Observable::AddAugmentedMetaCallback([&] {
        later.Reset();
        return person;
    });
    later = Observable::AddAugmentedMetaCallback([] { return Person(2); });
    auto const event = AnEvent();
    observable->Notify(event);
    EXPECT_THAT(event->GetObjects(), ElementsAre(person));
}

TEST_F(ObservableAugmentedMeta, MayNotifyBindAndUnbindWhileItIsMade) {
    Scripted other;
    auto const there = other.Bind(Noting("there"));
    bool inside = false;
    Binding added;
    auto const augmenting = Observable::AddAugmentedMetaCallback([&]() -> std::shared_ptr<object::Object> {
        if (!inside) {
            inside = true;
            other.Notify(AnEvent());
            observable->Unbind(0);
            added = Bind("added");
            inside = false;
        }
        return nullptr;
    });
    auto const a = Bind("a");
    EXPECT_THAT(Called(), ElementsAre("there", "added")) << "collecting comes before the subscribers' turn";
    ExpectLocksAreFree();
}

TEST_F(ObservableAugmentedMeta, IsAppendedByInnerNotificationsToo) {
    auto const person = Person(1);
    auto const augmenting = Observable::AddAugmentedMetaCallback([&] { return person; });
    Scripted other;
    auto const a = observable->Bind([&](EventPointer const& event) { other.Notify(event); });
    auto const event = AnEvent();
    observable->Notify(event);
    EXPECT_THAT(event->GetObjects(), ElementsAre(person, person)) << "once for each notification of the event";
}

TEST_F(ObservableAugmentedMeta, ReleasesItsCallbackWhenTheHandleIsDropped) {
    auto const kept = std::make_shared<int>(0);
    auto augmenting = Observable::AddAugmentedMetaCallback([kept] { return nullptr; });
    EXPECT_EQ(kept.use_count(), 2);
    augmenting.Reset();
    EXPECT_EQ(kept.use_count(), 1);
}

}  // namespace
}  // namespace qel::observable
