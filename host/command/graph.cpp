#include <memory>
#include <string>

#include <fmt/format.h>

#include "host/command/action.hpp"
#include "host/command/load_rules.hpp"
#include "host/failure.hpp"
#include "host/rules/mistake.hpp"
#include "host/system/output.hpp"

namespace qel::host {

namespace {

struct Options {
    std::string rules;
    std::string plugins;
};

std::string Quoted(std::string const& text) {
    std::string quoted;
    for (char const character : text) {
        if (character == '"' || character == '\\') {
            quoted += '\\';
        }
        quoted += character == '\n' ? "\\n" : std::string(1, character);
    }
    return '"' + quoted + '"';
}

/// Rules by their numbers; arrows point from a rule to its inputs. What only other rules see is dashed.
std::string MakeDot(RuleFile const& file) {
    std::string dot = "digraph G {\n";
    for (std::size_t at = 0; at < file.rules.size(); ++at) {
        auto const& rule = file.rules[at];
        auto const channel = rule.channel ? fmt::format("\nchannel {}", *rule.channel) : std::string();
        dot += fmt::format("{} [label={}{}];\n", at + 1, Quoted(OneLine(rule.name) + "\n" + rule.type->name + channel),
                           rule.triggersAction ? "" : ", style=dashed");
    }
    for (std::size_t at = 0; at < file.rules.size(); ++at) {
        for (auto const& input : file.rules[at].inputs) {
            dot += fmt::format("{}->{} [label={}];\n", at + 1, input.rule + 1, Quoted(input.setting->schema.GetName()));
        }
    }
    return dot + "}\n";
}

int Graph(Options const& options) {
    TypeCatalogue::LoadPlugins(options.plugins);
    TypeCatalogue const types;
    auto const file = LoadRules(options.rules, types);
    if (!file) {
        return Wrong;
    }
    Output output("-");
    output.Write(MakeDot(*file));
    output.Flush();
    return Success;
}

}  // namespace

void AddGraph(CLI::App& program, Action& action) {
    auto const options = std::make_shared<Options>();
    auto* const command = program.add_subcommand("graph", "Write the graph of a rule file as Graphviz DOT");
    command->add_option("RULES", options->rules, "The rule file, - for standard input")->required();
    AddPluginsOption(*command, options->plugins);
    command->footer(
        "Arrows point from a rule to the rules that it reads; rules that trigger no action are dashed.\n"
        "Exit: 0, 1 for a mistake in the rule file, 2 for a wrong command line.\n\n"
        "  qel graph rules.json | dot -Tsvg -o rules.svg");
    command->callback([options, &action] { action = [options] { return Graph(*options); }; });
}

}  // namespace qel::host
