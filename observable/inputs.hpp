#pragma once

#include <string_view>

namespace qel::observable {

/// The names of the properties that hold the inputs of an observable with two inputs.
inline constexpr std::string_view InputA = "inputa";
inline constexpr std::string_view InputB = "inputb";

}  // namespace qel::observable
