#pragma once

#include <functional>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "foundation/meta/timestamp.hpp"

namespace qel::host {

/// What the command line asks for; returns the exit code.
using Action = std::function<int()>;

// Each adds one sub-command. When the command line names it, `action` becomes what it does.

void AddCheck(CLI::App& program, Action& action);
void AddGraph(CLI::App& program, Action& action);
void AddRun(CLI::App& program, Action& action);
void AddSimulate(CLI::App& program, Action& action);
void AddTypes(CLI::App& program, Action& action);

/// The command line of qel with all its sub-commands, which must not outlive `action`.
std::unique_ptr<CLI::App> MakeProgram(Action& action);

/// Adds the option that every command has.
void AddPluginsOption(CLI::App& command, std::string& directory);

/// The time that the option --start gives, as nanoseconds since 1970 or an RFC 3339 text. Throws `CommandLineError` for
/// another text.
meta::Timestamp ParseStart(std::string const& text);

/// Allows numbers from the lowest to the highest; unlike `CLI::Range` it refuses "nan".
CLI::Validator InRange(double lowest, double highest);

}  // namespace qel::host
