#include "host/stream/jsonl_reader.hpp"

#include <array>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <simdjson.h>

#include "host/stream/timestamp.hpp"

namespace qel::host {

namespace {

namespace dom = simdjson::dom;

static_assert(LineReader::Padding >= simdjson::SIMDJSON_PADDING);

constexpr std::uint64_t HighestId = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t HighestChannel = std::numeric_limits<std::uint16_t>::max();

constexpr auto AnObject = "an object, {...}";
constexpr auto AList = "a list, [...]";
constexpr auto AText = "a text";
constexpr auto ANumber = "a number";
constexpr auto ATime = "nanoseconds since 1970 as a whole number, or an RFC 3339 text, from 1677-09-21 to 2262-04-11";
constexpr auto ABox = "[left, top, width, height], four numbers, no negative width or height";

struct NotJson {
    char const* reason;
};

/// Refuses a value; caught where more of the way to it is known.
struct Refusal {
    std::string key;
    std::optional<dom::element> value;
    std::string problem;
    std::string allowed;

    Refusal Under(std::string const& parent) && {
        key = parent + (key.empty() || key.front() == '[' ? "" : ".") + key;
        return std::move(*this);
    }
};

/// The values of the keys that matter, in the order in which they are asked for. Null where a key is missing.
template <std::size_t Count>
std::array<std::optional<dom::element>, Count> Pick(dom::element value,
                                                    std::array<std::string_view, Count> const& keys) {
    dom::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS) {
        throw Refusal{"", value, "wrong type", AnObject};
    }
    std::array<std::optional<dom::element>, Count> picked;
    for (auto const [key, member] : object) {
        for (std::size_t at = 0; at < Count; ++at) {
            if (key == keys[at]) {
                if (picked[at]) {
                    throw Refusal{std::string(key), member, "repeated key", "each key once"};
                }
                picked[at] = member;
            }
        }
    }
    return picked;
}

dom::element Require(std::optional<dom::element> const& value, char const* key, char const* allowed) {
    if (!value) {
        throw Refusal{key, std::nullopt, "missing", allowed};
    }
    return *value;
}

std::uint64_t ReadInteger(dom::element value, char const* key, std::uint64_t maximum) {
    std::uint64_t number = 0;
    auto const error = value.get_uint64().get(number);
    if (error != simdjson::SUCCESS || number > maximum) {
        throw Refusal{key, value, value.is_int64() || value.is_uint64() ? "out of range" : "wrong type",
                      fmt::format("a whole number from 0 to {}", maximum)};
    }
    return number;
}

double ReadNumber(dom::element value, char const* key, char const* allowed) {
    double number = 0;
    if (value.get_double().get(number) != simdjson::SUCCESS) {
        throw Refusal{key, value, "wrong type", allowed};
    }
    return number;
}

std::string_view ReadText(dom::element value, char const* key) {
    std::string_view text;
    if (value.get_string().get(text) != simdjson::SUCCESS) {
        throw Refusal{key, value, "wrong type", AText};
    }
    return text;
}

meta::Timestamp ReadTime(dom::element value) {
    std::int64_t nanoseconds = 0;
    if (value.get_int64().get(nanoseconds) == simdjson::SUCCESS) {
        return meta::Timestamp(std::chrono::nanoseconds(nanoseconds));
    }
    std::string_view text;
    if (value.get_string().get(text) == simdjson::SUCCESS) {
        if (auto const time = ParseTimestamp(text)) {
            return *time;
        }
        throw Refusal{"timestamp", value, "not a time", ATime};
    }
    throw Refusal{"timestamp", value, value.is_uint64() ? "out of range" : "wrong type", ATime};
}

meta::data::Box ReadBox(dom::element value) {
    dom::array list;
    if (value.get_array().get(list) != simdjson::SUCCESS) {
        throw Refusal{"box", value, "wrong type", ABox};
    }
    std::array<double, 4> numbers{};
    std::size_t count = 0;
    for (dom::element const each : list) {
        if (count == numbers.size()) {
            throw Refusal{"box", value, "too many numbers", ABox};
        }
        numbers[count] = ReadNumber(each, "box", ABox);
        ++count;
    }
    if (count < numbers.size()) {
        throw Refusal{"box", value, "too few numbers", ABox};
    }
    if (numbers[2] < 0 || numbers[3] < 0) {
        throw Refusal{"box", value, "negative size", ABox};
    }
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

/// Makes frames of JSON, keeping its memory from one to the next.
class FrameParser {
public:
    /// `LineReader::Padding` bytes may be read behind the text. Throws `Refusal`, whose value this object keeps.
    void Parse(std::string_view text, Frame& frame);

private:
    void ReadFrame(dom::element root, Frame& frame);
    void ReadChannel(dom::element value, Frame& frame);
    void ReadObjects(dom::element value, Frame& frame);
    std::shared_ptr<meta::data::Object> ReadObject(dom::element value);

    dom::parser parser;
    UniqueIds ids;
};

void FrameParser::Parse(std::string_view text, Frame& frame) {
    dom::element root;
    if (auto const error = parser.parse(text.data(), text.size(), false).get(root)) {
        throw NotJson{simdjson::error_message(error)};
    }
    ReadFrame(root, frame);
}

void FrameParser::ReadFrame(dom::element root, Frame& frame) {
    auto const [timestamp, channel, objects] = Pick<3>(root, {"timestamp", "channel", "objects"});
    frame.time = ReadTime(Require(timestamp, "timestamp", ATime));
    frame.channel = 0;
    frame.channelName.clear();
    frame.objects.clear();
    if (channel) {
        ReadChannel(*channel, frame);
    }
    if (objects) {
        ReadObjects(*objects, frame);
    }
}

void FrameParser::ReadChannel(dom::element value, Frame& frame) {
    try {
        auto const [id, name] = Pick<2>(value, {"id", "name"});
        auto const number = ReadInteger(Require(id, "id", "a whole number from 0 to 65535"), "id", HighestChannel);
        frame.channel = static_cast<std::uint16_t>(number);
        if (name) {
            frame.channelName = ReadText(*name, "name");
        }
    } catch (Refusal& refusal) {
        throw std::move(refusal).Under("channel");
    }
}

void FrameParser::ReadObjects(dom::element value, Frame& frame) {
    dom::array list;
    if (value.get_array().get(list) != simdjson::SUCCESS) {
        throw Refusal{"objects", value, "wrong type", AList};
    }
    ids.Clear();
    for (dom::element const each : list) {
        try {
            frame.objects.push_back(ReadObject(each));
        } catch (Refusal& refusal) {
            throw std::move(refusal).Under(fmt::format("objects[{}]", frame.objects.size()));
        }
    }
}

std::shared_ptr<meta::data::Object> FrameParser::ReadObject(dom::element value) {
    auto const [id, classification, box, confidence] = Pick<4>(value, {"id", "class", "box", "confidence"});
    auto const number = static_cast<unsigned int>(
        ReadInteger(Require(id, "id", "a whole number from 0 to 4294967295"), "id", HighestId));
    if (!ids.Insert(number)) {
        throw Refusal{"id", *id, "twice in one frame", "each id once"};
    }
    return std::make_shared<meta::data::Object>(
        number, std::string(classification ? ReadText(*classification, "class") : ""),
        ReadBox(Require(box, "box", ABox)), confidence ? ReadNumber(*confidence, "confidence", ANumber) : 1.0);
}

}  // namespace

bool JsonlReader::Fetch(Entry& entry, bool mayWait) {
    while (mayWait || lines.HasLine()) {
        auto const result = lines.Next(entry.text);
        if (result == LineReader::Result::End || result == LineReader::Result::Stopped) {
            return false;
        }
        entry.line = lines.GetLineNumber();
        if (result == LineReader::Result::TooLong) {
            throw LineTooLong();
        }
        if (entry.text.find_first_not_of(" \t\r") != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

void JsonlReader::Parse(Entry& entry) const {
    static thread_local FrameParser parser;
    try {
        parser.Parse(entry.text, entry.frame);
    } catch (NotJson const& error) {
        throw Unreadable(entry.line, "", entry.text, fmt::format("not JSON: {}", error.reason), AnObject);
    } catch (Refusal const& refusal) {
        throw Unreadable(entry.line, refusal.key, refusal.value ? simdjson::minify(*refusal.value) : "",
                         refusal.problem, refusal.allowed);
    }
}

}  // namespace qel::host
