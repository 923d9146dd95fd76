#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/spatial/support.hpp"
#include "tests/support/random.hpp"

namespace qel::tests::spatial {

/// One frame about one object: where it is, or that it is not there.
struct Sample {
    std::int64_t time;
    std::optional<Point> place;
};
using Track = std::vector<Sample>;

/// An object that stands, walks slowly or runs, now and then jumps or is absent, in frames that come irregularly and
/// sometimes twice at one time.
inline Track RandomTrack(Random& random, std::size_t frames) {
    Track track;
    std::int64_t time = 0;
    constexpr double Middle = 0.5034;  // from where no step ends on the zone's boundary
    Point place{Middle, Middle};
    Point step;
    bool absent = false;
    while (track.size() < frames) {
        if (random.OneIn(8)) {
            static constexpr double Speeds[]{0, 0, 0.01, 0.05, 0.1};
            auto const component = [&] { return Speeds[random.Below(5)] * (random.OneIn(2) ? 1 : -1); };
            step = {component(), component()};
        }
        if (random.OneIn(absent ? 3 : 12)) {
            absent = !absent;
        }
        if (random.OneIn(40)) {
            place = {Middle, Middle};
        }
        place = {place.x + step.x, place.y + step.y};
        for (double* const each : {&place.x, &place.y}) {
            if (*each < 0.1 || *each > 0.9) {
                *each = Middle;
            }
        }
        track.push_back({time, absent ? std::nullopt : std::optional(place)});
        static constexpr std::int64_t Steps[]{0, 40, 100, 100, 100, 200, 200, 700};
        time += Steps[random.Below(8)];
    }
    return track;
}

inline bool IsInSquare(Point point) { return point.x >= 0.25 && point.x <= 0.75 && point.y >= 0.25 && point.y <= 0.75; }

inline double Heights(Point from, Point to, double aspect) {
    return std::sqrt(std::pow((to.x - from.x) * aspect, 2) + std::pow(to.y - from.y, 2));
}

/// The events that an imagined rule would be reporting, written like those of a player.
class Expected {
public:
    void Start(std::int64_t onset) {
        start = onset;
        ++number;
    }
    std::string Spans(std::int64_t end) const {
        std::string name(1, static_cast<char>('A' + (number - 1) % 26));
        if (number > 26) {
            name += std::to_string((number - 1) / 26);
        }
        return name + ' ' + std::to_string(start) + ".." + std::to_string(end);
    }
    std::size_t Count() const { return number; }

private:
    std::int64_t start = 0;
    std::size_t number = 0;
};

/// What a rule says of a track, frame by frame.
inline std::vector<std::string> SpansOf(std::shared_ptr<observable::Observable> const& rule, Track const& track) {
    Player player(rule);
    std::vector<std::string> spans;
    for (auto const& [time, place] : track) {
        player.Play(At(time),
                    place ? std::vector{Standing(7, *place)} : std::vector<std::shared_ptr<meta::data::Object>>{});
        spans.push_back(player.Spans());
    }
    return spans;
}

}  // namespace qel::tests::spatial
