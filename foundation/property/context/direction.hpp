#pragma once

namespace qel::property::context {

/// Which way a value goes first when a property is bound to its target: `FromTarget` reads the target's value at once,
/// `ToTarget` leaves both as they are. From then on setting writes to the target and getting reads from it, either way.
enum class Direction { ToTarget, FromTarget };

}  // namespace qel::property::context
