#include "foundation/hash/murmur_three_32.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <type_traits>
#include <unordered_map>

#include <gtest/gtest.h>

#include "tests/support/random.hpp"

namespace qel::tests {
namespace {

using hash::MurmurThree32;

struct Reference {
    char const* name;
    char const* text;
    std::uint32_t value;
};

void PrintTo(Reference const& reference, std::ostream* stream) { *stream << reference.name; }

class MurmurThree32ReferenceTest : public testing::TestWithParam<Reference> {};

TEST_P(MurmurThree32ReferenceTest, IsTheHash) {
    std::string const text = GetParam().text;
    EXPECT_EQ(MurmurThree32::MakeData(text.c_str()).GetValue(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    MurmurThree32, MurmurThree32ReferenceTest,
    testing::Values(
        Reference{"Empty", "", 0x5BF65230}, Reference{"And", "qel.observable.And", 0x042F5241},
        Reference{"Observable", "qel.meta.data.Observable", 0xA3A3F13B},
        Reference{"Event", "qel.meta.data.Event", 0xE049D6B3}, Reference{"Object", "qel.meta.data.Object", 0x5CA2645E},
        Reference{"Zone", "qel.meta.data.Zone", 0xB54432F2}, Reference{"Channel", "qel.meta.data.Channel", 0x11ECC345},
        // A block is read as signed bytes, so one of 0x80 or more fills the bits above it.
        Reference{"SignedSecondByte",
                  "a\x80"
                  "bc",
                  0x284944DE},
        Reference{"SignedFirstAndLastByte",
                  "\x80"
                  "bc\x81",
                  0xB29BEF51},
        Reference{"SignedLastByte", "abc\x80", 0xD4B0093B},
        // What follows the last whole block is read as unsigned bytes.
        Reference{"TailOfOne", "a", 0xA29184A7}, Reference{"TailOfTwo", "ab", 0xFD2BF648},
        Reference{"TailOfThree", "abc", 0xDB7DA6F2}, Reference{"HighTailOfOne", "\x80", 0xF4B01E28},
        Reference{"HighTailOfTwo", "\xff\x80", 0x04B4A1BA}, Reference{"HighTailOfThree", "a\x80\xff", 0xDEBB764D},
        Reference{"HighTailBehindABlock", "abcd\xfe", 0x52EBAD7B},
        Reference{"HighBlockAndTail", "\xff\xff\xff\xff\xff\xff\xff", 0x1151223F}),
    [](auto const& info) { return std::string(info.param.name); });

static_assert(MurmurThree32::MakeData("qel.observable.And").GetValue() == 0x042F5241, "the compiler gets the same");

TEST(MurmurThree32Test, DiffersFromThePublishedHashWhereABlockHasAHighByte) {
    EXPECT_NE(MurmurThree32::MakeData("a\x80"
                                      "bc")
                  .GetValue(),
              0x6D18FB18u);
}

TEST(MurmurThree32Test, EndsAtTheFirstNul) {
    EXPECT_EQ(MurmurThree32::MakeData("abc\0def"), MurmurThree32::MakeData("abc"));
}

TEST(MurmurThree32Test, HoldsTheBytesInLittleEndianOrder) {
    auto const bytes = MurmurThree32::MakeData("qel.meta.data.Observable").GetBytes();
    EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{0x3B, 0xF1, 0xA3, 0xA3}));
    static_assert(sizeof(MurmurThree32) == 4);
}

TEST(MurmurThree32Test, IsMadeOfAValue) {
    MurmurThree32 const data(0x01020304);
    EXPECT_EQ(data.GetValue(), 0x01020304u);
    EXPECT_EQ(data.GetBytes(), (std::array<std::uint8_t, 4>{4, 3, 2, 1}));
}

TEST(MurmurThree32Test, EqualsOnlyTheSameFourBytes) {
    MurmurThree32 const data(0x01020304);
    EXPECT_EQ(data, MurmurThree32(0x01020304));
    for (unsigned int bit = 0; bit < 32; ++bit) {
        EXPECT_NE(data, MurmurThree32(0x01020304 ^ 1u << bit)) << bit;
    }
}

TEST(MurmurThree32Test, IsAValueType) {
    static_assert(std::is_trivially_copyable_v<MurmurThree32>);
    MurmurThree32 data;
    EXPECT_EQ(data.GetValue(), 0u);
    data = MurmurThree32::MakeData("");
    EXPECT_EQ(data.GetValue(), 0x5BF65230u);
}

TEST(MurmurThree32Test, HasItsValueAsStandardHash) {
    EXPECT_EQ(std::hash<MurmurThree32>()(MurmurThree32(0xFFEEDDCC)), std::size_t{0xFFEEDDCC});
    EXPECT_EQ(std::hash<MurmurThree32>()(MurmurThree32::MakeData("qel.observable.And")), std::size_t{0x042F5241});
}

TEST(MurmurThree32Test, IsAKeyOfAMap) {
    std::unordered_map<MurmurThree32, std::string> names;
    for (std::string const name : {"qel.observable.And", "qel.observable.Or", "qel.observable.Not"}) {
        names.emplace(MurmurThree32::MakeData(name.c_str()), name);
    }
    EXPECT_EQ(names.at(MurmurThree32::MakeData("qel.observable.Or")), "qel.observable.Or");
    EXPECT_EQ(names.count(MurmurThree32::MakeData("qel.observable.Previous")), 0u);
}

/// The hash step by step, in whole numbers modulo 2^32.
std::uint32_t HashInSteps(std::string const& text) {
    constexpr std::uint64_t Modulus = 1ull << 32;
    auto const rotate = [](std::uint64_t value, int by) { return (value << by | value >> (32 - by)) % Modulus; };
    auto const scramble = [&](std::uint64_t block) {
        return rotate(block * 0xCC9E2D51 % Modulus, 15) * 0x1B873593 % Modulus;
    };
    auto const byteAt = [&](std::size_t at) { return std::int64_t{static_cast<unsigned char>(text[at])}; };

    std::uint64_t hash = 183462145;
    std::size_t const whole = text.size() - text.size() % 4;
    for (std::size_t block = 0; block < whole; block += 4) {
        std::uint64_t read = 0;
        for (int offset = 0; offset < 4; ++offset) {
            std::int64_t const byte = byteAt(block + static_cast<std::size_t>(offset));
            std::int64_t const widened = byte < 128 ? byte : byte - 256;
            read |= static_cast<std::uint64_t>(widened * (std::int64_t{1} << 8 * offset)) % Modulus;
        }
        hash = (rotate(hash ^ scramble(read), 13) * 5 + 0xE6546B64) % Modulus;
    }
    if (whole < text.size()) {
        std::int64_t tail = 0;
        for (std::size_t at = whole; at < text.size(); ++at) {
            tail += byteAt(at) << 8 * (at - whole);
        }
        hash ^= scramble(static_cast<std::uint64_t>(tail));
    }
    hash ^= text.size();
    hash = (hash ^ hash >> 16) * 0x85EBCA6B % Modulus;
    hash = (hash ^ hash >> 13) * 0xC2B2AE35 % Modulus;
    return static_cast<std::uint32_t>(hash ^ hash >> 16);
}

TEST(MurmurThree32Test, AgreesWithTheStepsOnRandomTexts) {
    RunAtRandom(3000, [](Random& random) {
        std::string text(random.Below(40), ' ');
        for (char& each : text) {
            each = static_cast<char>(1 + random.Below(255));
        }
        EXPECT_EQ(MurmurThree32::MakeData(text.c_str()).GetValue(), HashInSteps(text)) << testing::PrintToString(text);
    });
}

}  // namespace
}  // namespace qel::tests
