#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qel::type::container {

/// Places by id. A look-up reads one line of memory as a rule; the memory is kept from use to use, unless much less of
/// it is needed than there is.
class IdTable {
public:
    /// The place of an id that has none.
    static constexpr std::uint32_t None = 0xFFFFFFFF;

    /// The place of an id, or `None`.
    std::uint32_t Find(std::uint32_t id) const {
        if (slots.empty()) {
            return None;
        }
        return slots[FindSlot(id)].place;
    }

    /// Gives an id a place other than `None`, in place of the one that it may have had.
    void Set(std::uint32_t id, std::uint32_t place) {
        if (2 * (used + 1) > slots.size()) {
            Grow(2 * (used + 1));
        }
        auto& slot = slots[FindSlot(id)];
        used += slot.place == None ? 1 : 0;
        slot = {id, place};
    }

    /// Takes the places of all ids.
    void Clear() {
        if (slots.size() > LeastSlots && slots.size() > 16 * used) {
            slots.resize(slots.size() / 2);
            ++shift;
        }
        slots.assign(slots.size(), {});
        used = 0;
    }

private:
    static constexpr std::size_t LeastSlots = 32;

    struct Slot {
        std::uint32_t id = 0;
        std::uint32_t place = None;
    };

    /// The slot that holds the id, or the free one where it belongs. At least half of the slots are free.
    std::size_t FindSlot(std::uint32_t id) const {
        constexpr std::uint32_t spread = 0x9E3779B9;  // the golden ratio: neighbours come to lie far apart
        std::size_t at = (id * spread) >> shift;
        while (slots[at].place != None && slots[at].id != id) {
            at = (at + 1) & (slots.size() - 1);
        }
        return at;
    }

    void Grow(std::size_t least) {
        std::vector<Slot> grown(std::bit_ceil(least < LeastSlots ? LeastSlots : least));
        slots.swap(grown);
        shift = 33 - std::bit_width(slots.size());
        for (auto const& slot : grown) {
            if (slot.place != None) {
                slots[FindSlot(slot.id)] = slot;
            }
        }
    }

    std::vector<Slot> slots;  // none, or a power of two
    int shift = 0;            // takes an id's 32 bits down to those of a slot
    std::size_t used = 0;
};

}  // namespace qel::type::container
