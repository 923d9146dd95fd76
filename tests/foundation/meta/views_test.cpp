#include "foundation/meta/views.hpp"

#include <iterator>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/frames.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using meta::ChannelsOf;
using meta::EventsNaming;
using meta::EventsOf;
using meta::ItemsOf;
using meta::Meta;
using meta::ObjectsOf;
using meta::ObservablesOf;
using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;

// The four are the typed filter with the functors of the type library.
static_assert(std::is_same_v<decltype(EventsOf(std::declval<Meta const&>())),
                             type::iterator::Filter<Event const, Meta const, type::IsFunctor<Event const>,
                                                    type::AsFunctor<Event const>>>);

template <class View>
auto IdsOf(View const& view) {
    std::vector<unsigned int> ids;
    for (auto const& each : view) {
        ids.push_back(each.GetId());
    }
    return ids;
}

std::vector<unsigned int> Naming(Meta const& frame, unsigned int observable) {
    return IdsOf(EventsNaming(frame, observable));
}

/// An event with this id that names these observables.
std::shared_ptr<Event> EventOf(unsigned int id, std::vector<unsigned int> const& observables) {
    Event::Objects objects;
    for (unsigned int const observable : observables) {
        objects.push_back(Record(observable));
    }
    return MakeEvent(id, At(0), At(0), std::move(objects));
}

// Typed walks.

class TypedWalkTest : public testing::Test {
protected:
    TypedWalkTest() {
        for (auto const& item : std::vector<std::shared_ptr<object::Object>>{
                 std::make_shared<Stranger>(), Channel(11), nullptr, MakeEvent(21, At(0), At(0), {}), Person(31),
                 Zone(41), Record(51), std::make_shared<Stranger>(), MakeEvent(22, At(0), At(0), {}), nullptr, Zone(42),
                 Channel(12), Person(32), Record(52), std::make_shared<Stranger>(), nullptr}) {
            frame.Append(item);
            event.AppendObject(item);
        }
    }

    Meta const frame{At(0)};
    Event event;
};

TEST_F(TypedWalkTest, FindsTheEventsOfAFrame) { EXPECT_THAT(IdsOf(EventsOf(frame)), ElementsAre(21, 22)); }

TEST_F(TypedWalkTest, FindsTheChannelsOfAFrame) { EXPECT_THAT(IdsOf(ChannelsOf(frame)), ElementsAre(11, 12)); }

TEST_F(TypedWalkTest, FindsTheObservableRecordsOfAnEvent) {
    EXPECT_THAT(IdsOf(ObservablesOf(event)), ElementsAre(51, 52));
}

TEST_F(TypedWalkTest, FindsTheTrackedObjectsOfAnEvent) { EXPECT_THAT(IdsOf(ObjectsOf(event)), ElementsAre(31, 32)); }

TEST_F(TypedWalkTest, FindsTheItemsOfAnyKind) {
    EXPECT_THAT(IdsOf(ItemsOf<meta::data::Zone>(frame)), ElementsAre(41, 42));
    EXPECT_THAT(IdsOf(ItemsOf<meta::data::Zone>(event)), ElementsAre(41, 42));
    int strangers = 0;
    for (Stranger const& each : ItemsOf<Stranger>(frame)) {
        static_cast<void>(each);
        ++strangers;
    }
    EXPECT_EQ(strangers, 3);
}

TEST_F(TypedWalkTest, GivesTheItemsThemselvesToRead) {
    for (auto const& each : EventsOf(frame)) {
        static_assert(std::is_same_v<decltype(each), Event const&>);
        EXPECT_EQ(&each, Items(frame)[3].get());
        break;
    }
}

TEST(EmptyWalkTest, IsEmptyOverAFrameWithoutEvents) {
    Meta const frame(At(0));
    EXPECT_THAT(IdsOf(EventsOf(frame)), IsEmpty());
    frame.Append(nullptr);
    frame.Append(std::make_shared<Stranger>());
    frame.Append(Person(1));
    EXPECT_THAT(IdsOf(EventsOf(frame)), IsEmpty());
    EXPECT_THAT(IdsOf(ChannelsOf(frame)), IsEmpty());
}

TEST(EmptyWalkTest, IsEmptyOverAnEventWithoutObjects) {
    Event event;
    EXPECT_THAT(IdsOf(ObservablesOf(event)), IsEmpty());
    event.AppendObject(std::shared_ptr<object::Object>());
    event.AppendObject(Stranger());
    EXPECT_THAT(IdsOf(ObservablesOf(event)), IsEmpty());
    EXPECT_THAT(IdsOf(ObjectsOf(event)), IsEmpty());
}

// A view must not outlive what it is a view of.
template <class Frame>
concept HasEvents = requires {
    EventsOf(std::declval<Frame>());
};
template <class Frame>
concept HasChannels = requires {
    ChannelsOf(std::declval<Frame>());
};
template <class Source>
concept HasObservables = requires {
    ObservablesOf(std::declval<Source>());
};
template <class Source>
concept HasObjects = requires {
    ObjectsOf(std::declval<Source>());
};
template <class Frame>
concept HasZones = requires {
    ItemsOf<meta::data::Zone>(std::declval<Frame>());
};
static_assert(HasEvents<Meta&> && HasEvents<Meta const&> && !HasEvents<Meta> && !HasEvents<Meta const>);
static_assert(HasChannels<Meta&> && !HasChannels<Meta>);
static_assert(HasObservables<Event const&> && !HasObservables<Event>);
static_assert(HasObjects<Event const&> && !HasObjects<Event>);
static_assert(HasZones<Meta const&> && HasZones<Event const&> && !HasZones<Meta> && !HasZones<Event>);

// Look-ups.

TEST(EventsNamingTest, FindsNothingInAnEmptyFrame) {
    Meta const frame(At(0));
    EventsNaming const found(frame, 1);
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(found.size(), 0u);
    EXPECT_EQ(found.begin(), found.end());
}

TEST(EventsNamingTest, FindsTheEventsThatNameAnObservableInOrder) {
    Meta const frame(At(0));
    frame.Append(EventOf(21, {1}));
    frame.Append(EventOf(22, {2}));
    frame.Append(EventOf(23, {2, 1}));
    frame.Append(EventOf(24, {}));
    frame.Append(EventOf(25, {1}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 23, 25));
    EXPECT_THAT(Naming(frame, 2), ElementsAre(22, 23));
    EXPECT_THAT(Naming(frame, 3), IsEmpty());
}

TEST(EventsNamingTest, FindsAnEventOnceForEachRecord) {
    Meta const frame(At(0));
    auto const record = Record(1);
    frame.Append(MakeEvent(21, At(0), At(0), {record, Person(5), Record(1), record}));
    frame.Append(EventOf(22, {1}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 21, 21, 22));
}

TEST(EventsNamingTest, FindsAnEventAsOftenAsItStandsInTheFrame) {
    Meta const frame(At(0));
    auto const event = EventOf(21, {1});
    frame.Append(event);
    frame.Append(EventOf(22, {1}));
    frame.Append(event);
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 22, 21));
}

TEST(EventsNamingTest, PassesOverNullsOtherKindsAndRecordsOutsideOfEvents) {
    Meta const frame(At(0));
    frame.Append(nullptr);
    frame.Append(Record(1));
    frame.Append(std::make_shared<Stranger>());
    frame.Append(Person(1));
    frame.Append(MakeEvent(21, At(0), At(0),
                           {nullptr, Person(1), Zone(1), Channel(1), std::make_shared<Stranger>(), EventOf(22, {1})}));
    EXPECT_THAT(Naming(frame, 1), IsEmpty());
    frame.Append(MakeEvent(23, At(0), At(0), {nullptr, std::make_shared<Stranger>(), Record(1)}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(23));
}

TEST(EventsNamingTest, TakesAnyIdForAnId) {
    Meta const frame(At(0));
    frame.Append(EventOf(21, {0}));
    frame.Append(EventOf(22, {0xFFFFFFFF}));
    EXPECT_THAT(Naming(frame, 0), ElementsAre(21));
    EXPECT_THAT(Naming(frame, 0xFFFFFFFF), ElementsAre(22));
}

TEST(EventsNamingTest, GivesTheEventsThemselves) {
    Meta const frame(At(0));
    auto const first = EventOf(21, {1});
    auto const last = EventOf(22, {1});
    frame.Append(first);
    frame.Append(last);
    EventsNaming const found(frame, 1);
    EXPECT_FALSE(found.empty());
    EXPECT_EQ(found.size(), 2u);
    EXPECT_EQ(&found.front(), first.get());
    EXPECT_EQ(&found.back(), last.get());
    static_assert(std::forward_iterator<EventsNaming::Iterator>);
    auto at = found.begin();
    EXPECT_EQ(&*at++, first.get());
    EXPECT_EQ(at->GetId(), 22u);
    EXPECT_EQ(&*at, last.get());
    EXPECT_EQ(++at, found.end());
    EXPECT_EQ(std::distance(found.begin(), found.end()), 2);
}

TEST(EventsNamingTest, FindsMoreThanAFew) {
    Meta const frame(At(0));
    std::vector<unsigned int> ids;
    for (unsigned int id = 1; id <= 500; ++id) {
        frame.Append(EventOf(id, {1}));
        ids.push_back(id);
        EXPECT_EQ(Naming(frame, 1), ids);
    }
}

TEST(EventsNamingTest, SeesWhatIsAppendedAfterAnEarlierLookUp) {
    Meta const frame(At(0));
    frame.Append(EventOf(21, {1}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21));
    EXPECT_THAT(Naming(frame, 2), IsEmpty());
    frame.Append(EventOf(22, {1, 2}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 22));
    EXPECT_THAT(Naming(frame, 2), ElementsAre(22));
}

TEST(EventsNamingTest, DoesNotSeeWhatIsRemoved) {
    Meta const frame(At(0));
    for (unsigned int id = 1; id <= 40; ++id) {
        frame.Append(EventOf(id, {id % 2}));
    }
    EXPECT_EQ(Naming(frame, 0).size(), 20u);
    frame.RemoveIf([](auto const& item) { return item->template As<Event>().GetId() > 4; });
    EXPECT_THAT(Naming(frame, 0), ElementsAre(2, 4));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(1, 3));
    frame.Append(EventOf(41, {1}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(1, 3, 41));
}

TEST(EventsNamingTest, SeesRecordsThatAreAppendedToAnEventLate) {
    Meta const frame(At(0));
    auto const event = EventOf(21, {1});
    frame.Append(event);
    frame.Append(EventOf(22, {2}));
    EXPECT_THAT(Naming(frame, 2), ElementsAre(22));
    event->AppendObject(Record(2));
    EXPECT_THAT(Naming(frame, 2), ElementsAre(21, 22));
    event->AppendObject(meta::data::Observable(2));
    EXPECT_THAT(Naming(frame, 2), ElementsAre(21, 21, 22));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21));
}

TEST(EventsNamingTest, SeesEditedEvents) {
    Meta const frame(At(0));
    auto const event = EventOf(21, {1});
    frame.Append(event);
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21));
    event->EditObjects([&](Event::Objects& objects) {
        objects.clear();
        EXPECT_THAT(Naming(frame, 1), ElementsAre(21)) << "the edit is not done yet";
        objects.push_back(Record(2));
        EXPECT_THAT(Naming(frame, 2), IsEmpty());
    });
    EXPECT_THAT(Naming(frame, 1), IsEmpty());
    EXPECT_THAT(Naming(frame, 2), ElementsAre(21));
}

TEST(EventsNamingTest, SeesAssignedAndMovedEvents) {
    Meta const frame(At(0));
    auto const event = EventOf(21, {1});
    frame.Append(event);
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21));
    *event = *EventOf(22, {2});
    EXPECT_THAT(Naming(frame, 1), IsEmpty());
    EXPECT_THAT(Naming(frame, 2), ElementsAre(22));
    Event taken(std::move(*event));
    EXPECT_THAT(Naming(frame, 2), IsEmpty());
    *event = std::move(taken);
    EXPECT_THAT(Naming(frame, 2), ElementsAre(22));
    std::swap(*event, *EventOf(23, {3}));
    EXPECT_THAT(Naming(frame, 2), IsEmpty());
    EXPECT_THAT(Naming(frame, 3), ElementsAre(23));
}

TEST(EventsNamingTest, SeesRecordsWithANewId) {
    Meta const frame(At(0));
    auto const shared = Record(1);
    frame.Append(MakeEvent(21, At(0), At(0), {shared}));
    frame.Append(EventOf(22, {2}));
    frame.Append(MakeEvent(23, At(0), At(0), {shared}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 23));
    shared->SetId(2);
    EXPECT_THAT(Naming(frame, 1), IsEmpty());
    EXPECT_THAT(Naming(frame, 2), ElementsAre(21, 22, 23));
}

TEST(EventsNamingTest, AnswersForEveryCopyByItself) {
    Meta const frame(At(0));
    auto const shared = EventOf(21, {1});
    frame.Append(shared);
    Meta const copy(frame);
    frame.Append(EventOf(22, {1}));
    copy.Append(EventOf(23, {1}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 22));
    EXPECT_THAT(Naming(copy, 1), ElementsAre(21, 23));
    Meta const copyOfCopy(copy);
    copy.Append(EventOf(24, {1}));
    copyOfCopy.Append(EventOf(25, {1, 2}));
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 22));
    EXPECT_THAT(Naming(copy, 1), ElementsAre(21, 23, 24));
    EXPECT_THAT(Naming(copyOfCopy, 1), ElementsAre(21, 23, 25));
    EXPECT_THAT(Naming(copyOfCopy, 2), ElementsAre(25));
    shared->AppendObject(Record(2));
    EXPECT_THAT(Naming(frame, 2), ElementsAre(21));
    EXPECT_THAT(Naming(copyOfCopy, 2), ElementsAre(21, 25));
    copy.RemoveIf([&](auto const& item) { return item == shared; });
    EXPECT_THAT(Naming(frame, 1), ElementsAre(21, 22));
    EXPECT_THAT(Naming(copy, 1), ElementsAre(23, 24));
    EXPECT_THAT(Naming(copyOfCopy, 1), ElementsAre(21, 23, 25));
}

TEST(EventsNamingTest, AnswersForALongLineOfCopies) {
    std::vector<std::unique_ptr<Meta>> line;
    line.push_back(std::make_unique<Meta>(At(0)));
    std::vector<unsigned int> ids;
    for (unsigned int id = 1; id <= 50; ++id) {
        line.back()->Append(EventOf(id, {1}));
        ids.push_back(id);
        line.push_back(std::make_unique<Meta>(*line.back()));
        EXPECT_EQ(Naming(*line.back(), 1), ids);
    }
    for (std::size_t generation = 0; generation < 50; ++generation) {
        EXPECT_EQ(Naming(*line[generation], 1).size(), generation + 1);
    }
}

TEST(EventsNamingTest, KeepsWhatItFoundWhateverHappensToTheFrame) {
    std::weak_ptr<Event> watched;
    auto frame = std::make_unique<Meta>(At(0));
    {
        auto const event = EventOf(21, {1});
        watched = event;
        frame->Append(event);
    }
    {
        EventsNaming const found(*frame, 1);
        frame->Append(EventOf(22, {1}));
        EXPECT_EQ(found.size(), 1u);
        frame->RemoveIf([](auto const&) { return true; });
        EXPECT_TRUE(Naming(*frame, 1).empty());
        EXPECT_EQ(found.front().GetId(), 21u);
        frame.reset();
        EXPECT_EQ(found.front().GetId(), 21u);
        EventsNaming const copy(found);
        EXPECT_EQ(copy.front().GetId(), 21u);
        EXPECT_FALSE(watched.expired());
    }
    EXPECT_TRUE(watched.expired());
}

TEST(EventsNamingTest, KeepsWhatItFoundInAFrameThatIsGoneAtOnce) {
    auto const make = [] {
        Meta frame(At(0));
        frame.Append(EventOf(21, {1}));
        return frame;
    };
    EventsNaming const found(make(), 1);
    EXPECT_EQ(found.front().GetId(), 21u);
}

TEST(EventsNamingTest, KeepsWhatItFoundInALongListWhenTheFrameIsCopiedAndGrows) {
    Meta const frame(At(0));
    for (unsigned int id = 1; id <= 20; ++id) {
        frame.Append(EventOf(id, {1}));
    }
    EventsNaming const found(frame, 1);
    Meta const copy(frame);
    for (unsigned int id = 21; id <= 200; ++id) {
        frame.Append(EventOf(id, {1}));
    }
    EXPECT_EQ(found.size(), 20u);
    EXPECT_EQ(found.back().GetId(), 20u);
}

TEST(EventsNamingTest, LeavesTheFrameUnlocked) {
    Meta const frame(At(0));
    EventsNaming const found(frame, 1);
    std::recursive_mutex* const mutex = frame.GetLock().mutex();
    EXPECT_TRUE(OnAnotherThread(
        [mutex] { return std::unique_lock<std::recursive_mutex>(*mutex, std::try_to_lock).owns_lock(); }));
}

}  // namespace
}  // namespace qel::tests
