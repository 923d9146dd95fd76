#pragma once

#include <chrono>
#include <compare>

#include "foundation/meta/timestamp.hpp"

namespace qel::meta {

/// How long before `now` something happened, negative when it happened after. Exact for all times and intervals: the
/// difference of two times, or an interval in nanoseconds, need not fit the clock's own type, and no two times are as
/// far apart as an interval of `milliseconds::max()`.
class Elapsed {
public:
    /// From `then` to `now`.
    constexpr Elapsed(Timestamp then, Timestamp now)
        : nanoseconds(Wide(now.time_since_epoch().count()) - then.time_since_epoch().count()) {}

    /// To be compared with a setting, which may have any value.
    friend constexpr std::strong_ordering operator<=>(Elapsed elapsed, std::chrono::milliseconds interval) {
        return elapsed.nanoseconds <=> Wide(interval.count()) * NanosecondsPerMillisecond;
    }
    friend constexpr bool operator==(Elapsed elapsed, std::chrono::milliseconds interval) {
        return std::is_eq(elapsed <=> interval);
    }

private:
    __extension__ using Wide = __int128;

    static constexpr int NanosecondsPerMillisecond = 1'000'000;

    Wide nanoseconds;
};

}  // namespace qel::meta
