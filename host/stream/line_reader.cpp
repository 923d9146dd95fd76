#include "host/stream/line_reader.hpp"

#include <cstring>

#include <fmt/format.h>

#include "host/failure.hpp"

namespace qel::host {

namespace {

constexpr std::size_t Piece = 256 * 1024;

}  // namespace

LineReader::LineReader(std::string const& path, StopSignals const& stop)
    : name(NameOfInput(path)), input(path, stop), buffer(Piece + Padding) {}

bool LineReader::HasLine() {
    auto const* const found = static_cast<char const*>(std::memchr(buffer.data() + scanned, '\n', end - scanned));
    scanned = found != nullptr ? static_cast<std::size_t>(found - buffer.data()) : end;
    return found != nullptr;
}

LineReader::Result LineReader::Next(std::string_view& line) {
    bool tooLong = false;
    for (;;) {
        bool const hasEnd = HasLine();
        bool const isLastWithoutEnd = !hasEnd && atEnd && (begin < end || tooLong);
        if (hasEnd || isLastWithoutEnd) {
            line = std::string_view(buffer.data() + begin, scanned - begin);
            begin = scanned = hasEnd ? scanned + 1 : end;
            ++lineNumber;
            if (lineNumber == 1 && line.starts_with("\xEF\xBB\xBF")) {
                line.remove_prefix(3);
            }
            return tooLong || line.size() > MaximumLength ? Result::TooLong : Result::Line;
        }
        if (atEnd) {
            return Result::End;
        }
        if (end - begin > MaximumLength) {
            tooLong = true;
            begin = scanned = end = 0;
        }
        if (!ReadMore()) {
            return Result::Stopped;
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
    try {
        auto const count = input.Read(buffer.data() + end, buffer.size() - Padding - end);
        atEnd = count == 0u;
        end += count.value_or(0);
        return count.has_value();
    } catch (Failure const& failure) {
        throw Failure(fmt::format("{}: cannot be read{}: {}", name,
                                  lineNumber > 0 ? fmt::format(" behind line {}", lineNumber) : "", failure.what()));
    }
}

}  // namespace qel::host
