#include "host/rules/mistake.hpp"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

namespace qel::host {

namespace {

constexpr std::size_t LongestValue = 80;

bool IsSpace(char character) { return std::string_view(" \t\r\n\f\v").find(character) != std::string_view::npos; }

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
    return line;
}

std::string Excerpt(std::string_view text) {
    std::string excerpt;
    std::size_t characters = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        auto const byte = static_cast<unsigned char>(text[at]);
        bool const startsCharacter = (byte & 0xC0) != 0x80;
        bool const repeatedSpace = IsSpace(text[at]) && !excerpt.empty() && excerpt.back() == ' ';
        if (repeatedSpace) {
            continue;
        }
        if (startsCharacter && ++characters > LongestValue) {
            return excerpt + "...";
        }
        excerpt += IsSpace(text[at]) ? ' ' : byte < 0x20 || byte == 0x7F ? '?' : text[at];
    }
    return excerpt;
}

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
