#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

namespace qel::host {

/// Decompresses one member of a file: what one call of the compressing program has written.
class Decompressor {
public:
    virtual ~Decompressor() = default;

    /// Takes bytes from the front of `from` and returns how many it has written. None of them means that it wants more,
    /// `from` being empty then, or that the member ends. Throws `Failure` that says what is wrong with the member, when
    /// all before that has been written.
    virtual std::size_t Decompress(std::string_view& from, char* to, std::size_t size) = 0;

    /// What stands behind the member is left in place.
    virtual bool IsAtEnd() const = 0;
};

/// What a file is, as far as its first bytes tell.
enum class Compression { None, Gzip, Zstd, TooShortToTell };

Compression Recognise(std::string_view firstBytes);

/// "gzip" or "zstd"
char const* NameOf(Compression compression);

/// For gzip or zstd.
std::unique_ptr<Decompressor> MakeDecompressor(Compression compression);

}  // namespace qel::host
