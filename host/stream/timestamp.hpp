#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/meta/timestamp.hpp"

namespace qel::host {

/// Reads an RFC 3339 text such as "2023-11-14T22:13:20.040+01:00": any number of fraction digits, of which nine count.
/// A leap second is the second after it. Nothing for other texts and for times that a timestamp cannot hold, which
/// are those before 1677-09-21 and after 2262-04-11.
std::optional<meta::Timestamp> ParseTimestamp(std::string_view text);

/// The same, or a whole number of nanoseconds since 1970.
std::optional<meta::Timestamp> ParseTimeOrNanoseconds(std::string_view text);

/// The time in UTC with three digits of milliseconds, cut: "2023-11-14T22:13:20.040Z".
std::string FormatTimestamp(meta::Timestamp time);

}  // namespace qel::host
