#pragma once

#include <memory>

#include "host/stream/frame_reader.hpp"
#include "host/stream/line_reader.hpp"

namespace qel::host {

/// Reads frames that are one JSON object a line each. Blank lines are passed over and unknown keys ignored.
class JsonlReader : public FrameReader {
public:
    /// The lines outlive the reader.
    explicit JsonlReader(LineReader& lines);
    ~JsonlReader() override;

    bool Next(Frame& frame) override;

private:
    class Impl;

    std::unique_ptr<Impl> const impl;
};

}  // namespace qel::host
