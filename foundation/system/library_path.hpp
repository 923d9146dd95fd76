#pragma once

#include <string>

#include "foundation/export.hpp"

namespace qel::system {

/// The absolute path under which the shared library with this base name ("qel_observable" for libqel_observable.so,
/// whatever version follows) was loaded into the process. Symbolic links are not resolved. Throws
/// `boost::filesystem::filesystem_error` when no such library is loaded. May be called from any thread.
QEL_FOUNDATION_EXPORT std::string GetLibraryPath(std::string const& name);

}  // namespace qel::system
