#include "foundation/logging/logger.hpp"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace qel::logging {

Logger::Logger(Name const& name) : name(name) {}

Logger::~Logger() = default;

void Logger::Format(std::string* out, Name const&, Level, char const* format,
                    std::function<void(std::string*)> const* arguments, unsigned long count) const {
    out->clear();
    std::string_view rest(format);
    while (!rest.empty()) {
        auto const percent = std::min(rest.find('%'), rest.size());
        out->append(rest.substr(0, percent));
        rest.remove_prefix(percent);
        if (rest.empty()) {
            return;
        }

        unsigned long number = 0;
        auto const* const end = rest.data() + rest.size();
        auto const parsed = std::from_chars(rest.data() + 1, end, number);
        bool const isPlaceholder = parsed.ec != std::errc::invalid_argument && parsed.ptr != end && *parsed.ptr == '%';
        auto const length = isPlaceholder ? static_cast<std::size_t>(parsed.ptr + 1 - rest.data()) : 1;
        if (isPlaceholder && parsed.ec == std::errc() && number < count) {
            arguments[number](out);
        } else {
            out->append(rest.substr(0, length));
        }
        rest.remove_prefix(length);
    }
}

}  // namespace qel::logging
