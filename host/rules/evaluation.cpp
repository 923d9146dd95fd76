#include "host/rules/evaluation.hpp"

#include <algorithm>
#include <chrono>

#include "foundation/meta/meta.hpp"

namespace qel::host {

namespace {

/// Two times may be further apart than a number of nanoseconds can tell.
double Seconds(meta::Timestamp from, meta::Timestamp to) {
    using Exact = std::chrono::duration<double>;
    return (Exact(to.time_since_epoch()) - Exact(from.time_since_epoch())).count();
}

}  // namespace

void Evaluation::Process(Frame const& frame) {
    Channel& channel = ChannelOf(frame);
    meta::Meta const meta(frame.time);
    meta.Append(channel.record);
    for (auto const& object : frame.objects) {
        meta.Append(object);
    }
    channel.rules.Process(meta);
    log.Add(frame.channel, channel.rules, meta);
}

Evaluation::Channel& Evaluation::ChannelOf(Frame const& frame) {
    auto& channel = channels[frame.channel];
    ++counts.frames;
    if (!channel) {
        channel.reset(new Channel{RuleSet(file, frame.channel), nullptr, frame.time, frame.time});
        ++counts.channels;
    } else {
        Count(*channel, frame.time);
    }
    if (!channel->record || channel->record->GetName() != frame.channelName) {
        channel->record = std::make_shared<meta::data::Channel>(frame.channel, frame.channelName);
    }
    return *channel;
}

void Evaluation::Count(Channel& channel, meta::Timestamp time) {
    counts.repeated += time == channel.latest;
    counts.backwards += time < channel.latest;
    double const before = Seconds(channel.earliest, channel.latest);
    channel.earliest = std::min(channel.earliest, time);
    channel.latest = std::max(channel.latest, time);
    counts.seconds += Seconds(channel.earliest, channel.latest) - before;
}

}  // namespace qel::host
