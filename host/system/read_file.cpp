#include "host/system/read_file.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include <fmt/format.h>

#include "host/failure.hpp"
#include "host/system/descriptor.hpp"

namespace qel::host {

namespace {

constexpr std::size_t MaximumSize = 64 * 1024 * 1024;
constexpr std::size_t Piece = 64 * 1024;

}  // namespace

std::string ReadWholeFile(std::string const& path) {
    Descriptor const file(OpenInput(path));
    std::string text;
    for (;;) {
        std::size_t const size = text.size();
        text.resize(size + Piece);
        ssize_t const count = read(file.Get(), text.data() + size, Piece);
        text.resize(size + static_cast<std::size_t>(count < 0 ? 0 : count));
        if (count == 0) {
            return text;
        }
        if (count < 0 && errno != EINTR) {
            throw Failure(fmt::format("{}: cannot be read: {}", NameOfInput(path), Reason(errno)));
        }
        if (text.size() > MaximumSize) {
            throw Failure(fmt::format("{}: larger than {} MiB", NameOfInput(path), MaximumSize / (1024 * 1024)));
        }
    }
}

}  // namespace qel::host
