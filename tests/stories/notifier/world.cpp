#include "tests/stories/notifier/world.hpp"

#include <stdexcept>

namespace qel::tests {

std::string Joined(std::vector<std::string> const& parts) {
    std::string text = "[";
    for (auto const& part : parts) {
        text += (text.size() == 1 ? "" : ", ") + part;
    }
    return text + "]";
}

std::string Words(std::optional<Number> number, std::string const& kind, unsigned int id, std::string const& rest) {
    return (number ? "#" + std::to_string(*number) : std::string("new")) + " " + kind + " " + std::to_string(id) + rest;
}
std::string EventWords(std::int64_t start, std::int64_t end, bool duplicate, bool final, bool internal,
                       std::vector<std::string> const& objects) {
    return " " + std::to_string(start) + ".." + std::to_string(end) + (duplicate ? " duplicate" : "") +
           (final ? " final" : "") + (internal ? " internal" : "") + " " + Joined(objects);
}

std::vector<Number> World::Follow(Program const& program) {
    std::vector<Number> emitted;
    for (Step const& step : program) {
        bool const odd = step.value % 2 == 1;
        switch (step.what) {
            case Step::Emit:
                emitted.push_back(step.first);
                break;
            case Step::EmitAgain:
                if (PassingItems() < ManyItems) {
                    for (Number const event : AgainEach(step.value, step.first)) {
                        emitted.push_back(event);
                    }
                }
                break;
            case Step::Append:
                Append(step.first, step.second);
                break;
            case Step::AppendCopy:
                AppendCopy(step.first, step.second);
                break;
            case Step::Erase:
                Erase(step.first, step.value);
                break;
            case Step::Assign:
                Assign(step.first, step.second);
                break;
            case Step::Steal:
                Steal(step.first);
                break;
            case Step::SetRecordId:
                SetRecordId(step.first, step.value);
                break;
            case Step::SetFinal:
                SetFinal(step.first, odd);
                break;
            case Step::SetInternal:
                SetInternal(step.first, odd);
                break;
            case Step::SetDuplicate:
                SetDuplicate(step.first, odd);
                break;
            case Step::SetTriggers:
                SetTriggers(step.first, odd);
                break;
            case Step::CallBack:
                CallBack(step.value);
                break;
            case Step::Drop:
                Drop(step.first);
                break;
            case Step::Subscribe:
                Subscribe(step.first);
                break;
            case Step::Unsubscribe:
                if (auto const count = Subscribers(step.first); count > 0) {
                    Unsubscribe(step.first, step.value % count);
                }
                break;
            case Step::Throw:
                throw std::runtime_error("as the story has it");
        }
    }
    return emitted;
}

}  // namespace qel::tests
