#pragma once

#include <string>
#include <string_view>

namespace qel::host {

/// Appends a UTF-8 text as a JSON string with its quotation marks.
void AppendJsonText(std::string& out, std::string_view text);

}  // namespace qel::host
