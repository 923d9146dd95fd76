#include "observable/previous.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
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

/// The key of the one memory when targets are not told apart.
constexpr unsigned int AnyTarget = 0;

/// The tracked objects of an input event as they were when it was read; most events have one.
struct Content {
    using Objects = boost::container::small_vector<meta::data::Object, 1>;

    /// Keeps the memory, unless much less of it was needed than there is: many may have been about a group once.
    void Clear() noexcept {
        if (objects.capacity() > 4 * objects.size() + 1) {
            std::destroy_at(&objects);
            std::construct_at(&objects);
        } else {
            objects.clear();
        }
    }

    Objects objects;
    std::size_t users = 0;  // memories of several targets may be of one event
    Content* nextUnused = nullptr;
};

/// An input event: until when it held, and what it was about.
struct Memory {
    unsigned int target;
    Content* content;
    meta::Timestamp end;
};

/// By ascending target, each once.
using Memories = std::vector<Memory>;

struct Emitted {
    unsigned int target;
    detail::Occurrence occurrence;
};

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
    Content& MakeContent();
    Content& ReadContent(meta::data::Event const& event);
    void See(unsigned int target, Content& content, meta::Timestamp end);
    void Recall(meta::Timestamp now);
    bool IsTooOld(meta::Timestamp end, meta::Timestamp now) const;
    Items ReportTargets(meta::Timestamp now);
    Items ReportFirst(meta::Timestamp now);
    std::shared_ptr<meta::data::Event> Report(std::span<Memory const> memories,
                                              std::optional<detail::Occurrence> const& last,
                                              std::shared_ptr<meta::data::Observable const> const& record,
                                              Texts const& eventTexts, meta::Timestamp now) const;
    void Commit() noexcept;
    void Drop(Memories& dropped) noexcept;
    Texts const& GetTexts() { return texts.Get(owner, "previous", "analytics"); }

    detail::SharedTexts texts;
    Memories remembered;
    std::vector<Emitted> emitted;  // in the last frame, by ascending target

    // What a frame makes of these, taken over when nothing can fail any more. Kept for its memory.
    detail::LookUp::Found found;
    detail::ById<meta::data::Object> targets;
    std::vector<std::size_t> eventsOfTargets;
    std::vector<Content*> contentsOfEvents;
    Memories seen;       // takes the place of what is remembered of the same targets
    Memories recalled;   // of both, what is not too old
    Memories forgotten;  // of both, the rest
    std::vector<Emitted> nextEmitted;

    std::deque<Content> contents;  // all that there are
    Content* unused = nullptr;
};

Items Previous::Impl::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    Drop(seen);  // by a frame that has failed
    {
        detail::LookUp const inputs(found, frame, input);
        constrainTarget ? SeeTargets(inputs.GetEvents()) : SeeFirst(inputs.GetEvents(), now);
    }
    Recall(now);
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
    for (std::size_t event = events.size(); event-- > 0;) {
        for (auto const& object : events[event]->GetObjects()) {
            if (object && object->Is<meta::data::Object>()) {
                targets.Add(static_cast<meta::data::Object const&>(*object));
                eventsOfTargets.push_back(event);
            }
        }
    }
    targets.KeepFirst();
    contentsOfEvents.assign(events.size(), nullptr);
    for (auto const key : targets.GetKeys()) {
        std::size_t const event = eventsOfTargets[targets.PlaceOf(key)];
        auto& content = contentsOfEvents[event];
        if (content == nullptr) {
            content = &ReadContent(*events[event]);
        }
        See(targets.IdOf(key), *content, events[event]->GetEnd());
    }
}

/// The first event is kept, and stays young for as long as others come. Where only targets are remembered, from before
/// a change of the mode, it begins as an event of no time.
void Previous::Impl::SeeFirst(Events const& events, meta::Timestamp now) {
    if (remembered.empty()) {
        if (!events.empty()) {
            See(AnyTarget, ReadContent(*events.front()), events.front()->GetEnd());
        }
    } else if (remembered.front().target != AnyTarget) {
        See(AnyTarget, MakeContent(), events.empty() ? meta::Timestamp() : now);
    } else if (!events.empty()) {
        See(AnyTarget, *remembered.front().content, now);
    }
}

/// An empty one. It stays the first of the unused ones until it is seen.
Content& Previous::Impl::MakeContent() {
    if (unused == nullptr) {
        unused = &contents.emplace_back();
    }
    unused->objects.clear();  // something is there when reading it has failed
    return *unused;
}

Content& Previous::Impl::ReadContent(meta::data::Event const& event) {
    auto& content = MakeContent();
    for (auto const& object : event.GetObjects()) {
        if (object && object->Is<meta::data::Object>()) {
            content.objects.push_back(static_cast<meta::data::Object const&>(*object));
        }
    }
    return content;
}

void Previous::Impl::See(unsigned int target, Content& content, meta::Timestamp end) {
    seen.push_back({target, &content, end});
    if (content.users++ == 0) {
        unused = content.nextUnused;
    }
}

void Previous::Impl::Recall(meta::Timestamp now) {
    recalled.clear();
    forgotten.clear();
    auto const recall = [&](Memory const& memory) {
        (constrainTarget && IsTooOld(memory.end, now) ? forgotten : recalled).push_back(memory);
    };
    auto old = remembered.cbegin();
    for (auto const& each : seen) {
        for (; old != remembered.cend() && old->target < each.target; ++old) {
            recall(*old);
        }
        if (old != remembered.cend() && old->target == each.target) {
            forgotten.push_back(*old++);
        }
        recall(each);
    }
    std::for_each(old, remembered.cend(), recall);
    if (!constrainTarget && !recalled.empty() && IsTooOld(recalled.front().end, now)) {
        forgotten.insert(forgotten.end(), recalled.begin(), recalled.end());
        recalled.clear();
    }
}

bool Previous::Impl::IsTooOld(meta::Timestamp end, meta::Timestamp now) const {
    return meta::Elapsed(end, now) > interval;
}

Items Previous::Impl::ReportTargets(meta::Timestamp now) {
    auto const record = owner.MakeObservableMetadata();
    auto const& eventTexts = GetTexts();
    Items result;
    result.reserve(recalled.size());
    nextEmitted.reserve(recalled.size());
    auto last = emitted.cbegin();
    for (auto const& memory : recalled) {
        auto const target = memory.target;
        last = std::find_if(last, emitted.cend(), [target](Emitted const& each) { return each.target >= target; });
        bool const goesOn = last != emitted.cend() && last->target == target;
        auto event =
            Report({&memory, 1}, goesOn ? std::optional(last->occurrence) : std::nullopt, record, eventTexts, now);
        nextEmitted.push_back({target, {event->GetId(), event->GetStart()}});
        result.push_back(std::move(event));
    }
    return result;
}

/// Targets that are remembered from before a change of the mode are reported with the rest.
Items Previous::Impl::ReportFirst(meta::Timestamp now) {
    auto event = Report(recalled, emitted.empty() ? std::nullopt : std::optional(emitted.front().occurrence),
                        owner.MakeObservableMetadata(), GetTexts(), now);
    nextEmitted.push_back({AnyTarget, {event->GetId(), event->GetStart()}});
    return {std::move(event)};
}

std::shared_ptr<meta::data::Event> Previous::Impl::Report(std::span<Memory const> memories,
                                                          std::optional<detail::Occurrence> const& last,
                                                          std::shared_ptr<meta::data::Observable const> const& record,
                                                          Texts const& eventTexts, meta::Timestamp now) const {
    std::size_t count = 0;
    for (auto const& memory : memories) {
        count += memory.content->objects.size();
    }
    meta::data::Event::Objects objects;
    objects.reserve(1 + count + detail::RoomForChannel);
    objects.push_back(record);
    detail::Block block(detail::Block::SizeOf<meta::data::Event> + count * detail::Block::SizeOf<meta::data::Object>);
    for (auto const& memory : memories) {
        for (auto const& object : memory.content->objects) {
            objects.push_back(block.Make<meta::data::Object>(object));
        }
    }
    return detail::StartOrContinue(block, last, eventTexts, now, std::move(objects));
}

void Previous::Impl::Commit() noexcept {
    Drop(forgotten);
    seen.clear();
    remembered.swap(recalled);
    emitted.swap(nextEmitted);
}

void Previous::Impl::Drop(Memories& dropped) noexcept {
    for (auto const& memory : dropped) {
        auto& content = *memory.content;
        if (--content.users > 0) {
            continue;
        }
        content.Clear();
        content.nextUnused = std::exchange(unused, &content);
    }
    dropped.clear();
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
