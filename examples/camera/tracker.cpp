#include "examples/camera/tracker.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace qel::camera {

namespace {

// The filter's state is (x, y, width, height, speed of x, speed of y) with x and y of the middle of the feet; all but
// the speeds are measured. Its noises are parts of the height, since who is twice as near is off by twice as much.
constexpr int States = 6;
constexpr int Measured = 4;
constexpr float Acceleration = 1.0F;  // a second, twice
constexpr float Growth = 0.1F;        // a second
constexpr float OffPlace = 0.05F;
constexpr float OffSize = 0.1F;
constexpr float FirstSpeed = 1.0F;  // a second

/// A box is one person's when its sides are this far off the expected ones at most, as a factor.
constexpr double SameSize = 1.4;
/// So much of a person must be inside the box of a group that he is in, so much of a piece inside of its person.
constexpr double PartInGroup = 0.5;
constexpr double PartOfPiece = 0.6;
/// A box as large as this in persons may hide another one.
constexpr double RoomForTwo = 1.25;

constexpr double Slenderness = 0.36;  // width over height

/// Who overlaps nothing may be as far off where he is expected, in heights.
constexpr double Reach = 0.5;
/// The part of the speed that is left after each picture without a sight.
constexpr double SpeedKept = 0.7;
/// How much a place counts that is partly guessed.
constexpr double GuessedTrust = 0.3;
/// The part of a person that is in the picture while he is not leaving it.
constexpr double PartInPicture = 0.7;
/// Boxes of these heights in persons can be somebody new; what is left beside those known must be so wide.
constexpr double LeastHeight = 0.6;
constexpr double GreatestHeight = 1.8;
constexpr double WideEnough = 0.8;

constexpr double ConfidenceStep = 0.3;

double PartInside(cv::Rect2d const& box, cv::Rect2d const& other) { return (box & other).area() / box.area(); }

double Overlap(cv::Rect2d const& a, cv::Rect2d const& b) {
    double const both = (a & b).area();
    return both / (a.area() + b.area() - both);
}

cv::Rect2d BoxOf(cv::Mat const& state) {
    auto const at = [&](int row) { return static_cast<double>(state.at<float>(row)); };
    return {at(0) - at(2) / 2, at(1) - at(3), at(2), at(3)};
}

/// The place of a piece of this length, as near as can be to where it was, that covers `from` to `to` or is covered.
double Slide(double place, double length, double from, double to) {
    double const first = std::min(from, to - length);
    double const last = std::max(from, to - length);
    return std::clamp(place, first, last);
}

/// What a person of the expected size is when only a part of him is seen, or more than him.
cv::Rect2d Fit(cv::Rect2d const& expected, cv::Rect2d const& seen) {
    return {Slide(expected.x, expected.width, seen.x, seen.x + seen.width),
            Slide(expected.y, expected.height, seen.y, seen.y + seen.height), expected.width, expected.height};
}

cv::Point2d FootOf(cv::Rect2d const& box) { return {box.x + box.width / 2, box.br().y}; }

bool AreAlike(double a, double b) { return a < b * SameSize && b < a * SameSize; }

}  // namespace

Tracker::Person Tracker::Begin(cv::Rect2d const& box) {
    cv::KalmanFilter filter(States, Measured);
    auto const height = static_cast<float>(box.height);
    filter.statePost = (cv::Mat_<float>(States, 1) << static_cast<float>(box.x + box.width / 2),
                        static_cast<float>(box.y + box.height), static_cast<float>(box.width), height, 0.F, 0.F);
    cv::setIdentity(filter.measurementMatrix);
    cv::Mat_<float> const spread =
        (cv::Mat_<float>(States, 1) << OffPlace, OffPlace, OffSize, OffSize, FirstSpeed, FirstSpeed);
    filter.errorCovPost = cv::Mat::diag(cv::Mat(spread.mul(spread) * height * height));
    return {0, filter, box, box, 1, 0, ConfidenceStep};
}

void Tracker::Predict(Person& person, double seconds) {
    auto& filter = person.filter;
    auto const time = static_cast<float>(seconds);
    auto const height = static_cast<float>(person.box.height);
    cv::setIdentity(filter.transitionMatrix);
    cv::setIdentity(filter.processNoiseCov, 0);
    for (int place = 0; place < 2; ++place) {
        int const speed = Measured + place;
        int const size = 2 + place;
        filter.transitionMatrix.at<float>(place, speed) = time;
        float const push = Acceleration * height * time;
        filter.processNoiseCov.at<float>(speed, speed) = push * push;
        filter.processNoiseCov.at<float>(place, place) = push * push * time * time / 4;
        filter.processNoiseCov.at<float>(place, speed) = push * push * time / 2;
        filter.processNoiseCov.at<float>(speed, place) = push * push * time / 2;
        filter.processNoiseCov.at<float>(size, size) = Growth * height * Growth * height * time;
    }
    person.expected = BoxOf(filter.predict());
}

void Tracker::Correct(Person& person, cv::Rect2d const& box, double trust) {
    auto const height = static_cast<float>(person.box.height);
    auto const noise = static_cast<float>(1 / trust);
    cv::Mat_<float> const spread = (cv::Mat_<float>(Measured, 1) << OffPlace, OffPlace, OffSize, OffSize);
    person.filter.measurementNoiseCov = cv::Mat::diag(cv::Mat(spread.mul(spread) * height * height * noise));
    cv::Mat_<float> const measured =
        (cv::Mat_<float>(Measured, 1) << static_cast<float>(box.x + box.width / 2),
         static_cast<float>(box.y + box.height), static_cast<float>(box.width), static_cast<float>(box.height));
    person.box = BoxOf(person.filter.correct(measured));
}

std::vector<Tracker::Pieces> Tracker::Assign(std::vector<cv::Rect2d> const& boxes) const {
    struct Pair {
        double overlap;
        std::size_t person;
        std::size_t box;
    };
    std::vector<Pair> pairs;
    for (std::size_t person = 0; person < people.size(); ++person) {
        for (std::size_t box = 0; box < boxes.size(); ++box) {
            double const overlap = Overlap(people[person].expected, boxes[box]);
            if (overlap >= settings.minimumOverlap) {
                pairs.push_back({overlap, person, box});
            }
        }
    }
    std::stable_sort(pairs.begin(), pairs.end(), [&](Pair const& a, Pair const& b) {
        bool const aIsKnown = people[a.person].id != 0;
        bool const bIsKnown = people[b.person].id != 0;
        return aIsKnown != bIsKnown ? aIsKnown : a.overlap > b.overlap;
    });
    std::vector<Pieces> pieces(people.size());
    std::vector<bool> isTaken(boxes.size(), false);
    for (auto const& pair : pairs) {
        if (pieces[pair.person].empty() && !isTaken[pair.box]) {
            pieces[pair.person].push_back(pair.box);
            isTaken[pair.box] = true;
        }
    }
    // Who has no box of his own may be behind or beside somebody who has one.
    for (std::size_t person = 0; person < people.size(); ++person) {
        for (std::size_t box = 0; box < boxes.size() && pieces[person].empty(); ++box) {
            if (PartInside(people[person].expected, boxes[box]) >= PartInGroup) {
                pieces[person].push_back(box);
                isTaken[box] = true;
            }
        }
    }
    // Who has turned or hurried is not far.
    for (std::size_t person = 0; person < people.size(); ++person) {
        if (!pieces[person].empty()) {
            continue;
        }
        double nearest = Reach * people[person].expected.height;
        for (std::size_t box = 0; box < boxes.size(); ++box) {
            double const distance = cv::norm(FootOf(people[person].expected) - FootOf(boxes[box]));
            if (!isTaken[box] && distance < nearest) {
                nearest = distance;
                pieces[person] = {box};
            }
        }
        if (!pieces[person].empty()) {
            isTaken[pieces[person].front()] = true;
        }
    }
    // What nobody has may be another piece of somebody who is cut in two by a post.
    for (std::size_t box = 0; box < boxes.size(); ++box) {
        for (std::size_t person = 0; person < people.size() && !isTaken[box]; ++person) {
            if (people[person].id != 0 && PartInside(boxes[box], people[person].expected) >= PartOfPiece) {
                pieces[person].push_back(box);
                isTaken[box] = true;
            }
        }
    }
    return pieces;
}

/// Where a person of a group is, all of whom are seen as one box. Who is outermost on a side ends where the box ends.
cv::Rect2d Tracker::PlaceInGroup(std::size_t person, Members const& group, cv::Rect2d const& seen) const {
    cv::Rect2d const& expected = people[person].expected;
    bool isLeft = true;
    bool isRight = true;
    bool isTop = true;
    bool isBottom = true;
    for (std::size_t const member : group) {
        cv::Rect2d const& other = people[member].expected;
        isLeft = isLeft && expected.x <= other.x;
        isRight = isRight && expected.br().x >= other.br().x;
        isTop = isTop && expected.y <= other.y;
        isBottom = isBottom && expected.br().y >= other.br().y;
    }
    cv::Rect2d place = Fit(expected, seen);
    if (isLeft != isRight) {
        place.x = isLeft ? seen.x : seen.br().x - place.width;
    }
    if (isTop != isBottom) {
        place.y = isTop ? seen.y : seen.br().y - place.height;
    }
    return place;
}

std::vector<Track> Tracker::Update(std::vector<cv::Rect2d> const& seen, double seconds) {
    for (auto& person : people) {
        Predict(person, seconds);
    }
    auto const pieces = Assign(seen);
    std::vector<Members> members(seen.size());
    for (std::size_t person = 0; person < people.size(); ++person) {
        for (std::size_t const piece : pieces[person]) {
            members[piece].push_back(person);
        }
    }
    std::vector<Sight> sights;
    for (std::size_t person = 0; person < people.size(); ++person) {
        sights.push_back(SightOf(person, pieces[person], members, seen));
    }
    for (std::size_t person = 0; person < people.size(); ++person) {
        See(people[person], sights[person], seconds);
    }
    for (std::size_t box = 0; box < seen.size(); ++box) {
        std::vector<cv::Rect2d> known;
        for (std::size_t const member : members[box]) {
            known.push_back(people[member].box);
        }
        BeginIn(seen[box], known);
    }
    std::erase_if(people, [this](Person const& person) { return IsLost(person); });
    std::vector<Track> tracks;
    for (auto& person : people) {
        if (person.id == 0 && person.timesSeen >= settings.confirmAfter) {
            person.id = ++lastId;
        }
        if (person.id != 0 && person.unseenFor <= settings.tellUnseen) {
            tracks.push_back({person.id, person.box, person.confidence});
        }
    }
    return tracks;
}

Tracker::Sight Tracker::SightOf(std::size_t person, Pieces const& pieces, std::vector<Members> const& members,
                                std::vector<cv::Rect2d> const& seen) const {
    if (pieces.empty()) {
        return {Sight::Kind::None, {}};
    }
    cv::Rect2d const& first = seen[pieces.front()];
    Members const& group = members[pieces.front()];
    if (group.size() > 1) {
        bool const hasRoom = first.area() > RoomForTwo * people[person].box.area();
        return {hasRoom ? Sight::Kind::InGroup : Sight::Kind::Hidden, PlaceInGroup(person, group, first)};
    }
    cv::Rect2d whole;
    for (std::size_t const piece : pieces) {
        whole |= seen[piece];
    }
    return {Sight::Kind::Alone, whole};
}

double Tracker::HeightAt(double foot) const {
    double const part = std::clamp(foot / picture.height, 0.0, 1.2);
    return (settings.heightAtTop + (settings.heightAtBottom - settings.heightAtTop) * part) * picture.height;
}

/// Begins to follow who is in the box beside those that are known to be there.
void Tracker::BeginIn(cv::Rect2d const& box, std::vector<cv::Rect2d> const& known) {
    double const height = HeightAt(box.br().y);
    double const width = Slenderness * height;
    if (box.height < LeastHeight * height || box.height > GreatestHeight * height) {
        return;
    }
    if (known.empty()) {
        if (box.width < 2 * width) {
            people.push_back(Begin(box));
        } else {
            people.push_back(Begin({box.x, box.y, width, box.height}));
            people.push_back(Begin({box.br().x - width, box.y, width, box.height}));
        }
        return;
    }
    double left = box.br().x;
    double right = box.x;
    for (auto const& person : known) {
        left = std::min(left, person.x);
        right = std::max(right, person.br().x);
    }
    if (left - box.x >= WideEnough * width) {
        people.push_back(Begin({box.x, box.br().y - height, width, height}));
    } else if (box.br().x - right >= WideEnough * width) {
        people.push_back(Begin({box.br().x - width, box.br().y - height, width, height}));
    }
}

void Tracker::See(Person& person, Sight const& sight, double seconds) const {
    switch (sight.kind) {
        case Sight::Kind::None:
            person.box = person.expected;
            person.filter.statePost.rowRange(Measured, States) *= SpeedKept;
            person.unseenFor += seconds;
            person.confidence *= 1 - ConfidenceStep;
            return;
        case Sight::Kind::Hidden:
            Correct(person, sight.box, GuessedTrust);
            person.unseenFor += seconds;
            return;
        case Sight::Kind::InGroup:
            Correct(person, sight.box, GuessedTrust);
            break;
        case Sight::Kind::Alone:
            SeeAlone(person, sight.box);
            person.confidence += (1 - person.confidence) * ConfidenceStep;
            break;
    }
    ++person.timesSeen;
    person.unseenFor = 0;
}

/// A box of another size than the person's is a part of him, or him with something else.
void Tracker::SeeAlone(Person& person, cv::Rect2d const& box) const {
    cv::Rect2d const& expected = person.expected;
    if (AreAlike(box.width, expected.width) && AreAlike(box.height, expected.height)) {
        Correct(person, box, 1);
        return;
    }
    double const height = HeightAt(expected.br().y);
    double const width = Slenderness * height;
    cv::Rect2d const usual(FootOf(expected) - cv::Point2d(width / 2, height), cv::Size2d(width, height));
    Correct(person, Fit(usual, box), GuessedTrust);
}

bool Tracker::IsLost(Person const& person) const {
    cv::Rect2d const whole({0, 0}, cv::Size2d(picture));
    bool const isGone = person.unseenFor > 0 && PartInside(person.box, whole) < PartInPicture;
    return isGone || person.unseenFor > (person.id == 0 ? 0 : settings.coast);
}

}  // namespace qel::camera
