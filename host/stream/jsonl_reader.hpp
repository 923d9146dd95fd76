#pragma once

#include "host/stream/frame_reader.hpp"
#include "host/stream/line_reader.hpp"

namespace qel::host {

/// Reads frames that are one JSON object a line each. Blank lines are passed over and unknown keys ignored.
class JsonlReader : public FrameReader {
public:
    using FrameReader::FrameReader;

    bool Fetch(Entry& entry, bool mayWait) override;
    void Parse(Entry& entry) const override;
};

}  // namespace qel::host
