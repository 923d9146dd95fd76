#pragma once

#include <cstdint>
#include <string>

#include "host/stream/frame_reader.hpp"
#include "host/stream/line_reader.hpp"

namespace qel::host {

/// Reads frames that are one JSON object a line each. Blank lines are passed over and unknown keys ignored.
class JsonlReader : public FrameReader {
public:
    /// The lines outlive the reader.
    explicit JsonlReader(LineReader& lines) : lines(lines) {}

    bool Fetch(Entry& entry, bool mayWait) override;
    void Parse(Entry& entry) const override;

private:
    UnreadableLine Unreadable(std::uint64_t line, std::string key, std::string value, std::string problem,
                              std::string allowed) const;

    LineReader& lines;
};

}  // namespace qel::host
