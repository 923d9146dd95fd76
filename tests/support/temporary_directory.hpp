#pragma once

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <string>

namespace qel::tests {

/// An empty directory of its own, gone with what it holds when this object goes.
class TemporaryDirectory {
public:
    TemporaryDirectory()
        : path(boost::filesystem::canonical(boost::filesystem::temp_directory_path()) /
               boost::filesystem::unique_path("qel-%%%%-%%%%-%%%%")) {
        boost::filesystem::create_directory(path);
    }
    ~TemporaryDirectory() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path, ignored);
    }

    TemporaryDirectory(TemporaryDirectory const&) = delete;
    TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;

    boost::filesystem::path const& GetPath() const { return path; }

    boost::filesystem::path operator/(std::string const& name) const { return path / name; }

private:
    boost::filesystem::path path;
};

}  // namespace qel::tests
