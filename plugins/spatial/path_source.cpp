#include "plugins/spatial/path_source.hpp"

#include <algorithm>
#include <iterator>

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

bool PathSource::LookAt(meta::data::Zone const&) { return true; }

void PathSource::See() noexcept {}

Events PathSource::Process(meta::Meta const& frame) {
    auto const now = frame.GetTimestamp();
    auto const zone = FindZone(frame);
    if (!zone) {
        ++frameNumber;
        std::erase_if(paths, [&](Path const& each) { return AreFarApart(each.time, now); });
        return {};
    }
    auto const objects = FindObjects(frame);
    next.clear();
    next.reserve(paths.size() + objects.size());
    auto known = LookAt(*zone) ? paths.begin() : paths.end();
    auto const keepUpTo = [&](auto const& end) {
        std::copy_if(known, end, std::back_inserter(next),
                     [&](Path const& each) { return !AreFarApart(each.time, now); });
        known = end;
    };
    Events events;
    for (auto const& sighting : objects) {
        unsigned int const id = sighting.object->GetId();
        keepUpTo(std::find_if(known, paths.end(), [id](Path const& each) { return each.id >= id; }));
        bool const goesOn = known != paths.end() && known->id == id && !IsForgotten(*known, now);
        next.push_back(goesOn ? *known : Path{.id = id});
        if (known != paths.end() && known->id == id) {
            ++known;
        }
        if (Advance(next.back(), sighting.anchor, now, *zone)) {
            events.push_back(MakeEvent(std::nullopt, now, now, {sighting}, zone));
        }
    }
    keepUpTo(paths.end());

    ++frameNumber;
    paths.swap(next);
    See();
    return events;
}

/// Whether an object that comes at this time begins a new path.
bool PathSource::IsForgotten(Path const& path, meta::Timestamp now) const {
    return path.frame < frameNumber && AreFarApart(path.time, now);
}

/// A new path has no frame.
bool PathSource::Advance(Path& path, Point to, meta::Timestamp now, meta::data::Zone const& zone) const {
    bool const isFirst = path.frame == 0;
    auto const step = Move(path, to, zone);
    bool happened = step.isOccurrence && path.settled == step.side;
    if (isFirst || step.side != path.side || step.interruptsStay) {
        path.side = step.side;
        path.stayStart = now;
        path.entryReported = step.isReported;
    }
    path.frame = frameNumber + 1;
    path.time = now;
    path.anchor = to;
    if (path.side != 0 && path.settled != path.side && meta::Elapsed(path.stayStart, now) >= settle) {
        happened = happened || (path.settled && path.entryReported);
        path.settled = path.side;
    }
    return happened;
}

}  // namespace qel::observable::spatial
