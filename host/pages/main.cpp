// qel_pages DIRECTORY: writes the manual pages of qel and its completion for bash there. Runs while qel is built.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <string>

#include <fmt/format.h>

#include "host/command/action.hpp"
#include "host/pages/completion.hpp"
#include "host/pages/manual.hpp"

namespace {

void Write(std::filesystem::path const& file, std::string const& text) {
    std::ofstream stream(file, std::ios::binary);
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream << text << std::flush;
}

void WritePages(std::filesystem::path const& directory) {
    using namespace qel::host;
    Action action;
    auto const program = MakeProgram(action);
    auto commands = program->get_subcommands({});
    commands.push_back(program.get());
    for (auto const* const command : commands) {
        Write(directory / (PageNameOf(*command) + ".1"), MakeManual(*command, QEL_VERSION));
    }
    Write(directory / "qel.bash", MakeBashCompletion(*program));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fmt::print(stderr, "qel_pages: give the directory to write to\n");
        return 2;
    }
    try {
        WritePages(argv[1]);
        return 0;
    } catch (std::exception const& error) {
        fmt::print(stderr, "qel_pages: {}: {}\n", argv[1], error.what());
        return 1;
    }
}
