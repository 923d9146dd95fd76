#include "observable/plugin/loader.hpp"

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/filesystem/operations.hpp>

#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

namespace fs = boost::filesystem;

/// What the host makes of a type when there are no plug-ins.
std::string const And = "qel.observable.And: And";
std::string const Not = "qel.observable.Not: Not";
std::string const Or = "qel.observable.Or: Or";
std::string const Previous = "qel.observable.Previous: Previous";

std::vector<std::string> LinesOf(std::istream& stream) {
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// A directory with the two libraries, for a host that finds plug-ins beside them.
class PluginLoader : public testing::Test {
protected:
    PluginLoader() {
        fs::create_directory(libraries);
        fs::permissions(directory.GetPath(), fs::owner_all | fs::others_read | fs::others_exe);
        Link(OBSERVABLE, libraries / OBSERVABLE_NAME);
        Link(FOUNDATION, libraries / FOUNDATION_NAME);
    }

    ~PluginLoader() override {
        boost::system::error_code ignored;
        fs::permissions(libraries, fs::owner_all, ignored);
    }

    static void Link(fs::path const& file, fs::path const& name) { fs::create_symlink(file, name); }

    /// Puts a library beside the two.
    void Plug(fs::path const& file, std::string const& name) const { Link(file, libraries / name); }

    fs::path Write(std::string const& name, std::string const& text) const {
        std::ofstream((libraries / name).string()) << text;
        return libraries / name;
    }

    std::vector<std::string> Host(std::string const& arguments = "") const { return Run(LOADER_HOST, arguments); }

    /// What a program prints that uses these libraries.
    std::vector<std::string> Run(std::string const& program, std::string const& arguments) const {
        auto const command = "LD_LIBRARY_PATH='" + libraries.string() + "' '" + program + "' " + arguments + " 2>&1";
        std::unique_ptr<FILE, int (*)(FILE*)> const output(popen(command.c_str(), "r"), &pclose);
        if (!output) {
            ADD_FAILURE() << command;
            return {};
        }
        std::string text;
        for (int c = std::fgetc(output.get()); c != EOF; c = std::fgetc(output.get())) {
            text += static_cast<char>(c);
        }
        std::istringstream stream(text);
        return LinesOf(stream);
    }

    TemporaryDirectory directory;
    fs::path const libraries = directory / "lib";
};

/// The log line about a plug-in that cannot be loaded.
auto FailureOf(fs::path const& file, std::string const& reason) {
    return AllOf(StartsWith("qel.system.plugin 16 important: Failed to load the plug-in '" + file.string() + "': "),
                 EndsWith(reason));
}

TEST_F(PluginLoader, LeavesTheBuiltInTypesWhenThereIsNoPlugin) {
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous));
}

TEST_F(PluginLoader, LoadsAPluginBesideTheLibrary) {
    Plug(ONE, "libqel_observable_one.so");
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous, "qel.tests.plugin.One: one"));
}

TEST_F(PluginLoader, LoadsSeveral) {
    Plug(ONE, "libqel_observable_one.so");
    Plug(TWO, "libqel_observable_two.so");
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous, "qel.tests.plugin.One: one", "qel.tests.plugin.Two: two"));
}

TEST_F(PluginLoader, LoadsNothingFromOtherDirectories) {
    fs::create_directory(libraries / "below");
    Link(ONE, libraries / "below" / "libqel_observable_one.so");
    Link(TWO, directory / "libqel_observable_two.so");
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous));
}

TEST_F(PluginLoader, LoadsNothingWithoutThePrefix) {
    Plug(ONE, "libqel_observableone.so");
    Plug(ONE, "libqel_one.so");
    Plug(ONE, "libmy_qel_observable_one.so");
    Plug(ONE, "qel_observable_one.so");
    Plug(ONE, "libqel_observable_one.so.1");
    Plug(TWO, "libqel_observable_.so");
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous, "qel.tests.plugin.Two: two"));
}

TEST_F(PluginLoader, LeavesOutAFileThatIsNoLibrary) {
    auto const text = Write("libqel_observable_a.so", "not a library");
    Plug(ONE, "libqel_observable_one.so");
    EXPECT_THAT(Host(),
                ElementsAre(FailureOf(text, "file too short"), And, Not, Or, Previous, "qel.tests.plugin.One: one"));
}

TEST_F(PluginLoader, LeavesOutALibraryWithAMissingSymbol) {
    Plug(MISSING_SYMBOL, "libqel_observable_a.so");
    Plug(ONE, "libqel_observable_one.so");
    EXPECT_THAT(Host(), ElementsAre(FailureOf(libraries / "libqel_observable_a.so",
                                              "undefined symbol: qel_tests_nobody_has_this"),
                                    And, Not, Or, Previous, "qel.tests.plugin.One: one"));
}

TEST_F(PluginLoader, KeepsABuiltInTypeWhenAPluginBringsAnotherOfItsName) {
    Plug(AND, "libqel_observable_and.so");
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous));
}

TEST_F(PluginLoader, KeepsTheFirstOfTwoPluginsThatBringOneType) {
    Plug(ONE, "libqel_observable_b.so");
    Plug(ANOTHER_ONE, "libqel_observable_c.so");
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous, "qel.tests.plugin.One: one"));
    Plug(ANOTHER_ONE, "libqel_observable_a.so");
    EXPECT_THAT(Host(), ElementsAre(And, Not, Or, Previous, "qel.tests.plugin.One: another one"));
}

TEST_F(PluginLoader, MayBeMadeTwice) {
    Plug(ONE, "libqel_observable_one.so");
    EXPECT_THAT(Host("--again"), ElementsAre(And, Not, Or, Previous, "qel.tests.plugin.One: one"));
}

/// The log line about a directory that cannot be searched, with the reason that the search gives.
std::string SearchFailure(fs::path const& path, char const* reason) {
    return "qel.observable.plugin.LoadAll 16 important: Failed while searching library directory: "
           "boost::filesystem::directory_iterator::construct: " +
           std::string(reason) + ": \"" + path.string() + "\"";
}

TEST_F(PluginLoader, LogsThatTheDirectoryHasGone) {
    Plug(ONE, "libqel_observable_one.so");
    EXPECT_THAT(Host("--remove '" + libraries.string() + "'"),
                ElementsAre(SearchFailure(libraries, "No such file or directory"), And, Not, Or, Previous));
}

TEST_F(PluginLoader, LogsThatTheDirectoryCannotBeRead) {
    Plug(ONE, "libqel_observable_one.so");
    auto const printed = Host("--forbid '" + libraries.string() + "'");
    if (printed == std::vector<std::string>{"failed: cannot take the right to read"}) {
        GTEST_SKIP() << "the superuser may not become another user here, and reads every directory";
    }
    EXPECT_THAT(printed, ElementsAre(SearchFailure(libraries, "Permission denied"), And, Not, Or, Previous));
}

TEST_F(PluginLoader, LetsPassWhatTheLogSinkThrows) {
    Write("libqel_observable_a.so", "not a library");
    EXPECT_THAT(Host("--full-log"), ElementsAre("thrown: the log is full", And, Not, Or, Previous));
    EXPECT_THAT(Host("--full-log --remove '" + libraries.string() + "'"),
                ElementsAre("thrown: the log is full", And, Not, Or, Previous));
}

TEST_F(PluginLoader, LetsAProgramUseThePluginOfTheExample) {
    Plug(CROWD, "libqel_observable_crowd.so");
    std::ifstream expected(EXAMPLE "/watch_crowd.output");
    EXPECT_EQ(Run(WATCH_CROWD, ""), LinesOf(expected));
}

TEST_F(PluginLoader, LetsAProgramSeeThatThePluginOfTheExampleIsMissing) {
    EXPECT_THAT(Run(WATCH_CROWD, ""), ElementsAre("The plug-in is not installed beside libqel_observable.so."));
}

}  // namespace
}  // namespace qel::tests
