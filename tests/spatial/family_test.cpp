#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

#include "tests/spatial/support.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/random.hpp"

#ifndef QEL_SOAK_OBJECTS
#define QEL_SOAK_OBJECTS 1'000'000
#endif

namespace qel::tests::spatial {
namespace {

std::shared_ptr<meta::data::Zone> ZoneFor(observable::Observable const& rule) {
    return SchemasOf(rule).front().GetReference() == "zone.line"
               ? std::make_shared<meta::data::Zone>(1, "line", std::vector<Point>{{0.25, 1.0}, {0.25, 0.0}},
                                                    meta::data::Zone::Shape::Line)
               : Square();
}

class FamilyTest : public testing::TestWithParam<char const*> {};
INSTANTIATE_TEST_SUITE_P(Types, FamilyTest, testing::Values("Count", "Dwell", "Enter", "Exit", "LineCross", "Presence"),
                         [](auto const& info) { return std::string(info.param); });

TEST_P(FamilyTest, HasAnInstanceNamedLikeTheTypeThatReadsNoOtherObservable) {
    auto const rule = MakeRule(GetParam());
    EXPECT_EQ(rule->GetName(), GetParam());
    EXPECT_EQ(rule->GetTypeName(), std::string("qel.observable.spatial.") + GetParam());
    EXPECT_TRUE(rule->GetDependents().empty());
    EXPECT_TRUE(rule->GetInputProperties().empty());
}

TEST_P(FamilyTest, PassesOverNullsAndUnknownItems) {
    auto const rule = MakeRule(GetParam());
    meta::Meta const frame(At(0));
    frame.Append(nullptr);
    frame.Append(Record(4));
    frame.Append(MakeEvent(At(0), At(0), {nullptr}));
    EXPECT_TRUE(rule->Process(frame).empty());
}

/// Where an object is from one change to the next, all of them at least a second apart.
struct Walk {
    std::vector<char> places;
    std::vector<std::int64_t> ends;

    explicit Walk(Random& random) {
        std::int64_t end = 0;
        for (int change = 0; change < 12; ++change) {
            places.push_back("oi.r"[random.Below(4)]);
            ends.push_back(end += 1000 * (1 + static_cast<std::int64_t>(random.Below(4))) + 5);
        }
    }

    char At(std::int64_t time) const {
        return places[static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end() - 1, time) - ends.begin())];
    }
};

/// The events about a walk, each by the place in the walk where it was first reported.
std::vector<std::size_t> EventsAbout(Walk const& walk, std::string const& type, Settings const& settings,
                                     std::int64_t step) {
    auto const rule = MakeRule(type, settings);
    Player player(rule, ZoneFor(*rule));
    std::string known = "-";
    std::vector<std::size_t> events;
    for (; player.time <= walk.ends.back();) {
        auto const place = std::upper_bound(walk.ends.begin(), walk.ends.end(), player.time) - walk.ends.begin();
        for (char const event : player.Play(std::string(1, walk.At(player.time)), step)) {
            if (known.find(event) == std::string::npos) {
                known += event;
                events.push_back(static_cast<std::size_t>(place));
            }
        }
    }
    return events;
}

TEST_P(FamilyTest, TellsTheSameEventsAtEveryFrameRate) {
    std::size_t told = 0;
    RunAtRandom(100, [&](Random& random) {
        Walk const walk(random);
        Settings settings;
        if (std::string(GetParam()) == "Dwell") {
            settings.push_back(Time("duration", 2500));
        }
        auto const at50 = EventsAbout(walk, GetParam(), settings, 20);
        told += at50.size();
        for (std::int64_t const step : {40, 100, 200}) {
            EXPECT_EQ(EventsAbout(walk, GetParam(), settings, step), at50)
                << "at " << 1000 / step << " frames a second";
        }
    });
    EXPECT_GT(told, std::getenv("QEL_RANDOM_RUNS") ? 0u : 100u);
}

TEST_P(FamilyTest, ForgetsObjectsThatAreGone) {
    auto const rule = MakeRule(GetParam(), {Text("name", "soak")});
    auto const zone = ZoneFor(*rule);
    constexpr unsigned int Objects = QEL_SOAK_OBJECTS;
    constexpr unsigned int AtOnce = 10;
    std::size_t most = 0;
    std::size_t mostEarly = 0;
    auto const before = LiveBytes();
    for (unsigned int first = 0; first < Objects; first += AtOnce) {
        meta::Meta const frame(At(std::int64_t{first} * 10));  // 100 ms from frame to frame
        frame.Append(zone);
        for (unsigned int id = first; id < first + AtOnce; ++id) {
            frame.Append(Standing(id, PlaceOf(id % 2 == 0 ? 'i' : 'o')));
        }
        rule->Process(frame);
        most = std::max(most, LiveBytes() - before);
        if (first < Objects / 10) {
            mostEarly = most;
        }
    }
    EXPECT_LE(most, mostEarly + mostEarly / 10) << "bytes, at most, over the whole run and over its first tenth";
}

}  // namespace
}  // namespace qel::tests::spatial
