#include "host/rules/rule_file.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "foundation/object/primitive.hpp"
#include "host/failure.hpp"
#include "tests/host/support/types.hpp"
#include "tests/support/registered.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> InWords(std::vector<Mistake> const& mistakes) {
    std::vector<std::string> words;
    for (auto const& mistake : mistakes) {
        words.push_back(Describe(mistake));
    }
    return words;
}

class RuleFileTest : public testing::Test {
protected:
    RuleReading Read(std::string const& text) { return ReadRules("r", text, types); }

    std::vector<std::string> Mistakes(std::string const& text) { return InWords(Read(text).mistakes); }
    std::vector<std::string> Warnings(std::string const& text) { return InWords(Read(text).warnings); }

    /// The mistakes of a file with this zone and nothing else; their places are counted from the zone.
    std::vector<std::string> ZoneMistakes(std::string const& zone) {
        return Mistakes("{\"rules\": [], \"zones\": [\n" + zone + "\n]}");
    }

    /// The mistakes of a file with a polygon "Gate" (1), a line "Kerb" (2), a rule "other" and, on the second line,
    /// this one.
    std::vector<std::string> RuleMistakes(std::string const& rule) {
        return Mistakes(R"({"zones": [{"id": 1, "name": "Gate", "polygon": [[0, 0], [1, 0], [1, 1]]}, )"
                        R"({"id": 2, "name": "Kerb", "line": [[0, 0], [1, 0]]}], )"
                        R"("rules": [{"name": "other", "type": "qel.observable.Previous", "input": "other one", )"
                        R"("triggers_action": false}, {"name": "other one", "type": "qel.observable.Not"},)"
                        "\n" +
                        rule + "\n]}");
    }

    tests::Registered<tests::Watcher> watcher;
    tests::Registered<tests::Tripwire> tripwire;
    TypeCatalogue types;
};

TEST_F(RuleFileTest, BecomesZonesAndRules) {
    auto const reading = Read(R"({
        "version": 1,
        "retrigger_ms": 5000,
        "zones": [
            {"id": 1, "name": "Gate", "polygon": [[0.1, 0.4], [0.3, 0.4], [1.5, -1]], "channel": 3},
            {"id": 2, "line": [[0, 0.7], [1, 0.6]]}
        ],
        "rules": [
            {"name": "watch", "type": "qel.tests.Watcher", "zone": "Gate", "channel": 3, "limit": 5},
            {"name": "look back", "type": "qel.observable.Previous", "input": "watch", "channel": 3,
             "constrain_target": false, "triggers_action": false}
        ]})");
    ASSERT_THAT(InWords(reading.mistakes), IsEmpty());
    EXPECT_THAT(InWords(reading.warnings), IsEmpty());
    auto const& file = reading.file;
    EXPECT_EQ(file.retriggerTime, std::chrono::milliseconds(5000));

    ASSERT_EQ(file.zones.size(), 2u);
    EXPECT_EQ(file.zones[0].channel, 3);
    EXPECT_EQ(file.zones[0].zone->GetId(), 1u);
    EXPECT_EQ(file.zones[0].zone->GetName(), "Gate");
    EXPECT_EQ(file.zones[0].zone->GetShape(), meta::data::Zone::Shape::Polygon);
    EXPECT_THAT(file.zones[0].zone->GetPoints(),
                ElementsAre(meta::data::Point{0.1, 0.4}, meta::data::Point{0.3, 0.4}, meta::data::Point{1.5, -1}));
    EXPECT_EQ(file.zones[1].channel, std::nullopt);
    EXPECT_EQ(file.zones[1].zone->GetName(), "");
    EXPECT_EQ(file.zones[1].zone->GetShape(), meta::data::Zone::Shape::Line);

    ASSERT_EQ(file.rules.size(), 2u);
    EXPECT_EQ(file.rules[0].name, "watch");
    EXPECT_EQ(file.rules[0].type->name, "qel.tests.Watcher");
    EXPECT_EQ(file.rules[0].channel, 3);
    EXPECT_TRUE(file.rules[0].triggersAction);
    EXPECT_THAT(file.rules[0].inputs, IsEmpty());
    EXPECT_FALSE(file.rules[1].triggersAction);
    ASSERT_EQ(file.rules[1].inputs.size(), 1u);
    EXPECT_EQ(file.rules[1].inputs[0].rule, 0u);
    EXPECT_EQ(file.rules[1].inputs[0].setting->schema.GetName(), "input");
}

TEST_F(RuleFileTest, FillsInTheDefaultsThatTheTypePublishes) {
    auto const reading = Read(R"({"rules": [{"name": "either", "type": "qel.observable.Or"}]})");
    std::vector<std::string> values;
    for (auto const& value : reading.file.rules.at(0).values) {
        values.push_back(value.setting->schema.GetName() + (value.value->Is<object::Bool>()
                                                                ? value.value->As<object::Bool>().Get() ? " yes" : " no"
                                                                : " " + value.value->As<object::String>().Get()));
    }
    EXPECT_THAT(values, ElementsAre("constrain_target yes", "name either", "triggers_action yes"));
}

TEST_F(RuleFileTest, MayHaveNoRulesAndNoZones) {
    EXPECT_THAT(Mistakes(R"({"rules": []})"), IsEmpty());
    EXPECT_EQ(Read(R"({"rules": []})").file.retriggerTime, std::chrono::milliseconds(0));
}

TEST_F(RuleFileTest, MayNameWhatComesLater) {
    EXPECT_THAT(Mistakes(R"({"rules": [{"name": "b", "type": "qel.observable.Not", "input": "a"},
                                       {"name": "a", "type": "qel.tests.Watcher", "zone": 4}],
                             "zones": [{"id": 4, "polygon": [[0, 0], [0, 0], [0, 0]]}]})"),
                IsEmpty());
}

TEST_F(RuleFileTest, IsRefusedAsAWholeWhenItIsNotJson) {
    EXPECT_THAT(Mistakes(R"({"rules": [}})"),
                ElementsAre("r:1:12: syntax error while parsing value - unexpected '}'; expected '[', '{', or a "
                            "literal"));
    EXPECT_THAT(Mistakes("\xff\xfe\x00"), ElementsAre("r:1:1: syntax error while parsing value - invalid literal"));
}

TEST_F(RuleFileTest, TellsOfMistakesAtItsTop) {
    EXPECT_THAT(Mistakes("[]"), ElementsAre("r:1:1: []: wrong type; allowed: an object, {...}"));
    EXPECT_THAT(Mistakes("{}"), ElementsAre("r:1:1: rules: missing; allowed: a list of rules, [...]"));
    EXPECT_THAT(Mistakes(R"({"rules": {}})"), ElementsAre("r:1:11: rules: {}: wrong type; allowed: a list, [...]"));
    EXPECT_THAT(Mistakes(R"({"rules": [], "zones": 4})"),
                ElementsAre("r:1:24: zones: 4: wrong type; allowed: a list, [...]"));
    EXPECT_THAT(Mistakes(R"({"rules": [], "rulez": 4})"),
                ElementsAre("r:1:15: rulez: 4: unknown key; allowed: $schema, retrigger_ms, rules, version, zones; did "
                            "you mean \"rules\"?"));
    EXPECT_THAT(Mistakes(R"({"rules": [], "rules": [{}]})"),
                ElementsAre("r:1:15: rules: [{}]: repeated key; allowed: each key once"));
    EXPECT_THAT(Mistakes(R"({"rules": [4]})"),
                ElementsAre("r:1:12: rules[0]: 4: wrong type; allowed: an object, {...}"));
    EXPECT_THAT(Mistakes(R"({"rules": [], "zones": [[]]})"),
                ElementsAre("r:1:25: zones[0]: []: wrong type; allowed: an object, {...}"));
}

TEST_F(RuleFileTest, MayNameASchemaForEditors) {
    EXPECT_THAT(Mistakes(R"({"$schema": "rules.schema.json", "rules": []})"), IsEmpty());
    EXPECT_THAT(Mistakes(R"({"$schema": true, "rules": []})"),
                ElementsAre("r:1:13: $schema: true: wrong type; allowed: a text that is not empty"));
    EXPECT_THAT(Mistakes(R"({"$schema": "", "rules": []})"),
                ElementsAre("r:1:13: $schema: \"\": empty; allowed: a text that is not empty"));
    EXPECT_THAT(Mistakes(R"({"rules": [{"name": "a", "type": "qel.observable.Not", "$schema": "b"}]})"),
                ElementsAre("r:1:56: rules[0].$schema: \"b\": unknown key; allowed: channel, input, name, "
                            "triggers_action, type"));
}

TEST_F(RuleFileTest, TellsOfAnUnknownVersion) {
    for (char const* const version : {"0", "2", "-1", "1.0", "\"1\"", "null"}) {
        EXPECT_THAT(Mistakes(fmt::format(R"({{"rules": [], "version": {}}})", version)),
                    ElementsAre(fmt::format("r:1:26: version: {}: unknown version; allowed: 1", version)));
    }
    EXPECT_THAT(Mistakes(R"({"rules": [], "version": 1})"), IsEmpty());
}

TEST_F(RuleFileTest, TellsOfAWrongRetriggerTime) {
    auto const mistakes = [&](char const* time) {
        return Mistakes(fmt::format(R"({{"rules": [], "retrigger_ms": {}}})", time));
    };
    auto const allowed = "; allowed: a whole number from 0 to 9223372036854775807";
    EXPECT_THAT(mistakes("0"), IsEmpty());
    EXPECT_THAT(mistakes("9223372036854775807"), IsEmpty());
    EXPECT_THAT(mistakes("-1"), ElementsAre("r:1:31: retrigger_ms: -1: out of range" + std::string(allowed)));
    EXPECT_THAT(mistakes("9223372036854775808"),
                ElementsAre("r:1:31: retrigger_ms: 9223372036854775808: out of range" + std::string(allowed)));
    EXPECT_THAT(mistakes("5.5"), ElementsAre("r:1:31: retrigger_ms: 5.5: wrong type" + std::string(allowed)));
    EXPECT_THAT(mistakes("\"5s\""), ElementsAre("r:1:31: retrigger_ms: \"5s\": wrong type" + std::string(allowed)));
}

TEST_F(RuleFileTest, TellsOfMistakesInZones) {
    EXPECT_THAT(ZoneMistakes(R"({"polygon": [[0, 0], [1, 0], [1, 1]]})"),
                ElementsAre("r:2:1: zones[0].id: missing; allowed: a whole number from 0 to 4294967294"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 4294967295, "line": [[0, 0], [1, 0]]})"),
                ElementsAre("r:2:8: zones[0].id: 4294967295: out of range; allowed: a whole number from 0 to "
                            "4294967294"));
    EXPECT_THAT(ZoneMistakes(R"({"id": "Gate", "line": [[0, 0], [1, 0]]})"),
                ElementsAre("r:2:8: zones[0].id: \"Gate\": wrong type; allowed: a whole number from 0 to 4294967294"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "name": 4, "line": [[0, 0], [1, 0]]})"),
                ElementsAre("r:2:19: zones[0].name: 4: wrong type; allowed: a text that is not empty"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "name": "", "line": [[0, 0], [1, 0]]})"),
                ElementsAre("r:2:19: zones[0].name: \"\": empty; allowed: a text that is not empty"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "channel": 65536, "line": [[0, 0], [1, 0]]})"),
                ElementsAre("r:2:22: zones[0].channel: 65536: out of range; allowed: a whole number from 0 to 65535"));
    EXPECT_THAT(
        ZoneMistakes(R"({"id": 1, "colour": "red", "line": [[0, 0], [1, 0]]})"),
        ElementsAre("r:2:11: zones[0].colour: \"red\": unknown key; allowed: channel, id, line, name, polygon"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 1})"),
                ElementsAre("r:2:1: zones[0]: {\"id\": 1}: has neither polygon nor line; allowed: one of them"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "line": [], "polygon": []})"),
                ElementsAre("r:2:1: zones[0]: {\"id\": 1, \"line\": [], \"polygon\": []}: has both polygon and line; "
                            "allowed: one of them"));
}

TEST_F(RuleFileTest, TellsOfMistakesInPoints) {
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "polygon": [[0, 0], [1, 0]]})"),
                ElementsAre("r:2:22: zones[0].polygon: [[0, 0], [1, 0]]: too few points; allowed: 3 points or more"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "line": [[0, 0]]})"),
                ElementsAre("r:2:19: zones[0].line: [[0, 0]]: too few points; allowed: 2 points or more"));
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "line": "straight"})"),
                ElementsAre("r:2:19: zones[0].line: \"straight\": wrong type; allowed: a list, [...]"));
    auto const point = std::string("not a point; allowed: [x, y], two numbers, where 0 to 1 is the picture");
    EXPECT_THAT(ZoneMistakes(R"({"id": 1, "line": [[0, 0], [1], [0, 1, 2], {"x": 0}, ["0", 1], [-4e1, 7]]})"),
                ElementsAre("r:2:28: zones[0].line[1]: [1]: " + point, "r:2:33: zones[0].line[2]: [0, 1, 2]: " + point,
                            "r:2:44: zones[0].line[3]: {\"x\": 0}: " + point,
                            "r:2:54: zones[0].line[4]: [\"0\", 1]: " + point));
}

TEST_F(RuleFileTest, TellsOfZonesThatShareANameOrAnIdOnAChannel) {
    auto const zones = [&](std::string const& first, std::string const& second) {
        return ZoneMistakes("{\"line\": [[0, 0], [1, 0]], " + first + "},\n{\"line\": [[0, 0], [1, 0]], " + second +
                            "}");
    };
    auto const id = "r:3:34: zones[1].id: 1: the id of line 2 on the same channel; allowed: each id once on a channel";
    auto const name =
        "r:3:45: zones[1].name: \"a\": the name of line 2 on the same channel; allowed: each name once on a channel";
    EXPECT_THAT(zones(R"("id": 1)", R"("id": 1)"), ElementsAre(id));
    EXPECT_THAT(zones(R"("id": 2, "name": "a")", R"("id": 1, "name": "a")"), ElementsAre(name));
    EXPECT_THAT(zones(R"("id": 1, "channel": 4)", R"("id": 1, "channel": 4)"), ElementsAre(id));
    EXPECT_THAT(zones(R"("id": 1)", R"("id": 1, "channel": 4)"), ElementsAre(id)) << "the first is on channel 4 too";
    EXPECT_THAT(zones(R"("id": 1, "channel": 4)", R"("id": 1)"), ElementsAre(id));
    EXPECT_THAT(zones(R"("id": 1, "name": "a", "channel": 3)", R"("id": 1, "name": "a", "channel": 4)"), IsEmpty());
    EXPECT_THAT(zones(R"("id": 1)", R"("id": 2)"), IsEmpty()) << "zones without a name do not share one";
}

TEST_F(RuleFileTest, TellsOfMistakesInTheHeadOfARule) {
    EXPECT_THAT(RuleMistakes(R"({"type": "qel.observable.Not", "input": "other"})"),
                ElementsAre("r:2:1: rules[2].name: missing; allowed: a text that is not empty"));
    EXPECT_THAT(RuleMistakes(R"({"name": "", "type": "qel.observable.Not", "input": "other"})"),
                ElementsAre("r:2:10: rules[2].name: \"\": empty; allowed: a text that is not empty"));
    EXPECT_THAT(RuleMistakes(R"({"name": "x"})"),
                ElementsAre("r:2:1: rules[2].type: missing; allowed: a type that `qel types` lists"));
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": 7})"),
                ElementsAre("r:2:23: rules[2].type: 7: wrong type; allowed: a text that is not empty"));
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.observable.Adn"})"),
                ElementsAre("r:2:23: rules[2].type: \"qel.observable.Adn\": unknown type; allowed: a type that `qel "
                            "types` lists; did you mean \"qel.observable.And\"?"));
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.observable.Not", "input": "other", "channel": -1})"),
                ElementsAre("r:2:74: rules[2].channel: -1: out of range; allowed: a whole number from 0 to 65535"));
}

TEST_F(RuleFileTest, TellsOfRulesThatShareANameOnAChannel) {
    auto const rule = [](char const* channel) {
        return fmt::format(R"({{"name": "a", "type": "qel.observable.Not"{}}})", channel);
    };
    auto const mistakes = [&](char const* first, char const* second) {
        return Mistakes("{\"rules\": [" + rule(first) + ",\n" + rule(second) + "]}");
    };
    auto const same =
        "r:2:10: rules[1].name: \"a\": the name of line 1 on the same channel; allowed: each name once on a channel";
    EXPECT_THAT(mistakes("", ""), ElementsAre(same));
    EXPECT_THAT(mistakes(R"(, "channel": 2)", ""), ElementsAre(same));
    EXPECT_THAT(mistakes(R"(, "channel": 2)", R"(, "channel": 2)"), ElementsAre(same));
    EXPECT_THAT(mistakes(R"(, "channel": 1)", R"(, "channel": 2)"), IsEmpty());
}

TEST_F(RuleFileTest, TellsOfUnknownAndRepeatedSettings) {
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.observable.Previous", "input": "other", "intervall": 50,)"
                             R"( "triggers_action": false})"),
                ElementsAre("r:2:68: rules[2].intervall: 50: unknown key; allowed: channel, constrain_target, input, "
                            "interval, name, triggers_action, type; did you mean \"interval\"?"));
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.observable.Not", "input": "other", "input": "x"})"),
                ElementsAre("r:2:63: rules[2].input: \"x\": repeated key; allowed: each key once"));
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.observable.Not", "input": "other", "zone": 1})"),
                ElementsAre("r:2:63: rules[2].zone: 1: unknown key; allowed: channel, input, name, triggers_action, "
                            "type"));
}

TEST_F(RuleFileTest, TellsOfValuesThatASettingDoesNotTake) {
    auto const mistakes = [&](char const* setting) {
        return RuleMistakes(fmt::format(R"({{"name": "x", "type": "qel.tests.Watcher", "zone": 1, {}}})", setting));
    };
    EXPECT_THAT(mistakes(R"("limit": 0)"),
                ElementsAre("r:2:64: rules[2].limit: 0: out of range; allowed: a whole number from 1 to 300"));
    EXPECT_THAT(mistakes(R"("limit": 301)"),
                ElementsAre("r:2:64: rules[2].limit: 301: out of range; allowed: a whole number from 1 to 300"));
    EXPECT_THAT(mistakes(R"("limit": 65537)"),
                ElementsAre("r:2:64: rules[2].limit: 65537: out of range; allowed: a whole number from 1 to 300"));
    EXPECT_THAT(mistakes(R"("limit": 1.5)"),
                ElementsAre("r:2:64: rules[2].limit: 1.5: wrong type; allowed: a whole number from 1 to 300"));
    EXPECT_THAT(mistakes(R"("limit": "5")"),
                ElementsAre("r:2:64: rules[2].limit: \"5\": wrong type; allowed: a whole number from 1 to 300"));
    EXPECT_THAT(mistakes(R"("count": 4294967296)"),
                ElementsAre("r:2:64: rules[2].count: 4294967296: out of range; allowed: a whole number from 0 to "
                            "4294967295"));
    EXPECT_THAT(mistakes(R"("share": 1.01)"),
                ElementsAre("r:2:64: rules[2].share: 1.01: out of range; allowed: a number from 0 to 1"));
    EXPECT_THAT(mistakes(R"("share": true)"),
                ElementsAre("r:2:64: rules[2].share: true: wrong type; allowed: a number from 0 to 1"));
    EXPECT_THAT(mistakes(R"("hold": -11)"), ElementsAre("r:2:63: rules[2].hold: -11: out of range; allowed: a whole "
                                                        "number of milliseconds from -10 to 1000"));
    EXPECT_THAT(mistakes(R"("strict": 1)"),
                ElementsAre("r:2:65: rules[2].strict: 1: wrong type; allowed: true or false"));
    EXPECT_THAT(mistakes(R"("side": 4)"), ElementsAre("r:2:63: rules[2].side: 4: wrong type; allowed: a text"));
    EXPECT_THAT(mistakes(R"("side": "top")"),
                ElementsAre("r:2:63: rules[2].side: \"top\": a side is left or right; allowed: a text"));
    EXPECT_THAT(mistakes(R"("triggers_action": "no")"),
                ElementsAre("r:2:74: rules[2].triggers_action: \"no\": wrong type; allowed: true or false"));
    EXPECT_THAT(mistakes(R"("limit": 300, "count": 0, "share": 1, "anything": -1e300, "hold": -10, "strict": true, )"
                         R"("side": "right")"),
                IsEmpty());
}

TEST_F(RuleFileTest, CutsLongValues) {
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.tests.Watcher", "zone": 1, "side": ")" +
                             std::string(200, 'x') + "\"}"),
                ElementsAre("r:2:63: rules[2].side: \"" + std::string(79, 'x') +
                            "...: a side is left or right; allowed: a text"));
}

TEST_F(RuleFileTest, TellsOfInputsThatAreNoRules) {
    auto const mistakes = [&](char const* input) {
        return RuleMistakes(fmt::format(R"({{"name": "x", "type": "qel.observable.Not", "input": {}}})", input));
    };
    EXPECT_THAT(mistakes(R"("othr")"),
                ElementsAre("r:2:54: rules[2].input: \"othr\": unknown rule; allowed: the name of a rule; did you mean "
                            "\"other\"?"));
    EXPECT_THAT(mistakes(R"("Gate")"),
                ElementsAre("r:2:54: rules[2].input: \"Gate\": unknown rule; allowed: the name of a rule"));
    EXPECT_THAT(mistakes("1"), ElementsAre("r:2:54: rules[2].input: 1: wrong type; allowed: the name of a rule"));
    EXPECT_THAT(mistakes("null"), ElementsAre("r:2:54: rules[2].input: null: wrong type; allowed: the name of a rule"));
}

TEST_F(RuleFileTest, TellsOfZonesThatAreNotThereOrNotOfTheShape) {
    auto const watcher = [&](char const* zone) {
        return RuleMistakes(fmt::format(R"({{"name": "x", "type": "qel.tests.Watcher"{}}})", zone));
    };
    auto const allowed = std::string("; allowed: the name or id of a zone with a polygon");
    EXPECT_THAT(watcher(""), ElementsAre("r:2:1: rules[2].zone: missing" + allowed));
    EXPECT_THAT(watcher(R"(, "zone": "Gaet")"),
                ElementsAre("r:2:52: rules[2].zone: \"Gaet\": unknown zone" + allowed + "; did you mean \"Gate\"?"));
    EXPECT_THAT(watcher(R"(, "zone": 7)"), ElementsAre("r:2:52: rules[2].zone: 7: unknown zone" + allowed));
    EXPECT_THAT(watcher(R"(, "zone": -1)"), ElementsAre("r:2:52: rules[2].zone: -1: out of range" + allowed));
    EXPECT_THAT(watcher(R"(, "zone": true)"), ElementsAre("r:2:52: rules[2].zone: true: wrong type" + allowed));
    EXPECT_THAT(watcher(R"(, "zone": "Kerb")"),
                ElementsAre("r:2:52: rules[2].zone: \"Kerb\": the zone is a line" + allowed));
    EXPECT_THAT(watcher(R"(, "zone": 2)"), ElementsAre("r:2:52: rules[2].zone: 2: the zone is a line" + allowed));
    EXPECT_THAT(watcher(R"(, "zone": 1)"), IsEmpty());
    EXPECT_THAT(watcher(R"(, "zone": "Gate")"), IsEmpty());
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.tests.Tripwire", "wire": "Gate"})"),
                ElementsAre("r:2:53: rules[2].wire: \"Gate\": the zone is a polygon; allowed: the name or id of a zone "
                            "with a line"));
    EXPECT_THAT(RuleMistakes(R"({"name": "x", "type": "qel.tests.Tripwire", "wire": 2})"), IsEmpty());
}

TEST_F(RuleFileTest, KeepsChannelsApart) {
    auto const mistakes = [&](char const* channelOfInput, char const* channelOfRule) {
        auto const channel = [](char const* number) {
            return *number == '\0' ? std::string() : std::string(", \"channel\": ") + number;
        };
        return Mistakes(
            fmt::format("{{\"zones\": [{{\"id\": 1, \"name\": \"z\", \"polygon\": [[0, 0], [1, 0], [1, 1]]{0}"
                        "}}],\n\"rules\": [{{\"name\": \"a\", \"type\": \"qel.observable.Not\"{0}}},\n"
                        "{{\"name\": \"b\", \"type\": \"qel.observable.Not\", \"input\": \"a\"{1}}},\n"
                        "{{\"name\": \"c\", \"type\": \"qel.tests.Watcher\", \"zone\": \"z\"{1}}}]}}",
                        channel(channelOfInput), channel(channelOfRule)));
    };
    EXPECT_THAT(mistakes("", ""), IsEmpty());
    EXPECT_THAT(mistakes("", "2"), IsEmpty());
    EXPECT_THAT(mistakes("2", "2"), IsEmpty());
    EXPECT_THAT(mistakes("1", "2"),
                ElementsAre("r:3:54: rules[1].input: \"a\": the rule is tied to channel 1 and this rule to channel 2; "
                            "allowed: a rule without a channel or of channel 2",
                            "r:4:52: rules[2].zone: \"z\": the zone is tied to channel 1 and this rule to channel 2; "
                            "allowed: a zone without a channel or of channel 2"));
    EXPECT_THAT(mistakes("1", ""),
                ElementsAre("r:3:54: rules[1].input: \"a\": the rule is tied to channel 1 and this rule is made for "
                            "every channel; allowed: a rule without a channel",
                            "r:4:52: rules[2].zone: \"z\": the zone is tied to channel 1 and this rule is made for "
                            "every channel; allowed: a zone without a channel"));
}

TEST_F(RuleFileTest, TakesTheZoneOfTheRulesOwnChannel) {
    auto const reading = Read(R"({"zones": [
        {"id": 7, "name": "z", "channel": 1, "polygon": [[0, 0], [1, 0], [1, 1]]},
        {"id": 8, "name": "z", "channel": 2, "polygon": [[0, 0], [1, 0], [1, 1]]}],
        "rules": [{"name": "a", "type": "qel.tests.Watcher", "zone": "z", "channel": 2}]})");
    ASSERT_THAT(InWords(reading.mistakes), IsEmpty());
    EXPECT_EQ(reading.file.rules[0].values.at(0).value->As<object::UInt32>().Get(), 8u);
}

TEST_F(RuleFileTest, TellsOfCyclesOnce) {
    auto const allowed = std::string("; allowed: a rule that does not read this one, directly or through others");
    EXPECT_THAT(Mistakes(R"({"rules": [{"name": "a", "type": "qel.observable.Not", "input": "a"}]})"),
                ElementsAre("r:1:65: rules[0].input: \"a\": closes a cycle: a -> a" + allowed));
    EXPECT_THAT(Mistakes("{\"rules\": [\n"
                         "{\"name\": \"a\", \"type\": \"qel.observable.And\", \"inputa\": \"b\", \"inputb\": \"d\"},\n"
                         "{\"name\": \"b\", \"type\": \"qel.observable.Not\", \"input\": \"c\"},\n"
                         "{\"name\": \"c\", \"type\": \"qel.observable.Not\", \"input\": \"a\"},\n"
                         "{\"name\": \"d\", \"type\": \"qel.observable.And\", \"inputa\": \"b\", \"inputb\": \"d\"}]}"),
                ElementsAre("r:4:54: rules[2].input: \"a\": closes a cycle: a -> b -> c -> a" + allowed,
                            "r:5:70: rules[3].inputb: \"d\": closes a cycle: d -> d" + allowed));
}

TEST_F(RuleFileTest, TellsTheOnlyTextsThatASettingTakes) {
    auto const mistakes = [&](char const* way) {
        return RuleMistakes(fmt::format(R"({{"name": "x", "type": "qel.tests.Tripwire", "wire": 2, "way": {}}})", way));
    };
    EXPECT_THAT(mistakes("\"outward\""), IsEmpty());
    EXPECT_THAT(mistakes("\"inwards\""),
                ElementsAre("r:2:63: rules[2].way: \"inwards\": unknown; allowed: both, inward, "
                            "outward; did you mean \"inward\"?"));
    EXPECT_THAT(mistakes("\"\""), ElementsAre("r:2:63: rules[2].way: \"\": unknown; allowed: both, inward, outward"));
    EXPECT_THAT(mistakes("1"), ElementsAre("r:2:63: rules[2].way: 1: wrong type; allowed: both, inward, outward"));
}

TEST_F(RuleFileTest, DoesNotTakeTwoWaysToOneRuleForACycle) {
    EXPECT_THAT(Mistakes(R"({"rules": [{"name": "a", "type": "qel.observable.And", "inputa": "b", "inputb": "c"},
                                       {"name": "b", "type": "qel.observable.Not", "input": "d"},
                                       {"name": "c", "type": "qel.observable.Not", "input": "d"},
                                       {"name": "d", "type": "qel.observable.Not"}]})"),
                IsEmpty());
}

TEST_F(RuleFileTest, FollowsLongChains) {
    std::string rules;
    for (int at = 20'000; at > 0; --at) {
        rules += fmt::format(R"({{"name": "{}", "type": "qel.observable.Not", "input": "{}"}},)", at, at - 1);
    }
    rules += R"({"name": "0", "type": "qel.observable.Not"})";
    EXPECT_THAT(Mistakes("{\"rules\": [" + rules + "]}"), IsEmpty());
}

TEST_F(RuleFileTest, WarnsOfAnInputThatIsLeftOut) {
    EXPECT_THAT(Warnings(R"({"rules": [{"name": "a", "type": "qel.observable.Not"}]})"),
                ElementsAre("r:1:12: rules[0].input: warning: not set, so the rule reads nothing there"));
}

TEST_F(RuleFileTest, WarnsWhereRepetitionsOfOneSetOfObjectsWouldBeDropped) {
    auto const warnings = [&](char const* settings) {
        return Warnings(fmt::format(R"({{"rules": [{{"name": "a", "type": "qel.tests.Tripwire", "wire": 1}},)"
                                    "\n"
                                    R"({{"name": "b", "type": "qel.observable.Previous", "input": "a"{}}}],)"
                                    R"("zones": [{{"id": 1, "line": [[0, 0], [1, 1]]}}]}})",
                                    settings));
    };
    auto const warning =
        "r:2:1: rules[1]: warning: where the input's event is about several objects, only the first of the events "
        "about each of them is reported, the others count as its repetitions; to avoid it set \"triggers_action\" or "
        "\"constrain_target\" to false";
    EXPECT_THAT(warnings(""), ElementsAre(warning)) << "both are on by default";
    EXPECT_THAT(warnings(R"(, "constrain_target": true, "triggers_action": true)"), ElementsAre(warning));
    EXPECT_THAT(warnings(R"(, "triggers_action": false)"), IsEmpty());
    EXPECT_THAT(warnings(R"(, "constrain_target": false)"), IsEmpty());
}

TEST_F(RuleFileTest, TellsOfTenMistakesAtOnce) {
    EXPECT_THAT(
        Mistakes("{\n"
                 "  \"version\": 2,\n"
                 "  \"zones\": [\n"
                 "    {\"id\": 1, \"name\": \"Gate\", \"polygon\": [[0.1, 0.4], [0.5, 0.4]]},\n"
                 "    {\"id\": 2, \"name\": \"Kerb\", \"lin\": [[0.0, 0.7], [1.0, 0.6]], \"line\": [[0, 0], [1, 1]]}\n"
                 "  ],\n"
                 "  \"rules\": [\n"
                 "    {\"name\": \"a\", \"type\": \"qel.observable.Adn\"},\n"
                 "    {\"name\": \"b\", \"type\": \"qel.observable.Previous\", \"input\": \"c\", \"interval\": 50},\n"
                 "    {\"name\": \"c\", \"type\": \"qel.tests.Watcher\", \"zone\": \"Gaet\"},\n"
                 "    {\"name\": \"d\", \"type\": \"qel.tests.Watcher\", \"zone\": \"Kerb\", \"strict\": \"yes\"},\n"
                 "    {\"name\": \"e\", \"type\": \"qel.observable.Not\", \"input\": \"e\"},\n"
                 "    {\"name\": \"e\", \"type\": \"qel.observable.Not\", \"input\": \"b\"}\n"
                 "  ]\n"
                 "}\n"),
        ElementsAre(
            "r:2:14: version: 2: unknown version; allowed: 1",
            "r:4:42: zones[0].polygon: [[0.1, 0.4], [0.5, 0.4]]: too few points; allowed: 3 points or more",
            "r:5:31: zones[1].lin: [[0.0, 0.7], [1.0, 0.6]]: unknown key; allowed: channel, id, line, name, polygon; "
            "did you mean \"line\"?",
            "r:8:27: rules[0].type: \"qel.observable.Adn\": unknown type; allowed: a type that `qel types` lists; did "
            "you mean \"qel.observable.And\"?",
            "r:9:80: rules[1].interval: 50: out of range; allowed: a whole number of milliseconds from 100 to 86400000",
            "r:10:56: rules[2].zone: \"Gaet\": unknown zone; allowed: the name or id of a zone with a polygon; did you "
            "mean \"Gate\"?",
            "r:11:56: rules[3].zone: \"Kerb\": the zone is a line; allowed: the name or id of a zone with a polygon",
            "r:11:74: rules[3].strict: \"yes\": wrong type; allowed: true or false",
            "r:12:58: rules[4].input: \"e\": closes a cycle: e -> e; allowed: a rule that does not read this one, "
            "directly or through others",
            "r:13:14: rules[5].name: \"e\": the name of line 12 on the same channel; allowed: each name once on a "
            "channel"));
}

TEST_F(RuleFileTest, SurvivesEveryTruncationAndEveryChangedByte) {
    std::string const text = R"({"zones": [{"id": 1, "name": "Gate", "polygon": [[0.1, 0.4], [0.5, 0.4], [1, 1]]}], )"
                             R"("rules": [{"name": "a", "type": "qel.tests.Watcher", "zone": "Gate", "limit": 5}, )"
                             R"({"name": "b", "type": "qel.observable.Not", "input": "a"}], "retrigger_ms": 12})";
    ASSERT_THAT(Mistakes(text), IsEmpty());
    for (std::size_t at = 0; at < text.size(); ++at) {
        EXPECT_EQ(Mistakes(text.substr(0, at)).size(), 1u) << at;
        for (char const change : {'\0', '"', '{', '}', '[', ']', '9', '-', '\xff', ' '}) {
            auto changed = text;
            changed[at] = change;
            for (auto const& mistake : Mistakes(changed)) {
                EXPECT_THAT(mistake, testing::StartsWith("r:1:"));
            }
        }
    }
}

TEST_F(RuleFileTest, IsReadFromAFile) {
    tests::TemporaryDirectory const directory;
    auto const path = (directory / "rules.json").string();
    std::ofstream(path) << R"({"rules": 4})";
    EXPECT_THAT(InWords(ReadRuleFile(path, types).mistakes),
                ElementsAre(path + ":1:11: rules: 4: wrong type; allowed: a list, [...]"));
    EXPECT_THROW(ReadRuleFile(path + "s", types), Failure);
}

}  // namespace
}  // namespace qel::host
