#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

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

/// A continuing source with one event for each object for which a condition holds.
class ObjectSource : public ContinuingSource {
public:
    void Reset() override;
    Events Process(meta::Meta const& frame) override;

protected:
    using ContinuingSource::ContinuingSource;

private:
    struct Tracked {
        Episode episode;
        Sighting latest;
        bool holds = true;  // in the current frame
    };

    virtual bool Holds(Sighting const& sighting, meta::data::Zone const& zone) const = 0;

    std::map<unsigned int, Tracked> tracked;  // by the object's id
    std::shared_ptr<meta::data::Zone const> latestZone;
};

}  // namespace qel::observable::spatial
