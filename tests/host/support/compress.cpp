#include "tests/host/support/compress.hpp"

#include <zlib.h>
#include <zstd.h>

#include <memory>
#include <stdexcept>

namespace qel::tests {

std::string Gzip(std::string const& text) {
    constexpr int gzip = 16;
    constexpr int usualMemory = 8;
    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + gzip, usualMemory, Z_DEFAULT_STRATEGY) !=
        Z_OK) {
        throw std::runtime_error("no gzip");
    }
    std::string result(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    int const end = deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    if (end != Z_STREAM_END) {
        throw std::runtime_error("not all in gzip");
    }
    return result;
}

std::string Zstd(std::string const& text) {
    std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> const context(ZSTD_createCCtx(), &ZSTD_freeCCtx);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
    std::string result(ZSTD_compressBound(text.size()), '\0');
    std::size_t const size = ZSTD_compress2(context.get(), result.data(), result.size(), text.data(), text.size());
    if (ZSTD_isError(size) != 0) {
        throw std::runtime_error(ZSTD_getErrorName(size));
    }
    result.resize(size);
    return result;
}

}  // namespace qel::tests
