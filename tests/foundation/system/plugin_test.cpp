#include "foundation/system/plugin.hpp"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/logging/config.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {
namespace {

using system::plugin::LoadAll;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::ThrowsMessage;

namespace fs = boost::filesystem;

std::string const One = "qel.tests.plugin 4: loaded probe_one";
std::string const Two = "qel.tests.plugin 4: loaded probe_two";

/// The start of the line for a file that cannot be loaded.
std::string FailureOf(fs::path const& file) {
    return "qel.system.plugin 16 important: Failed to load the plug-in '" + file.string() + "': ";
}

bool IsLoaded(fs::path const& file) {
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

/// Whether a thread of this process waits for something.
bool IsAsleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string const stat(std::istreambuf_iterator<char>(file), {});
    std::size_t const name = stat.rfind(") ");
    return name != std::string::npos && stat[name + 2] == 'S';
}

/// Puts away the rights of the superuser, for whom every directory is readable.
class NoSuperuser {
public:
    NoSuperuser() { EXPECT_EQ(user == 0 ? seteuid(65534) : 0, 0); }
    ~NoSuperuser() { EXPECT_EQ(seteuid(user), 0); }
    NoSuperuser(NoSuperuser const&) = delete;
    NoSuperuser& operator=(NoSuperuser const&) = delete;

private:
    uid_t user = geteuid();
};

// Every test loads copies of its own, since a library tells that it is loaded once per file and process.
class LoadAllTest : public testing::Test {
protected:
    fs::path Put(fs::path const& library, std::string const& name) const {
        fs::copy_file(library, directory / name);
        return directory / name;
    }

    fs::path PutText(std::string const& name) const {
        std::ofstream((directory / name).string()) << "not a library";
        return directory / name;
    }

    std::vector<std::string> Load(std::string const& prefix = "qel_probe_") {
        LoadAll(prefix, {directory.GetPath()});
        return capture.Take();
    }

    TemporaryDirectory directory;
    LogCapture capture;
};

TEST_F(LoadAllTest, LoadsNothingWithoutDirectories) {
    LoadAll("qel_probe_", {});
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST_F(LoadAllTest, LoadsNothingFromAnEmptyDirectory) { EXPECT_THAT(Load(), IsEmpty()); }

TEST_F(LoadAllTest, LoadsOneLibraryForGood) {
    auto const file = Put(PROBE_ONE, "libqel_probe_a.so");
    EXPECT_FALSE(IsLoaded(file));
    EXPECT_THAT(Load(), ElementsAre(One));
    EXPECT_TRUE(IsLoaded(file));
}

TEST_F(LoadAllTest, LoadsInTheOrderOfFileNames) {
    Put(PROBE_TWO, "libqel_probe_c.so");
    Put(PROBE_ONE, "libqel_probe_b.so");
    Put(PROBE_TWO, "libqel_probe_a.so");
    Put(PROBE_ONE, "libqel_probe_B.so");
    EXPECT_THAT(Load(), ElementsAre(One, Two, One, Two));
}

TEST_F(LoadAllTest, LoadsInTheOrderOfFileNamesAcrossDirectories) {
    TemporaryDirectory other;
    Put(PROBE_ONE, "libqel_probe_a.so");
    fs::copy_file(PROBE_TWO, other / "libqel_probe_b.so");
    Put(PROBE_ONE, "libqel_probe_c.so");
    LoadAll("qel_probe_", {other.GetPath(), directory.GetPath()});
    EXPECT_THAT(capture.Take(), ElementsAre(One, Two, One));
}

TEST_F(LoadAllTest, LoadsOnlyFilesWithThePrefix) {
    Put(PROBE_ONE, "libqel_other_a.so");
    Put(PROBE_ONE, "libqel_probe.so");
    Put(PROBE_ONE, "qel_probe_a.so");
    Put(PROBE_ONE, "libmy_qel_probe_a.so");
    Put(PROBE_ONE, "libQEL_PROBE_A.so");
    Put(PROBE_TWO, "libqel_probe_a.so");
    EXPECT_THAT(Load(), ElementsAre(Two));
}

TEST_F(LoadAllTest, LoadsOnlyFilesWithTheEndingOfLibraries) {
    Put(PROBE_ONE, "libqel_probe_a.so.1");
    Put(PROBE_ONE, "libqel_probe_a.so.bak");
    Put(PROBE_ONE, "libqel_probe_a.dll");
    Put(PROBE_ONE, "libqel_probe_aso");
    Put(PROBE_TWO, "libqel_probe_.so");
    EXPECT_THAT(Load(), ElementsAre(Two));
}

TEST_F(LoadAllTest, LoadsNothingFromOtherDirectories) {
    TemporaryDirectory other;
    fs::copy_file(PROBE_ONE, other / "libqel_probe_a.so");
    fs::create_directory(directory / "below");
    fs::copy_file(PROBE_ONE, directory / "below" / "libqel_probe_a.so");
    EXPECT_THAT(Load(), IsEmpty());
}

TEST_F(LoadAllTest, TakesAnEmptyPrefixForEveryLibrary) {
    Put(PROBE_ONE, "libanything.so");
    EXPECT_THAT(Load(""), ElementsAre(One));
}

TEST_F(LoadAllTest, LoadsAFileOfSeveralNamesOnce) {
    auto const file = Put(PROBE_ONE, "libqel_probe_b.so");
    fs::create_symlink(file, directory / "libqel_probe_a.so");
    fs::create_symlink("libqel_probe_b.so", directory / "libqel_probe_c.so");
    EXPECT_THAT(Load(), ElementsAre(One));
}

TEST_F(LoadAllTest, TellsOfAFileOfSeveralNamesOnce) {
    fs::create_symlink(PutText("libqel_probe_b.so"), directory / "libqel_probe_a.so");
    EXPECT_THAT(Load(), ElementsAre(StartsWith(FailureOf(directory / "libqel_probe_a.so"))));
}

TEST_F(LoadAllTest, LoadsADirectoryThatIsNamedTwiceOnce) {
    Put(PROBE_ONE, "libqel_probe_a.so");
    PutText("libqel_probe_b.so");
    LoadAll("qel_probe_", {directory.GetPath(), directory.GetPath() / "."});
    EXPECT_THAT(capture.Take(), ElementsAre(One, StartsWith(FailureOf(directory / "libqel_probe_b.so"))));
}

TEST_F(LoadAllTest, LoadsOneLibraryAtATime) {
    auto const text = PutText("libqel_probe_a.so");
    TemporaryDirectory const other;
    auto const file = other / "libqel_probe_b.so";
    fs::copy_file(PROBE_ONE, file);
    std::atomic<pid_t> thread = 0;
    std::thread loading;
    LogCapture capture([&](std::string const& line) {
        if (!line.starts_with(FailureOf(text))) {
            return;
        }
        // This thread is still about the first file.
        loading = std::thread([&] {
            thread = gettid();
            LoadAll("qel_probe_", {other.GetPath()});
        });
        while (thread == 0 || !(IsLoaded(file) || IsAsleep(thread))) {
            std::this_thread::yield();
        }
        EXPECT_FALSE(IsLoaded(file));
    });
    LoadAll("qel_probe_", {directory.GetPath()});
    loading.join();
    EXPECT_THAT(capture.Take(), ElementsAre(StartsWith(FailureOf(text)), One));
}

TEST_F(LoadAllTest, FollowsALinkToAFileElsewhere) {
    TemporaryDirectory other;
    fs::copy_file(PROBE_ONE, other / "libunrelated.so");
    fs::create_symlink(other / "libunrelated.so", directory / "libqel_probe_a.so");
    EXPECT_THAT(Load(), ElementsAre(One));
}

TEST_F(LoadAllTest, DoesNotLoadALibraryAgain) {
    Put(PROBE_ONE, "libqel_probe_a.so");
    EXPECT_THAT(Load(), ElementsAre(One));
    EXPECT_THAT(Load(), IsEmpty());
}

TEST_F(LoadAllTest, TakesADirectoryRelativeToTheWorkingDirectory) {
    Put(PROBE_ONE, "libqel_probe_a.so");
    auto const before = fs::current_path();
    fs::current_path(directory.GetPath());
    LoadAll("qel_probe_", {"."});
    fs::current_path(before);
    EXPECT_THAT(capture.Take(), ElementsAre(One));
}

TEST_F(LoadAllTest, TellsOfAFileThatIsNoLibraryAndLoadsTheOthers) {
    Put(PROBE_ONE, "libqel_probe_a.so");
    auto const text = PutText("libqel_probe_b.so");
    Put(PROBE_TWO, "libqel_probe_c.so");
    EXPECT_THAT(
        Load(),
        ElementsAre(One, AllOf(StartsWith(FailureOf(text)), HasSubstr("libqel_probe_b.so: file too short")), Two));
}

TEST_F(LoadAllTest, TellsOfAMissingSymbolAndLoadsTheOthers) {
    auto const file = Put(MISSING_SYMBOL, "libqel_probe_a.so");
    Put(PROBE_ONE, "libqel_probe_b.so");
    EXPECT_THAT(
        Load(),
        ElementsAre(AllOf(StartsWith(FailureOf(file)), HasSubstr("undefined symbol: qel_tests_nobody_has_this")), One));
    EXPECT_FALSE(IsLoaded(file));
}

TEST_F(LoadAllTest, TellsOfALinkThatLeadsNowhere) {
    fs::create_symlink("nowhere.so", directory / "libqel_probe_a.so");
    EXPECT_THAT(Load(), ElementsAre(AllOf(StartsWith(FailureOf(directory / "libqel_probe_a.so")),
                                          HasSubstr("No such file or directory"))));
}

TEST_F(LoadAllTest, TellsOfALinkThatLeadsToItself) {
    fs::create_symlink("libqel_probe_a.so", directory / "libqel_probe_a.so");
    EXPECT_THAT(Load(), ElementsAre(StartsWith(FailureOf(directory / "libqel_probe_a.so"))));
}

TEST_F(LoadAllTest, PassesOverWhatIsNoFile) {
    fs::create_directory(directory / "libqel_probe_a.so");
    ASSERT_EQ(mkfifo((directory / "libqel_probe_b.so").c_str(), 0600), 0);
    EXPECT_THAT(Load(), IsEmpty());
}

TEST_F(LoadAllTest, KeepsTheSymbolsOfALibraryToItself) {
    auto const file = Put(PROBE_ONE, "libqel_probe_a.so");
    Load();
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "qel_tests_probe_symbol"), nullptr);
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(dlsym(handle, "qel_tests_probe_symbol"), nullptr);
    dlclose(handle);
}

TEST_F(LoadAllTest, ThrowsForAMissingDirectoryAndLoadsNothing) {
    Put(PROBE_ONE, "libqel_probe_a.so");
    auto const missing = directory / "missing";
    EXPECT_THAT(
        [&] {
            LoadAll("qel_probe_", {directory.GetPath(), missing});
        },
        ThrowsMessage<fs::filesystem_error>(HasSubstr("\"" + missing.string() + "\"")));
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST_F(LoadAllTest, ThrowsForAFileInPlaceOfADirectory) {
    EXPECT_THROW(LoadAll("qel_probe_", {PutText("file")}), fs::filesystem_error);
    EXPECT_THROW(LoadAll("qel_probe_", {""}), fs::filesystem_error);
}

TEST_F(LoadAllTest, ThrowsForADirectoryThatCannotBeRead) {
    Put(PROBE_ONE, "libqel_probe_a.so");
    fs::permissions(directory.GetPath(), fs::no_perms);
    {
        NoSuperuser const noSuperuser;
        EXPECT_THROW(Load(), fs::filesystem_error);
    }
    fs::permissions(directory.GetPath(), fs::owner_all);
    EXPECT_THAT(capture.Take(), IsEmpty());
}

TEST_F(LoadAllTest, LetsPassWhatTheLogSinkThrows) {
    PutText("libqel_probe_a.so");
    logging::SetSink([](std::string const&, bool) { throw std::runtime_error("full"); });
    EXPECT_THAT([&] { Load(); }, ThrowsMessage<std::runtime_error>("full"));
}

}  // namespace
}  // namespace qel::tests
