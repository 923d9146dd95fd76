#include "foundation/object/parse.hpp"

#include <limits>
#include <stdexcept>

namespace qel::object {

namespace {

template <class Integer>
Integer ParseUnsigned(std::string const& text) {
    unsigned long long value = 0;
    try {
        value = std::stoull(text);
    } catch (std::invalid_argument const&) {
        throw std::invalid_argument("Failed to parse the string into an unsigned integer: " + text);
    } catch (std::out_of_range const&) {
        throw std::out_of_range("The string was out of the range of an unsigned integer: " + text);
    }

    constexpr Integer maximum = std::numeric_limits<Integer>::max();
    if (value > maximum) {
        throw std::out_of_range("The parsed value '" + std::to_string(value) +
                                "' was out of range of the integer type: 0 to " + std::to_string(maximum));
    }
    return static_cast<Integer>(value);
}

}  // namespace

template <>
unsigned short Parse<unsigned short>(std::string const& text) {
    return ParseUnsigned<unsigned short>(text);
}

template <>
unsigned int Parse<unsigned int>(std::string const& text) {
    return ParseUnsigned<unsigned int>(text);
}

template <>
double Parse<double>(std::string const& text) {
    try {
        return std::stod(text);
    } catch (std::invalid_argument const&) {
        throw std::invalid_argument("Failed to parse the string into a double-precision floating point number: " +
                                    text);
    } catch (std::out_of_range const&) {
        // Hosts compare this text: "pointer" stays.
        throw std::out_of_range("The string was out of the range of a double-precision floating pointer number: " +
                                text);
    }
}

template <>
std::chrono::milliseconds Parse<std::chrono::milliseconds>(std::string const& text) {
    try {
        return std::chrono::milliseconds(std::stoll(text));
    } catch (std::invalid_argument const&) {
        throw std::invalid_argument("Failed to parse the string into a signed integer: " + text);
    } catch (std::out_of_range const&) {
        throw std::out_of_range("The string was out of the range of a signed integer: " + text);
    }
}

}  // namespace qel::object
