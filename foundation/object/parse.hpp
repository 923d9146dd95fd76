#pragma once

#include <chrono>
#include <string>

#include "foundation/export.hpp"

namespace qel::object {

/// Reads a value from a text as the standard conversions of the language do: leading white space and a sign are taken,
/// what follows the number is ignored. There are forms for unsigned short, unsigned int, double and
/// std::chrono::milliseconds (a whole number, with or without a sign).
///
/// Throws `std::invalid_argument` for a text that holds no number and `std::out_of_range` for a number that T cannot
/// hold. A minus sign before an unsigned number wraps around 2^64, so that most of them end as out of range.
template <class T>
T Parse(std::string const& text) = delete;
template <>
QEL_FOUNDATION_EXPORT unsigned short Parse<unsigned short>(std::string const& text);
template <>
QEL_FOUNDATION_EXPORT unsigned int Parse<unsigned int>(std::string const& text);
template <>
QEL_FOUNDATION_EXPORT double Parse<double>(std::string const& text);
template <>
QEL_FOUNDATION_EXPORT std::chrono::milliseconds Parse<std::chrono::milliseconds>(std::string const& text);

/// The types that can be read from a text.
template <class T>
concept Parsable = requires(std::string const& text) {
    Parse<T>(text);
};

}  // namespace qel::object
