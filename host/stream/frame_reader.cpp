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
    if (ascending.empty() || ascending.back() < id) {
        ascending.push_back(id);  // the others are all lower
        return true;
    }
    return !std::binary_search(ascending.begin(), ascending.end(), id) && others.insert(id).second;
}

}  // namespace qel::host
