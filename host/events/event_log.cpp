#include "host/events/event_log.hpp"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "foundation/meta/views.hpp"

namespace qel::host {

namespace {

using Phase = EventChange::Phase;

std::optional<std::size_t> FindRule(RuleSet const& rules, meta::data::Event const& event) {
    for (meta::data::Observable const& record : meta::ObservablesOf(event)) {
        if (auto const rule = rules.FindRule(record.GetId())) {
            return rule;
        }
    }
    return std::nullopt;
}

}  // namespace

char const* NameOf(Phase phase) {
    switch (phase) {
        case Phase::Start:
            return "start";
        case Phase::Update:
            return "update";
        case Phase::End:
            break;
    }
    return "end";
}

void EventLog::Add(std::uint16_t channel, RuleSet const& rules, meta::Timestamp time,
                   std::span<meta::data::Event> events) {
    Channel& state = channels[channel];
    state.rules = &rules;
    state.lastTime = time;
    for (auto& event : events) {
        Add(channel, state, event);
    }
}

void EventLog::Add(std::uint16_t channel, Channel& state, meta::data::Event& event) {
    unsigned int const id = event.GetId();
    auto const found = state.open.find(id);
    if (found == state.open.end()) {
        if (event.IsDuplicate()) {
            return;  // one more copy of an event that has ended
        }
        ++lastNumber;
        Write(Phase::Start, channel, state, lastNumber, event);
        if (event.IsFinal()) {
            Write(Phase::End, channel, state, lastNumber, event);
        } else {
            state.open.emplace(id, OpenEvent{lastNumber, std::move(event)});
        }
        return;
    }
    if (event.IsFinal()) {
        Write(Phase::End, channel, state, found->second.number, event);
        state.open.erase(found);
        return;
    }
    if (writeUpdates) {
        Write(Phase::Update, channel, state, found->second.number, event);
    }
    found->second.latest = std::move(event);
}

void EventLog::CloseAll() {
    struct Ending {
        std::uint16_t channel;
        OpenEvent event;
    };
    std::vector<Ending> endings;
    for (auto& [channel, state] : channels) {
        for (auto& [id, open] : state.open) {
            endings.push_back({channel, std::move(open)});
        }
        state.open.clear();
    }
    std::sort(endings.begin(), endings.end(),
              [](Ending const& one, Ending const& other) { return one.event.number < other.event.number; });
    for (auto const& [channel, event] : endings) {
        Write(Phase::End, channel, channels[channel], event.number, event.latest, true);
    }
}

void EventLog::Write(Phase phase, std::uint16_t channel, Channel const& state, std::uint64_t number,
                     meta::data::Event const& event, bool atEndOfStream) {
    auto const rule = FindRule(*state.rules, event);
    writer.Write({phase, state.lastTime, number, rule ? state.rules->GetFile().rules[*rule].name : event.GetName(),
                  rule, channel, event, atEndOfStream});
}

}  // namespace qel::host
