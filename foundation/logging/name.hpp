#pragma once

#include <string_view>

namespace qel::logging {

/// The dotted name of a logger. It refers to the text it was made from, normally a literal, which must outlive it.
class Name {
public:
    /// A NUL-terminated text, as it is; it must not be null.
    constexpr Name(char const* text) : text(text) {}

    /// The text that it was made from.
    constexpr std::string_view GetText() const { return text; }

    /// Names are the same when their texts are.
    friend constexpr bool operator==(Name const& left, Name const& right) { return left.text == right.text; }

private:
    std::string_view text;
};

}  // namespace qel::logging
