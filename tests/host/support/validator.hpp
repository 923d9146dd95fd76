#pragma once

#include <string>
#include <vector>

namespace qel::tests {

/// What a validator that is not ours says of JSON documents: for each the places that the JSON Schema refuses with the
/// keywords that do, as in "$.rules[0].type enum; $.version const", and an empty text when it accepts the document.
/// Throws `std::runtime_error` when the validator does not run, or takes the schema for none. No document has a line
/// end.
std::vector<std::string> Validate(std::string const& schema, std::vector<std::string> const& documents);

}  // namespace qel::tests
