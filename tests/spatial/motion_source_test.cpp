// What Speed and Direction share.
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "tests/spatial/model.hpp"
#include "tests/support/allocation_counter.hpp"

namespace qel::tests::spatial {
namespace {

// Frames are 250 ms apart, so that a digit from frame to frame is a quarter of the picture's height per second.
constexpr std::int64_t Step = 250;
Settings const Walking{Real("minimum", 0.2)};

Settings With(Settings settings, Settings const& more) {
    settings.insert(settings.end(), more.begin(), more.end());
    return settings;
}

class MotionTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(MotionTimelineTest, Reports) {
    Player player(MakeRule("Speed", With(Walking, GetParam().settings)));
    EXPECT_EQ(player.Play(GetParam().places, Step), GetParam().reported);
}

Settings const NoHold{Time("hold_off", 0)};

INSTANTIATE_TEST_SUITE_P(
    Window, MotionTimelineTest,
    testing::Values(Timeline{"MustBeHalfFull", NoHold, "01234", "--AAA"},
                    Timeline{"OfTwoSecondsToo", {Time("window", 2000), Time("hold_off", 0)}, "0123456", "----AAA"},
                    Timeline{
                        "IsNotHalfFullAMomentBefore", {Time("window", 1001), Time("hold_off", 0)}, "01234", "---AA"},
                    Timeline{"ReachesBackToTheOldestSampleThatIsNotOlder", NoHold, "0000044444444", "-----AAAA----"},
                    Timeline{"IsTooShortForFramesFartherApart", {Time("window", 249)}, "02468", "-----"},
                    Timeline{"OfNoTimeKnowsNoMovement", {Time("window", 0)}, "02468", "-----"},
                    Timeline{"IsNotFilledByFramesFartherApart", NoHold, "0____8____0____8", "----"}),
    NameOf);

INSTANTIATE_TEST_SUITE_P(
    Path, MotionTimelineTest,
    testing::Values(Timeline{"GoesOnThroughAnAbsenceOfExactlyTheHoldOff", {Time("hold_off", 500)}, "012.45", "--AAAA"},
                    Timeline{"BeginsAnewAfterALongerOne", {Time("hold_off", 499)}, "012.345", "--AA--B"},
                    Timeline{"BeginsAnewAfterAnyWithoutHoldOff", {Time("hold_off", 0)}, "012.345", "--A---B"},
                    Timeline{"BeginsAnewThoughNoFrameFellLater", {Time("hold_off", 500)}, "012._345", "--AA--B"},
                    Timeline{"IsThatOfConsecutiveFramesHoweverFarApart", {Time("hold_off", 0)}, "0_2_4", "-AA"},
                    Timeline{"GoesOnOutsideOfTheZone", {Time("hold_off", 0), Real("aspect", 1)}, "ooooi", "----A"},
                    Timeline{"OfAReusedIdBeginsAnew", {}, "01234....012", "--AAAAA----B"}),
    NameOf);

TEST(MotionSourceTest, AnObjectThatComesIntoTheZoneIsKnownFromBefore) {
    Player player(MakeRule("Speed", {Real("minimum", 0.2), Time("hold_off", 0)}));
    std::string words;
    for (int frame = 0; frame < 8; ++frame) {
        words += player.Play(At(frame * Step), {Standing(7, {0.5, 0.0625 * frame})});
    }
    EXPECT_EQ(words, "----AAAA") << "the zone begins at a quarter of the height";
    EXPECT_EQ(player.Spans(), "A 1000..1750");
}

TEST(MotionSourceTest, AFrameWithoutTheZoneHoldsNothingAndForgetsNoSample) {
    Player player(MakeRule("Speed", With(Walking, NoHold)));
    player.zone = nullptr;
    EXPECT_EQ(player.Play("0123", Step), "----");
    player.zone = Square();
    EXPECT_EQ(player.Play("4", Step), "A");
    player.zone = Square(2);
    EXPECT_EQ(player.Play("5", Step), "-");
}

TEST(MotionSourceTest, OnlyObjectsThatCountLeaveSamples) {
    Player player(MakeRule("Speed", With(Walking, {Text("classes", "car"), Time("hold_off", 0)})));
    EXPECT_EQ(player.Play(At(0), {Standing(7, PlaceOf('0'), "car")}), "-");
    EXPECT_EQ(player.Play(At(250), {Standing(7, PlaceOf('1'), "bus")}), "-");
    EXPECT_EQ(player.Play(At(500), {Standing(7, PlaceOf('2'), "car")}), "-");
    EXPECT_EQ(player.Play(At(750), {Standing(7, PlaceOf('3'), "car")}), "-");
    EXPECT_EQ(player.Play(At(1000), {Standing(7, PlaceOf('4'), "car")}), "A");
}

TEST(MotionSourceTest, HoldsOnAndOff) {
    Player player(MakeRule("Speed", With(Walking, {Time("hold_on", 500), Time("hold_off", 500)})));
    EXPECT_EQ(player.Play("01234.67", Step), "----AAAA");
    EXPECT_EQ(player.Spans(), "A 500..1750");
}

TEST(MotionSourceTest, ObjectsAreToldApartAndReportedByAscendingId) {
    Player player(MakeRule("Speed", Walking));
    EXPECT_EQ(player.Play(At(0), {Standing(9, PlaceOf('0')), Standing(3, PlaceOf('8')), Standing(4, PlaceOf('4'))}),
              "-");
    EXPECT_EQ(player.Play(At(500), {Standing(9, PlaceOf('2')), Standing(3, PlaceOf('8')), Standing(4, PlaceOf('4'))}),
              "A");
    EXPECT_EQ(player.Play(At(1000), {Standing(9, PlaceOf('4')), Standing(3, PlaceOf('4')), Standing(4, PlaceOf('4'))}),
              "BA");
}

TEST(MotionSourceTest, ResetForgetsEverything) {
    Player player(MakeRule("Speed", Walking));
    EXPECT_EQ(player.Play("012", Step), "--A");
    player.rule->Reset();
    EXPECT_EQ(player.Play("345", Step), "--B");
}

TEST(MotionSourceTest, OfSeveralSamplesOfOneTimeTheLastCounts) {
    Player player(MakeRule("Speed", With(Walking, {Real("maximum", 0.3)})));
    player.Play(At(0), {Standing(7, PlaceOf('8'))});
    player.Play(At(0), {Standing(7, PlaceOf('0'))});
    EXPECT_EQ(player.Play(At(500), {Standing(7, PlaceOf('0'))}), "-");
    EXPECT_EQ(player.Play(At(500), {Standing(7, PlaceOf('2'))}), "A");
}

TEST(MotionSourceTest, WhereTimeRunsBackwardsThePathGoesOnFromWhatCameBefore) {
    Player player(MakeRule("Speed", With(Walking, NoHold)));
    player.Play(At(0), {Standing(7, PlaceOf('0'))});
    player.Play(At(400), {Standing(7, PlaceOf('8'))});
    EXPECT_EQ(player.Play(At(300), {Standing(7, PlaceOf('0'))}), "-");
    EXPECT_EQ(player.Play(At(1000), {Standing(7, PlaceOf('0'))}), "-");
    EXPECT_EQ(player.Play(At(1300), {Standing(7, PlaceOf('4'))}), "A") << "from 300 on";
}

TEST(MotionSourceTest, WhereTimeRunsBackBeforeThePathItBeginsAnew) {
    Player player(MakeRule("Speed", With(Walking, NoHold)));
    player.Play(At(0), {Standing(7, PlaceOf('4'))});
    player.Play(At(1000), {Standing(7, PlaceOf('4'))});
    EXPECT_EQ(player.Play(At(-10'000), {Standing(7, PlaceOf('4'))}), "-");
    EXPECT_EQ(player.Play(At(-9'501), {Standing(7, PlaceOf('8'))}), "-");
    EXPECT_EQ(player.Play(At(-9'500), {Standing(7, PlaceOf('8'))}), "A");
}

TEST(MotionSourceTest, StandsTimesThatAreFarApart) {
    Player player(MakeRule("Speed", {Real("minimum", 0), Time("window", 86'400'000), Time("hold_off", 86'400'000)}));
    for (auto const time : {meta::Timestamp::max(), meta::Timestamp::min(), meta::Timestamp::max(), At(0),
                            meta::Timestamp::min(), At(1), meta::Timestamp::max()}) {
        EXPECT_EQ(player.Play(time, {Standing(7, PlaceOf('0'))}), "-");
        EXPECT_EQ(player.Play(time, {}), "-");
    }
}

TEST(MotionSourceTest, KeepsABoundedNumberOfSamplesOfAWindow) {
    // Down at half the picture's height a second, in a hundred thousand frames of ten microseconds each.
    auto const rule = MakeRule("Speed", {Real("minimum", 0.499), Real("maximum", 0.501), Text("name", "dense")});
    std::size_t most = 0;
    std::size_t reported = 0;
    auto const before = LiveBytes();
    constexpr int Frames = 100'000;
    auto const zone = Square();
    for (int frame = 0; frame < Frames; ++frame) {
        meta::Meta const now(meta::Timestamp(std::chrono::microseconds(10) * frame));
        now.Append(zone);
        now.Append(Standing(7, {0.5, 0.25 + 0.5 * frame / Frames}));
        reported += rule->Process(now).size();
        most = std::max(most, LiveBytes() - before);
    }
    EXPECT_EQ(reported, std::size_t{Frames} / 2);
    EXPECT_LE(most, 100'000u) << "bytes";
}

TEST(MotionSourceTest, KeepsTheLastSampleBeforeAPauseHoweverDenseTheyWere) {
    Player player(MakeRule("Speed", With(Walking, NoHold)));
    player.Play(meta::Timestamp(std::chrono::microseconds(0)), {Standing(7, PlaceOf('8'))});
    player.Play(meta::Timestamp(std::chrono::microseconds(300)), {Standing(7, PlaceOf('4'))});
    player.Play(meta::Timestamp(std::chrono::microseconds(600)), {Standing(7, PlaceOf('2'))});
    EXPECT_EQ(player.Play(meta::Timestamp(std::chrono::microseconds(1'000'100)), {Standing(7, PlaceOf('6'))}), "A");
}

/// Which frames hold, found anew for each of them from the whole track.
std::vector<bool> HeldIn(Track const& track, std::int64_t window, std::int64_t off,
                         std::function<bool(double right, double down)> const& holds) {
    std::vector<bool> held;
    for (std::size_t frame = 0; frame < track.size(); ++frame) {
        held.push_back(false);
        if (!track[frame].place || !IsInSquare(*track[frame].place)) {
            continue;
        }
        std::size_t oldest = frame;
        for (std::size_t at = frame, before = frame; before-- > 0;) {
            if (!track[before].place) {
                continue;
            }
            if (before + 1 < at && track[at].time - track[before].time > off) {
                break;
            }
            if (track[before].time < track[oldest].time && track[frame].time - track[before].time <= window) {
                oldest = before;
            }
            at = before;
        }
        auto const time = track[frame].time - track[oldest].time;
        if (time > 0 && time >= window / 2.0) {
            double const seconds = static_cast<double>(time) / 1000;
            held[frame] = holds((track[frame].place->x - track[oldest].place->x) * 16 / 9 / seconds,
                                (track[frame].place->y - track[oldest].place->y) / seconds);
        }
    }
    return held;
}

std::vector<std::string> ExpectedOf(Track const& track, std::vector<bool> const& held, std::int64_t on,
                                    std::int64_t off) {
    Expected expected;
    std::vector<std::string> spans;
    bool reported = false;
    std::int64_t onset = 0;
    std::int64_t last = 0;
    for (std::size_t frame = 0; frame < track.size(); ++frame) {
        auto const now = track[frame].time;
        bool const isNoGap = frame > 0 && held[frame - 1] && held[frame];
        reported = reported && (isNoGap || now - last <= off);
        if (held[frame]) {
            if (!isNoGap && !reported) {
                onset = now;
            }
            last = now;
            if (!reported && now - onset >= on) {
                reported = true;
                expected.Start(onset);
            }
        }
        spans.push_back(reported ? expected.Spans(last) : "");
    }
    return spans;
}

TEST(MotionSourceTest, AgreesWithLeafingBackThroughAllFrames) {
    std::size_t told = 0;
    RunAtRandom(300, [&](Random& random) {
        auto const track = RandomTrack(random, 150);
        auto const window = static_cast<std::int64_t>(random.Below(20) * 100);
        auto const on = static_cast<std::int64_t>(random.Below(2) * random.Below(6) * 100);
        auto const off = static_cast<std::int64_t>(random.Below(8) * 100);
        Settings const common{Time("window", window), Time("hold_on", on), Time("hold_off", off)};
        auto const compare = [&](std::shared_ptr<observable::Observable> const& rule, auto const& holds) {
            auto const spans = SpansOf(rule, track);
            EXPECT_EQ(spans, ExpectedOf(track, HeldIn(track, window, off, holds), on, off)) << rule->GetTypeName();
            told += static_cast<std::size_t>(
                std::count_if(spans.begin(), spans.end(), [](auto const& each) { return !each.empty(); }));
        };

        double const minimum = 0.0987 + 0.1 * static_cast<double>(random.Below(5));
        double const maximum = minimum + 0.3;
        compare(MakeRule("Speed", With(common, {Real("minimum", minimum), Real("maximum", maximum)})),
                [&](double right, double down) {
                    double const squared = right * right + down * down;
                    return squared > minimum * minimum && squared < maximum * maximum;
                });

        double const heading = 0.34 + static_cast<double>(random.Below(360));
        double const tolerance = 10.12 + static_cast<double>(random.Below(90));
        compare(MakeRule("Direction", With(common, {Real("heading", heading), Real("tolerance", tolerance),
                                                    Real("minimum_speed", minimum)})),
                [&](double right, double down) {
                    double const radians = heading / 180 * std::numbers::pi;
                    double const speed = std::sqrt(right * right + down * down);
                    // What is left of the way when it is seen from the heading.
                    double const along = (right * std::sin(radians) - down * std::cos(radians)) / speed;
                    return speed > minimum && along > std::cos(tolerance / 180 * std::numbers::pi);
                });
    });
    EXPECT_GT(told, std::getenv("QEL_RANDOM_RUNS") ? 0u : 5000u);
}

}  // namespace
}  // namespace qel::tests::spatial
