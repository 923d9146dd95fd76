#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/timestamp.hpp"
#include "host/events/event_log.hpp"
#include "host/rules/rule_file.hpp"
#include "host/rules/rule_set.hpp"
#include "host/stream/frame_reader.hpp"

namespace qel::host {

/// What a run has seen so far.
struct Counts {
    std::uint64_t frames = 0;
    std::uint64_t repeated = 0;   // frames at the latest time that their channel has had
    std::uint64_t backwards = 0;  // frames before it
    std::size_t channels = 0;
    double seconds = 0;  // from the earliest to the latest time of each channel, summed up
};

/// Runs the rules of a file over the frames of a stream, each channel by itself.
class Evaluation {
public:
    /// The file and the log outlive the evaluation.
    Evaluation(RuleFile const& file, EventLog& log) : file(file), log(log) {}

    /// Throws `Failure` when the rules cannot be made for a channel, and what an observable throws.
    void Process(Frame const& frame);

    Counts const& GetCounts() const { return counts; }

private:
    struct Channel {
        RuleSet rules;
        std::shared_ptr<meta::data::Channel> record;
        meta::Timestamp earliest;
        meta::Timestamp latest;
    };

    Channel& ChannelOf(Frame const& frame);
    void Count(Channel& channel, meta::Timestamp time);

    RuleFile const& file;
    EventLog& log;
    std::unordered_map<std::uint16_t, std::unique_ptr<Channel>> channels;
    Counts counts;
};

}  // namespace qel::host
