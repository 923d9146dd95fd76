#include "foundation/meta/key_changes.hpp"

#include <atomic>

namespace qel::meta {

namespace {

constinit std::atomic<std::uint64_t> changes{0};

}  // namespace

// Whoever sees a change counted sees the change: a key read before it is never taken for one read after it.

std::uint64_t KeyChanges() noexcept { return changes.load(std::memory_order_acquire); }

void CountKeyChange() noexcept { changes.fetch_add(1, std::memory_order_release); }

}  // namespace qel::meta
