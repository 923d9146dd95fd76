#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/timestamp.hpp"
#include "host/rules/mistake.hpp"

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

/// The frames of a stream in their order, one at a time.
class FrameReader {
public:
    virtual ~FrameReader() = default;

    /// Fills in the next frame; false at the end. Throws `UnreadableLine`, and `Failure` when the stream breaks off.
    virtual bool Next(Frame& frame) = 0;
};

/// Notices an id that stands twice in one frame.
class UniqueIds {
public:
    void Clear() { sorted.clear(); }
    /// False when the id is there already.
    bool Insert(unsigned int id);

private:
    std::vector<unsigned int> sorted;
};

}  // namespace qel::host
