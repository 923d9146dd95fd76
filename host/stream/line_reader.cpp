#include "host/stream/line_reader.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "host/failure.hpp"
#include "host/system/descriptor.hpp"

namespace qel::host {

namespace {

constexpr std::size_t Piece = 256 * 1024;

}  // namespace

LineReader::LineReader(std::string const& path, StopSignals const& stop)
    : name(NameOfInput(path)), stop(stop), file(OpenInput(path)), buffer(Piece + Padding) {}

LineReader::Result LineReader::Next(std::string_view& line) {
    bool tooLong = false;
    for (;;) {
        auto const* const found = static_cast<char const*>(std::memchr(buffer.data() + scanned, '\n', end - scanned));
        bool const lastWithoutEnd = found == nullptr && atEnd && (begin < end || tooLong);
        if (found != nullptr || lastWithoutEnd) {
            std::size_t const lineEnd = found != nullptr ? static_cast<std::size_t>(found - buffer.data()) : end;
            line = std::string_view(buffer.data() + begin, lineEnd - begin);
            begin = scanned = found != nullptr ? lineEnd + 1 : end;
            ++lineNumber;
            if (lineNumber == 1 && line.starts_with("\xEF\xBB\xBF")) {
                line.remove_prefix(3);
            }
            return tooLong || line.size() > MaximumLength ? Result::TooLong : Result::Line;
        }
        if (atEnd) {
            return Result::End;
        }
        scanned = end;
        if (end - begin > MaximumLength) {
            tooLong = true;
            begin = scanned = end = 0;
        }
        if (!ReadMore()) {
            return Result::End;
        }
    }
}

/// False when a signal asks to stop.
bool LineReader::ReadMore() {
    std::memmove(buffer.data(), buffer.data() + begin, end - begin);
    scanned -= begin;
    end -= begin;
    begin = 0;
    if (buffer.size() - Padding - end < Piece / 2) {
        buffer.resize(buffer.size() * 2);
    }
    if (beforeWaiting) {
        beforeWaiting();
    }
    for (;;) {
        if (!stop.WaitForInput(file.Get())) {
            return false;
        }
        ssize_t const count = read(file.Get(), buffer.data() + end, buffer.size() - Padding - end);
        if (count >= 0) {
            atEnd = count == 0;
            end += static_cast<std::size_t>(count);
            return true;
        }
        if (errno != EINTR && errno != EAGAIN) {
            throw Failure(fmt::format("{}: cannot be read: {}", name, Reason(errno)));
        }
    }
}

}  // namespace qel::host
