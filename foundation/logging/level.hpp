#pragma once

namespace qel::logging {

/// How much a message matters.
enum class Level : unsigned int { Trace = 1, Debug = 2, Info = 4, Warning = 8, Error = 16 };

/// Whether the output marks a message of this level as important; the default filter lets nothing else pass.
constexpr bool IsImportant(Level level) { return level >= Level::Error; }

}  // namespace qel::logging
