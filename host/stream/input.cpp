#include "host/stream/input.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include <fmt/format.h>

#include "host/failure.hpp"

namespace qel::host {

namespace {

constexpr std::size_t Piece = 64 * 1024;

}  // namespace

Input::Input(std::string const& path, StopSignals const& stop) : stop(stop), file(OpenInput(path)), piece(Piece) {}

std::optional<std::size_t> Input::Read(char* to, std::size_t size) {
    for (;;) {
        if (compression == Compression::None) {
            if (left.empty()) {
                return atEnd ? 0 : ReadFile(to, size);
            }
            std::size_t const count = left.copy(to, size);
            left.remove_prefix(count);
            return count;
        }
        if (!decompressor) {
            Compression const here = Recognise(left);
            if (here == Compression::TooShortToTell && !atEnd) {
                if (!ReadMoreToDecompress()) {
                    return std::nullopt;
                }
                continue;
            }
            bool const isFirst = compression == Compression::TooShortToTell;
            if (!isFirst && left.empty()) {
                return 0;
            }
            if (here == Compression::Gzip || here == Compression::Zstd) {
                compression = here;
                decompressor = MakeDecompressor(here);
            } else if (isFirst) {
                compression = Compression::None;
                continue;
            } else {
                throw Failure(fmt::format("something else stands behind the {} data", NameOf(compression)));
            }
        }
        std::size_t const count = decompressor->Decompress(left, to, size);
        if (decompressor->IsAtEnd()) {
            decompressor.reset();
        }
        if (count > 0) {
            return count;
        }
        if (decompressor && atEnd) {
            throw Failure(fmt::format("the {} data ends too early", NameOf(compression)));
        }
        if (decompressor && !ReadMoreToDecompress()) {
            return std::nullopt;
        }
    }
}

std::optional<std::size_t> Input::ReadFile(char* to, std::size_t size) {
    for (;;) {
        if (!stop.WaitForInput(file.Get())) {
            return std::nullopt;
        }
        ssize_t const count = read(file.Get(), to, size);
        if (count >= 0) {
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR && errno != EAGAIN) {
            throw Failure(Reason(errno));
        }
    }
}

/// False when a signal asks to stop.
bool Input::ReadMoreToDecompress() {
    std::copy(left.begin(), left.end(), piece.begin());
    auto const count = ReadFile(piece.data() + left.size(), piece.size() - left.size());
    if (!count) {
        return false;
    }
    atEnd = *count == 0;
    left = {piece.data(), left.size() + *count};
    return true;
}

}  // namespace qel::host
