#include "observable/previous.hpp"

#include <algorithm>
#include <array>
#include <ostream>
#include <span>
#include <string_view>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/elapsed.hpp"
#include "foundation/type/pimpl.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/detail/block.hpp"
#include "observable/detail/by_id.hpp"
#include "observable/detail/continuation.hpp"
#include "observable/detail/look_up.hpp"
#include "observable/detail/shared_texts.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"

namespace qel::observable {

char const* const Previous::DefaultName = "Previous";
std::uint16_t const Previous::DefaultChannel = 0;
std::uint32_t const Previous::DefaultInput = UnsetId;
std::chrono::milliseconds const Previous::DefaultInterval = std::chrono::milliseconds(1000);
bool const Previous::DefaultConstrainTarget = true;

namespace {

type::registry::detail::Scoped<Previous, type::Registry<registry::Info>> const registration(registry::Get());

using Texts = std::shared_ptr<meta::data::Event::Texts const>;
using Items = std::vector<std::shared_ptr<object::Object>>;

/// The tracked objects of an input event as it was when it was read; most events have one.
using Objects = boost::container::small_vector<std::shared_ptr<object::Object const>, 1>;

/// The key of the one memory when targets are not told apart.
constexpr unsigned int AnyTarget = 0;

struct Memory {
    unsigned int target;
    Objects objects;
    meta::Timestamp end;
};

/// By ascending target, each once.
using Memories = std::vector<Memory>;

struct Emitted {
    unsigned int target;
    unsigned int id;
    meta::Timestamp start;
};

Objects TakeObjects(meta::data::Event const& event) {
    Objects objects;
    for (auto const& object : event.GetObjects()) {
        if (object && object->Is<meta::data::Object>()) {
            objects.push_back(object);
        }
    }
    return objects;
}

}  // namespace

std::vector<property::Schema> Previous::MakeProperties() {
    std::vector<property::Schema> schemas;
    schemas.emplace_back("interval", DefaultInterval, &Previous::SetInterval, &Previous::GetInterval,
                         std::chrono::milliseconds(100), std::chrono::hours(24),
                         "The maximum number of milliseconds in the past to look for events");
    schemas.emplace_back("channel", DefaultChannel, &Previous::SetChannel, &Previous::GetChannel, 0, 65535,
                         "The channel id the observable is assigned to");
    schemas.emplace_back("input", DefaultInput, &Previous::SetInput, &Previous::GetInput, 0, 4294967295,
                         "One of the sources of input events");
    schemas.emplace_back("constrain_target", DefaultConstrainTarget, &Previous::SetConstrainTarget,
                         &Previous::GetConstrainTarget, "Whether the the input events must match target id's");
    return properties::Make(std::move(schemas), true);
}

class Previous::Impl {
public:
    Impl(Previous const& owner, std::chrono::milliseconds interval, std::uint16_t channel, std::uint32_t input)
        : owner(owner), interval(interval), channel(channel), input(input) {}

    Items Process(meta::Meta const& frame);

    Previous const& owner;
    std::chrono::milliseconds interval;
    std::uint16_t channel;
    std::uint32_t input;
    bool constrainTarget = false;

private:
    using Events = meta::detail::FoundEvents;

    void SeeTargets(Events const& events);
    void SeeFirst(Events const& events, meta::Timestamp now);
    void Recall(meta::Timestamp now);
    bool IsTooOld(Memory const& memory, meta::Timestamp now) const;
    Items ReportTargets(meta::Timestamp now);
    Items ReportFirst(meta::Timestamp now);
    std::shared_ptr<meta::data::Event> Report(std::span<Memory* const> memories, Emitted const* last,
                                              Texts const& eventTexts, meta::Timestamp now) const;
    void Commit() noexcept;
    Texts const& GetTexts() { return texts.Get(owner, "previous", "analytics"); }

    detail::SharedTexts texts;
    Memories remembered;
    std::vector<Emitted> emitted;  // in the last frame, by ascending target

    // What a frame makes of these, taken over when nothing can fail any more. Kept for its memory.
    detail::LookUp::Found found;
    detail::ById<meta::data::Object> targets;
    std::vector<meta::data::Event const*> eventsOfTargets;
    Memories seen;                  // takes the place of what is remembered of the same targets
    std::vector<Memory*> recalled;  // of both, what is not too old
    Memories nextRemembered;
    std::vector<Emitted> nextEmitted;
};

Items Previous::Impl::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    {
        detail::LookUp const inputs(found, frame, input);
        seen.clear();
        constrainTarget ? SeeTargets(inputs.GetEvents()) : SeeFirst(inputs.GetEvents(), now);
    }
    Recall(now);
    nextRemembered.clear();
    nextRemembered.reserve(recalled.size());
    nextEmitted.clear();
    Items result;
    if (!recalled.empty()) {
        result = constrainTarget ? ReportTargets(now) : ReportFirst(now);
    }
    Commit();
    return result;
}

/// The last event that carries a target is the one that is remembered for it.
void Previous::Impl::SeeTargets(Events const& events) {
    targets.Clear();
    eventsOfTargets.clear();
    for (auto event = events.rbegin(); event != events.rend(); ++event) {
        for (auto const& object : (*event)->GetObjects()) {
            if (object && object->Is<meta::data::Object>()) {
                targets.Add(static_cast<meta::data::Object const&>(*object));
                eventsOfTargets.push_back(*event);
            }
        }
    }
    targets.KeepFirst();
    for (auto const key : targets.GetKeys()) {
        auto const& event = *eventsOfTargets[targets.PlaceOf(key)];
        seen.push_back({targets.IdOf(key), TakeObjects(event), event.GetEnd()});
    }
}

/// The first event is kept, and stays young for as long as others come. Where only targets are remembered, from before
/// a change of the mode, it begins as an event of no time.
void Previous::Impl::SeeFirst(Events const& events, meta::Timestamp now) {
    if (remembered.empty()) {
        if (!events.empty()) {
            seen.push_back({AnyTarget, TakeObjects(*events.front()), events.front()->GetEnd()});
        }
    } else if (remembered.front().target != AnyTarget) {
        seen.push_back({AnyTarget, {}, events.empty() ? meta::Timestamp() : now});
    } else if (!events.empty()) {
        seen.push_back({AnyTarget, remembered.front().objects, now});
    }
}

void Previous::Impl::Recall(meta::Timestamp now) {
    recalled.clear();
    auto old = remembered.begin();
    for (auto& each : seen) {
        for (; old != remembered.end() && old->target < each.target; ++old) {
            recalled.push_back(&*old);
        }
        if (old != remembered.end() && old->target == each.target) {
            ++old;
        }
        recalled.push_back(&each);
    }
    for (; old != remembered.end(); ++old) {
        recalled.push_back(&*old);
    }
    if (constrainTarget) {
        std::erase_if(recalled, [&](Memory const* memory) { return IsTooOld(*memory, now); });
    } else if (!recalled.empty() && IsTooOld(*recalled.front(), now)) {
        recalled.clear();
    }
}

bool Previous::Impl::IsTooOld(Memory const& memory, meta::Timestamp now) const {
    return meta::Elapsed(memory.end, now) > interval;
}

Items Previous::Impl::ReportTargets(meta::Timestamp now) {
    auto const& eventTexts = GetTexts();
    Items result;
    result.reserve(recalled.size());
    nextEmitted.reserve(recalled.size());
    auto last = emitted.begin();
    for (auto const& memory : recalled) {
        auto const target = memory->target;
        last = std::find_if(last, emitted.end(), [target](Emitted const& each) { return each.target >= target; });
        bool const goesOn = last != emitted.end() && last->target == target;
        auto event = Report({&memory, 1}, goesOn ? &*last : nullptr, eventTexts, now);
        nextEmitted.push_back({target, event->GetId(), event->GetStart()});
        result.push_back(std::move(event));
    }
    return result;
}

/// Targets that are remembered from before a change of the mode are reported with the rest.
Items Previous::Impl::ReportFirst(meta::Timestamp now) {
    auto event = Report(recalled, emitted.empty() ? nullptr : &emitted.front(), GetTexts(), now);
    nextEmitted.push_back({AnyTarget, event->GetId(), event->GetStart()});
    return {std::move(event)};
}

std::shared_ptr<meta::data::Event> Previous::Impl::Report(std::span<Memory* const> memories, Emitted const* last,
                                                          Texts const& eventTexts, meta::Timestamp now) const {
    std::size_t count = 0;
    for (auto const* memory : memories) {
        count += memory->objects.size();
    }
    meta::data::Event::Objects objects;
    objects.reserve(1 + count + detail::RoomForChannel);
    objects.push_back(owner.MakeObservableMetadata());
    detail::Block block(detail::Block::SizeOf<meta::data::Event> + count * detail::Block::SizeOf<meta::data::Object>);
    for (auto const* memory : memories) {
        for (auto const& object : memory->objects) {
            objects.push_back(block.Make<meta::data::Object>(static_cast<meta::data::Object const&>(*object)));
        }
    }
    return last == nullptr ? block.Make<meta::data::Event>(eventTexts, now, now, std::move(objects))
                           : block.Make<meta::data::Event>(last->id, eventTexts, last->start, now, std::move(objects));
}

void Previous::Impl::Commit() noexcept {
    for (auto* const memory : recalled) {
        nextRemembered.push_back(std::move(*memory));
    }
    remembered.swap(nextRemembered);
    emitted.swap(nextEmitted);
    nextRemembered.clear();
    seen.clear();
}

Previous::Previous(std::string name, std::uint16_t channel, std::uint32_t input, std::chrono::milliseconds interval)
    : Observable(object::TypeIdOf<Previous>), impl(std::make_unique<Impl>(*this, interval, channel, input)) {
    SetName(std::move(name));
}

std::uint16_t Previous::GetChannel() const { return type::Deref(impl).channel; }

void Previous::SetChannel(std::uint16_t channel) { type::Deref(impl).channel = channel; }

std::uint32_t Previous::GetInput() const { return type::Deref(impl).input; }

void Previous::SetInput(std::uint32_t input) { type::Deref(impl).input = input; }

std::chrono::milliseconds Previous::GetInterval() const { return type::Deref(impl).interval; }

void Previous::SetInterval(std::chrono::milliseconds interval) { type::Deref(impl).interval = interval; }

bool Previous::GetConstrainTarget() const { return type::Deref(impl).constrainTarget; }

void Previous::SetConstrainTarget(bool constrainTarget) { type::Deref(impl).constrainTarget = constrainTarget; }

std::vector<unsigned int> Previous::GetDependents() const {
    std::uint32_t const input = GetInput();
    return input == UnsetId ? std::vector<unsigned int>{} : std::vector<unsigned int>{input};
}

InputNames Previous::GetInputProperties() const {
    static constexpr std::array<std::string_view, 1> names{"input"};
    return names;
}

Previous::~Previous() = default;

Items Previous::Process(meta::Meta const& frame) { return type::Deref(impl).Process(frame); }

std::ostream& operator<<(std::ostream& stream, Previous const& previous) {
    return stream << "{\"observable\":" << static_cast<Observable const&>(previous);
}

}  // namespace qel::observable
