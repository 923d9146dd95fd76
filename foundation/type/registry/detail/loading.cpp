#include "foundation/type/registry/detail/loading.hpp"

namespace qel::type::registry::detail {

namespace {

constinit thread_local Loading* innermost = nullptr;

}  // namespace

Loading::Loading() noexcept : outer(innermost) { innermost = this; }

Loading::~Loading() { innermost = outer; }

bool Loading::Keep(std::exception_ptr const& failure) noexcept {
    if (innermost == nullptr) {
        return false;
    }
    if (!innermost->failure) {
        innermost->failure = failure;
    }
    return true;
}

bool Loading::HasFailed() noexcept { return innermost != nullptr && innermost->failure; }

}  // namespace qel::type::registry::detail
