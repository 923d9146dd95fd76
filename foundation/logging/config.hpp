#pragma once

#include <functional>
#include <string>

#include "foundation/export.hpp"
#include "foundation/logging/level.hpp"
#include "foundation/logging/name.hpp"

namespace qel::logging {

/// Replaces the process-wide filter, which says of each message whether it is wanted. An empty function restores the
/// default: important messages only.
///
/// May be called from any thread, from inside a filter or a sink too. The function is called on the threads that log,
/// on several at once, and under no lock; a message that is under way on another thread may still meet the function
/// before. It must be replaced before its code is unloaded.
QEL_FOUNDATION_EXPORT void SetFilter(std::function<bool(Name const&, Level)> filter);

/// Replaces the process-wide sink, which gets every finished line without an end of line. An empty function restores
/// the default: standard error. The same holds as for the filter; what the sink throws reaches the caller that logs.
QEL_FOUNDATION_EXPORT void SetSink(std::function<void(std::string const& line, bool important)> sink);

}  // namespace qel::logging
