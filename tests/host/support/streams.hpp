#pragma once

#include <fmt/format.h>

#include <fstream>
#include <string>
#include <vector>

#include "host/rules/mistake.hpp"
#include "host/stream/frame_reader.hpp"
#include "host/stream/line_reader.hpp"
#include "host/system/stop_signals.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::tests {

/// A frame in words: "40ms channel 1 Gate: 7 person [0.5 0.25 0.125 0.5] 0.9".
inline std::string InWords(host::Frame const& frame) {
    auto const time = frame.time.time_since_epoch().count();
    std::string text = time % 1'000'000 == 0 ? fmt::format("{}ms", time / 1'000'000) : fmt::format("{}ns", time);
    text += fmt::format(" channel {}{}:", frame.channel, frame.channelName.empty() ? "" : " " + frame.channelName);
    for (auto const& object : frame.objects) {
        auto const& box = object->GetBox();
        text += fmt::format(" {} {} [{} {} {} {}] {}", object->GetId(),
                            object->GetClassification().empty() ? "?" : object->GetClassification(), box.left, box.top,
                            box.width, box.height, object->GetConfidence());
    }
    return text;
}

/// What a reader makes of a stream: a line for each frame and one for each line that it cannot read, in which the
/// file's name is missing.
template <class Reader, class... Arguments>
std::vector<std::string> ReadStream(std::string const& stream, Arguments const&... arguments) {
    TemporaryDirectory const directory;
    auto const path = (directory / "stream").string();
    std::ofstream(path, std::ios::binary) << stream;
    host::StopSignals const stop;
    host::LineReader lines(path, stop);
    Reader reader(lines, arguments...);
    std::vector<std::string> result;
    host::Frame frame;
    for (;;) {
        try {
            if (!reader.Next(frame)) {
                return result;
            }
            result.push_back(InWords(frame));
        } catch (host::UnreadableLine const& line) {
            auto mistake = line.mistake;
            EXPECT_EQ(mistake.file, path);
            mistake.file = "line";
            result.push_back(host::Describe(mistake));
        }
    }
}

}  // namespace qel::tests
