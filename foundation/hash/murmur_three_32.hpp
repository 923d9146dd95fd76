#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace qel::hash {

/// The 32-bit id of a type-name text: MurmurHash3 (x86, 32 bits) with the seed 0x0AEF6901.
///
/// The four bytes of a whole block are read as signed and widened to 32 bits before they are put together, unlike the
/// published algorithm: "a\x80bc" gives 0x284944DE and not 0x6D18FB18. Stored rule sets and plug-ins depend on it.
/// ASCII names are not affected.
///
/// A value type; every function is pure and may be called from any thread and in constant expressions.
class MurmurThree32 {
public:
    /// The value 0.
    constexpr MurmurThree32() = default;

    /// The value whose four little-endian bytes make up `value`.
    constexpr explicit MurmurThree32(std::uint32_t value)
        : bytes{static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
                static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)} {}

    /// Hashes a NUL-terminated text, which must not be null.
    static constexpr MurmurThree32 MakeData(char const* text);

    /// The hash as a number.
    constexpr std::uint32_t GetValue() const {
        return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[3]} << 24;
    }

    /// The hash in little-endian order.
    constexpr std::array<std::uint8_t, 4> const& GetBytes() const { return bytes; }

    /// Whether the two are the same number.
    friend constexpr bool operator==(MurmurThree32 const& left, MurmurThree32 const& right) {
        return left.GetValue() == right.GetValue();
    }

private:
    static constexpr std::uint32_t Scramble(std::uint32_t block) {
        return std::rotl(block * 0xCC9E2D51u, 15) * 0x1B873593u;
    }

    std::array<std::uint8_t, 4> bytes{};
};

constexpr MurmurThree32 MurmurThree32::MakeData(char const* text) {
    std::string_view const bytes(text);
    auto const signedByte = [&](std::size_t at) {
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(bytes[at])));
    };
    auto const unsignedByte = [&](std::size_t at) { return std::uint32_t{static_cast<unsigned char>(bytes[at])}; };

    std::uint32_t hash = 0x0AEF6901u;
    std::size_t at = 0;
    for (; bytes.size() - at >= 4; at += 4) {
        std::uint32_t const block =
            signedByte(at) | signedByte(at + 1) << 8 | signedByte(at + 2) << 16 | signedByte(at + 3) << 24;
        hash = std::rotl(hash ^ Scramble(block), 13) * 5 + 0xE6546B64u;
    }

    std::uint32_t tail = 0;
    for (std::size_t left = bytes.size() - at; left > 0; --left) {
        tail = tail << 8 ^ unsignedByte(at + left - 1);
    }
    hash ^= Scramble(tail);

    hash ^= static_cast<std::uint32_t>(bytes.size());
    hash ^= hash >> 16;
    hash *= 0x85EBCA6Bu;
    hash ^= hash >> 13;
    hash *= 0xC2B2AE35u;
    hash ^= hash >> 16;
    return MurmurThree32(hash);
}

}  // namespace qel::hash

namespace std {

/// A key's hash is the 32-bit value itself.
template <>
struct hash<qel::hash::MurmurThree32> {
    /// The number of the id.
    size_t operator()(qel::hash::MurmurThree32 const& data) const noexcept { return data.GetValue(); }
};

}  // namespace std
