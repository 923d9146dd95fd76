#pragma once

#include <chrono>

namespace qel::meta {

/// The time of a frame or of an event: the system clock's, in nanoseconds since the epoch.
using Timestamp = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

}  // namespace qel::meta
