#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "plugins/spatial/continuing_source.hpp"
#include "plugins/spatial/motion.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

/// A continuing source with a condition on how objects in the zone move.
///
/// The velocity of an object is its way from the oldest of its samples that is not older than the window to its newest,
/// over the time between them; before the window is half full it has none. Samples count wherever they were, so that an
/// object that comes into the zone is known at once. When it has been out of sight, what was seen of it before counts
/// if that is no longer ago than the gap that an event outlasts.
class MotionSource : public ObjectSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.MotionSource";

    std::chrono::milliseconds GetWindow() const { return window; }
    void SetWindow(std::chrono::milliseconds time) { window = time; }

    /// The width of the picture over its height.
    double GetAspect() const { return aspect; }
    void SetAspect(double ratio) { aspect = ratio; }

    void Reset() override;

protected:
    using ObjectSource::ObjectSource;

    static void AddMotionProperties(std::vector<property::Schema>& schemas);

private:
    struct Path {
        std::uint64_t frame = 0;  // of the last sample
        meta::Timestamp time;
        Motion motion;
    };

    static constexpr std::chrono::milliseconds DefaultWindow{1000};

    void MakeRoom(std::vector<Sighting> const& objects) final;
    void See(std::vector<Sighting> const& objects, meta::Timestamp now) noexcept final;
    bool Holds(Sighting const& sighting, meta::Timestamp now, meta::data::Zone const& zone) const final;
    /// Whether an object that comes at this time, or has not come, begins a new path.
    bool IsForgotten(Path const& path, meta::Timestamp now) const;

    /// Whether the condition holds at this velocity, in heights of the picture per second.
    virtual bool HoldsAt(Movement const& velocity) const = 0;

    std::chrono::milliseconds window = DefaultWindow;
    double aspect = DefaultAspect;
    std::uint64_t frameNumber = 0;       // of the last frame
    std::map<unsigned int, Path> paths;  // by the object's id
};

}  // namespace qel::observable::spatial
