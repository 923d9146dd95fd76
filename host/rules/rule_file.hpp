#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/meta/data/zone.hpp"
#include "foundation/object/object.hpp"
#include "host/rules/mistake.hpp"
#include "host/rules/type_catalogue.hpp"
#include "observable/observable.hpp"

namespace qel::host {

// What a rule file may say at most.
inline constexpr std::uint64_t HighestChannel = std::numeric_limits<std::uint16_t>::max();
inline constexpr std::uint64_t HighestZoneId = observable::UnsetId - 1;
inline constexpr std::uint64_t HighestRetriggerTime = std::numeric_limits<std::int64_t>::max();

/// How many points a zone of this shape has at least.
constexpr std::size_t LeastPoints(meta::data::Zone::Shape shape) {
    return shape == meta::data::Zone::Shape::Line ? 2 : 3;
}

/// A rule of a rule file with everything but the ids that are known when its instance is made.
struct Rule {
    struct Value {
        Setting const* setting;
        std::shared_ptr<object::Object const> value;
    };
    struct Input {
        Setting const* setting;
        std::size_t rule;  // its place in the file, from 0
    };

    std::string name;
    ObservableType const* type = nullptr;
    std::optional<std::uint16_t> channel;  // the only one it is made for; otherwise there is one instance for each
    bool triggersAction = true;
    std::vector<Value>
        values;  // those that were left out too, with their defaults; but not the inputs, nor the channel
    std::vector<Input> inputs;
};

struct ZoneOfChannel {
    std::optional<std::uint16_t> channel;  // the only one it is on; otherwise it is on every channel
    std::shared_ptr<meta::data::Zone> zone;
};

struct RuleFile {
    std::vector<ZoneOfChannel> zones;
    std::chrono::milliseconds retriggerTime{0};
    std::vector<Rule> rules;
};

/// What came out of reading a rule file. With a mistake the rules are not to be used.
struct RuleReading {
    RuleFile file;
    std::vector<Mistake> mistakes;  // in the order of the file
    std::vector<Mistake> warnings;
};

/// Reads the text of a rule file; `name` is what messages call it. The types outlive the result.
RuleReading ReadRules(std::string const& name, std::string text, TypeCatalogue const& types);

/// Reads a rule file, "-" for standard input. Throws `Failure` when the file cannot be read.
RuleReading ReadRuleFile(std::string const& path, TypeCatalogue const& types);

}  // namespace qel::host
