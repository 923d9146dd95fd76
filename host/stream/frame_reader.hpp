#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/timestamp.hpp"
#include "host/rules/mistake.hpp"
#include "host/stream/line_reader.hpp"

namespace qel::host {

/// One frame of a stream.
struct Frame {
    meta::Timestamp time;
    std::uint16_t channel = 0;
    std::string channelName;
    std::vector<std::shared_ptr<meta::data::Object>> objects;
};

/// A line of a stream that cannot be read. The reader goes on behind it.
struct UnreadableLine {
    Mistake mistake;
};

/// A frame on its way out of a stream.
struct Entry {
    std::uint64_t line = 0;  // the number of the last line that was read for it
    std::string_view text;   // what is left to be parsed, valid until the reader waits
    Frame frame;
};

/// Reads the frames of a stream in their order, in two steps of which the second may be taken on other threads.
class FrameReader {
public:
    /// The lines outlive the reader.
    explicit FrameReader(LineReader& lines) : lines(lines) {}
    virtual ~FrameReader() = default;

    /// Fetches the next frame; false at the end, or when one that may not wait would have to. Throws `UnreadableLine`,
    /// and one that may wait also `Failure` when the stream breaks off.
    virtual bool Fetch(Entry& entry, bool mayWait) = 0;

    /// Makes the frame of a fetched entry complete. Throws `UnreadableLine`. May be called for several entries at the
    /// same time.
    virtual void Parse(Entry& entry) const = 0;

    /// Both at once: the next frame, waiting for it; false at the end.
    bool Next(Frame& frame);

protected:
    /// For a line that was read, as long ago as it may be.
    UnreadableLine Unreadable(std::uint64_t line, std::string key, std::string_view value, std::string problem,
                              std::string allowed) const;
    /// For the line that was read last, which is longer than what is kept of lines.
    UnreadableLine LineTooLong() const;

    LineReader& lines;
};

/// Notices an id that stands twice in one frame.
class UniqueIds {
public:
    void Clear() {
        ascending.clear();
        others.clear();
    }
    /// False when the id is there already.
    bool Insert(unsigned int id);

private:
    std::vector<unsigned int> ascending;
    std::unordered_set<unsigned int> others;
};

}  // namespace qel::host
