#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/threads.hpp"

// What is promised to several threads at once. Most of it is told by the thread sanitizer.

namespace qel::tests {
namespace {

using meta::EventsNaming;
using meta::EventsOf;
using meta::Meta;
using meta::data::Event;

std::shared_ptr<Event> EventOf(unsigned int id, unsigned int observable) {
    return MakeEvent(id, At(0), At(0), {Record(observable)});
}

TEST(FrameThreadsTest, AppendToAndWalkOneFrame) {
    Meta const frame(At(0));
    RunTogether(3, [&](int thread) {
        auto const self = static_cast<unsigned int>(thread);
        for (unsigned int id = 0; id < 200; ++id) {
            frame.Append(EventOf(id, self));
            // Every thread finds its own events, all of them and in their order, whatever the others do.
            unsigned int next = 0;
            for (auto const& event : EventsNaming(frame, self)) {
                ASSERT_EQ(event.GetId(), next++);
            }
            ASSERT_EQ(next, id + 1);
            unsigned int walked = 0;
            for (auto const& event : EventsOf(frame)) {
                walked += meta::ObservablesOf(event).begin()->GetId() == self;
            }
            ASSERT_EQ(walked, id + 1);
            ASSERT_GE(Items(frame).size(), id + 1);
            Meta const copy(frame);
            ASSERT_EQ(EventsNaming(copy, self).size(), id + 1);
        }
    });
    EXPECT_EQ(Items(frame).size(), 600u);
}

TEST(FrameThreadsTest, AppendToRemoveFromAndWalkOneFrame) {
    Meta const frame(At(0));
    RunTogether(3, [&](int thread) {
        auto const self = static_cast<unsigned int>(thread);
        for (unsigned int id = 1; id <= 200; ++id) {
            auto const own = EventOf(id, self);
            frame.Append(own);
            // A walk without a lock sees what was there when it began, and an own event goes only by the own hand.
            auto const items = Items(frame);
            ASSERT_EQ(std::count(items.begin(), items.end(), own), 1);
            {
                EventsNaming const found(frame, self);
                ASSERT_EQ(found.size(), 1u);
                ASSERT_EQ(&found.front(), own.get());
            }
            auto const counts = frame.CountLookUps();
            ASSERT_LE(counts.found, counts.asked) << "each thread has one event at most";
            frame.RemoveIf([&](auto const& item) { return item == own; });
            ASSERT_TRUE(EventsNaming(frame, self).empty());
        }
    });
    EXPECT_TRUE(Items(frame).empty());
}

TEST(FrameThreadsTest, LookUpInCopiesOfAFrameThatGrows) {
    Meta const frame(At(0));
    for (unsigned int id = 0; id < 20; ++id) {
        frame.Append(EventOf(id, id % 2));
    }
    std::vector<Meta> const copies{Meta(frame), Meta(frame)};
    RunTogether(3, [&](int thread) {
        for (unsigned int id = 20; id < 400; ++id) {
            if (thread == 0) {
                frame.Append(EventOf(id, 1));
                ASSERT_EQ(EventsNaming(frame, 1).size(), id - 9);
            } else {
                Meta const& copy = copies[static_cast<std::size_t>(thread) - 1];
                ASSERT_EQ(EventsNaming(copy, 1).size(), 10 + (id - 20) / 10);
                if (id % 10 == 9) {
                    copy.Append(EventOf(id, 1));
                }
                Meta const copyOfCopy(copy);
                ASSERT_EQ(EventsNaming(copyOfCopy, 0).size(), 10u);
            }
        }
    });
}

TEST(FrameThreadsTest, LookUpWhileARecordIsGivenOtherIds) {
    Meta const frame(At(0));
    auto const record = Record(0);
    for (unsigned int id = 0; id < 10; ++id) {
        frame.Append(MakeEvent(id, At(0), At(0), {record}));
    }
    RunTogether(3, [&](int thread) {
        for (unsigned int id = 1; id <= 2000; ++id) {
            if (thread == 0) {
                record->SetId(id);
                // Nobody else gives it ids, so this thread finds it under the new one at once.
                ASSERT_EQ(EventsNaming(frame, id).size(), 10u);
            } else {
                ASSERT_LE(EventsNaming(frame, id).size(), 10u);
            }
        }
    });
    EXPECT_EQ(EventsNaming(frame, 2000).size(), 10u);
    EXPECT_EQ(EventsNaming(frame, 1999).size(), 0u);
}

TEST(FrameThreadsTest, RemoveWhatAnotherThreadHasJustReadWithoutALock) {
    Meta const frame(At(0));
    for (unsigned int id = 1; id <= 10; ++id) {
        frame.Append(EventOf(id, id % 2));
    }
    std::atomic<bool> read = false;
    RunTogether(2, [&](int thread) {
        // Tells the other thread that it may go on, and orders nothing.
        constexpr auto Unordered = std::memory_order_relaxed;
        if (thread == 0) {
            unsigned int sum = 0;
            for (auto const& event : EventsNaming(frame, 1)) {
                sum += event.GetId();
            }
            for (auto const& item : Items(frame)) {
                sum += item->As<Event>().GetId();
            }
            EXPECT_EQ(sum, 25u + 55u);
            read.store(true, Unordered);
        } else {
            while (!read.load(Unordered)) {
                std::this_thread::yield();
            }
            frame.RemoveIf([](auto const& item) { return item->template As<Event>().GetId() % 2 == 1; });
        }
    });
    EXPECT_EQ(Items(frame).size(), 5u);
}

}  // namespace
}  // namespace qel::tests
