#pragma once

#include <cstdint>
#include <optional>

#include "host/stream/frame_clock.hpp"
#include "host/stream/frame_reader.hpp"
#include "host/stream/line_reader.hpp"

namespace qel::host {

/// Reads MOTChallenge text: a line for each object with frame, id, left, top, width and height in pixels, confidence,
/// class, and more that is not used. The first six must be there. Neighbouring lines of one frame make the frame;
/// missing frame numbers are empty frames. Blank lines are passed over.
class MotReader : public FrameReader {
public:
    /// In pixels.
    struct Picture {
        double width = 1;
        double height = 1;
    };

    /// How many frame numbers in a row may be missing.
    static constexpr std::uint64_t LargestGap = 1'000'000;

    /// The clock's first frame has the number 1.
    MotReader(LineReader& lines, FrameClock const& clock, Picture const& picture);

    /// Waits for all frames, since what follows a frame tells where it ends. They need no parsing.
    bool Fetch(Entry& entry, bool mayWait) override;
    void Parse(Entry&) const override {}

private:
    struct Line {
        std::uint64_t frame = 0;                     // 0 when even that cannot be read
        std::shared_ptr<meta::data::Object> object;  // null when the line cannot be read
        std::optional<UnreadableLine> error;
    };

    bool PutTogether(Frame& frame);
    bool ReadLine(Line& line);
    void ParseLine(std::string_view text, Line& line) const;
    void Take(Line line);
    void Advance();
    /// For the line that was read last.
    UnreadableLine Unreadable(std::string key, std::string_view value, std::string problem, std::string allowed) const;

    FrameClock clock;
    Picture picture;
    std::uint64_t current = 0;  // the frame that is put together, 0 before the first
    bool handedOut = true;      // it has been
    std::uint64_t last = 0;     // the highest so far: what is missing behind it is empty
    std::vector<std::shared_ptr<meta::data::Object>> objects;
    UniqueIds ids;
    std::optional<Line> next;  // the line that ended it
    bool atEnd = false;
    bool stopped = false;  // by a signal
};

}  // namespace qel::host
