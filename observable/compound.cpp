#include "observable/compound.hpp"

#include <algorithm>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/type/pimpl.hpp"
#include "observable/detail/shared_texts.hpp"

namespace qel::observable {

namespace {

using Items = std::vector<std::shared_ptr<object::Object>>;
using Observables = std::vector<std::shared_ptr<Observable>>;

template <class T>
bool Is(std::shared_ptr<object::Object const> const& object) {
    return object && object->Is<T>();
}

/// Of several channel records the members have stamped all but the last are surplus.
void KeepLastChannel(meta::data::Event::Objects& objects) {
    auto const found = std::find_if(objects.rbegin(), objects.rend(), Is<meta::data::Channel>);
    if (found != objects.rend()) {
        auto const last = std::prev(found.base());
        objects.erase(std::remove_if(objects.begin(), last, Is<meta::data::Channel>), last);
    }
}

}  // namespace

class Compound::Impl {
public:
    explicit Impl(Compound& owner) : owner(owner) {}

    Observables const& MakeSureOfChain();
    Observables const& CheckObservables();
    std::vector<unsigned int> GetDependents();
    Items Process(meta::Meta const& frame);

    Observables observables;

private:
    bool HasMember(unsigned int id) const;
    Items RunChain(meta::Meta const& frame) const;
    void PresentAsOwn(meta::data::Event& event);
    void ReplaceRecords(meta::data::Event::Objects& objects) const;

    Compound& owner;
    detail::SharedTexts texts;
};

Observables const& Compound::Impl::MakeSureOfChain() {
    if (observables.empty()) {
        auto made = owner.MakeObservables();
        if (std::find(made.begin(), made.end(), nullptr) != made.end()) {
            throw std::logic_error("Compound '" + owner.GetName() + "' has a null observable in its chain");
        }
        observables = std::move(made);
    }
    return observables;
}

Observables const& Compound::Impl::CheckObservables() {
    if (MakeSureOfChain().empty()) {
        throw std::logic_error("Compound '" + owner.GetName() + "' has no observables in its chain");
    }
    observables.back()->SetName(owner.GetName());
    return observables;
}

std::vector<unsigned int> Compound::Impl::GetDependents() {
    std::vector<unsigned int> outside;
    for (auto const& member : MakeSureOfChain()) {
        auto const dependents = member->GetDependents();
        std::copy_if(dependents.begin(), dependents.end(), std::back_inserter(outside),
                     [this](unsigned int id) { return !HasMember(id); });
    }
    return outside;
}

Items Compound::Impl::Process(meta::Meta const& frame) {
    CheckObservables();
    auto result = RunChain(frame);
    for (auto const& item : result) {
        if (Is<meta::data::Event>(item)) {
            PresentAsOwn(item->As<meta::data::Event>());
        }
    }
    return result;
}

bool Compound::Impl::HasMember(unsigned int id) const {
    return std::any_of(observables.begin(), observables.end(),
                       [id](std::shared_ptr<Observable> const& member) { return member->GetId() == id; });
}

/// What the last member reports.
Items Compound::Impl::RunChain(meta::Meta const& frame) const {
    meta::Meta const working(frame);
    auto const last = std::prev(observables.end());
    for (auto member = observables.begin(); member != last; ++member) {
        for (auto& item : (*member)->Generate(working)) {
            if (Is<meta::data::Event>(item)) {
                item->As<meta::data::Event>().SetInternal(true);
            }
            working.Append(std::move(item));
        }
    }
    return (*last)->Generate(working);
}

void Compound::Impl::PresentAsOwn(meta::data::Event& event) {
    auto const edit = [this](meta::data::Event::Objects& objects) {
        ReplaceRecords(objects);
        KeepLastChannel(objects);
    };
    event.EditObjects(std::ref(edit));
    event.SetTexts(texts.Get(owner.GetName(), owner.GetEventType(), event.GetCategory()));
}

void Compound::Impl::ReplaceRecords(meta::data::Event::Objects& objects) const {
    auto const last = observables.back()->GetId();
    bool byLast = false;
    std::erase_if(objects, [&](std::shared_ptr<object::Object const> const& object) {
        if (!Is<meta::data::Observable>(object)) {
            return false;
        }
        auto const id = object->As<meta::data::Observable>().GetId();
        byLast = byLast || id == last;
        return HasMember(id);
    });
    if (byLast) {
        objects.push_back(owner.MakeObservableMetadata());
    }
}

Compound::Compound(hash::MurmurThree32 type) : Observable(type), impl(std::make_unique<Impl>(*this)) {}

void Compound::Reset() {
    for (auto const& member : type::Deref(impl).observables) {
        member->Reset();
    }
}

std::vector<unsigned int> Compound::GetDependents() const { return type::Deref(impl).GetDependents(); }

Compound::~Compound() = default;

Items Compound::Process(meta::Meta const& frame) { return type::Deref(impl).Process(frame); }

Observables const& Compound::GetObservables() { return type::Deref(impl).CheckObservables(); }

Observables const& Compound::GetObservables() const { return type::Deref(impl).CheckObservables(); }

}  // namespace qel::observable
