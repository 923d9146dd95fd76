#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace qel::host {

/// A script for bash that completes the program's commands, options and values, and file names where they may stand.
std::string MakeBashCompletion(CLI::App const& program);

}  // namespace qel::host
