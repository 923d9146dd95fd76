#include "foundation/meta/key_changes.hpp"

#include <atomic>

namespace qel::meta {

namespace {

constinit std::atomic<std::uint64_t> changes{0};

}  // namespace

std::uint64_t KeyChanges() noexcept { return changes.load(std::memory_order_relaxed); }

void CountKeyChange() noexcept { changes.fetch_add(1, std::memory_order_relaxed); }

}  // namespace qel::meta
