#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/meta/views.hpp"
#include "observable/observable.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"

namespace qel::tests {

inline std::vector<std::string> Split(std::string const& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

/// Puts into a frame what an observable reports in it, as a word. "." is nothing, "x" an event without tracked objects,
/// "12" an event with the objects 1 and 2, ',' stands between two events. An event ends at the frame's time; "12@30" is
/// one that ended 30 ms after the epoch.
inline void AppendEvents(meta::Meta const& frame, std::uint32_t observable, std::string const& word) {
    auto const now = frame.GetTimestamp();
    for (auto const& event : word == "." ? std::vector<std::string>() : Split(word, ',')) {
        auto const parts = Split(event, '@');
        meta::data::Event::Objects objects{Record(observable)};
        for (char const each : parts.front()) {
            if (each != 'x') {
                objects.push_back(Person(static_cast<unsigned int>(each - '0')));
            }
        }
        frame.Append(MakeEvent(now, parts.size() == 1 ? now : At(std::stoll(parts.back())), std::move(objects)));
    }
}

/// What one observable reports in the frames of a test: a word per frame.
struct Script {
    std::uint32_t observable;
    std::string frames;
};

/// Frame number 0 is at 10 ms, the next at 20 ms, and so on.
inline meta::Timestamp TimeOfFrame(std::size_t number) { return At(10 * (static_cast<std::int64_t>(number) + 1)); }

/// The frames of a test, made of what some observables report.
inline std::vector<std::unique_ptr<meta::Meta>> MakeFrames(std::vector<Script> const& scripts) {
    std::vector<std::unique_ptr<meta::Meta>> frames;
    for (auto const& script : scripts) {
        std::size_t number = 0;
        for (auto const& word : Split(script.frames, ' ')) {
            if (number == frames.size()) {
                frames.push_back(std::make_unique<meta::Meta>(TimeOfFrame(number)));
            }
            AppendEvents(*frames[number], script.observable, word);
            ++number;
        }
    }
    return frames;
}

/// Runs a rule over frames and says what it reports, a word per frame: the tracked objects of an event and the letter
/// of its id in the order of their appearance, "12A"; ',' between two events, "-" when there is none.
class Player {
public:
    std::string Play(observable::Observable& rule, meta::Meta const& frame) {
        std::string word;
        for (auto const& item : rule.Process(frame)) {
            auto const& event = item->As<meta::data::Event>();
            word += word.empty() ? "" : ",";
            for (auto const& object : meta::ObjectsOf(event)) {
                word += std::to_string(object.GetId());
            }
            word += describe.NameOf(event);
        }
        return word.empty() ? "-" : word;
    }

    std::string Play(observable::Observable& rule, std::vector<Script> const& scripts) {
        std::string words;
        for (auto const& frame : MakeFrames(scripts)) {
            words += words.empty() ? "" : " ";
            words += Play(rule, *frame);
        }
        return words;
    }

private:
    Describer describe;
};

}  // namespace qel::tests
