#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/frames.hpp"

// What is left of frames and events when memory runs out in the middle of something, and what needs no memory.

namespace qel::tests {
namespace {

using meta::EventsNaming;
using meta::Meta;
using meta::data::Event;

using ItemList = std::vector<std::shared_ptr<object::Object>>;

/// Events that name observables 0 to 4 by turns, two each.
ItemList MakeEvents(unsigned int count) {
    ItemList events;
    for (unsigned int id = 0; id < count; ++id) {
        events.push_back(MakeEvent(id, At(0), At(0), {Record(id % 5), Person(1), Record((id + 1) % 5)}));
    }
    return events;
}

Meta FrameOf(ItemList const& items) {
    Meta frame(At(0));
    for (auto const& item : items) {
        frame.Append(item);
    }
    return frame;
}

std::size_t CountNaming(ItemList const& items, unsigned int observable) {
    std::size_t count = 0;
    for (auto const& item : items) {
        for (auto const& record : meta::ObservablesOf(item->As<Event>())) {
            count += record.GetId() == observable;
        }
    }
    return count;
}

void ExpectExactly(Meta const& frame, ItemList const& items) {
    EXPECT_TRUE(Items(frame) == items);
    for (unsigned int observable = 0; observable < 5; ++observable) {
        EXPECT_EQ(EventsNaming(frame, observable).size(), CountNaming(items, observable));
    }
}

/// Calls `work` again and again, each time with another of its allocations failing, until none is left that could fail.
/// Returns how many there were.
template <class Work>
std::size_t FailEachAllocationOf(Work const& work) {
    std::size_t failed = 0;
    while (FailsForLackOfMemory(failed, work)) {
        ++failed;
    }
    return failed;
}

TEST(FrameMemoryTest, AnswersALookUpAfterOneForWhichMemoryRanOut) {
    auto const items = MakeEvents(200);
    Meta const frame = FrameOf(items);
    std::size_t found = 0;
    std::size_t const failures = FailEachAllocationOf([&] {
        // Each with an index to build from the start, and one to extend.
        Meta const copy(frame);
        EventsNaming const before(copy, 1);
        copy.Append(items[1]);
        found = EventsNaming(copy, 1).size();
    });
    EXPECT_EQ(found, CountNaming(items, 1) + 1);
    EXPECT_GT(failures, 5u);
    ExpectExactly(frame, items);
}

TEST(FrameMemoryTest, BuildsAnIndexOnWhereMemoryRanOut) {
    auto const items = MakeEvents(2000);
    Meta const frame = FrameOf(items);
    std::size_t found = 0;
    std::size_t const failures = FailEachAllocationOf([&] { found = EventsNaming(frame, 1).size(); });
    EXPECT_EQ(found, CountNaming(items, 1));
    EXPECT_GT(failures, 5u);
    ExpectExactly(frame, items);
}

TEST(FrameMemoryTest, StaysAsItIsWhenAnAppendFindsNoMemory) {
    auto items = MakeEvents(16);
    Meta const frame = FrameOf(items);
    auto const more = MakeEvents(1);
    EXPECT_THROW(
        {
            FailingAllocation const failing(0);
            frame.Append(more[0]);
        },
        std::bad_alloc);
    ExpectExactly(frame, items);
    EXPECT_EQ(more[0].use_count(), 1);
    frame.Append(more[0]);
    items.push_back(more[0]);
    ExpectExactly(frame, items);
}

TEST(FrameMemoryTest, StaysAsItIsWhenACopyOrARemovalFindsNoMemory) {
    auto const items = MakeEvents(40);
    Meta const frame = FrameOf(items);
    std::size_t const failures = FailEachAllocationOf([&] {
        Meta const copy(frame);
        copy.Append(items[0]);
        Meta const copyOfCopy(copy);
        copy.RemoveIf([](auto const& item) { return item->template As<Event>().GetId() % 2 == 0; });
        EXPECT_EQ(std::distance(copy.Begin(), copy.End()), 20);
        EXPECT_EQ(std::distance(copyOfCopy.Begin(), copyOfCopy.End()), 41);
    });
    EXPECT_GT(failures, 5u);
    ExpectExactly(frame, items);
}

TEST(FrameMemoryTest, KeepsEverythingWhenARemovalFindsNoMemory) {
    auto items = MakeEvents(40);
    Meta const frame = FrameOf(items);
    Meta const copy(frame);
    FailEachAllocationOf([&] {
        try {
            frame.RemoveIf([](auto const& item) { return item->template As<Event>().GetId() % 2 == 0; });
        } catch (std::bad_alloc const&) {
            EXPECT_EQ(std::distance(frame.Begin(), frame.End()), 40);
            throw;
        }
    });
    ExpectExactly(copy, items);
    EXPECT_EQ(std::distance(frame.Begin(), frame.End()), 20);
}

TEST(EventMemoryTest, StaysAsItIsWhenAChangeFindsNoMemory) {
    Event::Objects const objects{Record(1), Person(1)};
    Event event(7, "gate", "and", "analytics", At(0), At(0), objects);
    std::shared_ptr<object::Object const> const record = Record(2);
    auto const intact = [&] {
        EXPECT_EQ(event.GetObjects(), objects);
        EXPECT_EQ(event.GetName(), "gate");
        EXPECT_EQ(event.GetType(), "and");
    };
    auto const failsAtOnce = [&](auto const& change) {
        EXPECT_THROW(
            {
                FailingAllocation const failing(0);
                change();
            },
            std::bad_alloc);
        intact();
    };
    failsAtOnce([&] { event.AppendObject(*record); });
    failsAtOnce([&] { event.EditObjects([](Event::Objects& edited) { edited.clear(); }); });
    failsAtOnce([&] { event.SetName("door"); });
    failsAtOnce([&] { event.SetType("or"); });
    failsAtOnce([&] {
        for (;;) {
            event.AppendObject(record);
            event.EditObjects([](Event::Objects& edited) { edited.pop_back(); });
        }
    });
}

TEST(EventMemoryTest, CopiesTheListOfObjectsAndNothingElse) {
    Event const empty;  // the first one makes the texts that all empty events share
    Event const event(7, "a name that is too long to be kept in place", "and", "analytics", At(0), At(0),
                      {Record(1), Person(1), Zone(1)});
    EXPECT_EQ(AllocationsOf([&] { Event const copy(event); }), 1u);
    EXPECT_EQ(AllocationsOf([&] {
                  Event copy(event);
                  Event const moved(std::move(copy));
              }),
              1u);
    EXPECT_EQ(AllocationsOf([] { Event const another; }), 0u);
}

TEST(EventMemoryTest, IsOneAllocationWithSharedTextsAndAListThatIsMovedIn) {
    auto const texts = std::make_shared<Event::Texts const>(Event::Texts{"gate", "and", "analytics"});
    Event::Objects objects{Record(1), Person(1)};
    EXPECT_EQ(AllocationsOf([&] { std::make_shared<Event>(texts, At(0), At(0), std::move(objects)); }), 1u);
}

TEST(FrameMemoryTest, TakesNoMemoryToWalk) {
    Meta const frame = FrameOf(MakeEvents(40));
    std::size_t walked = 0;
    EXPECT_EQ(AllocationsOf([&] {
                  for (auto const& event : meta::EventsOf(frame)) {
                      walked += event.GetId() < 40;
                  }
              }),
              0u);
    EXPECT_EQ(walked, 40u);
}

TEST(FrameMemoryTest, TakesNoMemoryForALookUpThatFindsFew) {
    Meta const frame = FrameOf(MakeEvents(20));
    std::size_t found = EventsNaming(frame, 1).size();
    EXPECT_EQ(AllocationsOf([&] { found = EventsNaming(frame, 1).size(); }), 0u);
    EXPECT_EQ(found, 8u);
}

TEST(FrameMemoryTest, TakesMemoryAFewTimesForALookUpThatFindsManyWhereverTheyStand) {
    ItemList together;
    ItemList byTurns;
    ItemList ofTwo;
    for (unsigned int number = 0; number < 1000; ++number) {
        together.push_back(MakeEvent(At(0), At(0), {Record(1)}));
        byTurns.push_back(MakeEvent(At(0), At(0), {Record(1)}));
        byTurns.push_back(MakeEvent(At(0), At(0), {Record(2)}));
        ofTwo.push_back(MakeEvent(At(0), At(0), {Record(1), Record(2)}));
    }
    auto const allocationsOf = [](ItemList const& items) {
        Meta const frame = FrameOf(items);
        std::size_t found = EventsNaming(frame, 1).size();
        std::size_t const allocations = AllocationsOf([&] { found = EventsNaming(frame, 1).size(); });
        EXPECT_EQ(found, 1000u);
        return allocations;
    };
    EXPECT_LE(allocationsOf(together), 5u);  // one for every block of the frame, at most
    EXPECT_LE(allocationsOf(byTurns), 15u);
    EXPECT_LE(allocationsOf(ofTwo), 15u);
}

TEST(FrameMemoryTest, TakesAsLittleMemoryForACopyOfManyItemsAsOfOne) {
    Meta const small = FrameOf(MakeEvents(1));
    Meta const large = FrameOf(MakeEvents(1000));
    EXPECT_EQ(AllocationsOf([&] { Meta const copy(large); }), AllocationsOf([&] { Meta const copy(small); }));
}

}  // namespace
}  // namespace qel::tests
