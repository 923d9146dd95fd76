#include "host/rules/setting.hpp"

#include <chrono>
#include <concepts>
#include <limits>
#include <type_traits>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "foundation/object/primitive.hpp"
#include "foundation/property/primitive.hpp"

namespace qel::host {

namespace {

using std::chrono::milliseconds;

/// Calls `visit` with the schema's property as what it is, for the kinds of values that the foundation has; the result
/// is `otherwise` for others.
template <class Result, class Visit>
Result VisitProperty(property::Schema const& schema, Result otherwise, Visit visit) {
    Result result = std::move(otherwise);
    property::VisitPrimitive(*schema.GetPrototype(), [&](auto const& property) { result = visit(property); });
    return result;
}

template <class T>
struct ValueOf;
template <class T>
struct ValueOf<property::Primitive<T>> {
    using Type = T;
};
template <class Property>
using ValueTypeOf = typename ValueOf<std::remove_cvref_t<Property>>::Type;

template <class T>
using ObjectOf = object::Primitive<T, object::Object>;

template <class T>
auto Plain(T const& value) {
    if constexpr (std::same_as<T, milliseconds>) {
        return value.count();
    } else {
        return value;
    }
}

bool NamesSomething(Setting const& setting) {
    return setting.role == Setting::Role::Rule || setting.role == Setting::Role::Zone;
}

template <class T>
std::shared_ptr<object::Object const> MakeInteger(bool negative, std::uint64_t magnitude) {
    using Number = decltype(Plain(T()));
    auto const highest = static_cast<std::uint64_t>(std::numeric_limits<Number>::max());
    if (negative ? std::unsigned_integral<Number> || magnitude > highest : magnitude > highest) {
        return nullptr;
    }
    auto const number = static_cast<Number>(magnitude);
    return std::make_shared<ObjectOf<T>>(static_cast<T>(negative ? static_cast<Number>(-number) : number));
}

}  // namespace

std::string KindOf(Setting const& setting) {
    if (setting.role == Setting::Role::Rule) {
        return "rule";
    }
    if (setting.role == Setting::Role::Zone) {
        return setting.shape == meta::data::Zone::Shape::Line ? "line" : "polygon";
    }
    return VisitProperty<std::string>(setting.schema, setting.schema.GetTypeName(), [](auto const& property) {
        using T = ValueTypeOf<decltype(property)>;
        return std::same_as<T, bool>           ? "bool"
               : std::same_as<T, std::string>  ? "text"
               : std::same_as<T, double>       ? "number"
               : std::same_as<T, milliseconds> ? "milliseconds"
                                               : "integer";
    });
}

std::string AllowedFor(Setting const& setting) {
    if (setting.role == Setting::Role::Rule) {
        return "the name of a rule";
    }
    if (setting.role == Setting::Role::Zone) {
        return fmt::format("the name or id of a zone with a {}", KindOf(setting));
    }
    if (auto const& choices = setting.schema.GetChoices(); !choices.empty()) {
        return fmt::format("{}", fmt::join(choices, ", "));
    }
    auto const range = RangeOf(setting);
    auto const ends =
        range ? fmt::format(" from {} to {}", PlainText(range->minimum), PlainText(range->maximum)) : std::string();
    return VisitProperty<std::string>(
        setting.schema, "nothing: a rule file has no such values", [&](auto const& property) {
            using T = ValueTypeOf<decltype(property)>;
            return std::same_as<T, bool>           ? "true or false"
                   : std::same_as<T, std::string>  ? "a text"
                   : std::same_as<T, double>       ? "a number" + ends
                   : std::same_as<T, milliseconds> ? "a whole number of milliseconds" + ends
                                                   : "a whole number" + ends;
        });
}

nlohmann::ordered_json DefaultOf(Setting const& setting) {
    if (setting.role != Setting::Role::Value) {
        return nullptr;
    }
    return VisitProperty<nlohmann::ordered_json>(
        setting.schema, nullptr, [](auto const& property) -> nlohmann::ordered_json { return Plain(property.Get()); });
}

std::optional<Range> RangeOf(Setting const& setting) {
    if (NamesSomething(setting)) {
        return std::nullopt;
    }
    return VisitProperty<std::optional<Range>>(
        setting.schema, std::nullopt, [](auto const& property) -> std::optional<Range> {
            using T = ValueTypeOf<decltype(property)>;
            if constexpr (property::Ranged<T>) {
                bool const everything = std::same_as<T, double> &&
                                        property.GetRange().minimum == std::numeric_limits<T>::lowest() &&
                                        property.GetRange().maximum == std::numeric_limits<T>::max();
                if (!everything) {
                    return Range{Plain(property.GetRange().minimum), Plain(property.GetRange().maximum)};
                }
            }
            return std::nullopt;
        });
}

std::string PlainText(nlohmann::ordered_json const& value) {
    return value.is_number_float() ? fmt::format("{}", value.get<double>()) : value.dump();
}

std::shared_ptr<object::Object const> MakeObject(property::Schema const& schema, json::Value const& value) {
    using Kind = json::Value::Kind;
    using Object = std::shared_ptr<object::Object const>;
    return VisitProperty<Object>(schema, nullptr, [&](auto const& property) -> Object {
        using T = ValueTypeOf<decltype(property)>;
        if constexpr (std::same_as<T, bool>) {
            return value.kind == Kind::Bool ? std::make_shared<ObjectOf<T>>(value.boolean) : nullptr;
        } else if constexpr (std::same_as<T, std::string>) {
            return value.kind == Kind::Text ? std::make_shared<ObjectOf<T>>(value.text) : nullptr;
        } else if constexpr (std::same_as<T, double>) {
            bool const isNumber = value.kind == Kind::Integer || value.kind == Kind::Real;
            return isNumber ? std::make_shared<ObjectOf<T>>(value.real) : nullptr;
        } else {
            return value.kind == Kind::Integer ? MakeInteger<T>(value.negative, value.magnitude) : nullptr;
        }
    });
}

std::shared_ptr<object::Object const> MakeObject(property::Schema const& schema, std::uint32_t number) {
    json::Value value;
    value.kind = json::Value::Kind::Integer;
    value.magnitude = number;
    value.real = number;
    return MakeObject(schema, value);
}

}  // namespace qel::host
