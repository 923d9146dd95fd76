#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "foundation/export.hpp"
#include "foundation/object/object.hpp"

namespace qel::property::external {

/// The value that an object or a property of the type T holds; milliseconds are also taken from an `object::UInt32`.
/// Texts are not parsed and integers not widened: anything else is a `type::BadCast`.
template <class T>
T Convert(object::Object const& object) = delete;
template <>
QEL_FOUNDATION_EXPORT bool Convert<bool>(object::Object const& object);
template <>
QEL_FOUNDATION_EXPORT std::uint16_t Convert<std::uint16_t>(object::Object const& object);
template <>
QEL_FOUNDATION_EXPORT std::uint32_t Convert<std::uint32_t>(object::Object const& object);
template <>
QEL_FOUNDATION_EXPORT double Convert<double>(object::Object const& object);
template <>
QEL_FOUNDATION_EXPORT std::string Convert<std::string>(object::Object const& object);
template <>
QEL_FOUNDATION_EXPORT std::chrono::milliseconds Convert<std::chrono::milliseconds>(object::Object const& object);

}  // namespace qel::property::external
