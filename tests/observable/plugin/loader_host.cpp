// A host for the loader's tests: the loader looks beside the library that this process has loaded, which the test has
// put where it wants it. Prints the log lines that loading writes, what the loader throws, and an instance of every
// type.
//
// loader_host [--forbid <directory>] [--remove <directory>] [--full-log] [--again]

#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/logging/config.hpp"
#include "observable/observable.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/registry/get.hpp"
#include "tests/support/log_capture.hpp"

using qel::observable::Observable;

namespace {

constexpr uid_t nobody = 65534;

/// Takes the right to read a directory from this process.
void Forbid(char const* directory) {
    if (chmod(directory, 0) != 0 || (geteuid() == 0 && seteuid(nobody) != 0)) {
        throw std::runtime_error("cannot take the right to read");
    }
}

/// Is again who started this process.
void BeOneself() {
    if (seteuid(getuid()) != 0) {
        throw std::runtime_error("cannot take the old rights back");
    }
}

void Load() {
    try {
        qel::observable::plugin::Loader const loader;
    } catch (std::exception const& error) {
        std::cout << "thrown: " << error.what() << '\n';
    }
}

void PrintInstances() {
    std::map<std::string, qel::hash::MurmurThree32> types;
    {
        auto const view = qel::observable::registry::Get().GetMap();
        for (auto const& [type, info] : *view) {
            types.emplace(info.GetTypeName(), type);
        }
    }
    for (auto const& [name, type] : types) {
        std::cout << name << ": " << Observable::Make(type)->GetName() << '\n';
    }
}

}  // namespace

int main(int count, char** arguments) {
    try {
        qel::tests::LogCapture capture;
        bool again = false;
        for (int i = 1; i < count; ++i) {
            std::string const argument = arguments[i];
            if (argument == "--forbid") {
                Forbid(arguments[++i]);
            } else if (argument == "--remove") {
                boost::filesystem::remove_all(arguments[++i]);
            } else if (argument == "--full-log") {
                qel::logging::SetSink([](std::string const&, bool) { throw std::runtime_error("the log is full"); });
            } else if (argument == "--again") {
                again = true;
            }
        }
        Load();
        if (again) {
            Load();
        }
        BeOneself();
        for (auto const& line : capture.Take()) {
            std::cout << line << '\n';
        }
        PrintInstances();
        return EXIT_SUCCESS;
    } catch (std::exception const& error) {
        std::cout << "failed: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
