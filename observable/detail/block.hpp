#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace qel::observable::detail {

/// Memory in one piece for shared things that are made together and are mostly dropped together, as an event and the
/// copies in it are. Each has a reference count of its own, as if `std::make_shared` had made it, and may be dropped on
/// any thread; the memory goes with the last of them.
///
/// The block itself is used by one thread, and is gone before another one gets hold of anything that it has made.
class Block {
    static constexpr std::size_t Aligned(std::size_t size) {
        return (size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
    }

public:
    /// The room that a thing takes, with its reference count.
    template <class T>
    static constexpr std::size_t SizeOf = Aligned(sizeof(T) + 4 * sizeof(void*));

    explicit Block(std::size_t size) : memory(::new (::operator new(sizeof(Memory) + size)) Memory(size)) {}
    Block(Block const&) = delete;
    Block& operator=(Block const&) = delete;
    ~Block() { memory->DropFirstShare(); }

    /// When there is no more room, the thing gets memory of its own.
    template <class T, class... Args>
    std::shared_ptr<T> Make(Args&&... args) {
        return std::allocate_shared<T>(Allocator<T>(memory), std::forward<Args>(args)...);
    }

private:
    /// What stands in front of the things: how many of them, and whether a block, still need the memory.
    class alignas(std::max_align_t) Memory {
    public:
        explicit Memory(std::size_t size) : end(Begin() + size), next(Begin()) {}

        void* Take(std::size_t size) {
            bool const fits = size <= static_cast<std::size_t>(end - next);
            void* const taken = fits ? std::exchange(next, next + size) : ::operator new(size);
            // No other thread knows of any share yet.
            shares.store(shares.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
            return taken;
        }

        void GiveBack(void* taken) noexcept {
            if (taken < Begin() || taken >= end) {
                ::operator delete(taken);
            }
            DropShare();
        }

        /// That of the block, while no other thread knows of any.
        void DropFirstShare() noexcept {
            if (auto const count = shares.load(std::memory_order_relaxed); count == 1) {
                Delete();
            } else {
                shares.store(count - 1, std::memory_order_relaxed);
            }
        }

    private:
        void DropShare() noexcept {
            // The last one needs no atomic change.
            if (shares.load(std::memory_order_acquire) == 1 || shares.fetch_sub(1, std::memory_order_acq_rel) == 1) {
                Delete();
            }
        }
        void Delete() noexcept {
            this->~Memory();
            ::operator delete(this);
        }
        std::byte* Begin() { return reinterpret_cast<std::byte*>(this + 1); }

        std::atomic<std::size_t> shares = 1;
        std::byte* const end;
        std::byte* next;
    };

    template <class T>
    class Allocator {
    public:
        using value_type = T;

        explicit Allocator(Memory* memory) : memory(memory) {}
        template <class Other>
        Allocator(Allocator<Other> const& other) : memory(other.memory) {}

        T* allocate(std::size_t count) {
            static_assert(alignof(T) <= alignof(std::max_align_t));
            return static_cast<T*>(memory->Take(Aligned(count * sizeof(T))));
        }
        void deallocate(T* things, std::size_t) noexcept { memory->GiveBack(things); }

        template <class Other>
        friend bool operator==(Allocator const& left, Allocator<Other> const& right) {
            return left.memory == right.memory;
        }

        Memory* memory;
    };

    Memory* const memory;
};

}  // namespace qel::observable::detail
