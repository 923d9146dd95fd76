#include "host/system/descriptor.hpp"

#include <fcntl.h>

#include <cerrno>

#include <fmt/format.h>

#include "host/failure.hpp"

namespace qel::host {

int OpenInput(std::string const& path) {
    int const file = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 && errno == EINTR) {
        throw Interrupted();
    }
    if (file < 0) {
        throw Failure(fmt::format("{}: cannot be read: {}", path, Reason(errno)));
    }
    return file;
}

std::string NameOfInput(std::string const& path) { return path == "-" ? "standard input" : path; }

}  // namespace qel::host
