#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

namespace qel::tests {

/// The value types of objects and properties, for typed tests.
using ValueTypes = testing::Types<bool, std::uint16_t, std::uint32_t, double, std::string, std::chrono::milliseconds>;

/// A few values of a type, none of which is T().
template <class T>
struct Values {
    static T First() { return T(7); }
    static T Second() { return T(300); }
};
template <>
struct Values<bool> {
    static bool First() { return true; }
    static bool Second() { return false; }
};
template <>
struct Values<std::string> {
    static std::string First() { return "first"; }
    static std::string Second() { return "second, and longer than a short string"; }
};

}  // namespace qel::tests
