#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "foundation/meta/timestamp.hpp"
#include "host/system/stop_signals.hpp"

namespace qel::camera {

/// An event that `qel run` has written.
struct RecordedEvent {
    std::string rule;
    std::set<unsigned int> objects;
    std::set<unsigned int> zones;
    meta::Timestamp first;  // the frames in which it was told to start and to end
    meta::Timestamp last;
};

/// The events of this channel in a file of JSON lines, in the order of the file. Throws `host::Failure` when the file
/// cannot be read, `host::Interrupted` when a signal is caught while it is opened.
std::vector<RecordedEvent> ReadEvents(std::string const& path, std::uint16_t channel, host::StopSignals const& stop);

}  // namespace qel::camera
