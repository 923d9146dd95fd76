#pragma once

#include <memory>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"

namespace qel::observable::detail {

/// The event that reports a condition up to `now`: it goes on with `last`, or is a new occurrence when that is null.
std::shared_ptr<meta::data::Event> StartOrContinue(meta::data::Event const* last,
                                                   std::shared_ptr<meta::data::Event::Texts const> texts,
                                                   meta::Timestamp now, meta::data::Event::Objects objects);

}  // namespace qel::observable::detail
