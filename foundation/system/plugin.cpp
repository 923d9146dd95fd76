#include "foundation/system/plugin.hpp"

#include <dlfcn.h>
#include <stdlib.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <exception>
#include <memory>
#include <mutex>
#include <set>

#include "foundation/logging/logger.hpp"
#include "foundation/type/registry/detail/loading.hpp"

namespace qel::system::plugin {

namespace {

logging::Logger const logger("qel.system.plugin");

bool HasName(boost::filesystem::path const& file, std::string const& prefix) {
    auto const name = file.filename().string();
    return name.starts_with("lib" + prefix) && name.ends_with(".so");
}

/// What is not there behind its link, or cannot be examined, counts as a file, for its loading to tell what is wrong.
bool IsFile(boost::filesystem::path const& file) {
    boost::system::error_code error;
    auto const type = boost::filesystem::status(file, error).type();
    return type == boost::filesystem::regular_file || type == boost::filesystem::file_not_found ||
           type == boost::filesystem::status_error;
}

// Paths are compared as texts: the comparison of Boost's ends the process when memory runs out.

/// The file that a name leads to; the name itself when it leads nowhere.
std::string RealPath(boost::filesystem::path const& file) {
    std::unique_ptr<char, decltype(&free)> const real(realpath(file.c_str(), nullptr), &free);
    return real ? real.get() : file.native();
}

std::vector<boost::filesystem::path> FindFiles(std::string const& prefix,
                                               std::vector<boost::filesystem::path> const& directories) {
    std::vector<boost::filesystem::path> files;
    for (auto const& directory : directories) {
        for (auto const& entry : boost::filesystem::directory_iterator(directory)) {
            if (HasName(entry.path(), prefix) && IsFile(entry.path())) {
                files.push_back(boost::filesystem::absolute(entry.path()));
            }
        }
    }
    std::stable_sort(files.begin(), files.end(), [](auto const& left, auto const& right) {
        return left.filename().native() < right.filename().native();
    });
    return files;
}

void Load(boost::filesystem::path const& file) {
    // One at a time: who gets a library that another thread is still loading learns nothing of its failures, and keeps
    // it from being unloaded. Recursive, since a plug-in may load others; never destroyed, as they may do so at any
    // time.
    static auto& mutex = *new std::recursive_mutex;
    std::lock_guard<std::recursive_mutex> const lock(mutex);
    type::registry::detail::Loading const loading;
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        logger.Log(logging::Level::Error, "Failed to load the plug-in '%0%': %1%", file.string(), dlerror());
    } else if (loading.GetFailure()) {
        dlclose(library);
        std::rethrow_exception(loading.GetFailure());
    }
}

}  // namespace

void LoadAll(std::string const& prefix, std::vector<boost::filesystem::path> const& directories) {
    std::set<std::string> seen;
    for (auto const& file : FindFiles(prefix, directories)) {
        if (!seen.insert(RealPath(file)).second) {
            continue;
        }
        Load(file);
    }
}

}  // namespace qel::system::plugin
