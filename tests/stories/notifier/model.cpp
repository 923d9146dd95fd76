#include "tests/stories/notifier/model.hpp"

#include <set>
#include <stdexcept>

#include "tests/support/path_model.hpp"

namespace qel::tests {

namespace {

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

}  // namespace

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
    std::vector<PathNode> nodes;
    for (Number const vertex : vertices) {
        nodes.push_back({observables[vertex].plan.id, observables[vertex].plan.inputs});
    }
    path.clear();
    auto const order = PathModel::Sort(nodes);
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

void Model::Subscribe(Number observable) {
    if (!IsAlive(observable)) {
        return Say("gone");
    }
    auto& [plan, held, binding, subscribers, slots] = observables[observable];
    std::size_t slot = 0;
    while (slot < slots.size() && slots[slot]) {
        ++slot;
    }
    slots.resize(std::max(slots.size(), slot + 1));
    slots[slot] = subscribers++;
}

void Model::Unsubscribe(Number observable, std::size_t subscriber) {
    for (auto& slot : observables[observable].slots) {
        if (slot == subscriber) {
            slot.reset();
        }
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
    auto const& slots = observables[observable].slots;
    std::size_t const count = Subscribers(observable);
    for (std::size_t slot = 0; slot < slots.size(); ++slot) {
        if (!slots[slot] || *slots[slot] >= count) {
            continue;
        }
        std::size_t const subscriber = *slots[slot];
        Say("  " + std::to_string(observable) + " tells subscriber " + std::to_string(subscriber) + " of " +
            Describe(event) + " at " + Describe(passing->items));
        auto const program = plan->subscriber.find({observable, subscriber});
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

}  // namespace qel::tests
