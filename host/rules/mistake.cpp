#include "host/rules/mistake.hpp"

#include <algorithm>
#include <limits>
#include <vector>

#include <fmt/format.h>
#include <simdjson.h>

namespace qel::host {

namespace {

constexpr std::size_t LongestValue = 80;
constexpr std::size_t AnyLength = std::numeric_limits<std::size_t>::max();

std::size_t LengthOfCharacter(char first) {
    auto const byte = static_cast<unsigned char>(first);
    return byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

bool IsAscii(std::string_view character) { return static_cast<unsigned char>(character.front()) < 0x80; }

bool IsSpace(std::string_view character) {
    return std::string_view(" \t\r\n\f\v").find(character.front()) != std::string_view::npos;
}

/// Those of ASCII, and U+0080 to U+009F.
bool IsControl(std::string_view character) {
    auto const first = static_cast<unsigned char>(character.front());
    return first < 0x20 || first == 0x7F ||
           (first == 0xC2 && character.size() > 1 && static_cast<unsigned char>(character[1]) < 0xA0);
}

/// How many characters must be changed, added, dropped or exchanged with their neighbour to turn one into the other.
std::size_t Distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> beforeLast(to.size() + 1);
    std::vector<std::size_t> last(to.size() + 1);
    std::vector<std::size_t> current(to.size() + 1);
    for (std::size_t column = 0; column <= to.size(); ++column) {
        current[column] = column;
    }
    for (std::size_t row = 1; row <= from.size(); ++row) {
        std::swap(beforeLast, last);
        std::swap(last, current);
        current[0] = row;
        for (std::size_t column = 1; column <= to.size(); ++column) {
            bool const differs = from[row - 1] != to[column - 1];
            current[column] = std::min({last[column] + 1, current[column - 1] + 1, last[column - 1] + differs});
            if (row > 1 && column > 1 && from[row - 1] == to[column - 2] && from[row - 2] == to[column - 1]) {
                current[column] = std::min(current[column], beforeLast[column - 2] + 1);
            }
        }
    }
    return current[to.size()];
}

std::string InOneLine(std::string_view text, std::size_t longest) {
    bool const isUtf8 = simdjson::validate_utf8(text.data(), text.size());
    std::string excerpt;
    std::size_t characters = 0;
    for (std::size_t at = 0; at < text.size();) {
        std::string_view character = text.substr(at, isUtf8 ? LengthOfCharacter(text[at]) : 1);
        at += character.size();
        if (IsSpace(character)) {
            if (!excerpt.empty() && excerpt.back() == ' ') {
                continue;
            }
            character = " ";
        } else if (IsControl(character) || (!isUtf8 && !IsAscii(character))) {
            character = "?";
        }
        if (++characters > longest) {
            return excerpt + "...";
        }
        excerpt += character;
    }
    return excerpt;
}

}  // namespace

std::string Describe(Mistake const& mistake) {
    std::string line = mistake.file;
    if (mistake.line != 0) {
        line += fmt::format(":{}", mistake.line);
    }
    if (mistake.column != 0) {
        line += fmt::format(":{}", mistake.column);
    }
    for (std::string const& part : {mistake.key, Excerpt(mistake.value), mistake.problem}) {
        if (!part.empty()) {
            line += ": " + part;
        }
    }
    if (!mistake.allowed.empty()) {
        line += "; allowed: " + mistake.allowed;
    }
    if (!mistake.nearest.empty()) {
        line += fmt::format("; did you mean \"{}\"?", mistake.nearest);
    }
    return OneLine(line);
}

std::string OneLine(std::string_view text) { return InOneLine(text, AnyLength); }

std::string Excerpt(std::string_view text) { return InOneLine(text, LongestValue); }

std::string Nearest(std::string_view misspelt, std::span<std::string const> names) {
    if (misspelt.size() < 2 || misspelt.size() > LongestValue) {
        return {};
    }
    std::string nearest;
    std::size_t least = std::min((misspelt.size() + 2) / 3, misspelt.size() - 1) + 1;  // a third may be wrong, not all
    for (std::string const& name : names) {
        std::size_t const longer = std::max(name.size(), misspelt.size());
        if (longer - std::min(name.size(), misspelt.size()) >= least) {
            continue;
        }
        if (std::size_t const distance = Distance(misspelt, name); distance < least) {
            least = distance;
            nearest = name;
        }
    }
    return nearest;
}

}  // namespace qel::host
