#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "observable/observable.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/threads.hpp"

// What these tests say beyond their expectations is for the thread sanitizer, and for the time limit of a test that
// hangs.

// Inside of notifications observables are locked in any order. They cannot lock each other out, since each of these
// threads also holds the mutex of the augmented-meta callbacks, but the sanitizer looks at pairs of mutexes only.
extern "C" char const* __tsan_default_suppressions() { return "deadlock:qel::observable::Observable::Notify\n"; }

namespace qel::observable {
namespace {

using meta::data::Event;
using tests::At;
using tests::MakeEvent;
using tests::Scripted;
using type::Binding;

using EventPointer = std::shared_ptr<Event>;

constexpr int rounds = 1000;

EventPointer AnEvent() { return MakeEvent(At(0), At(0), {}); }

/// Runs all of them at once, each on a thread of its own, to their ends.
void Together(std::vector<std::function<void()>> const& jobs) {
    tests::RunTogether(static_cast<int>(jobs.size()), [&](int index) { jobs[static_cast<std::size_t>(index)](); });
}

std::function<void()> Repeat(std::function<void()> once) {
    return [once = std::move(once)] {
        for (int i = 0; i < rounds; ++i) {
            once();
        }
    };
}

TEST(ObservableThreads, DrawDistinctIdsWithoutGaps) {
    constexpr int count = 8;
    std::vector<std::vector<std::uint32_t>> drawn(count);
    std::vector<std::function<void()>> jobs;
    for (auto& ids : drawn) {
        jobs.push_back(Repeat([&ids] { ids.push_back(Scripted().GetId()); }));
    }
    std::uint32_t const before = Scripted().GetId();
    Together(jobs);

    std::set<std::uint32_t> all;
    for (auto const& ids : drawn) {
        all.insert(ids.begin(), ids.end());
    }
    EXPECT_EQ(all.size(), std::size_t{count} * rounds);
    EXPECT_EQ(*all.begin(), before + 1);
    EXPECT_EQ(*all.rbegin(), before + count * rounds);
}

TEST(ObservableThreads, BindUnbindAndNotifyAtTheSameTime) {
    auto const observable = std::make_shared<Scripted>();
    int heard = 0;  // written under the lock that a notification holds
    auto const always = observable->Bind([&](EventPointer const&) { ++heard; });
    std::atomic<int> passing = 0;
    auto const notify = Repeat([&] { observable->Notify(AnEvent()); });
    auto const bindAndUnbind = Repeat([&] {
        auto const binding = observable->Bind([&](EventPointer const&) { ++passing; });
        EXPECT_TRUE(observable->HasObservers());
    });
    Together({notify, notify, bindAndUnbind, bindAndUnbind});

    EXPECT_EQ(heard, 2 * rounds) << "one call for each notification";
    passing = 0;
    observable->Notify(AnEvent());
    EXPECT_EQ(passing, 0) << "every handle has unbound its own";
}

TEST(ObservableThreads, NoSubscriberIsCalledAfterItsHandleHasGone) {
    auto const observable = std::make_shared<Scripted>();
    auto const bindAndUnbind = Repeat([&] {
        auto alive = std::make_unique<int>(0);
        auto binding = observable->Bind([&used = *alive](EventPointer const&) { ++used; });
        binding.Reset();  // waits for a notification that is under way
        alive.reset();
    });
    Together({Repeat([&] { observable->Notify(AnEvent()); }), bindAndUnbind, bindAndUnbind});
    EXPECT_FALSE(observable->HasObservers());
}

TEST(ObservableThreads, AugmentAndNotifyAtTheSameTime) {
    Scripted const one;
    Scripted const other;
    auto const always = Observable::AddAugmentedMetaCallback([] { return nullptr; });
    auto const notify = [](Observable const& observable) {
        return Repeat([&] {
            auto const event = AnEvent();
            observable.Notify(event);
            EXPECT_GE(event->GetObjects().size(), 1u);
            EXPECT_LE(event->GetObjects().size(), 3u);
        });
    };
    auto const augment =
        Repeat([] { auto const binding = Observable::AddAugmentedMetaCallback([] { return nullptr; }); });
    Together({notify(one), notify(other), augment, augment});

    auto const event = AnEvent();
    one.Notify(event);
    EXPECT_EQ(event->GetObjects().size(), 1u);
}

TEST(ObservableThreads, SubscribersMayNotifyEachOthersObservables) {
    Scripted const one;
    Scripted const other;
    int heard = 0;  // written under the lock of the augmented-meta callbacks, which every notification holds
    bool inside = false;
    auto const passOn = [&](Observable const& to) {
        return [&](EventPointer const& event) {
            ++heard;
            if (!inside) {
                inside = true;
                to.Notify(event);
                inside = false;
            }
        };
    };
    auto const there = one.Bind(passOn(other));
    auto const back = other.Bind(passOn(one));
    Together({Repeat([&] { one.Notify(AnEvent()); }), Repeat([&] { other.Notify(AnEvent()); })});
    EXPECT_EQ(heard, 4 * rounds);
}

TEST(ObservableThreads, SubscribersMayBindAndUnbindOnObservablesThatOthersNotify) {
    Scripted const one;
    Scripted const other;
    auto const bindAt = [](Observable const& to) {
        return [&](EventPointer const&) {
            auto const binding = to.Bind([](EventPointer const&) {});
            auto const augmenting = Observable::AddAugmentedMetaCallback([] { return nullptr; });
        };
    };
    auto const there = one.Bind(bindAt(other));
    auto const back = other.Bind(bindAt(one));
    Together({Repeat([&] { one.Notify(AnEvent()); }), Repeat([&] { other.Notify(AnEvent()); })});
    EXPECT_TRUE(one.HasObservers());
    EXPECT_TRUE(other.HasObservers());
}

TEST(ObservableThreads, AHandleMayGoWhileItsObservableGoes) {
    for (int i = 0; i < rounds / 10; ++i) {
        auto observable = std::make_shared<Scripted>();
        auto binding = observable->Bind([](EventPointer const&) {});
        Together({[&] { observable.reset(); }, [&] { binding.Reset(); }});
    }
}

TEST(ObservableThreads, SettingsMayBeChangedUnderTheLockOfTheObservable) {
    Scripted observable;
    Together({Repeat([&] {
                  auto const lock = observable.GetLock();
                  observable.SetId(observable.GetId() + 1);
                  observable.SetName(std::to_string(observable.GetId()));
                  observable.SetTriggersAction(!observable.GetTriggersAction());
              }),
              Repeat([&] {
                  auto const lock = observable.GetLock();
                  if (observable.GetName() != "scripted") {
                      EXPECT_EQ(observable.GetName(), std::to_string(observable.GetId()));
                  }
                  EXPECT_EQ(observable.MakeObservableMetadata()->GetId(), observable.GetId());
              })});
}

}  // namespace
}  // namespace qel::observable
