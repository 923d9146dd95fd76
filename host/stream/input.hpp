#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/stream/decompressor.hpp"
#include "host/system/descriptor.hpp"
#include "host/system/stop_signals.hpp"

namespace qel::host {

/// The bytes of a file or of standard input. What is compressed with gzip or zstd, which its first bytes tell, is
/// decompressed on the way, a piece at a time; members that stand one behind the other are one stream.
class Input {
public:
    /// "-" is standard input. Throws what `OpenInput` throws.
    Input(std::string const& path, StopSignals const& stop);

    /// Reads what there is, waiting for it if there is nothing. Returns 0 at the end and nothing when a signal asks to
    /// stop. Throws `Failure` that says why it cannot go on, but not in which file.
    std::optional<std::size_t> Read(char* to, std::size_t size);

private:
    std::optional<std::size_t> ReadFile(char* to, std::size_t size);
    bool ReadMoreToDecompress();

    StopSignals const& stop;
    Descriptor file;
    std::vector<char> piece;
    std::string_view left;  // of the piece
    bool atEnd = false;
    Compression compression = Compression::TooShortToTell;
    std::unique_ptr<Decompressor> decompressor;  // null between members
};

}  // namespace qel::host
