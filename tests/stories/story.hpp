#pragma once

#include <string>
#include <vector>

#include "tests/support/choices.hpp"

namespace qel::tests {

/// What became of a story that was told twice: to the system and to a slow model of its rules.
struct Telling {
    std::vector<std::string> said;  // by both
    std::string difference;         // the first one, with what was said before it; empty when there is none
};

/// Compares all that was said, and names the first line that differs.
Telling Compare(std::vector<std::string> const& expected, std::vector<std::string> const& actual);

// Each makes up a story as the choices have it. Any choices make one, and a short one when they come to an end in that
// they say 0 and no.

/// Of a notifier and observables that do whatever there is to do, at any time.
Telling TellOfNotifier(Choices& choices);
/// Of And, Or and Not.
Telling TellOfCombinators(Choices& choices);
/// Of Previous, Compound and DurationTrack.
Telling TellOfTime(Choices& choices);

}  // namespace qel::tests
