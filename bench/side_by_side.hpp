#pragma once

#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include "foundation/meta/meta.hpp"
#include "foundation/object/object.hpp"

namespace qel::bench {

using Items = std::vector<std::shared_ptr<object::Object>>;

/// The processor time of this thread, which a busy machine changes less than the time of day.
inline double Now() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

template <class Work>
double SecondsOf(Work const& work) {
    double const start = Now();
    work();
    return Now() - start;
}

inline double Median(std::vector<double>& values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Runs rules and the plain program that one would write by hand for the same condition over batches of frames that
/// follow each other in time, and fails the benchmark where they do not report the same. Counters:
///
///   ratio         time of the rules over the time of the plain program
///   ratio_events  the same, when the plain program also makes the event objects that it reports
///   ns_per_item   time of the rules per item
///
/// Each is made of medians over all batches. Frames are made before the clock runs and dropped, with what was reported,
/// after it has stopped. Every frame is new, so the time includes the frame's first look-up.
///
/// A contest has the types `PlainFrame` and `PlainReport` and the members
///
///   PlainFrame MakePlain(std::int64_t time)                                 the next frame, as arrays
///   std::unique_ptr<Meta> MakeFrame(PlainFrame const&)                      the same as a frame
///   void Run(Meta const&, Items& reported)                                  the rules
///   void RunPlain(PlainFrame const&, std::vector<PlainReport>& reported)    the plain program
///   Items MakeEvents(std::vector<PlainReport> const&)                       what it would have to make of its report
///   bool Same(Items const&, std::vector<PlainReport> const&)                whether both have reported the same
template <class Contest>
void RunSideBySide(benchmark::State& state, std::size_t framesPerBatch, double itemsPerFrame, Contest& contest) {
    using PlainReports = std::vector<typename Contest::PlainReport>;
    std::vector<double> rulesTimes;
    std::vector<double> plainTimes;
    std::vector<double> plainWithEventsTimes;
    std::int64_t time = 0;
    for (auto _ : state) {
        std::vector<typename Contest::PlainFrame> plainFrames;
        std::vector<std::unique_ptr<meta::Meta>> frames;
        for (std::size_t number = 0; number < framesPerBatch; ++number) {
            time += 40'000'000;
            plainFrames.push_back(contest.MakePlain(time));
            frames.push_back(contest.MakeFrame(plainFrames.back()));
        }
        std::vector<Items> reported(framesPerBatch);
        double const seconds = SecondsOf([&] {
            for (std::size_t number = 0; number < framesPerBatch; ++number) {
                contest.Run(*frames[number], reported[number]);
            }
        });
        std::vector<PlainReports> plainReported(framesPerBatch);
        for (auto& each : plainReported) {
            each.reserve(static_cast<std::size_t>(itemsPerFrame));
        }
        plainTimes.push_back(SecondsOf([&] {
            for (std::size_t number = 0; number < framesPerBatch; ++number) {
                contest.RunPlain(plainFrames[number], plainReported[number]);
            }
            benchmark::ClobberMemory();
        }));
        std::vector<Items> plainEvents(framesPerBatch);
        plainWithEventsTimes.push_back(plainTimes.back() + SecondsOf([&] {
                                           for (std::size_t number = 0; number < framesPerBatch; ++number) {
                                               plainEvents[number] = contest.MakeEvents(plainReported[number]);
                                           }
                                       }));
        for (std::size_t number = 0; number < framesPerBatch; ++number) {
            if (!contest.Same(reported[number], plainReported[number])) {
                state.SkipWithError("The rules and the plain program do not report the same");
                return;
            }
        }
        rulesTimes.push_back(seconds);
        state.SetIterationTime(seconds);
    }
    double const seconds = Median(rulesTimes);
    state.counters["ratio"] = seconds / Median(plainTimes);
    state.counters["ratio_events"] = seconds / Median(plainWithEventsTimes);
    state.counters["ns_per_item"] = seconds * 1e9 / (itemsPerFrame * static_cast<double>(framesPerBatch));
}

}  // namespace qel::bench
