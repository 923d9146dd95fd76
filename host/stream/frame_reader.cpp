#include "host/stream/frame_reader.hpp"

#include <algorithm>
#include <utility>

namespace qel::host {

bool FrameReader::Next(Frame& frame) {
    Entry entry;
    if (!Fetch(entry, true)) {
        return false;
    }
    Parse(entry);
    frame = std::move(entry.frame);
    return true;
}

bool UniqueIds::Insert(unsigned int id) {
    // Trackers mostly give their objects in the order of the ids.
    auto const at =
        sorted.empty() || sorted.back() < id ? sorted.end() : std::lower_bound(sorted.begin(), sorted.end(), id);
    if (at != sorted.end() && *at == id) {
        return false;
    }
    sorted.insert(at, id);
    return true;
}

}  // namespace qel::host
