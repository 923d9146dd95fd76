#include "foundation/system/library_path.hpp"

#include <dlfcn.h>

#include <boost/filesystem/operations.hpp>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using system::GetLibraryPath;
using testing::StartsWith;
using testing::ThrowsMessage;

namespace fs = boost::filesystem;

/// Loads a library for as long as this object lives.
class Loaded {
public:
    explicit Loaded(std::string const& file) : handle(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        EXPECT_NE(handle, nullptr) << dlerror();
    }
    ~Loaded() {
        if (handle != nullptr) {
            dlclose(handle);
        }
    }
    Loaded(Loaded const&) = delete;
    Loaded& operator=(Loaded const&) = delete;

private:
    void* handle;
};

/// Goes back to where the process was.
class WorkingDirectory {
public:
    explicit WorkingDirectory(fs::path const& directory) : before(fs::current_path()) { fs::current_path(directory); }
    ~WorkingDirectory() { fs::current_path(before); }
    WorkingDirectory(WorkingDirectory const&) = delete;
    WorkingDirectory& operator=(WorkingDirectory const&) = delete;

private:
    fs::path before;
};

class LibraryPathTest : public testing::Test {
protected:
    /// A copy of the probe under the name in the directory.
    std::string CopyTo(std::string const& name) const {
        fs::copy_file(PROBE_ONE, directory / name);
        return (directory / name).string();
    }

    TemporaryDirectory directory;
};

TEST_F(LibraryPathTest, IsThatOfALibraryTheProgramIsLinkedTo) {
    fs::path const path = GetLibraryPath("qel_foundation");
    EXPECT_TRUE(path.is_absolute());
    EXPECT_TRUE(fs::equivalent(path, FOUNDATION)) << path;
}

TEST_F(LibraryPathTest, FindsLibrariesWithAVersion) {
    EXPECT_THAT(fs::path(GetLibraryPath("stdc++")).filename().string(), StartsWith("libstdc++.so."));
    auto const path = CopyTo("libqel_test_versioned.so.1.22.333");
    Loaded const library(path);
    EXPECT_EQ(GetLibraryPath("qel_test_versioned"), path);
}

TEST_F(LibraryPathTest, FindsLibrariesWithoutAVersion) {
    auto const path = CopyTo("libqel_test_unversioned.so");
    Loaded const library(path);
    EXPECT_EQ(GetLibraryPath("qel_test_unversioned"), path);
}

TEST_F(LibraryPathTest, IsAskedForTheWholeName) {
    Loaded const library(CopyTo("libqel_test_whole_name.so"));
    for (auto const* const name :
         {"qel_test_whole", "test_whole_name", "qel_test_whole_name_", "libqel_test_whole_name.so", "qel_test", ""}) {
        EXPECT_THROW(GetLibraryPath(name), fs::filesystem_error) << name;
    }
}

TEST_F(LibraryPathTest, TakesNothingButNumbersForAVersion) {
    Loaded const library(CopyTo("libqel_test_suffix.so.backup"));
    EXPECT_THROW(GetLibraryPath("qel_test_suffix"), fs::filesystem_error);
    Loaded const other(CopyTo("libqel_test_suffix.so2"));
    EXPECT_THROW(GetLibraryPath("qel_test_suffix"), fs::filesystem_error);
}

TEST_F(LibraryPathTest, IsAnErrorForALibraryThatIsNotLoaded) {
    EXPECT_THAT([] { GetLibraryPath("qel_test_nowhere"); },
                ThrowsMessage<fs::filesystem_error>("No loaded library has this name: No such file or directory: "
                                                    "\"libqel_test_nowhere.so\""));
}

TEST_F(LibraryPathTest, FollowsTheLoader) {
    auto const path = CopyTo("libqel_test_unloaded.so");
    EXPECT_THROW(GetLibraryPath("qel_test_unloaded"), fs::filesystem_error);
    {
        Loaded const library(path);
        EXPECT_EQ(GetLibraryPath("qel_test_unloaded"), path);
    }
    EXPECT_THROW(GetLibraryPath("qel_test_unloaded"), fs::filesystem_error);
}

TEST_F(LibraryPathTest, IsTheNameTheLibraryWasLoadedBy) {
    fs::create_directory(directory / "elsewhere");
    fs::rename(CopyTo("libqel_test_link.so"), directory / "elsewhere" / "libqel_test_file.so");
    fs::create_symlink(directory / "elsewhere" / "libqel_test_file.so", directory / "libqel_test_link.so");
    Loaded const library((directory / "libqel_test_link.so").string());
    EXPECT_EQ(GetLibraryPath("qel_test_link"), (directory / "libqel_test_link.so").string());
}

TEST_F(LibraryPathTest, IsAbsoluteForALibraryThatWasLoadedByARelativeName) {
    auto const path = CopyTo("libqel_test_relative.so");
    WorkingDirectory const inDirectory(directory.GetPath());
    Loaded const library("./libqel_test_relative.so");
    fs::path const found = GetLibraryPath("qel_test_relative");
    EXPECT_TRUE(found.is_absolute()) << found;
    EXPECT_TRUE(fs::equivalent(found, path)) << found;
}

}  // namespace
}  // namespace qel::tests
