#include "tests/stories/notifier/real.hpp"

#include <array>
#include <functional>
#include <optional>
#include <system_error>

#include "foundation/meta/views.hpp"

namespace qel::tests {

void Real::MakeObservable(ObservablePlan const& plan) {
    Number const number = observables.size();
    auto observable = std::make_shared<Scripted>(
        plan.name, [this, number](meta::Meta const& frame) { return Generate(number, frame); });
    observable->SetId(plan.id);
    observable->SetTriggersAction(plan.triggers);
    observable->dependents = plan.inputs;
    observables.push_back({observable, observable, {}, {}});
    while (Subscribers(number) < plan.subscribers) {
        Subscribe(number);
    }
}

void Real::Subscribe(Number observable) {
    auto const found = Lock(observable);
    if (!found) {
        return Say("gone");
    }
    auto& subscriptions = observables[observable].subscriptions;
    subscriptions.push_back(
        found->Bind([this, observable, index = subscriptions.size()](std::shared_ptr<meta::data::Event> const& event) {
            Hear(observable, index, *event);
        }));
}

std::string Real::Describe(object::Object const* thing) const {
    if (!thing) {
        return "null";
    }
    auto const found = numbers.find(thing);
    auto const number = found == numbers.end() ? std::nullopt : std::optional(found->second);
    if (thing->Is<meta::data::Event>()) {
        auto const& event = thing->As<meta::data::Event>();
        return Words(number, "event", event.GetId(),
                     EventWords(event.GetStart().time_since_epoch().count(), event.GetEnd().time_since_epoch().count(),
                                event.IsDuplicate(), event.IsFinal(), event.IsInternal(), DescribeAll(event)));
    }
    if (thing->Is<meta::data::Object>()) {
        return Words(number, "person", thing->As<meta::data::Object>().GetId());
    }
    if (thing->Is<meta::data::Observable>()) {
        return Words(number, "record", thing->As<meta::data::Observable>().GetId());
    }
    if (thing->Is<meta::data::Zone>()) {
        return Words(number, "zone", thing->As<meta::data::Zone>().GetId());
    }
    if (thing->Is<meta::data::Channel>()) {
        auto const& channel = thing->As<meta::data::Channel>();
        return Words(number, "channel", channel.GetId(), " " + channel.GetName());
    }
    return Words(number, "other", 0);
}

Scripted::Output Real::Generate(Number observable, meta::Meta const& frame) {
    Say("  " + std::to_string(observable) + " sees " + Joined(DescribeAll(frame)));
    auto const program = plan->process.find(observable);
    Scripted::Output output;
    for (Number const thing : Follow(program == plan->process.end() ? Program() : program->second)) {
        output.push_back(Get(thing));
    }
    return output;
}

void Real::Hear(Number observable, std::size_t subscriber, meta::data::Event const& event) {
    Say("  " + std::to_string(observable) + " tells subscriber " + std::to_string(subscriber) + " of " +
        Describe(&event) + " at " + Joined(DescribeAll(*passing)));
    auto const program = plan->subscriber.find({observable, subscriber});
    Follow(program == plan->subscriber.end() ? Program() : program->second);
}

void Real::Hear(std::string const& line) {
    Say(line);
    if (passing && plan->sinkThrows == lines++) {
        throw std::runtime_error("as the story has it");
    }
}

std::shared_ptr<object::Object> Real::Augment(std::size_t index) {
    Say("  augmenter " + std::to_string(index));
    if (plan->augmenterThrows == index) {
        throw std::runtime_error("as the story has it");
    }
    return Get(plan->augmented[index]);
}

void Real::Process(Number frame, PassPlan const& whatHappens) {
    passing = frames[frame].get();
    plan = &whatHappens;
    lines = 0;
    Try([&] { notifier.Process(*passing); });
    passing = nullptr;
    for (auto const& item : Items(*frames[frame])) {
        if (item && numbers.count(item.get()) == 0) {
            Keep(item);
        }
    }
    Say("frame " + Joined(DescribeAll(*frames[frame])));
}

std::vector<Number> Real::AgainEach(unsigned int observable, Number record) {
    Scripted::Output made;
    for (auto const& event : meta::EventsNaming(*passing, observable)) {
        meta::data::Event::Objects objects;
        for (auto const& object : event.GetObjects()) {
            if (!object || !object->Is<meta::data::Observable>()) {
                objects.push_back(object);
            }
        }
        objects.push_back(Get(record));
        made.push_back(tests::MakeEvent(event.GetId() + 1000, event.GetStart(), event.GetEnd(), std::move(objects)));
    }
    std::vector<Number> emitted;
    for (auto const& event : made) {
        emitted.push_back(things.size());
        Keep(event);
    }
    return emitted;
}

void Real::CallBack(unsigned int member) {
    auto const somebody = std::make_shared<Scripted>();
    std::array<std::function<void()>, 7> const members{
        [&] { auto const binding = notifier.AddObservable(somebody); },
        [&] { notifier.RemoveObservable(somebody); },
        [&] { notifier.RemoveObservableId(0); },
        [&] { notifier.ObservableChanged(somebody); },
        [&] { notifier.GetObservables(); },
        [&] { notifier.SetEventRetriggerTime(std::chrono::milliseconds(1)); },
        [&] { notifier.Process(*passing); },
    };
    try {
        members[member % members.size()]();
        Say("  not refused");
    } catch (std::system_error const& error) {
        Say(error.code() == std::errc::resource_deadlock_would_occur ? "  refused" : error.what());
    }
}

void Real::SayPath() {
    std::vector<std::string> places;
    for (auto const& observable : notifier.GetObservables()) {
        Number number = 0;
        while (Lock(number) != observable) {
            ++number;
        }
        places.push_back(std::to_string(number));
    }
    Say("path " + Joined(places));
}

void Real::SayWhoIsAlive() {
    std::vector<std::string> alive;
    for (Number number = 0; number < observables.size(); ++number) {
        if (!observables[number].observed.expired()) {
            alive.push_back(std::to_string(number));
        }
    }
    Say("alive " + Joined(alive));
}

}  // namespace qel::tests
