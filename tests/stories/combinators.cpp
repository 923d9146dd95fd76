// And, Or and Not and slow models of their rules, each in a notifier of its own; what is compared is every frame,
// whole.

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "observable/and.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/or.hpp"
#include "tests/stories/story.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/stranger.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::Timestamp;
using meta::data::Event;
using tests::Choices;

using Items = std::vector<std::shared_ptr<object::Object>>;

// ---- Models: copies, walks over everything, sets --------------------------------------------------------------------

using Buffer = std::vector<Event>;
using TargetSet = std::set<meta::data::Object>;
using ZoneSet = std::set<meta::data::Zone>;

template <class T>
std::vector<T> ChildrenOf(Event const& event) {
    std::vector<T> children;
    for (auto const& object : event.GetObjects()) {
        if (object && object->Is<T>()) {
            children.push_back(object->As<T>());
        }
    }
    return children;
}

std::vector<std::shared_ptr<Event>> EventsIn(Meta const& frame) {
    std::vector<std::shared_ptr<Event>> events;
    for (auto const& item : tests::Items(frame)) {
        if (item && item->Is<Event>()) {
            events.push_back(std::static_pointer_cast<Event>(item));
        }
    }
    return events;
}

bool HoldsTarget(Event const& event, std::uint32_t target) {
    auto const objects = ChildrenOf<meta::data::Object>(event);
    return std::any_of(objects.begin(), objects.end(), [&](auto const& object) { return object.GetId() == target; });
}

void AddZones(ZoneSet& zones, Buffer const& buffer) {
    for (auto const& event : buffer) {
        for (auto const& zone : ChildrenOf<meta::data::Zone>(event)) {
            zones.insert(zone);
        }
    }
}

void AddZonesOfTarget(ZoneSet& zones, Buffer const& buffer, std::uint32_t target) {
    for (auto const& event : buffer) {
        if (HoldsTarget(event, target)) {
            AddZones(zones, {event});
        }
    }
}

TargetSet TargetsOf(Buffer const& buffer) {
    TargetSet targets;
    for (auto const& event : buffer) {
        for (auto const& object : ChildrenOf<meta::data::Object>(event)) {
            targets.insert(object);
        }
    }
    return targets;
}

TargetSet Union(TargetSet targets, TargetSet const& others) {
    targets.insert(others.begin(), others.end());
    return targets;
}

std::shared_ptr<Event> Assemble(Observable const& owner, std::string type, TargetSet const& targets,
                                ZoneSet const& zones, std::shared_ptr<Event> const& stored, Timestamp now) {
    Event::Objects objects{owner.MakeObservableMetadata()};
    for (auto const& target : targets) {
        objects.push_back(std::make_shared<meta::data::Object>(target));
    }
    for (auto const& zone : zones) {
        objects.push_back(std::make_shared<meta::data::Zone>(zone));
    }
    return stored
               ? std::make_shared<Event>(stored->GetId(), owner.GetName(), std::move(type), "analytics",
                                         stored->GetStart(), now, std::move(objects))
               : std::make_shared<Event>(owner.GetName(), std::move(type), "analytics", now, now, std::move(objects));
}

class SlowNot : public Observable {
public:
    explicit SlowNot(std::uint32_t input) : Observable(object::TypeIdOf<Not>), input(input) {}

    std::vector<unsigned int> GetDependents() const override {
        return input == UnsetId ? std::vector<unsigned int>{} : std::vector<unsigned int>{input};
    }

    Items Process(Meta const& frame) override {
        if (input == UnsetId) {
            event.reset();
            return {};
        }
        bool fired = false;
        for (auto const& each : EventsIn(frame)) {
            for (auto const& record : ChildrenOf<meta::data::Observable>(*each)) {
                fired = fired || record.GetId() == input;
            }
        }
        if (fired) {
            event.reset();
            return {};
        }
        event = Assemble(*this, "not", {}, {}, event, frame.GetTimestamp());
        return {event};
    }

    std::uint32_t input;

private:
    std::shared_ptr<Event> event;
};

class SlowBinary : public Observable {
public:
    SlowBinary(hash::MurmurThree32 type, std::uint32_t inputA, std::uint32_t inputB, bool constrainTarget)
        : Observable(type), inputA(inputA), inputB(inputB), constrainTarget(constrainTarget) {}

    std::vector<unsigned int> GetDependents() const override {
        std::vector<unsigned int> dependents;
        if (inputA != UnsetId) {
            dependents.push_back(inputA);
        }
        if (inputB != UnsetId && inputB != inputA) {
            dependents.push_back(inputB);
        }
        return dependents;
    }

    std::uint32_t inputA;
    std::uint32_t inputB;
    bool constrainTarget;

protected:
    using Map = std::map<std::uint32_t, std::shared_ptr<Event>>;

    void Fill(Meta const& frame, Buffer& a, Buffer& b) const {
        for (auto const& each : EventsIn(frame)) {
            for (auto const& record : ChildrenOf<meta::data::Observable>(*each)) {
                if (record.GetId() == UnsetId) {
                    continue;
                }
                if (record.GetId() == inputA) {
                    a.push_back(*each);
                } else if (record.GetId() == inputB) {
                    b.push_back(*each);
                }
            }
        }
    }

    Items Unconstrained(std::string const& type, TargetSet const& objects, Buffer const& a, Buffer const& b,
                        Timestamp now) {
        ZoneSet zones;
        AddZones(zones, a);
        AddZones(zones, b);
        event = Assemble(*this, type, objects, zones, event, now);
        return {event};
    }

    Map PerTarget(std::string const& type, TargetSet const& objects, Buffer const& a, Buffer const& b, Timestamp now) {
        Map emitted;
        for (auto const& target : objects) {
            ZoneSet zones;
            AddZonesOfTarget(zones, a, target.GetId());
            AddZonesOfTarget(zones, b, target.GetId());
            auto const stored = targets.find(target.GetId());
            emitted[target.GetId()] =
                Assemble(*this, type, {target}, zones, stored == targets.end() ? nullptr : stored->second, now);
        }
        return emitted;
    }

    void Clear() {
        event.reset();
        targets.clear();
    }

    Items Replace(Map const& emitted) {
        for (auto const& [id, each] : emitted) {
            targets[id] = each;
        }
        std::erase_if(targets, [&](auto const& entry) { return emitted.count(entry.first) == 0; });
        Items items;
        for (auto const& [id, each] : emitted) {
            items.push_back(each);
        }
        return items;
    }

    Map targets;

private:
    std::shared_ptr<Event> event;
};

class SlowAnd : public SlowBinary {
public:
    SlowAnd(std::uint32_t inputA, std::uint32_t inputB, bool constrainTarget)
        : SlowBinary(object::TypeIdOf<And>, inputA, inputB, constrainTarget) {}

    Items Process(Meta const& frame) override {
        Buffer a;
        Buffer b;
        Fill(frame, a, b);
        if (a.empty() || b.empty()) {
            Clear();
            return {};
        }
        auto const now = frame.GetTimestamp();
        if (!constrainTarget) {
            return Unconstrained("and", Union(TargetsOf(a), TargetsOf(b)), a, b, now);
        }
        auto const emitted = PerTarget("and", Common(a, b), a, b, now);
        std::erase_if(targets, [&](auto const& entry) {
            return !PreviousInBuffer(a, entry.first) || !PreviousInBuffer(b, entry.first);
        });
        return Replace(emitted);
    }

private:
    static TargetSet Common(Buffer const& a, Buffer const& b) {
        auto const inA = TargetsOf(a);
        auto const inB = TargetsOf(b);
        TargetSet common;
        for (auto const& target : b.back().GetStart() > a.back().GetStart() ? inB : inA) {
            if (inA.count(target) > 0 && inB.count(target) > 0) {
                common.insert(target);
            }
        }
        return common;
    }

    static bool PreviousInBuffer(Buffer const& buffer, std::uint32_t target) {
        return !buffer.empty() && HoldsTarget(buffer.front(), target);
    }
};

class SlowOr : public SlowBinary {
public:
    SlowOr(std::uint32_t inputA, std::uint32_t inputB) : SlowBinary(object::TypeIdOf<Or>, inputA, inputB, false) {}

    Items Process(Meta const& frame) override {
        Buffer a;
        Buffer b;
        Fill(frame, a, b);
        if (a.empty() && b.empty()) {
            Clear();
            return {};
        }
        auto const now = frame.GetTimestamp();
        auto const objects = Union(TargetsOf(a), TargetsOf(b));
        return constrainTarget ? Replace(PerTarget("or", objects, a, b, now)) : Unconstrained("or", objects, a, b, now);
    }
};

// ---- Stories --------------------------------------------------------------------------------------------------------

enum class Kind { Not, And, Or };

struct CombinatorPlan {
    Kind kind;
    std::uint32_t inputA;
    std::uint32_t inputB;
    bool constrained;
    bool triggers;
};

struct Change {
    enum What { InputA, InputB, Mode, Triggers, Name };
    std::size_t combinator;
    What what;
    std::uint32_t value;
    bool told;  // the notifier, with ObservableChanged
};

struct FramePlan {
    std::vector<Change> changes;
    Timestamp time;
    Items before;                // what is in the frame when the notifier gets it
    std::vector<Items> sources;  // what each source reports
};

struct Story {
    std::size_t sources;
    std::vector<CombinatorPlan> combinators;
    std::vector<std::size_t> order;  // of adding: sources, then combinators
    std::chrono::milliseconds retrigger{0};
    std::vector<FramePlan> frames;
};

constexpr std::uint32_t FirstSource = 1000;
constexpr std::uint32_t FirstCombinator = 2000;
constexpr std::uint32_t Nobody = 9999;
constexpr unsigned int FirstFixedEventId = 0x80000000;  // out of the reach of the process's counter

class Teller {
public:
    explicit Teller(Choices& choices) : choices(choices) {}

    Story Tell() {
        Story story;
        story.sources = 1 + choices.Below(4);
        sources = story.sources;
        for (std::size_t number = choices.Below(8) + 1; number > 0; --number) {
            story.combinators.push_back({static_cast<Kind>(choices.Below(3)), Input(story.combinators.size()),
                                         Input(story.combinators.size()), choices.OneIn(2), !choices.OneIn(4)});
        }
        for (std::size_t number = 0; number < story.sources + story.combinators.size(); ++number) {
            story.order.insert(story.order.begin() + static_cast<std::ptrdiff_t>(choices.Below(number + 1)), number);
        }
        if (choices.OneIn(3)) {
            story.retrigger = std::chrono::milliseconds(choices.Below(200));
        }
        std::int64_t now = 1000;
        for (std::size_t number = 5 + choices.Below(20); number > 0; --number) {
            now += choices.OneIn(12) ? -40 : choices.OneIn(12) ? 0 : 40;
            story.frames.push_back(Frame(story, now));
        }
        return story;
    }

private:
    FramePlan Frame(Story const& story, std::int64_t now) {
        FramePlan frame;
        frame.time = tests::At(now);
        if (choices.OneIn(3)) {
            frame.changes.push_back(AnyChange(story));
        }
        for (auto& there : present) {
            there = there != choices.OneIn(4);
        }
        zones.clear();
        for (std::size_t number = choices.Below(3); number > 0; --number) {
            frame.before.push_back(Stray(now));
        }
        for (std::size_t source = 0; source < story.sources; ++source) {
            Items reported;
            for (std::size_t number = choices.OneIn(3) ? 0 : 1 + choices.Below(3); number > 0; --number) {
                reported.push_back(choices.OneIn(20) ? Stray(now)
                                                     : AnyEvent(FirstSource + static_cast<std::uint32_t>(source), now));
            }
            for (std::size_t number = choices.OneIn(60) ? 40 + choices.Below(40) : 0; number > 0; --number) {
                reported.push_back(OneOfACrowd(FirstSource + static_cast<std::uint32_t>(source), now));
            }
            frame.sources.push_back(std::move(reported));
        }
        return frame;
    }

    Change AnyChange(Story const& story) {
        std::size_t const combinator = choices.Below(story.combinators.size());
        bool const told = !choices.OneIn(5);
        switch (choices.Below(7)) {
            case 0:
            case 1:
                return {combinator, Change::InputA, ChangedInput(story, combinator), told};
            case 2:
                return {combinator, Change::InputB, ChangedInput(story, combinator), told};
            case 3:
                return {combinator, Change::Triggers, choices.OneIn(2), told};
            case 4:
                return {combinator, Change::Name, static_cast<std::uint32_t>(choices.Below(3)), told};
            default:
                return {combinator, Change::Mode, choices.OneIn(2), told};
        }
    }

    /// Mostly inputs in front of a combinator, so that cycles are few.
    std::uint32_t ChangedInput(Story const& story, std::size_t combinator) {
        return Input(choices.OneIn(15) ? story.combinators.size() : combinator);
    }

    std::uint32_t Input(std::size_t combinators) {
        if (choices.OneIn(12)) {
            return choices.OneIn(2) ? UnsetId : Nobody;
        }
        std::size_t const number = choices.Below(sources + combinators);
        return static_cast<std::uint32_t>(number < sources ? FirstSource + number : FirstCombinator + number - sources);
    }

    std::shared_ptr<object::Object> Stray(std::int64_t now) {
        switch (choices.Below(6)) {
            case 0:
                return nullptr;
            case 1:
                return std::make_shared<tests::Stranger>();
            case 2:
                return tests::Channel(3);
            case 3:
                return tests::Record(FirstSource);
            default:
                return AnyEvent(Input(0), now);
        }
    }

    std::shared_ptr<Event> AnyEvent(std::uint32_t source, std::int64_t now) {
        Event::Objects objects;
        if (!choices.OneIn(12)) {
            objects.push_back(tests::Record(source));
        }
        if (choices.OneIn(6)) {
            objects.push_back(tests::Record(choices.OneIn(4) ? source : Input(2)));
        }
        for (std::size_t number = choices.Below(5); number > 0; --number) {
            auto const id = choices.Below(present.size());
            if (present[id]) {
                objects.push_back(std::make_shared<meta::data::Object>(static_cast<unsigned int>(id), Copy()));
            }
        }
        for (std::size_t number = choices.Below(3); number > 0; --number) {
            if (zones.empty() || choices.OneIn(2)) {
                zones.push_back(
                    std::make_shared<meta::data::Zone>(static_cast<unsigned int>(choices.Below(4)), Copy()));
            }
            objects.push_back(zones[choices.Below(zones.size())]);
        }
        if (choices.OneIn(6)) {
            objects.push_back(nullptr);
        }
        if (choices.OneIn(10)) {
            objects.push_back(std::make_shared<tests::Stranger>());
        }
        if (choices.OneIn(10)) {
            objects.push_back(tests::Channel(5));
        }
        for (std::size_t number = objects.size(); number > 1; --number) {
            std::swap(objects[number - 1], objects[choices.Below(number)]);
        }
        auto const start = tests::At(now - 20 * static_cast<std::int64_t>(choices.Below(4)));
        auto const id = FirstFixedEventId + static_cast<unsigned int>(choices.Below(30));
        auto event = tests::MakeEvent(id, start, tests::At(now), std::move(objects));
        event->SetFinal(choices.OneIn(20));
        return event;
    }

    /// About a person with an id from anywhere.
    std::shared_ptr<Event> OneOfACrowd(std::uint32_t source, std::int64_t now) {
        auto const id = static_cast<unsigned int>(choices.Below(100)) * 42'949'673;
        return tests::MakeEvent(tests::At(now), tests::At(now),
                                {tests::Record(source), std::make_shared<meta::data::Object>(id, Copy())});
    }

    /// Tells one copy of an object from another.
    std::string Copy() { return "copy" + std::to_string(copies++); }

    Choices& choices;
    std::size_t sources = 0;
    std::size_t copies = 0;
    std::array<bool, 6> present{};
    std::vector<std::shared_ptr<meta::data::Zone>> zones;
};

// ---- A world in which a story happens -------------------------------------------------------------------------------

struct Combinator {
    std::shared_ptr<Observable> observable;
    std::function<void(std::uint32_t)> setInputA;
    std::function<void(std::uint32_t)> setInputB;
    std::function<void(bool)> setConstrainTarget;
};

Combinator MakeFast(CombinatorPlan const& plan) {
    auto const ofTwo = [](auto const& made) {
        return Combinator{made, [made](std::uint32_t id) { made->SetInputA(id); },
                          [made](std::uint32_t id) { made->SetInputB(id); },
                          [made](bool constrain) { made->SetConstrainTarget(constrain); }};
    };
    switch (plan.kind) {
        case Kind::Not: {
            auto const made = std::make_shared<Not>("", Not::DefaultChannel, plan.inputA);
            return {made, [made](std::uint32_t id) { made->SetInput(id); }, [](std::uint32_t) {}, [](bool) {}};
        }
        case Kind::And:
            return ofTwo(std::make_shared<And>("", And::DefaultChannel, plan.inputA, plan.inputB, plan.constrained));
        default:
            return ofTwo(std::make_shared<Or>("", Or::DefaultChannel, plan.inputA, plan.inputB));
    }
}

Combinator MakeSlow(CombinatorPlan const& plan) {
    auto const ofTwo = [](auto const& made) {
        return Combinator{made, [made](std::uint32_t id) { made->inputA = id; },
                          [made](std::uint32_t id) { made->inputB = id; },
                          [made](bool constrain) { made->constrainTarget = constrain; }};
    };
    switch (plan.kind) {
        case Kind::Not: {
            auto const made = std::make_shared<SlowNot>(plan.inputA);
            return {made, [made](std::uint32_t id) { made->input = id; }, [](std::uint32_t) {}, [](bool) {}};
        }
        case Kind::And:
            return ofTwo(std::make_shared<SlowAnd>(plan.inputA, plan.inputB, plan.constrained));
        default:
            return ofTwo(std::make_shared<SlowOr>(plan.inputA, plan.inputB));
    }
}

class World {
public:
    World(Story const& story, Combinator (*make)(CombinatorPlan const&)) {
        for (std::size_t number = 0; number < story.sources; ++number) {
            sources.push_back(std::make_shared<tests::Scripted>());
            sources.back()->SetId(static_cast<std::uint32_t>(FirstSource + number));
        }
        for (std::size_t number = 0; number < story.combinators.size(); ++number) {
            auto const& plan = story.combinators[number];
            auto combinator = make(plan);
            auto& observable = *combinator.observable;
            observable.SetId(static_cast<std::uint32_t>(FirstCombinator + number));
            observable.SetName("combinator " + std::to_string(number));
            observable.SetTriggersAction(plan.triggers);
            if (plan.constrained && plan.kind == Kind::Or) {
                combinator.setConstrainTarget(true);
            }
            bindings.push_back(observable.Bind(
                [this](std::shared_ptr<Event> const& event) { said.push_back("told of " + describe(event)); }));
            combinators.push_back(std::move(combinator));
        }
        notifier.SetEventRetriggerTime(story.retrigger);
        for (std::size_t const number : story.order) {
            Try([&] {
                bindings.push_back(notifier.AddObservable(
                    number < sources.size() ? sources[number] : combinators[number - sources.size()].observable));
            });
        }
    }

    /// Says all that there is to see of one frame: the subscribers' calls, then the items in the end.
    void Play(FramePlan const& plan) {
        for (auto const& change : plan.changes) {
            Make(change);
        }
        Meta const frame(plan.time);
        for (auto const& item : plan.before) {
            frame.Append(OwnCopy(item));
        }
        for (std::size_t number = 0; number < sources.size(); ++number) {
            sources[number]->process = [&reported = plan.sources[number]](Meta const&) {
                Items items;
                for (auto const& item : reported) {
                    items.push_back(OwnCopy(item));
                }
                return items;
            };
        }
        notifier.Process(frame);
        said.push_back("frame " + std::to_string(++frames) + ':');
        for (auto const& text : describe.Each(frame)) {
            said.push_back(text);
        }
    }

    std::vector<std::string> const& Said() const { return said; }

private:
    /// The notifier changes events, so each world has its own.
    static std::shared_ptr<object::Object> OwnCopy(std::shared_ptr<object::Object> const& item) {
        return item ? item->Clone() : nullptr;
    }

    void Make(Change const& change) {
        auto const& combinator = combinators[change.combinator];
        switch (change.what) {
            case Change::InputA:
                combinator.setInputA(change.value);
                break;
            case Change::InputB:
                combinator.setInputB(change.value);
                break;
            case Change::Mode:
                combinator.setConstrainTarget(change.value != 0);
                break;
            case Change::Triggers:
                combinator.observable->SetTriggersAction(change.value != 0);
                break;
            default:
                combinator.observable->SetName("name " + std::to_string(change.value));
        }
        if (change.told) {
            Try([&] { notifier.ObservableChanged(combinator.observable); });
        }
    }

    template <class Action>
    void Try(Action const& action) {
        try {
            action();
        } catch (std::runtime_error const& error) {
            said.push_back(std::string("refused: ") + error.what());
        }
    }

    Notifier notifier;
    std::vector<std::shared_ptr<tests::Scripted>> sources;
    std::vector<Combinator> combinators;
    tests::Describer describe;
    std::vector<std::string> said;
    std::size_t frames = 0;
    std::vector<type::Binding> bindings;
};

}  // namespace
}  // namespace qel::observable

namespace qel::tests {

Telling TellOfCombinators(Choices& choices) {
    auto const story = observable::Teller(choices).Tell();
    observable::World fast(story, observable::MakeFast);
    observable::World slow(story, observable::MakeSlow);
    for (auto const& frame : story.frames) {
        fast.Play(frame);
        slow.Play(frame);
    }
    return Compare(slow.Said(), fast.Said());
}

}  // namespace qel::tests
