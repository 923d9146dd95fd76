#pragma once

#include <nlohmann/json.hpp>

#include "host/rules/type_catalogue.hpp"

namespace qel::host {

/// A JSON Schema (draft 7, which editors know best) of rule files with rules of these types.
///
/// It accepts every rule file that `ReadRules` accepts. What it cannot say are mistakes that need more than one place
/// of the file (names that nothing has, or that several have, cycles, a line where a polygon belongs, keys that are
/// repeated), whole numbers written as 1.0, and what a type refuses of a value in its range.
nlohmann::ordered_json MakeJsonSchema(TypeCatalogue const& types);

}  // namespace qel::host
