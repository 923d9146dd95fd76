// What a user interface does for a type of rule that it knows by name only: it lists the settings, makes a rule, and
// writes what the user has typed.

#include <exception>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/object/primitive.hpp"
#include "foundation/property/primitive.hpp"
#include "foundation/property/schema.hpp"
#include "observable/observable.hpp"
#include "observable/registry/get.hpp"

namespace object = qel::object;

using qel::hash::MurmurThree32;
using qel::observable::Observable;
using qel::property::Property;
using qel::property::Schema;
using qel::property::context::Direction;

namespace {

std::string TextOf(object::Object const& value) {
    if (value.Is<object::Bool>()) {
        return value.As<object::Bool>().Get() ? "true" : "false";
    }
    if (value.Is<object::UInt16>()) {
        return std::to_string(value.As<object::UInt16>().Get());
    }
    if (value.Is<object::UInt32>()) {
        return std::to_string(value.As<object::UInt32>().Get());
    }
    if (value.Is<object::Double>()) {
        return std::to_string(value.As<object::Double>().Get());
    }
    if (value.Is<object::Milliseconds>()) {
        return std::to_string(value.As<object::Milliseconds>().Get().count());
    }
    return '"' + value.As<object::String>().Get() + '"';
}

void List(Schema const& schema) {
    Property const& setting = *schema.GetPrototype();
    std::cout << "  " << schema.GetName() << " (" << schema.GetTypeName() << ", " << TextOf(*setting.GetObject())
              << "): " << schema.GetDescription() << '\n';
    std::ostringstream valid;
    setting.DescribeValidValues(valid);
    if (!valid.view().empty()) {
        std::cout << "    " << valid.view() << '\n';
    }
}

/// The setting of a rule: setting this property sets the rule, reading it reads the rule.
std::shared_ptr<Property> SettingOf(Schema const& schema, std::shared_ptr<Observable> const& rule) {
    auto property = schema.MakeProperty();
    schema.Bind(property, rule, Direction::FromTarget);
    return property;
}

/// A property that is bound to no rule reads the text and checks the value.
std::shared_ptr<object::Object const> Read(Schema const& schema, std::string const& text) {
    auto const property = schema.MakeProperty();
    if (property->Is<qel::property::Primitive<bool>>()) {
        property->Set(object::Bool(text == "true"));
    } else {
        property->Set(object::String(text));
    }
    return property->GetObject();
}

void Write(std::vector<Schema> const& schemas, std::shared_ptr<Observable> const& rule, std::string const& name,
           std::string const& text) {
    for (Schema const& schema : schemas) {
        if (schema.GetName() != name) {
            continue;
        }
        try {
            SettingOf(schema, rule)->Set(*Read(schema, text));
            std::cout << "  " << name << " = " << text << '\n';
        } catch (std::exception const& error) {
            std::cout << "  " << name << " = " << text << " is refused: " << error.what() << '\n';
        }
    }
}

}  // namespace

int main() {
    char const* const typeName = "qel.observable.Previous";
    auto const type = MurmurThree32::MakeData(typeName);

    std::vector<Schema> const schemas = qel::observable::registry::Get().GetMap()->at(type).GetSchemas();
    std::cout << "The settings of " << typeName << ", with their types and defaults:\n";
    for (Schema const& schema : schemas) {
        List(schema);
    }

    auto const rule = Observable::Make(type);
    std::cout << "Written:\n";
    Write(schemas, rule, "name", "was at the gate");
    Write(schemas, rule, "interval", "10000");
    Write(schemas, rule, "interval", "50");
    Write(schemas, rule, "channel", "65536");
    Write(schemas, rule, "channel", "gate");
    Write(schemas, rule, "constrain_target", "true");

    std::cout << "A rule of type " << rule->GetTypeName() << " now has:\n";
    for (Schema const& schema : schemas) {
        std::cout << "  " << schema.GetName() << " = " << TextOf(*SettingOf(schema, rule)->GetObject()) << '\n';
    }
}
