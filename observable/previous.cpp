#include "observable/previous.hpp"

#include <algorithm>
#include <array>
#include <iterator>
#include <ostream>
#include <span>
#include <string_view>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/elapsed.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/type/pimpl.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
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
    std::shared_ptr<Objects const> objects;  // one list for all targets of an event
    meta::Timestamp end;
};

/// By ascending target, each once.
using Memories = std::vector<Memory>;

struct Emitted {
    unsigned int target;
    unsigned int id;
    meta::Timestamp start;
};

bool ByTarget(Memory const& left, Memory const& right) { return left.target < right.target; }

bool OfOneTarget(Memory const& left, Memory const& right) { return left.target == right.target; }

/// The one memory when targets are not told apart; after a change of the mode it may begin as an event of no time.
Memory& OfAnyTarget(Memories& memories) {
    if (memories.empty() || memories.front().target != AnyTarget) {
        memories.insert(memories.begin(), {AnyTarget, std::make_shared<Objects const>(), meta::Timestamp()});
    }
    return memories.front();
}

std::shared_ptr<Objects const> TakeObjects(meta::data::Event const& event) {
    auto objects = std::make_shared<Objects>();
    for (auto const& object : event.GetObjects()) {
        if (object && object->Is<meta::data::Object>()) {
            objects->push_back(object);
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
    Memories Remember(meta::Meta const& frame) const;
    Memories RememberTargets(meta::EventsNaming const& inputs) const;
    Memories RememberFirst(meta::EventsNaming const& inputs, meta::Timestamp now) const;
    void Forget(Memories& memories, meta::Timestamp now) const;
    bool IsTooOld(Memory const& memory, meta::Timestamp now) const;
    Items ReportTargets(Memories const& memories, meta::Timestamp now, std::vector<Emitted>& reported);
    Items ReportFirst(Memories const& memories, meta::Timestamp now, std::vector<Emitted>& reported);
    std::shared_ptr<meta::data::Event> Report(std::span<Memory const> memories, Emitted const* last,
                                              Texts const& eventTexts, meta::Timestamp now) const;
    Texts const& GetTexts() { return texts.Get(owner.GetName(), "previous", "analytics"); }

    detail::SharedTexts texts;
    Memories remembered;
    std::vector<Emitted> emitted;  // in the last frame, by ascending target
};

Items Previous::Impl::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    auto memories = Remember(frame);
    Forget(memories, now);
    Items result;
    std::vector<Emitted> reported;
    if (!memories.empty()) {
        result = constrainTarget ? ReportTargets(memories, now, reported) : ReportFirst(memories, now, reported);
    }

    remembered = std::move(memories);
    emitted = std::move(reported);
    return result;
}

Memories Previous::Impl::Remember(meta::Meta const& frame) const {
    if (input == UnsetId) {
        return remembered;
    }
    meta::EventsNaming const inputs(frame, input);
    if (inputs.empty()) {
        return remembered;
    }
    return constrainTarget ? RememberTargets(inputs) : RememberFirst(inputs, frame.GetTimestamp());
}

/// The last event that carries a target is the one that is remembered for it.
Memories Previous::Impl::RememberTargets(meta::EventsNaming const& inputs) const {
    Memories seen;
    seen.reserve(inputs.size());
    for (auto const& event : inputs) {
        auto const objects = TakeObjects(event);
        for (auto const& object : *objects) {
            seen.push_back({object->As<meta::data::Object>().GetId(), objects, event.GetEnd()});
        }
    }
    if (!std::is_sorted(seen.begin(), seen.end(), ByTarget)) {
        std::stable_sort(seen.begin(), seen.end(), ByTarget);
    }
    auto const lastOfEach = std::unique(seen.rbegin(), seen.rend(), OfOneTarget).base();

    Memories memories;
    memories.reserve(seen.size() + remembered.size());
    std::set_union(std::make_move_iterator(lastOfEach), std::make_move_iterator(seen.end()), remembered.begin(),
                   remembered.end(), std::back_inserter(memories), ByTarget);
    return memories;
}

/// The first event is kept, and stays young for as long as others come.
Memories Previous::Impl::RememberFirst(meta::EventsNaming const& inputs, meta::Timestamp now) const {
    if (remembered.empty()) {
        auto const& first = inputs.front();
        return {{AnyTarget, TakeObjects(first), first.GetEnd()}};
    }
    auto memories = remembered;
    OfAnyTarget(memories).end = now;
    return memories;
}

void Previous::Impl::Forget(Memories& memories, meta::Timestamp now) const {
    if (constrainTarget) {
        std::erase_if(memories, [&](Memory const& memory) { return IsTooOld(memory, now); });
    } else if (!memories.empty() && IsTooOld(OfAnyTarget(memories), now)) {
        memories.clear();
    }
}

bool Previous::Impl::IsTooOld(Memory const& memory, meta::Timestamp now) const {
    return meta::Elapsed(memory.end, now) > interval;
}

Items Previous::Impl::ReportTargets(Memories const& memories, meta::Timestamp now, std::vector<Emitted>& reported) {
    auto const& eventTexts = GetTexts();
    Items result;
    result.reserve(memories.size());
    reported.reserve(memories.size());
    auto last = emitted.begin();
    for (auto const& memory : memories) {
        last = std::find_if(last, emitted.end(), [&](Emitted const& each) { return each.target >= memory.target; });
        bool const goesOn = last != emitted.end() && last->target == memory.target;
        auto event = Report({&memory, 1}, goesOn ? &*last : nullptr, eventTexts, now);
        reported.push_back({memory.target, event->GetId(), event->GetStart()});
        result.push_back(std::move(event));
    }
    return result;
}

/// Targets that are remembered from before a change of the mode are reported with the rest.
Items Previous::Impl::ReportFirst(Memories const& memories, meta::Timestamp now, std::vector<Emitted>& reported) {
    auto event = Report(memories, emitted.empty() ? nullptr : &emitted.front(), GetTexts(), now);
    reported.push_back({AnyTarget, event->GetId(), event->GetStart()});
    return {std::move(event)};
}

std::shared_ptr<meta::data::Event> Previous::Impl::Report(std::span<Memory const> memories, Emitted const* last,
                                                          Texts const& eventTexts, meta::Timestamp now) const {
    meta::data::Event::Objects objects;
    objects.reserve(1 + memories.front().objects->size());
    objects.push_back(owner.MakeObservableMetadata());
    for (auto const& memory : memories) {
        for (auto const& object : *memory.objects) {
            objects.push_back(std::make_shared<meta::data::Object>(object->As<meta::data::Object>()));
        }
    }
    return last == nullptr
               ? std::make_shared<meta::data::Event>(eventTexts, now, now, std::move(objects))
               : std::make_shared<meta::data::Event>(last->id, eventTexts, last->start, now, std::move(objects));
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
