#include "foundation/type/iterator/filter.hpp"

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/type/functor.hpp"
#include "foundation/type/iterator/lock.hpp"
#include "foundation/type/iterator/pointer.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using meta::data::Channel;
using meta::data::Zone;
using object::Object;
using testing::ElementsAre;
using testing::IsEmpty;
using type::AsFunctor;
using type::IsFunctor;

using Items = std::vector<std::shared_ptr<Object>>;

/// A container of dynamic objects that cannot be locked.
struct List {
    auto Begin() const { return items.begin(); }
    auto End() const { return items.end(); }

    Items items;
};

struct LockedList : List {
    std::unique_lock<std::recursive_mutex> GetLock() const { return std::unique_lock<std::recursive_mutex>(mutex); }

    bool IsLocked() const {
        return OnAnotherThread([this] { return !std::unique_lock<std::recursive_mutex>(mutex, std::try_to_lock); });
    }

    mutable std::recursive_mutex mutex;
};

template <class T, class Container>
using View = type::iterator::Filter<T const, Container const, IsFunctor<T const>, AsFunctor<T const>>;

template <class Container>
std::vector<unsigned int> ZoneIds(Container const& container) {
    std::vector<unsigned int> ids;
    for (Zone const& zone : View<Zone, Container>(container)) {
        ids.push_back(zone.GetId());
    }
    return ids;
}

TEST(IsFunctorTest, TellsTheTypeOfAnObject) {
    Zone const zone(1);
    Object const* const object = &zone;
    EXPECT_TRUE(IsFunctor<Zone>()(object));
    EXPECT_TRUE(IsFunctor<Zone const>()(object));
    EXPECT_FALSE(IsFunctor<Channel const>()(object));
}

TEST(IsFunctorTest, FindsNothingInANullObject) {
    EXPECT_FALSE(IsFunctor<Zone const>()(static_cast<Object const*>(nullptr)));
}

TEST(AsFunctorTest, GivesTheObjectItself) {
    Zone zone(1);
    Object& object = zone;
    EXPECT_EQ(&AsFunctor<Zone>()(object), &zone);
    EXPECT_EQ(&AsFunctor<Zone const>()(std::as_const(object)), &zone);
}

TEST(FilterTest, YieldsTheItemsOfItsTypeInOrder) {
    List const list{{tests::Zone(3), tests::Channel(7), tests::Zone(1), tests::Zone(2)}};
    EXPECT_THAT(ZoneIds(list), ElementsAre(3, 1, 2));
}

TEST(FilterTest, PassesOverNullsAndUnknownKindsWhereverTheyStand) {
    auto const stranger = std::make_shared<Stranger>();
    List const list{{nullptr, stranger, tests::Zone(3), nullptr, nullptr, stranger, tests::Zone(1), stranger, nullptr}};
    EXPECT_THAT(ZoneIds(list), ElementsAre(3, 1));
}

TEST(FilterTest, IsEmptyWithoutItemsOfItsType) {
    EXPECT_THAT(ZoneIds(List{}), IsEmpty());
    EXPECT_THAT(ZoneIds(List{{nullptr}}), IsEmpty());
    EXPECT_THAT(ZoneIds(List{{tests::Channel(7), nullptr, std::make_shared<Stranger>()}}), IsEmpty());
}

TEST(FilterTest, YieldsTheItemsThemselves) {
    auto const zone = tests::Zone(3);
    List const list{{nullptr, zone}};
    View<Zone, List> const view(list);
    EXPECT_EQ(&*view.begin(), zone.get());
    EXPECT_EQ(view.begin()->GetId(), 3u);
    static_assert(std::is_same_v<decltype(*view.begin()), Zone const&>);
}

TEST(FilterTest, YieldsItemsToChangeWhenItsTypeIsNotConst) {
    auto const stranger = std::make_shared<Stranger>(1);
    List list{{nullptr, stranger}};
    for (Stranger& each : type::iterator::Filter<Stranger, List, IsFunctor<Stranger>, AsFunctor<Stranger>>(list)) {
        each.value = 2;
    }
    EXPECT_EQ(stranger->value, 2);
}

TEST(FilterTest, MayBeWalkedAgain) {
    List const list{{tests::Zone(3), nullptr, tests::Zone(1)}};
    View<Zone, List> const view(list);
    EXPECT_EQ(std::distance(view.begin(), view.end()), 2);
    EXPECT_EQ(std::distance(view.begin(), view.end()), 2);
}

TEST(FilterTest, ServesAlgorithms) {
    List const list{{tests::Zone(3), nullptr, tests::Zone(1), tests::Zone(3)}};
    View<Zone, List> const view(list);
    EXPECT_EQ(std::count_if(view.begin(), view.end(), [](Zone const& zone) { return zone.GetId() == 3; }), 2);
    auto const found = std::find_if(view.begin(), view.end(), [](Zone const& zone) { return zone.GetId() == 1; });
    ASSERT_NE(found, view.end());
    EXPECT_EQ(found->GetId(), 1u);
}

TEST(FilterTest, LocksTheContainerForAsLongAsItLives) {
    LockedList list;
    list.items = {tests::Zone(3)};
    {
        View<Zone, LockedList> const view(list);
        EXPECT_TRUE(list.IsLocked());
        for (Zone const& zone : view) {
            static_cast<void>(zone);
            EXPECT_TRUE(list.IsLocked());
        }
        EXPECT_TRUE(list.IsLocked());
    }
    EXPECT_FALSE(list.IsLocked());
}

TEST(FilterTest, LocksTheContainerForALoopAndWhenTheLoopIsLeft) {
    LockedList list;
    list.items = {tests::Zone(3), tests::Zone(1)};
    int passes = 0;
    for (Zone const& zone : View<Zone, LockedList>(list)) {
        EXPECT_EQ(zone.GetId(), 3u);
        EXPECT_TRUE(list.IsLocked());
        ++passes;
        break;
    }
    EXPECT_EQ(passes, 1);
    EXPECT_FALSE(list.IsLocked());
}

TEST(LockTest, TakesTheEndsOfTheContainerAtItsConstruction) {
    List list{{tests::Zone(3), tests::Zone(1)}};
    list.items.reserve(8);
    type::iterator::Lock<List const, Items::const_iterator> const lock(list);
    list.items.push_back(tests::Zone(2));
    EXPECT_EQ(std::distance(lock.Begin(), lock.End()), 2);
}

TEST(PointerTest, GivesWhatTheItemsPointTo) {
    Items const items{tests::Zone(3), nullptr, tests::Zone(1)};
    using Pointer = type::iterator::Pointer<Items::const_iterator>;
    std::vector<Object*> seen;
    for (Pointer at(items.begin()); !(at == Pointer(items.end())); ++at) {
        seen.push_back(*at);
    }
    EXPECT_THAT(seen, ElementsAre(items[0].get(), nullptr, items[2].get()));
}

}  // namespace
}  // namespace qel::tests
