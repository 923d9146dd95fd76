#include "host/rules/type_catalogue.hpp"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include <fmt/format.h>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/path.hpp>

#include "foundation/system/plugin.hpp"
#include "host/failure.hpp"
#include "host/rules/mistake.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/registry/get.hpp"

namespace qel::host {

namespace {

std::vector<observable::registry::Info> RegisteredTypes() {
    auto const registered = observable::registry::Get().GetMap();
    std::vector<observable::registry::Info> types;
    std::transform(registered->begin(), registered->end(), std::back_inserter(types),
                   [](auto const& entry) { return entry.second; });
    return types;
}

Setting MakeSetting(property::Schema const& schema, observable::InputNames inputs) {
    using Role = Setting::Role;
    using Shape = meta::data::Zone::Shape;
    std::string const& name = schema.GetName();
    bool const isInput = std::find(inputs.begin(), inputs.end(), name) != inputs.end();
    bool const isLine = schema.GetReference() == "zone.line";
    bool const isZone = isLine || schema.GetReference() == "zone.polygon";
    return {schema,
            isInput             ? Role::Rule
            : isZone            ? Role::Zone
            : name == "name"    ? Role::Name
            : name == "channel" ? Role::Channel
                                : Role::Value,
            isLine ? Shape::Line : Shape::Polygon};
}

/// What a plug-in throws concerns only the rules of its type.
ObservableType Describe(observable::registry::Info const& info) {
    ObservableType type{info.GetTypeNameId(), info.GetTypeName(), {}, {}};
    try {
        auto const instance = type.Make();
        for (auto const& schema : info.GetSchemas()) {
            type.settings.push_back(MakeSetting(schema, instance->GetInputProperties()));
        }
    } catch (std::exception const& error) {
        type.settings.clear();
        type.defect = error.what();
    }
    return type;
}

}  // namespace

Setting const* ObservableType::Find(std::string_view setting) const {
    auto const found = std::find_if(settings.begin(), settings.end(),
                                    [&](Setting const& each) { return each.schema.GetName() == setting; });
    return found == settings.end() ? nullptr : &*found;
}

std::shared_ptr<observable::Observable> ObservableType::Make() const {
    auto instance = observable::Observable::Make(id);
    if (!instance) {
        throw Failure("its factory makes nothing");
    }
    return instance;
}

void TypeCatalogue::LoadPlugins(std::filesystem::path const& directory) {
    observable::plugin::Loader const besideTheLibrary;
    if (directory.empty()) {
        return;
    }
    try {
        system::plugin::LoadAll("qel_observable_", {boost::filesystem::path(directory.native())});
    } catch (boost::filesystem::filesystem_error const& error) {
        throw CommandLineError(
            fmt::format("--plugins: {}: cannot be read: {}", directory.native(), error.code().message()));
    }
}

TypeCatalogue::TypeCatalogue() {
    for (auto const& info : RegisteredTypes()) {
        types.push_back(Describe(info));
    }
    std::sort(types.begin(), types.end(), [](auto const& left, auto const& right) { return left.name < right.name; });
}

ObservableType const* TypeCatalogue::Find(std::string_view name) const {
    auto const found = std::find_if(types.begin(), types.end(), [&](auto const& each) { return each.name == name; });
    return found == types.end() ? nullptr : &*found;
}

std::string TypeCatalogue::FindNearest(std::string_view name) const {
    std::string const lastPart = fmt::format(".{}", name.substr(name.rfind('.') + 1));
    std::vector<std::string> names;
    for (auto const& type : types) {
        if (type.name.ends_with(lastPart)) {
            return type.name;
        }
        names.push_back(type.name);
    }
    return Nearest(name, names);
}

}  // namespace qel::host
