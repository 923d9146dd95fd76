#include "host/system/standard_error.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace qel::host {
namespace {

TEST(TellTest, WritesALine) {
    EXPECT_EXIT(
        {
            Tell("one");
            Tell("two");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^one\ntwo\n$");
}

TEST(TellTest, IsSilentWhereNothingCanBeWritten) {
    EXPECT_EXIT(
        {
            dup2(open("/dev/full", O_WRONLY), STDERR_FILENO);
            Tell("one");
            close(STDERR_FILENO);
            Tell("two");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}

TEST(OpenStandardDescriptorsTest, LeavesNoneForTheNextFile) {
    EXPECT_EXIT(
        {
            close(STDIN_FILENO);
            close(STDERR_FILENO);
            OpenStandardDescriptors();
            std::exit(open("/dev/null", O_RDONLY) > STDERR_FILENO ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(OpenStandardDescriptorsTest, OpensNothingWhenAllAreOpen) {
    EXPECT_EXIT(
        {
            int const next = dup(STDOUT_FILENO);
            close(next);
            OpenStandardDescriptors();
            std::exit(dup(STDOUT_FILENO) == next ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace qel::host
