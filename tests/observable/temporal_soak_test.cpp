// A million objects (OBJECTS) come and go, a few at a time, and what the rules remember of them stays what a few frames
// need.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "observable/compound.hpp"
#include "observable/duration_track.hpp"
#include "observable/notifier.hpp"
#include "observable/previous.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/scripted.hpp"

namespace qel::observable {
namespace {

using std::chrono::milliseconds;
using tests::At;

constexpr unsigned int Source = 7;
constexpr unsigned int Lookback = 70;
constexpr std::int64_t FrameTime = 40;  // milliseconds
constexpr std::size_t PerFrame = 50;    // new objects
constexpr std::size_t Frames = OBJECTS / PerFrame;

/// A tracked object that knows how many of its kind there are.
class Counted : public meta::data::Object {
public:
    explicit Counted(unsigned int id) : Object(id, "person") {
        ++alive;
        ++made;
    }
    ~Counted() override { --alive; }

    static inline std::size_t alive = 0;
    static inline std::size_t made = 0;
};

class DurationRule : public Observable, public DurationTrack {
public:
    explicit DurationRule(milliseconds duration, unsigned int input)
        : Observable(hash::MurmurThree32::MakeData("qel.tests.Duration")), DurationTrack(duration), input(input) {}

    std::vector<unsigned int> GetDependents() const override { return {input}; }
    std::vector<std::shared_ptr<object::Object>> Process(meta::Meta const& frame) override {
        std::vector<std::shared_ptr<object::Object>> inputs;
        for (auto const& item : tests::Items(frame)) {
            if (item->Is<meta::data::Event>()) {
                for (auto const& record : meta::ObservablesOf(item->As<meta::data::Event>())) {
                    if (record.GetId() == input) {
                        inputs.push_back(item);
                    }
                }
            }
        }
        return TrackObjects(inputs, frame.GetTimestamp());
    }

    bool IsTracked(meta::data::Object const&) const override { return true; }
    std::shared_ptr<object::Object const> MakeTrackRecord() const override { return MakeObservableMetadata(); }
    std::string GetTrackName() const override { return GetName(); }
    std::string GetTrackType() const override { return "duration"; }
    std::string GetTrackCategory() const override { return "tests"; }

private:
    unsigned int input;
};

/// Reports objects in the frame after the one that they were in.
class Chain : public Compound {
public:
    Chain() : Compound(hash::MurmurThree32::MakeData("qel.tests.Chain")) {}

    std::vector<std::shared_ptr<Observable>> MakeObservables() const override {
        auto const lookback = std::make_shared<Previous>("", 0, Source, milliseconds(FrameTime));
        lookback->SetId(Lookback);
        lookback->SetConstrainTarget(true);
        return {lookback, std::make_shared<DurationRule>(milliseconds(0), Lookback)};
    }
    std::string GetEventType() const override { return "chain"; }
};

/// What is in use between two frames, after the first of them have come and gone.
struct Use {
    std::size_t leastObjects = static_cast<std::size_t>(-1);
    std::size_t mostObjects = 0;
    std::size_t bytesAtFirst = 0;
    std::size_t mostBytes = 0;
    std::size_t events = 0;
};

/// Every object is in the events of `lifetime` frames, one event each.
Use Run(std::shared_ptr<Observable> const& rule, std::size_t lifetime) {
    std::vector<std::shared_ptr<meta::data::Object>> present;
    auto const record = tests::Record(Source);
    auto const source = std::make_shared<tests::Scripted>("source", [&](meta::Meta const& frame) {
        tests::Scripted::Output output;
        for (auto const& object : present) {
            output.push_back(tests::MakeEvent(frame.GetTimestamp(), frame.GetTimestamp(), {record, object}));
        }
        return output;
    });
    source->SetId(Source);
    source->SetTriggersAction(false);
    rule->SetId(Source + 1);

    Notifier notifier;
    auto const sourceBinding = notifier.AddObservable(source);
    auto const ruleBinding = notifier.AddObservable(rule);
    Use use;
    unsigned int next = 0;
    std::size_t const before = tests::LiveBytes();
    for (std::size_t number = 0; number < Frames; ++number) {
        if (present.size() == lifetime * PerFrame) {
            present.erase(present.begin(), present.begin() + PerFrame);
        }
        for (std::size_t each = 0; each < PerFrame; ++each) {
            present.push_back(std::make_shared<Counted>(next++ * 2'654'435'761u));  // in no order of ids
        }
        {
            meta::Meta const frame(At(static_cast<std::int64_t>(number) * FrameTime));
            notifier.Process(frame);
            for (auto const& event : meta::EventsOf(frame)) {
                use.events += event.IsFinal() ? 0 : 1;
            }
        }
        std::size_t const bytes = tests::LiveBytes() - before;
        if (number == 100) {
            use.bytesAtFirst = bytes;
        }
        if (number >= 100) {
            use.leastObjects = std::min(use.leastObjects, Counted::alive);
            use.mostObjects = std::max(use.mostObjects, Counted::alive);
            use.mostBytes = std::max(use.mostBytes, bytes);
        }
    }
    return use;
}

void Soak(std::shared_ptr<Observable> const& rule, std::size_t lifetime, std::size_t objects,
          std::size_t eventsPerFrame) {
    Counted::made = 0;
    auto const use = Run(rule, lifetime);
    EXPECT_EQ(Counted::made, std::size_t{OBJECTS});
    EXPECT_EQ(use.leastObjects, objects);
    EXPECT_EQ(use.mostObjects, objects);
    // Blocks of one size are now and then a little larger than they have to be.
    EXPECT_LE(use.mostBytes, use.bytesAtFirst + 4096);
    EXPECT_NEAR(static_cast<double>(use.events), static_cast<double>(Frames * eventsPerFrame), 10 * PerFrame);
    std::cout << Counted::made << " objects, " << use.events << " events: " << use.mostObjects
              << " objects alive, bytes in use " << use.bytesAtFirst << " after 100 frames, " << use.mostBytes
              << " at most\n";
}

TEST(TemporalSoakTest, PreviousRemembersTheTargetsOfItsInterval) {
    auto const rule = std::make_shared<Previous>("rule", 0, Source, milliseconds(FrameTime));
    rule->SetConstrainTarget(true);
    // The objects are those of the last frame, which the notifier remembers; the rule has copies.
    Soak(rule, 1, PerFrame, 2 * PerFrame);
}

TEST(TemporalSoakTest, PreviousRemembersOneEventWithoutTargets) {
    Soak(std::make_shared<Previous>("rule", 0, Source, milliseconds(FrameTime)), 1, PerFrame, 1);
}

TEST(TemporalSoakTest, PreviousGivesTheMemoryOfALargeGroupBack) {
    constexpr unsigned int persons = 100;
    constexpr unsigned int group = 60;
    auto const rule = std::make_shared<Previous>("rule", 0, Source, milliseconds(FrameTime));
    rule->SetConstrainTarget(true);
    auto const record = tests::Record(Source);
    std::size_t const before = tests::LiveBytes();
    std::size_t bytesAtFirst = 0;
    for (unsigned int number = 0; number < 400; ++number) {
        auto const now = At(number * FrameTime);
        meta::Meta const frame(now);
        for (unsigned int person = 0; person < persons; ++person) {
            meta::data::Event::Objects objects{record, tests::Person(person)};
            if (number % persons == person) {  // another one of them in each frame
                for (unsigned int other = 0; other < group; ++other) {
                    objects.push_back(tests::Person(persons + other));
                }
            }
            frame.Append(tests::MakeEvent(now, now, std::move(objects)));
        }
        EXPECT_EQ(rule->Process(frame).size(), persons + group);
        if (number == 10) {
            bytesAtFirst = tests::LiveBytes() - before;
        }
    }
    EXPECT_LE(tests::LiveBytes() - before, bytesAtFirst + 4096);
}

TEST(TemporalSoakTest, PreviousGivesTheMemoryOfWhatIsTooOldBack) {
    for (bool const constrainTarget : {false, true}) {
        Previous rule("rule", 0, Source, milliseconds(FrameTime));
        rule.SetConstrainTarget(constrainTarget);
        std::size_t const before = tests::LiveBytes();
        std::size_t bytesAtFirst = 0;
        for (unsigned int number = 0; number < 2000; ++number) {
            auto const now = At(number * 2 * FrameTime);
            meta::Meta const frame(now);
            bool const fires = number % 2 == 0;
            if (fires) {
                frame.Append(tests::MakeEvent(now, now, {tests::Record(Source), tests::Person(number)}));
            }
            EXPECT_EQ(rule.Process(frame).size(), fires ? 1u : 0u);
            if (number == 10) {
                bytesAtFirst = tests::LiveBytes() - before;
            }
        }
        EXPECT_LE(tests::LiveBytes() - before, bytesAtFirst + 1024);
    }
}

TEST(TemporalSoakTest, DurationTrackRemembersTheObjectsOfTheLastFrame) {
    Soak(std::make_shared<DurationRule>(milliseconds(0), Source), 2, 2 * PerFrame, PerFrame);
}

TEST(TemporalSoakTest, ACompoundRemembersWhatItsMembersDo) { Soak(std::make_shared<Chain>(), 1, PerFrame, PerFrame); }

}  // namespace
}  // namespace qel::observable
