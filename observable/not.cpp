#include "observable/not.hpp"

#include <array>
#include <mutex>
#include <ostream>
#include <string_view>
#include <utility>

#include "foundation/meta/data/event.hpp"
#include "foundation/type/pimpl.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/detail/continuation.hpp"
#include "observable/detail/shared_texts.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"

namespace qel::observable {

char const* const Not::DefaultName = "Not";
std::uint16_t const Not::DefaultChannel = 0;
std::uint32_t const Not::DefaultInput = UnsetId;

namespace {

type::registry::detail::Scoped<Not, type::Registry<registry::Info>> const registration(registry::Get());

}  // namespace

std::vector<property::Schema> Not::MakeProperties() {
    std::vector<property::Schema> schemas;
    schemas.emplace_back("channel", DefaultChannel, &Not::SetChannel, &Not::GetChannel, 0, 65535,
                         "The channel id the observable is assigned to");
    schemas.emplace_back("input", DefaultInput, &Not::SetInput, &Not::GetInput, "The source of input events");
    return properties::Make(std::move(schemas), true);
}

class Not::Impl {
public:
    Impl(Not const& owner, std::uint16_t channel, std::uint32_t input) : owner(owner), channel(channel), input(input) {}

    template <class T>
    T Get(T Impl::*setting) const {
        std::lock_guard<std::mutex> const lock(mutex);
        return this->*setting;
    }

    template <class T>
    void Set(T Impl::*setting, T value) {
        std::lock_guard<std::mutex> const lock(mutex);
        this->*setting = value;
    }

    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame);

    Not const& owner;
    std::uint16_t channel;
    std::uint32_t input;

private:
    mutable std::mutex mutex;
    std::shared_ptr<meta::data::Event> event;
    detail::SharedTexts texts;
};

std::vector<std::shared_ptr<object::Object>> Not::Impl::Process(meta::Meta const& frame) {
    std::lock_guard<std::mutex> const lock(mutex);
    if (input == UnsetId || frame.HasEvents(input)) {
        event.reset();
        return {};
    }
    meta::data::Event::Objects objects;
    objects.reserve(1 + detail::RoomForChannel);
    objects.push_back(owner.MakeObservableMetadata());
    detail::Block block(detail::Block::SizeOf<meta::data::Event>);
    auto reported =
        detail::StartOrContinue(block, detail::OccurrenceOf(event.get()), texts.Get(owner, "not", "analytics"),
                                frame.GetTimestamp(), std::move(objects));
    std::vector<std::shared_ptr<object::Object>> result{reported};
    event = std::move(reported);
    return result;
}

Not::Not(std::string name, std::uint16_t channel, std::uint32_t input)
    : Observable(object::TypeIdOf<Not>), impl(std::make_unique<Impl>(*this, channel, input)) {
    SetName(std::move(name));
}

std::uint16_t Not::GetChannel() const { return type::Deref(impl).Get(&Impl::channel); }

void Not::SetChannel(std::uint16_t channel) { type::Deref(impl).Set(&Impl::channel, channel); }

std::uint32_t Not::GetInput() const { return type::Deref(impl).Get(&Impl::input); }

void Not::SetInput(std::uint32_t input) { type::Deref(impl).Set(&Impl::input, input); }

std::vector<unsigned int> Not::GetDependents() const {
    std::uint32_t const input = GetInput();
    return input == UnsetId ? std::vector<unsigned int>{} : std::vector<unsigned int>{input};
}

InputNames Not::GetInputProperties() const {
    static constexpr std::array<std::string_view, 1> names{"input"};
    return names;
}

Not::~Not() = default;

std::vector<std::shared_ptr<object::Object>> Not::Process(meta::Meta const& frame) {
    return type::Deref(impl).Process(frame);
}

std::ostream& operator<<(std::ostream& stream, Not const& observable) {
    return stream << "{\"observable\":" << static_cast<Observable const&>(observable);
}

}  // namespace qel::observable
