#include "observable/observable.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iomanip>
#include <locale>
#include <memory>
#include <mutex>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "foundation/hash/murmur_three_32.hpp"
#include "foundation/type/bad_cast.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/registered.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/slot_of.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/threads.hpp"

namespace qel::observable {
namespace {

using hash::MurmurThree32;
using meta::data::Event;
using testing::ElementsAre;
using testing::IsEmpty;
using tests::At;
using tests::MakeEvent;
using tests::Person;
using tests::Record;
using tests::Scripted;
using tests::SlotOf;
using tests::Zone;

// Made before any test runs: the library itself makes no observable when it is loaded.
std::uint32_t const firstIdOfTheProcess = std::make_shared<Scripted>()->GetId();

using Objects = Event::Objects;

std::shared_ptr<Event> EventWith(Objects objects) { return MakeEvent(At(0), At(0), std::move(objects)); }

TEST(ObservableIdentity, TheFirstIdOfTheProcessIsZero) { EXPECT_EQ(firstIdOfTheProcess, 0u); }

TEST(ObservableIdentity, AFreshObservableHasTheNextIdNoNameAndTriggersActions) {
    Scripted const before;
    Observable const fresh(object::TypeIdOf<Scripted>);
    EXPECT_EQ(fresh.GetId(), before.GetId() + 1);
    EXPECT_EQ(fresh.GetName(), "");
    EXPECT_TRUE(fresh.GetTriggersAction());
    EXPECT_FALSE(fresh.HasObservers());
}

TEST(ObservableIdentity, IdsAreNotUsedAgainAfterTheirObservableIsGone) {
    std::uint32_t const gone = Scripted().GetId();
    EXPECT_EQ(Scripted().GetId(), gone + 1);
}

TEST(ObservableIdentity, SetIdLeavesTheCounterAlone) {
    Scripted observable;
    std::uint32_t const drawn = observable.GetId();
    observable.SetId(drawn + 1000);
    EXPECT_EQ(observable.GetId(), drawn + 1000);
    EXPECT_EQ(Scripted().GetId(), drawn + 1);
}

TEST(ObservableIdentity, SetIdTakesAnyValueAlsoOneThatIsInUse) {
    Scripted const other;
    Scripted observable;
    for (std::uint32_t const id : {other.GetId(), std::uint32_t{0}, UnsetId - 1, UnsetId}) {
        observable.SetId(id);
        EXPECT_EQ(observable.GetId(), id);
    }
}

TEST(ObservableIdentity, TheUnsetIdIsTheLargest) { EXPECT_EQ(UnsetId, 0xFFFFFFFFu); }

TEST(ObservableIdentity, NameAndFlagAreWhatWasSet) {
    Scripted observable("gate");
    EXPECT_EQ(observable.GetName(), "gate");
    std::string const before = observable.GetName();
    observable.SetName("kerb");
    EXPECT_EQ(observable.GetName(), "kerb");
    EXPECT_TRUE(observable.HasName("kerb"));
    EXPECT_FALSE(observable.HasName("gate"));
    EXPECT_EQ(before, "gate");
    observable.SetTriggersAction(false);
    EXPECT_FALSE(observable.GetTriggersAction());
    observable.SetTriggersAction(true);
    EXPECT_TRUE(observable.GetTriggersAction());
}

TEST(ObservableIdentity, TheTypeIsTheOneThatTheClassPassed) {
    Observable const observable(MurmurThree32::MakeData("qel.tests.Anything"));
    EXPECT_EQ(observable.GetTypeNameId(), MurmurThree32::MakeData("qel.tests.Anything"));
    EXPECT_EQ(&observable.GetTypeNameId(), &observable.GetTypeNameId()) << "a reference to the stored id";
}

TEST(ObservableIdentity, AnUnregisteredTypeHasNoNameAndNoFactory) {
    auto const unregistered = MurmurThree32::MakeData("qel.tests.Unregistered");
    EXPECT_EQ(Observable::TypeName(unregistered), nullptr);
    EXPECT_EQ(Observable::Make(unregistered), nullptr);
    EXPECT_EQ(Observable(unregistered).GetTypeName(), nullptr);
}

TEST(ObservableIdentity, GetPtrSharesTheOwnership) {
    auto const owner = std::make_shared<Scripted>();
    std::shared_ptr<Observable> const shared = owner->GetPtr();
    std::shared_ptr<Observable const> const constShared = std::as_const(*owner).GetPtr();
    EXPECT_EQ(shared, owner);
    EXPECT_EQ(constShared, owner);
    EXPECT_EQ(owner.use_count(), 3);
}

TEST(ObservableIdentity, GetPtrOfAnObservableThatNobodySharesThrows) {
    Scripted observable;
    EXPECT_THROW(observable.GetPtr(), std::bad_weak_ptr);
    EXPECT_THROW(std::as_const(observable).GetPtr(), std::bad_weak_ptr);
}

TEST(ObservableIdentity, ObservablesAreNeitherCopiedNorMoved) {
    static_assert(!std::is_copy_constructible_v<Observable> && !std::is_copy_assignable_v<Observable>);
    static_assert(!std::is_move_constructible_v<Observable> && !std::is_move_assignable_v<Observable>);
    static_assert(std::is_base_of_v<std::enable_shared_from_this<Observable>, Observable>);
    static_assert(std::has_virtual_destructor_v<Observable>);
    static_assert(!std::is_convertible_v<MurmurThree32, Observable>);
}

/// Whether another thread can lock the mutex.
bool IsFree(std::recursive_mutex& mutex) {
    return tests::OnAnotherThread([&] { return std::unique_lock(mutex, std::try_to_lock).owns_lock(); });
}

TEST(ObservableLock, IsOwnedByItsHolderAndMayBeTakenAgainOnTheSameThread) {
    Scripted observable;
    auto outer = observable.GetLock();
    ASSERT_TRUE(outer.owns_lock());
    {
        auto const inner = observable.GetLock();
        EXPECT_TRUE(inner.owns_lock());
        EXPECT_EQ(inner.mutex(), outer.mutex());
    }
    EXPECT_FALSE(IsFree(*outer.mutex()));
    outer.unlock();
    EXPECT_TRUE(IsFree(*outer.mutex()));
}

TEST(ObservableLock, IsOneForEachObservable) {
    Scripted one;
    Scripted other;
    auto const held = one.GetLock();
    auto const free = other.GetLock();
    EXPECT_NE(held.mutex(), free.mutex());
}

TEST(ObservableLock, MayBeHeldWhileEverythingButNotifyingIsDone) {
    Scripted observable;
    auto const held = observable.GetLock();
    observable.SetId(5);
    observable.SetName("held");
    auto const binding = observable.Bind([](auto const&) {});
    EXPECT_TRUE(observable.HasObservers());
    observable.Unbind(0);
    EXPECT_FALSE(observable.HasObservers());
}

TEST(ObservableRecord, CarriesTheIdAndIsMadeOnce) {
    Scripted const observable;
    auto const record = observable.MakeObservableMetadata();
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(record->Is<meta::data::Observable>());
    EXPECT_EQ(record->GetId(), observable.GetId());
    EXPECT_EQ(observable.MakeObservableMetadata(), record);
}

TEST(ObservableRecord, ChangesInPlaceWhenNobodyElseHoldsIt) {
    Scripted observable;
    auto const* const record = observable.MakeObservableMetadata().get();
    observable.SetId(7);
    EXPECT_EQ(observable.MakeObservableMetadata().get(), record);
    EXPECT_EQ(record->GetId(), 7u);
}

TEST(ObservableRecord, IsReplacedWhenSomebodyElseHoldsIt) {
    Scripted observable;
    observable.SetId(6);
    auto const held = observable.MakeObservableMetadata();
    observable.SetId(7);
    EXPECT_EQ(held->GetId(), 6u);
    auto const renewed = observable.MakeObservableMetadata();
    EXPECT_NE(renewed, held);
    EXPECT_EQ(renewed->GetId(), 7u);
    EXPECT_EQ(observable.MakeObservableMetadata(), renewed);
}

TEST(ObservableRecord, InAnEventKeepsTheIdThatTheEventWasMadeWith) {
    Scripted observable;
    observable.SetId(6);
    auto const event = EventWith({observable.MakeObservableMetadata()});
    observable.SetId(7);
    EXPECT_EQ(event->GetObjects().front()->As<meta::data::Observable>().GetId(), 6u);
}

TEST(ObservableRecord, ThatSomebodyHoldsIsReplacedEvenWhenTheIdStaysTheSame) {
    Scripted observable;
    auto const held = observable.MakeObservableMetadata();
    observable.SetId(observable.GetId());
    EXPECT_NE(observable.MakeObservableMetadata(), held);
    EXPECT_EQ(observable.MakeObservableMetadata()->GetId(), held->GetId());
}

TEST(ObservableRecord, HasTheNewIdWhenTheIdWasSetBeforeTheFirstRecord) {
    Scripted observable;
    observable.SetId(7);
    EXPECT_EQ(observable.MakeObservableMetadata()->GetId(), 7u);
    EXPECT_EQ(observable.MakeObservableMetadata(), observable.MakeObservableMetadata());
}

TEST(ObservableRecord, OfOneObservableIsNotThatOfAnother) {
    Scripted const one;
    Scripted const other;
    EXPECT_NE(one.MakeObservableMetadata(), other.MakeObservableMetadata());
}

TEST(ObservableRecord, IsReleasedWithTheObservable) {
    auto observable = std::make_shared<Scripted>();
    std::weak_ptr<meta::data::Observable> const record = observable->MakeObservableMetadata();
    EXPECT_FALSE(record.expired());
    observable.reset();
    EXPECT_TRUE(record.expired());
}

TEST(ObservableCopyEventMeta, ReplacesTheRecordOfTheCauseByItsOwn) {
    Scripted const observable;
    auto const person = Person(1);
    auto const zone = Zone(2);
    auto const cause = EventWith({person, Record(3), zone});
    EXPECT_THAT(observable.CopyEventMeta(*cause), ElementsAre(person, zone, observable.MakeObservableMetadata()));
}

TEST(ObservableCopyEventMeta, LeavesTheCauseAsItIs) {
    Scripted const observable;
    Objects const objects{Person(1), Record(3), nullptr};
    auto const cause = EventWith(objects);
    observable.CopyEventMeta(*cause);
    EXPECT_EQ(cause->GetObjects(), objects);
}

TEST(ObservableCopyEventMeta, DropsEveryRecordAlsoItsOwnEarlierOne) {
    Scripted const observable;
    auto const own = observable.MakeObservableMetadata();
    auto const channel = tests::Channel(1);
    auto const cause = EventWith({Record(3), own, Record(4), channel, Record(4)});
    EXPECT_THAT(observable.CopyEventMeta(*cause), ElementsAre(channel, own));
}

TEST(ObservableCopyEventMeta, KeepsNullsAndObjectsOfAnyOtherKindInTheirPlaces) {
    Scripted const observable;
    auto const event = EventWith({});
    auto const person = Person(1);
    auto const stranger = std::make_shared<tests::Stranger>();
    auto const cause = EventWith({nullptr, event, Record(3), nullptr, stranger, person, person});
    EXPECT_THAT(observable.CopyEventMeta(*cause),
                ElementsAre(nullptr, event, nullptr, stranger, person, person, observable.MakeObservableMetadata()));
}

TEST(ObservableCopyEventMeta, OfAnEventWithoutObjectsIsTheOwnRecord) {
    Scripted const observable;
    EXPECT_THAT(observable.CopyEventMeta(Event()), ElementsAre(observable.MakeObservableMetadata()));
}

TEST(ObservableCopyEventMeta, TakesMemoryOnceAlsoWhenEverythingIsKept) {
    Scripted const observable;
    observable.MakeObservableMetadata();
    for (std::size_t const persons : {1u, 2u, 8u}) {
        auto const cause = EventWith(Objects(persons, Person(1)));
        EXPECT_EQ(tests::AllocationsOf([&] { observable.CopyEventMeta(*cause); }), 1u);
    }
}

/// Brings a type into the registry, so that its observables have a type name.
class ObservableText : public testing::Test {
protected:
    Scripted observable;
    tests::Registered<Scripted> const registered;
};

template <class Printed>
std::string Print(Printed const& printed) {
    std::ostringstream stream;
    stream << printed;
    return stream.str();
}

TEST_F(ObservableText, HasTheTypeNameWithoutQuotationMarks) {
    observable.SetId(3);
    EXPECT_EQ(Print(observable), "{\"typename\":qel.tests.Scripted,\"id\":3}");
}

TEST_F(ObservableText, NamesTheTypeOfABuiltInObservable) {
    auto const conjunction = Observable::Make(MurmurThree32::MakeData("qel.observable.And"));
    conjunction->SetId(3);
    EXPECT_EQ(Print(*conjunction), "{\"typename\":qel.observable.And,\"id\":3}");
}

TEST_F(ObservableText, HasTheIdInDecimalWhateverTheNumberFormatOfTheStream) {
    struct Thousands : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    observable.SetId(UnsetId);
    std::ostringstream stream;
    stream.imbue(std::locale(std::locale::classic(), new Thousands));
    stream << std::hex << std::showbase << observable;
    EXPECT_EQ(stream.str(), "{\"typename\":qel.tests.Scripted,\"id\":4294967295}");
}

TEST_F(ObservableText, LeavesTheStreamReadyForMore) {
    observable.SetId(0);
    std::ostringstream stream;
    stream << observable << ' ' << observable;
    EXPECT_EQ(stream.str(), "{\"typename\":qel.tests.Scripted,\"id\":0} {\"typename\":qel.tests.Scripted,\"id\":0}");
}

TEST_F(ObservableText, OfAnUnregisteredTypeStopsBeforeTheNameAndFailsTheStream) {
    Observable const unregistered(MurmurThree32::MakeData("qel.tests.Unregistered"));
    std::ostringstream stream;
    stream << unregistered;
    EXPECT_TRUE(stream.fail());
    stream << "more" << observable;
    EXPECT_TRUE(stream.fail()) << "and stays so for the caller";
    EXPECT_EQ(stream.str(), "{\"typename\":");
}

TEST_F(ObservableText, BadCastErrorNamesBothTypes) {
    type::BadCast const error = observable.BadCastError("qel.observable.And");
    EXPECT_STREQ(error.what(), "Failed to cast the observable from 'qel.tests.Scripted' to a 'qel.observable.And'");
}

TEST_F(ObservableText, BadCastErrorOfAnUnregisteredTypeEndsBeforeTheName) {
    Observable const unregistered(MurmurThree32::MakeData("qel.tests.Unregistered"));
    EXPECT_STREQ(unregistered.BadCastError("qel.observable.And").what(), "Failed to cast the observable from '");
}

TEST_F(ObservableText, BadCastErrorForANullNameEndsBeforeIt) {
    EXPECT_STREQ(observable.BadCastError(nullptr).what(),
                 "Failed to cast the observable from 'qel.tests.Scripted' to a '");
}

TEST(ObservableGenerate, GivesWhatProcessReportsForTheFrame) {
    meta::Meta const frame(At(40));
    auto const event = EventWith({});
    auto const person = Person(1);
    meta::Meta const* seen = nullptr;
    Scripted observable("scripted", [&](meta::Meta const& given) {
        seen = &given;
        return Scripted::Output{event, nullptr, person};
    });
    EXPECT_THAT(observable.Generate(frame), ElementsAre(event, nullptr, person));
    EXPECT_EQ(seen, &frame);
}

TEST(ObservableGenerate, NotifiesNobody) {
    Scripted observable("scripted", [&](meta::Meta const&) { return Scripted::Output{EventWith({})}; });
    int calls = 0;
    auto const binding = observable.Bind([&](auto const&) { ++calls; });
    auto const augmenting = Observable::AddAugmentedMetaCallback([&] {
        ++calls;
        return Person(1);
    });
    auto const output = observable.Generate(meta::Meta(At(0)));
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(output.front()->As<Event>().GetObjects(), IsEmpty());
}

TEST(ObservableGenerate, IsEmptyForAClassWithoutAProcessOfItsOwn) {
    class Silent : public Observable {
    public:
        Silent() : Observable(MurmurThree32::MakeData("qel.tests.Silent")) {}
    };
    Silent silent;
    meta::Meta const frame(At(0));
    frame.Append(EventWith({}));
    EXPECT_THAT(silent.Generate(frame), IsEmpty());
    EXPECT_THAT(silent.Process(frame), IsEmpty());
}

TEST(ObservableGenerate, PassesOnWhatProcessThrows) {
    Scripted observable("scripted", [](meta::Meta const&) -> Scripted::Output { throw std::runtime_error("broken"); });
    EXPECT_THAT([&] { observable.Generate(meta::Meta(At(0))); }, testing::ThrowsMessage<std::runtime_error>("broken"));
}

TEST(ObservableBase, DoesNothingOfItsOwn) {
    Observable observable(MurmurThree32::MakeData("qel.tests.Base"));
    observable.SetName("base");
    auto const binding = observable.Bind([](auto const&) {});
    observable.Reset();
    EXPECT_EQ(observable.GetName(), "base");
    EXPECT_TRUE(observable.HasObservers());
    EXPECT_THAT(observable.GetDependents(), IsEmpty());
    EXPECT_TRUE(observable.GetInputProperties().empty());
    observable.ObserverAdded({});
}

constexpr std::size_t slots = 8;

std::array<void const*, slots> TableOf(Observable const& observable) {
    void const* table = nullptr;
    std::memcpy(&table, static_cast<void const*>(&observable), sizeof(table));
    std::array<void const*, slots> entries{};
    std::memcpy(entries.data(), table, sizeof(entries));
    return entries;
}

TEST(ObservableVirtualMembers, StandInTheOrderThatPluginsAreBuiltAgainst) {
    EXPECT_EQ(SlotOf(&Observable::Reset), 0u);
    EXPECT_EQ(SlotOf(&Observable::GetDependents), 1u);
    EXPECT_EQ(SlotOf(&Observable::GetInputProperties), 2u);
    EXPECT_EQ(SlotOf(&Observable::Process), 5u);
    EXPECT_EQ(SlotOf(&Observable::ObserverAdded), 6u);
}

TEST(ObservableVirtualMembers, HaveThePairOfDestructorsBetweenInputPropertiesAndProcess) {
    class OwnDestructor : public Observable {
    public:
        explicit OwnDestructor(int& destroyed) : Observable(MurmurThree32()), destroyed(destroyed) {}
        ~OwnDestructor() override { ++destroyed; }

    private:
        int& destroyed;
    };
    int destroyed = 0;
    auto const base = TableOf(Observable(MurmurThree32()));
    auto const derived = TableOf(OwnDestructor(destroyed));
    std::set<std::size_t> different;
    for (std::size_t slot = 0; slot < slots; ++slot) {
        if (base[slot] != derived[slot]) {
            different.insert(slot);
        }
    }
    EXPECT_EQ(destroyed, 1);
    EXPECT_THAT(different, ElementsAre(3u, 4u));
}

TEST(ObservableVirtualMembers, OfADerivedClassFollowTheReservedSlot) {
    class WithOne : public Observable {
    public:
        using Observable::Observable;
        virtual void Own() {}
    };
    EXPECT_EQ(SlotOf(&WithOne::Own), slots);
    EXPECT_NE(TableOf(Observable(MurmurThree32()))[7], nullptr);
}

TEST(ObservableMemoryTest, AnIdThatCannotBeGivenForLackOfMemoryChangesNothing) {
    tests::Scripted rule;
    rule.SetId(1);
    auto const held = rule.MakeObservableMetadata();
    EXPECT_TRUE(tests::FailsForLackOfMemory(0, [&] { rule.SetId(7); }));
    EXPECT_EQ(rule.GetId(), 1u);
    EXPECT_EQ(rule.MakeObservableMetadata(), held);
    EXPECT_EQ(held->GetId(), 1u);
}

}  // namespace
}  // namespace qel::observable
