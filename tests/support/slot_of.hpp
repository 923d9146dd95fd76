#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

namespace qel::tests {

/// Where the table of virtual members has a member, counted from 0. A pointer to a virtual member holds its offset in
/// the table plus one.
template <class Member>
std::size_t SlotOf(Member member) {
    std::array<std::uintptr_t, 2> words{};
    static_assert(sizeof(member) == sizeof(words));
    std::memcpy(words.data(), &member, sizeof(words));
    EXPECT_EQ(words[0] % 2, 1u) << "not virtual";
    EXPECT_EQ(words[1], 0u) << "not in the first base";
    return (words[0] - 1) / sizeof(void*);
}

}  // namespace qel::tests
