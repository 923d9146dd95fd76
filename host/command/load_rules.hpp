#pragma once

#include <optional>
#include <string>

#include "host/rules/rule_file.hpp"
#include "host/rules/type_catalogue.hpp"

namespace qel::host {

/// Reads a rule file, "-" for standard input, and builds its rules once for every channel that it names and once for
/// another. Writes every mistake and warning to standard error, a line each. Nothing when there was a mistake. Throws
/// `Failure` when the file cannot be read.
std::optional<RuleFile> LoadRules(std::string const& path, TypeCatalogue const& types);

}  // namespace qel::host
