#include "host/pages/completion.hpp"

#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/pages/option_text.hpp"

namespace qel::host {

namespace {

std::vector<std::string> WordsOf(CLI::App const& command) {
    std::vector<std::string> words;
    for (auto const* const each : command.get_subcommands({})) {
        words.push_back(each->get_name());
    }
    for (auto const* const option : command.get_options()) {
        for (auto const& spelling : SpellingsOf(*option)) {
            words.push_back(spelling);
        }
    }
    return words;
}

/// What may follow an option that takes a value: its choices, or else a file name.
std::string ValueCasesOf(CLI::App const& command) {
    std::string cases;
    for (auto const* const option : command.get_options()) {
        auto const spellings = SpellingsOf(*option);
        if (spellings.empty() || ValueOf(*option).empty()) {
            continue;
        }
        auto const choices = ChoicesOf(*option);
        cases += fmt::format("        \"{} {}\") {} ;;\n", command.get_name(),
                             fmt::join(spellings, fmt::format("\" | \"{} ", command.get_name())),
                             choices.empty() ? "return" : fmt::format("words='{}'", fmt::join(choices, " ")));
    }
    return cases;
}

}  // namespace

std::string MakeBashCompletion(CLI::App const& program) {
    std::string values;
    std::string commands;
    for (auto const* const command : program.get_subcommands({})) {
        values += ValueCasesOf(*command);
        commands += fmt::format("                    {}) words='{}' ;;\n", command->get_name(),
                                fmt::join(WordsOf(*command), " "));
    }
    auto const& name = program.get_name();
    return fmt::format(R"(# Completion of {0} for bash.
_{0}() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} words=
    COMPREPLY=() # nothing to offer: bash falls back to file names
    case "${{COMP_WORDS[1]}} $previous" in
{1}        *)
            if ((COMP_CWORD == 1)); then
                words='{2}'
            elif [[ $current == -* ]]; then
                case ${{COMP_WORDS[1]}} in
{3}                esac
            fi
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}}
complete -o default -F _{0} {0}
)",
                       name, values, fmt::join(WordsOf(program), " "), commands);
}

}  // namespace qel::host
