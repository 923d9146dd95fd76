#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ostream>

#include "tests/spatial/support.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/random.hpp"

namespace qel::tests::spatial {
namespace {

std::shared_ptr<meta::data::Zone> ZoneFor(observable::Observable const& rule) {
    return SchemasOf(rule).front().GetReference() == "zone.line"
               ? std::make_shared<meta::data::Zone>(1, "line", std::vector<Point>{{0.25, 1.0}, {0.25, 0.0}},
                                                    meta::data::Zone::Shape::Line)
               : Square();
}

class FamilyTest : public testing::TestWithParam<char const*> {};
INSTANTIATE_TEST_SUITE_P(Types, FamilyTest,
                         testing::Values("Count", "Direction", "Dwell", "Enter", "Exit", "LineCross", "Presence",
                                         "Speed", "Stopped"),
                         [](auto const& info) { return std::string(info.param); });

TEST_P(FamilyTest, HasAnInstanceNamedLikeTheTypeThatReadsNoOtherObservable) {
    auto const rule = MakeRule(GetParam());
    EXPECT_EQ(rule->GetName(), GetParam());
    EXPECT_EQ(rule->GetTypeName(), std::string("qel.observable.spatial.") + GetParam());
    EXPECT_TRUE(rule->GetDependents().empty());
    EXPECT_TRUE(rule->GetInputProperties().empty());
}

TEST_P(FamilyTest, TakesTheTextsThatASettingOffersAndNoOthers) {
    auto const rule = MakeRule(GetParam());
    auto const schemas = SchemasOf(*rule);
    std::size_t settings = 0;
    for (auto const& schema : schemas) {
        auto const property = BindSetting(schemas, rule, schema.GetName());
        for (auto const& choice : schema.GetChoices()) {
            property->Set(object::String(choice));
            EXPECT_EQ(ValueText(*property->GetObject()), "'" + choice + "'");
        }
        if (!schema.GetChoices().empty()) {
            EXPECT_THROW(property->Set(object::String("another")), std::invalid_argument);
            ++settings;
        }
    }
    EXPECT_EQ(settings, rule->GetName() == "LineCross" ? 2u : 1u) << "anchor, and direction";
}

TEST_P(FamilyTest, KeepsEachSettingApart) {
    auto const rule = MakeRule(GetParam());
    auto const schemas = SchemasOf(*rule);
    std::vector<std::string> given;
    for (std::size_t at = 0; at < schemas.size(); ++at) {
        auto const property = BindSetting(schemas, rule, schemas[at].GetName());
        auto const value = property->GetObject();
        if (value->Is<object::Double>()) {
            property->Set(object::Double(0.25 + static_cast<double>(at) / 64));
        } else if (value->Is<object::Milliseconds>()) {
            property->Set(object::Milliseconds(std::chrono::milliseconds(1000 + at)));
        } else if (value->Is<object::UInt32>()) {
            property->Set(object::UInt32(static_cast<std::uint32_t>(1000 + at)));
        } else if (value->Is<object::Bool>()) {
            property->Set(object::Bool(!value->As<object::Bool>().Get()));
        }
        given.push_back(ValueText(*property->GetObject()));
        EXPECT_TRUE(value->Is<object::String>() || given.back() != ValueText(*value)) << schemas[at].GetName();
    }
    for (std::size_t at = 0; at < schemas.size(); ++at) {
        EXPECT_EQ(ValueText(*BindSetting(schemas, rule, schemas[at].GetName())->GetObject()), given[at])
            << schemas[at].GetName();
    }
}

TEST_P(FamilyTest, PassesOverNullsAndUnknownItems) {
    auto const rule = MakeRule(GetParam());
    meta::Meta const frame(At(0));
    frame.Append(nullptr);
    frame.Append(Record(4));
    frame.Append(MakeEvent(At(0), At(0), {nullptr}));
    EXPECT_TRUE(rule->Process(frame).empty());
}

/// Where two objects are from one change to the next, all of them at least a second apart.
struct Walk {
    struct Stretch {
        std::int64_t end;
        std::array<char, 2> places;
    };
    std::vector<Stretch> stretches;

    explicit Walk(Random& random) {
        std::int64_t end = 0;
        while (stretches.size() < 12) {
            end += 1000 * (1 + static_cast<std::int64_t>(random.Below(4))) + 5;
            stretches.push_back({end, {"oi.r"[random.Below(4)], "oi.r"[random.Below(4)]}});
        }
    }

    std::size_t StretchAt(meta::Timestamp time) const {
        auto const at = std::find_if(stretches.begin(), stretches.end() - 1,
                                     [&](Stretch const& each) { return time < At(each.end); });
        return static_cast<std::size_t>(at - stretches.begin());
    }
};

/// Of an event about a walk, in which stretches it started, was first reported and ended, and whether it is still open.
struct Told {
    std::size_t start;
    std::size_t reported;
    std::size_t end;
    bool isOpen;

    friend bool operator==(Told const&, Told const&) = default;
    friend std::ostream& operator<<(std::ostream& stream, Told const& told) {
        return stream << told.start << ' ' << told.reported << ' ' << told.end << (told.isOpen ? " open" : "");
    }
};

std::vector<Told> EventsAbout(Walk const& walk, std::string const& type, Settings const& settings, std::int64_t step) {
    auto const rule = MakeRule(type, settings);
    Player player(rule, ZoneFor(*rule));
    std::map<unsigned int, Told> events;  // ids ascend
    for (std::int64_t time = 0; time <= walk.stretches.back().end + 1000; time += step) {
        auto const stretch = walk.StretchAt(At(time));
        std::vector<std::shared_ptr<meta::data::Object>> objects;
        for (unsigned int id = 0; id < 2; ++id) {
            if (char const place = walk.stretches[stretch].places[id]; place != '.') {
                objects.push_back(Standing(id, PlaceOf(place)));
            }
        }
        player.Play(At(time), objects);
        for (auto& [id, told] : events) {
            told.isOpen = false;
        }
        for (auto const& each : player.GetLast()) {
            auto const& event = each->As<meta::data::Event>();
            auto& told = events.try_emplace(event.GetId(), Told{walk.StretchAt(event.GetStart()), stretch, 0, false})
                             .first->second;
            told.end = walk.StretchAt(event.GetEnd());
            told.isOpen = true;
        }
    }
    std::vector<Told> list;
    for (auto const& [id, told] : events) {
        list.push_back(told);
    }
    return list;
}

/// Settings with which a rule tells of walks; stretches are longer than the times that hold, and an interval of frames.
std::vector<Settings> SettingsForWalks(std::string const& type) {
    static std::map<std::string, std::vector<Settings>> const settings{
        {"Count",
         {{},
          {Number("minimum", 2)},
          {Number("minimum", 0), Number("maximum", 1), Time("hold_on", 300), Time("hold_off", 0)}}},
        {"Direction", {{Real("heading", 90), Real("tolerance", 180)}}},
        {"Dwell",
         {{Time("duration", 2500)},
          {Time("duration", 1500), Time("hold_on", 700)},
          {Time("duration", 1500), Time("hold_off", 0)}}},
        {"Enter", {{}, {Time("settle", 0), Flag("by_path", true)}, {Time("settle", 700), Flag("by_path", true)}}},
        {"Exit", {{}, {Time("settle", 0), Flag("by_path", true)}, {Time("settle", 700), Flag("by_path", true)}}},
        {"LineCross", {{}, {Time("settle", 0)}, {Time("settle", 700)}}},
        {"Presence", {{}, {Time("hold_on", 700), Time("hold_off", 0)}, {Time("hold_on", 200), Time("hold_off", 300)}}},
        {"Speed", {{}}},
        {"Stopped", {{Time("duration", 2500)}}}};
    return settings.at(type);
}

TEST_P(FamilyTest, TellsTheSameEventsAtEveryFrameRate) {
    for (auto const& settings : SettingsForWalks(GetParam())) {
        SCOPED_TRACE(settings.empty() ? "as preset" : "with " + settings.front().name);
        std::size_t told = 0;
        RunAtRandom(50, [&](Random& random) {
            Walk const walk(random);
            auto const at50 = EventsAbout(walk, GetParam(), settings, 20);
            told += at50.size();
            for (std::int64_t const step : {40, 100, 200}) {
                EXPECT_EQ(EventsAbout(walk, GetParam(), settings, step), at50)
                    << "at " << 1000 / step << " frames a second";
            }
        });
        EXPECT_GT(told, std::getenv("QEL_RANDOM_RUNS") ? 0u : 20u);
    }
}

/// A ride that goes on at one velocity for some seconds, then at another.
struct Ride {
    struct Stretch {
        std::int64_t end;
        Point perSecond;
    };
    std::vector<Stretch> stretches;

    explicit Ride(Random& random) {
        static constexpr Point Velocities[]{{0, 0}, {0.8, 0}, {-0.8, 0}, {0, 0.8}, {0, -0.8}, {0.3, 0}};
        for (std::int64_t end = 0; stretches.size() < 10;) {
            end += 3007 + static_cast<std::int64_t>(random.Below(3000));
            stretches.push_back({end, Velocities[random.Below(6)]});
        }
    }

    Point At(std::int64_t time) const {
        Point place;
        std::int64_t start = 0;
        for (auto const& [end, perSecond] : stretches) {
            double const seconds = static_cast<double>(std::clamp(time, start, end) - start) / 1000;
            place = {place.x + perSecond.x * seconds, place.y + perSecond.y * seconds};
            start = end;
        }
        return place;
    }
};

/// When the events about a ride start and end, in milliseconds.
std::vector<std::pair<std::int64_t, std::int64_t>> TimesAbout(Ride const& ride, std::string const& type,
                                                              Settings const& settings, std::int64_t step) {
    auto const toMilliseconds = [](meta::Timestamp time) { return time.time_since_epoch().count() / 1'000'000; };
    Player player(MakeRule(type, settings),
                  std::make_shared<meta::data::Zone>(
                      1, "everywhere", std::vector<Point>{{-100, -100}, {100, -100}, {100, 100}, {-100, 100}}));
    std::map<unsigned int, std::pair<std::int64_t, std::int64_t>> times;  // ids ascend
    for (std::int64_t time = 0; time <= ride.stretches.back().end; time += step) {
        player.Play(At(time), {Standing(7, ride.At(time))});
        for (auto const& each : player.GetLast()) {
            auto const& event = each->As<meta::data::Event>();
            times[event.GetId()] = {toMilliseconds(event.GetStart()), toMilliseconds(event.GetEnd())};
        }
    }
    std::vector<std::pair<std::int64_t, std::int64_t>> list;
    for (auto const& [id, each] : times) {
        list.push_back(each);
    }
    return list;
}

TEST(MovementTest, IsToldTheSameAtEveryFrameRate) {
    std::map<std::string, Settings> const settingsOf{
        {"Direction", {Real("heading", 90), Real("aspect", 1), Time("hold_off", 100)}},
        {"Speed", {Real("aspect", 1), Time("hold_off", 100)}},
        {"Stopped", {Real("aspect", 1), Time("duration", 1500)}}};
    // A rest begins where the object has come within the distance, in which slow ones are for a while.
    constexpr std::int64_t Approach = 170;
    for (auto const& [type, settings] : settingsOf) {
        std::size_t told = 0;
        RunAtRandom(50, [&, &type = type, &settings = settings](Random& random) {
            Ride const ride(random);
            auto const at50 = TimesAbout(ride, type, settings, 20);
            told += at50.size();
            for (std::int64_t const step : {40, 100, 200}) {
                auto const times = TimesAbout(ride, type, settings, step);
                ASSERT_EQ(times.size(), at50.size()) << type << " at " << 1000 / step << " frames a second";
                for (std::size_t at = 0; at < times.size(); ++at) {
                    EXPECT_LE(std::abs(times[at].first - at50[at].first), step + Approach) << type;
                    EXPECT_LE(std::abs(times[at].second - at50[at].second), step + Approach) << type;
                }
            }
        });
        EXPECT_GT(told, std::getenv("QEL_RANDOM_RUNS") ? 0u : 50u) << type;
    }
}

/// Where an object of the soak is in its first frame and in its second: within the zone, into it or out of it.
Point PlaceInSoak(unsigned int id, bool isSecond) {
    bool const isInside = id % 3 == 0 || (id % 3 == 1) == isSecond;
    auto place = PlaceOf(isInside ? 'i' : 'o');
    place.y += isSecond ? 1 / 32.0 : 0;
    return place;
}

/// Objects come, ten in each frame, and go two frames later.
void ExpectObjectsToBeForgotten(observable::Observable& rule, std::shared_ptr<meta::data::Zone> const& zone) {
    constexpr unsigned int AtOnce = 10;
    constexpr unsigned int Objects = 100'000;
    std::size_t most = 0;
    std::size_t mostEarly = 0;
    std::size_t reported = 0;
    auto const before = LiveBytes();
    for (unsigned int first = 0; first < Objects; first += AtOnce) {
        meta::Meta const frame(At(std::int64_t{first} * 10));  // 100 ms from frame to frame
        frame.Append(zone);
        for (unsigned int id = first < AtOnce ? 0 : first - AtOnce; id < first + AtOnce; ++id) {
            frame.Append(Standing(id, PlaceInSoak(id, id < first)));
        }
        reported += rule.Process(frame).size();
        most = std::max(most, LiveBytes() - before);
        if (first < Objects / 10) {
            mostEarly = most;
        }
    }
    // What the allocator gives beyond what it is asked for changes a little.
    EXPECT_LE(most, mostEarly + 1024) << "bytes, at most, over the whole run and over its first tenth";
    EXPECT_GE(reported, Objects / AtOnce - 1) << "at least one in each frame but the first";
}

TEST_P(FamilyTest, ForgetsObjectsThatAreGone) {
    // So that the second frame of an object is enough for an event.
    static std::map<std::string, Settings> settingsOf{{"Direction", {Real("heading", 180), Time("window", 200)}},
                                                      {"Dwell", {Time("duration", 0)}},
                                                      {"Enter", {Time("settle", 0)}},
                                                      {"Exit", {Time("settle", 0)}},
                                                      {"LineCross", {Time("settle", 0)}},
                                                      {"Speed", {Real("minimum", 0.1), Time("window", 200)}},
                                                      {"Stopped", {Time("duration", 0)}}};
    auto const rule = MakeRule(GetParam(), settingsOf[GetParam()]);
    Set(rule, Text("name", "soak"));
    ExpectObjectsToBeForgotten(*rule, ZoneFor(*rule));
}

TEST(SoakTest, OnsetsAndPathsAreForgottenToo) {
    for (auto const* type : {"Count", "Presence"}) {
        SCOPED_TRACE(type);
        ExpectObjectsToBeForgotten(*MakeRule(type, {Text("name", "soak"), Time("hold_on", 100)}), Square());
    }
    ExpectObjectsToBeForgotten(*MakeRule("LineCross", {Text("name", "soak"), Time("settle", 0)}),
                               std::make_shared<meta::data::Zone>(
                                   1, "line", std::vector<Point>{{0.25, 1.0}, {0.25, 0.5}, {0.1, 0.5}, {0.5, 0.0}},
                                   meta::data::Zone::Shape::Line));
}

}  // namespace
}  // namespace qel::tests::spatial
