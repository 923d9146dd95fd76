#include "host/rules/rule_set.hpp"

#include <chrono>
#include <exception>

#include <fmt/format.h>

#include "foundation/property/context/direction.hpp"
#include "host/failure.hpp"

namespace qel::host {

namespace {

using Instances = std::vector<std::shared_ptr<observable::Observable>>;

void SetNumber(observable::Observable& instance, Setting const& setting, std::uint32_t number) {
    auto const value = MakeObject(setting.schema, number);
    if (!value) {
        throw Failure(fmt::format("its setting \"{}\" cannot be {}", setting.schema.GetName(), number));
    }
    SetSetting(instance, setting, *value);
}

void Configure(observable::Observable& instance, Rule const& rule, std::uint16_t channel, Instances const& instances) {
    for (auto const& setting : rule.type->settings) {
        if (setting.role == Setting::Role::Channel) {
            SetNumber(instance, setting, channel);
        }
    }
    for (auto const& value : rule.values) {
        SetSetting(instance, *value.setting, *value.value);
    }
    for (auto const& input : rule.inputs) {
        SetNumber(instance, *input.setting, instances[input.rule]->GetId());
    }
}

}  // namespace

void SetSetting(observable::Observable& instance, Setting const& setting, object::Object const& value) {
    auto const property = setting.schema.MakeProperty();
    setting.schema.Bind(property, instance.GetPtr(), property::context::Direction::ToTarget);
    property->Set(value);
}

RuleSet::RuleSet(RuleFile const& file, std::uint16_t channel) : file(file) {
    auto const isHere = [&](auto const& each) { return !each.channel || *each.channel == channel; };
    for (auto const& each : file.zones) {
        if (isHere(each)) {
            // Of its own: threads that share one would fight over the count of who holds it.
            zones.push_back(std::make_shared<meta::data::Zone>(*each.zone));
        }
    }
    Instances instances(file.rules.size());
    for (std::size_t at = 0; at < instances.size(); ++at) {
        if (isHere(file.rules[at])) {
            instances[at] = file.rules[at].type->Make();
            rules.emplace(instances[at]->GetId(), at);
        }
    }
    // Without a retrigger time every event counts, also one whose time runs backwards: any time has passed since the
    // last.
    notifier.SetEventRetriggerTime(file.retriggerTime == std::chrono::milliseconds::zero()
                                       ? std::chrono::milliseconds::min()
                                       : file.retriggerTime);
    for (std::size_t at = 0; at < instances.size(); ++at) {
        if (!instances[at]) {
            continue;
        }
        try {
            Configure(*instances[at], file.rules[at], channel, instances);
            bindings.push_back(notifier.AddObservable(instances[at]));
        } catch (std::exception const& error) {
            throw Failure(fmt::format("rule \"{}\" on channel {}: {}", file.rules[at].name, channel, error.what()));
        }
    }
}

void RuleSet::Process(meta::Meta const& frame) {
    for (auto const& zone : zones) {
        frame.Append(zone);
    }
    notifier.Process(frame);
}

std::optional<std::size_t> RuleSet::FindRule(unsigned int instance) const {
    auto const found = rules.find(instance);
    return found == rules.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace qel::host
