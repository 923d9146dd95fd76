#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/type/binding.hpp"
#include "observable/notifier.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/scripted.hpp"

namespace qel::tests {

/// A notifier with rules that report what a test has them report, and what their subscribers hear.
class RuleSet {
public:
    class Rule : public Scripted {
    public:
        explicit Rule(std::string name)
            : Scripted(std::move(name), [this](meta::Meta const&) { return std::exchange(next, {}); }) {}

        /// In the next frame, and in that only.
        void Reports(Output items) { next = std::move(items); }

    private:
        Output next;
    };

    /// A rule with a subscriber. The names of the rules are theirs in `heard`.
    std::shared_ptr<Rule> Add(std::string const& name, unsigned int id, std::vector<unsigned int> inputs = {}) {
        auto rule = std::make_shared<Rule>(name);
        rule->SetId(id);
        rule->dependents = std::move(inputs);
        bindings.push_back(rule->Bind([this, name](std::shared_ptr<meta::data::Event> const& event) {
            heard.push_back(name + " tells of " + describe(event));
        }));
        bindings.push_back(notifier.AddObservable(rule));
        return rule;
    }
    /// One that triggers no actions.
    std::shared_ptr<Rule> AddInternal(std::string const& name, unsigned int id) {
        auto rule = Add(name, id);
        rule->SetTriggersAction(false);
        return rule;
    }

    /// What a frame holds, in words.
    std::vector<std::string> Describe(meta::Meta const& frame) { return describe.Each(frame); }

    /// What the subscribers have heard since the last question.
    std::vector<std::string> Heard() { return std::exchange(heard, {}); }

    Describer describe;
    observable::Notifier notifier;

private:
    std::vector<std::string> heard;
    std::vector<type::Binding> bindings;
};

}  // namespace qel::tests
