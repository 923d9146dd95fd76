#include "foundation/system/library_path.hpp"

#include <link.h>

#include <boost/filesystem/operations.hpp>
#include <string_view>

namespace qel::system {

namespace {

struct Search {
    std::string fileName;
    std::string path;
};

/// Whether a file name is the wanted one, with or without a version: libx.so, libx.so.1.2.
bool Matches(std::string_view fileName, std::string_view wanted) {
    if (!fileName.starts_with(wanted)) {
        return false;
    }
    fileName.remove_prefix(wanted.size());
    return fileName.empty() ||
           (fileName.front() == '.' && fileName.find_first_not_of(".0123456789") == std::string_view::npos);
}

int Visit(dl_phdr_info* library, std::size_t, void* data) {
    auto& search = *static_cast<Search*>(data);
    std::string_view const path(library->dlpi_name);
    bool const found = Matches(path.substr(path.rfind('/') + 1), search.fileName);
    if (found) {
        search.path = path;
    }
    return found ? 1 : 0;
}

}  // namespace

std::string GetLibraryPath(std::string const& name) {
    Search search{"lib" + name + ".so", {}};
    if (dl_iterate_phdr(&Visit, &search) == 0) {
        throw boost::filesystem::filesystem_error(
            "No loaded library has this name", search.fileName,
            boost::system::errc::make_error_code(boost::system::errc::no_such_file_or_directory));
    }
    return boost::filesystem::absolute(search.path).string();
}

}  // namespace qel::system
