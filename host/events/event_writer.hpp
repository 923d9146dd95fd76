#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"

namespace qel::host {

/// What has happened to an event in one frame.
struct EventChange {
    enum class Phase { Start, Update, End };

    Phase phase;
    meta::Timestamp time;  // of the frame
    std::uint64_t number;  // the host's own number of the event
    std::string const& rule;
    std::optional<std::size_t> ruleIndex;  // its place in the rule file, from 0; nothing when no rule owns the event
    std::uint16_t channel;
    meta::data::Event const& event;
    bool atEndOfStream = false;  // it ends because the stream does
};

/// Takes changes of events in their order.
class EventWriter {
public:
    virtual ~EventWriter() = default;

    virtual void Write(EventChange const& change) = 0;
};

/// "start", "update" or "end".
char const* NameOf(EventChange::Phase phase);

}  // namespace qel::host
