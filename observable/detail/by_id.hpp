#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>

#include <boost/container/small_vector.hpp>

namespace qel::observable::detail {

/// Pointers to things that have ids; once sorted, in order of id, and those of one id in the order in which they were
/// added. A few take no memory of their own.
template <class T>
class ById {
public:
    /// An id and, below it, the place in the order of adding.
    using Key = std::uint64_t;
    using Keys = boost::container::small_vector<Key, 12>;

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
        keys.size() < FewKeys ? std::sort(keys.begin(), keys.end()) : SortByBytes();
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

    /// Byte by byte from the lowest, each keeping the order that those below it have made. No comparison is made whose
    /// outcome the processor would have to guess, and most ids differ in one or two bytes.
    void SortByBytes() {
        Key differing = 0;
        for (Key const key : keys) {
            differing |= key ^ keys.front();
        }
        byBytes.resize(keys.size());
        for (unsigned int shift = 32; shift < 64; shift += 8) {
            if ((differing >> shift & 0xFF) == 0) {
                continue;
            }
            std::array<std::uint32_t, 256> places{};
            for (Key const key : keys) {
                ++places[key >> shift & 0xFF];
            }
            std::exclusive_scan(places.begin(), places.end(), places.begin(), 0u);
            for (Key const key : keys) {
                byBytes[places[key >> shift & 0xFF]++] = key;
            }
            keys.swap(byBytes);
        }
    }

    boost::container::small_vector<T const*, 12> things;
    Keys keys;
    Keys byBytes;  // while sorting; kept for its memory
};

}  // namespace qel::observable::detail
