#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/stories/notifier/world.hpp"

namespace qel::tests {

/// A record or an event.
struct Thing {
    Kind kind;
    unsigned int id;
    std::string name;
    std::int64_t start = 0;
    std::int64_t end = 0;
    bool duplicate = false;
    bool final = false;
    bool internal = false;
    std::vector<std::shared_ptr<Thing>> objects;
};
using ThingPtr = std::shared_ptr<Thing>;

/// The notifier's rules as lists, walked from end to end at every question.
class Model : public World {
public:
    explicit Model(std::size_t augmenters) : augmenters(augmenters) {}

    void MakeThing(Kind kind, unsigned int id, std::string const& name) override {
        Keep(std::make_shared<Thing>(Thing{kind, id, name, 0, 0, false, false, false, {}}));
    }
    void MakeEvent(EventPlan const& plan) override {
        std::vector<ThingPtr> objects;
        for (Number const object : plan.objects) {
            objects.push_back(Get(object));
        }
        Keep(std::make_shared<Thing>(
            Thing{Kind::Event, plan.id, "", plan.start, plan.end, plan.duplicate, plan.final, plan.internal, objects}));
    }
    void MakeObservable(ObservablePlan const& plan) override {
        observables.push_back({plan});
        while (Subscribers(observables.size() - 1) < plan.subscribers) {
            Subscribe(observables.size() - 1);
        }
    }
    void MakeFrame(std::int64_t time, std::vector<Number> const& items) override {
        frames.push_back({time, {}});
        for (Number const item : items) {
            frames.back().items.push_back(Get(item));
        }
    }

    void SetInputs(Number observable, std::vector<unsigned int> const& inputs) override {
        observables[observable].plan.inputs = inputs;
    }
    void SetId(Number observable, unsigned int id) override { observables[observable].plan.id = id; }
    void Forget(Number observable) override { observables[observable].held = false; }

    void Add(Number observable) override;
    void Remove(Number observable) override;
    void RemoveId(unsigned int id) override;
    void Change(Number observable) override;
    void SetEventRetriggerTime(std::chrono::milliseconds time) override { retriggerTime = time; }
    void Process(Number frame, PassPlan const& plan) override;

    void SayPath() override;
    void SayWhoIsAlive() override;
    std::size_t Things() const override { return things.size(); }
    std::size_t Subscribers(Number observable) const override { return observables[observable].subscribers; }

protected:
    std::size_t PassingItems() const override { return passing->items.size(); }
    std::vector<Number> AgainEach(unsigned int observable, Number record) override;
    void Append(Number event, Number object) override { things[event]->objects.push_back(Get(object)); }
    void AppendCopy(Number event, Number object) override {
        things[event]->objects.push_back(std::make_shared<Thing>(*Get(object)));
    }
    void Erase(Number event, unsigned int place) override {
        auto& objects = things[event]->objects;
        if (!objects.empty()) {
            objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(place % objects.size()));
        }
    }
    void Assign(Number event, Number other) override {
        Thing const copy = *things[other];
        *things[event] = copy;
    }
    void Steal(Number event) override { things[event]->objects.clear(); }
    void SetRecordId(Number record, unsigned int id) override { things[record]->id = id; }
    void SetFinal(Number event, bool value) override { things[event]->final = value; }
    void SetInternal(Number event, bool value) override { things[event]->internal = value; }
    void SetDuplicate(Number event, bool value) override { things[event]->duplicate = value; }
    void SetTriggers(Number observable, bool value) override { observables[observable].plan.triggers = value; }
    void CallBack(unsigned int) override { Say("  refused"); }
    void Drop(Number observable) override;
    void Subscribe(Number observable) override;
    void Unsubscribe(Number observable, std::size_t subscriber) override;

private:
    struct ObservableState {
        ObservablePlan plan;
        bool held = true;
        std::optional<unsigned int> binding = std::nullopt;  // the id it was made with
        std::size_t subscribers = 0;
        std::vector<std::optional<std::size_t>> slots{};  // of subscribers
    };
    struct Frame {
        std::int64_t time;
        std::vector<ThingPtr> items;
    };

    ThingPtr Get(Number number) const { return number == Nothing ? nullptr : things[number]; }
    std::optional<Number> Find(ThingPtr const& thing) const {
        auto const found = numbers.find(thing.get());
        return found == numbers.end() ? std::nullopt : std::optional(found->second);
    }
    void Keep(ThingPtr const& thing) {
        numbers.emplace(thing.get(), things.size());
        things.push_back(thing);
    }
    bool IsAlive(Number observable) const {
        return observables[observable].held || std::count(owned.begin(), owned.end(), observable) > 0 ||
               std::count(vertices.begin(), vertices.end(), observable) > 0;
    }
    std::string Describe(ThingPtr const& thing) const;
    std::string Describe(std::vector<ThingPtr> const& list) const;

    bool HaveVertex(unsigned int id) const;
    void UpdatePath();
    void Pass(Frame& frame);
    bool EventOccurredPreviously(Thing const& event) const;
    bool EventPending(std::vector<ThingPtr> const& current, Thing const& event) const;
    bool ShouldPreventRetrigger(Thing const& event) const;
    void Notify(Number observable, ThingPtr const& event);
    void Log(std::string const& line);
    void Erase(unsigned int id);

    std::size_t augmenters;
    std::vector<ThingPtr> things;
    std::map<Thing const*, Number> numbers;
    std::vector<ObservableState> observables;
    std::vector<Frame> frames;

    std::vector<Number> owned;
    std::vector<Number> vertices;
    std::vector<Number> path;
    std::vector<ThingPtr> previous;
    std::vector<std::pair<std::int64_t, ThingPtr>> history;
    std::chrono::milliseconds retriggerTime{0};

    Frame* passing = nullptr;
    PassPlan const* plan = nullptr;
    std::size_t lines = 0;                    // logged in this pass
    std::vector<unsigned int> droppedInPass;  // bindings with these ids
};

}  // namespace qel::tests
