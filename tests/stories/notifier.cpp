// What is compared is what each observable finds in the frame, who is told of what, the log lines, the failures, how
// frames end, and which observables are still alive.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/stories/notifier/model.hpp"
#include "tests/stories/notifier/real.hpp"
#include "tests/stories/notifier/world.hpp"
#include "tests/stories/story.hpp"

namespace qel::tests {
namespace {

using std::chrono::milliseconds;

// Makes up a story and tells it to both worlds, as far as they say the same.
class Story {
public:
    explicit Story(Choices& choices);

    void Tell();

    Telling Compare() const { return tests::Compare(model.Said(), real.Said()); }

private:
    using What = Step::What;

    bool Agree() const { return model.Said() == real.Said(); }

    template <class Happening>
    void Both(Happening const& happening) {
        happening(static_cast<World&>(model));
        happening(static_cast<World&>(real));
    }

    std::int64_t AnyTimeStep();
    milliseconds AnyRetriggerTime();
    unsigned int AnyId() { return static_cast<unsigned int>(choices.Below(observables + 1)); }
    Number AnyObservable() { return choices.Below(observables); }
    Number AnyOf(std::vector<Number> const& numbers) { return numbers[choices.Below(numbers.size())]; }
    Number AnyObject();
    Number Make(Kind kind, unsigned int id, std::string const& name = "");
    Number MakeEvent(Number observable);
    std::vector<unsigned int> AnyInputs(Number observable);
    Step AnyEdit();
    Program AnyProcess(Number observable);
    Program AnySubscriber();
    PassPlan AnyPass();
    void Between();

    Choices& choices;
    std::size_t const observables;
    std::size_t const augmenters;
    bool const isWild;  // with failures and edits at any place; else they are rare

    Model model;
    Real real;

    std::size_t made = 0;  // things, so far
    std::vector<Number> events;
    std::vector<Number> records;
    std::vector<Number> objects;  // everything that may stand in an event
    std::vector<unsigned int> eventIds{1};
    std::int64_t now = 0;
    Number frames = 0;
};

Story::Story(Choices& choices)
    : choices(choices),
      observables(1 + choices.Below(5)),
      augmenters(choices.OneIn(3) ? 1 + choices.Below(Augmenters) : 0),
      isWild(choices.OneIn(2)),
      model(augmenters),
      real(augmenters) {
    for (unsigned int id = 0; id < 3; ++id) {
        objects.push_back(Make(Kind::Person, id));
        objects.push_back(Make(Kind::Person, id));
    }
    for (unsigned int id = 0; id < observables; ++id) {
        records.push_back(Make(Kind::Record, id));
        objects.push_back(records.back());
    }
    objects.push_back(Make(Kind::Zone, 1));
    objects.push_back(Make(Kind::Channel, 1, "gate"));
    objects.push_back(Make(Kind::Other, 0));
    objects.push_back(Nothing);
    for (Number observable = 0; observable < observables; ++observable) {
        ObservablePlan const plan{choices.OneIn(25) ? AnyId() : static_cast<unsigned int>(observable),
                                  "rule " + std::to_string(observable), !choices.OneIn(3), AnyInputs(observable),
                                  choices.Below(3)};
        Both([&](World& world) { world.MakeObservable(plan); });
        if (!choices.OneIn(10)) {
            Both([&](World& world) { world.Add(observable); });
        }
    }
    Both([&, time = AnyRetriggerTime()](World& world) { world.SetEventRetriggerTime(time); });
}

void Story::Tell() {
    for (std::size_t left = 1 + choices.Below(12); left > 0 && Agree(); --left) {
        while (choices.OneIn(isWild ? 2 : 4)) {
            Between();
        }
        std::vector<Number> items;
        for (std::size_t count = choices.Below(4); count > 0; --count) {
            items.push_back(!events.empty() && choices.OneIn(6) ? AnyOf(events) : AnyObject());
        }
        if (choices.OneIn(3)) {
            items.push_back(Make(Kind::Channel, static_cast<unsigned int>(choices.Below(3)), "camera"));
        }
        now += AnyTimeStep();
        bool const again = frames > 0 && choices.OneIn(20);  // the host hands in an earlier frame
        if (!again) {
            Both([&](World& world) { world.MakeFrame(now, items); });
            ++frames;
        }
        Number const frame = again ? choices.Below(frames) : frames - 1;
        PassPlan const plan = AnyPass();
        Both([&](World& world) { world.Process(frame, plan); });
        Both([&](World& world) { world.SayPath(); });
        Both([&](World& world) { world.SayWhoIsAlive(); });
        made = model.Things();
    }
}

std::int64_t Story::AnyTimeStep() {
    constexpr std::int64_t Millisecond = 1'000'000;
    std::int64_t const steps[] = {0,
                                  1,
                                  -1,
                                  Millisecond,
                                  5 * Millisecond,
                                  5 * Millisecond - 1,
                                  50 * Millisecond,
                                  -5 * Millisecond,
                                  -50 * Millisecond,
                                  100 * Millisecond,
                                  5 * Millisecond};
    if (choices.OneIn(60)) {
        now = choices.OneIn(2) ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
        return 0;
    }
    if (choices.OneIn(60)) {
        now = 0;
    }
    auto const step = steps[choices.Below(std::size(steps))];
    return (step > 0 && now > std::numeric_limits<std::int64_t>::max() - step) ||
                   (step < 0 && now < std::numeric_limits<std::int64_t>::min() - step)
               ? 0
               : step;
}

milliseconds Story::AnyRetriggerTime() {
    milliseconds const times[] = {milliseconds(0),   milliseconds(1),     milliseconds(5),         milliseconds(5),
                                  milliseconds(50),  milliseconds(100),   milliseconds(1'000'000), milliseconds(-1),
                                  milliseconds(-50), milliseconds::max(), milliseconds::min()};
    return times[choices.Below(std::size(times))];
}

Number Story::Make(Kind kind, unsigned int id, std::string const& name) {
    Both([&](World& world) { world.MakeThing(kind, id, name); });
    return made++;
}

Number Story::AnyObject() {
    if (choices.OneIn(40)) {
        objects.push_back(Make(Kind::Person, static_cast<unsigned int>(choices.Below(5))));
        return objects.back();
    }
    return AnyOf(objects);
}

// Mostly one that names the observable and is about few persons, so that events meet again.
Number Story::MakeEvent(Number observable) {
    EventPlan plan{eventIds.back() + 1, now, now, choices.OneIn(30), choices.OneIn(15), choices.OneIn(30), {}};
    if (choices.OneIn(2)) {
        plan.id = eventIds[eventIds.size() - 1 - choices.Below(std::min<std::size_t>(eventIds.size(), 6))];
    } else {
        eventIds.push_back(plan.id);
    }
    while (choices.OneIn(3)) {
        plan.objects.push_back(AnyObject());
    }
    if (!choices.OneIn(5)) {
        plan.objects.push_back(records[observable]);
    }
    for (std::size_t count = choices.Below(3); count > 0; --count) {
        plan.objects.push_back(objects[choices.Below(4)]);
    }
    Both([&](World& world) { world.MakeEvent(plan); });
    events.push_back(made);
    return made++;
}

// Mostly such that there is no cycle.
std::vector<unsigned int> Story::AnyInputs(Number observable) {
    std::vector<unsigned int> inputs;
    while (choices.OneIn(3)) {
        if (choices.OneIn(12)) {
            inputs.push_back(AnyId());
        } else if (observable > 0) {
            inputs.push_back(static_cast<unsigned int>(choices.Below(observable)));
        }
    }
    return inputs;
}

Step Story::AnyEdit() {
    if (events.empty() || choices.OneIn(6)) {
        return {What::SetRecordId, AnyOf(records), Nothing, AnyId()};
    }
    Number const event = choices.OneIn(2)
                             ? AnyOf(events)
                             : events[events.size() - 1 - choices.Below(std::min<std::size_t>(events.size(), 4))];
    Number const object = AnyObject();
    auto const number = static_cast<unsigned int>(choices.Below(100));
    switch (choices.Below(9)) {
        case 0:
        case 1:
            return {What::Append, event, object};
        case 2:
            return {What::AppendCopy, event, object == Nothing ? records.front() : object};
        case 3:
            return {What::Erase, event, Nothing, number};
        case 4:
            return {What::Assign, event, AnyOf(events)};
        case 5:
            return {What::Steal, event};
        case 6:
            return {What::SetFinal, event, Nothing, number};
        case 7:
            return {What::SetInternal, event, Nothing, number};
        default:
            return {What::SetDuplicate, event, Nothing, number};
    }
}

Program Story::AnyProcess(Number observable) {
    Program program;
    while (choices.OneIn(isWild ? 5 : 30)) {
        program.push_back(AnyEdit());
    }
    for (std::size_t count = choices.Below(4); count > 0; --count) {
        if (choices.OneIn(8)) {
            program.push_back({What::Emit, AnyObject()});
        } else if (choices.OneIn(4)) {
            program.push_back({What::EmitAgain, records[observable], Nothing, AnyId()});
        } else if (!events.empty() && choices.OneIn(5)) {
            program.push_back({What::Emit, AnyOf(events)});
        } else {
            program.push_back({What::Emit, MakeEvent(observable)});
        }
    }
    if (choices.OneIn(isWild ? 30 : 200)) {
        program.push_back({What::Throw});
    }
    return program;
}

Program Story::AnySubscriber() {
    Program program;
    while (choices.OneIn(4)) {
        auto const number = static_cast<unsigned int>(choices.Below(100));
        switch (choices.Below(15)) {
            case 0:
            case 1:
                program.push_back({What::CallBack, Nothing, Nothing, number});
                break;
            case 2:
                program.push_back({What::Drop, AnyObservable()});
                break;
            case 3:
            case 4:
                program.push_back({What::SetTriggers, AnyObservable(), Nothing, number});
                break;
            case 5:
                program.push_back({What::Throw});
                break;
            case 6:
                program.push_back({What::Subscribe, AnyObservable()});
                break;
            case 7:
            case 8:
                program.push_back({What::Unsubscribe, AnyObservable(), Nothing, number});
                break;
            default:
                program.push_back(AnyEdit());
        }
    }
    return program;
}

PassPlan Story::AnyPass() {
    PassPlan plan;
    for (Number observable = 0; observable < observables; ++observable) {
        if (!choices.OneIn(4)) {
            plan.process.emplace(observable, AnyProcess(observable));
        }
        for (std::size_t index = 0; index <= model.Subscribers(observable); ++index) {  // one may join
            if (choices.OneIn(isWild ? 2 : 20)) {
                plan.subscriber.emplace(std::pair(observable, index), AnySubscriber());
            }
        }
    }
    for (auto& augmented : plan.augmented) {
        augmented = AnyObject();
    }
    if (choices.OneIn(40)) {
        plan.augmenterThrows = choices.Below(Augmenters);
    }
    if (choices.OneIn(40)) {
        plan.sinkThrows = choices.Below(4);
    }
    return plan;
}

void Story::Between() {
    Number const observable = AnyObservable();
    auto const number = static_cast<unsigned int>(choices.Below(100));
    switch (choices.Below(22)) {
        case 0:
        case 1:
            return Both([&](World& world) { world.Add(observable); });
        case 2:
            return Both([&](World& world) { world.Remove(observable); });
        case 3:
            return Both([&, id = AnyId()](World& world) { world.RemoveId(id); });
        case 4:
            return Both([&, inputs = AnyInputs(observable)](World& world) {
                world.SetInputs(observable, inputs);
                world.Change(observable);
            });
        case 5:
            return Both([&, inputs = AnyInputs(observable)](World& world) { world.SetInputs(observable, inputs); });
        case 6:
            return Both([&, time = AnyRetriggerTime()](World& world) { world.SetEventRetriggerTime(time); });
        case 7:
            return Both([&](World& world) { world.Follow({{What::Drop, observable}}); });
        case 8:
        case 9:
            return Both([&](World& world) { world.Follow({{What::SetTriggers, observable, Nothing, number}}); });
        case 10:
            return Both([&, id = AnyId()](World& world) { world.SetId(observable, id); });
        case 11:
            return Both([&](World& world) { world.Forget(observable); });
        case 12:
            return Both([&](World& world) { world.Follow({{What::Subscribe, observable}}); });
        case 13:
            return Both([&](World& world) { world.Follow({{What::Unsubscribe, observable, Nothing, number}}); });
        default:
            return Both([&, edit = AnyEdit()](World& world) { world.Follow({edit}); });
    }
}

}  // namespace

Telling TellOfNotifier(Choices& choices) {
    Story story(choices);
    story.Tell();
    return story.Compare();
}

}  // namespace qel::tests
