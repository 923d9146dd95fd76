#include "host/stream/mot_reader.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace qel::host {

namespace {

constexpr std::size_t FewestColumns = 6;
constexpr std::size_t MostColumns = 10;
// With ten columns the last three are a place on the ground instead of class and visibility.
constexpr std::size_t ColumnsWithPlace = 10;
constexpr std::size_t ConfidenceColumn = 6;
constexpr std::size_t ClassColumn = 7;
constexpr std::array<char const*, MostColumns> ColumnNames{"frame",  "id",         "left",  "top",        "width",
                                                           "height", "confidence", "class", "visibility", "z"};

constexpr double HighestFrame = 9e15;  // whole numbers are exact up to there
constexpr double HighestId = std::numeric_limits<std::uint32_t>::max();
constexpr double Unknown = -1;

/// The classes of the benchmark, from 1.
constexpr std::array ClassNames{"person",    "person_on_vehicle",     "car",           "bicycle",
                                "motorbike", "non_motorized_vehicle", "static_person", "distractor",
                                "occluder",  "occluder_on_ground",    "occluder_full", "reflection",
                                "crowd"};

std::string_view Trim(std::string_view text) {
    std::size_t const first = text.find_first_not_of(" \t\r");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::optional<double> ParseNumber(std::string_view text) {
    double number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) {
        return std::nullopt;
    }
    return number;
}

bool IsWhole(double number, double lowest, double highest) {
    return number >= lowest && number <= highest && number == std::floor(number);
}

std::string ClassName(double number) {
    if (number >= 1 && number <= static_cast<double>(ClassNames.size())) {
        return ClassNames[static_cast<std::size_t>(number) - 1];
    }
    return number == Unknown ? "" : fmt::format("{:.0f}", number);
}

}  // namespace

MotReader::MotReader(LineReader& lines, FrameClock const& clock, Picture const& picture)
    : FrameReader(lines), clock(clock), picture(picture) {}

bool MotReader::Fetch(Entry& entry, bool mayWait) {
    if (!mayWait || !PutTogether(entry.frame)) {
        return false;
    }
    entry.line = lines.GetLineNumber();
    return true;
}

bool MotReader::PutTogether(Frame& frame) {
    for (;;) {
        if (!next && !atEnd) {
            Line line;
            if (!ReadLine(line)) {
                if (stopped) {  // in the middle of a frame, which nobody can judge by half
                    return false;
                }
                atEnd = true;
            } else if (!handedOut && (line.frame == current || line.frame == 0)) {
                Take(std::move(line));
                continue;
            } else {
                next = std::move(line);
            }
        }
        if (!handedOut) {
            handedOut = true;
            frame.time = *clock.TimeOf(current - 1);
            frame.channel = 0;
            frame.channelName.clear();
            frame.objects = std::move(objects);
            objects.clear();
            return true;
        }
        if (!next) {
            return false;
        }
        Advance();
    }
}

/// Begins the frame of the next line, or an empty one on the way there from the last one that was reached.
void MotReader::Advance() {
    if (next->error) {
        UnreadableLine const error = std::move(*next->error);
        next.reset();
        throw error;
    }
    current = std::min(next->frame, last + 1);
    last = std::max(last, current);
    handedOut = false;
    ids.Clear();
    if (current == next->frame) {
        Take(*std::exchange(next, std::nullopt));
    }
}

void MotReader::Take(Line line) {
    if (line.error) {
        throw *line.error;
    }
    if (!ids.Insert(line.object->GetId())) {
        throw Unreadable("id", fmt::format("{}", line.object->GetId()), "twice in one frame", "each id once");
    }
    objects.push_back(std::move(line.object));
}

bool MotReader::ReadLine(Line& line) {
    std::string_view text;
    for (;;) {
        switch (lines.Next(text)) {
            case LineReader::Result::Stopped:
                stopped = true;
                return false;
            case LineReader::Result::End:
                return false;
            case LineReader::Result::TooLong:
                line.error = LineTooLong();
                return true;
            case LineReader::Result::Line:
                if (text = Trim(text); !text.empty()) {
                    try {
                        ParseLine(text, line);
                    } catch (UnreadableLine const& error) {
                        line.error = error;
                    }
                    return true;
                }
        }
    }
}

void MotReader::ParseLine(std::string_view text, Line& line) const {
    std::array<double, MostColumns> numbers{};
    std::size_t count = 0;
    for (std::string_view left = text;; ++count) {
        std::size_t const comma = left.find(',');
        if (count == MostColumns) {
            throw Unreadable("", text, "too many columns", "6 to 10 numbers with commas between them");
        }
        auto const column = Trim(left.substr(0, comma));
        auto const number = ParseNumber(column);
        if (!number) {
            throw Unreadable(ColumnNames[count], column, "not a number", "a finite number");
        }
        numbers[count] = *number;
        if (count == 0) {
            if (!IsWhole(*number, 1, HighestFrame) || !clock.TimeOf(static_cast<std::uint64_t>(*number) - 1)) {
                throw Unreadable("frame", column, "not the number of a frame",
                                 "a whole number from 1 to the last frame before 2262-04-11");
            }
            line.frame = static_cast<std::uint64_t>(*number);
            if (line.frame > last + 1 + LargestGap) {
                throw Unreadable("frame", column, fmt::format("too far behind frame {}", last),
                                 fmt::format("gaps of up to {} frames", LargestGap));
            }
        } else if (count == 1 && !IsWhole(*number, 0, HighestId)) {
            throw Unreadable("id", column, "not an id", "a whole number from 0 to 4294967295");
        }
        if (comma == std::string_view::npos) {
            break;
        }
        left.remove_prefix(comma + 1);
    }
    ++count;
    if (count < FewestColumns) {
        throw Unreadable("", text, "too few columns", "6 to 10 numbers with commas between them");
    }
    auto const [frame, id, left, top, width, height, confidence, classNumber, visibility, z] = numbers;
    if (width < 0 || height < 0) {
        throw Unreadable(width < 0 ? "width" : "height", text, "negative size", "0 or more");
    }
    bool const hasClass = count > ClassColumn && count < ColumnsWithPlace;
    if (hasClass && !IsWhole(classNumber, Unknown, HighestId)) {
        throw Unreadable("class", text, "not a class", "a whole number, -1 when unknown");
    }
    bool const hasConfidence = count > ConfidenceColumn && confidence != Unknown;
    line.object = std::make_shared<meta::data::Object>(
        static_cast<unsigned int>(id), hasClass ? ClassName(classNumber) : std::string(),
        meta::data::Box{left / picture.width, top / picture.height, width / picture.width, height / picture.height},
        hasConfidence ? confidence : 1.0);
}

UnreadableLine MotReader::Unreadable(std::string key, std::string_view value, std::string problem,
                                     std::string allowed) const {
    return FrameReader::Unreadable(lines.GetLineNumber(), std::move(key), value, std::move(problem),
                                   std::move(allowed));
}

}  // namespace qel::host
