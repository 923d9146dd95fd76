// What these tests say beyond their expectations is for the thread sanitizer.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "observable/notifier.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/threads.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using tests::At;
using tests::Scripted;

constexpr int Rounds = 300;

TEST(NotifierThreadsTest, EveryMemberMayBeCalledWhileFramesAreProcessed) {
    Notifier notifier;
    // Reports a new event in every frame; no two threads are inside of it at once.
    std::atomic<int> inside = 0;
    std::size_t reported = 0;
    auto const rule = std::make_shared<Scripted>("rule", [&](Meta const& frame) {
        EXPECT_EQ(inside++, 0);
        auto event = tests::MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {});
        ++reported;
        --inside;
        return Scripted::Output{std::move(event)};
    });
    std::size_t heard = 0;
    auto const bound = rule->Bind([&](auto const&) {
        EXPECT_EQ(inside++, 0);
        ++heard;
        --inside;
    });
    auto const added = notifier.AddObservable(rule);
    std::atomic<std::size_t> fresh = 0;
    std::atomic<std::size_t> closed = 0;

    constexpr int Threads = 5;
    std::vector<std::weak_ptr<Scripted>> brief(Threads * Rounds);
    tests::RunTogether(Threads, [&](int thread) {
        for (int round = 0; round < Rounds; ++round) {
            auto const make = [&] {
                auto made = std::make_shared<Scripted>();
                brief[static_cast<std::size_t>(thread * Rounds + round)] = made;
                return made;
            };
            switch (thread) {
                case 0:
                case 1: {
                    Meta const frame(At(round));
                    notifier.Process(frame);
                    for (auto const& event : meta::EventsOf(frame)) {
                        ++(event.IsFinal() ? closed : fresh);
                    }
                    break;
                }
                case 2: {
                    auto const observable = make();
                    auto const binding = notifier.AddObservable(observable);
                    notifier.ObservableChanged(observable);
                    notifier.RemoveObservable(observable);
                    break;
                }
                case 3: {
                    auto const observable = make();
                    notifier.AddObservable(observable).Reset();
                    notifier.RemoveObservableId(observable->GetId());
                    break;
                }
                default:
                    notifier.SetEventRetriggerTime(std::chrono::milliseconds(round % 2));
                    (void)&notifier.GetObservables();
            }
        }
    });

    EXPECT_EQ(reported, 2u * Rounds);
    EXPECT_EQ(heard, reported);
    EXPECT_EQ(fresh, reported);
    EXPECT_EQ(closed, reported - 1) << "each by the frame behind it, but for the last";
    EXPECT_EQ(notifier.GetObservables(), std::vector<std::shared_ptr<Observable>>{rule});
    for (auto const& each : brief) {
        EXPECT_TRUE(each.expired());
    }
}

TEST(NotifierThreadsTest, CallsBackAreRefusedAlsoWhileOtherThreadsWait) {
    Notifier notifier;
    std::size_t refused = 0;
    auto const rule = std::make_shared<Scripted>("rule", [&](Meta const&) {
        try {
            notifier.SetEventRetriggerTime(std::chrono::milliseconds(0));
        } catch (std::system_error const&) {
            ++refused;
        }
        return Scripted::Output();
    });
    auto const added = notifier.AddObservable(rule);
    constexpr int Threads = 4;
    tests::RunTogether(Threads, [&](int) {
        for (int round = 0; round < 10 * Rounds; ++round) {
            notifier.Process(Meta(At(0)));
        }
    });
    EXPECT_EQ(refused, Threads * 10u * Rounds);
}

TEST(NotifierThreadsTest, BindingsMayBeDroppedOnAnyThreadWhileTheNotifierEnds) {
    for (int round = 0; round < Rounds; ++round) {
        auto notifier = std::make_unique<Notifier>();
        std::vector<type::Binding> bindings(3);
        std::weak_ptr<Scripted> last;
        for (auto& binding : bindings) {
            auto const made = std::make_shared<Scripted>();
            last = made;
            binding = notifier->AddObservable(made);
        }
        tests::RunTogether(
            4, [&](int thread) { thread < 3 ? bindings[static_cast<std::size_t>(thread)].Reset() : notifier.reset(); });
        EXPECT_TRUE(last.expired());
    }
}

TEST(NotifierThreadsTest, TwoNotifiersMayProcessOneFrameAtOnce) {
    Notifier notifiers[2];
    std::vector<type::Binding> bindings;
    for (auto& notifier : notifiers) {
        bindings.push_back(notifier.AddObservable(std::make_shared<Scripted>("rule", [](Meta const& frame) {
            auto const count = static_cast<std::size_t>(std::distance(frame.Begin(), frame.End()));
            EXPECT_LE(count, 6u);
            return Scripted::Output{tests::MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {})};
        })));
    }
    for (int round = 0; round < Rounds; ++round) {
        Meta const frame(At(round));
        frame.Append(tests::Channel(1));
        tests::RunTogether(2, [&](int thread) { notifiers[thread].Process(frame); });
        // The channel, an event of each, and from the second frame on a final copy of each.
        EXPECT_EQ(tests::Items(frame).size(), round == 0 ? 3u : 5u);
    }
}

TEST(NotifierThreadsTest, RecordsMayBeRenumberedWhileFramesAreProcessed) {
    Notifier notifier;
    notifier.SetEventRetriggerTime(std::chrono::milliseconds(1000));
    auto const record = tests::Record(1);
    auto const rule = std::make_shared<Scripted>("rule", [&](Meta const& frame) {
        return Scripted::Output{tests::MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {record})};
    });
    auto const added = notifier.AddObservable(rule);
    tests::RunTogether(2, [&](int thread) {
        for (int round = 0; round < Rounds; ++round) {
            if (thread == 0) {
                notifier.Process(Meta(At(round)));
            } else {
                record->SetId(static_cast<unsigned int>(round));
            }
        }
    });
    // All that was recorded has the last number now.
    Meta const frame(At(Rounds));
    notifier.Process(frame);
    for (auto const& event : meta::EventsOf(frame)) {
        EXPECT_TRUE(event.IsFinal());
    }
}

}  // namespace
}  // namespace qel::observable
