// What a whole rule set costs beside straight-line programs for the same rules. README.md says what the scene, the
// rules and the counters are.

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/scene.hpp"
#include "bench/side_by_side.hpp"
#include "bench/straight_line.hpp"
#include "foundation/meta/data/event.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "observable/notifier.hpp"

namespace {

using qel::bench::Equal;
using qel::bench::FrameMaker;
using qel::bench::GroupRules;
using qel::bench::Lean;
using qel::bench::Median;
using qel::bench::PlainFrame;
using qel::bench::Scene;
using qel::bench::SecondsOf;
using qel::bench::Whole;
using qel::meta::Meta;
using qel::meta::data::Event;
using qel::observable::Notifier;
using qel::observable::Observable;

constexpr std::size_t RulesPerGroup = 5;

std::size_t Range(benchmark::State const& state, std::size_t index) {
    return static_cast<std::size_t>(state.range(index));
}

/// Whatever a program reported, so that two can be compared; the order within a frame does not matter.
struct Report {
    std::size_t events = 0;
    std::size_t digest = 0;

    void Add(Event const& event) {
        std::size_t hash = event.IsDuplicate() + 2 * event.IsFinal();
        auto const mix = [&hash](auto value) { hash = hash * 0x9E3779B97F4A7C15 + static_cast<std::size_t>(value); };
        mix(event.GetStart().time_since_epoch().count());
        mix(event.GetEnd().time_since_epoch().count());
        std::size_t objects = 0;
        for (auto const& object : qel::meta::ObjectsOf(event)) {
            objects += object.GetId() * std::size_t{0x9E3779B97F4A7C15};
        }
        mix(objects);
        mix(event.GetObjects().size());
        for (auto const& record : qel::meta::ObservablesOf(event)) {
            mix(record.GetId());
        }
        digest += hash;
        ++events;
    }

    friend bool operator==(Report const&, Report const&) = default;
};

/// What has been reported into a frame that held so many items before.
void AddReported(Report& report, Meta const& frame, std::size_t items) {
    for (auto at = std::next(frame.Begin(), static_cast<std::ptrdiff_t>(items)); at != frame.End(); ++at) {
        report.Add((*at)->As<Event>());
    }
}

/// Enough frames for what lies back two seconds to be there, in long steps.
std::vector<PlainFrame> MakeFirstFrames(Scene& scene) {
    std::vector<PlainFrame> frames;
    for (int number = 0; number < 8; ++number) {
        frames.push_back(scene.Next(std::chrono::milliseconds(400)));
    }
    frames.push_back(scene.Next());
    return frames;
}

/// Batches of about a thousand objects times groups.
std::size_t FramesPerBatch(std::size_t objects, std::size_t groups) {
    return std::clamp<std::size_t>(1000 / (objects * groups), 1, 200);
}

// ---- The engine beside straight-line programs -----------------------------------------------------------------------

/// A straight-line program that goes through the same frames as the engine.
template <class Program>
class Beside {
public:
    Beside(GroupRules const& rules, std::size_t objects) : program(rules.GetRecords(), objects) {}

    void Process(std::vector<PlainFrame> const& frames) {
        events.resize(frames.size());
        times.push_back(SecondsOf([&] {
            for (std::size_t number = 0; number < frames.size(); ++number) {
                program.Process(frames[number], events[number]);
            }
        }));
    }
    /// Whether it has reported the same for a frame, as far as its events tell.
    bool HasReported(Report const& report, std::size_t frame) const {
        if constexpr (std::is_same_v<typename Program::Event, Event>) {
            Report own;
            for (auto const& event : events[frame]) {
                own.Add(*event);
            }
            return own == report;
        } else {
            return events[frame].size() == report.events;
        }
    }
    void DropEvents() { events.clear(); }
    void Forget() {
        events.clear();
        times.clear();
    }

    double GetTime() { return Median(times); }

private:
    Program program;
    std::vector<typename Program::Events> events;
    std::vector<double> times;
};

template <class... Programs>
void Engine(benchmark::State& state) {
    auto const objects = Range(state, 0);
    auto const groups = Range(state, 1);
    auto const framesPerBatch = FramesPerBatch(objects, groups);
    Notifier notifier;
    GroupRules const rules(notifier, groups);
    FrameMaker const maker(rules.GetRecords());
    std::tuple programs(Beside<Programs>(rules, objects)...);
    auto const forEachProgram = [&](auto const& call) {
        std::apply([&](auto&... program) { (call(program), ...); }, programs);
    };
    Scene scene(objects, groups);
    auto const firstFrames = MakeFirstFrames(scene);
    for (auto const& plain : firstFrames) {
        notifier.Process(*maker.Make(plain));
    }
    forEachProgram([&](auto& program) {
        program.Process(firstFrames);
        program.Forget();
    });

    std::vector<double> buildTimes;
    std::vector<double> engineTimes;
    std::size_t events = 0;
    for (auto _ : state) {
        std::vector<PlainFrame> plainFrames;
        for (std::size_t number = 0; number < framesPerBatch; ++number) {
            plainFrames.push_back(scene.Next());
        }
        std::vector<std::unique_ptr<Meta>> frames;
        frames.reserve(framesPerBatch);
        buildTimes.push_back(SecondsOf([&] {
            for (auto const& plain : plainFrames) {
                frames.push_back(maker.Make(plain));
            }
        }));
        engineTimes.push_back(SecondsOf([&] {
            for (auto const& frame : frames) {
                notifier.Process(*frame);
            }
        }));
        forEachProgram([&](auto& program) { program.Process(plainFrames); });
        state.SetIterationTime(engineTimes.back());

        for (std::size_t number = 0; number < framesPerBatch; ++number) {
            Report reported;
            AddReported(reported, *frames[number], FrameMaker::CountItems(plainFrames[number]));
            forEachProgram([&](auto const& program) {
                if (!program.HasReported(reported, number)) {
                    state.SkipWithError("The rules and the straight-line programs have not reported the same");
                }
            });
            events += reported.events;
        }
        forEachProgram([](auto& program) { program.DropEvents(); });
        if (state.error_occurred()) {
            return;
        }
    }
    double const engine = Median(engineTimes);
    double const build = Median(buildTimes);
    double const frames = static_cast<double>(framesPerBatch);
    forEachProgram([&]<class Program>(Beside<Program>& program) {
        state.counters[std::string("to_") + Program::Name] = engine / program.GetTime();
        state.counters[std::string("built_to_") + Program::Name] = (engine + build) / program.GetTime();
    });
    state.counters["us_per_frame"] = engine * 1e6 / frames;
    state.counters["events"] = static_cast<double>(events) / (static_cast<double>(state.iterations()) * frames);
}
BENCHMARK(Engine<Equal, Lean>)
    ->Name("Engine")
    ->ArgNames({"objects", "groups"})
    ->ArgsProduct({{1, 10, 100, 1000}, {1, 10, 100}})
    ->UseManualTime();
/// On its own: what another program has just used lies in the caches.
BENCHMARK(Engine<Whole>)
    ->Name("EngineToWhole")
    ->ArgNames({"objects", "groups"})
    ->ArgsProduct({{1, 10, 100, 1000}, {1, 10, 100}})
    ->UseManualTime();

// ---- A group beside other rules -------------------------------------------------------------------------------------

/// Rules that consume other inputs than a group does.
class Others {
public:
    enum class Kind {
        Silent,  // their inputs never fire
        Busy,    // the input of each fires in every frame
    };

    Others(Notifier& notifier, Kind kind, std::size_t count) : kind(kind) {
        for (std::size_t number = 0; number < count; ++number) {
            auto const input = DrawId();
            bindings.push_back(notifier.AddObservable(Make(kind == Kind::Busy ? 2 : number % 3, input)));
            records.push_back(std::make_shared<qel::meta::data::Observable const>(input));
        }
    }

    void Detect(Meta const& frame) const {
        if (kind == Kind::Busy) {
            auto const now = frame.GetTimestamp();
            for (auto const& record : records) {
                frame.Append(std::make_shared<Event>(texts, now, now, Event::Objects{record}));
            }
        }
    }

private:
    static unsigned int DrawId() { return Observable(qel::object::TypeIdOf<qel::observable::Or>).GetId(); }

    static std::shared_ptr<Observable> Make(std::size_t type, unsigned int input) {
        switch (type) {
            case 0:
                return std::make_shared<qel::observable::And>("other", 3, input, DrawId(), true);
            case 1:
                return std::make_shared<qel::observable::Previous>("other", 3, input, qel::bench::Lookback);
            default:
                return std::make_shared<qel::observable::Or>("other", 3, input, qel::observable::UnsetId);
        }
    }

    Kind kind;
    std::vector<qel::bench::GroupRecords::Record> records;
    std::vector<qel::type::Binding> bindings;
    std::shared_ptr<Event::Texts const> texts = qel::bench::TextsOf("detector", "presence");
};

/// Takes the time when its turn comes.
class Mark : public Observable {
public:
    static constexpr char const* ClassTypeName = "qel.bench.Mark";

    Mark() : Observable(qel::object::TypeIdOf<Mark>) {}

    qel::bench::Items Process(Meta const&) override {
        time = qel::bench::Now();
        return {};
    }

    double time = 0;
};

/// A notifier with other rules, and behind them a group.
class Mixture {
public:
    Mixture(Others::Kind kind, std::size_t others)
        : others(notifier, kind, others),
          beginBinding(notifier.AddObservable(begin)),
          rules(notifier, 1),
          endBinding(notifier.AddObservable(end)),
          maker(rules.GetRecords()) {}

    void Process(std::vector<PlainFrame> const& plainFrames) {
        double group = 0;
        double all = 0;
        for (auto const& plain : plainFrames) {
            auto const frame = maker.Make(plain);
            others.Detect(*frame);
            all += SecondsOf([&] { notifier.Process(*frame); });
            group += end->time - begin->time;
        }
        groupTimes.push_back(group / static_cast<double>(plainFrames.size()));
        times.push_back(all / static_cast<double>(plainFrames.size()));
    }

    double GetGroupTime() { return Median(groupTimes); }
    double GetTime() { return Median(times); }

private:
    Notifier notifier;
    Others others;
    std::shared_ptr<Mark> const begin = std::make_shared<Mark>();
    std::shared_ptr<Mark> const end = std::make_shared<Mark>();
    qel::type::Binding beginBinding;
    GroupRules rules;
    qel::type::Binding endBinding;
    FrameMaker maker;
    std::vector<double> groupTimes;
    std::vector<double> times;
};

void Scale(benchmark::State& state, Others::Kind kind) {
    constexpr std::size_t objects = 100;
    auto const framesPerBatch = FramesPerBatch(objects, 1);
    auto const count = Range(state, 0);
    Mixture alone(kind, 0);
    Mixture both(kind, count);
    Scene scene(objects, 1);
    auto const process = [&](std::vector<PlainFrame> const& frames) {
        alone.Process(frames);
        both.Process(frames);
    };
    process(MakeFirstFrames(scene));
    for (auto _ : state) {
        std::vector<PlainFrame> frames;
        for (std::size_t number = 0; number < framesPerBatch; ++number) {
            frames.push_back(scene.Next());
        }
        process(frames);
    }
    state.counters["group_to_alone"] = both.GetGroupTime() / alone.GetGroupTime();
    state.counters["ns_per_other"] = (both.GetTime() - alone.GetTime()) * 1e9 / static_cast<double>(count);
    state.counters["us_alone"] = alone.GetTime() * 1e6;
}
BENCHMARK_CAPTURE(Scale, silent, Others::Kind::Silent)->ArgName("others")->Arg(100)->Arg(1000)->Arg(5000);
BENCHMARK_CAPTURE(Scale, busy, Others::Kind::Busy)->ArgName("others")->Arg(100)->Arg(1000)->Arg(5000);

// ---- Memory ---------------------------------------------------------------------------------------------------------

double UsedBytes() { return static_cast<double>(mallinfo2().uordblks); }

/// What stays when a frame has been dropped, and what the frame and its events take, per object and rule.
void Memory(benchmark::State& state) {
    auto const objects = Range(state, 0);
    auto const groups = Range(state, 1);
    Scene scene(objects, groups);
    auto const firstFrames = MakeFirstFrames(scene);
    auto const plain = scene.Next();
    double kept = 0;
    double inFrame = 0;
    for (auto _ : state) {
        double const before = UsedBytes();
        Notifier notifier;
        GroupRules const rules(notifier, groups);
        FrameMaker const maker(rules.GetRecords());
        for (auto const& each : firstFrames) {
            notifier.Process(*maker.Make(each));
        }
        auto frame = maker.Make(plain);
        notifier.Process(*frame);
        double const with = UsedBytes();
        frame.reset();
        kept = UsedBytes() - before;
        inFrame = with - UsedBytes();
    }
    double const perObjectAndRule = 1.0 / static_cast<double>(objects * groups * RulesPerGroup);
    state.counters["kept_bytes"] = kept * perObjectAndRule;
    state.counters["frame_bytes"] = inFrame * perObjectAndRule;
}
BENCHMARK(Memory)->ArgNames({"objects", "groups"})->ArgsProduct({{10, 100, 1000}, {1, 10}});

/// A long run holds no more memory at its end than after its first minute.
void MillionFrames(benchmark::State& state) {
    constexpr std::size_t frames = 1'000'000;
    Scene scene(10, 1);
    Notifier notifier;
    GroupRules const rules(notifier, 1);
    FrameMaker const maker(rules.GetRecords());
    double early = 0;
    double peak = 0;
    for (auto _ : state) {
        for (std::size_t number = 0; number < frames; ++number) {
            auto const frame = maker.Make(scene.Next());
            notifier.Process(*frame);
            if (number % 100 == 0) {
                peak = std::max(peak, UsedBytes());
            }
            if (number == 1500) {
                early = peak;
            }
        }
    }
    state.counters["early_peak_kB"] = early / 1024;
    state.counters["peak_kB"] = peak / 1024;
}
BENCHMARK(MillionFrames)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
