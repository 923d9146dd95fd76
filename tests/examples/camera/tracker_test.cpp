#include "examples/camera/tracker.hpp"

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qel::camera {
namespace {

constexpr double Step = 0.1;  // seconds between pictures
constexpr int Width = 640;
constexpr int Height = 480;

/// People are 100 pixels tall wherever they are.
Tracker MakeTracker(Tracker::Settings settings = {}) {
    settings.heightAtTop = 100.0 / Height;
    settings.heightAtBottom = 100.0 / Height;
    return {settings, {Width, Height}};
}

/// A person whose feet are here.
cv::Rect2d At(double x, double y) { return {x - 18, y - 100, 36, 100}; }

cv::Point2d FootOf(Track const& track) { return {track.box.x + track.box.width / 2, track.box.br().y}; }

/// Who is told in a picture, as "1 2".
std::string IdsOf(std::vector<Track> const& tracks) {
    std::string ids;
    for (auto const& track : tracks) {
        ids += (ids.empty() ? "" : " ") + std::to_string(track.id);
    }
    return ids;
}

// Seen in each picture: 'x' a person who walks to the right, '.' nobody. Told: a digit for the id, '-' for nobody.
struct Timeline {
    char const* name;
    char const* seen;
    char const* told;
};

class TrackerTimelineTest : public testing::TestWithParam<Timeline> {};

TEST_P(TrackerTimelineTest, Tells) {
    Tracker tracker = MakeTracker({.confirmAfter = 3, .coast = 0.55, .tellUnseen = 0.25});
    std::string told;
    double x = 100;
    for (char const* at = GetParam().seen; *at != '\0'; ++at, x += 5) {
        auto const tracks = tracker.Update(*at == 'x' ? std::vector{At(x, 300)} : std::vector<cv::Rect2d>(), Step);
        told += tracks.empty() ? "-" : IdsOf(tracks);
    }
    EXPECT_EQ(told, GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(Tracker, TrackerTimelineTest,
                         testing::Values(Timeline{"NobodyIsNobody", "...", "---"},  //
                                         Timeline{"TheThirdSightConfirms", "xxxxx", "--111"},
                                         Timeline{"ABriefSightIsNobody", "xx.....", "-------"},
                                         Timeline{"AMissBeforeConfirmationStartsAnew", "xx.xxxx", "-----11"},
                                         Timeline{"TheLostAreToldForAWhile", "xxxx......", "--1111----"},
                                         Timeline{"TheLostKeepTheirIdForLonger", "xxxx.....xx", "--1111---11"},
                                         Timeline{"WhoWasLostForLongComesBackAsAnother", "xxxx......xxxx",
                                                  "--1111------22"}),
                         [](auto const& each) { return std::string(each.param.name); });

/// Shows pictures 0 to `count` - 1 and gives what was told in the last.
std::vector<Track> Watch(Tracker& tracker, int count, std::function<std::vector<cv::Rect2d>(int)> const& seenIn) {
    std::vector<Track> tracks;
    for (int picture = 0; picture < count; ++picture) {
        tracks = tracker.Update(seenIn(picture), Step);
    }
    return tracks;
}

TEST(TrackerTest, FollowsAWalkClosely) {
    Tracker tracker = MakeTracker();
    for (int picture = 0; picture < 30; ++picture) {
        cv::Rect2d const person = At(100 + 8 * picture, 200 + 4 * picture);
        for (auto const& track : tracker.Update({person}, Step)) {
            EXPECT_NEAR(FootOf(track).x, person.x + 18, 3);
            EXPECT_NEAR(FootOf(track).y, person.br().y, 3);
            EXPECT_EQ(track.id, 1U);
        }
    }
}

TEST(TrackerTest, ExpectsTheLostToGoOn) {
    Tracker tracker = MakeTracker();
    auto const tracks = Watch(tracker, 15, [](int picture) {
        return picture < 12 ? std::vector{At(100 + 10 * picture, 300)} : std::vector<cv::Rect2d>();
    });
    ASSERT_EQ(tracks.size(), 1U);
    EXPECT_GT(FootOf(tracks.front()).x, 100 + 10 * 11 + 10);
}

TEST(TrackerTest, IsLessSureOfWhomItDoesNotSee) {
    Tracker tracker = MakeTracker();
    double const sure = Watch(tracker, 10, [](int) { return std::vector{At(300, 300)}; }).front().confidence;
    double const unsure = tracker.Update({}, Step).front().confidence;
    EXPECT_GT(sure, 0.9);
    EXPECT_LT(unsure, sure);
    EXPECT_GT(tracker.Update({At(300, 300)}, Step).front().confidence, unsure);
}

TEST(TrackerTest, KeepsTheNumbersOfTwoWhoPassEachOther) {
    Tracker tracker = MakeTracker();
    auto const seen = [](int picture) {
        cv::Rect2d const right = At(100 + 10 * picture, 290);
        cv::Rect2d const left = At(500 - 10 * picture, 310);
        return (right & left).empty() ? std::vector{right, left} : std::vector{right | left};
    };
    auto const before = Watch(tracker, 10, seen);
    ASSERT_EQ(IdsOf(before), "1 2");
    std::vector<Track> tracks;
    for (int picture = 10; picture < 40; ++picture) {
        tracks = tracker.Update(seen(picture), Step);
        EXPECT_EQ(IdsOf(tracks), "1 2") << picture;
    }
    EXPECT_NEAR(FootOf(tracks[0]).x, 490, 10);
    EXPECT_NEAR(FootOf(tracks[1]).x, 110, 10);
}

TEST(TrackerTest, KeepsTheSizesOfTwoWhoAreOneBox) {
    Tracker tracker = MakeTracker();
    auto const tracks = Watch(tracker, 20, [](int picture) {
        auto const a = At(300, 300);
        auto const b = At(330, 300);
        return picture < 10 ? std::vector{At(280, 300), At(350, 300)} : std::vector{a | b};
    });
    ASSERT_EQ(tracks.size(), 2U);
    for (auto const& track : tracks) {
        EXPECT_NEAR(track.box.width, 36, 8);
        EXPECT_NEAR(track.box.height, 100, 8);
    }
    EXPECT_NEAR(FootOf(tracks[0]).x, 300, 6);
    EXPECT_NEAR(FootOf(tracks[1]).x, 330, 6);
}

TEST(TrackerTest, TakesABoxOfTwoWidthsForTwo) {
    Tracker tracker = MakeTracker();
    auto const tracks = Watch(tracker, 10, [](int) { return std::vector{At(300, 300) | At(340, 300)}; });
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_NEAR(FootOf(tracks[0]).x, 300, 6);
    EXPECT_NEAR(FootOf(tracks[1]).x, 340, 6);
}

TEST(TrackerTest, PutsAPersonTogetherWhomAPostCutsInTwo) {
    Tracker tracker = MakeTracker();
    auto const tracks = Watch(tracker, 15, [](int picture) {
        cv::Rect2d const whole = At(300, 300);
        cv::Rect2d const left(whole.x, whole.y, 15, 100);
        cv::Rect2d const right(whole.x + 21, whole.y, 15, 100);
        return picture < 10 ? std::vector{whole} : std::vector{left, right};
    });
    ASSERT_EQ(IdsOf(tracks), "1");
    EXPECT_NEAR(FootOf(tracks.front()).x, 300, 3);
    EXPECT_NEAR(tracks.front().box.width, 36, 4);
}

TEST(TrackerTest, KnowsWhereTheFeetAreOfWhomOnlyTheUpperHalfIsSeen) {
    Tracker tracker = MakeTracker();
    auto const tracks = Watch(tracker, 20, [](int picture) {
        cv::Rect2d person = At(300, 300);
        person.height = picture < 10 ? 100 : 55;
        return std::vector{person};
    });
    ASSERT_EQ(IdsOf(tracks), "1");
    EXPECT_NEAR(FootOf(tracks.front()).y, 300, 6);
}

TEST(TrackerTest, BeginsNoTrackForWhatIsNotAsTallAsAPerson) {
    Tracker tracker = MakeTracker();
    EXPECT_THAT(Watch(tracker, 10,
                      [](int) {
                          return std::vector{cv::Rect2d(100, 100, 30, 30), cv::Rect2d(300, 100, 60, 250)};
                      }),
                testing::IsEmpty());
}

TEST(TrackerTest, LetsGoAtOnceOfWhoLeavesThePicture) {
    Tracker tracker = MakeTracker({.coast = 5, .tellUnseen = 5});
    auto const seen = [](int picture) {
        cv::Rect2d const part = At(560 + 6 * picture, 300) & cv::Rect2d(0, 0, Width, Height);
        return part.width > 8 ? std::vector{part} : std::vector<cv::Rect2d>();
    };
    EXPECT_EQ(IdsOf(Watch(tracker, 10, seen)), "1");
    Tracker another = MakeTracker({.coast = 5, .tellUnseen = 5});
    EXPECT_EQ(IdsOf(Watch(another, 20, seen)), "");
}

TEST(TrackerTest, CountsPeopleInTheOrderOfTheirConfirmation) {
    Tracker tracker = MakeTracker();
    auto const tracks = Watch(tracker, 10, [](int picture) {
        std::vector<cv::Rect2d> seen{At(500, 300)};
        if (picture >= 4) {
            seen.insert(seen.begin(), At(100, 300));
        }
        return seen;
    });
    ASSERT_EQ(IdsOf(tracks), "1 2");
    EXPECT_NEAR(FootOf(tracks[0]).x, 500, 2);
    EXPECT_NEAR(FootOf(tracks[1]).x, 100, 2);
}

}  // namespace
}  // namespace qel::camera
