#include "plugins/spatial/motion.hpp"

#include <algorithm>

#include "foundation/meta/elapsed.hpp"

namespace qel::observable::spatial {

namespace {

constexpr int Resolution = 1000;  // of a window, in steps between samples

}  // namespace

void Motion::MakeRoom() {
    if (samples.full()) {
        samples.set_capacity(samples.empty() ? 16 : 2 * samples.size());
    }
}

void Motion::Move(meta::Timestamp now, Point to, std::chrono::milliseconds window) noexcept {
    while (!samples.empty() && samples.back().time >= now) {
        samples.pop_back();
    }
    while (!samples.empty() && meta::Elapsed(samples.front().time, now) > window) {
        samples.pop_front();
    }
    auto const step = std::chrono::nanoseconds(window) / Resolution;
    if (samples.size() > 1 && now - samples[samples.size() - 2].time < step) {
        samples.pop_back();
    }
    samples.push_back({now, to});
}

std::optional<Movement> Motion::GetVelocity(meta::Timestamp now, Point to, std::chrono::milliseconds window,
                                            double aspect) const {
    auto const oldest = std::find_if(samples.begin(), samples.end(),
                                     [&](Sample const& sample) { return meta::Elapsed(sample.time, now) <= window; });
    if (oldest == samples.end() || oldest->time >= now) {
        return std::nullopt;
    }
    auto const time = now - oldest->time;
    if (2 * time < window) {
        return std::nullopt;
    }
    double const seconds = std::chrono::duration<double>(time).count();
    auto const way = Between(oldest->place, to, aspect);
    return Movement{way.right / seconds, way.down / seconds};
}

}  // namespace qel::observable::spatial
