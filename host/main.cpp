#include <algorithm>
#include <csignal>
#include <exception>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "host/command/action.hpp"
#include "host/failure.hpp"
#include "host/rules/mistake.hpp"
#include "host/system/output.hpp"
#include "host/system/standard_error.hpp"

namespace {

int Perform(qel::host::Action const& action) {
    using namespace qel::host;
    try {
        return action();
    } catch (BrokenPipe const&) {
        return Success;
    } catch (CommandLineError const& error) {
        Tell(fmt::format("qel: {}", error.what()));
        return WrongCommandLine;
    } catch (std::exception const& error) {
        Tell(fmt::format("qel: {}", error.what()));
        return Wrong;
    }
}

std::vector<std::string> CommandsOf(CLI::App const& program) {
    std::vector<std::string> names;
    for (auto const* const command : program.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

int RefuseCommand(char const* given, std::vector<std::string> const& commands) {
    std::string const nearest = qel::host::Nearest(given, commands);
    qel::host::Tell(fmt::format("qel: no command is called \"{}\"; allowed: {}{}", given, fmt::join(commands, ", "),
                                nearest.empty() ? "" : fmt::format("; did you mean \"{}\"?", nearest)));
    return qel::host::WrongCommandLine;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    qel::host::OpenStandardDescriptors();
    qel::host::Action action;
    auto const program = qel::host::MakeProgram(action);
    auto const commands = CommandsOf(*program);
    if (argc > 1 && *argv[1] != '-' && std::find(commands.begin(), commands.end(), argv[1]) == commands.end()) {
        return RefuseCommand(argv[1], commands);
    }
    try {
        program->parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return program->exit(error) == 0 ? qel::host::Success : qel::host::WrongCommandLine;
    }
    return Perform(action);
}
