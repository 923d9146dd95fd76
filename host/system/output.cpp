#include "host/system/output.hpp"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include <fmt/format.h>

#include "host/system/descriptor.hpp"

namespace qel::host {

namespace {

constexpr std::size_t LargePiece = 64 * 1024;

int OpenOutput(std::string const& path) {
    int const file = path == "-" ? STDOUT_FILENO : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0 && errno == EINTR) {
        throw Interrupted();
    }
    if (file < 0) {
        throw CannotWrite(fmt::format("{}: cannot be written: {}", path, Reason(errno)));
    }
    return file;
}

}  // namespace

Output::Output(std::string const& path)
    : name(path == "-" ? "standard output" : path), file(OpenOutput(path)), isTerminal(isatty(file.Get()) == 1) {}

void Output::Write(std::string_view text) {
    buffer += text;
    if (buffer.size() >= LargePiece) {
        Flush();
    }
}

void Output::Flush() {
    std::string_view left = buffer;
    while (!left.empty()) {
        ssize_t const written = write(file.Get(), left.data(), left.size());
        if (written >= 0) {
            left.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {  // whoever shares the pipe with this program has made it so
            pollfd room{file.Get(), POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            int const error = errno;
            buffer.clear();
            if (error == EPIPE) {
                throw BrokenPipe();
            }
            throw CannotWrite(fmt::format("{}: cannot be written: {}", name, Reason(error)));
        }
    }
    buffer.clear();
}

}  // namespace qel::host
