#pragma once

#include <cstddef>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/video/tracking.hpp>

namespace qel::camera {

struct Track {
    unsigned int id;
    cv::Rect2d box;     // in pixels
    double confidence;  // falls while nothing is seen of it
};

/// Follows people from picture to picture, by the overlap of what is seen with where they are expected.
///
/// Each has a Kalman filter over the middle of the feet, the size and the speed. Who is seen for the first time gets an
/// id after some pictures; who is lost is expected to go on as before for a while. People who meet are one box in the
/// picture: there each keeps the size that he had before.
class Tracker {
public:
    struct Settings {
        /// The least overlap of two boxes that can be the same, as a part of what they cover together.
        double minimumOverlap = 0.2;
        /// In how many pictures somebody must have been seen to be reported.
        int confirmAfter = 4;
        /// How many seconds somebody may be out of sight.
        double coast = 1.5;
        /// For how many of them he is still reported, where he is expected.
        double tellUnseen = 0.5;
        /// How tall people are whose feet are at the upper and at the lower edge of the picture, in heights of the
        /// picture.
        double heightAtTop = 0.04;
        double heightAtBottom = 0.25;
    };

    Tracker(Settings const& settings, cv::Size picture) : settings(settings), picture(picture) {}

    /// The people in the next picture, taken so many seconds after the one before, by their ids.
    std::vector<Track> Update(std::vector<cv::Rect2d> const& seen, double seconds);

private:
    struct Person {
        unsigned int id;  // 0 for one who is not yet confirmed
        cv::KalmanFilter filter;
        cv::Rect2d expected;
        cv::Rect2d box;
        int timesSeen;
        double unseenFor;  // seconds
        double confidence;
    };

    using Pieces = std::vector<std::size_t>;   // places in the list of boxes seen: what is seen of a person
    using Members = std::vector<std::size_t>;  // places in the list of people: who is seen in a box

    /// What a picture tells of a person.
    struct Sight {
        enum class Kind { None, Alone, InGroup, Hidden } kind;
        cv::Rect2d box;
    };

    static Person Begin(cv::Rect2d const& box);
    static void Predict(Person& person, double seconds);
    static void Correct(Person& person, cv::Rect2d const& box, double trust);
    std::vector<Pieces> Assign(std::vector<cv::Rect2d> const& boxes) const;
    Sight SightOf(std::size_t person, Pieces const& pieces, std::vector<Members> const& members,
                  std::vector<cv::Rect2d> const& seen) const;
    cv::Rect2d PlaceInGroup(std::size_t person, Members const& group, cv::Rect2d const& seen) const;
    void See(Person& person, Sight const& sight, double seconds) const;
    void SeeAlone(Person& person, cv::Rect2d const& box) const;
    void BeginIn(cv::Rect2d const& box, std::vector<cv::Rect2d> const& known);
    double HeightAt(double foot) const;
    bool IsLost(Person const& person) const;

    Settings settings;
    cv::Size picture;
    std::vector<Person> people;
    unsigned int lastId = 0;
};

}  // namespace qel::camera
