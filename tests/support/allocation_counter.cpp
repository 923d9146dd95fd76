#include "tests/support/allocation_counter.hpp"

#include <malloc.h>

#include <cstdlib>
#include <limits>
#include <new>

namespace {

thread_local std::size_t allocations = 0;
thread_local std::size_t taken = 0;
thread_local std::size_t givenBack = 0;
thread_local std::size_t firstFailing = 0;  // the numbers of the allocations that fail; 0 for none
thread_local std::size_t lastFailing = 0;
thread_local std::size_t failed = 0;

void* Allocate(std::size_t size, std::size_t alignment = alignof(std::max_align_t)) noexcept {
    if (++allocations >= firstFailing && allocations <= lastFailing) {
        ++failed;
        return nullptr;
    }
    void* const memory = std::aligned_alloc(alignment, (size + alignment) / alignment * alignment);
    taken += malloc_usable_size(memory);
    return memory;
}

void Free(void* memory) noexcept {
    givenBack += malloc_usable_size(memory);
    std::free(memory);
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment = alignof(std::max_align_t)) {
    void* const memory = Allocate(size, alignment);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

std::size_t From(std::align_val_t alignment) { return static_cast<std::size_t>(alignment); }

}  // namespace

namespace qel::tests {

std::size_t CountAllocations() { return allocations; }

std::size_t CountBytes() { return taken; }

std::size_t LiveBytes() { return taken - givenBack; }

std::size_t CountFailures() { return failed; }

FailingAllocation::FailingAllocation(std::size_t before) { firstFailing = lastFailing = allocations + before + 1; }

FailingAllocation::~FailingAllocation() { firstFailing = lastFailing = 0; }

NoMoreMemory::NoMoreMemory(std::size_t before) {
    firstFailing = allocations + before + 1;
    lastFailing = std::numeric_limits<std::size_t>::max();
}

NoMoreMemory::~NoMoreMemory() { firstFailing = lastFailing = 0; }

}  // namespace qel::tests

// All of them, since sanitizers bring their own and do not let new and free be mixed.
void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept { return Allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return AllocateOrThrow(size, From(alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return AllocateOrThrow(size, From(alignment)); }
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
    return Allocate(size, From(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
    return Allocate(size, From(alignment));
}

void operator delete(void* memory) noexcept { Free(memory); }
void operator delete[](void* memory) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }
void operator delete(void* memory, std::nothrow_t const&) noexcept { Free(memory); }
void operator delete[](void* memory, std::nothrow_t const&) noexcept { Free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { Free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { Free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { Free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { Free(memory); }
void operator delete(void* memory, std::align_val_t, std::nothrow_t const&) noexcept { Free(memory); }
void operator delete[](void* memory, std::align_val_t, std::nothrow_t const&) noexcept { Free(memory); }
