#include "host/system/output.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "host/system/read_file.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

TEST(OutputTest, WritesAFileAnewAndInOrder) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "out").string();
    for (int round = 0; round < 2; ++round) {
        Output output(path);
        output.Write("one ");
        output.Write("two");
        EXPECT_TRUE(output.HasPending());
        EXPECT_EQ(ReadWholeFile(path), "");
        output.Flush();
        EXPECT_FALSE(output.HasPending());
        EXPECT_EQ(ReadWholeFile(path), "one two");
        EXPECT_FALSE(output.IsTerminal());
    }
}

TEST(OutputTest, DoesNotKeepLargeAmounts) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "out").string();
    Output output(path);
    std::string const piece(1000, 'x');
    for (int count = 0; count < 1000; ++count) {
        output.Write(piece);
    }
    EXPECT_GE(ReadWholeFile(path).size(), 900'000u);
    output.Flush();
    EXPECT_EQ(ReadWholeFile(path).size(), 1'000'000u);
}

TEST(OutputTest, TellsWhyAFileCannotBeWritten) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "missing" / "out").string();
    try {
        Output const output(path);
        FAIL();
    } catch (CannotWrite const& error) {
        EXPECT_EQ(error.what(), path + ": cannot be written: No such file or directory");
    }
}

TEST(OutputTest, TellsThatTheDiskIsFull) {
    Output output("/dev/full");
    output.Write("x");
    try {
        output.Flush();
        FAIL();
    } catch (CannotWrite const& error) {
        EXPECT_STREQ(error.what(), "/dev/full: cannot be written: No space left on device");
    }
    EXPECT_FALSE(output.HasPending()) << "what failed is not tried again";
}

TEST(OutputTest, TellsApartThatNobodyReadsAnyMore) {
    std::signal(SIGPIPE, SIG_IGN);
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "pipe").string();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    int const reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    Output output(path);
    output.Write("x");
    close(reader);
    EXPECT_THROW(output.Flush(), BrokenPipe);
}

}  // namespace
}  // namespace qel::host
