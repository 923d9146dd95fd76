#pragma once

#include <cstddef>

namespace qel::tests {

/// Where whoever makes something up takes the decisions from.
class Choices {
public:
    virtual ~Choices() = default;

    /// From 0 to `count` - 1.
    virtual std::size_t Below(std::size_t count) = 0;
    virtual bool OneIn(std::size_t count) { return Below(count) == 0; }
};

}  // namespace qel::tests
