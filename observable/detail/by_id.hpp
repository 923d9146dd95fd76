#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace qel::observable::detail {

/// Pointers to things that have ids; once sorted, in order of id, and those of one id in the order in which they were
/// added. The memory is kept from use to use.
template <class T>
class ById {
public:
    /// An id and, below it, the place in the order of adding.
    using Key = std::uint64_t;
    using Keys = std::vector<Key>;

    static std::uint32_t IdOf(Key key) { return static_cast<std::uint32_t>(key >> 32); }
    static std::size_t PlaceOf(Key key) { return static_cast<std::uint32_t>(key); }

    void Clear() {
        things.clear();
        keys.clear();
    }

    void Add(T const& thing) {
        keys.push_back(Key{thing.GetId()} << 32 | things.size());
        things.push_back(&thing);
    }

    void Sort() {
        if (std::is_sorted(keys.begin(), keys.end())) {
            return;
        }
        keys.size() < FewKeys ? std::sort(keys.begin(), keys.end()) : SortByDigits();
    }

    /// Sorts, and leaves only the first of every id.
    void KeepFirst() {
        Sort();
        keys.erase(std::unique(keys.begin(), keys.end(), [](Key left, Key right) { return IdOf(left) == IdOf(right); }),
                   keys.end());
    }

    /// How many have been added.
    std::size_t GetAdded() const { return things.size(); }
    Keys const& GetKeys() const { return keys; }
    T const& operator[](Key key) const { return *things[PlaceOf(key)]; }

private:
    static constexpr std::size_t FewKeys = 48;

    /// Digit by digit from the lowest, each keeping the order that those below it have made. No comparison is made
    /// whose outcome the processor would have to guess, and most ids differ in two or three digits.
    void SortByDigits() {
        constexpr unsigned int bits = 6;
        constexpr Key mask = (1 << bits) - 1;
        Key differing = 0;
        for (Key const key : keys) {
            differing |= key ^ keys.front();
        }
        byDigits.resize(keys.size());
        for (unsigned int shift = 32; shift < 64; shift += bits) {
            if ((differing >> shift & mask) == 0) {
                continue;
            }
            std::array<std::uint32_t, mask + 1> places{};
            for (Key const key : keys) {
                ++places[key >> shift & mask];
            }
            std::exclusive_scan(places.begin(), places.end(), places.begin(), 0u);
            for (Key const key : keys) {
                byDigits[places[key >> shift & mask]++] = key;
            }
            keys.swap(byDigits);
        }
    }

    std::vector<T const*> things;
    Keys keys;
    Keys byDigits;  // while sorting
};

}  // namespace qel::observable::detail
