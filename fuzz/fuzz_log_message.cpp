// Any format with any arguments gives the line that a plain reading of the placeholder rule gives. The input is the
// format and then the arguments, each ended by a zero byte.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "foundation/logging/logger.hpp"

namespace {

std::vector<std::string> SplitAtZeros(std::string const& input) {
    std::vector<std::string> parts(1);
    for (char const c : input) {
        if (c == '\0') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

/// The argument that these digits number, or null when there is none.
std::string const* Find(std::vector<std::string> const& arguments, std::string digits) {
    digits.erase(0, std::min(digits.find_first_not_of('0'), digits.size() - 1));
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (std::to_string(i) == digits) {
            return &arguments[i];
        }
    }
    return nullptr;
}

std::string Expand(std::string const& format, std::vector<std::string> const& arguments) {
    std::string line;
    std::size_t at = 0;
    while (at < format.size()) {
        std::size_t length = 1;
        if (format[at] == '%') {
            auto const afterDigits = std::min(format.find_first_not_of("0123456789", at + 1), format.size());
            if (afterDigits > at + 1 && afterDigits < format.size() && format[afterDigits] == '%') {
                length = afterDigits + 1 - at;
            }
        }
        auto const* argument = length > 2 ? Find(arguments, format.substr(at + 1, length - 2)) : nullptr;
        line += argument ? *argument : format.substr(at, length);
        at += length;
    }
    return line;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    auto arguments = SplitAtZeros(std::string(data, data + size));
    std::string const format = arguments.front();
    arguments.erase(arguments.begin());

    std::vector<std::function<void(std::string*)>> writers;
    for (auto const& argument : arguments) {
        writers.emplace_back([&argument](std::string* out) { *out += argument; });
    }
    qel::logging::Logger const logger(qel::logging::Name("fuzz"));
    std::string line = "left from before";
    logger.Format(&line, logger.GetName(), qel::logging::Level::Info, format.c_str(), writers.data(), writers.size());

    if (std::string const expected = Expand(format, arguments); line != expected) {
        std::cerr << "format:   " << format << "\nline:     " << line << "\nexpected: " << expected << '\n';
        std::abort();
    }
    return 0;
}
