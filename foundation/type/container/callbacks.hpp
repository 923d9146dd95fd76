#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace qel::type::container {

/// Callbacks in numbered slots. A callback's id is its slot; the lowest free slot is used first and no slot goes away.
///
/// Takes no lock: the owner guards every call. The owner's mutex may be one that a callback takes again, since
/// callbacks may insert and remove while they are called: none is moved or destroyed under its own call, those inserted
/// during a `ForEach` are left to the next one, and those removed during it and not yet called are skipped.
template <class Signature>
class Callbacks {
public:
    /// What is called.
    using Function = std::function<Signature>;
    /// Keeps a removed callback, so that it can be destroyed where no lock is held.
    using Removed = std::shared_ptr<Function const>;

    /// Stores the callback and returns its id. An empty function is refused with `std::invalid_argument`. When it
    /// fails, the function stays with the caller, who destroys it where no lock is held.
    unsigned int Insert(Function&& function) {
        if (!function) {
            throw std::invalid_argument("Cannot insert invalid functions into the Callbacks");
        }
        auto slot = std::find_if(slots.begin(), slots.end(), [](Slot const& each) { return !each.function; });
        if (slot == slots.end()) {
            slot = slots.emplace(slots.end());
        }
        slot->function = std::make_shared<Function const>(std::move(function));
        slot->insertion = ++insertions;
        return static_cast<unsigned int>(slot - slots.begin());
    }

    /// The same with a copy of a function that the caller keeps.
    unsigned int Insert(Function const& function) { return Insert(Function(function)); }

    /// Empties the slot and returns what it held: nothing for an id that is out of range or free.
    Removed Remove(unsigned int id) noexcept {
        return id < slots.size() ? std::exchange(slots[id].function, nullptr) : nullptr;
    }

    /// How many slots are taken, and whether there is one.
    bool Any() const { return Count() > 0; }
    std::size_t Count() const {
        return static_cast<std::size_t>(
            std::count_if(slots.begin(), slots.end(), [](Slot const& each) { return each.function != nullptr; }));
    }

    /// Hands every callback to `visit`, in the order of the slots.
    template <class Visitor>
    void ForEach(Visitor visit) const {
        std::uint64_t const newest = insertions;
        for (std::size_t at = 0; at < slots.size(); ++at) {
            if (slots[at].function && slots[at].insertion <= newest) {
                auto const held = slots[at].function;
                visit(*held);
            }
        }
    }

private:
    struct Slot {
        std::shared_ptr<Function const> function;
        std::uint64_t insertion = 0;
    };

    std::vector<Slot> slots;
    std::uint64_t insertions = 0;
};

}  // namespace qel::type::container
