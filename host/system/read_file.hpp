#pragma once

#include <string>

namespace qel::host {

/// The contents of a file that is small, "-" for standard input. Throws `Failure` when it cannot be read or is larger
/// than 64 MiB.
std::string ReadWholeFile(std::string const& path);

}  // namespace qel::host
