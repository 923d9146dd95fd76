#include "host/rules/json_schema.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>
#include <iterator>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/rules/rule_file.hpp"
#include "host/system/read_file.hpp"
#include "tests/host/support/types.hpp"
#include "tests/host/support/validator.hpp"
#include "tests/support/random.hpp"
#include "tests/support/registered.hpp"

namespace qel::host {
namespace {

using Json = nlohmann::ordered_json;
using testing::Contains;
using testing::Not;

std::filesystem::path const root = QEL_ROOT;

/// Whether a rule file's mistake is one that a schema can tell.
bool IsSeenBySchemas(Mistake const& mistake) {
    static std::set<std::string> const seen{"empty",
                                            "has both polygon and line",
                                            "has neither polygon nor line",
                                            "missing",
                                            "not a point",
                                            "out of range",
                                            "too few points",
                                            "unknown key",
                                            "unknown type",
                                            "unknown version",
                                            "wrong type"};
    bool const isWholeNumberWithPoint =
        mistake.value.find_first_of(".eE") != std::string::npos && Json::accept(mistake.value) &&
        Json::parse(mistake.value).is_number() &&
        std::trunc(Json::parse(mistake.value).get<double>()) == Json::parse(mistake.value).get<double>();
    return seen.contains(mistake.problem) && !isWholeNumberWithPoint;
}

class JsonSchemaTest : public testing::Test {
protected:
    static void SetUpTestSuite() { TypeCatalogue::LoadPlugins(""); }

    Json SchemaOf(TypeCatalogue const& catalogue, char const* type) {
        auto const schema = MakeJsonSchema(catalogue);
        for (auto const& each : schema["properties"]["rules"]["items"]["allOf"]) {
            if (each["if"]["properties"]["type"]["const"] == type) {
                return each["then"];
            }
        }
        throw std::runtime_error("no such type");
    }

    std::vector<std::string> Validate(std::vector<std::string> const& documents) {
        return tests::Validate(MakeJsonSchema(types).dump(), documents);
    }
    /// Documents with what the schema is to say of them.
    using Table = std::vector<std::pair<std::string, std::string>>;

    /// The documents stand between the two texts, the places behind another one.
    void ExpectVerdicts(Table const& table, std::string const& before = "", std::string const& after = "",
                        std::string const& place = "") {
        std::vector<std::string> documents;
        std::vector<std::string> expected;
        for (auto const& [document, verdict] : table) {
            documents.push_back(before + document + after);
            expected.push_back(verdict.empty() ? "" : place + verdict);
        }
        EXPECT_EQ(Validate(documents), expected);
        ExpectAgreement(documents);
    }

    /// The schema accepts what the reader accepts, and refuses what has a mistake that it can see.
    void ExpectAgreement(std::vector<std::string> const& documents) {
        auto const verdicts = Validate(documents);
        for (std::size_t at = 0; at < documents.size(); ++at) {
            auto const mistakes = ReadRules("rules", documents[at], types).mistakes;
            accepted += mistakes.empty() ? 1 : 0;
            refused += verdicts[at].empty() ? 0 : 1;
            if (mistakes.empty()) {
                EXPECT_EQ(verdicts[at], "") << documents[at];
            }
            auto const seen = std::find_if(mistakes.begin(), mistakes.end(), IsSeenBySchemas);
            if (verdicts[at].empty() && seen != mistakes.end()) {
                ADD_FAILURE() << Describe(*seen) << "\nis not seen in " << documents[at];
            }
        }
    }

    tests::Registered<tests::Watcher> watcher;
    tests::Registered<tests::Tripwire> tripwire;
    TypeCatalogue types;
    int accepted = 0;
    int refused = 0;
};

TEST_F(JsonSchemaTest, HasEverySettingWithTypeRangeDefaultAndDescription) {
    EXPECT_EQ(SchemaOf(types, "qel.tests.Watcher"), Json::parse(R"({
        "properties": {
            "name": true,
            "type": true,
            "channel": {"type": "integer", "minimum": 0, "maximum": 65535},
            "zone": {"description": "Its zone: the name or id of a zone with a polygon",
                     "type": ["string", "integer"], "minLength": 1, "minimum": 0, "maximum": 4294967294},
            "limit": {"description": "A small number: a whole number from 1 to 300",
                      "type": "integer", "default": 2, "minimum": 1, "maximum": 300},
            "count": {"description": "A number: a whole number from 0 to 4294967295",
                      "type": "integer", "default": 7, "minimum": 0, "maximum": 4294967295},
            "share": {"description": "A fraction: a number from 0 to 1",
                      "type": "number", "default": 0.5, "minimum": 0.0, "maximum": 1.0},
            "anything": {"description": "Any number: a number", "type": "number", "default": 1.5},
            "hold": {"description": "A time: a whole number of milliseconds from -10 to 1000",
                     "type": "integer", "default": 200, "minimum": -10, "maximum": 1000},
            "strict": {"description": "Yes or no: true or false", "type": "boolean", "default": false},
            "side": {"description": "Left or right: a text", "type": "string", "default": "left"},
            "triggers_action": {
                "description": "Whether the observable triggers actions and other observables: true or false",
                "type": "boolean", "default": true}
        },
        "required": ["zone"],
        "additionalProperties": false})"));
    EXPECT_EQ(SchemaOf(types, "qel.tests.Tripwire")["properties"]["way"],
              Json::parse(R"({"description": "The way that counts: both, inward, outward", "type": "string",
                              "default": "both", "enum": ["both", "inward", "outward"]})"));
    auto const input = SchemaOf(types, "qel.observable.Not")["properties"]["input"];
    EXPECT_EQ(input, Json::parse(R"({"description": "The source of input events: the name of a rule",
                                     "type": "string", "minLength": 1})"));
}

TEST_F(JsonSchemaTest, NamesTheTypesOfWhichThereCanBeRules) {
    tests::RegisteredInfo const nothing(observable::registry::Info(
        hash::MurmurThree32::MakeData("qel.tests.Nothing"), "qel.tests.Nothing",
        [] { return std::shared_ptr<observable::Observable>(); }, [] { return std::vector<property::Schema>(); }));
    auto const schema = MakeJsonSchema(TypeCatalogue());
    auto const& names = schema["properties"]["rules"]["items"]["properties"]["type"]["enum"];
    EXPECT_THAT(names, Contains("qel.observable.And"));
    EXPECT_THAT(names, Contains("qel.observable.spatial.LineCross"));
    EXPECT_THAT(names, Contains("qel.tests.Watcher"));
    EXPECT_THAT(names, Not(Contains("qel.tests.Nothing")));
    EXPECT_EQ(names.size(), schema["properties"]["rules"]["items"]["allOf"].size());
}

TEST_F(JsonSchemaTest, HasNoNumbersThatJsonHasNot) {
    static constexpr double Infinity = std::numeric_limits<double>::infinity();
    auto const schemas = [] {
        std::vector<property::Schema> list;
        list.emplace_back("up", Infinity, &tests::Watcher::SetShare, &tests::Watcher::GetShare, 1.0, Infinity, "Up");
        list.emplace_back("down", 0.0, &tests::Watcher::SetShare, &tests::Watcher::GetShare, -Infinity, 1.0, "Down");
        return list;
    };
    tests::RegisteredInfo const endless(observable::registry::Info(
        hash::MurmurThree32::MakeData("qel.tests.Endless"), "qel.tests.Endless",
        [] { return std::make_shared<tests::Watcher>("endless"); }, schemas));
    TypeCatalogue const catalogue;
    auto const settings = SchemaOf(catalogue, "qel.tests.Endless")["properties"];
    EXPECT_EQ(settings["up"], Json::parse(R"({"description": "Up: a number from 1 to inf", "type": "number",
                                              "minimum": 1.0})"));
    EXPECT_EQ(settings["down"], Json::parse(R"({"description": "Down: a number from -inf to 1", "type": "number",
                                                "default": 0.0, "maximum": 1.0})"));
    EXPECT_EQ(tests::Validate(MakeJsonSchema(catalogue).dump(), {R"({"rules": []})"}), std::vector<std::string>{""});
}

TEST_F(JsonSchemaTest, AgreesWithTheReaderAboutEveryRuleFileHere) {
    std::vector<std::string> files;
    for (auto const* const folder : {"examples", "tests", "fuzz/corpus/fuzz_rule_file"}) {
        for (auto const& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
            bool const mayBe = entry.path().extension() == ".json" || std::string(folder).starts_with("fuzz");
            if (!mayBe || !entry.is_regular_file()) {
                continue;
            }
            auto const json = Json::parse(ReadWholeFile(entry.path()), nullptr, false);
            if (json.is_object() && json.contains("rules")) {
                files.push_back(json.dump());
            }
        }
    }
    ExpectAgreement(files);
    EXPECT_GE(accepted, 9);
    EXPECT_GE(refused, 2);
}

TEST_F(JsonSchemaTest, RefusesMistakesAtTheTop) {
    Table const table{
        {R"({"$schema": "rules.schema.json", "version": 1, "zones": [], "retrigger_ms": 0, "rules": []})", ""},
        {R"({"rules": [], "retrigger_ms": 9223372036854775807})", ""},
        {R"([])", "$ type"},
        {R"({})", "$ required"},
        {R"({"rules": {}})", "$.rules type"},
        {R"({"rules": [4]})", "$.rules[0] type"},
        {R"({"rules": [], "rulez": []})", "$ additionalProperties"},
        {R"({"rules": [], "version": 2})", "$.version const"},
        {R"({"rules": [], "version": true})", "$.version const; $.version type"},
        {R"({"rules": [], "retrigger_ms": -1})", "$.retrigger_ms minimum"},
        {R"({"rules": [], "retrigger_ms": 9223372036854775808})", "$.retrigger_ms maximum"},
        {R"({"rules": [], "retrigger_ms": 0.5})", "$.retrigger_ms type"},
        {R"({"rules": [], "$schema": 7})", "$.$schema type"},
        {R"({"rules": [], "$schema": ""})", "$.$schema minLength"},
        {R"({"rules": [], "zones": null})", "$.zones type"},
    };
    ExpectVerdicts(table);
}

TEST_F(JsonSchemaTest, RefusesMistakesInZones) {
    Table const table{
        {R"({"id": 0, "name": "a", "polygon": [[0, 0], [1.5, -1], [1, 1]], "channel": 65535})", ""},
        {R"({"id": 4294967294, "line": [[0, 0], [1, 0]]})", ""},
        {R"([])", " oneOf; $.zones[0] type"},
        {R"({"line": [[0, 0], [1, 0]]})", " required"},
        {R"({"id": 4294967295, "line": [[0, 0], [1, 0]]})", ".id maximum"},
        {R"({"id": -1, "line": [[0, 0], [1, 0]]})", ".id minimum"},
        {R"({"id": "1", "line": [[0, 0], [1, 0]]})", ".id type"},
        {R"({"id": 1, "name": "", "line": [[0, 0], [1, 0]]})", ".name minLength"},
        {R"({"id": 1, "channel": 65536, "line": [[0, 0], [1, 0]]})", ".channel maximum"},
        {R"({"id": 1, "colour": 1, "line": [[0, 0], [1, 0]]})", " additionalProperties"},
        {R"({"id": 1})", " oneOf"},
        {R"({"id": 1, "line": [[0, 0], [1, 0]], "polygon": [[0, 0], [1, 0], [1, 1]]})", " oneOf"},
        {R"({"id": 1, "line": [[0, 0]]})", ".line minItems"},
        {R"({"id": 1, "polygon": [[0, 0], [1, 0]]})", ".polygon minItems"},
        {R"({"id": 1, "line": [[0, 0], [1, "0"]]})", ".line[1][1] type"},
        {R"({"id": 1, "line": [[0, 0], [1]]})", ".line[1] minItems"},
        {R"({"id": 1, "line": [[0, 0], [1, 2, 3]]})", ".line[1] maxItems"},
        {R"({"id": 1, "line": [[0, 0], 5]})", ".line[1] type"},
    };
    ExpectVerdicts(table, R"({"rules": [], "zones": [)", "]}", "$.zones[0]");
}

TEST_F(JsonSchemaTest, RefusesMistakesInRules) {
    Table const table{
        {R"({"name": "a", "type": "qel.observable.Not"})", ""},
        {R"({"name": "a", "type": "qel.observable.spatial.Presence", "zone": "Gate", "minimum_confidence": 1})", ""},
        {R"({"name": "a", "type": "qel.observable.spatial.LineCross", "zone": 2, "channel": 9})", ""},
        {R"({"name": "a", "type": "qel.tests.Watcher", "zone": "Gate", "anything": 1e300, "hold": -10})", ""},
        {R"({"type": "qel.observable.Not"})", " required"},
        {R"({"name": "a"})", " required"},
        {R"({"name": "", "type": "qel.observable.Not"})", ".name minLength"},
        {R"({"name": "a", "type": "qel.observable.Nott"})", ".type enum"},
        {R"({"name": "a", "type": 5})", ".type enum; $.rules[0].type type"},
        {R"({"name": "a", "type": "qel.observable.Not", "inputa": "a"})", " additionalProperties"},
        {R"({"name": "a", "type": "qel.observable.Not", "input": 7})", ".input type"},
        {R"({"name": "a", "type": "qel.observable.Not", "input": ""})", ".input minLength"},
        {R"({"name": "a", "type": "qel.observable.Not", "channel": -1})", ".channel minimum"},
        {R"({"name": "a", "type": "qel.observable.Not", "triggers_action": 1})", ".triggers_action type"},
        {R"({"name": "a", "type": "qel.observable.Previous", "interval": 99})", ".interval minimum"},
        {R"({"name": "a", "type": "qel.observable.Previous", "interval": 86400001})", ".interval maximum"},
        {R"({"name": "a", "type": "qel.observable.Previous", "interval": "1000"})", ".interval type"},
        {R"({"name": "a", "type": "qel.observable.spatial.Presence"})", " required"},
        {R"({"name": "a", "type": "qel.observable.spatial.Presence", "zone": 4294967295})", ".zone maximum"},
        {R"({"name": "a", "type": "qel.observable.spatial.Presence", "zone": ["Gate"]})", ".zone type"},
        {R"({"name": "a", "type": "qel.observable.spatial.Presence", "zone": 1, "minimum_confidence": 1.5})",
         ".minimum_confidence maximum"},
        {R"({"name": "a", "type": "qel.observable.spatial.Presence", "zone": 1, "classes": null})", ".classes type"},
    };
    ExpectVerdicts(table,
                   R"({"zones": [{"id": 1, "name": "Gate", "polygon": [[0, 0], [1, 0], [1, 1]]}, )"
                   R"({"id": 2, "name": "Kerb", "line": [[0, 0], [1, 0]]}], "rules": [)",
                   "]}", "$.rules[0]");
}

/// Changes something in a rule file: takes away, adds, repeats or replaces.
void Mutate(Json& document, tests::Random& random, TypeCatalogue const& types) {
    std::vector<std::string> keys{"$schema", "version", "zones",   "retrigger_ms", "rules", "id",
                                  "polygon", "line",    "channel", "name",         "type",  "colour"};
    std::vector<Json> values{nullptr,
                             true,
                             0,
                             1,
                             -1,
                             99,
                             65535,
                             65536,
                             4294967294,
                             4294967295,
                             9223372036854775807,
                             9223372036854775808u,
                             0.5,
                             1.0,
                             1e300,
                             "",
                             "left",
                             "any",
                             Json::array(),
                             Json::object(),
                             Json::parse("[[0, 0], [1, 1]]"),
                             Json::parse("[[0, 0], [1, 1], [0, 1]]"),
                             Json::parse(R"({"name": "new", "type": "qel.observable.Not"})")};
    for (auto const& type : types.GetTypes()) {
        values.push_back(type.name);
        for (auto const& setting : type.settings) {
            keys.push_back(setting.schema.GetName());
            values.push_back(DefaultOf(setting));
        }
    }
    std::vector<Json*> places;
    std::function<void(Json&)> const collect = [&](Json& place) {
        places.push_back(&place);
        if (place.is_object() && place.contains("name")) {
            values.push_back(place["name"]);
        }
        if (place.is_structured()) {
            for (auto& each : place) {
                collect(each);
            }
        }
    };
    collect(document);
    Json& place = *places[random.Below(places.size())];
    Json const& value = values[random.Below(values.size())];
    if (place.empty() || !place.is_structured() || random.OneIn(8)) {
        place = value;
        return;
    }
    bool const isList = place.is_array();
    std::string const key = keys[random.Below(keys.size())];
    std::size_t const at = random.Below(place.size());
    switch (random.Below(4)) {
        case 0:
            place.erase(std::next(place.begin(), static_cast<std::ptrdiff_t>(at)));
            break;
        case 1:
            isList ? place.push_back(value) : void(place[key] = value);
            break;
        case 2:
            isList ? place.push_back(Json(place[at])) : void(place[key] = Json(place.begin().value()));
            break;
        default:
            std::next(place.begin(), static_cast<std::ptrdiff_t>(at)).value() = value;
    }
}

TEST_F(JsonSchemaTest, AgreesWithTheReaderAboutRuleFilesChangedAtRandom) {
    auto const original = Json::parse(R"({
        "$schema": "rules.schema.json",
        "version": 1,
        "retrigger_ms": 50,
        "zones": [{"id": 1, "name": "Gate", "polygon": [[0, 0], [1, 0], [1, 1]]},
                  {"id": 2, "name": "Kerb", "line": [[0, 0], [1, 0.5]], "channel": 3}],
        "rules": [{"name": "in", "type": "qel.observable.spatial.Presence", "zone": "Gate", "hold_on": 40},
                  {"name": "watch", "type": "qel.tests.Watcher", "zone": 1, "limit": 4, "share": 0.25, "side": "right"},
                  {"name": "crossed", "type": "qel.observable.spatial.LineCross", "zone": "Kerb", "channel": 3},
                  {"name": "before", "type": "qel.observable.Previous", "input": "in", "interval": 500},
                  {"name": "both", "type": "qel.observable.And", "inputa": "before", "inputb": "in"}]})");
    std::vector<std::string> documents;
    tests::RunAtRandom(600, [&](tests::Random& random) {
        Json document = original;
        for (std::size_t changes = 1 + random.Below(2); changes > 0; --changes) {
            Mutate(document, random, types);
        }
        documents.push_back(document.dump());
    });
    ExpectAgreement(documents);
    EXPECT_GT(accepted, static_cast<int>(documents.size() / 20));
    EXPECT_GT(refused, static_cast<int>(documents.size() / 4));
}

}  // namespace
}  // namespace qel::host
