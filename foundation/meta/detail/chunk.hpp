#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "foundation/export.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/object/object.hpp"
#include "foundation/type/container/id_table.hpp"

namespace qel::meta::detail {

/// Events found by a look-up; most look-ups find a few.
using FoundEvents = boost::container::small_vector<data::Event const*, 12>;

using Positions = boost::container::small_vector<std::size_t, 32>;

/// What look-ups cost, apart from time.
struct LookUpCounts {
    std::size_t asked = 0;  // how many there were
    std::size_t found = 0;  // how many events they have given
    std::size_t read = 0;   // how many items were read to answer them

    LookUpCounts& operator+=(LookUpCounts const& other) {
        asked += other.asked;
        found += other.found;
        read += other.read;
        return *this;
    }
    friend bool operator==(LookUpCounts const&, LookUpCounts const&) = default;
};

/// A list of items that one frame appends to and that copies of the frame share up to the length it had when they were
/// made. An item never moves: whoever knows a length may read that far without a lock while the list grows.
class QEL_FOUNDATION_EXPORT Chunk {
public:
    Chunk() = default;
    Chunk(Chunk const&) = delete;
    Chunk& operator=(Chunk const&) = delete;

    std::shared_ptr<object::Object> const& At(std::size_t position) const {
        auto const place = PlaceOf(position);
        return blocks[place.block][place.offset];
    }

    /// The item and those that stand behind it in memory: as many as there is room for, whether they are there or not.
    std::span<std::shared_ptr<object::Object> const> RunFrom(std::size_t position) const;

    /// Puts the item behind `count` others. Only the frame that owns the list calls this.
    void Append(std::size_t count, std::shared_ptr<object::Object> item);

    /// Takes the items at these ascending positions, one at least, out of the `count` that there are. Only for an owner
    /// that shares the list with nobody.
    void Remove(std::size_t count, Positions const& gone) noexcept;

    /// Appends to `found` the events among the first `count` items that name the observable, in order and once for each
    /// record that does.
    void FindEvents(unsigned int observable, std::size_t count, FoundEvents& found) const;
    /// Whether there are any.
    bool HasEvents(unsigned int observable, std::size_t count) const;
    LookUpCounts CountLookUps() const;

private:
    static constexpr std::size_t FirstBlock = 16;

    struct Place {
        std::size_t block;
        std::size_t offset;
    };

    /// Block k holds FirstBlock << k items.
    static Place PlaceOf(std::size_t position) {
        std::size_t const shifted = position + FirstBlock;
        std::size_t const block = static_cast<std::size_t>(std::bit_width(shifted)) - std::bit_width(FirstBlock);
        return {block, shifted - (FirstBlock << block)};
    }

    /// Where the events stand that name an observable: chains through `stretches`, in order. A frame has fewer than
    /// 2^32 items and records.
    struct Index {
        /// Events that stand one behind the other, as those of an observable do as a rule.
        struct Stretch {
            unsigned int observable;
            std::uint32_t first;
            std::uint32_t end;
            std::uint32_t next;
        };
        struct Chain {
            std::uint32_t first;
            std::uint32_t last;
        };

        std::mutex mutex;
        type::container::IdTable chainOf;  // by observable
        std::vector<Chain> chains;
        std::vector<Stretch> stretches;
        std::size_t covered = 0;
        std::uint64_t keyChanges = 0;
        LookUpCounts counts;

        void Clear() noexcept;
        void Add(unsigned int observable, std::size_t position);
        Chain const* Find(unsigned int observable) const;
    };

    void ExtendIndex(std::size_t count) const;
    /// Calls `take(item)` for the items from one position up to another.
    template <class Take>
    void ForEach(std::size_t from, std::size_t to, Take const& take) const;

    std::array<std::unique_ptr<std::shared_ptr<object::Object>[]>, 32> blocks;
    mutable Index index;
};

/// What a frame consists of: the lists that it shares with the frames it was copied from, and the one it appends to.
struct QEL_FOUNDATION_EXPORT Contents {
    struct Part {
        std::shared_ptr<Chunk const> chunk;
        std::size_t count;
    };

    std::shared_ptr<object::Object> const& At(std::size_t position) const {
        return position >= inheritedCount ? own.At(position - inheritedCount) : AtInherited(position);
    }
    std::shared_ptr<object::Object> const& AtInherited(std::size_t position) const;

    /// The item and those that follow it in memory, no further than its list is shared.
    std::span<std::shared_ptr<object::Object> const> RunFrom(std::size_t position) const;

    std::vector<Part> inherited;
    std::size_t inheritedCount = 0;
    Chunk own;
};

}  // namespace qel::meta::detail
