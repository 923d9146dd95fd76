#include "plugins/spatial/motion.hpp"

#include "foundation/meta/elapsed.hpp"

namespace qel::observable::spatial {

namespace {

constexpr int Resolution = 1000;  // of a window, in steps between samples

}  // namespace

void Motion::Move(meta::Timestamp now, Point to, std::chrono::milliseconds window) {
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

std::optional<Movement> Motion::GetVelocity(std::chrono::milliseconds window, double aspect) const {
    if (samples.empty()) {
        return std::nullopt;
    }
    auto const& [firstTime, from] = samples.front();
    auto const& [lastTime, to] = samples.back();
    auto const time = lastTime - firstTime;
    if (time <= time.zero() || 2 * time < window) {
        return std::nullopt;
    }
    double const seconds = std::chrono::duration<double>(time).count();
    auto const way = Between(from, to, aspect);
    return Movement{way.right / seconds, way.down / seconds};
}

}  // namespace qel::observable::spatial
