#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "foundation/meta/data/zone.hpp"
#include "foundation/object/object.hpp"
#include "foundation/property/schema.hpp"
#include "host/rules/json.hpp"

namespace qel::host {

/// One setting of a type of observable, as a rule file sees it.
struct Setting {
    /// What stands in the rule file: the value itself, or the name of something whose id the host fills in.
    enum class Role { Value, Name, Channel, Rule, Zone };

    property::Schema schema;
    Role role = Role::Value;
    meta::data::Zone::Shape shape = meta::data::Zone::Shape::Polygon;  // of the zone
};

/// What a rule file writes for the setting: "integer", "text", "rule", "polygon" and so on.
std::string KindOf(Setting const& setting);

/// The values that a rule file may give, for the end of a sentence: "a whole number from 0 to 300".
std::string AllowedFor(Setting const& setting);

/// The default as JSON; null for a setting without one of its own: one that names something, or that the host fills in.
nlohmann::ordered_json DefaultOf(Setting const& setting);

/// The ends of a range, inclusive, as JSON numbers.
struct Range {
    nlohmann::ordered_json minimum;
    nlohmann::ordered_json maximum;
};
/// Nothing for a setting that has no range, or the whole range of floating-point numbers.
std::optional<Range> RangeOf(Setting const& setting);

/// A JSON number or truth value for people: "360" where JSON has "360.0".
std::string PlainText(nlohmann::ordered_json const& value);

/// The object with which the property is set to a value of a rule file; null when the value is of another type, or does
/// not fit into the property's.
std::shared_ptr<object::Object const> MakeObject(property::Schema const& schema, json::Value const& value);

/// The same for a number of the host's; null when the property does not hold a number that is as large.
std::shared_ptr<object::Object const> MakeObject(property::Schema const& schema, std::uint32_t number);

}  // namespace qel::host
