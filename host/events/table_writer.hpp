#pragma once

#include "host/events/event_writer.hpp"
#include "host/system/output.hpp"

namespace qel::host {

/// Writes a table for people, a row for each change, under one heading.
class TableWriter : public EventWriter {
public:
    /// The output outlives the writer.
    explicit TableWriter(Output& output) : output(output) {}

    void Write(EventChange const& change) override;

private:
    Output& output;
    bool hasHeading = false;
};

}  // namespace qel::host
