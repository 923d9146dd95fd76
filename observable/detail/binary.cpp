#include "observable/detail/binary.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "observable/detail/continuation.hpp"

namespace qel::observable::detail {

namespace {

using meta::data::Event;

template <class T>
void AppendCopies(Event::Objects& list, Block& block, ById<T> const& things) {
    for (auto const key : things.GetKeys()) {
        list.push_back(block.Make<T>(things[key]));
    }
}

}  // namespace

std::vector<unsigned int> Binary::GetDependents() const {
    std::vector<unsigned int> dependents;
    dependents.reserve(2);
    if (inputA != UnsetId) {
        dependents.push_back(inputA);
    }
    if (inputB != UnsetId && inputB != inputA) {
        dependents.push_back(inputB);
    }
    return dependents;
}

std::vector<std::shared_ptr<object::Object>> Binary::Process(meta::Meta const& frame) {
    auto lock = frame.GetLock();  // both answers are about the same items
    LookUp const lookUpA(foundA, frame, inputA);
    LookUp const lookUpB(foundB, frame, inputB == inputA ? UnsetId : inputB);
    lock.unlock();
    auto const& eventsA = lookUpA.GetEvents();
    auto const& eventsB = lookUpB.GetEvents();

    bool const firedA = !eventsA.empty();
    bool const firedB = !eventsB.empty();
    if (needs == Needs::Both ? !firedA || !firedB : !firedA && !firedB) {
        event.reset();
        targets.clear();
        return {};
    }
    contents.Read(eventsA, eventsB);
    return constrainTarget ? ProcessPerTarget(frame.GetTimestamp()) : ProcessUnconstrained(frame.GetTimestamp());
}

std::vector<std::shared_ptr<object::Object>> Binary::ProcessUnconstrained(meta::Timestamp now) {
    auto const& objects = contents.GetObjects();
    auto const& zones = contents.GetZones();
    Event::Objects list;
    list.reserve(1 + objects.GetKeys().size() + zones.GetKeys().size() + RoomForChannel);
    list.push_back(owner.MakeObservableMetadata());
    Block block(Block::SizeOf<Event> + objects.GetKeys().size() * Block::SizeOf<meta::data::Object> +
                zones.GetKeys().size() * Block::SizeOf<meta::data::Zone>);
    AppendCopies(list, block, objects);
    AppendCopies(list, block, zones);

    auto reported = StartOrContinue(block, OccurrenceOf(event.get()), GetTexts(), now, std::move(list));
    std::vector<std::shared_ptr<object::Object>> result{reported};
    event = std::move(reported);
    return result;
}

std::vector<std::shared_ptr<object::Object>> Binary::ProcessPerTarget(meta::Timestamp now) {
    auto const record = owner.MakeObservableMetadata();
    auto const& sharedTexts = GetTexts();
    nextTargets.clear();  // a frame may have failed
    auto last = targets.cbegin();
    contents.ForEachTarget(needs == Needs::Both, [&](meta::data::Object const& target, auto const& zones) {
        Event::Objects list;
        list.reserve(2 + zones.GetKeys().size() + RoomForChannel);
        list.push_back(record);
        Block block(Block::SizeOf<Event> + Block::SizeOf<meta::data::Object> +
                    zones.GetKeys().size() * Block::SizeOf<meta::data::Zone>);
        list.push_back(block.Make<meta::data::Object>(target));
        AppendCopies(list, block, zones);

        unsigned int const id = target.GetId();
        last = std::find_if(last, targets.cend(), [id](Reported const& each) { return each.target >= id; });
        bool const goesOn = last != targets.cend() && last->target == id;
        nextTargets.push_back({id, StartOrContinue(block, OccurrenceOf(goesOn ? last->event.get() : nullptr),
                                                   sharedTexts, now, std::move(list))});
    });

    std::vector<std::shared_ptr<object::Object>> result;
    result.reserve(nextTargets.size());
    for (auto const& each : nextTargets) {
        result.push_back(each.event);
    }
    targets.swap(nextTargets);
    nextTargets.clear();
    return result;
}

std::shared_ptr<Event::Texts const> const& Binary::GetTexts() { return texts.Get(owner, eventType, "analytics"); }

InputNames BinaryInputs() {
    static constexpr std::array<std::string_view, 2> names{InputA, InputB};
    return names;
}

}  // namespace qel::observable::detail
