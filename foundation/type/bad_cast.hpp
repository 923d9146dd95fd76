#pragma once

#include <stdexcept>

#include "foundation/export.hpp"

namespace qel::type {

/// A value or an observable is of another type than the one that is wanted; the message says which.
class QEL_FOUNDATION_EXPORT BadCast : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~BadCast() override;
};

}  // namespace qel::type
