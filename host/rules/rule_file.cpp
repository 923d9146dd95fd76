#include "host/rules/rule_file.hpp"

#include <algorithm>
#include <iterator>
#include <span>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "foundation/object/primitive.hpp"
#include "host/failure.hpp"
#include "host/rules/json.hpp"
#include "host/rules/object_reader.hpp"
#include "host/rules/rule_set.hpp"
#include "host/system/read_file.hpp"

namespace qel::host {

namespace {

using Kind = json::Value::Kind;
using Shape = meta::data::Zone::Shape;

/// The channels on which something of the file exists.
struct Scope {
    bool known = true;  // what the file says about it can be used
    std::optional<std::uint16_t> channel;

    bool Meets(Scope const& other) const {
        return known && other.known && (!channel || !other.channel || channel == other.channel);
    }
    /// Whether it exists wherever the other does.
    bool Covers(Scope const& other) const { return !known || !other.known || !channel || channel == other.channel; }
};

Scope ReadScope(ObjectReader const& reader) {
    auto const* const given = reader.Find("channel");
    auto const channel = reader.FindInteger("channel", HighestChannel);
    Scope scope;
    scope.known = (given == nullptr) == !channel;
    if (channel) {
        scope.channel = static_cast<std::uint16_t>(*channel);
    }
    return scope;
}

/// What rules refer to by a name or an id, with those that the mistakes of their own keep from being used.
template <class Key>
class Directory {
public:
    struct Entry {
        std::size_t index;
        Scope scope;
        std::size_t offset;  // in the source
    };

    /// The entry that has the key on one of the same channels already, or null.
    Entry const* Add(Key const& key, Entry const& entry) {
        auto& list = entries[key];
        auto const same =
            std::find_if(list.begin(), list.end(), [&](Entry const& each) { return each.scope.Meets(entry.scope); });
        if (same != list.end()) {
            return &*same;
        }
        list.push_back(entry);
        return nullptr;
    }

    std::span<Entry const> Find(Key const& key) const {
        auto const found = entries.find(key);
        return found == entries.end() ? std::span<Entry const>() : std::span<Entry const>(found->second);
    }

    std::vector<Key> GetKeys() const {
        std::vector<Key> keys;
        std::transform(entries.begin(), entries.end(), std::back_inserter(keys),
                       [](auto const& entry) { return entry.first; });
        std::sort(keys.begin(), keys.end());
        return keys;
    }

private:
    std::unordered_map<Key, std::vector<Entry>> entries;
};

struct ZoneEntry {
    Scope scope;
    std::optional<Shape> shape;
    std::shared_ptr<meta::data::Zone> zone;
};

struct RuleEntry {
    ObjectReader reader;
    Scope scope;
    Rule rule;
    std::shared_ptr<observable::Observable> trial;  // takes the settings, to see whether it does
};

class Reader {
public:
    Reader(MistakeCollector& mistakes, TypeCatalogue const& types) : mistakes(mistakes), types(types) {}

    RuleFile Read(json::Value const& root);

private:
    void ReadVersion(ObjectReader const& file);
    void ReadZone(json::Value const& value, std::string path);
    std::vector<meta::data::Point> ReadPoints(ObjectReader const& zone, std::optional<Shape> shape);
    void ReadRule(json::Value const& value, std::string path);
    void ReadType(RuleEntry& entry);

    void ReadSettings(RuleEntry& entry);
    void ReadSetting(RuleEntry& entry, Setting const& setting);
    void ReadInput(RuleEntry& entry, Setting const& setting, json::Value const& value);
    std::shared_ptr<object::Object const> ReadValue(RuleEntry const& entry, Setting const& setting,
                                                    json::Value const& value);
    std::shared_ptr<object::Object const> ReadZoneId(RuleEntry const& entry, Setting const& setting,
                                                     json::Value const& value);
    void Keep(RuleEntry& entry, Setting const& setting, std::shared_ptr<object::Object const> value);

    void FindCycles();
    void WarnOfLostRepetitions(RuleEntry const& entry);

    template <class Key>
    void AddTo(Directory<Key>& directory, Key const& key, std::size_t index, Scope const& scope,
               ObjectReader const& reader, std::string_view what);
    template <class Key>
    typename Directory<Key>::Entry const* FindFor(RuleEntry const& user, Setting const& setting,
                                                  json::Value const& value, Directory<Key> const& directory,
                                                  Key const& key);

    MistakeCollector& mistakes;
    TypeCatalogue const& types;
    std::vector<ZoneEntry> zones;
    std::vector<RuleEntry> rules;
    Directory<std::string> zoneNames;
    Directory<std::uint32_t> zoneIds;
    Directory<std::string> ruleNames;
};

RuleFile Reader::Read(json::Value const& root) {
    ObjectReader const file(mistakes, root, "");
    file.AllowOnly({"$schema", "version", "zones", "retrigger_ms", "rules"});
    file.FindText("$schema");  // for editors
    ReadVersion(file);
    RuleFile result;
    if (auto const time = file.FindInteger("retrigger_ms", HighestRetriggerTime)) {
        result.retriggerTime = std::chrono::milliseconds(static_cast<std::int64_t>(*time));
    }
    auto const& zoneList = file.FindList("zones");
    for (std::size_t at = 0; at < zoneList.size(); ++at) {
        ReadZone(zoneList[at], fmt::format("zones[{}]", at));
    }
    file.Require("rules", "a list of rules, [...]");
    auto const& ruleList = file.FindList("rules");
    for (std::size_t at = 0; at < ruleList.size(); ++at) {
        ReadRule(ruleList[at], fmt::format("rules[{}]", at));
    }
    for (auto& entry : rules) {
        ReadSettings(entry);
    }
    FindCycles();

    for (auto& entry : zones) {
        result.zones.push_back({entry.scope.channel, std::move(entry.zone)});
    }
    for (auto& entry : rules) {
        result.rules.push_back(std::move(entry.rule));
    }
    return result;
}

void Reader::ReadVersion(ObjectReader const& file) {
    auto const* const version = file.Find("version");
    if (version != nullptr && (version->kind != Kind::Integer || version->negative || version->magnitude != 1)) {
        mistakes.Add("version", *version, {"unknown version", "1"});
    }
}

void Reader::ReadZone(json::Value const& value, std::string path) {
    ObjectReader const reader(mistakes, value, std::move(path));
    reader.AllowOnly({"channel", "id", "line", "name", "polygon"});
    reader.Require("id", fmt::format("a whole number from 0 to {}", HighestZoneId));
    auto const id = reader.FindInteger("id", HighestZoneId);
    auto const name = reader.FindText("name");
    auto const scope = ReadScope(reader);

    bool const isPolygon = reader.Find("polygon") != nullptr;
    bool const isLine = reader.Find("line") != nullptr;
    if (isPolygon == isLine && reader.IsObject()) {
        mistakes.Add(reader.GetPath(), value,
                     {isLine ? "has both polygon and line" : "has neither polygon nor line", "one of them"});
    }
    std::optional<Shape> shape;
    if (isPolygon != isLine) {
        shape = isLine ? Shape::Line : Shape::Polygon;
    }
    auto points = ReadPoints(reader, shape);

    std::size_t const index = zones.size();
    zones.push_back({scope, shape,
                     std::make_shared<meta::data::Zone>(static_cast<unsigned int>(id.value_or(0)), name.value_or(""),
                                                        std::move(points), shape.value_or(Shape::Polygon))});
    if (name) {
        AddTo(zoneNames, *name, index, scope, reader, "name");
    }
    if (id) {
        AddTo(zoneIds, static_cast<std::uint32_t>(*id), index, scope, reader, "id");
    }
}

std::vector<meta::data::Point> Reader::ReadPoints(ObjectReader const& zone, std::optional<Shape> shape) {
    if (!shape) {
        return {};
    }
    std::string_view const key = *shape == Shape::Line ? "line" : "polygon";
    std::size_t const least = LeastPoints(*shape);
    auto const& list = zone.FindList(key);
    if (auto const* const value = zone.Find(key); value->kind == Kind::List && list.size() < least) {
        mistakes.Add(zone.PathOf(key), *value, {"too few points", fmt::format("{} points or more", least)});
    }
    std::vector<meta::data::Point> points;
    auto const isNumber = [](json::Value const& each) { return each.kind == Kind::Integer || each.kind == Kind::Real; };
    for (std::size_t at = 0; at < list.size(); ++at) {
        auto const& pair = list[at].items;
        if (pair.size() == 2 && std::all_of(pair.begin(), pair.end(), isNumber)) {
            points.push_back({pair[0].real, pair[1].real});
        } else {
            mistakes.Add(fmt::format("{}[{}]", zone.PathOf(key), at), list[at],
                         {"not a point", "[x, y], two numbers, where 0 to 1 is the picture"});
        }
    }
    return points;
}

template <class Key>
void Reader::AddTo(Directory<Key>& directory, Key const& key, std::size_t index, Scope const& scope,
                   ObjectReader const& reader, std::string_view what) {
    if (auto const* const first = directory.Add(key, {index, scope, reader.GetOffset()})) {
        mistakes.Add(reader.PathOf(what), *reader.Find(what),
                     {fmt::format("the {} of line {} on the same channel", what, mistakes.GetLine(first->offset)),
                      fmt::format("each {} once on a channel", what)});
    }
}

void Reader::ReadRule(json::Value const& value, std::string path) {
    rules.push_back({ObjectReader(mistakes, value, std::move(path)), {}, {}, {}});
    RuleEntry& entry = rules.back();
    entry.reader.Require("name", "a text that is not empty");
    auto const name = entry.reader.FindText("name");
    entry.rule.name = name.value_or("");
    entry.scope = ReadScope(entry.reader);
    entry.rule.channel = entry.scope.channel;
    ReadType(entry);
    if (name) {
        AddTo(ruleNames, *name, rules.size() - 1, entry.scope, entry.reader, "name");
    }
}

void Reader::ReadType(RuleEntry& entry) {
    constexpr auto Allowed = "a type that `qel types` lists";
    auto const* const value = entry.reader.Require("type", Allowed);
    auto const name = entry.reader.FindText("type");
    if (!name) {
        return;
    }
    auto const* const type = types.Find(*name);
    if (type == nullptr) {
        mistakes.Add(entry.reader.PathOf("type"), *value, {"unknown type", Allowed, types.FindNearest(*name)});
        return;
    }
    try {
        if (!type->defect.empty()) {
            throw Failure(type->defect);
        }
        entry.trial = type->Make();
        entry.rule.type = type;
    } catch (std::exception const& error) {
        mistakes.Add(entry.reader.PathOf("type"), *value, {fmt::format("unusable type: {}", error.what()), Allowed});
    }
}

void Reader::ReadSettings(RuleEntry& entry) {
    if (entry.rule.type == nullptr) {
        return;
    }
    std::vector<std::string> keys{"channel", "name", "type"};
    for (auto const& setting : entry.rule.type->settings) {
        keys.push_back(setting.schema.GetName());
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    entry.reader.AllowOnly(std::move(keys));
    for (auto const& setting : entry.rule.type->settings) {
        ReadSetting(entry, setting);
    }
    WarnOfLostRepetitions(entry);
}

void Reader::ReadSetting(RuleEntry& entry, Setting const& setting) {
    using Role = Setting::Role;
    std::string const& name = setting.schema.GetName();
    auto const* const value = entry.reader.Find(name);
    switch (setting.role) {
        case Role::Channel:
            break;
        case Role::Name:
            Keep(entry, setting, std::make_shared<object::String>(entry.rule.name));
            break;
        case Role::Rule:
            if (value != nullptr) {
                ReadInput(entry, setting, *value);
            } else {
                mistakes.Warn(entry.reader.GetOffset(), entry.reader.PathOf(name),
                              "not set, so the rule reads nothing there");
            }
            break;
        case Role::Zone:
            if (entry.reader.Require(name, AllowedFor(setting)) != nullptr) {
                Keep(entry, setting, ReadZoneId(entry, setting, *value));
            }
            break;
        case Role::Value:
            Keep(entry, setting,
                 value != nullptr ? ReadValue(entry, setting, *value) : setting.schema.GetPrototype()->GetObject());
            break;
    }
}

template <class Key>
typename Directory<Key>::Entry const* Reader::FindFor(RuleEntry const& user, Setting const& setting,
                                                      json::Value const& value, Directory<Key> const& directory,
                                                      Key const& key) {
    auto const candidates = directory.Find(key);
    auto const found = std::find_if(candidates.begin(), candidates.end(),
                                    [&](auto const& each) { return each.scope.Covers(user.scope); });
    if (found != candidates.end()) {
        return &*found;
    }
    std::string nearest;
    if constexpr (std::is_same_v<Key, std::string>) {
        nearest = candidates.empty() ? Nearest(key, directory.GetKeys()) : "";
    }
    std::string const what = setting.role == Setting::Role::Rule ? "rule" : "zone";
    mistakes.Add(
        user.reader.PathOf(setting.schema.GetName()), value,
        candidates.empty()
            ? MistakeCollector::Details{"unknown " + what, AllowedFor(setting), nearest}
            : MistakeCollector::Details{
                  fmt::format("the {} is tied to channel {} and this rule {}", what, *candidates.front().scope.channel,
                              user.scope.channel ? fmt::format("to channel {}", *user.scope.channel)
                                                 : "is made for every channel"),
                  fmt::format("a {} without a channel{}", what,
                              user.scope.channel ? fmt::format(" or of channel {}", *user.scope.channel) : "")});
    return nullptr;
}

void Reader::ReadInput(RuleEntry& entry, Setting const& setting, json::Value const& value) {
    if (value.kind != Kind::Text) {
        mistakes.Add(entry.reader.PathOf(setting.schema.GetName()), value, {"wrong type", AllowedFor(setting)});
        return;
    }
    if (auto const* const found = FindFor(entry, setting, value, ruleNames, value.text)) {
        entry.rule.inputs.push_back({&setting, found->index});
    }
}

std::shared_ptr<object::Object const> Reader::ReadValue(RuleEntry const& entry, Setting const& setting,
                                                        json::Value const& value) {
    auto object = MakeObject(setting.schema, value);
    if (!object) {
        std::string const kind = KindOf(setting);
        bool const isWhole = value.kind == Kind::Integer && (kind == "integer" || kind == "milliseconds");
        mistakes.Add(entry.reader.PathOf(setting.schema.GetName()), value,
                     {isWhole ? "out of range" : "wrong type", AllowedFor(setting)});
        return nullptr;
    }
    auto const& choices = setting.schema.GetChoices();
    if (!choices.empty() && std::find(choices.begin(), choices.end(), value.text) == choices.end()) {
        mistakes.Add(entry.reader.PathOf(setting.schema.GetName()), value,
                     {"unknown", AllowedFor(setting), Nearest(value.text, choices)});
        return nullptr;
    }
    return object;
}

std::shared_ptr<object::Object const> Reader::ReadZoneId(RuleEntry const& entry, Setting const& setting,
                                                         json::Value const& value) {
    Directory<std::string>::Entry const* byName = nullptr;
    Directory<std::uint32_t>::Entry const* byId = nullptr;
    if (value.kind == Kind::Text) {
        byName = FindFor(entry, setting, value, zoneNames, value.text);
    } else if (value.kind == Kind::Integer && !value.negative && value.magnitude <= HighestZoneId) {
        byId = FindFor(entry, setting, value, zoneIds, static_cast<std::uint32_t>(value.magnitude));
    } else {
        mistakes.Add(entry.reader.PathOf(setting.schema.GetName()), value,
                     {value.kind == Kind::Integer ? "out of range" : "wrong type", AllowedFor(setting)});
    }
    if (byName == nullptr && byId == nullptr) {
        return nullptr;
    }
    ZoneEntry const& found = zones[byName != nullptr ? byName->index : byId->index];
    if (found.shape && *found.shape != setting.shape) {
        mistakes.Add(
            entry.reader.PathOf(setting.schema.GetName()), value,
            {*found.shape == Shape::Line ? "the zone is a line" : "the zone is a polygon", AllowedFor(setting)});
        return nullptr;
    }
    auto id = MakeObject(setting.schema, found.zone->GetId());
    if (!id) {
        mistakes.Add(entry.reader.PathOf(setting.schema.GetName()), value, {"the type takes no id as high"});
    }
    return id;
}

/// Keeps a value for the instances of the rule, if the trial instance takes it.
void Reader::Keep(RuleEntry& entry, Setting const& setting, std::shared_ptr<object::Object const> value) {
    if (!value) {
        return;
    }
    std::string const& name = setting.schema.GetName();
    auto const refuse = [&](std::string problem) {
        MistakeCollector::Details details{std::move(problem), AllowedFor(setting)};
        if (auto const* const given = entry.reader.Find(name)) {
            mistakes.Add(entry.reader.PathOf(name), *given, std::move(details));
        } else {
            details.problem = "its default cannot be set: " + details.problem;
            mistakes.AddMissing(entry.reader.PathOf(name), entry.reader.GetOffset(), std::move(details));
        }
    };
    try {
        SetSetting(*entry.trial, setting, *value);
        entry.rule.values.push_back({&setting, std::move(value)});
    } catch (std::out_of_range const&) {
        refuse("out of range");
    } catch (std::exception const& error) {
        refuse(error.what());
    }
    entry.rule.triggersAction = entry.trial->GetTriggersAction();
}

/// Walks from each rule to its inputs; an input that is on the way already closes a cycle.
void Reader::FindCycles() {
    struct Step {
        std::size_t rule;
        std::size_t input = 0;
    };
    enum class State { New, OnTheWay, Done };
    std::vector<State> states(rules.size(), State::New);
    for (std::size_t start = 0; start < rules.size(); ++start) {
        std::vector<Step> way;
        if (states[start] == State::New) {
            way.push_back({start});
            states[start] = State::OnTheWay;
        }
        while (!way.empty()) {
            Step& last = way.back();
            RuleEntry const& entry = rules[last.rule];
            if (last.input == entry.rule.inputs.size()) {
                states[last.rule] = State::Done;
                way.pop_back();
                continue;
            }
            auto const& input = entry.rule.inputs[last.input++];
            if (states[input.rule] == State::New) {
                states[input.rule] = State::OnTheWay;
                way.push_back({input.rule});
            } else if (states[input.rule] == State::OnTheWay) {
                auto const begin =
                    std::find_if(way.begin(), way.end(), [&](Step const& step) { return step.rule == input.rule; });
                std::string cycle;
                std::for_each(begin, way.end(),
                              [&](Step const& step) { cycle += rules[step.rule].rule.name + " -> "; });
                std::string const& name = input.setting->schema.GetName();
                mistakes.Add(entry.reader.PathOf(name), *entry.reader.Find(name),
                             {"closes a cycle: " + Excerpt(cycle + rules[input.rule].rule.name),
                              "a rule that does not read this one, directly or through others"});
            }
        }
    }
}

/// Each of its events about one target carries all objects of the input's event, so the second is taken for a
/// repetition of the first.
void Reader::WarnOfLostRepetitions(RuleEntry const& entry) {
    if (entry.rule.type->name != "qel.observable.Previous" || !entry.rule.triggersAction) {
        return;
    }
    auto const perTarget =
        std::find_if(entry.rule.values.begin(), entry.rule.values.end(),
                     [](Rule::Value const& each) { return each.setting->schema.GetName() == "constrain_target"; });
    if (perTarget != entry.rule.values.end() && perTarget->value->Is<object::Bool>() &&
        perTarget->value->As<object::Bool>().Get()) {
        mistakes.Warn(entry.reader.GetOffset(), entry.reader.GetPath(),
                      "where the input's event is about several objects, only the first of the events about each of "
                      "them is reported, the others count as its repetitions; to avoid it set \"triggers_action\" or "
                      "\"constrain_target\" to false");
    }
}

}  // namespace

RuleReading ReadRules(std::string const& name, std::string text, TypeCatalogue const& types) {
    try {
        json::Document const document(std::move(text));
        MistakeCollector mistakes(name, document);
        RuleReading reading;
        reading.file = Reader(mistakes, types).Read(document.GetRoot());
        reading.mistakes = mistakes.TakeMistakes();
        reading.warnings = mistakes.TakeWarnings();
        return reading;
    } catch (json::SyntaxError const& error) {
        Mistake mistake{name, error.GetPlace().line, error.GetPlace().column, {}, {}, error.what(), {}, {}};
        return {{}, {std::move(mistake)}, {}};
    }
}

RuleReading ReadRuleFile(std::string const& path, TypeCatalogue const& types) {
    return ReadRules(path == "-" ? "standard input" : path, ReadWholeFile(path), types);
}

}  // namespace qel::host
