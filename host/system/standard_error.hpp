#pragma once

#include <string_view>

namespace qel::host {

/// Writes a line to standard error. What cannot be written there is lost without a word: nobody reads it, and it is no
/// reason to end the work.
void Tell(std::string_view line) noexcept;

/// Opens what is closed of the three standard descriptors on /dev/null, so that no file that the program opens takes
/// their place and gets messages written into it.
void OpenStandardDescriptors() noexcept;

}  // namespace qel::host
