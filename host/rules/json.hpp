#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qel::host::json {

/// A place in a text file, both counted from 1; a column is a character, not a byte.
struct Place {
    std::size_t line = 1;
    std::size_t column = 1;
};

struct Member;

/// One value of a document, which knows where it stands.
struct Value {
    enum class Kind { Null, Bool, Integer, Real, Text, List, Object };

    Kind kind = Kind::Null;
    std::size_t begin = 0;  // the value's bytes in the source
    std::size_t end = 0;
    bool boolean = false;
    bool negative = false;        // of an integer
    std::uint64_t magnitude = 0;  // of an integer
    double real = 0;              // of any number
    std::string text;
    std::vector<Value> items;
    std::vector<Member> members;  // in the order of the file, repeated keys too
};

struct Member {
    std::string key;
    std::size_t begin = 0;  // of the key
    Value value;
};

/// A text that is not JSON, or is nested too deep.
class SyntaxError : public std::runtime_error {
public:
    SyntaxError(std::string const& message, Place place) : std::runtime_error(message), place(place) {}

    Place const& GetPlace() const { return place; }

private:
    Place place;
};

/// A JSON text whose values know their places, for messages about them.
class Document {
public:
    /// How deep lists and objects may be nested.
    static constexpr std::size_t MaximumDepth = 64;

    /// Throws `SyntaxError`.
    explicit Document(std::string source);

    Value const& GetRoot() const { return root; }
    Place GetPlace(std::size_t offset) const;
    /// The value as it stands in the source.
    std::string_view GetSource(Value const& value) const;

private:
    std::string source;
    std::vector<std::size_t> lineStarts;
    Value root;
};

}  // namespace qel::host::json
