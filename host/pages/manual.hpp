#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace qel::host {

/// The manual page, in section 1, of a program or of one of its sub-commands, made from what its --help tells.
///
/// The page of a sub-command is called after both, as in "qel-run".
std::string MakeManual(CLI::App const& command, std::string const& version);

/// The name of that page, without the section.
std::string PageNameOf(CLI::App const& command);

}  // namespace qel::host
