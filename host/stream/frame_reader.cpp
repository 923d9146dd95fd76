#include "host/stream/frame_reader.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

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

UnreadableLine FrameReader::Unreadable(std::uint64_t line, std::string key, std::string_view value, std::string problem,
                                       std::string allowed) const {
    return {{lines.GetName(),
             static_cast<std::size_t>(line),
             0,
             std::move(key),
             std::string(value),
             std::move(problem),
             std::move(allowed),
             {}}};
}

UnreadableLine FrameReader::LineTooLong() const {
    return Unreadable(lines.GetLineNumber(), "", "", "line too long",
                      fmt::format("{} MiB", LineReader::MaximumLength / (1024 * 1024)));
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
