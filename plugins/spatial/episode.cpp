#include "plugins/spatial/episode.hpp"

#include "foundation/meta/elapsed.hpp"

namespace qel::observable::spatial {

void Episode::Hold(meta::Timestamp now, HoldTimes const& times, bool mayBegin) {
    if (pausing && (!reported || meta::Elapsed(lastHeld, now) > times.off)) {
        *this = Episode(now);
    }
    pausing = false;
    lastHeld = now;
    reported = reported || (mayBegin && meta::Elapsed(onset, now) >= times.on);
}

bool Episode::Pause(meta::Timestamp now, HoldTimes const& times) {
    pausing = true;
    return reported && meta::Elapsed(lastHeld, now) <= times.off;
}

}  // namespace qel::observable::spatial
