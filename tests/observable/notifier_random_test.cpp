// Tells the same made-up stories to a Notifier and to a slow model of its rules, and compares every word that is said:
// what each observable finds in the frame, who is told of what, the log lines, the failures, how frames end, and which
// observables are still alive. QEL_RANDOM_RUNS and QEL_RANDOM_SEED in the environment choose other stories.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "foundation/object/primitive.hpp"
#include "observable/notifier.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/path_model.hpp"
#include "tests/support/random.hpp"
#include "tests/support/scripted.hpp"

namespace qel::observable {
namespace {

using std::chrono::milliseconds;
using tests::Random;

// ---- What a story is told in ----------------------------------------------------------------------------------------

// Things (records and events), observables and frames go by their numbers in the order of their making, which is the
// same in both worlds.
using Number = std::size_t;
constexpr Number Nothing = static_cast<Number>(-1);  // stands for null

enum class Kind { Event, Person, Record, Zone, Channel, Other };

struct EventPlan {
    unsigned int id;
    std::int64_t start;
    std::int64_t end;
    bool duplicate;
    bool final;
    bool internal;
    std::vector<Number> objects;
};

struct Step {
    enum What {
        Emit,       // thing `first`
        EmitAgain,  // for each event in the frame that names observable `value` one about the same, with record `first`
        Append,     // object `second` to event `first`
        AppendCopy,    // the same with a copy of the object
        Erase,         // from event `first` the object at place `value`, counted round
        Assign,        // event `second` to event `first`
        Steal,         // the objects of event `first`, by moving from it
        SetRecordId,   // of record `first` to `value`
        SetFinal,      // of event `first` to whether `value` is odd
        SetInternal,   // the same
        SetDuplicate,  // the same
        SetTriggers,   // of observable `first` to whether `value` is odd
        CallBack,      // into the notifier, its member number `value`
        Drop,          // the binding of observable `first`
        Throw,
    };
    What what;
    Number first = Nothing;
    Number second = Nothing;
    unsigned int value = 0;
};

using Program = std::vector<Step>;

struct ObservablePlan {
    unsigned int id;
    std::string name;
    bool triggers;
    std::vector<unsigned int> inputs;
    std::size_t subscribers;
};

constexpr std::size_t Augmenters = 2;

// What happens during one pass.
struct PassPlan {
    std::map<Number, Program> process;                             // by observable
    std::map<std::pair<Number, std::size_t>, Program> subscriber;  // by observable and subscriber
    std::array<Number, Augmenters> augmented{Nothing, Nothing};    // what the augmented-meta callbacks return
    std::optional<std::size_t> augmenterThrows;
    std::optional<std::size_t> sinkThrows;  // at which of the lines of the pass
};

std::string Joined(std::vector<std::string> const& parts) {
    std::string text = "[";
    for (auto const& part : parts) {
        text += (text.size() == 1 ? "" : ", ") + part;
    }
    return text + "]";
}

// One line of text for a thing; one that the story has no number for is new.
std::string Words(std::optional<Number> number, std::string const& kind, unsigned int id,
                  std::string const& rest = {}) {
    return (number ? "#" + std::to_string(*number) : std::string("new")) + " " + kind + " " + std::to_string(id) + rest;
}
std::string EventWords(std::int64_t start, std::int64_t end, bool duplicate, bool final, bool internal,
                       std::vector<std::string> const& objects) {
    return " " + std::to_string(start) + ".." + std::to_string(end) + (duplicate ? " duplicate" : "") +
           (final ? " final" : "") + (internal ? " internal" : "") + " " + Joined(objects);
}

// A world in which a story happens.
class World {
public:
    virtual ~World() = default;

    virtual void MakeThing(Kind kind, unsigned int id, std::string const& name) = 0;
    virtual void MakeEvent(EventPlan const& plan) = 0;
    virtual void MakeObservable(ObservablePlan const& plan) = 0;
    virtual void MakeFrame(std::int64_t time, std::vector<Number> const& items) = 0;

    virtual void SetInputs(Number observable, std::vector<unsigned int> const& inputs) = 0;
    virtual void SetId(Number observable, unsigned int id) = 0;
    virtual void Forget(Number observable) = 0;  // the story itself holds it no longer

    virtual void Add(Number observable) = 0;
    virtual void Remove(Number observable) = 0;
    virtual void RemoveId(unsigned int id) = 0;
    virtual void Change(Number observable) = 0;
    virtual void SetEventRetriggerTime(milliseconds time) = 0;
    virtual void Process(Number frame, PassPlan const& plan) = 0;

    virtual void SayPath() = 0;
    virtual void SayWhoIsAlive() = 0;

    // Carries out the steps and returns what they emit.
    std::vector<Number> Follow(Program const& program);

    std::vector<std::string> const& Said() const { return said; }
    virtual std::size_t Things() const = 0;

protected:
    virtual std::vector<Number> AgainEach(unsigned int observable, Number record) = 0;
    virtual void Append(Number event, Number object) = 0;
    virtual void AppendCopy(Number event, Number object) = 0;
    virtual void Erase(Number event, unsigned int place) = 0;
    virtual void Assign(Number event, Number other) = 0;
    virtual void Steal(Number event) = 0;
    virtual void SetRecordId(Number record, unsigned int id) = 0;
    virtual void SetFinal(Number event, bool value) = 0;
    virtual void SetInternal(Number event, bool value) = 0;
    virtual void SetDuplicate(Number event, bool value) = 0;
    virtual void SetTriggers(Number observable, bool value) = 0;
    virtual void CallBack(unsigned int member) = 0;
    virtual void Drop(Number observable) = 0;

    void Say(std::string line) { said.push_back(std::move(line)); }

private:
    std::vector<std::string> said;
};

std::vector<Number> World::Follow(Program const& program) {
    std::vector<Number> emitted;
    for (Step const& step : program) {
        bool const odd = step.value % 2 == 1;
        switch (step.what) {
            case Step::Emit:
                emitted.push_back(step.first);
                break;
            case Step::EmitAgain:
                for (Number const event : AgainEach(step.value, step.first)) {
                    emitted.push_back(event);
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
            case Step::Throw:
                throw std::runtime_error("as the story has it");
        }
    }
    return emitted;
}

// ---- The model ------------------------------------------------------------------------------------------------------

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
    void MakeObservable(ObservablePlan const& plan) override { observables.push_back({plan}); }
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
    void SetEventRetriggerTime(milliseconds time) override { retriggerTime = time; }
    void Process(Number frame, PassPlan const& plan) override;

    void SayPath() override;
    void SayWhoIsAlive() override;
    std::size_t Things() const override { return things.size(); }

protected:
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

private:
    struct ObservableState {
        ObservablePlan plan;
        bool held = true;
        std::optional<unsigned int> binding = std::nullopt;  // the id it was made with
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
    milliseconds retriggerTime{0};

    Frame* passing = nullptr;
    PassPlan const* plan = nullptr;
    std::size_t lines = 0;                    // logged in this pass
    std::vector<unsigned int> droppedInPass;  // bindings with these ids
};

std::string Model::Describe(ThingPtr const& thing) const {
    if (!thing) {
        return "null";
    }
    auto const number = Find(thing);
    switch (thing->kind) {
        case Kind::Event: {
            std::vector<std::string> objects;
            for (auto const& object : thing->objects) {
                objects.push_back(Describe(object));
            }
            return Words(
                number, "event", thing->id,
                EventWords(thing->start, thing->end, thing->duplicate, thing->final, thing->internal, objects));
        }
        case Kind::Person:
            return Words(number, "person", thing->id);
        case Kind::Record:
            return Words(number, "record", thing->id);
        case Kind::Zone:
            return Words(number, "zone", thing->id);
        case Kind::Channel:
            return Words(number, "channel", thing->id, " " + thing->name);
        case Kind::Other:
            break;
    }
    return Words(number, "other", 0);
}

std::string Model::Describe(std::vector<ThingPtr> const& list) const {
    std::vector<std::string> parts;
    for (auto const& thing : list) {
        parts.push_back(Describe(thing));
    }
    return Joined(parts);
}

bool Model::HaveVertex(unsigned int id) const {
    for (Number const vertex : vertices) {
        if (observables[vertex].plan.id == id) {
            return true;
        }
    }
    return false;
}

void Model::UpdatePath() {
    std::vector<tests::PathNode> nodes;
    for (Number const vertex : vertices) {
        nodes.push_back({observables[vertex].plan.id, observables[vertex].plan.inputs});
    }
    path.clear();
    auto const order = tests::PathModel::Sort(nodes);
    if (!order) {
        throw std::runtime_error("A cycle within the rule was detected");
    }
    for (std::size_t const place : *order) {
        path.push_back(vertices[place]);
    }
}

void Model::Add(Number observable) {
    if (!IsAlive(observable)) {
        return Say("gone");
    }
    unsigned int const id = observables[observable].plan.id;
    owned.push_back(observable);
    try {
        Log("qel.observable.Graph 4: Updating graph with observable [" + std::to_string(id) + "]");
        if (HaveVertex(id)) {
            throw std::runtime_error("Observable already added");
        }
        vertices.push_back(observable);
        UpdatePath();
        auto const before = std::exchange(observables[observable].binding, id);
        if (before) {
            Erase(*before);  // the story keeps one binding for each observable
        }
    } catch (std::runtime_error const& error) {
        Say(std::string("failed: ") + error.what());
    }
}

void Model::Remove(Number observable) {
    if (!IsAlive(observable)) {
        return Say("gone");
    }
    unsigned int const id = observables[observable].plan.id;
    try {
        if (!HaveVertex(id)) {
            throw std::runtime_error("Cannot remove observable that has not been added");
        }
        std::size_t index = 0;
        while (observables[vertices[index]].plan.id != id) {
            ++index;
        }
        for (std::size_t other = 0; other < vertices.size(); ++other) {
            auto const& consumer = observables[vertices[other]].plan;
            if (other != index && std::count(consumer.inputs.begin(), consumer.inputs.end(), id) > 0) {
                throw std::runtime_error("Cannot remove observable: " + std::to_string(id) +
                                         " as another observable: " + std::to_string(consumer.id) + " depends on it");
            }
        }
        vertices.erase(vertices.begin() + static_cast<std::ptrdiff_t>(index));
        UpdatePath();
    } catch (std::runtime_error const& error) {
        Say(std::string("failed: ") + error.what());
    }
}

void Model::RemoveId(unsigned int id) {
    for (Number const observable : path) {
        if (observables[observable].plan.id == id) {
            Remove(observable);
            return;
        }
    }
    Say("failed: Cannot remove observable that has not been added");
}

void Model::Change(Number observable) {
    if (!IsAlive(observable)) {
        return Say("gone");
    }
    try {
        if (!HaveVertex(observables[observable].plan.id)) {
            throw std::runtime_error("Cannot update observable that has not been added");
        }
        UpdatePath();
    } catch (std::runtime_error const& error) {
        Say(std::string("failed: ") + error.what());
    }
}

void Model::Erase(unsigned int id) {
    std::vector<Number> kept;
    for (Number const observable : owned) {
        if (observables[observable].plan.id != id) {
            kept.push_back(observable);
        }
    }
    owned = kept;
}

void Model::Drop(Number observable) {
    auto const id = std::exchange(observables[observable].binding, std::nullopt);
    if (id && passing) {
        droppedInPass.push_back(*id);
    } else if (id) {
        Erase(*id);
    }
}

void Model::Process(Number frame, PassPlan const& whatHappens) {
    passing = &frames[frame];
    plan = &whatHappens;
    lines = 0;
    try {
        Pass(frames[frame]);
    } catch (std::runtime_error const& error) {
        Say(std::string("failed: ") + error.what());
    }
    passing = nullptr;
    for (unsigned int const id : std::exchange(droppedInPass, {})) {
        Erase(id);
    }
    for (auto const& item : frames[frame].items) {
        if (item && !Find(item)) {
            Keep(item);
        }
    }
    Say("frame " + Describe(frames[frame].items));
}

void Model::Pass(Frame& frame) {
    // 1
    ThingPtr channel;
    for (auto const& item : frame.items) {
        if (item && item->kind == Kind::Channel) {
            channel =
                std::make_shared<Thing>(Thing{Kind::Channel, item->id, item->name, 0, 0, false, false, false, {}});
            break;
        }
    }
    // 2
    std::int64_t const now = frame.time;
    // 4: in 128 bits nothing overflows
    __extension__ using Wide = __int128;
    while (!history.empty() && Wide(history.front().first) + Wide(retriggerTime.count()) * 1'000'000 <= Wide(now)) {
        history.erase(history.begin());
    }
    // 5
    std::vector<ThingPtr> current;
    // 6
    for (Number const observable : path) {
        Say("  " + std::to_string(observable) + " sees " + Describe(frame.items));
        std::vector<ThingPtr> generated;
        auto const program = plan->process.find(observable);
        for (Number const thing : Follow(program == plan->process.end() ? Program() : program->second)) {
            generated.push_back(Get(thing));
        }
        for (auto const& object : generated) {
            if (!object || object->kind != Kind::Event) {
                frame.items.push_back(object);
                continue;
            }
            bool const previously = EventOccurredPreviously(*object);
            bool const triggers = observables[observable].plan.triggers;
            if (!previously && triggers && ShouldPreventRetrigger(*object)) {
                continue;
            }
            current.push_back(object);
            if (previously) {
                object->duplicate = true;
            } else {
                history.emplace_back(now, object);
            }
            if (!triggers) {
                object->internal = true;
            }
            bool hasChannel = false;
            for (auto const& part : object->objects) {
                hasChannel = hasChannel || (part && part->kind == Kind::Channel);
            }
            if (channel && !hasChannel) {
                object->objects.push_back(channel);
            }
            if (!previously && triggers) {
                Notify(observable, object);
            }
            frame.items.push_back(object);
        }
        std::size_t count = 0;
        for (auto const& object : generated) {
            if (object && object->kind == Kind::Event && !object->duplicate) {
                ++count;
            }
        }
        auto const& about = observables[observable].plan;
        if (count > 0 && channel) {
            Log("qel.observable.Notifier 4: channel_id:" + std::to_string(channel->id) + ":rule_id:" +
                std::to_string(about.id) + ": " + about.name + ": " + std::to_string(count) + " Event(s) Generated");
        } else if (count > 0) {
            Log("qel.observable.Notifier 4: rule_id:" + std::to_string(about.id) + ": " + std::to_string(count) +
                " Event(s) Generated");
        }
    }
    // 7
    for (auto const& event : previous) {
        if (!EventPending(current, *event) && !event->final) {
            auto const last = std::make_shared<Thing>(*event);
            last->final = true;
            last->duplicate = true;
            frame.items.push_back(last);
        }
    }
    // 8
    std::vector<ThingPtr> kept;
    for (auto const& item : frame.items) {
        if (!item || item->kind != Kind::Event || !item->internal) {
            kept.push_back(item);
        }
    }
    frame.items = kept;
    // 9
    previous = current;
}

bool Model::EventOccurredPreviously(Thing const& event) const { return EventPending(previous, event); }

bool Model::EventPending(std::vector<ThingPtr> const& list, Thing const& event) const {
    for (auto const& stored : list) {
        if (stored->id == event.id) {
            return true;
        }
    }
    return false;
}

std::optional<unsigned int> FirstRecord(Thing const& event) {
    for (auto const& object : event.objects) {
        if (object && object->kind == Kind::Record) {
            return object->id;
        }
    }
    return std::nullopt;
}

std::set<unsigned int> PersonIds(Thing const& event) {
    std::set<unsigned int> ids;
    for (auto const& object : event.objects) {
        if (object && object->kind == Kind::Person) {
            ids.insert(object->id);
        }
    }
    return ids;
}

bool Model::ShouldPreventRetrigger(Thing const& event) const {
    auto const record = FirstRecord(event);
    if (!record) {
        return false;
    }
    for (auto const& [time, stored] : history) {
        if (FirstRecord(*stored) == record && PersonIds(*stored) == PersonIds(event)) {
            return true;
        }
    }
    return false;
}

void Model::Notify(Number observable, ThingPtr const& event) {
    std::vector<ThingPtr> augmented;
    for (std::size_t index = 0; index < augmenters; ++index) {
        Say("  augmenter " + std::to_string(index));
        if (plan->augmenterThrows == index) {
            throw std::runtime_error("as the story has it");
        }
        augmented.push_back(Get(plan->augmented[index]));
    }
    for (auto const& object : augmented) {
        event->objects.push_back(object);
    }
    for (std::size_t index = 0; index < observables[observable].plan.subscribers; ++index) {
        Say("  " + std::to_string(observable) + " tells subscriber " + std::to_string(index) + " of " +
            Describe(event) + " at " + Describe(passing->items));
        auto const program = plan->subscriber.find({observable, index});
        Follow(program == plan->subscriber.end() ? Program() : program->second);
    }
}

void Model::Log(std::string const& line) {
    Say(line);
    if (passing && plan->sinkThrows == lines++) {
        throw std::runtime_error("as the story has it");
    }
}

std::vector<Number> Model::AgainEach(unsigned int observable, Number record) {
    std::vector<ThingPtr> made;
    for (auto const& item : passing->items) {
        if (!item || item->kind != Kind::Event) {
            continue;
        }
        for (auto const& part : item->objects) {
            if (part && part->kind == Kind::Record && part->id == observable) {
                std::vector<ThingPtr> objects;
                for (auto const& object : item->objects) {
                    if (!object || object->kind != Kind::Record) {
                        objects.push_back(object);
                    }
                }
                objects.push_back(Get(record));
                made.push_back(std::make_shared<Thing>(
                    Thing{Kind::Event, item->id + 1000, "", item->start, item->end, false, false, false, objects}));
            }
        }
    }
    std::vector<Number> emitted;
    for (auto const& event : made) {
        emitted.push_back(things.size());
        Keep(event);
    }
    return emitted;
}

void Model::SayPath() {
    std::vector<std::string> places;
    for (Number const observable : path) {
        places.push_back(std::to_string(observable));
    }
    Say("path " + Joined(places));
}

void Model::SayWhoIsAlive() {
    std::vector<std::string> alive;
    for (Number observable = 0; observable < observables.size(); ++observable) {
        if (IsAlive(observable)) {
            alive.push_back(std::to_string(observable));
        }
    }
    Say("alive " + Joined(alive));
}

// ---- The system -----------------------------------------------------------------------------------------------------

class Real : public World {
public:
    explicit Real(std::size_t augmenters) : capture([this](std::string const& line) { Hear(line); }) {
        for (std::size_t index = 0; index < augmenters; ++index) {
            augmenterBindings.push_back(Observable::AddAugmentedMetaCallback([this, index] { return Augment(index); }));
        }
    }

    void MakeThing(Kind kind, unsigned int id, std::string const& name) override {
        switch (kind) {
            case Kind::Person:
                return Keep(tests::Person(id));
            case Kind::Record:
                return Keep(tests::Record(id));
            case Kind::Zone:
                return Keep(tests::Zone(id));
            case Kind::Channel:
                return Keep(tests::Channel(id, name));
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
    void SetEventRetriggerTime(milliseconds time) override { notifier.SetEventRetriggerTime(time); }
    void Process(Number frame, PassPlan const& plan) override;

    void SayPath() override;
    void SayWhoIsAlive() override;
    std::size_t Things() const override { return things.size(); }

protected:
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

private:
    struct ObservableState {
        std::shared_ptr<tests::Scripted> held;
        std::weak_ptr<tests::Scripted> observed;
        std::vector<type::Binding> subscriptions;
        type::Binding binding;
    };

    static meta::Timestamp Time(std::int64_t time) { return meta::Timestamp(std::chrono::nanoseconds(time)); }

    std::shared_ptr<object::Object> Get(Number number) const { return number == Nothing ? nullptr : things[number]; }
    meta::data::Event& EventAt(Number number) const { return things[number]->As<meta::data::Event>(); }
    std::shared_ptr<tests::Scripted> Lock(Number observable) const { return observables[observable].observed.lock(); }
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

    tests::Scripted::Output Generate(Number observable, meta::Meta const& frame);
    void Hear(Number observable, std::size_t subscriber, meta::data::Event const& event);
    void Hear(std::string const& line);
    std::shared_ptr<object::Object> Augment(std::size_t index);

    std::vector<std::shared_ptr<object::Object>> things;
    std::map<object::Object const*, Number> numbers;
    std::vector<std::unique_ptr<meta::Meta>> frames;

    meta::Meta const* passing = nullptr;
    PassPlan const* plan = nullptr;
    std::size_t lines = 0;  // logged in this pass

    tests::LogCapture capture;
    std::vector<type::Binding> augmenterBindings;
    Notifier notifier;
    std::vector<ObservableState> observables;
};

void Real::MakeObservable(ObservablePlan const& plan) {
    Number const number = observables.size();
    auto observable = std::make_shared<tests::Scripted>(
        plan.name, [this, number](meta::Meta const& frame) { return Generate(number, frame); });
    observable->SetId(plan.id);
    observable->SetTriggersAction(plan.triggers);
    observable->dependents = plan.inputs;
    ObservableState state{observable, observable, {}, {}};
    for (std::size_t index = 0; index < plan.subscribers; ++index) {
        state.subscriptions.push_back(observable->Bind(
            [this, number, index](std::shared_ptr<meta::data::Event> event) { Hear(number, index, *event); }));
    }
    observables.push_back(std::move(state));
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

tests::Scripted::Output Real::Generate(Number observable, meta::Meta const& frame) {
    Say("  " + std::to_string(observable) + " sees " + Joined(DescribeAll(frame)));
    auto const program = plan->process.find(observable);
    tests::Scripted::Output output;
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
    for (auto const& item : tests::Items(*frames[frame])) {
        if (item && numbers.count(item.get()) == 0) {
            Keep(item);
        }
    }
    Say("frame " + Joined(DescribeAll(*frames[frame])));
}

std::vector<Number> Real::AgainEach(unsigned int observable, Number record) {
    tests::Scripted::Output made;
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
    auto const somebody = std::make_shared<tests::Scripted>();
    std::array<std::function<void()>, 7> const members{
        [&] { auto const binding = notifier.AddObservable(somebody); },
        [&] { notifier.RemoveObservable(somebody); },
        [&] { notifier.RemoveObservableId(0); },
        [&] { notifier.ObservableChanged(somebody); },
        [&] { notifier.GetObservables(); },
        [&] { notifier.SetEventRetriggerTime(milliseconds(1)); },
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

// ---- The stories ----------------------------------------------------------------------------------------------------

// Makes up a story and tells it to both worlds, as far as they say the same.
class Story {
public:
    explicit Story(Random& random);

    void Tell();

    // The first difference, with what was said before it; empty when there is none.
    std::string Difference() const;

private:
    using What = Step::What;

    template <class Happening>
    void Both(Happening const& happening) {
        happening(static_cast<World&>(model));
        happening(static_cast<World&>(real));
    }

    std::int64_t AnyTimeStep();
    milliseconds AnyRetriggerTime();
    unsigned int AnyId() { return static_cast<unsigned int>(random.Below(observables + 1)); }
    Number AnyObservable() { return random.Below(observables); }
    Number AnyOf(std::vector<Number> const& numbers) { return numbers[random.Below(numbers.size())]; }
    Number AnyObject();
    Number Make(Kind kind, unsigned int id, std::string const& name = "");
    Number MakeEvent(Number observable);
    std::vector<unsigned int> AnyInputs(Number observable);
    Step AnyEdit();
    Program AnyProcess(Number observable);
    Program AnySubscriber();
    PassPlan AnyPass();
    void Between();

    Random& random;
    std::size_t const observables;
    std::size_t const augmenters;
    bool const isWild;  // with failures and edits at any place; else they are rare

    Model model;
    Real real;

    std::size_t made = 0;                  // things, so far
    std::vector<std::size_t> subscribers;  // by observable
    std::vector<Number> events;
    std::vector<Number> records;
    std::vector<Number> objects;  // everything that may stand in an event
    std::vector<unsigned int> eventIds{1};
    std::int64_t now = 0;
    Number frames = 0;
};

Story::Story(Random& random)
    : random(random),
      observables(1 + random.Below(5)),
      augmenters(random.OneIn(3) ? 1 + random.Below(Augmenters) : 0),
      isWild(random.OneIn(2)),
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
        ObservablePlan const plan{random.OneIn(25) ? AnyId() : static_cast<unsigned int>(observable),
                                  "rule " + std::to_string(observable), !random.OneIn(3), AnyInputs(observable),
                                  random.Below(3)};
        Both([&](World& world) { world.MakeObservable(plan); });
        subscribers.push_back(plan.subscribers);
        if (!random.OneIn(10)) {
            Both([&](World& world) { world.Add(observable); });
        }
    }
    Both([&, time = AnyRetriggerTime()](World& world) { world.SetEventRetriggerTime(time); });
}

void Story::Tell() {
    for (std::size_t left = 1 + random.Below(12); left > 0 && Difference().empty(); --left) {
        while (random.OneIn(isWild ? 2 : 4)) {
            Between();
        }
        std::vector<Number> items;
        for (std::size_t count = random.Below(4); count > 0; --count) {
            items.push_back(!events.empty() && random.OneIn(6) ? AnyOf(events) : AnyObject());
        }
        if (random.OneIn(3)) {
            items.push_back(Make(Kind::Channel, static_cast<unsigned int>(random.Below(3)), "camera"));
        }
        now += AnyTimeStep();
        bool const again = frames > 0 && random.OneIn(20);  // the host hands in an earlier frame
        if (!again) {
            Both([&](World& world) { world.MakeFrame(now, items); });
            ++frames;
        }
        Number const frame = again ? random.Below(frames) : frames - 1;
        PassPlan const plan = AnyPass();
        Both([&](World& world) { world.Process(frame, plan); });
        Both([&](World& world) { world.SayPath(); });
        Both([&](World& world) { world.SayWhoIsAlive(); });
        made = model.Things();
    }
}

std::string Story::Difference() const {
    auto const& expected = model.Said();
    auto const& actual = real.Said();
    auto const [left, right] = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    if (left == expected.end() && right == actual.end()) {
        return {};
    }
    std::string text;
    for (auto line = left - std::min<std::ptrdiff_t>(left - expected.begin(), 12); line != left; ++line) {
        text += *line + "\n";
    }
    return text + "expected: " + (left == expected.end() ? "nothing" : *left) +
           "\nactual:   " + (right == actual.end() ? "nothing" : *right);
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
    if (random.OneIn(60)) {
        now = random.OneIn(2) ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
        return 0;
    }
    if (random.OneIn(60)) {
        now = 0;
    }
    auto const step = steps[random.Below(std::size(steps))];
    return (step > 0 && now > std::numeric_limits<std::int64_t>::max() - step) ||
                   (step < 0 && now < std::numeric_limits<std::int64_t>::min() - step)
               ? 0
               : step;
}

milliseconds Story::AnyRetriggerTime() {
    milliseconds const times[] = {milliseconds(0),   milliseconds(1),     milliseconds(5),         milliseconds(5),
                                  milliseconds(50),  milliseconds(100),   milliseconds(1'000'000), milliseconds(-1),
                                  milliseconds(-50), milliseconds::max(), milliseconds::min()};
    return times[random.Below(std::size(times))];
}

Number Story::Make(Kind kind, unsigned int id, std::string const& name) {
    Both([&](World& world) { world.MakeThing(kind, id, name); });
    return made++;
}

Number Story::AnyObject() {
    if (random.OneIn(40)) {
        objects.push_back(Make(Kind::Person, static_cast<unsigned int>(random.Below(5))));
        return objects.back();
    }
    return AnyOf(objects);
}

// Mostly one that names the observable and is about few persons, so that events meet again.
Number Story::MakeEvent(Number observable) {
    EventPlan plan{eventIds.back() + 1, now, now, random.OneIn(30), random.OneIn(15), random.OneIn(30), {}};
    if (random.OneIn(2)) {
        plan.id = eventIds[eventIds.size() - 1 - random.Below(std::min<std::size_t>(eventIds.size(), 6))];
    } else {
        eventIds.push_back(plan.id);
    }
    while (random.OneIn(3)) {
        plan.objects.push_back(AnyObject());
    }
    if (!random.OneIn(5)) {
        plan.objects.push_back(records[observable]);
    }
    for (std::size_t count = random.Below(3); count > 0; --count) {
        plan.objects.push_back(objects[random.Below(4)]);
    }
    Both([&](World& world) { world.MakeEvent(plan); });
    events.push_back(made);
    return made++;
}

// Mostly such that there is no cycle.
std::vector<unsigned int> Story::AnyInputs(Number observable) {
    std::vector<unsigned int> inputs;
    while (random.OneIn(3)) {
        if (random.OneIn(12)) {
            inputs.push_back(AnyId());
        } else if (observable > 0) {
            inputs.push_back(static_cast<unsigned int>(random.Below(observable)));
        }
    }
    return inputs;
}

Step Story::AnyEdit() {
    if (events.empty() || random.OneIn(6)) {
        return {What::SetRecordId, AnyOf(records), Nothing, AnyId()};
    }
    Number const event = random.OneIn(2)
                             ? AnyOf(events)
                             : events[events.size() - 1 - random.Below(std::min<std::size_t>(events.size(), 4))];
    Number const object = AnyObject();
    auto const number = static_cast<unsigned int>(random.Below(100));
    switch (random.Below(9)) {
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
    while (random.OneIn(isWild ? 5 : 30)) {
        program.push_back(AnyEdit());
    }
    for (std::size_t count = random.Below(4); count > 0; --count) {
        if (random.OneIn(8)) {
            program.push_back({What::Emit, AnyObject()});
        } else if (random.OneIn(4)) {
            program.push_back({What::EmitAgain, records[observable], Nothing, AnyId()});
        } else if (!events.empty() && random.OneIn(5)) {
            program.push_back({What::Emit, AnyOf(events)});
        } else {
            program.push_back({What::Emit, MakeEvent(observable)});
        }
    }
    if (random.OneIn(isWild ? 30 : 200)) {
        program.push_back({What::Throw});
    }
    return program;
}

Program Story::AnySubscriber() {
    Program program;
    while (random.OneIn(4)) {
        auto const number = static_cast<unsigned int>(random.Below(100));
        switch (random.Below(12)) {
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
            default:
                program.push_back(AnyEdit());
        }
    }
    return program;
}

PassPlan Story::AnyPass() {
    PassPlan plan;
    for (Number observable = 0; observable < observables; ++observable) {
        if (!random.OneIn(4)) {
            plan.process.emplace(observable, AnyProcess(observable));
        }
        for (std::size_t index = 0; index < subscribers[observable]; ++index) {
            if (random.OneIn(isWild ? 2 : 20)) {
                plan.subscriber.emplace(std::pair(observable, index), AnySubscriber());
            }
        }
    }
    for (auto& augmented : plan.augmented) {
        augmented = AnyObject();
    }
    if (random.OneIn(40)) {
        plan.augmenterThrows = random.Below(Augmenters);
    }
    if (random.OneIn(40)) {
        plan.sinkThrows = random.Below(4);
    }
    return plan;
}

void Story::Between() {
    Number const observable = AnyObservable();
    auto const number = static_cast<unsigned int>(random.Below(100));
    switch (random.Below(20)) {
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
        default:
            return Both([&, edit = AnyEdit()](World& world) { world.Follow({edit}); });
    }
}

TEST(NotifierRandomTest, SaysWhatAWalkOverPlainListsWould) {
    tests::RunAtRandom(2000, [](Random& random) {
        Story story(random);
        story.Tell();
        EXPECT_EQ(story.Difference(), "");
    });
}

}  // namespace
}  // namespace qel::observable
