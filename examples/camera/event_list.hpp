#pragma once

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

/// The events of a file of JSON lines, in the order of the file. Throws `host::Failure` when the file cannot be read.
std::vector<RecordedEvent> ReadEvents(std::string const& path, host::StopSignals const& stop);

}  // namespace qel::camera
