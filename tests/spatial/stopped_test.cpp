#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

#include "tests/spatial/model.hpp"

namespace qel::tests::spatial {
namespace {

using testing::ElementsAre;

// Two digits of a timeline are as far apart as the distance, frames are 100 ms apart.
Settings const Usual{Real("distance", 0.125), Time("duration", 300), Time("hold_off", 200)};

Settings With(Settings settings, Settings const& more) {
    settings.insert(settings.end(), more.begin(), more.end());
    return settings;
}

class StoppedTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(StoppedTimelineTest, Reports) {
    Player player(MakeRule("Stopped", With(Usual, GetParam().settings)));
    EXPECT_EQ(player.Play(GetParam().places), GetParam().reported);
}

INSTANTIATE_TEST_SUITE_P(
    Rest, StoppedTimelineTest,
    testing::Values(Timeline{"MustBeStrictlyLonger", {}, "22222", "----A"},
                    Timeline{"IsOneEvent", {}, "2222222", "----AAA"},
                    Timeline{"MayMoveUpToTheDistance", {}, "2130420", "----AAA"},
                    Timeline{"BeyondTheDistanceBeginsAnewThere", {}, "255555", "-----A"},
                    Timeline{"TheDistanceIsThatFromTheOnset", {}, "23455555", "-------A"},
                    Timeline{"NotThatFromTheLastSample", {}, "20404", "----A"},
                    Timeline{"MovingOnIsNoRest", {}, "036036036", "---------"},
                    Timeline{"OutsideTheZoneIsNone", {}, "ooooooo", "-------"},
                    Timeline{"MayBeOnTheEdge", {}, "eeeee", "----A"},
                    Timeline{"OfNoDurationIsReportedInTheSecondFrame", {Time("duration", 0)}, "2222", "-AAA"},
                    Timeline{"OfNoDistanceIsStandingStill", {Real("distance", 0)}, "1222223", "-----AA"},
                    Timeline{"OfFarApartFramesHasNoGap", {}, "2________2________2", "-AA"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(GapBeforeTheStart, StoppedTimelineTest,
                         testing::Values(Timeline{"AnAbsenceBeginsAnew", {}, "22.22222", "-------A"},
                                         Timeline{"AStepOutOfTheZoneBeginsAnew", {}, "22o22222", "-------A"},
                                         Timeline{"AnExcursionBeginsAnew", {}, "22622222", "-------A"},
                                         Timeline{"ThatFewFramesSawIsNone", {}, "22_22", "---A"}),
                         NameOf);

INSTANTIATE_TEST_SUITE_P(
    GapAfterTheStart, StoppedTimelineTest,
    testing::Values(
        Timeline{"OfAnExcursionIsBridged", {}, "22222622", "----AAAA"},
        Timeline{"OfAnAbsenceIsBridged", {}, "22222.22", "----AAAA"},
        Timeline{"OfAStepOutOfTheZoneIsBridged", {}, "22222o22", "----AAAA"},
        Timeline{"OfDifferentKindsIsOneGap", {Time("hold_off", 400)}, "22222.o62", "----AAAAA"},
        Timeline{"IsTooLongInTheFirstFrameThatIsLater", {}, "22222......", "----AAA----"},
        Timeline{"AReturnThatIsTooLateIsNew", {}, "2222266222222", "----AAA----BB"},
        Timeline{"AReturnThatIsTooLateIsNewThoughNoFrameFellBetween", {}, "222226__222222", "----AA----BB"},
        Timeline{"AReusedIdStartsAnew", {}, "22222....22222", "----AAA------B"},
        Timeline{"ARestElsewhereCountsFromItsFirstSample", {}, "2222266666", "----AAA--B"},
        Timeline{"AShorterRestElsewhereWaitsForTheEndOfTheGap",
                 {Time("duration", 100), Time("hold_off", 400)},
                 "222666666",
                 "--AAAAABB"},
        Timeline{"AReturnForgetsTheRestElsewhere",
                 {Time("duration", 100), Time("hold_off", 400)},
                 "2226622666666",
                 "--AAAAAAAAABB"},
        Timeline{"WithinTheDistanceOfBothPlacesItIsInTheFirst", {}, "22222544444", "----AAAAAAA"},
        Timeline{"WithoutHoldOffAnAbsenceEndsTheEvent", {Time("hold_off", 0)}, "222222.222222", "----AA-----BB"},
        Timeline{"WithoutHoldOffAnExcursionEndsTheEvent", {Time("hold_off", 0)}, "2222266666", "----A----B"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    HoldOn, StoppedTimelineTest,
    testing::Values(Timeline{"CountsFromTheOnset", {Time("hold_on", 600)}, "22222222", "------AA"},
                    Timeline{"ChangesNothingWhenItIsShorter", {Time("hold_on", 200)}, "222222", "----AA"},
                    Timeline{"AGapBeforeItRanOutBeginsAnew", {Time("hold_on", 600)}, "22222.2222222", "------------A"}),
    NameOf);

TEST(StoppedTest, LastsFromTheOnsetToTheLastFrameInPlaceAndCarriesItsRecordTheObjectAndTheZone) {
    auto const rule = MakeRule("Stopped", With(Usual, {Text("name", "parked")}));
    rule->SetId(12);
    Player player(rule);
    EXPECT_EQ(player.Play("722224"), "-----A");
    EXPECT_THAT(player.Describe(), ElementsAre("A parked/stopped/spatial 100..500 [record 12, object 7 "
                                               "person@1(0.375 0.25 0.25 0.25), zone 1 square(0.25 0.25;0.75 0.25;0.75 "
                                               "0.75;0.25 0.75;)]"));
    EXPECT_EQ(player.Play("8"), "A");
    EXPECT_THAT(player.Describe(), ElementsAre("A parked/stopped/spatial 100..500 [record 12, object 7 "
                                               "person@1(0.375 0.5 0.25 0.25), zone 1 square(0.25 0.25;0.75 0.25;0.75 "
                                               "0.75;0.25 0.75;)]"));
}

TEST(StoppedTest, ARestElsewhereStartsThereAndDoesNotReachBackIntoTheFirst) {
    Player player(MakeRule("Stopped", With(Usual, {Time("duration", 100), Time("hold_off", 400)})));
    player.Play("2226666");
    EXPECT_EQ(player.Spans(), "A 0..200");
    player.Play("6");
    EXPECT_EQ(player.Spans(), "B 300..700");
}

TEST(StoppedTest, ObjectsAreToldApartAndReportedByAscendingId) {
    Player player(MakeRule("Stopped", Usual));
    auto const at = [](char nine, char three) {
        return std::vector{Standing(9, PlaceOf(nine)), Standing(3, PlaceOf(three)), Standing(4, PlaceOf('o'))};
    };
    EXPECT_EQ(player.Play(At(0), at('2', '2')), "-");
    EXPECT_EQ(player.Play(At(200), at('2', '6')), "-");
    EXPECT_EQ(player.Play(At(400), at('2', '6')), "A");
    EXPECT_EQ(player.Play(At(600), at('2', '6')), "BA");
}

TEST(StoppedTest, MeasuresInPictureHeights) {
    // A sixteenth of the picture's width is an eighth of the height where the picture is twice as wide as high.
    struct Case {
        Settings settings;
        double x;
        char const* reported;
    };
    for (auto const& [settings, x, reported] :
         {Case{{Real("aspect", 2)}, 0.5625, "--A"}, Case{{Real("aspect", 2)}, 0.5703125, "---"},
          Case{{Real("aspect", 1)}, 0.375, "--A"}, Case{{}, 0.5625, "--A"}, Case{{}, 0.578125, "---"}}) {
        Player player(MakeRule("Stopped", With(Usual, settings)));
        std::string words = player.Play(At(0), {Standing(7, {0.5, 0.5})});
        words += player.Play(At(200), {Standing(7, {x, 0.5})});
        words += player.Play(At(400), {Standing(7, {x, 0.5})});
        EXPECT_EQ(words, reported) << x;
    }
}

TEST(StoppedTest, WithoutItsZoneNothingHolds) {
    Player player(MakeRule("Stopped", Usual));
    EXPECT_EQ(player.Play("22222"), "----A");
    player.zone = nullptr;
    EXPECT_EQ(player.Play("222"), "AA-");
    player.zone = Square();
    EXPECT_EQ(player.Play("22222"), "----B");
}

TEST(StoppedTest, StandsTimesThatRepeatRunBackwardsOrAreFarApart) {
    Player player(MakeRule("Stopped", With(Usual, {Time("duration", 0)})));
    std::vector const object{Standing(7, {0.5, 0.5})};
    EXPECT_EQ(player.Play(At(1000), object), "-");
    EXPECT_EQ(player.Play(At(1000), object), "-");
    EXPECT_EQ(player.Play(At(0), object), "-");
    EXPECT_EQ(player.Play(At(1001), object), "A");
    EXPECT_EQ(player.Play(meta::Timestamp::min(), object), "A");
    EXPECT_EQ(player.Play(meta::Timestamp::max(), object), "A");
    EXPECT_EQ(player.Play(meta::Timestamp::min(), {}), "A");
    player.rule->Reset();
    EXPECT_EQ(player.Play(meta::Timestamp::min(), object), "-");
    EXPECT_EQ(player.Play(meta::Timestamp::max(), object), "B");
}

TEST(StoppedTest, ResetForgetsEverything) {
    Player player(MakeRule("Stopped", Usual));
    EXPECT_EQ(player.Play("22222"), "----A");
    player.rule->Reset();
    EXPECT_EQ(player.Play("22222"), "----B");
}

/// The events as a person would find them who leafs back through all frames at each one.
std::vector<std::string> ExpectedOf(Track const& track, double distance, std::int64_t duration, std::int64_t on,
                                    std::int64_t off) {
    struct Event {
        std::size_t onset;
        std::size_t lastHeld;
    };
    std::optional<Event> event;
    std::size_t firstFree = 0;  // the first frame that belongs to no event
    Expected expected;
    std::vector<std::string> spans;
    auto const isNear = [&](std::size_t onset, std::size_t frame) {
        return track[frame].place && IsInSquare(*track[frame].place) &&
               Heights(*track[onset].place, *track[frame].place, 16.0 / 9.0) <= distance;
    };
    for (std::size_t frame = 0; frame < track.size(); ++frame) {
        auto const now = track[frame].time;
        if (event) {
            bool const isInTime = now - track[event->lastHeld].time <= off;
            if (isNear(event->onset, frame) && (event->lastHeld + 1 == frame || isInTime)) {
                event->lastHeld = frame;
                firstFree = frame + 1;
            } else if (!isInTime) {
                event.reset();
            }
        }
        if (!event) {
            std::optional<std::size_t> onset;
            for (std::size_t at = firstFree; at <= frame; ++at) {
                if (!onset || !isNear(*onset, at)) {
                    bool const canBegin = track[at].place && IsInSquare(*track[at].place);
                    onset = canBegin ? std::optional(at) : std::nullopt;
                }
            }
            if (onset && now - track[*onset].time > duration && now - track[*onset].time >= on) {
                event = Event{*onset, frame};
                firstFree = frame + 1;
                expected.Start(track[*onset].time);
            }
        }
        spans.push_back(event ? expected.Spans(track[event->lastHeld].time) : "");
    }
    return spans;
}

TEST(StoppedTest, AgreesWithLeafingBackThroughAllFrames) {
    std::size_t told = 0;
    RunAtRandom(300, [&](Random& random) {
        auto const track = RandomTrack(random, 150);
        auto const duration = static_cast<std::int64_t>(random.Below(10) * 100);
        auto const on = static_cast<std::int64_t>(random.Below(2) * random.Below(10) * 100);
        auto const off = static_cast<std::int64_t>(random.Below(8) * 100);
        double const distance = random.OneIn(2) ? 0.0312 : 0.1234;
        auto const rule = MakeRule("Stopped", {Real("distance", distance), Time("duration", duration),
                                               Time("hold_on", on), Time("hold_off", off)});
        auto const spans = SpansOf(rule, track);
        EXPECT_EQ(spans, ExpectedOf(track, distance, duration, on, off));
        told += static_cast<std::size_t>(
            std::count_if(spans.begin(), spans.end(), [](auto const& each) { return !each.empty(); }));
    });
    EXPECT_GT(told, std::getenv("QEL_RANDOM_RUNS") ? 0u : 5000u);
}

TEST(StoppedTest, RefusesValuesThatMakeNoSense) {
    auto const rule = MakeRule("Stopped");
    for (auto const& setting : {Real("distance", -0.1), Real("aspect", 0), Real("aspect", -1), Time("duration", -1)}) {
        EXPECT_THROW(Set(rule, setting), std::out_of_range) << setting.name;
    }
}

TEST(StoppedTest, PublishesItsSettings) {
    auto const schemas = SchemasOf(*MakeRule("Stopped"));
    auto const lines = DescribeSettings(schemas);
    auto const presence = DescribeSettings(SchemasOf(*MakeRule("Presence")));
    ASSERT_EQ(lines.size(), 11u);
    EXPECT_EQ(std::vector(lines.begin(), lines.begin() + 6), std::vector(presence.begin(), presence.begin() + 6));
    EXPECT_THAT(
        std::vector(lines.begin() + 6, lines.begin() + 9),
        ElementsAre("distance: qel.property.Double = 0.050000. Must be a number between 0 to 1.7976931348623157e+308. "
                    "How far from where it stopped an object may be, in picture heights; farther away it has stopped "
                    "anew",
                    "duration: qel.property.Milliseconds = 10000ms. Must be a number between 0 to 86400000. The "
                    "milliseconds for longer than which an object must stay there without a gap",
                    "aspect: qel.property.Double = 1.777778. Must be a number between 0.1 to 10. The width of the "
                    "picture over its height; distances are in picture heights"));
    EXPECT_EQ(schemas.front().GetReference(), "zone.polygon");
}

}  // namespace
}  // namespace qel::tests::spatial
