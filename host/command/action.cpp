#include "host/command/action.hpp"

#include <fmt/format.h>

#include "host/failure.hpp"
#include "host/stream/timestamp.hpp"

namespace qel::host {

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

}  // namespace

std::unique_ptr<CLI::App> MakeProgram(Action& action) {
    auto program = std::make_unique<CLI::App>(
        "Evaluates rules over the tracked objects of video frames and reports events", "qel");
    program->set_version_flag("--version", "qel " QEL_VERSION, "Print the version and exit");
    program->require_subcommand(1);
    program->footer(Footer);
    AddRun(*program, action);
    AddCheck(*program, action);
    AddTypes(*program, action);
    AddGraph(*program, action);
    AddSimulate(*program, action);
    return program;
}

void AddPluginsOption(CLI::App& command, std::string& directory) {
    command.add_option("--plugins", directory, "Load plug-ins from this directory too")->type_name("DIR");
}

meta::Timestamp ParseStart(std::string const& text) {
    if (auto const time = ParseTimeOrNanoseconds(text)) {
        return *time;
    }
    throw CommandLineError(fmt::format(
        "--start: {}: not a time; allowed: nanoseconds since 1970 as a whole number, or an RFC 3339 text", text));
}

CLI::Validator InRange(double lowest, double highest) {
    auto const check = [lowest, highest](std::string const& text) {
        double value = 0;
        bool const isInside = CLI::detail::lexical_cast(text, value) && value >= lowest && value <= highest;
        return isInside ? std::string() : fmt::format("Value {} not in range {} to {}", text, lowest, highest);
    };
    return {check, fmt::format("FLOAT in [{} - {}]", lowest, highest)};
}

}  // namespace qel::host
