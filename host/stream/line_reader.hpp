#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/stream/input.hpp"
#include "host/system/stop_signals.hpp"

namespace qel::host {

/// Reads a file or standard input line by line, compressed or not, keeping only a piece of it in memory.
class LineReader {
public:
    /// Longer lines are not kept.
    static constexpr std::size_t MaximumLength = 16 * 1024 * 1024;
    /// Behind every line so many bytes more may be read, whatever they hold.
    static constexpr std::size_t Padding = 64;

    enum class Result { Line, TooLong, End, Stopped };

    /// "-" is standard input. Throws what `OpenInput` throws.
    LineReader(std::string const& path, StopSignals const& stop);

    /// Calls `before` whenever the next piece is about to be read, which may take as long as it likes.
    void SetBeforeWaiting(std::function<void()> before) { beforeWaiting = std::move(before); }

    /// Whether there is a line that `Next` gives without reading more of the file.
    bool HasLine();

    /// The next line without its end, valid until more of the file is read. A mark of the byte order before the first
    /// line is dropped, and what a signal cuts off is not a line: then `Stopped`. Throws `Failure` when the file cannot
    /// be read.
    Result Next(std::string_view& line);

    /// The number of the line that was read last, from 1.
    std::uint64_t GetLineNumber() const { return lineNumber; }
    /// What messages call the file.
    std::string const& GetName() const { return name; }

private:
    bool ReadMore();

    std::string name;
    Input input;
    std::function<void()> beforeWaiting;
    std::vector<char> buffer;
    std::size_t begin = 0;    // of what has not been handed out
    std::size_t end = 0;      // of what has been read
    std::size_t scanned = 0;  // no end of line from `begin` to this
    bool atEnd = false;
    std::uint64_t lineNumber = 0;
};

}  // namespace qel::host
