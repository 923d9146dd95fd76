#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace qel::host {

/// What an option takes, as "FILE", "{stop,skip}" or "INT in [0 - 9]"; empty for a flag.
std::string ValueOf(CLI::Option const& option);

/// The values of an option that allows only some; otherwise empty.
std::vector<std::string> ChoicesOf(CLI::Option const& option);

/// All spellings of an option with their dashes, as "-h", "--help"; empty for a positional.
std::vector<std::string> SpellingsOf(CLI::Option const& option);

}  // namespace qel::host
