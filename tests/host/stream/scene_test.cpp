#include "host/stream/scene.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace qel::host {
namespace {

constexpr std::int64_t Minute = 60'000;

/// The middle of the lower edge, whose place the detector's noise hardly moves.
std::int64_t FootX(Walker::Box const& box) { return box.left + box.width / 2; }
std::int64_t FootY(Walker::Box const& box) { return box.top + box.height; }

TEST(WalkerTest, IsTheSameForTheSameSeed) {
    Walker one(Walker::Kind::Person, 5);
    Walker two(Walker::Kind::Person, 5);
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
    Walker often(Walker::Kind::Person, 5);
    Walker seldom(Walker::Kind::Person, 5);
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
        Walker walker(kind, 9);
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
    Walker walker(Walker::Kind::Vehicle, 3);
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
    Walker walker(Walker::Kind::Person, 3);
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

TEST(WalkerTest, DiffersFromSeedToSeed) {
    std::set<std::int64_t> places;
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        Walker walker(Walker::Kind::Person, seed);
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
