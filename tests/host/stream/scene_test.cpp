#include "host/stream/scene.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "host/failure.hpp"

namespace qel::host {
namespace {

using Kind = Walker::Kind;
using Objects = std::vector<Scene::Object>;

constexpr std::int64_t Minute = 60'000;

std::vector<Objects> Watch(Scene::Options const& options, std::int64_t minutes) {
    Scene scene(options);
    std::vector<Objects> frames;
    for (std::int64_t time = 0; time < minutes * Minute; time += 40) {
        frames.push_back(scene.LookAt(time));
    }
    return frames;
}

/// Everything but the id.
auto LookOf(Scene::Object const& object) {
    auto const& [left, top, width, height] = object.box;
    return std::tuple(object.kind, left, top, width, height, object.confidence);
}

bool Overlap(Walker::Box const& one, Walker::Box const& other) {
    return std::max(one.left, other.left) < std::min(one.left + one.width, other.left + other.width) &&
           std::max(one.top, other.top) < std::min(one.top + one.height, other.top + other.height);
}

/// What became of the ids of those who are seen, whose true ids a scene without switches has.
struct Switches {
    double followed = 0;  // detections of somebody who has been detected before
    double exchanges = 0;
    double news = 0;
};

Switches Count(std::vector<Objects> const& truth, std::vector<Objects> const& seen) {
    Switches count;
    std::map<std::uint32_t, std::uint32_t> last;  // the id that is seen, by the true id
    std::set<std::uint32_t> known;
    for (std::size_t frame = 0; frame < truth.size(); ++frame) {
        std::map<std::uint32_t, Scene::Object const*> before;  // by the id that it had
        for (std::size_t at = 0; at < truth[frame].size(); ++at) {
            if (auto const found = last.find(truth[frame][at].id); found != last.end()) {
                before[found->second] = &seen[frame][at];
            }
        }
        for (std::size_t at = 0; at < truth[frame].size(); ++at) {
            auto const& now = seen[frame][at];
            auto const found = last.find(truth[frame][at].id);
            if (found == last.end()) {
                EXPECT_TRUE(known.insert(now.id).second) << "who comes has an id that somebody had";
                continue;
            }
            ++count.followed;
            if (now.id == found->second) {
                continue;
            }
            if (known.insert(now.id).second) {
                ++count.news;
                continue;
            }
            ++count.exchanges;
            auto const other = before.find(now.id);
            if (other == before.end()) {
                ADD_FAILURE() << "the id is that of nobody in the frame";
                continue;
            }
            EXPECT_EQ(other->second->id, found->second) << "an exchange is mutual";
            EXPECT_EQ(other->second->kind, now.kind);
            EXPECT_TRUE(Overlap(other->second->box, now.box));
        }
        for (std::size_t at = 0; at < truth[frame].size(); ++at) {
            last[truth[frame][at].id] = seen[frame][at].id;
        }
    }
    return count;
}

TEST(SceneTest, HasAsManyPeopleAndVehiclesAsAskedFor) {
    for (auto const& [people, vehicles] : {std::pair(7u, 3u), std::pair(0u, 2u), std::pair(4u, 0u)}) {
        std::set<std::uint32_t> walkers;
        for (auto const& objects : Watch({.people = people, .vehicles = vehicles}, 5)) {
            for (auto const& object : objects) {
                std::uint32_t const walker = (object.id - 1) % (people + vehicles);
                walkers.insert(walker);
                ASSERT_EQ(object.kind, walker < people ? Kind::Person : Kind::Vehicle);
            }
        }
        EXPECT_EQ(walkers.size(), people + vehicles);
    }
    for (auto const& objects : Watch({.people = 0, .vehicles = 0}, 1)) {
        EXPECT_TRUE(objects.empty());
    }
}

TEST(SceneTest, IsTheSameForTheSameOptionsAndDiffersFromSeedToSeed) {
    auto const looks = [](std::uint64_t seed) {
        std::vector<std::tuple<std::uint32_t, decltype(LookOf({}))>> list;
        for (auto const& objects : Watch({.seed = seed, .detector = {}, .idSwitches = 50'000}, 1)) {
            for (auto const& object : objects) {
                list.emplace_back(object.id, LookOf(object));
            }
        }
        return list;
    };
    EXPECT_EQ(looks(3), looks(3));
    EXPECT_NE(looks(3), looks(4));
}

TEST(SceneTest, ShowsWithDropOutsAPartOfWhatItShowsWithout) {
    auto const all = Watch({.people = 20, .detector = {0, 1'500}}, 5);
    auto const some = Watch({.people = 20, .detector = {300'000, 1'500}}, 5);
    double present = 0;
    double seen = 0;
    for (std::size_t frame = 0; frame < all.size(); ++frame) {
        std::map<std::uint32_t, Scene::Object const*> byId;
        for (auto const& object : all[frame]) {
            byId[object.id] = &object;
        }
        for (auto const& object : some[frame]) {
            ASSERT_TRUE(byId.contains(object.id)) << "ids stay what they were";
            ASSERT_EQ(LookOf(object), LookOf(*byId[object.id]));
        }
        present += static_cast<double>(all[frame].size());
        seen += static_cast<double>(some[frame].size());
    }
    EXPECT_GT(present, 50'000);
    EXPECT_NEAR(seen / present, 0.7, 0.01);
}

TEST(SceneTest, SwitchesIdsAtTheRateAndChangesNothingElse) {
    Scene::Options options{.people = 20, .vehicles = 10, .detector = {100'000, 1'500}};
    auto const truth = Watch(options, 6);
    for (std::int64_t const rate : {0, 1'000, 20'000, 1'000'000}) {
        options.idSwitches = rate;
        auto const seen = Watch(options, 6);
        for (std::size_t frame = 0; frame < truth.size(); ++frame) {
            ASSERT_EQ(truth[frame].size(), seen[frame].size());
            std::set<std::uint32_t> ids;
            for (std::size_t at = 0; at < truth[frame].size(); ++at) {
                ASSERT_EQ(LookOf(truth[frame][at]), LookOf(seen[frame][at]));
                ASSERT_TRUE(ids.insert(seen[frame][at].id).second) << "an id stands twice in a frame";
                ASSERT_TRUE(rate > 0 || truth[frame][at].id == seen[frame][at].id);
            }
        }
        auto const count = Count(truth, seen);
        double const probability = static_cast<double>(rate) / 1e6;
        // Those who exchange their ids switch together, so the count varies by up to twice as much as single draws.
        double const deviation = std::sqrt(2 * count.followed * probability * (1 - probability));
        EXPECT_GT(count.followed, 120'000);
        EXPECT_NEAR(count.exchanges + count.news, count.followed * probability, 4 * deviation) << rate;
        if (rate > 0) {
            EXPECT_GT(count.exchanges, (count.exchanges + count.news) / 20) << rate;
            EXPECT_GT(count.news, (count.exchanges + count.news) / 20) << rate;
        }
    }
}

TEST(SceneTest, EndsWhenThereAreNoMoreIds) {
    Scene scene({.people = 0, .vehicles = 5'000, .detector = {0, 0}});
    std::int64_t const late = 10'000'000 * Minute / 60;  // by when each has crossed a million times and more
    try {
        for (std::int64_t time = late; time < late + Minute; time += 1'000) {
            scene.LookAt(time);
        }
        FAIL() << "there are ids left";
    } catch (Failure const& failure) {
        EXPECT_STREQ(failure.what(), "the scene has used up all ids");
    }
}

}  // namespace
}  // namespace qel::host
