#include "observable/plugin/loader.hpp"

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/path.hpp>

#include "foundation/logging/logger.hpp"
#include "foundation/system/library_path.hpp"
#include "foundation/system/plugin.hpp"

namespace qel::observable::plugin {

namespace {

logging::Logger const logger("qel.observable.plugin.LoadAll");

}  // namespace

Loader::Loader() {
    try {
        boost::filesystem::path const library(system::GetLibraryPath("qel_observable"));
        system::plugin::LoadAll("qel_observable_", {library.parent_path()});
    } catch (boost::filesystem::filesystem_error const& error) {
        logger.Log(logging::Level::Error, "Failed while searching library directory: %0%", error.what());
    }
}

}  // namespace qel::observable::plugin
