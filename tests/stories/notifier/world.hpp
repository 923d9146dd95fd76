#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qel::tests {

/// Things (records and events), observables and frames go by their numbers in the order of their making, which is the
/// same in both worlds.
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
        Emit,          // thing `first`
        EmitAgain,     // for each event that names observable `value` another, with record `first`, unless that is many
        Append,        // object `second` to event `first`
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
        Subscribe,     // one more to observable `first`
        Unsubscribe,   // from observable `first` its subscriber number `value`, counted round
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
constexpr std::size_t ManyItems = 40;  // in a frame: so many are not doubled again

/// What happens during one pass.
struct PassPlan {
    std::map<Number, Program> process;  // by observable
    std::map<std::pair<Number, std::size_t>, Program>
        subscriber;                                              // by observable and number in the order of subscribing
    std::array<Number, Augmenters> augmented{Nothing, Nothing};  // what the augmented-meta callbacks return
    std::optional<std::size_t> augmenterThrows;
    std::optional<std::size_t> sinkThrows;  // at which of the lines of the pass
};

/// "[one, two]"
std::string Joined(std::vector<std::string> const& parts);
/// One line of text for a thing; one that the story has no number for is new.
std::string Words(std::optional<Number> number, std::string const& kind, unsigned int id, std::string const& rest = {});
std::string EventWords(std::int64_t start, std::int64_t end, bool duplicate, bool final, bool internal,
                       std::vector<std::string> const& objects);

/// A world in which a story happens.
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
    virtual void SetEventRetriggerTime(std::chrono::milliseconds time) = 0;
    virtual void Process(Number frame, PassPlan const& plan) = 0;

    virtual void SayPath() = 0;
    virtual void SayWhoIsAlive() = 0;

    /// Carries out the steps and returns what they emit.
    std::vector<Number> Follow(Program const& program);

    std::vector<std::string> const& Said() const { return said; }
    virtual std::size_t Things() const = 0;
    virtual std::size_t Subscribers(Number observable) const = 0;  // past ones, too

protected:
    virtual std::size_t PassingItems() const = 0;
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
    virtual void Subscribe(Number observable) = 0;
    virtual void Unsubscribe(Number observable, std::size_t subscriber) = 0;

    void Say(std::string line) { said.push_back(std::move(line)); }

private:
    std::vector<std::string> said;
};

}  // namespace qel::tests
