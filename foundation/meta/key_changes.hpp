#pragma once

#include <cstdint>

#include "foundation/export.hpp"

namespace qel::meta {

/// How many changes the process has seen of what look-ups are keyed by: the ids of events, the observable and
/// tracked-object records that they hold, and the ids in observable records. Only changes of events whose keys are
/// watched (`data::Event::WatchKeys`) count. A look-up that finds the count moved since its keys were read reads them
/// again. Any thread.
QEL_FOUNDATION_EXPORT std::uint64_t KeyChanges() noexcept;

/// Adds one to the count, after the change.
QEL_FOUNDATION_EXPORT void CountKeyChange() noexcept;

}  // namespace qel::meta
