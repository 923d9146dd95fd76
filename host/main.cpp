#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "host/command/action.hpp"
#include "host/failure.hpp"
#include "host/rules/mistake.hpp"
#include "host/system/output.hpp"

namespace {

constexpr auto Footer =
    "qel COMMAND --help tells more about a command.\n"
    "\n"
    "Exit: 0 when all went well, 1 for a mistake in rules or stream, 2 for a wrong command line,\n"
    "130 and 143 when interrupted or terminated.\n"
    "\n"
    "Examples:\n"
    "  qel check rules.json\n"
    "  qel run --rules rules.json --input frames.jsonl\n"
    "  qel simulate --seconds 60 | qel run --rules rules.json --input -";

int Perform(qel::host::Action const& action) {
    using namespace qel::host;
    try {
        return action();
    } catch (BrokenPipe const&) {
        return Success;
    } catch (CommandLineError const& error) {
        fmt::print(stderr, "qel: {}\n", error.what());
        return WrongCommandLine;
    } catch (std::exception const& error) {
        fmt::print(stderr, "qel: {}\n", error.what());
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
    fmt::print(stderr, "qel: no command is called \"{}\"; allowed: {}{}\n", given, fmt::join(commands, ", "),
               nearest.empty() ? "" : fmt::format("; did you mean \"{}\"?", nearest));
    return qel::host::WrongCommandLine;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    qel::host::Action action;
    CLI::App program("Evaluates rules over the tracked objects of video frames and reports events", "qel");
    program.set_version_flag("--version", "qel " QEL_VERSION, "Print the version and exit");
    program.require_subcommand(1);
    program.footer(Footer);
    qel::host::AddRun(program, action);
    qel::host::AddCheck(program, action);
    qel::host::AddTypes(program, action);
    qel::host::AddGraph(program, action);
    qel::host::AddSimulate(program, action);
    auto const commands = CommandsOf(program);
    if (argc > 1 && *argv[1] != '-' && std::find(commands.begin(), commands.end(), argv[1]) == commands.end()) {
        return RefuseCommand(argv[1], commands);
    }
    try {
        program.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return program.exit(error) == 0 ? qel::host::Success : qel::host::WrongCommandLine;
    }
    return Perform(action);
}
