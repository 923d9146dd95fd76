#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "foundation/meta/meta.hpp"
#include "foundation/object/object.hpp"
#include "foundation/type/binding.hpp"
#include "host/rules/rule_file.hpp"
#include "host/rules/setting.hpp"
#include "observable/notifier.hpp"
#include "observable/observable.hpp"

namespace qel::host {

/// Sets one setting of an instance; throws what the property or the instance throws.
void SetSetting(observable::Observable& instance, Setting const& setting, object::Object const& value);

/// The rules of a file as they run on one channel: an instance of each rule that is made for it.
class RuleSet {
public:
    /// The file outlives the rule set. Throws `Failure` when an instance cannot be made or does not take its settings.
    RuleSet(RuleFile const& file, std::uint16_t channel);

    /// Puts the channel's zones into the frame and runs the rules over it.
    void Process(meta::Meta const& frame);

    /// The place in the file, from 0, of the rule whose instance has this id; nothing for an unknown id.
    std::optional<std::size_t> FindRule(unsigned int instance) const;

    RuleFile const& GetFile() const { return file; }

private:
    RuleFile const& file;
    std::vector<std::shared_ptr<meta::data::Zone>> zones;
    std::unordered_map<unsigned int, std::size_t> rules;
    observable::Notifier notifier;
    std::vector<type::Binding> bindings;
};

}  // namespace qel::host
