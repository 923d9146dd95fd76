#include <memory>
#include <string>

#include <fmt/format.h>

#include "host/command/action.hpp"
#include "host/command/load_rules.hpp"
#include "host/events/progress.hpp"
#include "host/failure.hpp"
#include "host/system/output.hpp"

namespace qel::host {

namespace {

struct Options {
    std::string rules;
    std::string plugins;
};

int Check(Options const& options) {
    TypeCatalogue::LoadPlugins(options.plugins);
    TypeCatalogue const types;
    auto const file = LoadRules(options.rules, types);
    if (!file) {
        return Wrong;
    }
    Output output("-");
    output.Write(fmt::format("{}: {} and {}, no mistake\n", NameOfInput(options.rules),
                             Plural(file->rules.size(), "rule"), Plural(file->zones.size(), "zone")));
    output.Flush();
    return Success;
}

}  // namespace

void AddCheck(CLI::App& program, Action& action) {
    auto const options = std::make_shared<Options>();
    auto* const command = program.add_subcommand("check", "Tell every mistake of a rule file");
    command->add_option("RULES", options->rules, "The rule file, - for standard input")->required();
    AddPluginsOption(*command, options->plugins);
    command->footer(
        "Each mistake is one line on standard error: file, line, column, key, value, what is wrong, what is\n"
        "allowed. Exit: 0 without a mistake, 1 with one, 2 for a wrong command line.\n\n"
        "  qel check rules.json");
    command->callback([options, &action] { action = [options] { return Check(*options); }; });
}

}  // namespace qel::host
