#pragma once

#include <string>

namespace qel::tests {

/// One member, as `gzip` writes it.
std::string Gzip(std::string const& text);

/// One frame with a checksum, as `zstd` writes it.
std::string Zstd(std::string const& text);

}  // namespace qel::tests
