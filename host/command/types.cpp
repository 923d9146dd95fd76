#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "host/command/action.hpp"
#include "host/failure.hpp"
#include "host/rules/json_schema.hpp"
#include "host/rules/type_catalogue.hpp"
#include "host/system/output.hpp"

namespace qel::host {

namespace {

struct Options {
    std::string name;
    bool json = false;
    bool jsonSchema = false;
    std::string plugins;
};

std::string DefaultText(Setting const& setting) {
    switch (setting.role) {
        case Setting::Role::Name:
        case Setting::Role::Zone:
            return "required";
        case Setting::Role::Rule:
            return "none";
        case Setting::Role::Channel:
            return "every channel";
        case Setting::Role::Value:
            break;
    }
    return PlainText(DefaultOf(setting));
}

std::string RangeText(Setting const& setting) {
    if (auto const& choices = setting.schema.GetChoices(); !choices.empty()) {
        return fmt::format("{}", fmt::join(choices, "|"));
    }
    auto const range = RangeOf(setting);
    return range ? fmt::format("{}..{}", PlainText(range->minimum), PlainText(range->maximum)) : "";
}

std::string Describe(ObservableType const& type) {
    if (!type.defect.empty()) {
        return fmt::format("{}\n  unusable: {}\n", type.name, type.defect);
    }
    std::vector<std::vector<std::string>> rows{{"setting", "type", "default", "range", "description"}};
    for (auto const& setting : type.settings) {
        rows.push_back({setting.schema.GetName(), KindOf(setting), DefaultText(setting), RangeText(setting),
                        setting.schema.GetDescription()});
    }
    std::vector<std::size_t> widths(rows.front().size());
    for (auto const& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    std::string text = type.name + "\n";
    for (auto const& row : rows) {
        text += ' ';
        for (std::size_t column = 0; column + 1 < row.size(); ++column) {
            text += fmt::format(" {:<{}}", row[column], widths[column] + 1);
        }
        text += fmt::format(" {}\n", row.back());
    }
    return text;
}

nlohmann::ordered_json ToJson(ObservableType const& type) {
    nlohmann::ordered_json json{{"type", type.name}};
    if (!type.defect.empty()) {
        json["defect"] = type.defect;
    }
    json["settings"] = nlohmann::ordered_json::array();
    for (auto const& setting : type.settings) {
        auto const range = RangeOf(setting);
        json["settings"].push_back({{"name", setting.schema.GetName()},
                                    {"type", KindOf(setting)},
                                    {"property", setting.schema.GetTypeName()},
                                    {"default", DefaultOf(setting)},
                                    {"minimum", range ? range->minimum : nullptr},
                                    {"maximum", range ? range->maximum : nullptr},
                                    {"description", setting.schema.GetDescription()}});
        if (auto const& choices = setting.schema.GetChoices(); !choices.empty()) {
            json["settings"].back()["choices"] = choices;
        }
    }
    return json;
}

/// A description of a plug-in's that is not UTF-8 does not spoil the rest.
std::string Print(nlohmann::ordered_json const& json) {
    return json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

std::vector<ObservableType> TypesOf(TypeCatalogue const& catalogue, Options const& options) {
    if (options.name.empty()) {
        return catalogue.GetTypes();
    }
    auto const* const type = catalogue.Find(options.name);
    if (type == nullptr) {
        std::string const nearest = catalogue.FindNearest(options.name);
        throw CommandLineError(fmt::format("no type is called \"{}\"{}", options.name,
                                           nearest.empty() ? "" : fmt::format("; did you mean \"{}\"?", nearest)));
    }
    return {*type};
}

int Types(Options const& options) {
    TypeCatalogue::LoadPlugins(options.plugins);
    TypeCatalogue const catalogue;
    auto const types = TypesOf(catalogue, options);
    Output output("-");
    if (options.jsonSchema) {
        output.Write(Print(MakeJsonSchema(catalogue)));
    } else if (options.json) {
        auto list = nlohmann::ordered_json::array();
        for (auto const& type : types) {
            list.push_back(ToJson(type));
        }
        output.Write(Print(list));
    } else {
        for (std::size_t at = 0; at < types.size(); ++at) {
            output.Write((at == 0 ? "" : "\n") + Describe(types[at]));
        }
    }
    output.Flush();
    return Success;
}

}  // namespace

void AddTypes(CLI::App& program, Action& action) {
    auto const options = std::make_shared<Options>();
    auto* const command = program.add_subcommand("types", "List the types of rules with their settings");
    auto* const name = command->add_option("NAME", options->name, "Only this type");
    auto* const json = command->add_flag("--json", options->json, "As JSON, for programs");
    command->add_flag("--json-schema", options->jsonSchema, "A JSON Schema of rule files instead, for editors")
        ->excludes(name)
        ->excludes(json);
    AddPluginsOption(*command, options->plugins);
    command->footer(
        "A setting of the type \"rule\" takes the name of another rule, one of the type \"polygon\" or \"line\" the\n"
        "name or id of such a zone. Exit: 0, 2 for a wrong command line or an unknown type.\n\n"
        "  qel types\n"
        "  qel types qel.observable.Previous\n"
        "  qel types --json | jq -r '.[].type'\n"
        "  qel types --json-schema > rules.schema.json");
    command->callback([options, &action] { action = [options] { return Types(*options); }; });
}

}  // namespace qel::host
