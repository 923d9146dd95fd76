// What Previous, Compound and DurationTrack cost over the number of targets, each beside a plain program over arrays.
// side_by_side.hpp says what the counters are. The frames hold as many events of others as of the input.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/side_by_side.hpp"
#include "foundation/meta/data/object.hpp"
#include "foundation/meta/data/observable.hpp"
#include "foundation/meta/meta.hpp"
#include "foundation/meta/views.hpp"
#include "observable/compound.hpp"
#include "observable/duration_track.hpp"
#include "observable/previous.hpp"

namespace {

using qel::bench::Items;
using qel::meta::Meta;
using qel::meta::Timestamp;
using qel::meta::data::Event;
using qel::meta::data::Object;
using qel::observable::Compound;
using qel::observable::DurationTrack;
using qel::observable::Observable;
using qel::observable::Previous;
using std::chrono::milliseconds;

constexpr std::uint32_t Input = 1001;
constexpr std::uint32_t Lookback = 1002;
constexpr std::uint32_t Others = 1010;

// ---- The same frame twice: as arrays and as objects -----------------------------------------------------------------

/// An event with a row of targets.
struct PlainEvent {
    std::uint32_t observable;
    std::vector<std::uint32_t> targets;
};

struct PlainReport {
    std::uint64_t id;
    std::int64_t start;
    std::int64_t end;
    std::vector<std::uint32_t> targets;
};

/// A target of the report of a rule that has an event for each.
struct PlainTargetReport {
    std::uint64_t id;
    std::int64_t start;
    std::int64_t end;
    std::uint32_t target;
};

struct PlainFrame {
    std::int64_t time;
    std::vector<PlainEvent> events;
};

std::int64_t Count(Timestamp time) { return time.time_since_epoch().count(); }
Timestamp Time(std::int64_t count) { return Timestamp(std::chrono::nanoseconds(count)); }

/// Makes frames whose records and objects are shared by all frames, as sources and hosts do not make them anew.
class Maker {
public:
    std::unique_ptr<Meta> MakeFrame(PlainFrame const& plain) {
        auto frame = std::make_unique<Meta>(Time(plain.time));
        for (auto const& event : plain.events) {
            Event::Objects list{Get(records, event.observable)};
            list.reserve(1 + event.targets.size());
            for (auto const target : event.targets) {
                list.push_back(Get(objects, target));
            }
            frame->Append(std::make_shared<Event>(texts, Time(plain.time), Time(plain.time), std::move(list)));
        }
        return frame;
    }

    /// An event with copies of targets.
    template <class Targets>
    std::shared_ptr<Event> MakeEvent(std::uint64_t id, std::int64_t start, std::int64_t end, Targets const& targets) {
        Event::Objects list;
        list.reserve(1 + targets.size());
        list.push_back(ownRecord);
        for (auto const target : targets) {
            list.push_back(std::make_shared<Object>(*Get(objects, target)));
        }
        return std::make_shared<Event>(static_cast<unsigned int>(id), texts, Time(start), Time(end), std::move(list));
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
};

/// Frames with an input event for each target, in no order, or with one for all.
class Source {
public:
    Source(std::uint32_t targets, bool together) {
        for (std::uint32_t target = 0; target < targets; ++target) {
            if (together && target > 0) {
                events[0].targets.push_back(target);
                events[1].targets.push_back(target);
            } else {
                events.push_back({Input, {target}});
                events.push_back({Others + target % 20, {target}});
            }
        }
    }

    PlainFrame Make(std::int64_t time) {
        std::shuffle(events.begin(), events.end(), random);
        return {time, events};
    }

private:
    std::mt19937 random{1};
    std::vector<PlainEvent> events;
};

/// Whether the ids of two worlds go together: they are other numbers, but the same ones for the same.
class Ids {
public:
    bool Match(std::uint64_t plain, unsigned int id) { return ids.try_emplace(plain, id).first->second == id; }

private:
    std::map<std::uint64_t, unsigned int> ids;
};

/// What the contests with an event for each target have in common.
class PerTarget {
public:
    using PlainFrame = ::PlainFrame;
    using PlainReport = PlainTargetReport;

    explicit PerTarget(std::uint32_t targets) : source(targets, false) {}

    PlainFrame MakePlain(std::int64_t time) { return source.Make(time); }
    std::unique_ptr<Meta> MakeFrame(PlainFrame const& plain) { return maker.MakeFrame(plain); }

    Items MakeEvents(std::vector<PlainReport> const& reports) {
        Items items;
        items.reserve(reports.size());
        for (auto const& report : reports) {
            items.push_back(maker.MakeEvent(report.id, report.start, report.end, std::vector{report.target}));
        }
        return items;
    }

    bool Same(Items const& items, std::vector<PlainReport> const& reports) {
        return std::equal(items.begin(), items.end(), reports.begin(), reports.end(),
                          [this](std::shared_ptr<qel::object::Object> const& item, PlainReport const& report) {
                              auto const& event = item->As<Event>();
                              auto const objects = qel::meta::ObjectsOf(event);
                              auto object = objects.begin();
                              return object != objects.end() && object->GetId() == report.target &&
                                     ++object == objects.end() && Count(event.GetStart()) == report.start &&
                                     Count(event.GetEnd()) == report.end && ids.Match(report.id, event.GetId());
                          });
    }

private:
    Source source;
    Maker maker;
    Ids ids;
};

std::size_t FramesPerBatch(std::uint32_t targets) { return std::max(1u, 1000 / targets); }

// ---- Previous per target --------------------------------------------------------------------------------------------

/// Sorted arrays: one walk over what is seen and what is remembered.
class PlainPrevious {
public:
    explicit PlainPrevious(milliseconds interval) : interval(interval.count() * 1'000'000) {}

    void Process(PlainFrame const& frame, std::vector<PlainTargetReport>& reports) {
        seen.clear();
        for (auto const& event : frame.events) {
            if (event.observable == Input) {
                seen.insert(seen.end(), event.targets.begin(), event.targets.end());
            }
        }
        std::sort(seen.begin(), seen.end());
        next.clear();
        auto last = remembered.begin();
        auto const keepUpTo = [&](std::uint32_t target) {
            for (; last != remembered.end() && last->target < target; ++last) {
                if (frame.time - last->seen <= interval) {
                    next.push_back(*last);
                }
            }
        };
        for (auto const target : seen) {
            keepUpTo(target);
            if (last != remembered.end() && last->target == target) {
                next.push_back({target, frame.time, last->id, last->start});
                ++last;
            } else {
                next.push_back({target, frame.time, nextId++, frame.time});
            }
        }
        keepUpTo(static_cast<std::uint32_t>(-1));
        for (auto const& each : next) {
            reports.push_back({each.id, each.start, frame.time, each.target});
        }
        remembered.swap(next);
    }

private:
    struct Memory {
        std::uint32_t target;
        std::int64_t seen;
        std::uint64_t id;
        std::int64_t start;
    };

    std::int64_t interval;
    std::vector<std::uint32_t> seen;
    std::vector<Memory> remembered;
    std::vector<Memory> next;
    std::uint64_t nextId = 1;
};

/// The input fires in every `period`-th frame.
class PreviousPerTarget : public PerTarget {
public:
    PreviousPerTarget(std::uint32_t targets, std::uint32_t period) : PerTarget(targets), period(period) {
        rule.SetConstrainTarget(true);
    }

    PlainFrame MakePlain(std::int64_t time) {
        auto frame = PerTarget::MakePlain(time);
        if (number++ % period != 0) {
            frame.events.clear();
        }
        return frame;
    }
    void Run(Meta const& frame, Items& reported) { reported = rule.Process(frame); }
    void RunPlain(PlainFrame const& frame, std::vector<PlainReport>& reported) { plain.Process(frame, reported); }

private:
    std::uint32_t period;
    std::uint32_t number = 0;
    Previous rule{"previous", 0, Input, milliseconds(1000)};
    PlainPrevious plain{milliseconds(1000)};
};

void PreviousPerTargetSeen(benchmark::State& state) {
    auto const targets = static_cast<std::uint32_t>(state.range(0));
    PreviousPerTarget contest(targets, 1);
    qel::bench::RunSideBySide(state, FramesPerBatch(targets), targets, contest);
}
BENCHMARK(PreviousPerTargetSeen)->ArgName("targets")->RangeMultiplier(10)->Range(1, 1'000)->UseManualTime();

void PreviousPerTargetRemembered(benchmark::State& state) {
    auto const targets = static_cast<std::uint32_t>(state.range(0));
    PreviousPerTarget contest(targets, 20);
    qel::bench::RunSideBySide(state, std::max<std::size_t>(20, FramesPerBatch(targets)), targets, contest);
}
BENCHMARK(PreviousPerTargetRemembered)->ArgName("targets")->RangeMultiplier(10)->Range(1, 1'000)->UseManualTime();

// ---- Previous without targets ---------------------------------------------------------------------------------------

/// One event a frame with copies of all objects of the first input.
class PreviousUnconstrained {
public:
    using PlainFrame = ::PlainFrame;
    using PlainReport = ::PlainReport;

    explicit PreviousUnconstrained(std::uint32_t targets) : source(targets, true) {}

    PlainFrame MakePlain(std::int64_t time) { return source.Make(time); }
    std::unique_ptr<Meta> MakeFrame(PlainFrame const& plain) { return maker.MakeFrame(plain); }

    void Run(Meta const& frame, Items& reported) { reported = rule.Process(frame); }

    void RunPlain(PlainFrame const& frame, std::vector<PlainReport>& reported) {
        for (auto const& event : frame.events) {
            if (event.observable == Input) {
                if (remembered.id == 0) {
                    remembered = {nextId++, frame.time, frame.time, event.targets};
                }
                remembered.end = frame.time;
                break;
            }
        }
        if (remembered.id != 0 && frame.time - remembered.end <= 1'000'000'000) {
            reported.push_back(remembered);
            reported.back().end = frame.time;
        } else {
            remembered.id = 0;
        }
    }

    Items MakeEvents(std::vector<PlainReport> const& reports) {
        Items items;
        items.reserve(reports.size());
        for (auto const& report : reports) {
            items.push_back(maker.MakeEvent(report.id, report.start, report.end, report.targets));
        }
        return items;
    }

    bool Same(Items const& items, std::vector<PlainReport> const& reports) {
        return std::equal(items.begin(), items.end(), reports.begin(), reports.end(),
                          [this](std::shared_ptr<qel::object::Object> const& item, PlainReport const& report) {
                              auto const& event = item->As<Event>();
                              std::vector<std::uint32_t> targets;
                              for (auto const& object : qel::meta::ObjectsOf(event)) {
                                  targets.push_back(object.GetId());
                              }
                              return targets == report.targets && Count(event.GetStart()) == report.start &&
                                     Count(event.GetEnd()) == report.end && ids.Match(report.id, event.GetId());
                          });
    }

private:
    Source source;
    Maker maker;
    Ids ids;
    Previous rule{"previous", 0, Input, milliseconds(1000)};
    PlainReport remembered{};
    std::uint64_t nextId = 1;
};

void PreviousWithoutTargets(benchmark::State& state) {
    auto const targets = static_cast<std::uint32_t>(state.range(0));
    PreviousUnconstrained contest(targets);
    qel::bench::RunSideBySide(state, FramesPerBatch(targets), targets, contest);
}
BENCHMARK(PreviousWithoutTargets)->ArgName("targets")->RangeMultiplier(10)->Range(1, 1'000)->UseManualTime();

// ---- DurationTrack --------------------------------------------------------------------------------------------------

class DurationRule : public Observable, public DurationTrack {
public:
    explicit DurationRule(std::uint32_t input)
        : Observable(qel::hash::MurmurThree32::MakeData("qel.bench.Duration")),
          DurationTrack(milliseconds(1)),
          input(input) {}

    Items Process(Meta const& frame) override {
        Items inputs;
        for (auto const& event : qel::meta::EventsNaming(frame, input)) {
            inputs.push_back(std::const_pointer_cast<qel::object::Object>(event.shared_from_this()));
        }
        return TrackObjects(inputs, frame.GetTimestamp());
    }

    bool IsTracked(Object const&) const override { return true; }
    std::shared_ptr<qel::object::Object const> MakeTrackRecord() const override { return MakeObservableMetadata(); }
    std::string GetTrackName() const override { return GetName(); }
    std::string GetTrackType() const override { return "duration"; }
    std::string GetTrackCategory() const override { return "analytics"; }

private:
    std::uint32_t input;
};

/// Sorted arrays again; reports come in the order of the input.
class PlainDuration {
public:
    void Process(std::int64_t time, std::vector<std::uint32_t> const& targets,
                 std::vector<PlainTargetReport>& reports) {
        next.clear();
        for (auto const target : targets) {
            next.push_back({target, time, 0});
        }
        auto const byTarget = [](Memory const& left, Memory const& right) { return left.target < right.target; };
        std::sort(next.begin(), next.end(), byTarget);
        auto last = remembered.begin();
        for (auto& each : next) {
            while (last != remembered.end() && last->target < each.target) {
                ++last;
            }
            if (last != remembered.end() && last->target == each.target) {
                each = *last;
            }
        }
        for (auto const target : targets) {
            auto& each = *std::lower_bound(next.begin(), next.end(), Memory{target, 0, 0}, byTarget);
            if (time - each.first > 1'000'000) {
                each.id = each.id == 0 ? nextId++ : each.id;
                reports.push_back({each.id, time, time, target});
            }
        }
        remembered.swap(next);
    }

private:
    struct Memory {
        std::uint32_t target;
        std::int64_t first;
        std::uint64_t id;
    };

    std::vector<Memory> remembered;
    std::vector<Memory> next;
    std::uint64_t nextId = 1;
};

class Duration : public PerTarget {
public:
    using PerTarget::PerTarget;

    void Run(Meta const& frame, Items& reported) { reported = rule.Process(frame); }

    void RunPlain(PlainFrame const& frame, std::vector<PlainReport>& reported) {
        targets.clear();
        for (auto const& event : frame.events) {
            if (event.observable == Input) {
                targets.insert(targets.end(), event.targets.begin(), event.targets.end());
            }
        }
        plain.Process(frame.time, targets, reported);
    }

private:
    DurationRule rule{Input};
    std::vector<std::uint32_t> targets;
    PlainDuration plain;
};

void DurationTrackTargets(benchmark::State& state) {
    auto const targets = static_cast<std::uint32_t>(state.range(0));
    Duration contest(targets);
    qel::bench::RunSideBySide(state, FramesPerBatch(targets), targets, contest);
}
BENCHMARK(DurationTrackTargets)->ArgName("targets")->RangeMultiplier(10)->Range(1, 1'000)->UseManualTime();

// ---- Compound -------------------------------------------------------------------------------------------------------

/// Objects that were seen within a second for longer than a moment.
class Chain : public Compound {
public:
    Chain() : Compound(qel::hash::MurmurThree32::MakeData("qel.bench.Chain")) { SetName("chain"); }

    std::vector<std::shared_ptr<Observable>> MakeObservables() const override {
        auto const lookback = std::make_shared<Previous>("previous", std::uint16_t{0}, Input, milliseconds(1000));
        lookback->SetId(Lookback);
        lookback->SetConstrainTarget(true);
        return {lookback, std::make_shared<DurationRule>(Lookback)};
    }
    std::string GetEventType() const override { return "chain"; }
};

class CompoundOfTwo : public PerTarget {
public:
    using PerTarget::PerTarget;

    void Run(Meta const& frame, Items& reported) { reported = rule.Process(frame); }

    void RunPlain(PlainFrame const& frame, std::vector<PlainReport>& reported) {
        inner.clear();
        previous.Process(frame, inner);
        targets.clear();
        for (auto const& each : inner) {
            targets.push_back(each.target);
        }
        duration.Process(frame.time, targets, reported);
    }

private:
    Chain rule;
    PlainPrevious previous{milliseconds(1000)};
    std::vector<PlainReport> inner;
    std::vector<std::uint32_t> targets;
    PlainDuration duration;
};

void CompoundOfPreviousAndDurationTrack(benchmark::State& state) {
    auto const targets = static_cast<std::uint32_t>(state.range(0));
    CompoundOfTwo contest(targets);
    qel::bench::RunSideBySide(state, FramesPerBatch(targets), targets, contest);
}
BENCHMARK(CompoundOfPreviousAndDurationTrack)
    ->ArgName("targets")
    ->RangeMultiplier(10)
    ->Range(1, 1'000)
    ->UseManualTime();

}  // namespace
