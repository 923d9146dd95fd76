#include "host/command/load_rules.hpp"

#include <cstdint>
#include <set>
#include <utility>

#include "host/failure.hpp"
#include "host/rules/rule_set.hpp"
#include "host/system/descriptor.hpp"
#include "host/system/standard_error.hpp"

namespace qel::host {

namespace {

/// Those that the file names, and one that stands for all others.
std::set<std::uint16_t> ChannelsOf(RuleFile const& file) {
    std::set<std::uint16_t> channels;
    for (auto const& rule : file.rules) {
        if (rule.channel) {
            channels.insert(*rule.channel);
        }
    }
    std::uint16_t other = 0;
    while (channels.contains(other) && other < UINT16_MAX) {
        ++other;
    }
    channels.insert(other);
    return channels;
}

}  // namespace

std::optional<RuleFile> LoadRules(std::string const& path, TypeCatalogue const& types) {
    auto reading = ReadRuleFile(path, types);
    for (auto const* const list : {&reading.mistakes, &reading.warnings}) {
        for (auto const& each : *list) {
            Tell(Describe(each));
        }
    }
    if (!reading.mistakes.empty()) {
        return std::nullopt;
    }
    for (std::uint16_t const channel : ChannelsOf(reading.file)) {
        try {
            RuleSet const trial(reading.file, channel);
        } catch (Failure const& failure) {
            Tell(OneLine(NameOfInput(path) + ": " + failure.what()));
            return std::nullopt;
        }
    }
    return std::move(reading.file);
}

}  // namespace qel::host
