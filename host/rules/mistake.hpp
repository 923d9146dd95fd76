#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace qel::host {

/// One thing that is wrong with a file, told in one line to the person who mends it. Empty parts are left out.
struct Mistake {
    std::string file;
    std::size_t line = 0;    // 0: unknown
    std::size_t column = 0;  // 0: unknown
    std::string key;         // the way to it, as in zones[0].polygon
    std::string value;       // as it stands in the file
    std::string problem;
    std::string allowed;
    std::string nearest;  // the valid name that was probably meant
};

/// In one line, whatever the parts hold; as in `rules.json:3:15: rules[0].interval: 50: out of range; allowed: a whole
/// number from 100 to 86400000`.
std::string Describe(Mistake const& mistake);

/// The text in one line: white space runs become one blank, other control characters and what is not UTF-8 '?'.
std::string OneLine(std::string_view text);

/// The same, with "..." for what exceeds 80 characters.
std::string Excerpt(std::string_view text);

/// The name that a misspelt one probably stands for, or an empty text when none is near.
std::string Nearest(std::string_view misspelt, std::span<std::string const> names);

}  // namespace qel::host
