#include "host/system/output.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include <fmt/format.h>

#include "host/system/descriptor.hpp"

namespace qel::host {

namespace {

constexpr std::size_t LargePiece = 64 * 1024;

int OpenOutput(std::string const& path, Output::Existing existing) {
    int const flags = existing == Output::Existing::Continue ? O_RDWR | O_CREAT : O_WRONLY | O_CREAT | O_TRUNC;
    int const file = path == "-" ? STDOUT_FILENO : open(path.c_str(), flags | O_CLOEXEC, 0666);
    if (file < 0 && errno == EINTR) {
        throw Interrupted();
    }
    if (file < 0) {
        throw CannotWrite(fmt::format("{}: cannot be written: {}", path, Reason(errno)));
    }
    return file;
}

/// The bytes of a file from one place to another, or to its end.
std::string ReadPart(Descriptor const& file, std::size_t from, std::size_t to) {
    std::string part(to - from, '\0');
    std::size_t read = 0;
    while (read < part.size()) {
        ssize_t const count =
            pread(file.Get(), part.data() + read, part.size() - read, static_cast<off_t>(from + read));
        if (count == 0 || (count < 0 && errno != EINTR)) {
            break;
        }
        read += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    part.resize(read);
    return part;
}

}  // namespace

Output::Output(std::string const& path, Existing existing)
    : name(path == "-" ? "standard output" : path),
      file(OpenOutput(path, existing)),
      isTerminal(isatty(file.Get()) == 1) {
    if (existing == Existing::Continue) {
        KeepWholeLines();
    }
}

void Output::KeepWholeLines() {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        throw CannotWrite(fmt::format("{}: cannot be continued: not a regular file", name));
    }
    std::size_t end = static_cast<std::size_t>(status.st_size);
    while (end > 0) {
        std::size_t const begin = end - std::min(end, LargePiece);
        auto const part = ReadPart(file, begin, end);
        if (std::size_t const last = part.rfind('\n'); last != std::string::npos) {
            kept = begin + last + 1;
            break;
        }
        end = begin;
    }
    if (ftruncate(file.Get(), static_cast<off_t>(kept)) != 0 ||
        lseek(file.Get(), static_cast<off_t>(kept), SEEK_SET) < 0) {
        throw CannotWrite(fmt::format("{}: cannot be written: {}", name, Reason(errno)));
    }
}

void Output::Write(std::string_view text) {
    buffer += text;
    if (buffer.size() >= LargePiece) {
        Flush();
    }
}

void Output::Flush() {
    struct Clear {  // what could not be written is not tried again
        std::string& text;
        ~Clear() { text.clear(); }
    } const clear{buffer};
    WriteFile(std::string_view(buffer).substr(Confirm(buffer)));
}

void Output::Finish() {
    Flush();
    if (IsCatchingUp()) {
        throw CannotWrite(
            fmt::format("{}:{}: this run ends before it; the file is of another", name, confirmedLines + 1));
    }
}

/// How much of the text stands in the file already.
std::size_t Output::Confirm(std::string_view text) {
    text = text.substr(0, kept - confirmed);
    auto const there = ReadPart(file, confirmed, confirmed + text.size());
    auto const differs = std::mismatch(text.begin(), text.end(), there.begin(), there.end()).first;
    confirmedLines += static_cast<std::size_t>(std::count(text.begin(), differs, '\n'));
    if (differs != text.end()) {
        throw CannotWrite(
            fmt::format("{}:{}: not what this run writes there; the file is of another", name, confirmedLines + 1));
    }
    confirmed += text.size();
    return text.size();
}

void Output::WriteFile(std::string_view left) {
    while (!left.empty()) {
        ssize_t const written = write(file.Get(), left.data(), left.size());
        if (written >= 0) {
            left.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {  // whoever shares the pipe with this program has made it so
            pollfd room{file.Get(), POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno == EPIPE) {
            throw BrokenPipe();
        } else if (errno != EINTR) {
            throw CannotWrite(fmt::format("{}: cannot be written: {}", name, Reason(errno)));
        }
    }
}

}  // namespace qel::host
