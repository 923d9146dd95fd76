#include "host/stream/decompressor.hpp"

#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <array>
#include <new>

#include <fmt/format.h>

#include "host/failure.hpp"

namespace qel::host {

namespace {

constexpr std::string_view GzipMark("\x1F\x8B", 2);
constexpr std::string_view ZstdMark("\x28\xB5\x2F\xFD", 4);
// Frames to skip begin with one of sixteen bytes and then this.
constexpr std::string_view ZstdSkipMark("\x2A\x4D\x18", 3);

Failure CannotDecompress(Compression compression, char const* reason) {
    return Failure(fmt::format("the {} data cannot be decompressed: {}", NameOf(compression), reason));
}

class Gunzip : public Decompressor {
public:
    Gunzip() {
        constexpr int gzipOnly = 16;
        if (inflateInit2(&stream, MAX_WBITS + gzipOnly) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    Gunzip(Gunzip const&) = delete;
    Gunzip& operator=(Gunzip const&) = delete;
    ~Gunzip() override { inflateEnd(&stream); }

    std::size_t Decompress(std::string_view& from, char* to, std::size_t size) override {
        constexpr std::size_t most = 1 << 30;  // that the library can count
        stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(from.data()));
        stream.avail_in = static_cast<uInt>(std::min(from.size(), most));
        stream.next_out = reinterpret_cast<Bytef*>(to);
        stream.avail_out = static_cast<uInt>(std::min(size, most));
        int const result = inflate(&stream, Z_NO_FLUSH);
        from.remove_prefix(static_cast<std::size_t>(reinterpret_cast<char const*>(stream.next_in) - from.data()));
        auto const written = static_cast<std::size_t>(reinterpret_cast<char*>(stream.next_out) - to);
        atEnd = result == Z_STREAM_END;
        if (result == Z_MEM_ERROR) {
            throw std::bad_alloc();
        }
        // A mistake is told again by the next call, when all before it has been handed on.
        if (!atEnd && result != Z_OK && result != Z_BUF_ERROR && written == 0) {
            throw CannotDecompress(Compression::Gzip, stream.msg != nullptr ? stream.msg : zError(result));
        }
        return written;
    }

    bool IsAtEnd() const override { return atEnd; }

private:
    z_stream stream{};
    bool atEnd = false;
};

class Unzstd : public Decompressor {
public:
    Unzstd() : context(ZSTD_createDCtx()) {
        if (context == nullptr) {
            throw std::bad_alloc();
        }
    }

    std::size_t Decompress(std::string_view& from, char* to, std::size_t size) override {
        ZSTD_outBuffer out{to, size, 0};
        do {
            // A call that meets a mistake loses what it has written. So no call gets to see more than one block, nor
            // any while there is something left to write.
            std::size_t const most = isFull ? 0 : wanted > BlockHeader ? wanted - BlockHeader : wanted;
            ZSTD_inBuffer in{from.data(), std::min(from.size(), most), 0};
            std::size_t const result = ZSTD_decompressStream(context.get(), &out, &in);
            if (ZSTD_isError(result) != 0) {
                throw CannotDecompress(Compression::Zstd, ZSTD_getErrorName(result));
            }
            from.remove_prefix(in.pos);
            wanted = result;
            isFull = out.pos == out.size;
        } while (out.pos == 0 && !IsAtEnd() && !from.empty());
        return out.pos;
    }

    bool IsAtEnd() const override { return wanted == 0; }

private:
    static constexpr std::size_t BlockHeader = 3;  // of the next block, which `wanted` includes

    struct Free {
        void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
    };
    std::unique_ptr<ZSTD_DCtx, Free> context;
    std::size_t wanted = 1;
    bool isFull = false;  // so there may be more to write
};

/// Whether a text that may be cut off begins with the mark.
bool MayBegin(std::string_view text, std::string_view mark) {
    return text.substr(0, mark.size()) == mark.substr(0, text.size());
}

}  // namespace

Compression Recognise(std::string_view firstBytes) {
    if (firstBytes.empty()) {
        return Compression::TooShortToTell;
    }
    if (MayBegin(firstBytes, GzipMark)) {
        return firstBytes.size() < GzipMark.size() ? Compression::TooShortToTell : Compression::Gzip;
    }
    bool const isSkipped = (static_cast<unsigned char>(firstBytes[0]) & 0xF0) == 0x50;
    if (MayBegin(firstBytes, ZstdMark) || (isSkipped && MayBegin(firstBytes.substr(1), ZstdSkipMark))) {
        return firstBytes.size() < ZstdMark.size() ? Compression::TooShortToTell : Compression::Zstd;
    }
    return Compression::None;
}

char const* NameOf(Compression compression) { return compression == Compression::Gzip ? "gzip" : "zstd"; }

std::unique_ptr<Decompressor> MakeDecompressor(Compression compression) {
    if (compression == Compression::Gzip) {
        return std::make_unique<Gunzip>();
    }
    return std::make_unique<Unzstd>();
}

}  // namespace qel::host
