#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/path_source.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

namespace {

using Hands = boost::container::small_vector<Hand, 8>;

constexpr Hand Opposite(Hand hand) { return static_cast<Hand>(-static_cast<signed char>(hand)); }

/// On which hand of a movement each point of a line is. A point of the line that the movement passes over counts as one
/// on its right, so that passing where two pieces meet is passing one of them. An end of the line counts as being on
/// the other hand than the rest: the ends belong to the line.
Hands HandsOfMovement(Point from, Point to, Line const& line) {
    Hands hands;
    for (auto const& point : line) {
        hands.push_back(HandOf(from, to, point));
    }
    auto const isOff = [](Hand hand) { return hand != Hand::None; };
    auto const first = std::find_if(hands.begin(), hands.end(), isOff);
    if (first == hands.end()) {
        return hands;
    }
    auto const last = std::find_if(hands.rbegin(), hands.rend(), isOff).base() - 1;
    std::fill(hands.begin(), first, Opposite(*first));
    std::fill(last + 1, hands.end(), Opposite(*last));
    std::replace(first, last, Hand::None, Hand::Right);
    return hands;
}

/// Reports that an object has crossed a line: it had settled on one side and then settled on the other, where the
/// movement to that side met the line.
///
/// The sides of a line of one piece are those of the endless line through it, so who walks around its end changes sides
/// without crossing it. A longer line has no such sides: a movement changes sides when it meets the line an odd number
/// of times, in the direction in which it met the first piece. A point on the line keeps the side from which it came.
class LineCross : public PathSource {
public:
    static constexpr char const* ClassTypeName = "qel.observable.spatial.LineCross";
    static auto DefaultArguments() { return std::tuple("LineCross"); }

    explicit LineCross(std::string name)
        : PathSource(object::TypeIdOf<LineCross>, std::move(name), "line_cross", meta::data::Zone::Shape::Line) {}

    /// "any", "left_to_right" or "right_to_left", as seen when walking along the line; anything else is a
    /// `std::invalid_argument`.
    std::string GetDirection() const { return direction->name; }
    void SetDirection(std::string name);

    static std::vector<property::Schema> MakeProperties();

private:
    /// What a movement does with the line: whether it meets it an odd number of times, and to which hand of it the
    /// first meeting leads.
    struct Meeting {
        bool odd = false;
        Hand towards = Hand::None;
    };
    struct Direction {
        char const* name;
        Hand towards;  // None for both
    };
    static constexpr std::array Directions{Direction{"any", Hand::None}, Direction{"left_to_right", Hand::Right},
                                           Direction{"right_to_left", Hand::Left}};

    void SeeZone(meta::data::Zone const& zone) override;
    Step Move(Path& path, bool isFirst, Point to, meta::data::Zone const& zone) const override;
    static Meeting Meet(Path& path, bool isFirst, Point to, Line const& line);

    Direction const* direction = &Directions[0];
    Line lineSeen;
};

type::registry::detail::Scoped<LineCross, type::Registry<registry::Info>> const registration(registry::Get());

std::vector<property::Schema> LineCross::MakeProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Line);
    AddSettleProperty(schemas);
    schemas.emplace_back("direction", Directions[0].name, &LineCross::SetDirection, &LineCross::GetDirection,
                         "The direction that counts, as seen when walking along the line: any, left_to_right or "
                         "right_to_left");
    return properties::Make(std::move(schemas), true);
}

void LineCross::SetDirection(std::string name) {
    auto const found =
        std::find_if(Directions.begin(), Directions.end(), [&](Direction const& each) { return name == each.name; });
    if (found == Directions.end()) {
        throw std::invalid_argument("The direction must be any, left_to_right or right_to_left: " + name);
    }
    direction = &*found;
}

void LineCross::SeeZone(meta::data::Zone const& zone) {
    if (zone.GetPoints() != lineSeen) {
        Forget();  // sides of another line mean nothing
        lineSeen = zone.GetPoints();
    }
}

PathSource::Step LineCross::Move(Path& path, bool isFirst, Point to, meta::data::Zone const& zone) const {
    auto const& line = zone.GetPoints();
    if (line.size() < 2) {
        return {.side = 0};
    }
    auto const meeting = Meet(path, isFirst, to, line);
    auto const end = [&]() -> Side {
        if (path.pieceSides.size() == 1) {
            return path.pieceSides.front();
        }
        if (isFirst) {
            return 1;
        }
        return static_cast<Side>(meeting.odd ? -path.side : path.side);
    };
    bool const counts = direction->towards == Hand::None || direction->towards == meeting.towards;
    return {.side = end(), .isReported = meeting.odd && counts};
}

LineCross::Meeting LineCross::Meet(Path& path, bool isFirst, Point to, Line const& line) {
    path.pieceSides.resize(line.size() - 1, static_cast<Side>(Hand::None));
    Hands const hands = isFirst ? Hands(line.size(), Hand::None) : HandsOfMovement(path.anchor, to, line);
    Meeting meeting;
    double firstMet = 0;
    for (std::size_t piece = 0; piece + 1 < line.size(); ++piece) {
        auto const before = static_cast<Hand>(path.pieceSides[piece]);
        auto after = HandOf(line[piece], line[piece + 1], to);
        if (after == Hand::None) {
            after = before;
        }
        path.pieceSides[piece] = static_cast<Side>(after);
        if (before == Hand::None || before == after || hands[piece] == hands[piece + 1]) {
            continue;
        }
        double const distance = DistanceFrom(line[piece], line[piece + 1], path.anchor);
        double const met = distance / (distance + DistanceFrom(line[piece], line[piece + 1], to));
        if (meeting.towards == Hand::None || met < firstMet) {
            meeting.towards = after;
            firstMet = met;
        }
        meeting.odd = !meeting.odd;
    }
    return meeting;
}

}  // namespace

}  // namespace qel::observable::spatial
