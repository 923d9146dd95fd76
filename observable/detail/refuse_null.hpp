#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "observable/observable.hpp"

namespace qel::observable::detail {

/// Throws `std::invalid_argument` that names the call when there is no observable.
inline void RefuseNull(std::shared_ptr<Observable> const& observable, char const* call) {
    if (!observable) {
        throw std::invalid_argument(std::string(call) + ": the observable must not be null");
    }
}

}  // namespace qel::observable::detail
