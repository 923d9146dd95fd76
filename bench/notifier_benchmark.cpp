// What the notifier adds to the rules that it runs, over the axes along which rule sets and their histories grow, and
// what a change of the rule set costs. The bare loop beside it asks the same rules and appends what they report.
// Counters:
//
//   ratio         time of the notifier over the time of the bare loop
//   ns_per_event  time of the notifier per event (per rule, where no rule reports any), the rules' own included
//
// Both are made of medians over all batches of frames; frames and what hangs on them are dropped while no clock runs.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/side_by_side.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/type/binding.hpp"
#include "observable/graph.hpp"
#include "observable/notifier.hpp"
#include "observable/observable.hpp"

namespace {

using qel::bench::Items;
using qel::bench::Median;
using qel::bench::SecondsOf;
using qel::meta::Meta;
using qel::meta::Timestamp;
using qel::meta::data::Event;
using qel::observable::Graph;
using qel::observable::Notifier;
using qel::observable::Observable;
using std::chrono::milliseconds;

constexpr milliseconds FrameInterval{40};

/// Reports so many events in every frame, each about another tracked object.
class Source : public Observable {
public:
    static constexpr char const* ClassTypeName = "qel.bench.Source";

    enum class Kind {
        Ongoing,  // the same ids in every frame
        New,      // new ids and objects in every frame
        Alike,    // new ids about no object in every frame
    };

    Source(Kind kind, std::size_t count) : Observable(qel::object::TypeIdOf<Source>), kind(kind), count(count) {
        if (kind == Kind::Ongoing) {
            for (std::size_t number = 0; number < count; ++number) {
                ongoing.push_back(Event(texts, Timestamp(), Timestamp(), {}).GetId());
                objects.push_back(std::make_shared<qel::meta::data::Object>(static_cast<unsigned int>(number)));
            }
        } else {
            for (unsigned int number = 0; number < Objects; ++number) {
                objects.push_back(std::make_shared<qel::meta::data::Object>(number));
            }
        }
    }

    std::vector<unsigned int> GetDependents() const override { return inputs; }

    Items Process(Meta const& frame) override {
        auto const time = frame.GetTimestamp();
        auto const record = MakeObservableMetadata();
        Items items;
        items.reserve(count);
        for (std::size_t number = 0; number < count; ++number) {
            switch (kind) {
                case Kind::Ongoing:
                    items.push_back(std::make_shared<Event>(ongoing[number], texts, time, time,
                                                            Event::Objects{record, objects[number]}));
                    break;
                case Kind::New:
                    items.push_back(std::make_shared<Event>(texts, time, time, Event::Objects{record, NextObject()}));
                    break;
                case Kind::Alike:
                    items.push_back(std::make_shared<Event>(texts, time, time, Event::Objects{record}));
                    break;
            }
        }
        return items;
    }

    std::vector<unsigned int> inputs;

private:
    static constexpr unsigned int Objects = 200'000;  // more than any history here holds

    std::shared_ptr<qel::meta::data::Object> const& NextObject() {
        next = next + 1 == Objects ? 0 : next + 1;
        return objects[next];
    }

    Kind const kind;
    std::size_t const count;
    std::shared_ptr<Event::Texts const> texts =
        std::make_shared<Event::Texts const>(Event::Texts{"source", "presence", "analytics"});
    std::vector<unsigned int> ongoing;
    std::vector<std::shared_ptr<qel::meta::data::Object>> objects;
    std::size_t next = 0;
};

/// The same rules twice: in a notifier, and in a list for the bare loop.
class RuleSet {
public:
    RuleSet(Source::Kind kind, std::size_t rules, std::size_t events) {
        for (std::size_t number = 0; number < rules; ++number) {
            auto const rule = std::make_shared<Source>(kind, events);
            bindings.push_back(notifier.AddObservable(rule));
            bare.push_back(std::make_shared<Source>(kind, events));
        }
    }

    std::vector<std::unique_ptr<Meta>> MakeFrames(std::size_t count) {
        std::vector<std::unique_ptr<Meta>> frames;
        for (std::size_t number = 0; number < count; ++number) {
            time += FrameInterval;
            frames.push_back(std::make_unique<Meta>(time));
        }
        return frames;
    }

    void Process(std::vector<std::unique_ptr<Meta>> const& frames) {
        for (auto const& frame : frames) {
            notifier.Process(*frame);
        }
    }

    void ProcessBare(std::vector<std::unique_ptr<Meta>> const& frames) {
        for (auto const& frame : frames) {
            for (auto const& rule : bare) {
                for (auto& item : rule->Generate(*frame)) {
                    frame->Append(std::move(item));
                }
            }
        }
    }

    Notifier notifier;

private:
    std::vector<qel::type::Binding> bindings;
    std::vector<std::shared_ptr<Observable>> bare;
    Timestamp time;
};

std::size_t ItemsOf(Meta const& frame) { return static_cast<std::size_t>(std::distance(frame.Begin(), frame.End())); }

/// Runs both over batch after batch; a frame of the notifier holds `expected` items, and may hold `tolerated` more.
void Run(benchmark::State& state, RuleSet& rules, std::size_t framesPerBatch, std::size_t perFrame,
         std::size_t expected, std::size_t tolerated = 0) {
    rules.Process(rules.MakeFrames(3));
    std::vector<double> times;
    std::vector<double> bareTimes;
    for (auto _ : state) {
        auto const frames = rules.MakeFrames(framesPerBatch);
        times.push_back(SecondsOf([&] { rules.Process(frames); }));
        state.SetIterationTime(times.back());
        auto const bareFrames = rules.MakeFrames(framesPerBatch);
        bareTimes.push_back(SecondsOf([&] { rules.ProcessBare(bareFrames); }));
        std::size_t const items = ItemsOf(*frames.back());
        if (items < expected || items > expected + tolerated) {
            state.SkipWithError("The frame does not hold what it should");
            return;
        }
    }
    double const seconds = Median(times);
    state.counters["ratio"] = seconds / Median(bareTimes);
    state.counters["ns_per_event"] = seconds * 1e9 / static_cast<double>(framesPerBatch * perFrame);
}

std::size_t Range(benchmark::State const& state, std::size_t index) {
    return static_cast<std::size_t>(state.range(index));
}

/// So few frames that a batch is a few thousand events.
std::size_t FramesFor(std::size_t perFrame) { return 1 + 5000 / perFrame; }

// ---- Rules and events -----------------------------------------------------------------------------------------------

void Shapes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"rules", "events"})->UseManualTime();
    for (int const rules : {1, 10, 100, 1000}) {
        for (int const events : {1, 10, 100}) {
            benchmark->Args({rules, events});
        }
    }
    benchmark->Args({1, 1000});
}

void OngoingEvents(benchmark::State& state) {
    auto const events = Range(state, 0) * Range(state, 1);
    RuleSet rules(Source::Kind::Ongoing, Range(state, 0), Range(state, 1));
    Run(state, rules, FramesFor(events), events, events);
}
BENCHMARK(OngoingEvents)->Apply(Shapes);

/// Each event is there for one frame; the next one closes it with a final copy. Nobody has asked for a retrigger time.
void NewEvents(benchmark::State& state) {
    auto const events = Range(state, 0) * Range(state, 1);
    RuleSet rules(Source::Kind::New, Range(state, 0), Range(state, 1));
    Run(state, rules, FramesFor(events), events, 2 * events);
}
BENCHMARK(NewEvents)
    ->ArgNames({"rules", "events"})
    ->UseManualTime()
    ->Args({1, 1})
    ->Args({1, 10})
    ->Args({1, 100})
    ->Args({1, 1000})
    ->Args({10, 10})
    ->Args({10, 100});

void SilentRules(benchmark::State& state) {
    auto const count = Range(state, 0);
    RuleSet rules(Source::Kind::Ongoing, count, 0);
    Run(state, rules, FramesFor(count), count, 0);
}
BENCHMARK(SilentRules)->ArgName("rules")->UseManualTime()->RangeMultiplier(10)->Range(1, 1000);

// ---- The history ----------------------------------------------------------------------------------------------------

constexpr std::size_t NewPerFrame = 10;

/// A history that holds so many entries all the time: ten come and ten go in every frame.
void FillHistory(RuleSet& rules, std::size_t entries) {
    rules.notifier.SetEventRetriggerTime(FrameInterval * static_cast<std::int64_t>(entries / NewPerFrame));
    for (std::size_t left = entries / NewPerFrame; left > 0; --left) {
        rules.Process(rules.MakeFrames(1));
    }
}

void NewEventsOverAHistory(benchmark::State& state) {
    RuleSet rules(Source::Kind::New, 1, NewPerFrame);
    FillHistory(rules, Range(state, 0));
    Run(state, rules, FramesFor(NewPerFrame), NewPerFrame, 2 * NewPerFrame);
}
BENCHMARK(NewEventsOverAHistory)->ArgName("entries")->UseManualTime()->RangeMultiplier(10)->Range(10, 100'000);

/// All entries are about the same, as those of a rule that triggers no actions may be.
void AlikeEventsOverAHistory(benchmark::State& state) {
    RuleSet rules(Source::Kind::Alike, 1, NewPerFrame);
    auto const rule = rules.notifier.GetObservables().front();
    rule->SetTriggersAction(false);
    FillHistory(rules, Range(state, 0));
    auto const asking = std::make_shared<Source>(Source::Kind::New, 1);  // so that the history is looked into
    auto const binding = rules.notifier.AddObservable(asking);
    Run(state, rules, FramesFor(NewPerFrame), NewPerFrame, 2);
}
BENCHMARK(AlikeEventsOverAHistory)->ArgName("entries")->UseManualTime()->RangeMultiplier(10)->Range(10, 100'000);

/// Every event is dropped.
void RetriggersOverAHistory(benchmark::State& state) {
    RuleSet rules(Source::Kind::New, 1, NewPerFrame);
    FillHistory(rules, Range(state, 0));
    auto const repeating = std::make_shared<Source>(Source::Kind::Alike, 100);
    auto const binding = rules.notifier.AddObservable(repeating);
    // When the time of the first one is up, another passes, and is closed in the next frame.
    Run(state, rules, FramesFor(NewPerFrame + 100), NewPerFrame + 100, 2 * NewPerFrame, 1);
}
BENCHMARK(RetriggersOverAHistory)->ArgName("entries")->UseManualTime()->RangeMultiplier(10)->Range(1000, 100'000);

// ---- Changes of the rule set ----------------------------------------------------------------------------------------

/// Rules of which each reads the two before it, or behind it, so that the path turns their order round.
std::vector<std::shared_ptr<Source>> MakeRules(std::size_t count, bool inputsFirst) {
    std::vector<std::shared_ptr<Source>> rules;
    for (std::size_t number = 0; number < count; ++number) {
        auto rule = std::make_shared<Source>(Source::Kind::Ongoing, 0);
        for (std::size_t back = 1; back <= 2 && back <= number; ++back) {
            rule->inputs.push_back(rules[number - back]->GetId());
        }
        rules.push_back(std::move(rule));
    }
    if (!inputsFirst) {
        std::reverse(rules.begin(), rules.end());
    }
    return rules;
}

/// No inputs have changed, as after most changes of a rule; but every observable is asked.
void UpdateAGraph(benchmark::State& state) {
    auto const rules = MakeRules(Range(state, 0), false);
    Graph graph;
    for (auto const& rule : rules) {
        graph.Add(rule);
    }
    for (auto _ : state) {
        graph.Update(rules.front());
    }
    if (graph.GetPath().front() != rules.back() || graph.GetPath().back() != rules.front()) {
        state.SkipWithError("The path is not in order");
    }
}
BENCHMARK(UpdateAGraph)->ArgName("rules")->Unit(benchmark::kMicrosecond)->Arg(10)->Arg(100)->Arg(1000)->Arg(5000);

void AddAllRulesToAGraph(benchmark::State& state, bool inputsFirst) {
    auto const rules = MakeRules(Range(state, 0), inputsFirst);
    for (auto _ : state) {
        Graph graph;
        for (auto const& rule : rules) {
            graph.Add(rule);
        }
        if (graph.GetPath().front() != (inputsFirst ? rules.front() : rules.back())) {
            state.SkipWithError("The path is not in order");
        }
    }
}
BENCHMARK_CAPTURE(AddAllRulesToAGraph, inputs_first, true)
    ->ArgName("rules")
    ->Unit(benchmark::kMillisecond)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(5000);
BENCHMARK_CAPTURE(AddAllRulesToAGraph, inputs_last, false)
    ->ArgName("rules")
    ->Unit(benchmark::kMillisecond)
    ->Arg(10)
    ->Arg(100)
    ->Arg(1000)
    ->Arg(5000);

}  // namespace
