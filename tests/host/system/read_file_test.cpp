#include "host/system/read_file.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "host/failure.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

std::string FailureOf(std::string const& path) {
    try {
        return "read " + std::to_string(ReadWholeFile(path).size());
    } catch (Failure const& failure) {
        return failure.what();
    }
}

TEST(ReadWholeFileTest, GivesEveryByte) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "file").string();
    std::string text;
    for (int at = 0; at < 300'000; ++at) {
        text += static_cast<char>(at * 31);
    }
    for (std::size_t const size : {0u, 1u, 65535u, 65536u, 65537u, 300000u}) {
        std::ofstream(path, std::ios::binary) << text.substr(0, size);
        EXPECT_EQ(ReadWholeFile(path), text.substr(0, size)) << size;
    }
}

TEST(ReadWholeFileTest, TellsWhyAFileCannotBeRead) {
    tests::TemporaryDirectory const directory;
    auto const missing = (directory / "missing").string();
    EXPECT_EQ(FailureOf(missing), missing + ": cannot be read: No such file or directory");
    EXPECT_EQ(FailureOf(directory.GetPath().string()),
              directory.GetPath().string() + ": cannot be read: Is a directory");
}

TEST(ReadWholeFileTest, GivesUpOnAFileThatDoesNotEnd) {
    EXPECT_EQ(FailureOf("/dev/zero"), "/dev/zero: larger than 64 MiB");
}

}  // namespace
}  // namespace qel::host
