// What everything else is made of: the hash of a name, the type test, events, frames. A name that ends in Plain is the
// code that one would write by hand for the same job, with the standard library alone.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "foundation/hash/murmur_three_32.hpp"
#include "foundation/meta/data/channel.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"

namespace {

using qel::hash::MurmurThree32;
using qel::meta::EventsNaming;
using qel::meta::EventsOf;
using qel::meta::Meta;
using qel::meta::ObservablesOf;
using qel::meta::Timestamp;
using qel::meta::data::Channel;
using qel::meta::data::Event;
using qel::meta::data::Observable;
using qel::meta::data::Zone;
using TrackedObject = qel::meta::data::Object;
using Object = qel::object::Object;
using Items = std::vector<std::shared_ptr<Object>>;

template <class T>
void Expect(benchmark::State& state, T const& found, T const& expected) {
    if (found != expected) {
        state.SkipWithError("a wrong answer");
    }
}

std::size_t Iterations(benchmark::State const& state) { return static_cast<std::size_t>(state.iterations()); }

// ---- Type ids -------------------------------------------------------------------------------------------------------

void HashOfAName(benchmark::State& state) {
    char const* name = "qel.meta.data.Observable";
    MurmurThree32 hash;
    for (auto _ : state) {
        benchmark::DoNotOptimize(name);
        hash = MurmurThree32::MakeData(name);
        benchmark::DoNotOptimize(hash);
    }
    Expect(state, hash.GetValue(), 0xA3A3F13Bu);
}
BENCHMARK(HashOfAName);

void HashOfANamePlain(benchmark::State& state) {
    char const* name = "qel.meta.data.Observable";
    std::size_t hash = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(name);
        hash = std::hash<std::string_view>()(name);
        benchmark::DoNotOptimize(hash);
    }
    Expect(state, hash, std::hash<std::string>()("qel.meta.data.Observable"));
}
BENCHMARK(HashOfANamePlain);

/// One event among objects, a zone and a channel.
Items MixedObjects() {
    Items objects;
    for (unsigned int id = 0; id < 5; ++id) {
        objects.push_back(std::make_shared<TrackedObject>(id));
    }
    objects.push_back(std::make_shared<Event>());
    objects.push_back(std::make_shared<Zone>(1));
    objects.push_back(std::make_shared<Channel>(1, "camera"));
    return objects;
}

template <class Test>
void TestTypes(benchmark::State& state, Test const& test) {
    Items const objects = MixedObjects();
    std::size_t events = 0;
    for (auto _ : state) {
        for (auto const& object : objects) {
            events += test(*object);
        }
    }
    Expect(state, events, Iterations(state));
    state.SetItemsProcessed(static_cast<std::int64_t>(Iterations(state) * objects.size()));
}

void TypeTestOfEight(benchmark::State& state) {
    TestTypes(state, [](Object const& object) { return object.Is<Event>(); });
}
BENCHMARK(TypeTestOfEight);

void TypeTestOfEightPlain(benchmark::State& state) {
    TestTypes(state, [](Object const& object) { return dynamic_cast<Event const*>(&object) != nullptr; });
}
BENCHMARK(TypeTestOfEightPlain);

// ---- Events ---------------------------------------------------------------------------------------------------------

Timestamp const Start{std::chrono::milliseconds(40)};
Timestamp const End{std::chrono::milliseconds(80)};

/// A record, an object and two zones.
Event::Objects EventObjects() {
    return {std::make_shared<Observable>(1), std::make_shared<TrackedObject>(2), std::make_shared<Zone>(3),
            std::make_shared<Zone>(4)};
}

struct PlainEvent {
    unsigned int id;
    std::string name;
    std::string type;
    std::string category;
    Timestamp start;
    Timestamp end;
    Event::Objects objects;
};

void MakeEvent(benchmark::State& state) {
    auto const objects = EventObjects();
    std::string const name = "somebody is at the northern gate";
    unsigned int const before = Event("", "", "", {}, {}, {}).GetId();
    unsigned int last = before;
    for (auto _ : state) {
        auto const event = std::make_shared<Event>(name, "and", "analytics", Start, End, objects);
        last = event->GetId();
    }
    Expect(state, std::size_t{last - before}, Iterations(state));
}
BENCHMARK(MakeEvent);

void MakeEventWithSharedTexts(benchmark::State& state) {
    auto const objects = EventObjects();
    auto const texts =
        std::make_shared<Event::Texts const>(Event::Texts{"somebody is at the northern gate", "and", "analytics"});
    unsigned int const before = Event("", "", "", {}, {}, {}).GetId();
    unsigned int last = before;
    for (auto _ : state) {
        auto const event = std::make_shared<Event>(texts, Start, End, objects);
        last = event->GetId();
    }
    Expect(state, std::size_t{last - before}, Iterations(state));
}
BENCHMARK(MakeEventWithSharedTexts);

void MakeEventPlain(benchmark::State& state) {
    auto const objects = EventObjects();
    std::string const name = "somebody is at the northern gate";
    unsigned int last = 0;
    for (auto _ : state) {
        auto const event =
            std::make_shared<PlainEvent>(PlainEvent{last + 1, name, "and", "analytics", Start, End, objects});
        last = event->id;
    }
    Expect(state, std::size_t{last}, Iterations(state));
}
BENCHMARK(MakeEventPlain);

void CopyEvent(benchmark::State& state) {
    Event const event("somebody is at the northern gate", "and", "analytics", Start, End, EventObjects());
    std::size_t objects = 0;
    for (auto _ : state) {
        Event const copy(event);
        objects += copy.GetObjects().size();
    }
    Expect(state, objects, 4 * Iterations(state));
}
BENCHMARK(CopyEvent);

void CopyEventPlain(benchmark::State& state) {
    PlainEvent const event{1, "somebody is at the northern gate", "and", "analytics", Start, End, EventObjects()};
    std::size_t objects = 0;
    for (auto _ : state) {
        PlainEvent const copy(event);
        objects += copy.objects.size();
        benchmark::ClobberMemory();
    }
    Expect(state, objects, 4 * Iterations(state));
}
BENCHMARK(CopyEventPlain);

// ---- Frames ---------------------------------------------------------------------------------------------------------

/// The observable that is looked for, and how many events of a frame name it.
constexpr unsigned int Wanted = 1;
constexpr std::size_t NamingWanted = 5;

/// Of so many items every other one is an event; the events name one of count / 10 observables by turns.
Items MakeItems(std::size_t count) {
    auto const observables = static_cast<unsigned int>(std::max<std::size_t>(count / 10, 1));
    auto const texts = std::make_shared<Event::Texts const>(Event::Texts{"source", "presence", "analytics"});
    auto const zone = std::make_shared<Zone>(1);
    std::vector<std::shared_ptr<Observable>> records;
    for (unsigned int id = 0; id < observables; ++id) {
        records.push_back(std::make_shared<Observable>(Wanted + id));
    }
    Items items;
    for (std::size_t number = 0; number < count; ++number) {
        auto const object = std::make_shared<TrackedObject>(static_cast<unsigned int>(number));
        if (number % 2 == 0) {
            items.push_back(object);
        } else {
            items.push_back(std::make_shared<Event>(texts, Start, End,
                                                    Event::Objects{records[number / 2 % observables], object, zone}));
        }
    }
    return items;
}

void Fill(Meta const& frame, Items const& items) {
    for (auto const& item : items) {
        frame.Append(item);
    }
}

Items MakeItems(benchmark::State const& state) { return MakeItems(static_cast<std::size_t>(state.range(0))); }

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgName("items")->RangeMultiplier(10)->Range(10, 10'000);
}

void Walk(benchmark::State& state) {
    Items const items = MakeItems(state);
    Meta const frame(Start);
    Fill(frame, items);
    std::size_t events = 0;
    for (auto _ : state) {
        for (auto const& event : EventsOf(frame)) {
            benchmark::DoNotOptimize(&event);
            ++events;
        }
    }
    Expect(state, events, items.size() / 2 * Iterations(state));
    state.SetItemsProcessed(static_cast<std::int64_t>(Iterations(state) * items.size()));
}
BENCHMARK(Walk)->Apply(Sizes);

void WalkPlain(benchmark::State& state) {
    Items const items = MakeItems(state);
    std::size_t events = 0;
    for (auto _ : state) {
        for (auto const& item : items) {
            if (item && item->Is<Event>()) {
                benchmark::DoNotOptimize(item.get());
                ++events;
            }
        }
    }
    Expect(state, events, items.size() / 2 * Iterations(state));
    state.SetItemsProcessed(static_cast<std::int64_t>(Iterations(state) * items.size()));
}
BENCHMARK(WalkPlain)->Apply(Sizes);

/// A look-up by walking: what an observable does without an index.
void LookUpPlain(benchmark::State& state) {
    Items const items = MakeItems(state);
    std::vector<Event const*> found;
    std::size_t events = 0;
    for (auto _ : state) {
        found.clear();
        for (auto const& item : items) {
            if (!item || !item->Is<Event>()) {
                continue;
            }
            auto const& event = static_cast<Event const&>(*item);
            for (auto const& object : event.GetObjects()) {
                if (object && object->Is<Observable>() && static_cast<Observable const&>(*object).GetId() == Wanted) {
                    found.push_back(&event);
                }
            }
        }
        events += found.size();
    }
    Expect(state, events, NamingWanted * Iterations(state));
}
BENCHMARK(LookUpPlain)->Apply(Sizes);

/// Every one in a frame of its own, so each pays for an index of the whole frame.
void FirstLookUp(benchmark::State& state) {
    Items const items = MakeItems(state);
    std::size_t const framesPerBatch = std::max<std::size_t>(2000 / items.size(), 1);
    std::size_t events = 0;
    for (auto _ : state) {
        std::vector<std::unique_ptr<Meta>> frames;
        for (std::size_t number = 0; number < framesPerBatch; ++number) {
            frames.push_back(std::make_unique<Meta>(Start));
            Fill(*frames.back(), items);
        }
        auto const before = std::chrono::steady_clock::now();
        for (auto const& frame : frames) {
            events += EventsNaming(*frame, Wanted).size();
        }
        std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - before;
        state.SetIterationTime(taken.count() / static_cast<double>(framesPerBatch));
    }
    Expect(state, events, NamingWanted * framesPerBatch * Iterations(state));
}
BENCHMARK(FirstLookUp)->Apply(Sizes)->UseManualTime();

void FurtherLookUp(benchmark::State& state) {
    Meta const frame(Start);
    Fill(frame, MakeItems(state));
    std::size_t events = EventsNaming(frame, Wanted).size();
    for (auto _ : state) {
        for (Event const& event : EventsNaming(frame, Wanted)) {
            benchmark::DoNotOptimize(&event);
            ++events;
        }
    }
    Expect(state, events, NamingWanted * (1 + Iterations(state)));
}
BENCHMARK(FurtherLookUp)->Apply(Sizes);

void CopyFrame(benchmark::State& state) {
    Items const items = MakeItems(state);
    Meta const frame(Start);
    Fill(frame, items);
    for (auto _ : state) {
        Meta const copy(frame);
        benchmark::DoNotOptimize(&copy);
    }
    Meta const copy(frame);
    Expect(state, Items(copy.Begin(), copy.End()), items);
}
BENCHMARK(CopyFrame)->Apply(Sizes);

void CopyFramePlain(benchmark::State& state) {
    Items const items = MakeItems(state);
    std::size_t count = 0;
    for (auto _ : state) {
        Items const copy(items);
        benchmark::DoNotOptimize(copy.data());
        count += copy.size();
    }
    Expect(state, count, items.size() * Iterations(state));
}
BENCHMARK(CopyFramePlain)->Apply(Sizes);

/// A frame from nothing to its end.
void MakeFrame(benchmark::State& state) {
    Items const items = MakeItems(state);
    for (auto _ : state) {
        Meta const frame(Start);
        Fill(frame, items);
    }
    Meta const frame(Start);
    Fill(frame, items);
    Expect(state, Items(frame.Begin(), frame.End()), items);
    state.SetItemsProcessed(static_cast<std::int64_t>(Iterations(state) * items.size()));
}
BENCHMARK(MakeFrame)->Apply(Sizes);

void MakeFramePlain(benchmark::State& state) {
    Items const items = MakeItems(state);
    std::size_t count = 0;
    for (auto _ : state) {
        Items frame;
        for (auto const& item : items) {
            frame.push_back(item);
            benchmark::DoNotOptimize(frame.data());
        }
        count += frame.size();
    }
    Expect(state, count, items.size() * Iterations(state));
    state.SetItemsProcessed(static_cast<std::int64_t>(Iterations(state) * items.size()));
}
BENCHMARK(MakeFramePlain)->Apply(Sizes);

}  // namespace
