#pragma once

#include <cstdint>

#include "foundation/export.hpp"

namespace qel::meta {

/// How many changes the process has seen of what look-ups are keyed by: the ids of events, the observable and
/// tracked-object records that they hold, and the ids in observable records. Of changes of events, only
/// those of watched ones (`data::Event::WatchKeys`) count; a change of the id in a record always does. A look-up that
/// finds the count moved since its keys were read reads them again. Any thread.
QEL_FOUNDATION_EXPORT std::uint64_t KeyChanges() noexcept;

/// Adds one to the count, after the change.
QEL_FOUNDATION_EXPORT void CountKeyChange() noexcept;

}  // namespace qel::meta
