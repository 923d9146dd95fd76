#include "examples/camera/event_list.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/failure.hpp"
#include "host/stream/line_reader.hpp"
#include "host/stream/timestamp.hpp"

namespace qel::camera {

namespace {

meta::Timestamp TimeOf(nlohmann::json const& line) {
    auto const text = line.at("time").get<std::string>();
    auto const time = host::ParseTimestamp(text);
    if (!time) {
        throw host::Failure(fmt::format("\"{}\" is not a time", text));
    }
    return *time;
}

RecordedEvent Start(nlohmann::json const& line) {
    RecordedEvent event{line.at("rule").get<std::string>(), {}, {}, TimeOf(line), meta::Timestamp::max()};
    for (auto const& object : line.at("objects")) {
        event.objects.insert(object.at("id").get<unsigned int>());
    }
    event.zones = line.at("zones").get<std::set<unsigned int>>();
    return event;
}

}  // namespace

std::vector<RecordedEvent> ReadEvents(std::string const& path, std::uint16_t channel, host::StopSignals const& stop) {
    host::LineReader lines(path, stop);
    std::vector<RecordedEvent> events;
    std::map<std::uint64_t, std::size_t> places;  // by the number of the event
    std::string_view text;
    using Result = host::LineReader::Result;
    for (auto result = lines.Next(text); result != Result::End && result != Result::Stopped;
         result = lines.Next(text)) {
        try {
            auto const line = nlohmann::json::parse(text);
            if (line.at("channel").get<std::int64_t>() != channel) {
                continue;
            }
            auto const number = line.at("event").get<std::uint64_t>();
            auto const phase = line.at("phase").get<std::string>();
            if (phase == "start") {
                places[number] = events.size();
                events.push_back(Start(line));
            } else if (phase == "end") {
                events.at(places.at(number)).last = TimeOf(line);
            }
        } catch (std::exception const& error) {
            throw host::Failure(
                fmt::format("{}:{}: not an event: {}", lines.GetName(), lines.GetLineNumber(), error.what()));
        }
    }
    return events;
}

}  // namespace qel::camera
