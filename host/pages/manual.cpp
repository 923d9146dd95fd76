#include "host/pages/manual.hpp"

#include <sstream>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/replace.hpp>

#include "host/pages/option_text.hpp"

namespace qel::host {

namespace {

/// Text that troff prints as it stands.
std::string Plain(std::string text) {
    boost::replace_all(text, "\\", "\\(rs");
    boost::replace_all(text, "-", "\\-");
    bool const looksLikeRequest = text.starts_with('.') || text.starts_with('\'');
    return looksLikeRequest ? "\\&" + text : text;
}

std::string Bold(std::string const& text) { return "\\fB" + Plain(text) + "\\fR"; }
std::string Italic(std::string const& text) { return "\\fI" + Plain(text) + "\\fR"; }

bool IsPositional(CLI::Option const& option) { return SpellingsOf(option).empty(); }

std::string SynopsisOf(CLI::App const& command, std::string const& invocation) {
    std::string line = Bold(invocation);
    if (!command.get_subcommands({}).empty()) {
        return line + " " + Italic("COMMAND") + " [" + Italic("OPTION") + "]...";
    }
    line += " [" + Italic("OPTION") + "]...";
    for (auto const* const option : command.get_options()) {
        if (IsPositional(*option)) {
            auto const name = Italic(option->get_name(true));
            line += option->get_required() ? " " + name : " [" + name + "]";
        }
    }
    return line;
}

std::string EntryOf(CLI::Option const& option) {
    std::vector<std::string> heads;
    for (auto const& spelling : SpellingsOf(option)) {
        heads.push_back(Bold(spelling));
    }
    std::string entry = ".TP\n";
    if (heads.empty()) {
        entry += Italic(option.get_name(true));
    } else {
        entry += fmt::format("{}", fmt::join(heads, ", "));
        if (auto const value = ValueOf(option); !value.empty()) {
            entry += " " + Italic(value);
        }
    }
    entry += "\n" + Plain(option.get_description());
    if (option.get_required()) {
        entry += " (required)";
    }
    if (auto const value = option.get_default_str(); !value.empty()) {
        entry += fmt::format(" (default {})", Plain(value));
    }
    return entry + "\n";
}

/// Lines that begin with blanks are examples and keep their form; the others are paragraphs.
std::string TextOf(std::string const& footer) {
    std::istringstream lines(footer);
    std::string text;
    bool isExample = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(' ') != isExample && !line.empty()) {
            isExample = !isExample;
            text += isExample ? ".EX\n" : ".EE\n";
        }
        text += line.empty() ? ".PP\n" : Plain(line) + "\n";
    }
    return isExample ? text + ".EE\n" : text;
}

}  // namespace

std::string PageNameOf(CLI::App const& command) {
    return command.get_parent() == nullptr ? command.get_name()
                                           : command.get_parent()->get_name() + "-" + command.get_name();
}

std::string MakeManual(CLI::App const& command, std::string const& version) {
    auto const* const program = command.get_parent() == nullptr ? &command : command.get_parent();
    auto const name = PageNameOf(command);
    auto const invocation = program == &command ? name : program->get_name() + " " + command.get_name();
    std::string page = fmt::format(".TH {} 1 \"\" \"{} {}\" \"User Commands\"\n", Plain(boost::to_upper_copy(name)),
                                   program->get_name(), version);
    page += fmt::format(".SH NAME\n{} \\- {}\n", Plain(name), Plain(command.get_description()));
    page += ".SH SYNOPSIS\n" + SynopsisOf(command, invocation) + "\n";
    auto const commands = command.get_subcommands({});
    if (!commands.empty()) {
        page += ".SH COMMANDS\n";
        for (auto const* const each : commands) {
            page += fmt::format(".TP\n{}\n{}, see {}(1)\n", Bold(each->get_name()), Plain(each->get_description()),
                                Bold(PageNameOf(*each)));
        }
    }
    page += ".SH OPTIONS\n";
    for (auto const* const option : command.get_options()) {
        page += EntryOf(*option);
    }
    return page + ".SH NOTES\n" + TextOf(command.get_footer());
}

}  // namespace qel::host
