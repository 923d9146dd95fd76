#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/meta.hpp"
#include "foundation/type/binding.hpp"
#include "observable/and.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/or.hpp"
#include "observable/previous.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/frames.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using std::chrono::milliseconds;
using tests::At;

constexpr unsigned int A = 1'000'001;
constexpr unsigned int B = 1'000'002;
constexpr unsigned int C = 1'000'003;
constexpr unsigned int NeverFires = 1'000'004;

// What processing a frame takes: exact numbers, on any machine.
struct Cost {
    std::size_t allocations;
    meta::detail::LookUpCounts lookUps;
    std::size_t items;  // in the frame when it is done
};

class Rules {
public:
    template <class Rule, class... Settings>
    std::shared_ptr<Rule> Add(Settings... settings) {
        auto rule = std::make_shared<Rule>("rule with a name that is not short", 0, settings...);
        bindings.push_back(notifier.AddObservable(rule));
        return rule;
    }

    // Rules of every kind that a group of detections has.
    void AddGroup() {
        Add<And>(A, B, true);
        auto const before = Add<Previous>(B, milliseconds(100));
        before->SetConstrainTarget(true);
        before->SetTriggersAction(false);
        auto const shortly = Add<And>(A, before->GetId(), true);
        Add<Not>(A);
        Add<Or>(A, B);
        auto const quiet = Add<Not>(C);
        quiet->SetTriggersAction(false);
        Add<And>(shortly->GetId(), quiet->GetId(), false);
    }

    // As many rules whose inputs are others and never fire; they ask for `count` / 3 * 5 inputs in every frame.
    void AddOthers(std::size_t count) {
        for (std::size_t each = 0; each < count / 3; ++each) {
            Add<And>(NeverFires, NeverFires + 1, true);
            Add<Or>(NeverFires, NeverFires + 1);
            Add<Previous>(NeverFires, milliseconds(100));
        }
    }

    // Detections of ten objects that come and go, A and B out of step.
    std::vector<Cost> Run(std::size_t frames) {
        std::vector<Cost> costs;
        for (std::size_t number = 0; number < frames; ++number) {
            auto const now = At(static_cast<std::int64_t>(number) * 40);
            Meta const frame(now);
            frame.Append(tests::Channel(3));
            for (unsigned int person = 0; person < 10; ++person) {
                if ((number + person) % 7 < 4) {
                    frame.Append(tests::MakeEvent(now, now, {tests::Record(A), tests::Person(person)}));
                }
                if ((number + 2 * person) % 9 < 3) {
                    frame.Append(tests::MakeEvent(now, now, {tests::Record(B), tests::Person(person)}));
                }
            }
            if (number % 10 < 5) {
                frame.Append(tests::MakeEvent(now, now, {tests::Record(C)}));
            }
            auto const allocations = tests::AllocationsOf([&] { notifier.Process(frame); });
            costs.push_back({allocations, frame.CountLookUps(), tests::Items(frame).size()});
        }
        return costs;
    }

private:
    Notifier notifier;
    std::vector<type::Binding> bindings;
};

TEST(ScaleTest, AGroupCostsTheSameBesideThousandsOfRulesThatConsumeOtherInputs) {
    constexpr std::size_t others = 4998;
    constexpr std::size_t asked = others / 3 * 5;
    // Everywhere a few rules stand behind the group, so that what the group reports last is read too.
    Rules alone;
    alone.AddGroup();
    alone.AddOthers(3);
    Rules first;
    first.AddGroup();
    first.AddOthers(3 + others);
    Rules last;
    last.AddOthers(others);
    last.AddGroup();
    last.AddOthers(3);

    auto const costs = alone.Run(60);
    for (auto* const beside : {&first, &last}) {
        auto const besideOthers = beside->Run(60);
        for (std::size_t frame = 0; frame < costs.size(); ++frame) {
            SCOPED_TRACE(frame);
            EXPECT_EQ(besideOthers[frame].items, costs[frame].items);
            EXPECT_EQ(besideOthers[frame].lookUps.asked, costs[frame].lookUps.asked + asked);
            EXPECT_EQ(besideOthers[frame].lookUps.found, costs[frame].lookUps.found);
            EXPECT_EQ(besideOthers[frame].lookUps.read, costs[frame].lookUps.read);
            EXPECT_EQ(besideOthers[frame].allocations, costs[frame].allocations);
        }
    }
}

TEST(ScaleTest, EveryItemIsReadOnceHoweverManyRulesAsk) {
    Rules rules;
    rules.AddGroup();
    rules.AddOthers(300);
    for (auto const& cost : rules.Run(20)) {
        EXPECT_LE(cost.lookUps.read, cost.items + 30u) << "30 internal events at most have left the frame again";
        EXPECT_GT(cost.lookUps.asked, 500u);
    }
}

TEST(ScaleTest, SilentRulesTakeNoMemory) {
    Rules rules;
    rules.AddOthers(300);
    for (auto const& cost : rules.Run(20)) {
        // The copy of the channel's record, and the index over the detections.
        EXPECT_LT(cost.allocations, 20u);
        EXPECT_EQ(cost.lookUps.found, 0u);
    }
}

// ---- What an event takes --------------------------------------------------------------------------------------------

std::unique_ptr<Meta> FrameWith(unsigned int persons, std::int64_t milliseconds) {
    auto const now = At(milliseconds);
    auto frame = std::make_unique<Meta>(now);
    for (unsigned int person = 0; person < persons; ++person) {
        for (unsigned int const input : {A, B}) {
            frame->Append(tests::MakeEvent(now, now, {tests::Record(input), tests::Person(person), tests::Zone(1)}));
        }
    }
    frame->FindEvents(A);  // makes the index
    return frame;
}

std::unique_ptr<Meta> FrameWithAGroup(unsigned int persons, std::int64_t milliseconds) {
    auto const now = At(milliseconds);
    meta::data::Event::Objects group{tests::Record(B)};
    for (unsigned int person = 0; person < persons; ++person) {
        group.push_back(tests::Person(person));
    }
    auto frame = std::make_unique<Meta>(now);
    frame->Append(tests::MakeEvent(now, now, group));
    frame->FindEvents(B);
    return frame;
}

// What a rule takes for a frame, when it has seen such frames before.
template <class Rule>
std::size_t AllocationsFor(Rule& rule, unsigned int persons, decltype(&FrameWith) frameWith = &FrameWith) {
    std::size_t allocations = 0;
    for (std::int64_t number = 0; number < 5; ++number) {
        auto const frame = frameWith(persons, number * 40);
        allocations = tests::AllocationsOf([&] { rule.Generate(*frame); });
    }
    return allocations;
}

TEST(ScaleTest, AnEventIsOneAllocationWithItsCopiesAndOneForItsListWhateverItHolds) {
    // One more is the vector that a rule returns.
    for (unsigned int const persons : {1u, 10u, 200u}) {
        SCOPED_TRACE(persons);
        And both("both", 0, A, B, true);
        EXPECT_EQ(AllocationsFor(both, persons), 2 * persons + 1);
        Or either("either", 0, A, B);
        EXPECT_EQ(AllocationsFor(either, persons), 3u);
        Previous before("before", 0, B, milliseconds(100));
        EXPECT_EQ(AllocationsFor(before, persons), 3u);
        before.SetConstrainTarget(true);
        EXPECT_EQ(AllocationsFor(before, persons), 2 * persons + 1);
    }
    Not never("never", 0, C);
    EXPECT_EQ(AllocationsFor(never, 5), 3u);
    EXPECT_EQ(AllocationsFor(*std::make_unique<Not>("silent", 0, A), 5), 0u);
}

TEST(ScaleTest, AnEventIsInOnePieceWithAllZonesOfItsTarget) {
    auto const frameWith = [](unsigned int zones, std::int64_t milliseconds) {
        auto const now = At(milliseconds);
        auto frame = std::make_unique<Meta>(now);
        for (unsigned int const input : {A, B}) {
            meta::data::Event::Objects objects{tests::Record(input), tests::Person(1)};
            for (unsigned int zone = 0; zone < zones; ++zone) {
                objects.push_back(tests::Zone(zone));
            }
            frame->Append(tests::MakeEvent(now, now, std::move(objects)));
        }
        frame->FindEvents(A);
        return frame;
    };
    for (unsigned int const zones : {0u, 1u, 50u}) {
        SCOPED_TRACE(zones);
        And target("target", 0, A, B, true);
        EXPECT_EQ(AllocationsFor(target, zones, +frameWith), 3u);
        And both("both", 0, A, B, false);
        EXPECT_EQ(AllocationsFor(both, zones, +frameWith), 3u);
    }
}

TEST(ScaleTest, AnEventHasRoomForTheChannel) {
    auto const expectRoom = [](auto&& rule) {
        auto const frame = FrameWith(3, 0);
        auto const channel = tests::Channel(3);
        auto const reported = rule.Generate(*frame);
        EXPECT_FALSE(reported.empty()) << rule.GetName();
        for (auto const& item : reported) {
            auto& event = item->template As<meta::data::Event>();
            EXPECT_EQ(tests::AllocationsOf([&] { event.AppendObject(channel); }), 0u) << rule.GetName();
        }
    };
    expectRoom(And("both", 0, A, B, false));
    expectRoom(And("both of a target", 0, A, B, true));
    expectRoom(Or("either", 0, A, B));
    expectRoom(Previous("before", 0, B, milliseconds(100)));
    expectRoom(Not("never", 0, C));
}

TEST(ScaleTest, WhatIsRememberedOfAGroupIsReportedInOnePieceHoweverLargeItIs) {
    for (unsigned int const persons : {2u, 50u}) {
        Previous before("before", 0, B, milliseconds(100));
        EXPECT_EQ(AllocationsFor(before, persons, FrameWithAGroup), 3u) << "memory for what it remembers is kept";
        before.SetConstrainTarget(true);
        EXPECT_EQ(AllocationsFor(before, persons, FrameWithAGroup), 2 * persons + 1) << "an event for each of them";
    }
}

}  // namespace
}  // namespace qel::observable
