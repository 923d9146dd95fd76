#include "host/stream/walker.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace qel::host {

namespace {

constexpr std::int64_t Whole = 1'000'000;  // the width or height of the picture
constexpr std::int64_t Outside = 60'000;   // so far beside the picture ways begin and end
constexpr std::int64_t Second = 1'000;

// Where people walk and which size they have at the far and the near end of it.
constexpr std::int64_t FarGround = 450'000;
constexpr std::int64_t NearGround = 950'000;
constexpr std::int64_t FarHeight = 150'000;
constexpr std::int64_t NearHeight = 320'000;

constexpr std::int64_t RoadFromLeft = 400'000;
constexpr std::int64_t RoadFromRight = 360'000;

std::int64_t HeightAt(std::int64_t ground) {
    return FarHeight + (ground - FarGround) * (NearHeight - FarHeight) / (NearGround - FarGround);
}

}  // namespace

std::int64_t Draw(std::mt19937_64& generator, std::int64_t lowest, std::int64_t highest) {
    auto const count = static_cast<std::uint64_t>(highest - lowest + 1);
    return lowest + static_cast<std::int64_t>(generator() % count);
}

bool Happens(std::mt19937_64& generator, std::int64_t probability) {
    constexpr std::uint64_t Hundred = 100;
    constexpr std::uint64_t TenThousand = 10'000;
    std::uint64_t const drawn = generator();
    // The last two digits count most, so that whole hundredths depend on nothing else.
    std::uint64_t const millionths = drawn % Hundred * TenThousand + drawn / Hundred % TenThousand;
    return static_cast<std::int64_t>(millionths) < probability;
}

Walker::Walker(Kind kind, std::uint64_t seed, Detector const& detector)
    : kind(kind), detector(detector), plan(seed), noise(~seed) {
    PlanCrossing(Draw(plan, 0, 5 * Second));
}

std::optional<Walker::Sighting> Walker::LookAt(std::int64_t time) {
    while (legs.back().end <= time) {
        ++crossings;
        PlanCrossing(legs.back().end + Draw(plan, Second, 6 * Second));
    }
    if (time < legs.front().start) {
        return std::nullopt;
    }
    Point const place = PlaceAt(time);
    std::int64_t const height = kind == Kind::Person ? HeightAt(place.y) : 110'000;
    std::int64_t const width = kind == Kind::Person ? height / 4 : 130'000;
    auto const error = [&] { return Draw(noise, -detector.jitter, detector.jitter); };
    Box const box{place.x - width / 2 + error(), place.y - height + error(), width + error(), height + error()};
    std::int64_t const confidence = Draw(noise, 70, 99);
    bool const missed = Happens(noise, detector.dropOuts);
    return missed ? std::nullopt : std::optional(Sighting{crossings, box, confidence});
}

void Walker::PlanCrossing(std::int64_t notBefore) {
    bool const toTheRight = Draw(plan, 0, 1) == 1;
    std::int64_t const begin = toTheRight ? -Outside : Whole + Outside;
    std::int64_t const end = toTheRight ? Whole + Outside : -Outside;
    legs.clear();
    if (kind == Kind::Vehicle) {
        std::int64_t const lane = toTheRight ? RoadFromLeft : RoadFromRight;
        legs.push_back({{begin, lane}, {begin, lane}, notBefore, notBefore});
        AddLeg({end, lane}, Draw(plan, 150, 400));
        return;
    }
    std::int64_t const speed = Draw(plan, 60, 130);  // millionths in a millisecond
    Point const entry{begin, Draw(plan, FarGround, NearGround)};
    legs.push_back({entry, entry, notBefore, notBefore});
    for (std::int64_t turns = Draw(plan, 0, 3); turns > 0; --turns) {
        std::int64_t const x = Draw(plan, 100'000, 900'000);
        AddLeg({x, Draw(plan, FarGround, NearGround)}, speed);
        if (Draw(plan, 0, 2) == 0) {
            AddStop(Draw(plan, Second, 8 * Second));
        }
    }
    AddLeg({end, Draw(plan, FarGround, NearGround)}, speed);
}

void Walker::AddLeg(Point to, std::int64_t speed) {
    Leg const last = legs.back();
    auto const x = static_cast<double>(to.x - last.to.x);
    auto const y = static_cast<double>(to.y - last.to.y);
    auto const distance = static_cast<std::int64_t>(std::sqrt(x * x + y * y));  // exact numbers, rounded alike anywhere
    legs.push_back({last.to, to, last.end, last.end + std::max<std::int64_t>(distance / speed, 1)});
}

void Walker::AddStop(std::int64_t duration) {
    Leg const last = legs.back();
    legs.push_back({last.to, last.to, last.end, last.end + duration});
}

Walker::Point Walker::PlaceAt(std::int64_t time) const {
    auto const leg = std::find_if(legs.begin(), legs.end(), [&](Leg const& each) { return time < each.end; });
    std::int64_t const passed = time - leg->start;
    std::int64_t const duration = leg->end - leg->start;
    return {leg->from.x + (leg->to.x - leg->from.x) * passed / duration,
            leg->from.y + (leg->to.y - leg->from.y) * passed / duration};
}

}  // namespace qel::host
