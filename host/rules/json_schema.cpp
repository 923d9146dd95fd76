#include "host/rules/json_schema.hpp"

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "host/rules/rule_file.hpp"

namespace qel::host {

namespace {

using Json = nlohmann::ordered_json;
using Shape = meta::data::Zone::Shape;

Json Text(char const* description) { return {{"description", description}, {"type", "string"}, {"minLength", 1}}; }

Json Number(char const* description, std::uint64_t maximum) {
    return {{"description", description}, {"type", "integer"}, {"minimum", 0}, {"maximum", maximum}};
}

Json List(char const* description, Json items) {
    return {{"description", description}, {"type", "array"}, {"items", std::move(items)}};
}

Json Points(char const* description, Shape shape) {
    Json points = List(description, {{"description", "[x, y], where 0 to 1 is the picture"},
                                     {"type", "array"},
                                     {"items", {{"type", "number"}}},
                                     {"minItems", 2},
                                     {"maxItems", 2}});
    points["minItems"] = LeastPoints(shape);
    return points;
}

Json Keys(Json properties, Json required) {
    return {{"type", "object"},
            {"properties", std::move(properties)},
            {"required", std::move(required)},
            {"additionalProperties", false}};
}

Json ZoneSchema() {
    Json zone = Keys({{"id", Number("By which events name the zone", HighestZoneId)},
                      {"name", Text("What rules may call the zone")},
                      {"polygon", Points("The corners of an area", Shape::Polygon)},
                      {"line", Points("The points of an open line", Shape::Line)},
                      {"channel", Number("The only channel that the zone is on", HighestChannel)}},
                     {"id"});
    zone["oneOf"] = {{{"required", {"polygon"}}}, {{"required", {"line"}}}};
    return zone;
}

std::string JsonTypeOf(std::string const& kind) {
    return kind == "bool" ? "boolean" : kind == "text" ? "string" : kind == "number" ? "number" : "integer";
}

bool IsFinite(Json const& number) { return !number.is_number_float() || std::isfinite(number.get<double>()); }

Json ValueSchema(Setting const& setting) {
    Json value{{"type", JsonTypeOf(KindOf(setting))}};
    if (Json const standard = DefaultOf(setting); !standard.is_null() && IsFinite(standard)) {
        value["default"] = standard;
    }
    if (auto const& choices = setting.schema.GetChoices(); !choices.empty()) {
        value["enum"] = choices;
    }
    if (auto const range = RangeOf(setting)) {
        if (IsFinite(range->minimum)) {
            value["minimum"] = range->minimum;
        }
        if (IsFinite(range->maximum)) {
            value["maximum"] = range->maximum;
        }
    }
    return value;
}

Json SettingSchema(Setting const& setting) {
    Json value{{"description", fmt::format("{}: {}", setting.schema.GetDescription(), AllowedFor(setting))}};
    switch (setting.role) {
        case Setting::Role::Name:
            return true;
        case Setting::Role::Rule:
            value.update({{"type", "string"}, {"minLength", 1}});
            break;
        case Setting::Role::Zone:
            value.update(
                {{"type", {"string", "integer"}}, {"minLength", 1}, {"minimum", 0}, {"maximum", HighestZoneId}});
            break;
        case Setting::Role::Channel:
            return ValueSchema(setting);
        case Setting::Role::Value:
            value.update(ValueSchema(setting));
            break;
    }
    return value;
}

/// What holds for the rules of one type.
Json TypeSchema(ObservableType const& type) {
    Json keys{{"name", true}, {"type", true}, {"channel", true}};
    Json required = Json::array();
    for (auto const& setting : type.settings) {
        std::string const& name = setting.schema.GetName();
        keys[name] = SettingSchema(setting);
        if (setting.role == Setting::Role::Zone) {
            required.push_back(name);
        }
    }
    return {{"if", {{"properties", {{"type", {{"const", type.name}}}}}, {"required", {"type"}}}},
            {"then",
             {{"properties", std::move(keys)}, {"required", std::move(required)}, {"additionalProperties", false}}}};
}

Json RuleSchema(TypeCatalogue const& types) {
    Json names = Json::array();
    Json each = Json::array();
    for (auto const& type : types.GetTypes()) {
        if (type.defect.empty()) {
            names.push_back(type.name);
            each.push_back(TypeSchema(type));
        }
    }
    return {{"type", "object"},
            {"properties",
             {{"name", Text("What the rule's events and other rules call it")},
              {"type", {{"description", "What the rule is about"}, {"type", "string"}, {"enum", std::move(names)}}},
              {"channel", Number("The only channel that the rule is made for", HighestChannel)}}},
            {"required", {"name", "type"}},
            {"allOf", std::move(each)}};
}

}  // namespace

nlohmann::ordered_json MakeJsonSchema(TypeCatalogue const& types) {
    Json keys{{"$schema", Text("Where editors find the schema of this file")},
              {"version", {{"description", "The version of the format"}, {"type", "integer"}, {"const", 1}}},
              {"zones", List("The zones of the picture", ZoneSchema())},
              {"retrigger_ms", Number("For so many milliseconds after an event of a rule, a new one of the same rule "
                                      "about the same objects is dropped",
                                      HighestRetriggerTime)},
              {"rules", List("The rules", RuleSchema(types))}};
    keys["retrigger_ms"]["default"] = 0;
    Json schema{{"$schema", "http://json-schema.org/draft-07/schema#"}, {"title", "A rule file of qel"}};
    schema.update(Keys(std::move(keys), {"rules"}));
    return schema;
}

}  // namespace qel::host
