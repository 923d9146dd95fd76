#include "host/events/json_text.hpp"

#include <iterator>

#include <fmt/format.h>

namespace qel::host {

void AppendJsonText(std::string& out, std::string_view text) {
    out += '"';
    for (char const character : text) {
        if (character == '"' || character == '\\') {
            out += '\\';
            out += character;
        } else if (static_cast<unsigned char>(character) < 0x20) {
            fmt::format_to(std::back_inserter(out), "\\u{:04x}", static_cast<unsigned int>(character));
        } else {
            out += character;
        }
    }
    out += '"';
}

}  // namespace qel::host
