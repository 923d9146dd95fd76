#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "foundation/meta/data/object.hpp"
#include "foundation/meta/timestamp.hpp"
#include "foundation/object/object.hpp"
#include "observable/export.hpp"

namespace qel::observable {

/// Reports tracked objects that have been there for longer than a duration.
///
/// A base for observable classes beside `Observable`, and no observable itself. Once per frame the subclass hands it
/// the events of its own condition. An object is seen while each frame's events carry it, from the first such frame on;
/// a frame without it forgets it. Seen for strictly longer than the duration, it is reported in every frame, under one
/// event id for as long as it is seen. What is remembered is what the last frame saw.
///
/// No locks: the calls are the subclass's to serialise.
class QEL_OBSERVABLE_EXPORT DurationTrack {
public:
    /// The duration, as below; nothing has been seen yet.
    explicit DurationTrack(std::chrono::milliseconds duration);
    DurationTrack(DurationTrack const&) = delete;
    DurationTrack& operator=(DurationTrack const&) = delete;

    // The order of the virtual members is part of the interface that plug-ins are built against.

    /// Whether an object is to be tracked at all; asked once for each record of each event.
    virtual bool IsTracked(meta::data::Object const& object) const = 0;
    /// The first object of a reported event, normally the observable's metadata record; asked once for each.
    virtual std::shared_ptr<object::Object const> MakeTrackRecord() const = 0;
    /// The three texts of a reported event.
    virtual std::string GetTrackName() const = 0;
    virtual std::string GetTrackType() const = 0;
    virtual std::string GetTrackCategory() const = 0;
    virtual ~DurationTrack() = 0;

    /// Zero and less are durations too: with 0 an object is reported from its second frame on.
    std::chrono::milliseconds GetDuration() const;
    void SetDuration(std::chrono::milliseconds duration);

    /// Forgets every object.
    void ResetDurationTrack();

    /// The events to report for the frame of time `now`, one for each tracked object in each event of `input` that
    /// carries it, in their order: the record, then all objects of that event, shared; start and end are `now`. Items
    /// of other kinds and nulls in `input` are passed over. When something throws, it is as if the call had not been.
    std::vector<std::shared_ptr<object::Object>> TrackObjects(std::vector<std::shared_ptr<object::Object>> const& input,
                                                              meta::Timestamp now);

private:
    class Impl;

    std::unique_ptr<Impl> const impl;
};

}  // namespace qel::observable
