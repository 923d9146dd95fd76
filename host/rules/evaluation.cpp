#include "host/rules/evaluation.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"

namespace qel::host {

namespace {

/// Two times may be further apart than a number of nanoseconds can tell.
double Seconds(meta::Timestamp from, meta::Timestamp to) {
    using Exact = std::chrono::duration<double>;
    return (Exact(to.time_since_epoch()) - Exact(from.time_since_epoch())).count();
}

}  // namespace

class Evaluation::Channel {
public:
    Channel(RuleFile const& file, std::uint16_t id) : rules(file, id) {}

    /// Evaluates the steps of the batch up to the first that fails.
    void Evaluate();

    RuleSet rules;
    std::vector<Step*> batch;
    bool isKnown = false;  // it has had a frame that was concluded, and so times
    meta::Timestamp earliest;
    meta::Timestamp latest;

private:
    void Evaluate(Step& step);

    std::shared_ptr<meta::data::Channel> record;
};

void Evaluation::Channel::Evaluate() {
    for (Step* const step : batch) {
        try {
            Evaluate(*step);
        } catch (...) {
            step->failure = std::current_exception();
            break;
        }
    }
    batch.clear();
}

void Evaluation::Channel::Evaluate(Step& step) {
    Frame& frame = step.entry.frame;
    if (!record || record->GetName() != frame.channelName) {
        record = std::make_shared<meta::data::Channel>(frame.channel, frame.channelName);
    }
    meta::Meta const meta(frame.time);
    meta.Append(record);
    for (auto& object : frame.objects) {
        meta.Append(std::move(object));
    }
    frame.objects.clear();
    rules.Process(meta);
    step.events.clear();
    // Copies, since an observable may change its events in the next frame, and that may be before the log sees them.
    for (auto const& event : meta::EventsOf(meta)) {
        step.events.push_back(event);
    }
}

Evaluation::Evaluation(RuleFile const& file, EventLog& log) : file(file), log(log) {}

Evaluation::~Evaluation() = default;

void Evaluation::Process(std::span<Step> steps, Workers& workers) {
    for (Step& step : steps) {
        if (step.unreadable) {
            continue;
        }
        step.failure = nullptr;
        step.channel = nullptr;
        try {
            step.channel = &ChannelOf(step.entry.frame);
        } catch (...) {
            step.failure = std::current_exception();
            break;
        }
        if (step.channel->batch.empty()) {
            busy.push_back(step.channel);
        }
        step.channel->batch.push_back(&step);
    }
    workers.ForEach(busy.size(), [this](std::size_t at) { busy[at]->Evaluate(); });
    busy.clear();
}

void Evaluation::Conclude(Step& step) {
    if (step.unreadable) {
        std::rethrow_exception(step.unreadable);
    }
    Frame const& frame = step.entry.frame;
    ++counts.frames;
    if (step.channel != nullptr) {
        Count(*step.channel, frame.time);
    }
    if (step.failure) {
        std::rethrow_exception(step.failure);
    }
    log.Add(frame.channel, step.channel->rules, frame.time, step.events);
}

Evaluation::Channel& Evaluation::ChannelOf(Frame const& frame) {
    auto& channel = channels[frame.channel];
    if (!channel) {
        channel = std::make_unique<Channel>(file, frame.channel);
    }
    return *channel;
}

void Evaluation::Count(Channel& channel, meta::Timestamp time) {
    if (!std::exchange(channel.isKnown, true)) {
        ++counts.channels;
        channel.earliest = channel.latest = time;
        return;
    }
    counts.repeated += time == channel.latest;
    counts.backwards += time < channel.latest;
    double const before = Seconds(channel.earliest, channel.latest);
    channel.earliest = std::min(channel.earliest, time);
    channel.latest = std::max(channel.latest, time);
    counts.seconds += Seconds(channel.earliest, channel.latest) - before;
}

}  // namespace qel::host
