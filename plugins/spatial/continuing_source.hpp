#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/meta/elapsed.hpp"
#include "plugins/spatial/episode.hpp"
#include "plugins/spatial/settings.hpp"
#include "plugins/spatial/source.hpp"

namespace qel::observable::spatial {

/// A source whose events last for as long as a condition holds.
class ContinuingSource : public Source {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.ContinuingSource";

    std::chrono::milliseconds GetHoldOn() const { return times.on; }
    void SetHoldOn(std::chrono::milliseconds time) { times.on = time; }
    std::chrono::milliseconds GetHoldOff() const { return times.off; }
    void SetHoldOff(std::chrono::milliseconds time) { times.off = time; }

protected:
    using Source::Source;

    HoldTimes const& GetTimes() const { return times; }

    /// The event of this frame for an episode that is reported.
    std::shared_ptr<meta::data::Event> Continue(Episode& episode, std::vector<Sighting> const& objects,
                                                std::shared_ptr<meta::data::Zone const> const& zone);

private:
    HoldTimes times{DefaultHoldOn, DefaultHoldOff};
};

/// A continuing source with one event for each object for which a condition holds. When a frame fails, it is as if it
/// had not been.
///
/// A condition may tie an object to the point at which it began. At a point that is too far from that the condition
/// begins anew; coming back before the gap is too long, the object goes on with the event that it had.
class ObjectSource : public ContinuingSource {
public:
    void Reset() override;
    Events Process(meta::Meta const& frame) override;

protected:
    using ContinuingSource::ContinuingSource;

    /// The next frame is about to bring these objects, wherever they are: to get the memory that `See` needs.
    virtual void MakeRoom(std::vector<Sighting> const& objects);
    /// The next frame has come with them.
    virtual void See(std::vector<Sighting> const& objects, meta::Timestamp now) noexcept;

private:
    struct Stay {
        Point onset;
        Episode episode;
    };
    struct Tracked {
        unsigned int id;
        Sighting latest;
        std::optional<Stay> current;  // that of the last frame
        std::optional<Stay> left;     // a reported one in its gap, during which another one may begin
        bool holds = true;            // in the current frame
    };

    virtual bool Holds(Sighting const& sighting, meta::Timestamp now, meta::data::Zone const& zone) const = 0;
    /// Whether the condition, when it has begun at one point, still is the same at another.
    virtual bool GoesOn(Point onset, Point anchor) const;
    /// Whether it has held for long enough to be reported, besides having held on.
    virtual bool HasLasted(meta::Elapsed sinceOnset) const;

    void Look(std::vector<Sighting> const& objects, meta::Timestamp now, meta::data::Zone const* zone);
    void Advance(Tracked& object, meta::Timestamp now) const;
    /// The one to report and to remember, null when there is nothing left of either.
    static Stay* StayOf(Tracked& object);

    std::vector<Tracked> tracked;  // by ascending id
    std::shared_ptr<meta::data::Zone const> latestZone;
    std::vector<Tracked> next;  // what a frame makes of it; kept for its memory
};

}  // namespace qel::observable::spatial
