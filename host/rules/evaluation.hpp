#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/timestamp.hpp"
#include "host/events/event_log.hpp"
#include "host/rules/rule_file.hpp"
#include "host/rules/rule_set.hpp"
#include "host/stream/frame_reader.hpp"
#include "host/system/workers.hpp"

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
///
/// Frames are evaluated a batch at a time and channels side by side, then concluded one by one in the order of the
/// stream, and only that shows: neither the counts nor the log tell how large the batches were.
class Evaluation {
public:
    class Channel;

    /// A frame and what the rules make of it.
    struct Step {
        Entry entry;
        std::exception_ptr unreadable;  // why there is no frame
        Channel* channel = nullptr;
        std::vector<meta::data::Event> events;
        std::exception_ptr failure;  // why there are no events
    };

    /// The file and the log outlive the evaluation.
    Evaluation(RuleFile const& file, EventLog& log);
    ~Evaluation();

    /// Runs the rules over the frames, which end up without their objects.
    void Process(std::span<Step> steps, Workers& workers);

    /// Counts a processed frame and tells the log what came of it. Throws why there is no frame, `Failure` when the
    /// rules could not be made for its channel, and what an observable threw; after these two, nothing that was
    /// processed behind the frame may be concluded.
    void Conclude(Step& step);

    Counts const& GetCounts() const { return counts; }

private:
    Channel& ChannelOf(Frame const& frame);
    void Count(Channel& channel, meta::Timestamp time);

    RuleFile const& file;
    EventLog& log;
    std::unordered_map<std::uint16_t, std::unique_ptr<Channel>> channels;
    std::vector<Channel*> busy;  // of the batch
    Counts counts;
};

}  // namespace qel::host
