#pragma once

#include <chrono>
#include <limits>
#include <vector>

#include "foundation/meta/data/zone.hpp"
#include "foundation/property/schema.hpp"
#include "plugins/spatial/source.hpp"

namespace qel::observable::spatial {

// The settings that several types have. `Host` is the class that has the members: a base of the type, or the type
// itself.

inline constexpr std::chrono::milliseconds NoTime{0};
inline constexpr std::chrono::hours LongestTime{24};
inline constexpr std::chrono::milliseconds DefaultHoldOn{0};
inline constexpr std::chrono::milliseconds DefaultHoldOff{500};
inline constexpr double DefaultAspect = 16.0 / 9.0;
inline constexpr double SmallestAspect = 0.1;
inline constexpr double LargestAspect = 10;
/// Of distances and speeds that have no bound of their own.
inline constexpr double LargestMeasure = std::numeric_limits<double>::max();

/// Which zone, of the given shape, and which objects.
template <class Host>
std::vector<property::Schema> MakeSourceProperties(meta::data::Zone::Shape shape) {
    std::vector<property::Schema> schemas;
    schemas.emplace_back("zone", UnsetId, &Host::SetZone, &Host::GetZone, "The id of the zone");
    schemas.back().SetReference(shape == meta::data::Zone::Shape::Line ? "zone.line" : "zone.polygon");
    schemas.emplace_back("classes", "", &Host::SetClasses, &Host::GetClasses,
                         "The classes of the objects that count, separated by commas; empty for all");
    schemas.emplace_back("minimum_confidence", 0.0, &Host::SetMinimumConfidence, &Host::GetMinimumConfidence, 0.0, 1.0,
                         "The least confidence of the objects that count");
    schemas.emplace_back("anchor", Source::DefaultAnchor, &Host::SetAnchor, &Host::GetAnchor,
                         "The point of an object's box that says where it is: bottom_center, center or top_center");
    schemas.back().SetChoices(Source::GetAnchors());
    return schemas;
}

/// How long a condition must hold, and may be interrupted.
template <class Host>
void AddHoldProperties(std::vector<property::Schema>& schemas) {
    schemas.emplace_back("hold_on", DefaultHoldOn, &Host::SetHoldOn, &Host::GetHoldOn, NoTime, LongestTime,
                         "The milliseconds for which the condition must have held before the event starts");
    schemas.emplace_back("hold_off", DefaultHoldOff, &Host::SetHoldOff, &Host::GetHoldOff, NoTime, LongestTime,
                         "The longest gap in the condition, in milliseconds, that the event outlasts");
}

/// What the picture is like in which distances are measured.
template <class Host>
void AddAspectProperty(std::vector<property::Schema>& schemas) {
    schemas.emplace_back("aspect", DefaultAspect, &Host::SetAspect, &Host::GetAspect, SmallestAspect, LargestAspect,
                         "The width of the picture over its height; distances are in picture heights");
}

}  // namespace qel::observable::spatial
