#pragma once

#include <string>

#include "host/events/event_writer.hpp"
#include "host/system/output.hpp"

namespace qel::host {

/// Writes one JSON object a line.
class JsonlWriter : public EventWriter {
public:
    /// The output outlives the writer.
    explicit JsonlWriter(Output& output) : output(output) {}

    void Write(EventChange const& change) override;

private:
    Output& output;
    std::string line;  // kept for its memory
};

}  // namespace qel::host
