// Any bytes are a stream: frames, and lines that cannot be read, each of which is told in one line, and perhaps
// compressed data that is broken, which is the end. The first byte says in which format.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "host/failure.hpp"
#include "host/rules/mistake.hpp"
#include "host/stream/jsonl_reader.hpp"
#include "host/stream/line_reader.hpp"
#include "host/stream/mot_reader.hpp"

using namespace qel::host;

namespace {

// A number of a frame that is far ahead makes many empty frames, which take their time and show nothing new.
constexpr std::uint64_t MostFrames = 10'000;

/// The readers take files; this one is in memory.
class MemoryFile {
public:
    MemoryFile(std::uint8_t const* data, std::size_t size) : file(memfd_create("stream", 0)) {
        if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) {
            std::cerr << "no file in memory\n";
            std::abort();
        }
    }
    ~MemoryFile() { close(file); }

    std::string GetPath() const { return "/proc/self/fd/" + std::to_string(file); }

private:
    int file;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) {
        return 0;  // no byte that names the format
    }
    MemoryFile const file(data + 1, size - 1);
    StopSignals const stop;
    LineReader lines(file.GetPath(), stop);
    std::unique_ptr<FrameReader> reader;
    if (data[0] == 'm') {
        reader = std::make_unique<MotReader>(lines, FrameClock({}, 25), MotReader::Picture{640, 480});
    } else {
        reader = std::make_unique<JsonlReader>(lines);
    }
    Frame frame;
    for (std::uint64_t count = 0; count < MostFrames; ++count) {
        try {
            if (!reader->Next(frame)) {
                return 0;
            }
        } catch (Failure const& failure) {
            if (std::string_view(failure.what()).find(": cannot be read") == std::string_view::npos) {
                std::cerr << "message: " << failure.what() << '\n';
                std::abort();
            }
            return 0;
        } catch (UnreadableLine const& line) {
            std::string const told = Describe(line.mistake);
            if (line.mistake.line == 0 || line.mistake.problem.empty() || told.find('\n') != std::string::npos) {
                std::cerr << "message: " << told << '\n';
                std::abort();
            }
        }
    }
    return 0;
}
