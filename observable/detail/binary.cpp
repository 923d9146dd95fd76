#include "observable/detail/binary.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include "observable/detail/continuation.hpp"

namespace qel::observable::detail {

namespace {

using meta::data::Event;

meta::Meta::NamedEvents Find(meta::Meta const& frame, std::uint32_t input) {
    return input == UnsetId ? meta::Meta::NamedEvents{} : frame.FindEvents(input);
}

template <class T>
void AppendCopies(Event::Objects& list, ById<T> const& things) {
    for (auto const key : things.GetKeys()) {
        list.push_back(std::make_shared<T>(things[key]));
    }
}

}  // namespace

std::vector<unsigned int> Binary::GetDependents() const {
    std::vector<unsigned int> dependents;
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
    auto const foundA = Find(frame, inputA);
    auto const foundB = Find(frame, inputB == inputA ? UnsetId : inputB);
    lock.unlock();

    bool const firedA = !foundA.events.empty();
    bool const firedB = !foundB.events.empty();
    if (needs == Needs::Both ? !firedA || !firedB : !firedA && !firedB) {
        event.reset();
        targets.clear();
        return {};
    }
    InputContents contents(foundA.events, foundB.events);
    return constrainTarget ? ProcessPerTarget(contents, frame.GetTimestamp())
                           : ProcessUnconstrained(contents, frame.GetTimestamp());
}

std::vector<std::shared_ptr<object::Object>> Binary::ProcessUnconstrained(InputContents& contents,
                                                                          meta::Timestamp now) {
    auto const& objects = contents.GetObjects();
    auto const& zones = contents.GetZones();
    Event::Objects list;
    list.reserve(1 + objects.GetKeys().size() + zones.GetKeys().size());
    list.push_back(owner.MakeObservableMetadata());
    AppendCopies(list, objects);
    AppendCopies(list, zones);

    auto reported = StartOrContinue(event.get(), GetTexts(), now, std::move(list));
    std::vector<std::shared_ptr<object::Object>> result{reported};
    event = std::move(reported);
    return result;
}

std::vector<std::shared_ptr<object::Object>> Binary::ProcessPerTarget(InputContents& contents, meta::Timestamp now) {
    auto const record = owner.MakeObservableMetadata();
    auto const& sharedTexts = GetTexts();
    nextTargets.clear();
    auto last = targets.cbegin();
    contents.ForEachTarget(needs == Needs::Both, [&](meta::data::Object const& target, auto const& zones) {
        Event::Objects list;
        list.reserve(2 + zones.GetKeys().size());
        list.push_back(record);
        list.push_back(std::make_shared<meta::data::Object>(target));
        AppendCopies(list, zones);

        unsigned int const id = target.GetId();
        last = std::find_if(last, targets.cend(), [id](Reported const& each) { return each.target >= id; });
        bool const goesOn = last != targets.cend() && last->target == id;
        nextTargets.push_back(
            {id, StartOrContinue(goesOn ? last->event.get() : nullptr, sharedTexts, now, std::move(list))});
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

std::shared_ptr<Event::Texts const> const& Binary::GetTexts() {
    return texts.Get(owner.GetName(), eventType, "analytics");
}

InputNames BinaryInputs() {
    static constexpr std::array<std::string_view, 2> names{InputA, InputB};
    return names;
}

}  // namespace qel::observable::detail
