#pragma once

#include <stdexcept>

#include "foundation/export.hpp"

namespace qel::object {

/// A dynamic object was asked to be of a type that it is not; the message names both types.
class QEL_FOUNDATION_EXPORT BadCast : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~BadCast() override;
};

}  // namespace qel::object
