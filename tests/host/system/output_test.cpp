#include "host/system/output.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <functional>
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

TEST(OutputTest, WaitsForRoomInAPipeThatDoesNotBlock) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "pipe").string();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    int const reader = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    int const writer = open(path.c_str(), O_WRONLY | O_NONBLOCK);
    int const capacity = fcntl(writer, F_GETPIPE_SZ);
    std::string const text(static_cast<std::size_t>(3 * capacity), 'x');
    pid_t const program = fork();
    if (program == 0) {
        dup2(writer, STDOUT_FILENO);
        try {
            Output output("-");
            output.Write(text);
            output.Flush();
            _exit(0);
        } catch (CannotWrite const&) {
            _exit(1);
        }
    }
    close(writer);
    std::size_t read = 0;
    fcntl(reader, F_SETFL, 0);
    std::string piece(1000, ' ');
    for (ssize_t count = 1; count > 0; read += static_cast<std::size_t>(std::max<ssize_t>(count, 0))) {
        count = ::read(reader, piece.data(), piece.size());
    }
    close(reader);
    int status = -1;
    waitpid(program, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read, text.size());
}

class ContinuedOutputTest : public testing::Test {
protected:
    void Write(std::string const& text) { std::ofstream(path, std::ios::binary) << text; }
    std::string Read() { return ReadWholeFile(path); }

    static std::string ErrorOf(std::function<void()> const& call) {
        try {
            call();
            return "none";
        } catch (CannotWrite const& error) {
            return error.what();
        }
    }

    tests::TemporaryDirectory const directory;
    std::string const path = (directory / "out").string();
};

TEST_F(ContinuedOutputTest, CutsATornLineAndAddsWhatIsMissing) {
    Write("one\ntwo\nthr");
    Output output(path, Output::Existing::Continue);
    EXPECT_EQ(Read(), "one\ntwo\n");
    EXPECT_TRUE(output.IsCatchingUp());
    output.Write("one\ntw");
    output.Flush();
    EXPECT_TRUE(output.IsCatchingUp());
    EXPECT_EQ(Read(), "one\ntwo\n");
    output.Write("o\nthree\n");
    output.Flush();
    EXPECT_FALSE(output.IsCatchingUp());
    EXPECT_EQ(Read(), "one\ntwo\nthree\n");
    output.Write("four\n");
    output.Finish();
    EXPECT_EQ(Read(), "one\ntwo\nthree\nfour\n");
}

TEST_F(ContinuedOutputTest, BeginsAFileThatIsNotThereOrHasNoWholeLine) {
    for (auto const* const start : {"", "torn"}) {
        if (*start != '\0') {
            Write(start);
        }
        Output output(path, Output::Existing::Continue);
        EXPECT_FALSE(output.IsCatchingUp());
        output.Write("one\n");
        output.Finish();
        EXPECT_EQ(Read(), "one\n");
    }
}

TEST_F(ContinuedOutputTest, FindsTheEndOfTheLastLineHoweverLongTheTornOneIs) {
    std::string const line = std::string(100'000, 'x') + "\n";
    Write(line + line + std::string(300'000, 'y'));
    Output output(path, Output::Existing::Continue);
    EXPECT_EQ(Read(), line + line);
}

TEST_F(ContinuedOutputTest, RefusesAFileOfAnotherRunAndLeavesIt) {
    Write("one\ntwo\n");
    EXPECT_EQ(ErrorOf([&] {
                  Output output(path, Output::Existing::Continue);
                  output.Write("one\ntoo\nthree\n");
                  output.Flush();
              }),
              path + ":2: not what this run writes there; the file is of another");
    EXPECT_EQ(ErrorOf([&] {
                  Output output(path, Output::Existing::Continue);
                  output.Write("one\n");
                  output.Finish();
              }),
              path + ":2: this run ends before it; the file is of another");
    EXPECT_EQ(Read(), "one\ntwo\n");
}

TEST_F(ContinuedOutputTest, ContinuesRegularFilesOnly) {
    EXPECT_EQ(ErrorOf([] { Output const output("/dev/null", Output::Existing::Continue); }),
              "/dev/null: cannot be continued: not a regular file");
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
