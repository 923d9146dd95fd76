#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/choices.hpp"

namespace qel::tests {

/// A repeatable source of choices.
class Random : public Choices {
public:
    explicit Random(std::uint64_t seed) : engine(seed) {}

    std::size_t Below(std::size_t count) override { return static_cast<std::size_t>(engine() % count); }

private:
    std::mt19937_64 engine;
};

/// Runs a test that makes up its own cases, so many times, each with choices of its own, until one run fails; that one
/// is named. The choices are the same in every test run unless the environment asks for others: QEL_RANDOM_RUNS is the
/// number of runs, QEL_RANDOM_SEED the seed of the first (1 when not set).
template <class Run>
void RunAtRandom(std::uint64_t runs, Run const& run) {
    auto const fromEnvironment = [](char const* name, std::uint64_t otherwise) {
        char const* const value = std::getenv(name);
        return value ? std::uint64_t{std::stoull(value)} : otherwise;
    };
    std::uint64_t const first = fromEnvironment("QEL_RANDOM_SEED", 1);
    std::uint64_t const count = fromEnvironment("QEL_RANDOM_RUNS", runs);
    for (std::uint64_t seed = first; seed - first < count && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("again with QEL_RANDOM_RUNS=1 QEL_RANDOM_SEED=" + std::to_string(seed));
        Random random(seed);
        run(random);
    }
}

}  // namespace qel::tests
