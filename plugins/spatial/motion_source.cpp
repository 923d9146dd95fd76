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

void MotionSource::MakeRoom(std::vector<Sighting> const& objects) {
    for (auto const& sighting : objects) {
        paths[sighting.object->GetId()].motion.MakeRoom();
    }
}

void MotionSource::See(std::vector<Sighting> const& objects, meta::Timestamp now) noexcept {
    for (auto const& sighting : objects) {
        auto& path = paths.find(sighting.object->GetId())->second;
        if (IsForgotten(path, now)) {
            path.motion.Clear();
        }
        path.motion.Move(now, sighting.anchor, window);
        path.frame = frameNumber + 1;
        path.time = now;
    }
    std::erase_if(paths, [&](auto const& each) { return IsForgotten(each.second, now); });
    ++frameNumber;
}

bool MotionSource::Holds(Sighting const& sighting, meta::Timestamp now, meta::data::Zone const& zone) const {
    if (!Contains(zone.GetPoints(), sighting.anchor)) {
        return false;
    }
    auto const& path = paths.at(sighting.object->GetId());
    if (IsForgotten(path, now)) {
        return false;
    }
    auto const velocity = path.motion.GetVelocity(now, sighting.anchor, window, aspect);
    return velocity && HoldsAt(*velocity);
}

bool MotionSource::IsForgotten(Path const& path, meta::Timestamp now) const {
    return path.frame < frameNumber &&
           meta::Elapsed(path.time, now) > std::min(GetHoldOff(), window);  // older samples would not count
}

}  // namespace qel::observable::spatial
