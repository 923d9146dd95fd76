#pragma once

#include <memory>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"
#include "observable/observable.hpp"

namespace qel::observable::detail {

/// The texts of an observable's events. They are made once for every name that the observable has, and shared.
class EventTexts {
public:
    /// `type` is the kind of condition, in static storage. The owner outlives this object.
    EventTexts(Observable const& owner, char const* type) : owner(owner), type(type) {}

    /// With the owner's present name. Valid until the next call.
    std::shared_ptr<meta::data::Event::Texts const> const& Get();

private:
    Observable const& owner;
    char const* const type;
    std::shared_ptr<meta::data::Event::Texts const> texts;
};

/// The event that reports a condition up to `now`: it goes on with `last`, or is a new occurrence when that is null.
std::shared_ptr<meta::data::Event> StartOrContinue(meta::data::Event const* last,
                                                   std::shared_ptr<meta::data::Event::Texts const> texts,
                                                   meta::Timestamp now, meta::data::Event::Objects objects);

}  // namespace qel::observable::detail
