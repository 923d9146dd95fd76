#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "foundation/export.hpp"

namespace qel::system::plugin {

/// Loads every shared library of the directories whose file name is lib<prefix>*.so, in the order of the file names;
/// what a library does when it is loaded makes it a plug-in. A file that is reached by several names is loaded once.
///
/// The libraries stay loaded until the process ends, and their symbols are for themselves. A library that cannot be
/// loaded is one important line of the logger "qel.system.plugin", with the file and the reason; the others still load.
/// A directory that is missing or unreadable is a `boost::filesystem::filesystem_error`, and nothing is loaded. What a
/// log sink throws passes through; so does what the registration of a type fails with, for lack of memory, and then its
/// library does not stay. Any other exception that leaves a static initialiser of a library ends the process.
QEL_FOUNDATION_EXPORT void LoadAll(std::string const& prefix, std::vector<boost::filesystem::path> const& directories);

}  // namespace qel::system::plugin
