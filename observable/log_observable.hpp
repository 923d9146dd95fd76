#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/object/object.hpp"
#include "observable/export.hpp"

namespace qel::observable {

/// Writes one line, of level Info under the name "qel.observable.Notifier", about how many new events an observable has
/// generated for a frame; none when it generated none. New is what is not a duplicate: internal events count, and so do
/// those that nobody is told of. Items that are no events, nulls too, do not.
///
/// `channel` is the id of the frame's channel, if the frame has one. Any thread; what the log sink throws passes
/// through.
QEL_OBSERVABLE_EXPORT void LogObservable(std::vector<std::shared_ptr<object::Object>> const& generated,
                                         std::optional<unsigned int> channel, unsigned int observable,
                                         std::string const& name);

/// The same for so many new events, at least one.
void LogGenerated(unsigned int count, std::optional<unsigned int> channel, unsigned int observable,
                  std::string const& name);

}  // namespace qel::observable
