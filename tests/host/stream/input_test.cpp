#include "host/stream/input.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <random>
#include <string>
#include <tuple>
#include <utility>

#include "host/failure.hpp"
#include "tests/host/support/compress.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

using testing::Pair;
using tests::Gzip;
using tests::Zstd;

/// Hard to compress, the same every time.
std::string Noise(std::size_t size) {
    std::mt19937 random(1);
    std::string text(size, '\0');
    for (char& each : text) {
        each = static_cast<char>(random());
    }
    return text;
}

class InputTest : public testing::Test {
protected:
    /// What can be read of a file, and why no more can, empty at a proper end.
    std::pair<std::string, std::string> Read(std::string const& bytes, std::size_t size = 100'000) {
        auto const path = (directory / "input").string();
        std::ofstream(path, std::ios::binary) << bytes;
        Input input(path, stop);
        std::pair<std::string, std::string> result;
        std::string piece(size, '\0');
        try {
            for (auto count = input.Read(piece.data(), size); count != 0u; count = input.Read(piece.data(), size)) {
                result.first.append(piece, 0, count.value());
            }
            EXPECT_EQ(input.Read(piece.data(), size), 0u) << "the end stays the end";
        } catch (Failure const& failure) {
            result.second = failure.what();
        }
        return result;
    }

    tests::TemporaryDirectory directory;
    StopSignals stop;
};

TEST_F(InputTest, TakesWhatIsNotCompressedAsItIs) {
    for (auto const* const text : {"", "x", "{\"timestamp\": 0}\n", "\x1F", "\x1Fx", "(", "\x28\xB5\x2F",
                                   "\x28\xB5\x2Fx", "PQ", "P*M", "P*Mx", "\xEF\xBB\xBF{}"}) {
        for (std::size_t const size : {1, 2, 100}) {
            EXPECT_THAT(Read(text, size), Pair(text, "")) << size;
        }
    }
    auto const large = "." + Noise(300'000);
    EXPECT_THAT(Read(large), Pair(large, ""));
}

TEST_F(InputTest, DecompressesWhatItRecognises) {
    for (auto const& text : {std::string(), std::string("one\ntwo\n"), Noise(400'000), std::string(5'000'000, 'a')}) {
        EXPECT_THAT(Read(Gzip(text)), Pair(text, ""));
        EXPECT_THAT(Read(Zstd(text)), Pair(text, ""));
    }
}

TEST_F(InputTest, DecompressesIntoPiecesOfAnySize) {
    auto const text = Noise(3'000) + std::string(3'000, 'a');
    for (std::size_t const size : {1, 2, 3, 1000}) {
        EXPECT_THAT(Read(Gzip(text) + Gzip(text), size), Pair(text + text, "")) << size;
        EXPECT_THAT(Read(Zstd(text) + Zstd(text), size), Pair(text + text, "")) << size;
    }
}

TEST_F(InputTest, TakesMembersThatStandOneBehindTheOtherForOneStream) {
    EXPECT_THAT(Read(Gzip("one\n") + Gzip("") + Gzip("two\n")), Pair("one\ntwo\n", ""));
    EXPECT_THAT(Read(Zstd("one\n") + Zstd("") + Zstd("two\n")), Pair("one\ntwo\n", ""));
    EXPECT_THAT(Read(Gzip("one\n") + Zstd("two\n") + Gzip("three\n")), Pair("one\ntwo\nthree\n", ""));
    std::string const skipped("\x5F\x2A\x4D\x18\x03\0\0\0abc", 11);
    EXPECT_THAT(Read(skipped + Zstd("one\n") + skipped), Pair("one\n", ""));
    std::string many;
    std::string expected;
    for (int member = 0; member < 3'000; ++member) {  // some of them across the pieces in which the file is read
        many += Gzip(std::string(50, 'a'));
        expected += std::string(50, 'a');
    }
    EXPECT_THAT(Read(many), Pair(expected, ""));
}

TEST_F(InputTest, GivesWhatThereIsOfAFileThatEndsTooEarly) {
    std::string const text = "one and two and three and two and one\n" + Noise(100);
    for (auto const& [compressed, name, mark] :
         {std::tuple(Gzip(text), "gzip", 2u), std::tuple(Zstd(text), "zstd", 4u)}) {
        for (std::size_t size = mark; size < compressed.size(); ++size) {
            auto const [read, problem] = Read(compressed.substr(0, size));
            EXPECT_EQ(problem, std::string("the ") + name + " data ends too early") << size;
            EXPECT_EQ(read, text.substr(0, read.size())) << size;
        }
        EXPECT_EQ(Read(compressed + compressed.substr(0, mark)).first, text);
        EXPECT_EQ(Read(compressed + compressed.substr(0, mark)).second,
                  std::string("the ") + name + " data ends too early");
    }
    auto const large = Noise(1'000'000);
    EXPECT_GT(Read(Gzip(large).substr(0, 900'000)).first.size(), 850'000u);
    EXPECT_GE(Read(Zstd(large).substr(0, 900'000)).first.size(), 6u * 128 * 1024);
}

TEST_F(InputTest, TellsWhatIsWrongWithDamagedDataBehindWhatIsRight) {
    std::string const text = "one\ntwo\n";
    auto const change = [](std::string bytes, std::size_t at) {
        bytes.at(at) = static_cast<char>(bytes.at(at) ^ 0x55);
        return bytes;
    };
    auto const gzip = Gzip(text);
    EXPECT_THAT(Read(change(gzip, gzip.size() - 5)),
                Pair(text, "the gzip data cannot be decompressed: incorrect data check"));
    EXPECT_THAT(Read(change(gzip, gzip.size() - 1)),
                Pair(text, "the gzip data cannot be decompressed: incorrect length check"));
    EXPECT_THAT(Read(change(gzip, 2)), Pair("", "the gzip data cannot be decompressed: unknown compression method"));
    EXPECT_THAT(Read(gzip + change(gzip, 2)),
                Pair(text, "the gzip data cannot be decompressed: unknown compression method"));
    auto const zstd = Zstd(text);
    EXPECT_THAT(Read(change(zstd, zstd.size() - 1)),
                Pair(text, "the zstd data cannot be decompressed: Restored data doesn't match checksum"));
}

TEST_F(InputTest, LosesNoBlockBeforeADamagedOne) {
    constexpr std::size_t block = 128 * 1024;
    constexpr std::size_t blockHeader = 3;
    constexpr std::size_t checksum = 4;
    auto const text = Noise(3 * block);
    auto zstd = Zstd(text);
    std::size_t const header = zstd.size() - checksum - 3 * (blockHeader + block);
    ASSERT_LE(header, 18u);
    for (std::size_t const damaged : {2u, 1u, 0u}) {
        auto& byte = zstd[header + damaged * (blockHeader + block)];
        byte = static_cast<char>(byte | 0x06);  // a kind of block that there is not
        for (std::size_t const size : {1'000u, 100'000u, 1'000'000u}) {
            EXPECT_THAT(Read(zstd, size), Pair(text.substr(0, damaged * block),
                                               "the zstd data cannot be decompressed: Data corruption detected"));
        }
    }
}

TEST_F(InputTest, RefusesWhatWouldTakeTooMuchMemory) {
    // A frame that says it looks back 256 MiB.
    EXPECT_THAT(Read(std::string("\x28\xB5\x2F\xFD\x00\x90\x01\x00\x00", 9)),
                Pair("", "the zstd data cannot be decompressed: Frame requires too much memory for decoding"));
}

TEST_F(InputTest, RefusesSomethingElseBehindCompressedData) {
    for (auto const* const rest : {"x", "\n", "{\"timestamp\": 0}\n", "\x1F", "\x28\xB5"}) {
        EXPECT_THAT(Read(Gzip("one\n") + rest), Pair("one\n", "something else stands behind the gzip data"));
        EXPECT_THAT(Read(Zstd("one\n") + rest), Pair("one\n", "something else stands behind the zstd data"));
    }
}

TEST(InputWhenStoppedTest, GivesNothing) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "input").string();
    for (auto const& text : {std::string("one\n"), Gzip("one\n"), Zstd("one\n")}) {
        std::ofstream(path, std::ios::binary) << text;
        StopSignals const stop;
        Input input(path, stop);
        std::raise(SIGINT);
        std::string piece(100, '\0');
        EXPECT_EQ(input.Read(piece.data(), piece.size()), std::nullopt);
    }
}

}  // namespace
}  // namespace qel::host
