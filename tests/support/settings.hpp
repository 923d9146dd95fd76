#pragma once

#include <algorithm>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/object/primitive.hpp"
#include "foundation/property/schema.hpp"
#include "observable/observable.hpp"

namespace qel::tests {

/// A property value as a text.
inline std::string ValueText(object::Object const& value) {
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
        return std::to_string(value.As<object::Milliseconds>().Get().count()) + "ms";
    }
    return "'" + value.As<object::String>().Get() + "'";
}

/// All that schemas say, in their order, a line for each: name, type, default, what is accepted, description.
inline std::vector<std::string> DescribeSettings(std::vector<property::Schema> const& schemas) {
    std::vector<std::string> lines;
    for (auto const& schema : schemas) {
        std::ostringstream line;
        line << schema.GetName() << ": " << schema.GetTypeName() << " = "
             << ValueText(*schema.GetPrototype()->GetObject()) << ". ";
        schema.GetPrototype()->DescribeValidValues(line);
        line << ". " << schema.GetDescription();
        lines.push_back(line.str());
    }
    return lines;
}

/// A setting of an observable as a host that knows only the schemas reaches it.
inline std::shared_ptr<property::Property> BindSetting(std::vector<property::Schema> const& schemas,
                                                       std::shared_ptr<observable::Observable> const& observable,
                                                       std::string const& name) {
    auto const found = std::find_if(schemas.begin(), schemas.end(),
                                    [&](property::Schema const& schema) { return schema.GetName() == name; });
    if (found == schemas.end()) {
        throw std::logic_error("No setting is called " + name);
    }
    auto property = found->MakeProperty();
    found->Bind(property, observable, property::context::Direction::ToTarget);
    return property;
}

}  // namespace qel::tests
