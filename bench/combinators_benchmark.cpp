// What And costs, over the axes along which rule sets grow, and beside it the plain program that one would write by
// hand for the same condition: over arrays of numbers, into an array of numbers. side_by_side.hpp says what the
// counters are; an item is a target, or a combinator.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/side_by_side.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "observable/and.hpp"

namespace {

using qel::bench::Items;
using qel::meta::Meta;
using qel::meta::Timestamp;
using qel::meta::data::Event;
using qel::meta::data::Object;
using qel::meta::data::Zone;
using qel::observable::And;

// ---- The same frame twice: as arrays and as objects -----------------------------------------------------------------

struct PlainEvent {
    std::uint32_t observable;
    std::uint32_t target;
    std::uint32_t zone;
    std::int64_t start;
};

struct PlainReport {
    std::uint64_t id;
    std::int64_t start;
    std::int64_t end;
    std::uint32_t target;
    std::uint32_t zones[2];  // ascending
};

struct PlainFrame {
    std::int64_t time;
    std::vector<PlainEvent> events;
};

std::int64_t Count(Timestamp time) { return time.time_since_epoch().count(); }
Timestamp Time(std::int64_t count) { return Timestamp(std::chrono::nanoseconds(count)); }

/// Makes frames whose records, objects and zones are shared by all frames, as sources and hosts do not make them anew.
class FrameMaker {
public:
    std::unique_ptr<Meta> Make(PlainFrame const& plain) {
        auto frame = std::make_unique<Meta>(Time(plain.time));
        for (auto const& event : plain.events) {
            frame->Append(std::make_shared<Event>(
                texts, Time(event.start), Time(plain.time),
                Event::Objects{Get(records, event.observable), Get(objects, event.target), Get(zones, event.zone)}));
        }
        return frame;
    }

    /// The events that somebody would make from the plain reports.
    Items Report(std::vector<PlainReport> const& reports) {
        Items items;
        items.reserve(reports.size());
        for (auto const& report : reports) {
            Event::Objects list;
            list.reserve(4);
            list.push_back(ownRecord);
            list.push_back(std::make_shared<Object>(*Get(objects, report.target)));
            for (auto const zone : report.zones) {
                list.push_back(std::make_shared<Zone>(*Get(zones, zone)));
            }
            items.push_back(std::make_shared<Event>(static_cast<unsigned int>(report.id), texts, Time(report.start),
                                                    Time(report.end), std::move(list)));
        }
        return items;
    }

private:
    template <class T>
    static std::shared_ptr<T> const& Get(std::vector<std::shared_ptr<T>>& all, std::uint32_t id) {
        if (id >= all.size()) {
            all.resize(id + 1);
        }
        if (!all[id]) {
            all[id] = std::make_shared<T>(id);
        }
        return all[id];
    }

    std::shared_ptr<Event::Texts const> texts =
        std::make_shared<Event::Texts const>(Event::Texts{"source", "presence", "analytics"});
    std::shared_ptr<qel::meta::data::Observable> ownRecord = std::make_shared<qel::meta::data::Observable>(1);
    std::vector<std::shared_ptr<qel::meta::data::Observable>> records;
    std::vector<std::shared_ptr<Object>> objects;
    std::vector<std::shared_ptr<Zone>> zones;
};

/// Whether And has reported what the plain program has. Ids are other numbers, but the same ones for the same.
class Comparison {
public:
    bool Same(Items const& items, std::vector<PlainReport> const& reports) {
        if (items.size() != reports.size()) {
            return false;
        }
        for (std::size_t number = 0; number < items.size(); ++number) {
            auto const& event = items[number]->As<Event>();
            auto const& report = reports[number];
            auto const& list = event.GetObjects();
            if (list.size() != 4 || list[1]->As<Object>().GetId() != report.target ||
                list[2]->As<Zone>().GetId() != report.zones[0] || list[3]->As<Zone>().GetId() != report.zones[1] ||
                Count(event.GetStart()) != report.start || Count(event.GetEnd()) != report.end ||
                ids.try_emplace(report.id, event.GetId()).first->second != event.GetId()) {
                return false;
            }
        }
        return true;
    }

private:
    std::map<std::uint64_t, unsigned int> ids;
};

/// A benchmark's frames and programs, given as functions.
template <class MakePlainFrame, class Rules, class Plain>
class Contest {
public:
    using PlainFrame = ::PlainFrame;
    using PlainReport = ::PlainReport;

    Contest(MakePlainFrame const& makePlainFrame, Rules const& rules, Plain const& plain)
        : makePlainFrame(makePlainFrame), rules(rules), plain(plain) {}

    PlainFrame MakePlain(std::int64_t time) { return makePlainFrame(time); }
    std::unique_ptr<Meta> MakeFrame(PlainFrame const& frame) { return maker.Make(frame); }
    void Run(Meta const& frame, Items& reported) { rules(frame, reported); }
    void RunPlain(PlainFrame const& frame, std::vector<PlainReport>& reports) { plain(frame, reports); }
    Items MakeEvents(std::vector<PlainReport> const& reports) { return maker.Report(reports); }
    bool Same(Items const& items, std::vector<PlainReport> const& reports) { return comparison.Same(items, reports); }

private:
    MakePlainFrame const& makePlainFrame;
    Rules const& rules;
    Plain const& plain;
    FrameMaker maker;
    Comparison comparison;
};

template <class MakePlainFrame, class Rules, class Plain>
void Compare(benchmark::State& state, std::size_t framesPerBatch, double itemsPerFrame,
             MakePlainFrame const& makePlainFrame, Rules const& rules, Plain const& plain) {
    Contest<MakePlainFrame, Rules, Plain> contest(makePlainFrame, rules, plain);
    qel::bench::RunSideBySide(state, framesPerBatch, itemsPerFrame, contest);
}

// ---- One And per target ---------------------------------------------------------------------------------------------

constexpr std::uint32_t A = 1001;
constexpr std::uint32_t B = 1002;

/// A per-target And: sorted arrays, one walk over both and over what was reported before.
class PlainPerTarget {
public:
    void Process(PlainFrame const& frame, std::vector<PlainReport>& reports) {
        a.clear();
        b.clear();
        for (auto const& event : frame.events) {
            if (event.observable == A) {
                a.push_back({event.target, event.zone});
            } else if (event.observable == B) {
                b.push_back({event.target, event.zone});
            }
        }
        std::sort(a.begin(), a.end());
        std::sort(b.begin(), b.end());
        auto last = remembered.begin();
        auto inB = b.begin();
        for (auto const& [target, zone] : a) {
            while (inB != b.end() && inB->first < target) {
                ++inB;
            }
            if (inB == b.end() || inB->first != target) {
                continue;
            }
            while (last != remembered.end() && last->target < target) {
                ++last;
            }
            bool const goesOn = last != remembered.end() && last->target == target;
            reports.push_back({goesOn ? last->id : nextId++,
                               goesOn ? last->start : frame.time,
                               frame.time,
                               target,
                               {std::min(zone, inB->second), std::max(zone, inB->second)}});
        }
        remembered = reports;
    }

private:
    std::vector<std::pair<std::uint32_t, std::uint32_t>> a;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> b;
    std::vector<PlainReport> remembered;
    std::uint64_t nextId = 1;
};

/// Each input has one event for each target, in no order, and the frame holds as many events of others.
void PerTarget(benchmark::State& state) {
    auto const targets = static_cast<std::uint32_t>(state.range(0));
    std::mt19937 random(1);
    std::vector<PlainEvent> events;
    for (std::uint32_t target = 0; target < targets; ++target) {
        events.push_back({A, target, 1, 0});
        events.push_back({B, target, 2, 0});
        events.push_back({A + 10 + target % 20, target, 1, 0});
        events.push_back({A + 10 + target % 20, target, 2, 0});
    }
    And rule("and", 0, A, B, true);
    PlainPerTarget plain;
    Compare(
        state, std::max(1u, 1000 / targets), targets,
        [&](std::int64_t time) {
            std::shuffle(events.begin(), events.end(), random);
            return PlainFrame{time, events};
        },
        [&](Meta const& frame, Items& reported) { reported = rule.Process(frame); },
        [&](PlainFrame const& frame, std::vector<PlainReport>& reports) { plain.Process(frame, reports); });
}
BENCHMARK(PerTarget)->ArgName("targets")->RangeMultiplier(10)->Range(1, 10'000)->UseManualTime();

// ---- Many combinators -----------------------------------------------------------------------------------------------

/// Many per-target Ands, each with one event of each input: a table of the events by observable, then a walk over
/// rules.
class PlainRuleSet {
public:
    PlainRuleSet(std::uint32_t rules, std::uint32_t observables) : remembered(rules), events(observables) {}

    void Process(PlainFrame const& frame, std::vector<PlainReport>& reports) {
        std::fill(events.begin(), events.end(), nullptr);
        for (auto const& event : frame.events) {
            events[event.observable] = &event;
        }
        for (std::uint32_t rule = 0; rule < remembered.size(); ++rule) {
            auto& last = remembered[rule];
            auto const* const a = events[2 * rule];
            auto const* const b = events[2 * rule + 1];
            if (a == nullptr || b == nullptr || a->target != b->target) {
                last.id = 0;
                continue;
            }
            if (last.id == 0 || last.target != a->target) {
                last = {nextId++, frame.time, frame.time, a->target, {}};
            }
            last.end = frame.time;
            last.zones[0] = std::min(a->zone, b->zone);
            last.zones[1] = std::max(a->zone, b->zone);
            reports.push_back(last);
        }
    }

private:
    std::vector<PlainReport> remembered;
    std::vector<PlainEvent const*> events;
    std::uint64_t nextId = 1;
};

/// Each combinator sees two events of its own; the others in the frame are of a tenth as many other observables.
void Many(benchmark::State& state) {
    auto const combinators = static_cast<std::uint32_t>(state.range(0));
    auto const count = static_cast<std::uint32_t>(state.range(1));
    std::uint32_t const others = std::max(1u, count / 10);
    std::mt19937 random(1);
    std::vector<PlainEvent> events;
    for (std::uint32_t combinator = 0; combinator < combinators; ++combinator) {
        events.push_back({2 * combinator, combinator % 50, 1, 0});
        events.push_back({2 * combinator + 1, combinator % 50, 2, 0});
    }
    while (events.size() < count) {
        auto const number = static_cast<std::uint32_t>(events.size());
        events.push_back({2 * combinators + number % others, number % 50, number % 10, 0});
    }
    std::vector<std::unique_ptr<And>> rules;
    for (std::uint32_t combinator = 0; combinator < combinators; ++combinator) {
        rules.push_back(std::make_unique<And>("and", std::uint16_t{0}, 2 * combinator, 2 * combinator + 1, true));
    }
    PlainRuleSet plain(combinators, 2 * combinators + others);
    Compare(
        state, std::max(1u, 1000 / count), combinators,
        [&](std::int64_t time) {
            std::shuffle(events.begin(), events.end(), random);
            return PlainFrame{time, events};
        },
        [&](Meta const& frame, Items& reported) {
            reported.reserve(combinators);
            for (auto const& rule : rules) {
                for (auto& item : rule->Process(frame)) {
                    reported.push_back(std::move(item));
                }
            }
        },
        [&](PlainFrame const& frame, std::vector<PlainReport>& reports) { plain.Process(frame, reports); });
}
BENCHMARK(Many)
    ->ArgNames({"combinators", "events"})
    ->Args({1'000, 10'000})
    ->Args({1, 10'000})
    ->Args({10, 10'000})
    ->Args({100, 10'000})
    ->Args({1'000, 2'000})
    ->Args({1'000, 100'000})
    ->UseManualTime();

}  // namespace
