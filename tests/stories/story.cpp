#include "tests/stories/story.hpp"

#include <algorithm>
#include <cstddef>

namespace qel::tests {

Telling Compare(std::vector<std::string> const& expected, std::vector<std::string> const& actual) {
    constexpr std::ptrdiff_t LinesBefore = 12;
    auto const [left, right] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    Telling telling{{expected.begin(), left}, {}};
    if (left == expected.end() && right == actual.end()) {
        return telling;
    }
    for (auto line = left - std::min(left - expected.begin(), LinesBefore); line != left; ++line) {
        telling.difference += *line + "\n";
    }
    telling.difference += "expected: " + (left == expected.end() ? "nothing" : *left);
    telling.difference += "\nactual:   " + (right == actual.end() ? "nothing" : *right);
    return telling;
}

}  // namespace qel::tests
