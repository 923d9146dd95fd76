#pragma once

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

namespace qel::tests {

/// A program "walk" with a sub-command that has one of each kind of option. The values that it would set are kept
/// with it.
struct Command {
    std::string file = "-";
    std::string pace;
    std::string place;
    int steps = 0;
    bool isQuiet = false;
    CLI::App program{"Walks about", "walk"};
    CLI::App* to = nullptr;

    Command() {
        program.footer("One foot first.\n\n  walk to HERE");
        to = program.add_subcommand("to", "Walks to a place");
        to->add_option("PLACE", place, "Where to")->required();
        to->add_option("--file,-f", file, "A \\ map, - for none")->type_name("FILE")->capture_default_str();
        to->add_option("--pace", pace, "How fast")->check(CLI::IsMember({"slow", "fast"}))->required();
        to->add_option("--steps", steps, "How many")->check(CLI::Range(1, 9));
        to->add_flag("--quiet", isQuiet, "Says nothing");
        to->footer(".dot and 'quote' are plain.\n\n  walk to HERE --pace slow\n  walk to THERE\n\nThe end.");
    }
};

}  // namespace qel::tests
