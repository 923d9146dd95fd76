#include "foundation/meta/meta.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <latch>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using meta::EventsOf;
using meta::Meta;
using object::Object;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::ThrowsMessage;

using Item = std::shared_ptr<Object>;
using ItemList = std::vector<Item>;

static_assert(!std::is_copy_assignable_v<Meta>);
static_assert(std::forward_iterator<Meta::Iterator>);
static_assert(std::is_same_v<decltype(*std::declval<Meta const&>().Begin()), Item const&>);

ItemList Strangers(int first, int count) {
    ItemList items;
    for (int value = first; value < first + count; ++value) {
        items.push_back(std::make_shared<Stranger>(value));
    }
    return items;
}

Meta FrameOf(ItemList const& items) {
    Meta frame(At(0));
    for (auto const& item : items) {
        frame.Append(item);
    }
    return frame;
}

ItemList Joined(ItemList left, ItemList const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

int ValueOf(Item const& item) { return item->As<Stranger>().value; }
bool IsOdd(Item const& item) { return ValueOf(item) % 2 != 0; }
bool Always(Item const&) { return true; }

ItemList Without(ItemList items, std::function<bool(Item const&)> const& predicate) {
    items.erase(std::remove_if(items.begin(), items.end(), predicate), items.end());
    return items;
}

bool IsLocked(Meta const& frame) {
    std::recursive_mutex* const mutex = frame.GetLock().mutex();
    return OnAnotherThread(
        [mutex] { return !std::unique_lock<std::recursive_mutex>(*mutex, std::try_to_lock).owns_lock(); });
}

// What stands in it.

TEST(MetaTest, HasATimeAndNoItems) {
    Meta const frame(At(1'700'000'000'123));
    EXPECT_EQ(frame.GetTimestamp(), At(1'700'000'000'123));
    EXPECT_EQ(frame.Begin(), frame.End());
    EXPECT_THAT(Items(frame), IsEmpty());
}

TEST(MetaTest, HoldsItemsOfAllKindsInTheirOrder) {
    ItemList const items{Person(1), nullptr,   Channel(2), MakeEvent(At(0), At(0), {}), std::make_shared<Stranger>(),
                         Zone(3),   Record(4), nullptr};
    EXPECT_THAT(Items(FrameOf(items)), ElementsAreArray(items));
}

TEST(MetaTest, HoldsAnItemAsOftenAsItIsAppended) {
    auto const item = Person(1);
    EXPECT_THAT(Items(FrameOf({item, item})), ElementsAre(item, item));
}

TEST(MetaTest, HoldsManyItems) {
    for (int const count : {1, 15, 16, 17, 47, 48, 49, 1000, 5000}) {
        auto const items = Strangers(0, count);
        EXPECT_EQ(Items(FrameOf(items)), items) << count;
    }
}

TEST(MetaTest, ReleasesItsItemsWithItself) {
    std::weak_ptr<Object> watched;
    {
        auto item = Person(1);
        watched = item;
        Meta const frame = FrameOf({item});
        item.reset();
        EXPECT_FALSE(watched.expired());
    }
    EXPECT_TRUE(watched.expired());
}

// Walks.

TEST(MetaTest, IsWalkedAsAForwardSequence) {
    auto const items = Strangers(0, 3);
    Meta const frame = FrameOf(items);
    auto at = frame.Begin();
    auto const first = at++;
    EXPECT_EQ(*first, items[0]);
    EXPECT_EQ(*at, items[1]);
    EXPECT_EQ(at->get(), items[1].get());
    EXPECT_NE(at, first);
    EXPECT_EQ(at, std::next(frame.Begin()));
    EXPECT_EQ(*++at, items[2]);
    EXPECT_EQ(++at, frame.End());
    EXPECT_EQ(*first, items[0]);
    EXPECT_EQ(Meta::Iterator(), Meta::Iterator());
}

TEST(MetaTest, ShowsAWalkTheItemsThatWereThereWhenItBegan) {
    auto const items = Strangers(0, 3);
    Meta const frame = FrameOf(items);
    ItemList seen;
    for (auto at = frame.Begin(); at != frame.End(); ++at) {
        seen.push_back(*at);
        frame.Append(Person(1));
    }
    EXPECT_EQ(seen, items);
    EXPECT_EQ(Items(frame).size(), 6u);
}

TEST(MetaTest, ShowsAWalkWhatIsRemovedWhileItIsUnderWay) {
    auto const items = Strangers(0, 40);
    Meta const frame = FrameOf(items);
    ItemList seen;
    for (auto at = frame.Begin(); at != frame.End(); ++at) {
        seen.push_back(*at);
        frame.RemoveIf(seen.size() == 20 ? Always : IsOdd);
    }
    EXPECT_EQ(seen, items);
    EXPECT_THAT(Items(frame), IsEmpty());
}

TEST(MetaTest, ShowsAWalkWhatIsRemovedAndNotWhatTakesItsPlace) {
    auto const items = Strangers(0, 3);
    Meta const frame = FrameOf(items);
    auto const begin = frame.Begin();
    frame.RemoveIf(Always);
    auto const others = Strangers(10, 100);
    for (auto const& item : others) {
        frame.Append(item);
    }
    EXPECT_EQ(ItemList(begin, frame.End()), items);
    EXPECT_EQ(Items(frame), others);
}

TEST(MetaTest, KeepsWhatAWalkIsOverAlive) {
    std::vector<Meta::Iterator> walks;
    {
        Meta const frame = FrameOf(Strangers(0, 3));
        walks.push_back(frame.Begin());
        frame.RemoveIf(Always);
    }
    EXPECT_EQ(ValueOf(*walks[0]), 0);
    EXPECT_EQ(ValueOf(*std::next(walks[0], 2)), 2);
}

TEST(MetaTest, MayBeAppendedToWhileATypedWalkIsOpen) {
    Meta const frame(At(0));
    for (unsigned int id = 1; id <= 3; ++id) {
        frame.Append(MakeEvent(id, At(0), At(0), {}));
    }
    std::vector<unsigned int> seen;
    for (auto const& event : EventsOf(frame)) {
        seen.push_back(event.GetId());
        for (int more = 0; more < 100; ++more) {
            frame.Append(MakeEvent(9, At(0), At(0), {}));
        }
    }
    EXPECT_THAT(seen, ElementsAre(1, 2, 3));
    EXPECT_EQ(Items(frame).size(), 303u);
}

TEST(MetaTest, MayLoseItemsWhileATypedWalkIsOpen) {
    Meta const frame(At(0));
    for (unsigned int id = 1; id <= 3; ++id) {
        frame.Append(MakeEvent(id, At(0), At(0), {}));
    }
    std::vector<unsigned int> seen;
    for (auto const& event : EventsOf(frame)) {
        frame.RemoveIf(Always);
        seen.push_back(event.GetId());
    }
    EXPECT_THAT(seen, ElementsAre(1, 2, 3));
    EXPECT_THAT(Items(frame), IsEmpty());
}

// Removal.

TEST(MetaTest, RemovesEveryItemThatThePredicateNames) {
    auto const items = Strangers(0, 100);
    Meta const frame = FrameOf(items);
    frame.RemoveIf(IsOdd);
    EXPECT_EQ(Items(frame), Without(items, IsOdd));
}

TEST(MetaTest, AsksThePredicateOnceForEveryItemInOrder) {
    ItemList items = Strangers(0, 20);
    items[3] = nullptr;
    Meta const frame = FrameOf(items);
    ItemList asked;
    frame.RemoveIf([&](Item const& item) {
        asked.push_back(item);
        return item == nullptr;
    });
    EXPECT_EQ(asked, items);
    items.erase(items.begin() + 3);
    EXPECT_EQ(Items(frame), items);
}

TEST(MetaTest, StaysAsItIsWhenNothingIsRemoved) {
    auto const items = Strangers(0, 20);
    Meta const frame = FrameOf(items);
    frame.RemoveIf([](Item const&) { return false; });
    EXPECT_EQ(Items(frame), items);
    Meta const empty(At(0));
    empty.RemoveIf(Always);
    EXPECT_THAT(Items(empty), IsEmpty());
}

TEST(MetaTest, IsAppendedToAfterARemoval) {
    auto const items = Strangers(0, 50);
    Meta const frame = FrameOf(items);
    frame.RemoveIf(IsOdd);
    auto const more = Strangers(50, 50);
    for (auto const& item : more) {
        frame.Append(item);
    }
    EXPECT_EQ(Items(frame), Joined(Without(items, IsOdd), more));
    frame.RemoveIf(Always);
    EXPECT_THAT(Items(frame), IsEmpty());
    frame.Append(items[0]);
    EXPECT_THAT(Items(frame), ElementsAre(items[0]));
}

TEST(MetaTest, ReleasesWhatIsRemoved) {
    auto items = Strangers(0, 20);
    std::vector<std::weak_ptr<Object>> const watched(items.begin(), items.end());
    Meta const frame = FrameOf(items);
    items.clear();
    frame.RemoveIf(IsOdd);
    for (std::size_t value = 0; value < watched.size(); ++value) {
        EXPECT_EQ(watched[value].expired(), value % 2 != 0) << value;
    }
    frame.RemoveIf(Always);
    EXPECT_TRUE(std::all_of(watched.begin(), watched.end(), [](auto const& each) { return each.expired(); }));
}

TEST(MetaTest, RemovesNothingWhenThePredicateThrows) {
    auto const items = Strangers(0, 20);
    Meta const frame = FrameOf(items);
    EXPECT_THAT(
        [&] {
            frame.RemoveIf([](Item const& item) {
                if (ValueOf(item) == 10) {
                    throw std::runtime_error("from the predicate");
                }
                return true;
            });
        },
        ThrowsMessage<std::runtime_error>("from the predicate"));
    EXPECT_EQ(Items(frame), items);
    EXPECT_FALSE(IsLocked(frame));
}

TEST(MetaTest, RefusesAnEmptyPredicate) {
    Meta const frame = FrameOf(Strangers(0, 3));
    EXPECT_THROW(frame.RemoveIf(nullptr), std::bad_function_call);
    EXPECT_EQ(Items(frame).size(), 3u);
}

TEST(MetaTest, LetsThePredicateReadTheFrame) {
    Meta const frame = FrameOf(Strangers(0, 3));
    frame.RemoveIf([&](Item const& item) { return item == Items(frame).back(); });
    EXPECT_EQ(Items(frame).size(), 2u);
}

// Copies.

TEST(MetaTest, IsCopiedWithItsTimeAndItsItems) {
    Meta frame(At(10));
    auto const items = Strangers(0, 20);
    for (auto const& item : items) {
        frame.Append(item);
    }
    Meta const copy(frame);
    EXPECT_EQ(copy.GetTimestamp(), At(10));
    EXPECT_EQ(Items(copy), items);
    EXPECT_EQ(Items(frame), items);
}

TEST(MetaTest, IsAppendedToApartFromItsCopies) {
    auto const items = Strangers(0, 10);
    Meta const frame = FrameOf(items);
    Meta const copy(frame);
    auto const toFrame = Strangers(10, 30);
    auto const toCopy = Strangers(100, 30);
    for (std::size_t at = 0; at < 30; ++at) {
        frame.Append(toFrame[at]);
        copy.Append(toCopy[at]);
    }
    EXPECT_EQ(Items(frame), Joined(items, toFrame));
    EXPECT_EQ(Items(copy), Joined(items, toCopy));
}

TEST(MetaTest, LosesItemsApartFromItsCopies) {
    auto const items = Strangers(0, 40);
    Meta const frame = FrameOf(items);
    Meta const copy(frame);
    Meta const other(frame);
    frame.RemoveIf(IsOdd);
    copy.RemoveIf(Always);
    EXPECT_EQ(Items(frame), Without(items, IsOdd));
    EXPECT_THAT(Items(copy), IsEmpty());
    EXPECT_EQ(Items(other), items);

    auto const more = Strangers(100, 2);
    frame.Append(more[0]);
    copy.Append(more[1]);
    EXPECT_EQ(Items(frame), Joined(Without(items, IsOdd), {more[0]}));
    EXPECT_THAT(Items(copy), ElementsAre(more[1]));
    EXPECT_EQ(Items(other), items);
}

TEST(MetaTest, LosesItemsThatItHasFromTheFrameItIsACopyOfAndItsOwn) {
    auto const items = Strangers(0, 20);
    Meta const frame = FrameOf(items);
    Meta const copy(frame);
    auto const more = Strangers(20, 20);
    for (auto const& item : more) {
        copy.Append(item);
    }
    copy.RemoveIf(IsOdd);
    EXPECT_EQ(Items(copy), Without(Joined(items, more), IsOdd));
    EXPECT_EQ(Items(frame), items);
}

TEST(MetaTest, OutlivesTheFrameItIsACopyOf) {
    auto const items = Strangers(0, 20);
    auto frame = std::make_unique<Meta>(FrameOf(items));
    Meta const copy(*frame);
    frame.reset();
    copy.Append(nullptr);
    EXPECT_EQ(Items(copy), Joined(items, {nullptr}));
}

TEST(MetaTest, IsACopyOfACopyOfManyCopiesEachWithItemsOfItsOwn) {
    struct Expected {
        std::unique_ptr<Meta> frame;
        ItemList items;
    };
    std::vector<Expected> line;
    line.push_back({std::make_unique<Meta>(At(0)), {}});
    for (int generation = 0; generation < 100; ++generation) {
        auto const append = [](Expected& to, ItemList const& items) {
            for (auto const& item : items) {
                to.frame->Append(item);
                to.items.push_back(item);
            }
        };
        // Every third copy has nothing of its own.
        append(line.back(), Strangers(1000 * generation, generation % 3 * 10));
        line.push_back({std::make_unique<Meta>(*line.back().frame), line.back().items});
        append(line[line.size() - 2], Strangers(1000 * generation + 500, 5));
    }
    for (std::size_t generation = 0; generation < line.size(); ++generation) {
        EXPECT_EQ(Items(*line[generation].frame), line[generation].items) << generation;
    }
    while (line.size() > 1) {
        line.erase(line.begin());
        EXPECT_EQ(Items(*line.back().frame), line.back().items);
    }
    std::weak_ptr<Object> const watched = line.back().items.front();
    line.clear();
    EXPECT_TRUE(watched.expired());
}

TEST(MetaTest, IsCopiedWithWhatStandsInItWhileAWalkIsOpen) {
    Meta const frame(At(0));
    frame.Append(MakeEvent(1, At(0), At(0), {}));
    std::vector<std::size_t> sizes;
    for (auto const& event : EventsOf(frame)) {
        static_cast<void>(event);
        frame.Append(nullptr);
        sizes.push_back(Items(Meta(frame)).size());
    }
    EXPECT_THAT(sizes, ElementsAre(2));
}

// Look-ups.

TEST(MetaTest, CountsWhatLookUpsCostInItAndInTheFramesThatItSharesItemsWith) {
    using Counts = meta::detail::LookUpCounts;
    auto const event = [](unsigned int observable) { return MakeEvent(At(0), At(0), {Record(observable)}); };
    Meta const frame = FrameOf({event(1), event(2), event(1)});
    EXPECT_EQ(frame.CountLookUps(), Counts());
    EXPECT_EQ(frame.FindEvents(1).events.size(), 2u);
    EXPECT_EQ(frame.CountLookUps(), (Counts{1, 2, 3}));
    EXPECT_TRUE(frame.HasEvents(2));
    EXPECT_EQ(frame.CountLookUps(), (Counts{2, 2, 3})) << "everything had been read";

    Meta const copy(frame);
    copy.Append(event(2));
    EXPECT_EQ(copy.CountLookUps(), (Counts{2, 2, 3})) << "those of the frame that it is a copy of";
    EXPECT_EQ(copy.FindEvents(2).events.size(), 2u);
    EXPECT_EQ(copy.CountLookUps(), (Counts{4, 4, 4})) << "one in each of the two lists";
    EXPECT_EQ(frame.CountLookUps(), (Counts{3, 3, 3}));
}

// The lock.

TEST(MetaTest, IsUnlockedBetweenCalls) {
    Meta const frame = FrameOf(Strangers(0, 3));
    EXPECT_FALSE(IsLocked(frame));
    auto const begin = frame.Begin();
    auto const end = frame.End();
    EXPECT_FALSE(IsLocked(frame));
}

TEST(MetaTest, IsLockedForAsLongAsALockLives) {
    Meta const frame(At(0));
    {
        auto const lock = frame.GetLock();
        EXPECT_TRUE(lock.owns_lock());
        EXPECT_TRUE(IsLocked(frame));
        { auto const again = frame.GetLock(); }
        EXPECT_TRUE(IsLocked(frame));
    }
    EXPECT_FALSE(IsLocked(frame));
}

TEST(MetaTest, IsLockedForAsLongAsATypedWalkIsOpen) {
    Meta const frame(At(0));
    frame.Append(MakeEvent(1, At(0), At(0), {}));
    for (auto const& event : EventsOf(frame)) {
        static_cast<void>(event);
        EXPECT_TRUE(IsLocked(frame));
    }
    EXPECT_FALSE(IsLocked(frame));
}

TEST(MetaTest, IsLockedWhileItIsAskedWhatToRemove) {
    Meta const frame = FrameOf(Strangers(0, 1));
    frame.RemoveIf([&](Item const&) {
        EXPECT_TRUE(IsLocked(frame));
        return true;
    });
    EXPECT_FALSE(IsLocked(frame));
}

TEST(MetaTest, HasALockApartFromItsCopies) {
    Meta const frame(At(0));
    Meta const copy(frame);
    auto const lock = frame.GetLock();
    EXPECT_FALSE(IsLocked(copy));
}

/// What another thread asks of a frame while this thread has a walk over it open, and what it must then have found: how
/// many of the items that were appended before the walk was closed.
struct Waiting {
    char const* name;
    std::function<std::size_t(Meta const&)> work;
};

void PrintTo(Waiting const& waiting, std::ostream* stream) { *stream << waiting.name; }

class MetaWaitingTest : public testing::TestWithParam<Waiting> {};

TEST_P(MetaWaitingTest, WaitsWhileAnotherThreadHasAWalkOpen) {
    Meta const frame(At(0));
    std::latch asking(1);
    std::size_t found = 0;
    std::thread other;
    {
        auto const walk = EventsOf(frame);
        other = std::thread([&] {
            asking.count_down();
            found = GetParam().work(frame);
        });
        asking.wait();
        for (int count = 0; count < 1000; ++count) {
            frame.Append(MakeEvent(1, At(0), At(0), {Record(1)}));
        }
    }
    other.join();
    EXPECT_EQ(found, 1000u);
}

INSTANTIATE_TEST_SUITE_P(
    Meta, MetaWaitingTest,
    testing::Values(Waiting{"Walk", [](Meta const& frame) { return Items(frame).size(); }},
                    Waiting{"TypedWalk",
                            [](Meta const& frame) {
                                auto const events = EventsOf(frame);
                                return static_cast<std::size_t>(std::distance(events.begin(), events.end()));
                            }},
                    Waiting{"LookUp", [](Meta const& frame) { return meta::EventsNaming(frame, 1).size(); }},
                    Waiting{"Copy", [](Meta const& frame) { return Items(Meta(frame)).size(); }},
                    Waiting{"Append",
                            [](Meta const& frame) {
                                auto const last = std::make_shared<Stranger>();
                                frame.Append(last);
                                auto const items = Items(frame);
                                return items.back() == last ? items.size() - 1 : 0;
                            }},
                    Waiting{"RemoveIf",
                            [](Meta const& frame) {
                                std::size_t asked = 0;
                                frame.RemoveIf([&](Item const&) { return ++asked > 0; });
                                return asked;
                            }},
                    Waiting{"GetLock",
                            [](Meta const& frame) {
                                auto const lock = frame.GetLock();
                                return Items(frame).size();
                            }}),
    [](auto const& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace qel::tests
