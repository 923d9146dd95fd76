// Two rule sets in notifiers of their own: one of Previous, Compound and DurationTrack, and one of slow models of them,
// which do step by step what the classes promise. What is compared is whatever is seen in the frames, during the pass
// and after it, by members of compounds and by subscribers.

#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "foundation/meta/views.hpp"
#include "observable/compound.hpp"
#include "observable/duration_track.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/previous.hpp"
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
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using tests::Choices;

using Items = std::vector<std::shared_ptr<object::Object>>;
using Objects = Event::Objects;

// ---- The models -----------------------------------------------------------------------------------------------------

__extension__ using Wide = __int128;

Wide Between(Timestamp then, Timestamp now) {
    return Wide(now.time_since_epoch().count()) - Wide(then.time_since_epoch().count());
}

Wide InNanoseconds(milliseconds interval) { return Wide(interval.count()) * 1'000'000; }

template <class T>
bool Is(std::shared_ptr<object::Object const> const& object) {
    return object != nullptr && object->Is<T>();
}

class ModelPrevious : public Observable {
public:
    ModelPrevious(std::string name, std::uint16_t, unsigned int input, milliseconds interval)
        : Observable(object::TypeIdOf<Previous>), interval(interval), input(input) {
        SetName(std::move(name));
    }

    void SetInput(unsigned int value) { input = value; }
    void SetInterval(milliseconds value) { interval = value; }
    void SetConstrainTarget(bool value) { constrainTarget = value; }

    std::vector<unsigned int> GetDependents() const override {
        return input == UnsetId ? std::vector<unsigned int>() : std::vector<unsigned int>{input};
    }

    Items Process(Meta const& frame) override {
        Items result;
        inputEvents.clear();
        for (auto const& event : meta::EventsOf(frame)) {
            for (auto const& record : meta::ObservablesOf(event)) {
                if (input != UnsetId && record.GetId() == input) {
                    inputEvents.push_back(event);
                }
            }
        }
        auto const now = frame.GetTimestamp();
        if (constrainTarget) {
            auto const emitted = ProcessPerTarget(now);
            for (auto const& [target, event] : emitted) {
                result.push_back(std::make_shared<Event>(event));
            }
            lastEmitted = emitted;
        } else {
            auto const emitted = ProcessUnconstrained(now);
            lastEmitted.clear();
            if (emitted) {
                result.push_back(emitted);
                lastEmitted[0] = *emitted;
            }
        }
        return result;
    }

private:
    std::map<unsigned int, Event> ProcessPerTarget(Timestamp now) {
        for (auto const& event : inputEvents) {
            for (auto const& object : event.GetObjects()) {
                if (Is<meta::data::Object>(object)) {
                    inputBuffer[object->As<meta::data::Object>().GetId()] = event;
                }
            }
        }
        for (auto entry = inputBuffer.begin(); entry != inputBuffer.end();) {
            bool const tooOld = Between(entry->second.GetEnd(), now) > InNanoseconds(interval);
            entry = tooOld ? inputBuffer.erase(entry) : std::next(entry);
        }
        std::map<unsigned int, Event> result;
        for (auto const& [target, event] : inputBuffer) {
            Objects objects{MakeObservableMetadata()};
            AppendCopies(objects, event);
            if (lastEmitted.count(target) == 0) {
                result[target] = Event(GetName(), "previous", "analytics", now, now, objects);
            } else {
                auto const& last = lastEmitted[target];
                result[target] = Event(last.GetId(), GetName(), "previous", "analytics", last.GetStart(), now, objects);
            }
        }
        return result;
    }

    std::shared_ptr<Event> ProcessUnconstrained(Timestamp now) {
        if (!inputEvents.empty()) {
            if (!inputBuffer.empty()) {
                inputBuffer[0].SetEnd(now);
            } else {
                inputBuffer[0] = inputEvents.front();
            }
        } else if (inputBuffer.empty()) {
            return nullptr;
        }
        if (InNanoseconds(interval) < Between(inputBuffer[0].GetEnd(), now)) {
            inputBuffer.clear();
            return nullptr;
        }
        Objects objects{MakeObservableMetadata()};
        for (auto const& [target, event] : inputBuffer) {
            AppendCopies(objects, event);
        }
        if (lastEmitted.empty()) {
            return std::make_shared<Event>(GetName(), "previous", "analytics", now, now, objects);
        }
        auto const& last = lastEmitted.begin()->second;
        return std::make_shared<Event>(last.GetId(), GetName(), "previous", "analytics", last.GetStart(), now, objects);
    }

    static void AppendCopies(Objects& objects, Event const& event) {
        for (auto const& object : event.GetObjects()) {
            if (Is<meta::data::Object>(object)) {
                objects.push_back(std::make_shared<meta::data::Object>(object->As<meta::data::Object>()));
            }
        }
    }

    milliseconds interval;
    unsigned int input;
    std::map<unsigned int, Event> lastEmitted;
    std::map<unsigned int, Event> inputBuffer;
    std::vector<Event> inputEvents;
    bool constrainTarget = false;
};

class ModelCompound : public Observable {
public:
    explicit ModelCompound(hash::MurmurThree32 type) : Observable(type) {}

    virtual std::vector<std::shared_ptr<Observable>> MakeObservables() const = 0;
    virtual std::string GetEventType() const = 0;

    void Reset() override {
        for (auto const& member : chain) {
            member->Reset();
        }
    }

    std::vector<unsigned int> GetDependents() const override {
        Build();
        std::set<unsigned int> members;
        for (auto const& member : chain) {
            members.insert(member->GetId());
        }
        std::vector<unsigned int> result;
        for (auto const& member : chain) {
            for (auto const id : member->GetDependents()) {
                if (members.count(id) == 0) {
                    result.push_back(id);
                }
            }
        }
        return result;
    }

    Items Process(Meta const& frame) override {
        Build();
        chain.back()->SetName(GetName());
        Meta const working(frame.GetTimestamp());
        for (auto const& item : tests::Items(frame)) {
            working.Append(item);
        }
        Items result;
        for (std::size_t member = 0; member < chain.size(); ++member) {
            result = chain[member]->Generate(working);
            if (member + 1 == chain.size()) {
                break;
            }
            for (auto const& item : result) {
                if (Is<Event>(item)) {
                    item->As<Event>().SetInternal(true);
                }
                working.Append(item);
            }
        }
        for (auto const& item : result) {
            if (Is<Event>(item)) {
                CleanUp(item->As<Event>());
            }
        }
        return result;
    }

private:
    void Build() const {
        if (chain.empty()) {
            chain = MakeObservables();
        }
    }

    void CleanUp(Event& event) {
        Objects objects = event.GetObjects();
        bool byLast = false;
        for (auto const& object : objects) {
            byLast = byLast || (Is<meta::data::Observable>(object) &&
                                object->As<meta::data::Observable>().GetId() == chain.back()->GetId());
        }
        Objects kept;
        for (auto const& object : objects) {
            bool ofMember = false;
            for (auto const& member : chain) {
                ofMember = ofMember || (Is<meta::data::Observable>(object) &&
                                        object->As<meta::data::Observable>().GetId() == member->GetId());
            }
            if (!ofMember) {
                kept.push_back(object);
            }
        }
        if (byLast) {
            kept.push_back(MakeObservableMetadata());
        }
        while (std::count_if(kept.begin(), kept.end(), Is<meta::data::Channel>) >= 2) {
            kept.erase(std::find_if(kept.begin(), kept.end(), Is<meta::data::Channel>));
        }
        event.EditObjects([&](Objects& list) { list = kept; });
        event.SetType(GetEventType());
        event.SetName(GetName());
    }

    mutable std::vector<std::shared_ptr<Observable>> chain;
};

class ModelDurationTrack {
public:
    explicit ModelDurationTrack(milliseconds duration) : duration(duration) {}

    virtual bool IsTracked(meta::data::Object const& object) const = 0;
    virtual std::shared_ptr<object::Object const> MakeTrackRecord() const = 0;
    virtual std::string GetTrackName() const = 0;
    virtual std::string GetTrackType() const = 0;
    virtual std::string GetTrackCategory() const = 0;
    virtual ~ModelDurationTrack() = default;

    void SetDuration(milliseconds value) { duration = value; }
    void ResetDurationTrack() {
        firstSeen.clear();
        eventIds.clear();
    }

    Items TrackObjects(Items const& input, Timestamp now) {
        std::set<unsigned int> seen;
        std::vector<std::pair<unsigned int, Event const*>> qualifying;
        for (auto const& item : input) {
            if (!Is<Event>(item)) {
                continue;
            }
            auto const& event = item->As<Event>();
            for (auto const& object : event.GetObjects()) {
                if (!Is<meta::data::Object>(object) || !IsTracked(object->As<meta::data::Object>())) {
                    continue;
                }
                auto const id = object->As<meta::data::Object>().GetId();
                seen.insert(id);
                if (firstSeen.count(id) == 0) {
                    firstSeen[id] = now;
                } else if (Between(firstSeen[id], now) > InNanoseconds(duration)) {
                    qualifying.emplace_back(id, &event);
                }
            }
        }
        Items result;
        for (auto const& [id, cause] : qualifying) {
            Objects objects{MakeTrackRecord()};
            objects.insert(objects.end(), cause->GetObjects().begin(), cause->GetObjects().end());
            if (eventIds.count(id) == 0) {
                auto const event =
                    std::make_shared<Event>(GetTrackName(), GetTrackType(), GetTrackCategory(), now, now, objects);
                eventIds[id] = event->GetId();
                result.push_back(event);
            } else {
                result.push_back(std::make_shared<Event>(eventIds[id], GetTrackName(), GetTrackType(),
                                                         GetTrackCategory(), now, now, objects));
            }
        }
        for (auto entry = firstSeen.begin(); entry != firstSeen.end();) {
            if (seen.count(entry->first) == 0) {
                eventIds.erase(entry->first);
                entry = firstSeen.erase(entry);
            } else {
                ++entry;
            }
        }
        return result;
    }

private:
    milliseconds duration;
    std::map<unsigned int, Timestamp> firstSeen;
    std::map<unsigned int, unsigned int> eventIds;
};

struct Real {
    using Previous = observable::Previous;
    using Compound = observable::Compound;
    using DurationTrack = observable::DurationTrack;
};

struct Slow {
    using Previous = ModelPrevious;
    using Compound = ModelCompound;
    using DurationTrack = ModelDurationTrack;
};

// ---- The stories ----------------------------------------------------------------------------------------------------

struct ThingPlan {
    enum class Kind { Null, Stranger, Person, Record, Zone, Channel };
    Kind kind;
    unsigned int id;
};

struct EventPlan {
    std::int64_t start;  // nanoseconds, as the end
    std::int64_t end;
    std::vector<ThingPlan> objects;
};

// What a source reports: events and other things, or an error.
struct OutputPlan {
    std::vector<EventPlan> events;
    std::vector<ThingPlan> things;
    bool sameEventTwice = false;
    bool fails = false;
};

struct RulePlan {
    enum class Kind { Source, Vandal, Witness, Not, Previous, Duration, Compound };
    Kind kind;
    unsigned int id;
    std::string name;
    bool triggers;
    unsigned int input;                 // of Not, Previous and Duration
    milliseconds interval;              // of Previous and Duration
    bool constrainTarget;               // of Previous
    unsigned int ignores;               // of Duration: an object that it does not track
    bool withoutRecord;                 // of Duration
    std::vector<RulePlan> chain;        // of a compound
    std::vector<OutputPlan> outputs;    // of a source, by frame
    std::vector<EventPlan> vandalisms;  // of a vandal, by frame: what it makes of an event in the frame
};

// What the host does before a frame.
struct ChangePlan {
    enum class What { Name, Input, Interval, Mode, Triggers, ResetDuration, Reset, OldEvent };
    What what;
    unsigned int rule;
    unsigned int input;
    milliseconds interval;
    bool flag;
    std::size_t position;
    EventPlan event;
};

struct FramePlan {
    std::int64_t time;  // nanoseconds
    std::vector<EventPlan> events;
    std::vector<ThingPlan> things;
    std::vector<ChangePlan> changes;
};

struct Story {
    std::vector<RulePlan> rules;
    std::vector<FramePlan> frames;
    milliseconds retrigger;
};

class Author {
public:
    explicit Author(Choices& choices) : choices(choices) {}

    Story Write() {
        Story story;
        frameCount = 4 + choices.Below(12);
        PlanTimes();
        for (std::size_t count = 2 + choices.Below(6); count > 0; --count) {
            unsigned int const id = 10 + static_cast<unsigned int>(story.rules.size());
            bool const first = story.rules.empty();
            story.rules.push_back(PlanRule(id, first ? RulePlan::Kind::Source : AnyKind(), true));
            topLevel.push_back(id);
        }
        story.rules.push_back(PlanRule(60, RulePlan::Kind::Witness, true));
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            story.frames.push_back(PlanFrame(frame));
        }
        story.retrigger = choices.OneIn(2) ? milliseconds(0) : AnyInterval();
        return story;
    }

private:
    template <class T, std::size_t Count>
    T OneOf(T const (&values)[Count]) {
        return values[choices.Below(Count)];
    }

    void PlanTimes() {
        constexpr auto earliest = std::numeric_limits<std::int64_t>::min();
        constexpr auto latest = std::numeric_limits<std::int64_t>::max();
        std::int64_t const starts[] = {0,
                                       0,
                                       -500'000'000,
                                       1'700'000'000'000'000'000,
                                       1'700'000'000'000'000'000,
                                       1'700'000'000'000'000'000,
                                       earliest,
                                       latest};
        std::int64_t now = OneOf(starts);
        for (std::size_t frame = 0; frame < frameCount; ++frame) {
            times.push_back(now);
            std::int64_t const steps[] = {
                0,           1,           40'000'000,    40'000'000,  40'000'000,     100'000'000,
                100'000'001, 200'000'000, 1'000'000'000, -40'000'000, -1'000'000'000, 5'000'000'000};
            now = choices.OneIn(40) ? OneOf({earliest, latest, std::int64_t{0}}) : Plus(now, OneOf(steps));
        }
    }

    static std::int64_t Plus(std::int64_t time, std::int64_t step) {
        Wide const sum = Wide(time) + step;
        return static_cast<std::int64_t>(
            std::clamp<Wide>(sum, std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()));
    }

    RulePlan::Kind AnyKind() {
        using Kind = RulePlan::Kind;
        return OneOf({Kind::Source, Kind::Vandal, Kind::Not, Kind::Previous, Kind::Previous, Kind::Previous,
                      Kind::Duration, Kind::Duration, Kind::Compound, Kind::Compound});
    }

    milliseconds AnyInterval() {
        return OneOf({milliseconds(100), milliseconds(100), milliseconds(40), milliseconds(200), milliseconds(1000),
                      milliseconds(0), milliseconds(-40), milliseconds::max(), milliseconds::min()});
    }

    unsigned int AnyInput() {
        if (choices.OneIn(12)) {
            return OneOf({UnsetId, 5u});
        }
        std::vector<unsigned int> ids = topLevel;
        ids.insert(ids.end(), earlierMembers.begin(), earlierMembers.end());
        ids.insert(ids.end(), earlierMembers.begin(), earlierMembers.end());
        return ids.empty() ? UnsetId : ids[choices.Below(ids.size())];
    }

    RulePlan PlanRule(unsigned int id, RulePlan::Kind kind, bool top) {
        RulePlan plan{};
        plan.kind = kind;
        plan.id = id;
        plan.name = "rule " + std::to_string(id);
        plan.triggers = !choices.OneIn(4);
        plan.input = AnyInput();
        plan.interval = AnyInterval();
        plan.constrainTarget = choices.OneIn(2);
        plan.ignores = choices.OneIn(2) ? 99 : Id();
        plan.withoutRecord = choices.OneIn(10);
        if (kind == RulePlan::Kind::Source) {
            for (std::size_t frame = 0; frame < frameCount; ++frame) {
                plan.outputs.push_back(PlanOutput(id, frame));
            }
        }
        if (kind == RulePlan::Kind::Vandal) {
            for (std::size_t frame = 0; frame < frameCount; ++frame) {
                plan.vandalisms.push_back(PlanEvent(id, frame));
            }
        }
        if (kind == RulePlan::Kind::Compound) {
            for (std::size_t count = 1 + choices.Below(4); count > 0; --count) {
                auto member = choices.OneIn(8) ? RulePlan::Kind::Witness : AnyKind();
                if (member == RulePlan::Kind::Compound && !top) {
                    member = RulePlan::Kind::Previous;
                }
                auto const memberId = id * 10 + static_cast<unsigned int>(plan.chain.size());
                auto const outer = earlierMembers;
                auto chained = PlanRule(memberId, member, false);
                earlierMembers = outer;
                plan.chain.push_back(std::move(chained));
                earlierMembers.push_back(memberId);
            }
            earlierMembers.resize(earlierMembers.size() - plan.chain.size());
        }
        return plan;
    }

    unsigned int Id() { return static_cast<unsigned int>(choices.Below(5)); }
    unsigned int FarId() { return static_cast<unsigned int>(choices.Below(100)) * 42'949'673; }

    ThingPlan PlanThing() {
        using Kind = ThingPlan::Kind;
        auto const kind = OneOf({Kind::Null, Kind::Stranger, Kind::Person, Kind::Person, Kind::Person, Kind::Person,
                                 Kind::Record, Kind::Zone, Kind::Channel, Kind::Channel});
        return {kind, kind == Kind::Record ? AnyRecord() : Id()};
    }

    unsigned int AnyRecord() {
        return OneOf({UnsetId, 10u, 11u, 12u, 13u, 100u, 110u, 111u, 120u, 121u, 122u, 130u, 131u, 1200u});
    }

    EventPlan PlanEvent(unsigned int reporter, std::size_t frame) {
        std::int64_t const now = times[frame];
        std::int64_t const offsets[] = {0, 0, 0, 0, -40'000'000, -100'000'000, 100'000'000, -5'000'000'000, 1};
        EventPlan plan{Plus(now, OneOf(offsets)), Plus(now, OneOf(offsets)), {}};
        if (!choices.OneIn(8)) {
            plan.objects.push_back({ThingPlan::Kind::Record, reporter});
        }
        for (std::size_t count = choices.Below(4); count > 0; --count) {
            plan.objects.push_back(PlanThing());
        }
        if (!choices.OneIn(3)) {
            plan.objects.push_back({ThingPlan::Kind::Person, Id()});
        }
        return plan;
    }

    OutputPlan PlanOutput(unsigned int reporter, std::size_t frame) {
        OutputPlan plan;
        if (choices.OneIn(80)) {
            plan.fails = true;
        }
        for (std::size_t count = choices.Below(choices.OneIn(2) ? 2 : 4); count > 0; --count) {
            plan.events.push_back(PlanEvent(reporter, frame));
        }
        for (std::size_t count = choices.OneIn(60) ? 40 + choices.Below(40) : 0; count > 0; --count) {
            plan.events.push_back({times[frame],
                                   times[frame],
                                   {{ThingPlan::Kind::Record, reporter}, {ThingPlan::Kind::Person, FarId()}}});
        }
        if (choices.OneIn(8)) {
            plan.things.push_back(PlanThing());
        }
        plan.sameEventTwice = choices.OneIn(15);
        return plan;
    }

    FramePlan PlanFrame(std::size_t frame) {
        FramePlan plan;
        plan.time = times[frame];
        if (choices.OneIn(4)) {
            plan.events.push_back(PlanEvent(AnyRecord(), frame));
        }
        for (std::size_t count = choices.Below(3); count > 0; --count) {
            plan.things.push_back(PlanThing());
        }
        while (choices.OneIn(2)) {
            plan.changes.push_back(PlanChange(frame));
        }
        return plan;
    }

    ChangePlan PlanChange(std::size_t frame) {
        using What = ChangePlan::What;
        auto const what = OneOf({What::Name, What::Input, What::Interval, What::Mode, What::Mode, What::Mode,
                                 What::Triggers, What::ResetDuration, What::Reset, What::OldEvent, What::OldEvent});
        // An input may only be one that comes before the rule, or there could be a cycle.
        auto const rule = choices.OneIn(2) ? topLevel[choices.Below(topLevel.size())] : AnyRecord();
        unsigned int const below = rule < 60 ? rule : rule < 600 ? rule / 10 : rule / 100;
        unsigned int const input = below > 10 ? 10 + static_cast<unsigned int>(choices.Below(below - 10)) : UnsetId;
        return {what, rule, input, AnyInterval(), choices.OneIn(2), choices.Below(6), PlanEvent(rule, frame)};
    }

    Choices& choices;
    std::size_t frameCount = 0;
    std::vector<std::int64_t> times;
    std::vector<unsigned int> topLevel;
    std::vector<unsigned int> earlierMembers;  // of the chains that are being planned
};

// ---- A rule set that plays a story ----------------------------------------------------------------------------------

std::shared_ptr<object::Object> MakeThing(ThingPlan const& plan) {
    switch (plan.kind) {
        case ThingPlan::Kind::Null:
            return nullptr;
        case ThingPlan::Kind::Stranger:
            return std::make_shared<tests::Stranger>();
        case ThingPlan::Kind::Person:
            return tests::Person(plan.id);
        case ThingPlan::Kind::Record:
            return tests::Record(plan.id);
        case ThingPlan::Kind::Zone:
            return tests::Zone(plan.id);
        case ThingPlan::Kind::Channel:
            return tests::Channel(plan.id);
    }
    throw std::logic_error("no such kind");
}

Objects MakeObjects(EventPlan const& plan) {
    Objects objects;
    for (auto const& each : plan.objects) {
        objects.push_back(MakeThing(each));
    }
    return objects;
}

std::shared_ptr<Event> MakePlanned(EventPlan const& plan) {
    return tests::MakeEvent(Timestamp(nanoseconds(plan.start)), Timestamp(nanoseconds(plan.end)), MakeObjects(plan));
}

// Makes something else of an event that is there already, its id as well now and then.
void Vandalise(Event& event, EventPlan const& plan) {
    switch (plan.objects.size() % 4) {
        case 0:
            event = Event(event.GetId() + 1'000'000'000, "broken", "vandalism", "tests", event.GetStart(),
                          Timestamp(nanoseconds(plan.end)), MakeObjects(plan));
            break;
        case 1:
            event.SetEnd(Timestamp(nanoseconds(plan.end)));
            break;
        default:
            event.EditObjects([&](Objects& objects) { objects = MakeObjects(plan); });
    }
}

template <class World>
class DurationRule : public Observable, public World::DurationTrack {
public:
    explicit DurationRule(RulePlan const& plan)
        : Observable(hash::MurmurThree32::MakeData("qel.tests.Duration")),
          World::DurationTrack(plan.interval),
          plan(plan),
          input(plan.input) {}

    void SetInput(unsigned int value) { input = value; }

    std::vector<unsigned int> GetDependents() const override { return {input}; }

    // With the input unset, everything in the frame is input.
    Items Process(Meta const& frame) override {
        Items inputs;
        for (auto const& item : tests::Items(frame)) {
            bool names = input == UnsetId;
            if (Is<Event>(item)) {
                for (auto const& record : meta::ObservablesOf(item->As<Event>())) {
                    names = names || record.GetId() == input;
                }
            }
            if (names) {
                inputs.push_back(item);
            }
        }
        return this->TrackObjects(inputs, frame.GetTimestamp());
    }

    bool IsTracked(meta::data::Object const& object) const override { return object.GetId() != plan.ignores; }
    std::shared_ptr<object::Object const> MakeTrackRecord() const override {
        return plan.withoutRecord ? nullptr : MakeObservableMetadata();
    }
    std::string GetTrackName() const override { return GetName(); }
    std::string GetTrackType() const override { return "duration"; }
    std::string GetTrackCategory() const override { return "tests"; }

private:
    RulePlan const& plan;
    unsigned int input;
};

template <class World>
class Player {
public:
    explicit Player(Story const& story) : story(story) {
        notifier.SetEventRetriggerTime(story.retrigger);
        for (auto const& plan : story.rules) {
            auto const rule = MakeRule(plan);
            bindings.push_back(rule->Bind([this, id = plan.id](std::shared_ptr<Event> const& event) {
                said.push_back(std::to_string(id) + " notified: " + describe(event));
            }));
            bindings.push_back(notifier.AddObservable(rule));
        }
    }

    void Play(std::size_t number) {
        frameNumber = number;
        auto const& plan = story.frames[number];
        for (auto const& change : plan.changes) {
            Change(change);
        }
        auto next = std::make_unique<Meta>(Timestamp(nanoseconds(plan.time)));
        for (auto const& thing : plan.things) {
            next->Append(MakeThing(thing));
        }
        for (auto const& event : plan.events) {
            next->Append(MakePlanned(event));
        }
        try {
            notifier.Process(*next);
        } catch (std::runtime_error const& error) {
            said.push_back(std::string("failed: ") + error.what());
        }
        Say("after " + std::to_string(number), *next);
        frame = std::move(next);
    }

    std::vector<std::string> said;

private:
    class Chain : public World::Compound {
    public:
        Chain(Player& player, RulePlan const& plan)
            : World::Compound(hash::MurmurThree32::MakeData("qel.tests.Chain")), player(player), plan(plan) {}

        std::vector<std::shared_ptr<Observable>> MakeObservables() const override {
            std::vector<std::shared_ptr<Observable>> chain;
            for (auto const& member : plan.chain) {
                chain.push_back(player.MakeRule(member));
            }
            return chain;
        }
        std::string GetEventType() const override { return "chain " + std::to_string(plan.id); }

    private:
        Player& player;
        RulePlan const& plan;
    };

    std::shared_ptr<Observable> MakeRule(RulePlan const& plan) {
        auto const rule = MakeUnnamed(plan);
        rule->SetId(plan.id);
        rule->SetName(plan.name);
        rule->SetTriggersAction(plan.triggers);
        rules[plan.id] = rule;
        return rule;
    }

    std::shared_ptr<Observable> MakeUnnamed(RulePlan const& plan) {
        switch (plan.kind) {
            case RulePlan::Kind::Source:
                return std::make_shared<tests::Scripted>(
                    "", [this, &plan](Meta const&) { return Output(plan.outputs[frameNumber]); });
            case RulePlan::Kind::Vandal:
                return std::make_shared<tests::Scripted>("", [this, &plan](Meta const& seen) {
                    Items const items = tests::Items(seen);
                    auto const& vandalism = plan.vandalisms[frameNumber];
                    auto const position = static_cast<std::size_t>(vandalism.end & 7);
                    if (position < items.size() && Is<Event>(items[position])) {
                        Vandalise(items[position]->template As<Event>(), vandalism);
                    }
                    return Items();
                });
            case RulePlan::Kind::Witness: {
                auto const witness = std::make_shared<tests::Scripted>("", [this, &plan](Meta const& seen) {
                    Say(std::to_string(plan.id) + " sees", seen);
                    return Items();
                });
                for (auto const& rule : story.rules) {
                    if (plan.id == story.rules.back().id && rule.id != plan.id) {
                        witness->dependents.push_back(rule.id);  // the last one sees it all
                    }
                }
                return witness;
            }
            case RulePlan::Kind::Not:
                return std::make_shared<Not>("", 0, plan.input);
            case RulePlan::Kind::Previous: {
                auto const rule = std::make_shared<typename World::Previous>("", 0, plan.input, plan.interval);
                rule->SetConstrainTarget(plan.constrainTarget);
                return rule;
            }
            case RulePlan::Kind::Duration:
                return std::make_shared<DurationRule<World>>(plan);
            case RulePlan::Kind::Compound:
                return std::make_shared<Chain>(*this, plan);
        }
        throw std::logic_error("no such kind");
    }

    static Items Output(OutputPlan const& plan) {
        if (plan.fails) {
            throw std::runtime_error("source");
        }
        Items items;
        for (auto const& event : plan.events) {
            items.push_back(MakePlanned(event));
        }
        for (auto const& thing : plan.things) {
            items.push_back(MakeThing(thing));
        }
        if (plan.sameEventTwice && !items.empty()) {
            items.push_back(items.front());
        }
        return items;
    }

    void Change(ChangePlan const& plan) {
        if (plan.what == ChangePlan::What::OldEvent) {
            ChangeOldEvent(plan);
            return;
        }
        auto const found = rules.find(plan.rule);
        if (found == rules.end()) {
            return;
        }
        auto const& rule = found->second;
        auto const previous = std::dynamic_pointer_cast<typename World::Previous>(rule);
        auto const duration = std::dynamic_pointer_cast<DurationRule<World>>(rule);
        switch (plan.what) {
            case ChangePlan::What::Name:
                rule->SetName("renamed " + std::to_string(plan.position));
                break;
            case ChangePlan::What::Input:
                if (previous) {
                    previous->SetInput(plan.input);
                } else if (duration) {
                    duration->SetInput(plan.input);
                }
                notifier.ObservableChanged(rules.at(plan.rule < 60    ? plan.rule
                                                    : plan.rule < 600 ? plan.rule / 10
                                                                      : plan.rule / 100));
                break;
            case ChangePlan::What::Interval:
                if (previous) {
                    previous->SetInterval(plan.interval);
                } else if (duration) {
                    duration->SetDuration(plan.interval);
                }
                break;
            case ChangePlan::What::Mode:
                if (previous) {
                    previous->SetConstrainTarget(plan.flag);
                }
                break;
            case ChangePlan::What::Triggers:
                rule->SetTriggersAction(plan.flag);
                break;
            case ChangePlan::What::ResetDuration:
                if (duration) {
                    duration->ResetDurationTrack();
                }
                break;
            case ChangePlan::What::Reset:
                rule->Reset();
                break;
            case ChangePlan::What::OldEvent:
                break;
        }
    }

    // The host keeps the last frame and does something to an event in it.
    void ChangeOldEvent(ChangePlan const& plan) {
        if (!frame) {
            return;
        }
        Items const items = tests::Items(*frame);
        if (plan.position < items.size() && Is<Event>(items[plan.position])) {
            Vandalise(items[plan.position]->template As<Event>(), plan.event);
        }
    }

    void Say(std::string const& what, Meta const& seen) {
        said.push_back(what + ":");
        for (auto const& item : describe.Each(seen)) {
            said.push_back("  " + item);
        }
    }

    Story const& story;
    tests::Describer describe;
    std::size_t frameNumber = 0;
    std::unique_ptr<Meta> frame;
    std::map<unsigned int, std::shared_ptr<Observable>> rules;
    Notifier notifier;
    std::vector<type::Binding> bindings;
};

}  // namespace
}  // namespace qel::observable

namespace qel::tests {

Telling TellOfTime(Choices& choices) {
    auto const story = observable::Author(choices).Write();
    observable::Player<observable::Real> real(story);
    observable::Player<observable::Slow> slow(story);
    for (std::size_t frame = 0; frame < story.frames.size(); ++frame) {
        real.Play(frame);
        slow.Play(frame);
    }
    return Compare(slow.said, real.said);
}

}  // namespace qel::tests
