#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>

#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"
#include "host/events/event_writer.hpp"
#include "host/rules/rule_set.hpp"

namespace qel::host {

/// Follows the events of all channels from frame to frame and tells the writer how each starts, goes on and ends.
///
/// Events are numbered in the order in which the writer first hears of them, over all channels. Every event that has
/// started ends exactly once.
class EventLog {
public:
    /// The writer, and the rules of every frame, outlive the log.
    EventLog(EventWriter& writer, bool writeUpdates) : writer(writer), writeUpdates(writeUpdates) {}

    /// Takes the events that the rules have put into a frame of the channel.
    void Add(std::uint16_t channel, RuleSet const& rules, meta::Timestamp time, std::span<meta::data::Event> events);

    /// Ends the events that go on, in the order of their numbers, each at the time of its channel's last frame.
    void CloseAll();

    /// How many events have started.
    std::uint64_t GetCount() const { return lastNumber; }

private:
    struct OpenEvent {
        std::uint64_t number = 0;
        meta::data::Event latest;
    };
    struct Channel {
        RuleSet const* rules = nullptr;
        meta::Timestamp lastTime;
        std::unordered_map<unsigned int, OpenEvent> open;  // by the engine's id
    };

    void Add(std::uint16_t channel, Channel& state, meta::data::Event& event);
    void Write(EventChange::Phase phase, std::uint16_t channel, Channel const& state, std::uint64_t number,
               meta::data::Event const& event, bool atEndOfStream = false);

    EventWriter& writer;
    bool writeUpdates;
    std::uint64_t lastNumber = 0;
    std::unordered_map<std::uint16_t, Channel> channels;
};

}  // namespace qel::host
