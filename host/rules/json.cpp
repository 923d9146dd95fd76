#include "host/rules/json.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace qel::host::json {

namespace {

std::vector<std::size_t> LineStartsOf(std::string_view source) {
    std::vector<std::size_t> starts{0};
    for (std::size_t at = source.find('\n'); at != std::string_view::npos; at = source.find('\n', at + 1)) {
        starts.push_back(at + 1);
    }
    return starts;
}

/// Where the parser stands in the source. The parser tells what it has read, not where that stood; so this follows the
/// characters that it takes and remembers where the last token began.
class Position {
public:
    void Read(char character) {
        if (inText) {
            inText = escaped || character != '"';
            escaped = !escaped && character == '\\';
        } else if (character == '"' || character == '{' || character == '[') {
            token = read;
            inText = character == '"';
            betweenTokens = true;
        } else if (std::string_view(" \t\r\n,:]}").find(character) != std::string_view::npos) {
            betweenTokens = true;
        } else if (std::exchange(betweenTokens, false)) {
            token = read;
        }
        ++read;
    }

    std::size_t GetRead() const { return read; }
    std::size_t GetToken() const { return token; }

private:
    std::size_t read = 0;
    std::size_t token = 0;
    bool inText = false;
    bool escaped = false;
    bool betweenTokens = true;
};

class Characters {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = char const*;
    using reference = char const&;

    Characters(char const* at, Position* position) : at(at), position(position) {}

    reference operator*() const { return *at; }
    Characters& operator++() {
        position->Read(*at++);
        return *this;
    }
    bool operator==(Characters const& other) const { return at == other.at; }

private:
    char const* at;
    Position* position;
};

/// Builds the tree from what the parser meets.
class Builder : public nlohmann::json_sax<nlohmann::json> {
public:
    Builder(Value& root, std::string_view source, Position const& position)
        : root(root), source(source), position(position) {}

    bool null() override {
        Place(Value::Kind::Null);
        return true;
    }
    bool boolean(bool value) override {
        Place(Value::Kind::Bool).boolean = value;
        return true;
    }
    bool number_integer(number_integer_t value) override {
        return Integer(value < 0, value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value),
                       static_cast<double>(value));
    }
    bool number_unsigned(number_unsigned_t value) override { return Integer(false, value, static_cast<double>(value)); }
    bool number_float(number_float_t value, std::string const&) override {
        Number(Value::Kind::Real).real = value;
        return true;
    }
    bool string(std::string& value) override {
        Place(Value::Kind::Text).text = std::move(value);
        return true;
    }
    bool binary(nlohmann::json::binary_t&) override { return false; }

    bool start_object(std::size_t) override { return Open(Value::Kind::Object); }
    bool key(std::string& value) override {
        open.back()->members.push_back({std::move(value), position.GetToken(), {}});
        return true;
    }
    bool end_object() override { return Close(); }
    bool start_array(std::size_t) override { return Open(Value::Kind::List); }
    bool end_array() override { return Close(); }

    bool parse_error(std::size_t offset, std::string const&, nlohmann::json::exception const& error) override {
        constexpr int NumberOverflow = 406;
        Fail(error.id == NumberOverflow ? "a number is too large" : DropPrefix(error.what()),
             offset == 0 ? 0 : offset - 1);
        return false;
    }

    std::string const& GetError() const { return error; }
    std::size_t GetErrorOffset() const { return errorOffset; }

private:
    /// "[json.exception.parse_error.101] parse error at line 1, column 2: syntax error ...; last read: '...'" from
    /// "syntax error" on, without what was read last, which may not even be text.
    static std::string DropPrefix(std::string_view message) {
        std::size_t const column = message.find(", column ");
        std::size_t const from =
            column == std::string_view::npos ? message.find("] ") + 2 : message.find(": ", column) + 2;
        return std::string(message.substr(from, message.find("; last read: ") - from));
    }

    void Fail(std::string message, std::size_t offset) {
        error = std::move(message);
        errorOffset = offset;
    }

    Value& Place(Value::Kind kind) {
        Value* value = &root;
        if (!open.empty()) {
            Value& parent = *open.back();
            value = parent.kind == Value::Kind::List ? &parent.items.emplace_back() : &parent.members.back().value;
        }
        value->kind = kind;
        value->begin = position.GetToken();
        value->end = position.GetRead();
        return *value;
    }

    /// The parser has looked at the character behind a number to find its end.
    Value& Number(Value::Kind kind) {
        Value& value = Place(kind);
        value.end = std::min(source.find_first_not_of("+-.0123456789Ee", value.begin), source.size());
        return value;
    }

    bool Integer(bool negative, std::uint64_t magnitude, double real) {
        Value& value = Number(Value::Kind::Integer);
        value.negative = negative;
        value.magnitude = magnitude;
        value.real = real;
        return true;
    }

    bool Open(Value::Kind kind) {
        if (open.size() == Document::MaximumDepth) {
            Fail(fmt::format("nested more than {} deep", Document::MaximumDepth), position.GetToken());
            return false;
        }
        open.push_back(&Place(kind));
        return true;
    }

    bool Close() {
        open.back()->end = position.GetRead();
        open.pop_back();
        return true;
    }

    Value& root;
    std::string_view source;
    Position const& position;
    std::vector<Value*> open;
    std::string error;
    std::size_t errorOffset = 0;
};

}  // namespace

Document::Document(std::string text) : source(std::move(text)) {
    if (source.starts_with("\xEF\xBB\xBF")) {
        source.erase(0, 3);
    }
    lineStarts = LineStartsOf(source);
    if (auto const end = source.find('\0'); end != std::string::npos) {  // the parser would take it for the end
        throw SyntaxError("a character that is not text", GetPlace(end));
    }
    Position position;
    Builder builder(root, source, position);
    char const* const begin = source.data();
    if (!nlohmann::json::sax_parse(Characters(begin, &position), Characters(begin + source.size(), &position),
                                   &builder)) {
        throw SyntaxError(builder.GetError(), GetPlace(std::min(builder.GetErrorOffset(), source.size())));
    }
}

Place Document::GetPlace(std::size_t offset) const {
    auto const next = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset);
    std::size_t const lineStart = *std::prev(next);
    auto const before = std::string_view(source).substr(lineStart, offset - lineStart);
    auto const startsCharacter = [](char each) { return (static_cast<unsigned char>(each) & 0xC0) != 0x80; };
    return {static_cast<std::size_t>(next - lineStarts.begin()),
            static_cast<std::size_t>(std::count_if(before.begin(), before.end(), startsCharacter)) + 1};
}

std::string_view Document::GetSource(Value const& value) const {
    return std::string_view(source).substr(value.begin, value.end - value.begin);
}

}  // namespace qel::host::json
