#pragma once

#include <cstddef>
#include <new>

namespace qel::tests {

/// How often the calling thread has asked operator new for memory, in a program that links qel_allocation_counter.
std::size_t CountAllocations();

/// How many bytes it has been given in all; a block counts with its whole size.
std::size_t CountBytes();

/// How many of them are in use, in a program in which every thread gives back what it took itself.
std::size_t LiveBytes();

/// How often `work` asks operator new for memory on this thread.
template <class Work>
std::size_t AllocationsOf(Work const& work) {
    auto const before = CountAllocations();
    work();
    return CountAllocations() - before;
}

/// How often it has been refused.
std::size_t CountFailures();

/// While it lives, one allocation of this thread fails, the one that comes after `before` others.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t before);
    ~FailingAllocation();
    FailingAllocation(FailingAllocation const&) = delete;
    FailingAllocation& operator=(FailingAllocation const&) = delete;
};

/// While it lives, all allocations of this thread fail that come after `before` others.
class NoMoreMemory {
public:
    explicit NoMoreMemory(std::size_t before = 0);
    ~NoMoreMemory();
    NoMoreMemory(NoMoreMemory const&) = delete;
    NoMoreMemory& operator=(NoMoreMemory const&) = delete;
};

/// Calls `work`, letting the allocation that comes after `before` others fail, or all from there on. Whether it ended
/// with `std::bad_alloc`.
template <class Failing = FailingAllocation, class Work>
bool FailsForLackOfMemory(std::size_t before, Work const& work) {
    try {
        Failing const failing(before);
        work();
        return false;
    } catch (std::bad_alloc const&) {
        return true;
    }
}

}  // namespace qel::tests
