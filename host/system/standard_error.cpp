#include "host/system/standard_error.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace qel::host {

void Tell(std::string_view line) noexcept {
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
    std::fflush(stderr);
}

void OpenStandardDescriptors() noexcept {
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO) {  // the lowest that is free is taken first
        opened = open("/dev/null", O_RDWR);
    }
    if (opened > STDERR_FILENO) {
        close(opened);
    }
}

}  // namespace qel::host
