#include "plugins/spatial/motion_source.hpp"

#include <algorithm>

#include "foundation/meta/elapsed.hpp"

namespace qel::observable::spatial {

void MotionSource::AddMotionProperties(std::vector<property::Schema>& schemas) {
    schemas.emplace_back(
        "window", DefaultWindow, &MotionSource::SetWindow, &MotionSource::GetWindow, NoTime, LongestTime,
        "The milliseconds over which a movement is measured, inside the zone or outside; at least half "
        "of them must have been seen, so let them be longer than the time between frames");
    AddAspectProperty<MotionSource>(schemas);
}

void MotionSource::Reset() {
    ObjectSource::Reset();
    paths.clear();
}

void MotionSource::See(std::vector<Sighting> const& objects, meta::Timestamp now) {
    ++frameNumber;
    auto const memory = std::min(GetHoldOff(), window);  // older samples would not count
    std::erase_if(paths, [&](auto const& each) {
        return each.second.frame + 1 < frameNumber && meta::Elapsed(each.second.time, now) > memory;
    });
    for (auto const& sighting : objects) {
        auto& path = paths[sighting.object->GetId()];
        path.frame = frameNumber;
        path.time = now;
        path.motion.Move(now, sighting.anchor, window);
    }
}

bool MotionSource::Holds(Sighting const& sighting, meta::data::Zone const& zone) const {
    if (!Contains(zone.GetPoints(), sighting.anchor)) {
        return false;
    }
    auto const velocity = paths.at(sighting.object->GetId()).motion.GetVelocity(window, aspect);
    return velocity && HoldsAt(*velocity);
}

}  // namespace qel::observable::spatial
