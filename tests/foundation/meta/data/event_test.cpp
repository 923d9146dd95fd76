#include "foundation/meta/data/event.hpp"

#include <functional>
#include <memory>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/meta/key_changes.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using meta::KeyChanges;
using meta::Timestamp;
using meta::data::Event;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::ThrowsMessage;
using Objects = Event::Objects;

// Drawn before any test makes an event.
unsigned int const firstId = Event("", "", "", {}, {}, {}).GetId();

static_assert(std::is_same_v<Objects, std::vector<std::shared_ptr<object::Object const>>>);
static_assert(std::is_nothrow_move_constructible_v<Event>, "lists of events move them when they grow");

/// Everything that an event says, to be compared with another's.
auto Contents(Event const& event) {
    return std::tuple(event.GetId(), event.GetName(), event.GetType(), event.GetCategory(), event.GetStart(),
                      event.GetEnd(), event.IsDuplicate(), event.IsFinal(), event.IsInternal(), event.GetObjects());
}

Event MakeFullEvent() {
    Event event(7, "gate", "and", "analytics", At(10), At(20), {Person(1), Zone(2), nullptr, Record(3)});
    event.SetDuplicate(true);
    event.SetFinal(true);
    event.SetInternal(true);
    return event;
}

// What it is made of.

TEST(EventTest, IsEmptyByDefault) {
    EXPECT_EQ(Contents(Event()), std::tuple(0u, "", "", "", Timestamp(), Timestamp(), false, false, false, Objects()));
    EXPECT_EQ(Timestamp().time_since_epoch().count(), 0);
}

TEST(EventTest, IsTypedAsAnEvent) {
    EXPECT_TRUE(Event().Is<Event>());
    EXPECT_EQ(Event().GetTypeNameId(), hash::MurmurThree32::MakeData("qel.meta.data.Event"));
    EXPECT_STREQ(Event::ClassTypeName, "qel.meta.data.Event");
}

TEST(EventTest, IsMadeWithAnId) {
    Objects const objects{Person(1), nullptr, Record(3)};
    Event const event(7, "gate", "and", "analytics", At(10), At(20), objects);
    EXPECT_EQ(Contents(event),
              std::tuple(7u, "gate", "and", "analytics", At(10), At(20), false, false, false, objects));
}

TEST(EventTest, IsMadeWithAnIdOfItsOwn) {
    Objects const objects{Person(1)};
    Event const event("gate", "and", "analytics", At(10), At(20), objects);
    EXPECT_EQ(Contents(event),
              std::tuple(event.GetId(), "gate", "and", "analytics", At(10), At(20), false, false, false, objects));
}

TEST(EventTest, IsMadeWithTextsThatOthersShare) {
    auto const texts = std::make_shared<Event::Texts const>(Event::Texts{"gate", "and", "analytics"});
    Event const event(texts, At(10), At(20), {});
    Event const other(7, texts, At(10), At(20), {});
    for (Event const* each : {&event, &other}) {
        EXPECT_EQ(&each->GetName(), &texts->name);
        EXPECT_EQ(&each->GetType(), &texts->type);
        EXPECT_EQ(&each->GetCategory(), &texts->category);
    }
    EXPECT_EQ(other.GetId(), 7u);
    EXPECT_EQ(Event(texts, At(10), At(20), {}).GetId(), event.GetId() + 1);
}

TEST(EventTest, HasEmptyTextsWhenNoneAreGiven) {
    EXPECT_EQ(Contents(Event(7, nullptr, At(10), At(20), {})),
              std::tuple(7u, "", "", "", At(10), At(20), false, false, false, Objects()));
}

// Its id.

TEST(EventTest, HasIdsFromOne) { EXPECT_EQ(firstId, 1u); }

TEST(EventTest, DrawsTheNextIdOnlyWhenItIsMadeWithoutOne) {
    Event const before("", "", "", {}, {}, {});
    Event const none;
    Event const given(99, "", "", "", {}, {}, {});
    Event const givenTexts(98, nullptr, {}, {}, {});
    Event copy(before);
    Event const moved(std::move(copy));
    Event assigned;
    assigned = before;
    auto const clone = before.Clone();
    Event const after("", "", "", {}, {}, {});
    EXPECT_EQ(after.GetId(), before.GetId() + 1);
}

TEST(EventTest, DrawsDistinctIdsOnManyThreads) {
    constexpr int Threads = 4;
    constexpr std::size_t EventsPerThread = 1000;
    std::vector<std::vector<unsigned int>> drawn(Threads);
    RunTogether(Threads, [&](int thread) {
        auto& ids = drawn[static_cast<std::size_t>(thread)];
        for (std::size_t count = 0; count < EventsPerThread; ++count) {
            ids.push_back(Event("", "", "", {}, {}, {}).GetId());
        }
    });
    std::set<unsigned int> distinct;
    for (auto const& ids : drawn) {
        distinct.insert(ids.begin(), ids.end());
    }
    EXPECT_EQ(distinct.size(), Threads * EventsPerThread);
    EXPECT_EQ(*distinct.rbegin() - *distinct.begin() + 1, Threads * EventsPerThread) << "an id was left out";
}

// Flags, times and texts.

TEST(EventTest, HasThreeFlagsThatDoNotTouchOneAnother) {
    Event event;
    auto const flags = [&] { return std::tuple(event.IsDuplicate(), event.IsFinal(), event.IsInternal()); };
    event.SetDuplicate(true);
    EXPECT_EQ(flags(), std::tuple(true, false, false));
    event.SetFinal(true);
    EXPECT_EQ(flags(), std::tuple(true, true, false));
    event.SetInternal(true);
    EXPECT_EQ(flags(), std::tuple(true, true, true));
    event.SetDuplicate(false);
    EXPECT_EQ(flags(), std::tuple(false, true, true));
    event.SetFinal(false);
    EXPECT_EQ(flags(), std::tuple(false, false, true));
    event.SetInternal(false);
    EXPECT_EQ(flags(), std::tuple(false, false, false));
}

TEST(EventTest, MovesItsEnd) {
    Event event(7, "gate", "and", "analytics", At(10), At(20), {});
    event.SetEnd(At(30));
    EXPECT_EQ(event.GetStart(), At(10));
    EXPECT_EQ(event.GetEnd(), At(30));
}

TEST(EventTest, KeepsTimesToTheNanosecond) {
    Timestamp const time(std::chrono::nanoseconds(1'700'000'000'123'456'789));
    Event const event(7, "", "", "", time, time + std::chrono::nanoseconds(1), {});
    EXPECT_EQ(event.GetStart().time_since_epoch().count(), 1'700'000'000'123'456'789);
    EXPECT_EQ(event.GetEnd().time_since_epoch().count(), 1'700'000'000'123'456'790);
}

TEST(EventTest, ChangesItsNameAndItsType) {
    Event event(7, "gate", "and", "analytics", At(10), At(20), {});
    event.SetName("door");
    EXPECT_EQ(Contents(event),
              std::tuple(7u, "door", "and", "analytics", At(10), At(20), false, false, false, Objects()));
    event.SetType("or");
    EXPECT_EQ(Contents(event),
              std::tuple(7u, "door", "or", "analytics", At(10), At(20), false, false, false, Objects()));
}

TEST(EventTest, TakesTextsThatOthersShare) {
    auto const texts = std::make_shared<Event::Texts const>(Event::Texts{"door", "or", "tests"});
    Event event(7, "gate", "and", "analytics", At(10), At(20), {});
    event.SetTexts(texts);
    EXPECT_EQ(Contents(event), std::tuple(7u, "door", "or", "tests", At(10), At(20), false, false, false, Objects()));
    EXPECT_EQ(&event.GetName(), &texts->name);
    event.SetName("gate");
    EXPECT_EQ(texts->name, "door");
    event.SetTexts(nullptr);
    EXPECT_EQ(Contents(event), std::tuple(7u, "", "", "", At(10), At(20), false, false, false, Objects()));
}

TEST(EventTest, LeavesTheTextsOfItsCopies) {
    Event event(7, "gate", "and", "analytics", At(10), At(20), {});
    Event const copy(event);
    event.SetName("door");
    event.SetType("or");
    EXPECT_EQ(copy.GetName(), "gate");
    EXPECT_EQ(copy.GetType(), "and");
}

TEST(EventTest, ChangesTheTextsOfADefaultEventAlone) {
    Event event;
    event.SetName("door");
    event.SetType("or");
    EXPECT_EQ(event.GetName(), "door");
    EXPECT_EQ(Event().GetName(), "");
    EXPECT_EQ(Event().GetType(), "");
}

// Its objects.

TEST(EventTest, IsWalkedFromBeginToEnd) {
    Objects const objects{Person(1), nullptr, Record(3)};
    Event const event(7, "", "", "", {}, {}, objects);
    EXPECT_EQ(Objects(event.Begin(), event.End()), objects);
    static_assert(std::is_same_v<decltype(*event.Begin()), std::shared_ptr<object::Object const> const&>);
    static_assert(std::is_same_v<decltype(event.GetObjects()), Objects const&>);
    EXPECT_EQ(Event().Begin(), Event().End());
}

TEST(EventTest, AppendsAnObjectThatItShares) {
    auto const person = Person(1);
    Event event(7, "", "", "", {}, {}, {Zone(2)});
    event.AppendObject(std::shared_ptr<object::Object const>(person));
    event.AppendObject(person);
    ASSERT_EQ(event.GetObjects().size(), 3u);
    EXPECT_EQ(event.GetObjects()[1], person);
    EXPECT_EQ(event.GetObjects()[2], person);
}

TEST(EventTest, AppendsANull) {
    Event event;
    event.AppendObject(std::shared_ptr<object::Object const>());
    EXPECT_THAT(event.GetObjects(), ElementsAre(nullptr));
}

TEST(EventTest, AppendsACopyOfAnObject) {
    Stranger stranger(5);
    Event event;
    event.AppendObject(stranger);
    event.AppendObject(std::as_const(stranger));
    stranger.value = 6;
    ASSERT_EQ(event.GetObjects().size(), 2u);
    for (auto const& copy : event.GetObjects()) {
        EXPECT_NE(copy.get(), &stranger);
        EXPECT_EQ(copy->As<Stranger>().value, 5);
    }
}

TEST(EventTest, AppendsACopyOfItself) {
    Event event(7, "", "", "", {}, {}, {Person(1)});
    event.AppendObject(event);
    ASSERT_EQ(event.GetObjects().size(), 2u);
    EXPECT_EQ(event.GetObjects()[1]->As<Event>().GetObjects().size(), 1u);
}

TEST(EventTest, HasItsObjectsEdited) {
    auto const person = Person(1);
    auto const record = Record(3);
    Event event(7, "", "", "", {}, {}, {person, Zone(2), record});
    event.EditObjects([&](Objects& objects) {
        EXPECT_EQ(objects.size(), 3u);
        objects.erase(objects.begin() + 1);
        std::swap(objects[0], objects[1]);
        objects.push_back(nullptr);
    });
    EXPECT_THAT(event.GetObjects(), ElementsAre(record, person, nullptr));
}

TEST(EventTest, KeepsItsObjectsUntilTheEditIsDone) {
    Objects const objects{Person(1), Record(3)};
    Event event(7, "", "", "", {}, {}, objects);
    event.EditObjects([&](Objects& edited) {
        edited.clear();
        EXPECT_EQ(event.GetObjects(), objects);
    });
    EXPECT_THAT(event.GetObjects(), IsEmpty());
}

TEST(EventTest, KeepsItsObjectsWhenTheEditThrows) {
    Objects const objects{Person(1), Record(3)};
    Event event(7, "", "", "", {}, {}, objects);
    EXPECT_THAT(
        [&] {
            event.EditObjects([](Objects& edited) {
                edited.clear();
                throw std::runtime_error("from an edit");
            });
        },
        ThrowsMessage<std::runtime_error>("from an edit"));
    EXPECT_EQ(event.GetObjects(), objects);
}

TEST(EventTest, RefusesAnEditThatIsEmpty) {
    Event event;
    EXPECT_THROW(event.EditObjects(nullptr), std::bad_function_call);
}

// Copies.

TEST(EventTest, IsCopiedWithEverything) {
    Event const event = MakeFullEvent();
    Event const copy(event);
    EXPECT_EQ(Contents(copy), Contents(event));
    EXPECT_TRUE(copy.Is<Event>());
}

TEST(EventTest, SharesItsObjectsWithACopyAndNotTheList) {
    Event event = MakeFullEvent();
    Event copy(event);
    EXPECT_EQ(copy.GetObjects()[0], event.GetObjects()[0]);
    event.AppendObject(Person(2));
    EXPECT_EQ(copy.GetObjects().size(), 4u);
    copy.EditObjects([](Objects& objects) { objects.clear(); });
    EXPECT_EQ(event.GetObjects().size(), 5u);
}

TEST(EventTest, IsMovedWithEverything) {
    Event event = MakeFullEvent();
    auto const contents = Contents(event);
    Event const moved(std::move(event));
    EXPECT_EQ(Contents(moved), contents);
}

TEST(EventTest, StaysAnEventWithoutObjectsWhenItIsMovedFrom) {
    Event event = MakeFullEvent();
    Event const moved(std::move(event));
    EXPECT_THAT(event.GetObjects(), IsEmpty());
    EXPECT_TRUE(event.Is<Event>());
    event.SetName("door");
    EXPECT_EQ(event.GetName(), "door");
    EXPECT_EQ(moved.GetName(), "gate");
}

TEST(EventTest, IsAssignedEverything) {
    Event const event = MakeFullEvent();
    Event copied(8, "door", "or", "tests", At(1), At(2), {Person(9)});
    copied = event;
    EXPECT_EQ(Contents(copied), Contents(event));

    Event moved;
    Event from = MakeFullEvent();
    auto const contents = Contents(from);
    moved = std::move(from);
    EXPECT_EQ(Contents(moved), contents);
}

TEST(EventTest, KeepsEverythingWhenItIsAssignedItself) {
    Event event = MakeFullEvent();
    auto const contents = Contents(event);
    Event const& itself = event;
    event = itself;
    EXPECT_EQ(Contents(event), contents);
}

TEST(EventTest, IsClonedWithEverything) {
    Event const event = MakeFullEvent();
    std::shared_ptr<object::Object> const clone = event.Clone();
    EXPECT_NE(clone.get(), &event);
    EXPECT_EQ(Contents(clone->As<Event>()), Contents(event));
    EXPECT_EQ(clone->shared_from_this(), clone);
}

TEST(EventTest, HandsOutSharedReferencesToItself) {
    auto const event = std::make_shared<Event>();
    EXPECT_EQ(event->shared_from_this(), event);
}

// What look-ups are told of changes.

struct Change {
    char const* name;
    std::uint64_t counted;
    std::function<void(Event&)> make;
};

void PrintTo(Change const& change, std::ostream* stream) { *stream << change.name; }

class EventChangeTest : public testing::TestWithParam<Change> {};

TEST_P(EventChangeTest, IsCountedOnlyWhenItChangesAKeyOfAWatchedEvent) {
    Event unwatched = MakeFullEvent();
    std::uint64_t const atFirst = KeyChanges();
    GetParam().make(unwatched);
    EXPECT_EQ(KeyChanges() - atFirst, 0u);

    Event watched = MakeFullEvent();
    watched.WatchKeys();
    watched.WatchKeys();
    std::uint64_t const before = KeyChanges();
    GetParam().make(watched);
    EXPECT_EQ(KeyChanges() - before, GetParam().counted);
    GetParam().make(watched);
    EXPECT_EQ(KeyChanges() - before, 2 * GetParam().counted) << "it is watched for good";
}

INSTANTIATE_TEST_SUITE_P(
    Event, EventChangeTest,
    testing::Values(
        Change{"AppendRecord", 1, [](Event& event) { event.AppendObject(Record(1)); }},
        Change{"AppendCopyOfRecord", 1, [](Event& event) { event.AppendObject(meta::data::Observable(1)); }},
        Change{"AppendTrackedObject", 1, [](Event& event) { event.AppendObject(Person(1)); }},
        Change{"EditObjects", 1, [](Event& event) { event.EditObjects([](Objects& objects) { objects.clear(); }); }},
        Change{"Assign", 1, [](Event& event) { event = Event(); }},
        Change{"MoveFrom", 1, [](Event& event) { Event const moved(std::move(event)); }},
        // What is no key.
        Change{"AppendZone", 0, [](Event& event) { event.AppendObject(Zone(1)); }},
        Change{"AppendChannel", 0, [](Event& event) { event.AppendObject(Channel(1)); }},
        Change{"AppendUnknown", 0, [](Event& event) { event.AppendObject(Stranger()); }},
        Change{"AppendNull", 0, [](Event& event) { event.AppendObject(std::shared_ptr<object::Object>()); }},
        Change{"SetEnd", 0, [](Event& event) { event.SetEnd(At(50)); }},
        Change{"SetTexts", 0,
               [](Event& event) {
                   event.SetName("door");
                   event.SetType("or");
                   event.SetTexts(nullptr);
               }},
        Change{"SetFlags", 0,
               [](Event& event) {
                   event.SetDuplicate(false);
                   event.SetFinal(false);
                   event.SetInternal(false);
               }},
        Change{"Copy", 0, [](Event& event) { Event const copy(event); }},
        Change{"AssignToACopy", 0,
               [](Event& event) {
                   Event copy(event);
                   copy = Event();
               }}),
    [](auto const& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace qel::tests
