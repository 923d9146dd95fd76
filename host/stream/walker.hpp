#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

namespace qel::host {

/// A number from `lowest` to `highest`; unlike those of the standard library's distributions, the same everywhere.
std::int64_t Draw(std::mt19937_64& generator, std::int64_t lowest, std::int64_t highest);

/// True with a probability in millionths.
bool Happens(std::mt19937_64& generator, std::int64_t probability);

/// Somebody or something that crosses the picture again and again, each time as somebody else.
///
/// Coordinates are millionths of the picture. Everything is computed with whole numbers from the seed, so it is the
/// same on every machine, and where somebody is does not depend on when it is asked for.
class Walker {
public:
    enum class Kind { Person, Vehicle };

    struct Box {
        std::int64_t left;
        std::int64_t top;
        std::int64_t width;
        std::int64_t height;
    };
    struct Sighting {
        std::uint32_t crossing;  // how many have crossed before
        Box box;
        std::int64_t confidence;  // in hundredths
    };

    /// How well it is seen, in millionths. The ways do not depend on it, nor where the detector errs on whether it
    /// does.
    struct Detector {
        std::int64_t dropOuts = 10'000;  // the share of detections that are missing
        std::int64_t jitter = 1'500;     // by how much of the picture each number of a box is wrong at most
    };

    Walker(Kind kind, std::uint64_t seed, Detector const& detector);

    Kind GetKind() const { return kind; }

    /// Where it is seen at this time, in milliseconds from the start and never before the last one asked for. Nothing
    /// while nobody crosses, and when the detector misses it.
    std::optional<Sighting> LookAt(std::int64_t time);

private:
    struct Point {
        std::int64_t x;
        std::int64_t y;
    };
    /// A straight walk, or a stop.
    struct Leg {
        Point from;
        Point to;
        std::int64_t start;
        std::int64_t end;
    };

    void PlanCrossing(std::int64_t notBefore);
    void AddLeg(Point to, std::int64_t speed);
    void AddStop(std::int64_t duration);
    Point PlaceAt(std::int64_t time) const;

    Kind kind;
    Detector detector;
    std::mt19937_64 plan;   // of the ways
    std::mt19937_64 noise;  // of the detector
    std::uint32_t crossings = 0;
    std::vector<Leg> legs;
};

}  // namespace qel::host
