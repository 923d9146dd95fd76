#include "plugins/spatial/source.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "foundation/meta/views.hpp"

namespace qel::observable::spatial {

namespace {

struct Anchor {
    char const* name;
    double height;  // from the top of the box, in heights of the box
};
constexpr std::array Anchors{Anchor{Source::DefaultAnchor, 1.0}, Anchor{"center", 0.5}, Anchor{"top_center", 0.0}};

std::string_view WithoutBlanks(std::string_view text) {
    auto const first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// The item of a frame as what it is, if it is one of these.
template <class T>
T const* As(std::shared_ptr<object::Object> const& item) {
    return item && item->Is<T>() ? static_cast<T const*>(item.get()) : nullptr;
}

/// The frame's own pointer to an item: items never change, so events need no copies.
template <class T>
std::shared_ptr<T const> Share(std::shared_ptr<object::Object> const& item) {
    return std::static_pointer_cast<T const>(item);
}

}  // namespace

Source::Source(hash::MurmurThree32 type, std::string name, char const* kind, meta::data::Zone::Shape shape)
    : Observable(type), kind(kind), shape(shape), anchor(Anchors[0].name), anchorHeight(Anchors[0].height) {
    SetName(std::move(name));
}

void Source::SetClasses(std::string list) {
    std::vector<std::string> names;
    std::string_view rest = list;
    while (!rest.empty()) {
        auto const comma = std::min(rest.find(','), rest.size());
        if (auto const name = WithoutBlanks(rest.substr(0, comma)); !name.empty()) {
            names.emplace_back(name);
        }
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    classNames = std::move(names);
    classes = std::move(list);
}

std::vector<std::string> Source::GetAnchors() {
    std::vector<std::string> names;
    for (auto const& each : Anchors) {
        names.emplace_back(each.name);
    }
    return names;
}

void Source::SetAnchor(std::string name) {
    auto const found =
        std::find_if(Anchors.begin(), Anchors.end(), [&](Anchor const& each) { return name == each.name; });
    if (found == Anchors.end()) {
        throw std::invalid_argument("The anchor must be bottom_center, center or top_center: " + name);
    }
    anchorHeight = found->height;
    anchor = std::move(name);
}

std::shared_ptr<meta::data::Zone const> Source::FindZone(meta::Meta const& frame) const {
    if (zone == UnsetId) {
        return nullptr;
    }
    for (auto at = frame.Begin(); at != frame.End(); ++at) {
        auto const* const each = As<meta::data::Zone>(*at);
        if (each != nullptr && each->GetId() == zone && each->GetShape() == shape) {
            return Share<meta::data::Zone>(*at);
        }
    }
    return nullptr;
}

std::vector<Sighting> Source::FindObjects(meta::Meta const& frame) const {
    std::vector<Sighting> sightings;
    for (auto at = frame.Begin(); at != frame.End(); ++at) {
        auto const* const object = As<meta::data::Object>(*at);
        if (object == nullptr || !Counts(*object)) {
            continue;
        }
        if (Point const place = AnchorOf(object->GetBox()); std::isfinite(place.x) && std::isfinite(place.y)) {
            sightings.push_back({Share<meta::data::Object>(*at), place});
        }
    }
    auto const id = [](Sighting const& each) { return each.object->GetId(); };
    auto const isBefore = [&](Sighting const& left, Sighting const& right) { return id(left) < id(right); };
    if (!std::is_sorted(sightings.begin(), sightings.end(), isBefore)) {  // as trackers mostly give them
        std::stable_sort(sightings.begin(), sightings.end(), isBefore);
    }
    sightings.erase(std::unique(sightings.begin(), sightings.end(),
                                [&](Sighting const& left, Sighting const& right) { return id(left) == id(right); }),
                    sightings.end());
    return sightings;
}

std::shared_ptr<meta::data::Event> Source::MakeEvent(std::optional<unsigned int> id, meta::Timestamp start,
                                                     meta::Timestamp end, std::vector<Sighting> const& objects,
                                                     std::shared_ptr<meta::data::Zone const> const& zoneRecord) {
    if (auto name = GetName(); !texts || texts->name != name) {
        texts = std::make_shared<meta::data::Event::Texts const>(
            meta::data::Event::Texts{std::move(name), kind, "spatial"});
    }
    meta::data::Event::Objects about;
    about.reserve(objects.size() + 2);
    about.push_back(MakeObservableMetadata());
    for (auto const& each : objects) {
        about.push_back(each.object);
    }
    if (zoneRecord) {
        about.push_back(zoneRecord);
    }
    return id ? std::make_shared<meta::data::Event>(*id, texts, start, end, std::move(about))
              : std::make_shared<meta::data::Event>(texts, start, end, std::move(about));
}

bool Source::Counts(meta::data::Object const& object) const {
    return object.GetConfidence() >= minimumConfidence &&
           (classNames.empty() ||
            std::find(classNames.begin(), classNames.end(), object.GetClassification()) != classNames.end());
}

Point Source::AnchorOf(meta::data::Box const& box) const {
    return {box.left + box.width / 2, box.top + box.height * anchorHeight};
}

}  // namespace qel::observable::spatial
