#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "foundation/type/registry/detail/scoped.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "plugins/spatial/path_source.hpp"
#include "plugins/spatial/polyline.hpp"
#include "plugins/spatial/settings.hpp"

namespace qel::observable::spatial {

namespace {

/// Reports that an object has crossed a line: it had settled on one side and then settled on the other, where the
/// movement to that side met the line.
///
/// The sides of a line of one piece are those of the endless line through it, so who walks around its end changes sides
/// without crossing it. A longer line has no such sides: where an object is first seen off the line is one side, and it
/// changes sides when it meets the line an odd number of times, in the direction in which it met the first piece. A
/// point on the line keeps the side from which it came; on no side if it came from none.
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
    struct Direction {
        char const* name;
        Hand towards;  // None for both
    };
    static constexpr std::array Directions{Direction{"any", Hand::None}, Direction{"left_to_right", Hand::Right},
                                           Direction{"right_to_left", Hand::Left}};

    bool LookAt(meta::data::Zone const& zone) override;
    void See() noexcept override;
    Step Move(Path& path, Point to, meta::data::Zone const& zone) const override;
    Step MoveAtPiece(Path const& path, Point to) const;
    Step MoveAtPieces(Path& path, Point to) const;
    bool IsAskedFor(Hand towards) const { return direction->towards == Hand::None || direction->towards == towards; }

    struct Sight {
        Line points;
        Polyline line;
    };
    Polyline const& GetLine() const { return (other ? *other : seen).line; }

    Direction const* direction = &Directions[0];
    Sight seen{Line(), Polyline(Line())};
    std::optional<Sight> other;  // looked at in place of it
};

type::registry::detail::Scoped<LineCross, type::Registry<registry::Info>> const registration(registry::Get());

std::vector<property::Schema> LineCross::MakeProperties() {
    auto schemas = MakeSourceProperties<Source>(meta::data::Zone::Shape::Line);
    AddSettleProperty(schemas);
    schemas.emplace_back("direction", Directions[0].name, &LineCross::SetDirection, &LineCross::GetDirection,
                         "The direction that counts, as seen when walking along the line: any, left_to_right or "
                         "right_to_left");
    std::vector<std::string> names;
    for (auto const& each : Directions) {
        names.emplace_back(each.name);
    }
    schemas.back().SetChoices(std::move(names));
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

/// Sides of another line mean nothing.
bool LineCross::LookAt(meta::data::Zone const& zone) {
    other.reset();
    if (zone.GetPoints() != seen.points) {
        other.emplace(Sight{zone.GetPoints(), Polyline(zone.GetPoints())});
    }
    return !other;
}

void LineCross::See() noexcept {
    if (other) {
        seen = std::move(*other);
        other.reset();
    }
}

PathSource::Step LineCross::Move(Path& path, Point to, meta::data::Zone const&) const {
    auto const points = GetLine().GetPoints().size();
    return points < 2 ? Step{.side = 0} : points == 2 ? MoveAtPiece(path, to) : MoveAtPieces(path, to);
}

PathSource::Step LineCross::MoveAtPiece(Path const& path, Point to) const {
    Point const first = GetLine().GetPoints().front();
    Point const last = GetLine().GetPoints().back();
    Hand const hand = HandOf(first, last, to);
    auto const side = static_cast<Side>(hand);
    if (hand == Hand::None || path.side == 0 || path.side == side) {
        return {.side = hand == Hand::None ? path.side : side};
    }
    // Right over an end is over the line: an end straight ahead or behind is on another hand than the other one.
    bool const crosses = HandOf(path.anchor, to, first) != HandOf(path.anchor, to, last);
    return {.side = side, .isReported = crosses && IsAskedFor(hand)};
}

PathSource::Step LineCross::MoveAtPieces(Path& path, Point to) const {
    bool const isOn = GetLine().IsOn(to);
    if (path.side == 0) {
        return {.side = static_cast<Side>(isOn ? 0 : 1)};
    }
    path.meeting.Add(GetLine().Meet(path.anchor, to));
    if (isOn) {
        return {.side = path.side};
    }
    auto const meeting = std::exchange(path.meeting, {});
    if (!meeting.IsCrossing()) {
        return {.side = path.side};
    }
    return {.side = static_cast<Side>(-path.side), .isReported = IsAskedFor(meeting.towards)};
}

}  // namespace

}  // namespace qel::observable::spatial
