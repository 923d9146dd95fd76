#include "host/stream/walker.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace qel::host {
namespace {

using Detector = Walker::Detector;

constexpr std::int64_t Minute = 60'000;

/// The middle of the lower edge, whose place the detector's noise hardly moves.
std::int64_t FootX(Walker::Box const& box) { return box.left + box.width / 2; }
std::int64_t FootY(Walker::Box const& box) { return box.top + box.height; }

TEST(WalkerTest, IsTheSameForTheSameSeed) {
    Walker one(Walker::Kind::Person, 5, Detector());
    Walker two(Walker::Kind::Person, 5, Detector());
    for (std::int64_t time = 0; time < Minute; time += 40) {
        auto const first = one.LookAt(time);
        auto const second = two.LookAt(time);
        ASSERT_EQ(first.has_value(), second.has_value()) << time;
        if (first) {
            EXPECT_EQ(first->crossing, second->crossing);
            EXPECT_EQ(first->box.left, second->box.left);
            EXPECT_EQ(first->box.top, second->box.top);
            EXPECT_EQ(first->confidence, second->confidence);
        }
    }
}

TEST(WalkerTest, WalksTheSameWayHoweverOftenItIsLookedAt) {
    Walker often(Walker::Kind::Person, 5, Detector());
    Walker seldom(Walker::Kind::Person, 5, Detector());
    std::map<std::int64_t, Walker::Sighting> seen;
    for (std::int64_t time = 0; time < 5 * Minute; time += 20) {
        if (auto const sighting = often.LookAt(time)) {
            seen.emplace(time, *sighting);
        }
    }
    int compared = 0;
    for (std::int64_t time = 0; time < 5 * Minute; time += 200) {
        auto const sighting = seldom.LookAt(time);
        auto const other = seen.find(time);
        if (sighting && other != seen.end()) {
            ++compared;
            EXPECT_EQ(sighting->crossing, other->second.crossing) << time;
            EXPECT_LT(std::abs(FootX(sighting->box) - FootX(other->second.box)), 10'000) << time;
            EXPECT_LT(std::abs(FootY(sighting->box) - FootY(other->second.box)), 10'000) << time;
        }
    }
    EXPECT_GT(compared, 500);
}

TEST(WalkerTest, NeverJumps) {
    for (auto const kind : {Walker::Kind::Person, Walker::Kind::Vehicle}) {
        Walker walker(kind, 9, Detector());
        std::optional<Walker::Sighting> last;
        std::int64_t lastTime = 0;
        for (std::int64_t time = 0; time < 10 * Minute; time += 40) {
            auto const now = walker.LookAt(time);
            if (now && last && now->crossing == last->crossing) {
                std::int64_t const farthest = 450 * (time - lastTime) + 10'000;
                EXPECT_LT(std::abs(FootX(now->box) - FootX(last->box)), farthest) << time;
                EXPECT_LT(std::abs(FootY(now->box) - FootY(last->box)), farthest) << time;
            }
            if (now) {
                last = now;
                lastTime = time;
            }
        }
    }
}

TEST(WalkerTest, CrossesThePictureFromSideToSideAgainAndAgain) {
    Walker walker(Walker::Kind::Vehicle, 3, Detector());
    std::map<std::uint32_t, std::vector<std::int64_t>> ways;
    for (std::int64_t time = 0; time < 10 * Minute; time += 40) {
        if (auto const seen = walker.LookAt(time)) {
            ways[seen->crossing].push_back(FootX(seen->box));
        }
    }
    ASSERT_GT(ways.size(), 20u);
    ways.erase(std::prev(ways.end()));  // it may be under way
    for (auto const& [crossing, places] : ways) {
        EXPECT_LT(std::min(places.front(), places.back()), 0) << crossing;
        EXPECT_GT(std::max(places.front(), places.back()), 1'000'000) << crossing;
    }
}

TEST(WalkerTest, IsMissedNowAndThen) {
    Walker walker(Walker::Kind::Person, 3, Detector());
    int seen = 0;
    int missed = 0;
    std::optional<std::uint32_t> crossing;
    int gap = 0;
    for (std::int64_t time = 0; time < 30 * Minute; time += 40) {
        auto const now = walker.LookAt(time);
        if (!now) {
            ++gap;
            continue;
        }
        missed += crossing == now->crossing ? gap : 0;
        crossing = now->crossing;
        gap = 0;
        ++seen;
    }
    EXPECT_GT(missed, seen / 200);
    EXPECT_LT(missed, seen / 50);
}

/// What a walker of either kind is seen as every 40 ms for so many minutes.
std::vector<std::optional<Walker::Sighting>> Watch(Walker::Kind kind, Detector const& detector, std::int64_t minutes) {
    Walker walker(kind, 11, detector);
    std::vector<std::optional<Walker::Sighting>> sightings;
    for (std::int64_t time = 0; time < minutes * Minute; time += 40) {
        sightings.push_back(walker.LookAt(time));
    }
    return sightings;
}

std::vector<std::int64_t> NumbersOf(Walker::Box const& box) { return {box.left, box.top, box.width, box.height}; }

TEST(WalkerTest, IsSeenInEveryFrameOfItsWayByADetectorThatMissesNothing) {
    for (auto const kind : {Walker::Kind::Person, Walker::Kind::Vehicle}) {
        auto const sightings = Watch(kind, {0, 0}, 10);
        std::set<std::uint32_t> left;
        std::optional<std::uint32_t> crossing;
        for (auto const& sighting : sightings) {
            std::optional<std::uint32_t> const now = sighting ? std::optional(sighting->crossing) : std::nullopt;
            if (crossing && crossing != now) {
                EXPECT_TRUE(left.insert(*crossing).second) << "crossing " << *crossing << " has a gap";
            }
            crossing = now;
        }
        EXPECT_GT(left.size(), 10u);
    }
}

TEST(WalkerTest, IsMissedAsOftenAsTheDetectorMisses) {
    for (auto const kind : {Walker::Kind::Person, Walker::Kind::Vehicle}) {
        auto const all = Watch(kind, {0, 2'000}, 30);
        for (std::int64_t const share : {0, 1'000, 10'000, 12'345, 250'000, 999'000, 1'000'000}) {
            auto const some = Watch(kind, {share, 2'000}, 30);
            double present = 0;
            double missed = 0;
            for (std::size_t at = 0; at < all.size(); ++at) {
                present += all[at] ? 1 : 0;
                missed += all[at] && !some[at] ? 1 : 0;
                if (some[at]) {
                    ASSERT_TRUE(all[at]);
                    ASSERT_EQ(NumbersOf(some[at]->box), NumbersOf(all[at]->box));
                    ASSERT_EQ(some[at]->crossing, all[at]->crossing);
                    ASSERT_EQ(some[at]->confidence, all[at]->confidence);
                }
            }
            double const probability = static_cast<double>(share) / 1e6;
            double const deviation = std::sqrt(present * probability * (1 - probability));
            EXPECT_GT(present, 10'000);
            EXPECT_NEAR(missed, present * probability, 4 * deviation) << share;
        }
    }
}

TEST(WalkerTest, HasABoxThatIsWrongByTheJitterAtMost) {
    for (auto const kind : {Walker::Kind::Person, Walker::Kind::Vehicle}) {
        auto const exact = Watch(kind, {0, 0}, 30);
        for (std::int64_t const jitter : {1, 1'500, 30'000}) {
            auto const blurred = Watch(kind, {0, jitter}, 30);
            std::vector<std::set<std::int64_t>> errors(4);
            double sum = 0;
            double count = 0;
            for (std::size_t at = 0; at < exact.size(); ++at) {
                ASSERT_EQ(exact[at].has_value(), blurred[at].has_value());
                if (!exact[at]) {
                    continue;
                }
                auto const expected = NumbersOf(exact[at]->box);
                auto const actual = NumbersOf(blurred[at]->box);
                EXPECT_GT(actual[2], 0);
                EXPECT_GT(actual[3], 0);
                for (std::size_t number = 0; number < errors.size(); ++number) {
                    errors[number].insert(actual[number] - expected[number]);
                    sum += static_cast<double>(actual[number] - expected[number]);
                    ++count;
                }
            }
            for (auto const& each : errors) {
                EXPECT_GE(*each.begin(), -jitter);
                EXPECT_LE(*each.rbegin(), jitter);
                EXPECT_LE(*each.begin(), -jitter * 99 / 100);
                EXPECT_GE(*each.rbegin(), jitter * 99 / 100);
            }
            EXPECT_NEAR(sum / count, 0, 4 * static_cast<double>(jitter + 1) / std::sqrt(3 * count)) << jitter;
        }
    }
}

TEST(WalkerTest, DiffersFromSeedToSeed) {
    std::set<std::int64_t> places;
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        Walker walker(Walker::Kind::Person, seed, Detector());
        for (std::int64_t time = 0; time < Minute; time += 40) {
            if (auto const seen = walker.LookAt(time)) {
                places.insert(FootY(seen->box));
                break;
            }
        }
    }
    EXPECT_GT(places.size(), 15u);
}

}  // namespace
}  // namespace qel::host
