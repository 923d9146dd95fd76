#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/meta.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/type/binding.hpp"
#include "observable/notifier.hpp"
#include "tests/stories/notifier/world.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/scripted.hpp"

namespace qel::tests {

/// The system itself.
class Real : public World {
public:
    explicit Real(std::size_t augmenters) : capture([this](std::string const& line) { Hear(line); }) {
        for (std::size_t index = 0; index < augmenters; ++index) {
            augmenterBindings.push_back(
                observable::Observable::AddAugmentedMetaCallback([this, index] { return Augment(index); }));
        }
    }

    void MakeThing(Kind kind, unsigned int id, std::string const& name) override {
        switch (kind) {
            case Kind::Person:
                return Keep(Person(id));
            case Kind::Record:
                return Keep(Record(id));
            case Kind::Zone:
                return Keep(Zone(id));
            case Kind::Channel:
                return Keep(Channel(id, name));
            default:
                return Keep(std::make_shared<object::String>(name));
        }
    }
    void MakeEvent(EventPlan const& plan) override {
        meta::data::Event::Objects objects;
        for (Number const object : plan.objects) {
            objects.push_back(Get(object));
        }
        auto event = tests::MakeEvent(plan.id, Time(plan.start), Time(plan.end), std::move(objects));
        event->SetDuplicate(plan.duplicate);
        event->SetFinal(plan.final);
        event->SetInternal(plan.internal);
        Keep(std::move(event));
    }
    void MakeObservable(ObservablePlan const& plan) override;
    void MakeFrame(std::int64_t time, std::vector<Number> const& items) override {
        frames.push_back(std::make_unique<meta::Meta>(Time(time)));
        for (Number const item : items) {
            frames.back()->Append(Get(item));
        }
    }

    void SetInputs(Number observable, std::vector<unsigned int> const& inputs) override {
        if (auto const found = Lock(observable)) {
            found->dependents = inputs;
        }
    }
    void SetId(Number observable, unsigned int id) override {
        if (auto const found = Lock(observable)) {
            found->SetId(id);
        }
    }
    void Forget(Number observable) override { observables[observable].held.reset(); }

    void Add(Number observable) override {
        With(observable, [&](auto const& found) { observables[observable].binding = notifier.AddObservable(found); });
    }
    void Remove(Number observable) override {
        With(observable, [&](auto const& found) { notifier.RemoveObservable(found); });
    }
    void Change(Number observable) override {
        With(observable, [&](auto const& found) { notifier.ObservableChanged(found); });
    }
    void RemoveId(unsigned int id) override {
        Try([&] { notifier.RemoveObservableId(id); });
    }
    void SetEventRetriggerTime(std::chrono::milliseconds time) override { notifier.SetEventRetriggerTime(time); }
    void Process(Number frame, PassPlan const& plan) override;

    void SayPath() override;
    void SayWhoIsAlive() override;
    std::size_t Things() const override { return things.size(); }
    std::size_t Subscribers(Number observable) const override { return observables[observable].subscriptions.size(); }

protected:
    std::size_t PassingItems() const override { return Items(*passing).size(); }
    std::vector<Number> AgainEach(unsigned int observable, Number record) override;
    void Append(Number event, Number object) override { EventAt(event).AppendObject(Get(object)); }
    void AppendCopy(Number event, Number object) override { EventAt(event).AppendObject(*Get(object)); }
    void Erase(Number event, unsigned int place) override {
        EventAt(event).EditObjects([&](meta::data::Event::Objects& objects) {
            if (!objects.empty()) {
                objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(place % objects.size()));
            }
        });
    }
    void Assign(Number event, Number other) override { EventAt(event) = EventAt(other); }
    void Steal(Number event) override { meta::data::Event const thief(std::move(EventAt(event))); }
    void SetRecordId(Number record, unsigned int id) override { Get(record)->As<meta::data::Observable>().SetId(id); }
    void SetFinal(Number event, bool value) override { EventAt(event).SetFinal(value); }
    void SetInternal(Number event, bool value) override { EventAt(event).SetInternal(value); }
    void SetDuplicate(Number event, bool value) override { EventAt(event).SetDuplicate(value); }
    void SetTriggers(Number observable, bool value) override {
        if (auto const found = Lock(observable)) {
            found->SetTriggersAction(value);
        }
    }
    void CallBack(unsigned int member) override;
    void Drop(Number observable) override { observables[observable].binding.Reset(); }
    void Subscribe(Number observable) override;
    void Unsubscribe(Number observable, std::size_t subscriber) override {
        observables[observable].subscriptions[subscriber].Reset();
    }

private:
    struct ObservableState {
        std::shared_ptr<Scripted> held;
        std::weak_ptr<Scripted> observed;
        std::vector<type::Binding> subscriptions;
        type::Binding binding;
    };

    static meta::Timestamp Time(std::int64_t time) { return meta::Timestamp(std::chrono::nanoseconds(time)); }

    std::shared_ptr<object::Object> Get(Number number) const { return number == Nothing ? nullptr : things[number]; }
    meta::data::Event& EventAt(Number number) const { return things[number]->As<meta::data::Event>(); }
    std::shared_ptr<Scripted> Lock(Number observable) const { return observables[observable].observed.lock(); }
    void Keep(std::shared_ptr<object::Object> thing) {
        numbers.emplace(thing.get(), things.size());
        things.push_back(std::move(thing));
    }

    std::string Describe(object::Object const* thing) const;
    template <class Container>
    std::vector<std::string> DescribeAll(Container const& container) const {
        std::vector<std::string> parts;
        for (auto item = container.Begin(); item != container.End(); ++item) {
            parts.push_back(Describe(item->get()));
        }
        return parts;
    }

    template <class Call>
    void Try(Call const& call) {
        try {
            call();
        } catch (std::runtime_error const& error) {
            Say(std::string("failed: ") + error.what());
        }
    }
    template <class Call>
    void With(Number observable, Call const& call) {
        auto const found = Lock(observable);
        found ? Try([&] { call(found); }) : Say("gone");
    }

    Scripted::Output Generate(Number observable, meta::Meta const& frame);
    void Hear(Number observable, std::size_t subscriber, meta::data::Event const& event);
    void Hear(std::string const& line);
    std::shared_ptr<object::Object> Augment(std::size_t index);

    std::vector<std::shared_ptr<object::Object>> things;
    std::map<object::Object const*, Number> numbers;
    std::vector<std::unique_ptr<meta::Meta>> frames;

    meta::Meta const* passing = nullptr;
    PassPlan const* plan = nullptr;
    std::size_t lines = 0;  // logged in this pass

    LogCapture capture;
    std::vector<type::Binding> augmenterBindings;
    observable::Notifier notifier;
    std::vector<ObservableState> observables;
};

}  // namespace qel::tests
