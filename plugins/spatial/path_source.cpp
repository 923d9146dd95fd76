#include "plugins/spatial/path_source.hpp"

#include "foundation/meta/elapsed.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

namespace {

constexpr std::chrono::milliseconds LongestStep{500};

/// Whether two samples that are not in consecutive frames belong to different paths. Time may have run backwards.
bool AreFarApart(meta::Timestamp left, meta::Timestamp right) {
    return meta::Elapsed(left, right) > LongestStep || meta::Elapsed(right, left) > LongestStep;
}

}  // namespace

void PathSource::AddSettleProperty(std::vector<property::Schema>& schemas) {
    schemas.emplace_back("settle", DefaultSettle, &PathSource::SetSettle, &PathSource::GetSettle, NoTime, LongestTime,
                         "The milliseconds for which an object must stay on a side before it counts as being there");
}

void PathSource::SeeZone(meta::data::Zone const&) {}

Events PathSource::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    ++frameNumber;
    Events events;
    if (auto const zone = FindZone(frame)) {
        SeeZone(*zone);
        for (auto const& sighting : FindObjects(frame)) {
            auto const [at, isNew] = paths.try_emplace(sighting.object->GetId());
            auto& path = at->second;
            bool const isFirst = isNew || (path.frame + 1 < frameNumber && AreFarApart(path.time, now));
            if (Advance(path, isFirst, sighting.anchor, now, *zone)) {
                events.push_back(MakeEvent(std::nullopt, now, now, {sighting}, zone));
            }
        }
    }
    std::erase_if(
        paths, [&](auto const& each) { return each.second.frame < frameNumber && AreFarApart(each.second.time, now); });
    return events;
}

bool PathSource::Advance(Path& path, bool isFirst, Point to, meta::Timestamp now, meta::data::Zone const& zone) const {
    if (isFirst) {
        path = Path{};
    }
    auto const step = Move(path, to, zone);
    bool happened = step.isOccurrence && path.settled == step.side;
    if (isFirst || step.side != path.side || step.interruptsStay) {
        path.side = step.side;
        path.stayStart = now;
        path.entryReported = step.isReported;
    }
    path.frame = frameNumber;
    path.time = now;
    path.anchor = to;
    if (path.side != 0 && path.settled != path.side && meta::Elapsed(path.stayStart, now) >= settle) {
        happened = happened || (path.settled && path.entryReported);
        path.settled = path.side;
    }
    return happened;
}

}  // namespace qel::observable::spatial
