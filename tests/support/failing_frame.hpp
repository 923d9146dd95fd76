#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/meta.hpp"
#include "observable/observable.hpp"
#include "tests/support/allocation_failures.hpp"
#include "tests/support/describe.hpp"

namespace qel::tests {

/// A rule in front of frames of which one fails. What it reports shows in that frame and in those behind it.
class FailingFrame {
public:
    using Frames = std::vector<std::unique_ptr<meta::Meta>>;
    /// What is done to the rule before each frame.
    using Before = std::function<void(observable::Observable& rule, std::size_t number)>;

    FailingFrame(std::shared_ptr<observable::Observable> made, Frames frames, std::size_t failing, Before before)
        : rule(std::move(made)), frames(std::move(frames)), failing(failing), before(std::move(before)) {
        rule->SetId(7);
        for (std::size_t number = 0; number < failing; ++number) {
            Report(number);
        }
        this->before(*rule, failing);
    }

    /// The frame that fails. The result is kept, where nothing else needs memory.
    void Run() { result = rule->Process(*frames[failing]); }

    std::string See() {
        std::string text = Describe();
        for (std::size_t number = failing + 1; number < frames.size(); ++number) {
            text += Report(number);
        }
        return text;
    }

    /// What is seen when the frame fails just before it reports.
    std::string SeeWithoutReport() {
        Run();
        result.clear();
        return See();
    }

private:
    std::string Report(std::size_t number) {
        before(*rule, number);
        result = rule->Process(*frames[number]);
        return Describe();
    }
    std::string Describe() {
        auto text = Join(describe.Each(result)) + '\n';
        result = {};
        return text;
    }

    std::shared_ptr<observable::Observable> rule;
    Frames frames;
    std::size_t failing;
    Before before;
    std::vector<std::shared_ptr<object::Object>> result;
    Describer describe;
};

using MakeFailingFrame = std::function<std::shared_ptr<FailingFrame>()>;

/// A frame for a rule that has not seen it when it fails.
inline Operation UnseenFrame(std::string name, MakeFailingFrame const& make) {
    return {std::move(name), [=] {
                auto const frame = make();
                return Trial{[=] { frame->Run(); }, [=] { return frame->See(); }};
            }};
}

/// A frame for a rule that may have seen it.
inline Operation SeenFrame(std::string name, MakeFailingFrame const& make) {
    auto operation = UnseenFrame(std::move(name), make);
    operation.mayBeSeen = [=](std::string const& seen) { return seen == make()->SeeWithoutReport(); };
    return operation;
}

}  // namespace qel::tests
