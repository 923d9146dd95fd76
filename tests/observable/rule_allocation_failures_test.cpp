// Every operation of the types of rules, with each of its allocations failing in turn. A frame that fails is, for the
// frames behind it, as if it had not been.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "foundation/meta/views.hpp"
#include "observable/and.hpp"
#include "observable/compound.hpp"
#include "observable/duration_track.hpp"
#include "observable/event_buffer.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/or.hpp"
#include "observable/plugin/loader.hpp"
#include "observable/previous.hpp"
#include "observable/properties/make.hpp"
#include "tests/support/allocation_failures.hpp"
#include "tests/support/failing_frame.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/settings.hpp"
#include "tests/support/timeline.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using std::chrono::milliseconds;
using tests::Frugal;
using tests::Join;
using tests::Making;
using tests::Printed;
using tests::Refusal;
using tests::Scripted;
using tests::Trial;

using Items = std::vector<std::shared_ptr<object::Object>>;
using Operations = std::vector<tests::Operation>;

constexpr std::uint32_t A = 31;
constexpr std::uint32_t B = 32;

/// Does not fit into a short string.
std::string const Long = "a name that does not fit into a short string";

class RuleAllocationFailuresTest : public testing::TestWithParam<tests::Operation> {};

TEST_P(RuleAllocationFailuresTest, AreSurvived) { tests::ExpectToSurviveLackOfMemory(GetParam()); }

// ---- Frames ---------------------------------------------------------------------------------------------------------

/// What a rule is fed with, frame by frame, which of the frames fails, and what is set before which.
struct Play {
    std::string a;
    std::string b;
    std::size_t failing;
    tests::FailingFrame::Before before = [](auto&, std::size_t) {};
};

template <class Make>
tests::MakeFailingFrame Playing(Make make, Play play) {
    return [=] {
        auto frames = tests::MakeFrames({{A, play.a}, {B, play.b}});
        for (auto const& frame : frames) {
            for (auto const& item : tests::Items(*frame)) {
                item->As<Event>().AppendObject(tests::Zone(static_cast<unsigned int>(item.use_count()) + 90));
            }
        }
        return std::make_shared<tests::FailingFrame>(make(), std::move(frames), play.failing, play.before);
    };
}

/// A frame of a rule that `make` makes.
template <class Make>
tests::Operation Frame(std::string name, Make make, Play play) {
    return tests::UnseenFrame(std::move(name), Playing(make, std::move(play)));
}

template <class Combinator>
void Constrain(Observable& rule, bool constrain) {
    static_cast<Combinator&>(rule).SetConstrainTarget(constrain);
}

/// The mode of the frame that fails is another than that of the frames around it.
template <class Combinator>
auto InTurn(std::size_t failing, bool constrain) {
    return [=](Observable& rule, std::size_t number) {
        Constrain<Combinator>(rule, (number == failing) == constrain);
        rule.SetName(number == failing ? Long : Long + " and is another");
    };
}

template <class Combinator>
Operations OfFrames(std::string const& prefix, std::function<std::shared_ptr<Observable>()> const& make) {
    std::string const many = "0123456789,12345,0987654321";
    auto const always = [](bool constrain) {
        return [=](Observable& rule, std::size_t) { Constrain<Combinator>(rule, constrain); };
    };
    Operations operations;
    for (bool const constrain : {false, true}) {
        std::string const name = prefix + (constrain ? "ByTarget" : "AsOne");
        operations.push_back(
            Frame(name + "Beginning", make, {". 12 12 23 . 12", ". 12,3 12 13 23 12", 1, always(constrain)}));
        operations.push_back(
            Frame(name + "GoingOn", make, {"12 12 13 12 .", "12 12 123 12,1 .", 2, always(constrain)}));
        operations.push_back(Frame(name + "WithManyTargets", make,
                                   {"12 " + many + " 123 x", many + " " + many + " 12 12,3", 1, always(constrain)}));
        operations.push_back(Frame(name + "AfterAChangeOfTheMode", make,
                                   {"12 23 14 123 12", "12 12 124 13 12", 2, InTurn<Combinator>(2, constrain)}));
        operations.push_back(Frame(name + "Ending", make,
                                   {"12 12 . 12 12", "12 12 . 12 12", 2, [=](Observable& rule, std::size_t number) {
                                        Constrain<Combinator>(rule, constrain);
                                        rule.SetName(Long + std::to_string(number));
                                    }}));
        // They just forget.
        operations.back().allocates = std::is_same_v<Combinator, Previous>;
    }
    return operations;
}

std::shared_ptr<Observable> MakeAnd() { return std::make_shared<And>(Long, std::uint16_t{0}, A, B, true); }
std::shared_ptr<Observable> MakeOr() { return std::make_shared<Or>(Long, std::uint16_t{0}, A, B); }
std::shared_ptr<Observable> MakePrevious() {
    return std::make_shared<Previous>(Long, std::uint16_t{0}, A, milliseconds(15));
}
std::shared_ptr<Observable> MakeNot() { return std::make_shared<Not>(Long, std::uint16_t{0}, A); }

INSTANTIATE_TEST_SUITE_P(And, RuleAllocationFailuresTest, testing::ValuesIn(OfFrames<And>("And", MakeAnd)),
                         tests::NameOfOperation);
INSTANTIATE_TEST_SUITE_P(Or, RuleAllocationFailuresTest, testing::ValuesIn(OfFrames<Or>("Or", MakeOr)),
                         tests::NameOfOperation);
INSTANTIATE_TEST_SUITE_P(Previous, RuleAllocationFailuresTest,
                         testing::ValuesIn(OfFrames<Previous>("Previous", MakePrevious)), tests::NameOfOperation);
INSTANTIATE_TEST_SUITE_P(Not, RuleAllocationFailuresTest,
                         testing::Values(Frame("Beginning", MakeNot, {"1 . . 1 .", "1 1 1 1 1", 1}),
                                         Frame("GoingOn", MakeNot, {". . . 1 .", "1 1 1 1 1", 1}),
                                         Frame("Ending", MakeNot, {". 1 . . .", "1 1 1 1 1", 1})),
                         tests::NameOfOperation);

// ---- Bases ----------------------------------------------------------------------------------------------------------

/// Reports what input A has reported, for which it keeps nothing from frame to frame.
class Echo : public Observable {
public:
    explicit Echo(unsigned int id) : Observable(hash::MurmurThree32::MakeData("qel.tests.Echo")) { SetId(id); }

    std::vector<unsigned int> GetDependents() const override { return {A, 71}; }
    Items Process(Meta const& frame) override {
        Items items;
        for (auto const& event : meta::EventsNaming(frame, A)) {
            items.push_back(
                std::make_shared<Event>(GetName(), Long, Long, event.GetStart(), event.GetEnd(), CopyEventMeta(event)));
        }
        return items;
    }
};

class Chain : public Compound {
public:
    Chain() : Compound(hash::MurmurThree32::MakeData("qel.tests.Chain")) { SetName(Long); }

    std::vector<std::shared_ptr<Observable>> MakeObservables() const override {
        auto last = std::make_shared<Previous>("last", std::uint16_t{0}, 71, milliseconds(15));
        last->SetId(72);
        last->SetConstrainTarget(true);
        return {std::make_shared<Echo>(71), std::move(last)};
    }
    std::string GetEventType() const override { return Long; }
};

class Broken : public Compound {
public:
    explicit Broken(std::vector<std::shared_ptr<Observable>> chain)
        : Compound(hash::MurmurThree32::MakeData("qel.tests.Broken")), chain(std::move(chain)) {
        SetName(Long);
    }

    std::vector<std::shared_ptr<Observable>> MakeObservables() const override { return chain; }
    std::string GetEventType() const override { return Long; }

    std::vector<std::shared_ptr<Observable>> chain;
};

/// Hands a `DurationTrack` what input A has reported.
class Lasting : public Observable, public DurationTrack {
public:
    Lasting() : Observable(hash::MurmurThree32::MakeData("qel.tests.Lasting")), DurationTrack(milliseconds(15)) {
        SetName(Long);
    }

    Items Process(Meta const& frame) override { return TrackObjects(tests::Items(frame), frame.GetTimestamp()); }
    bool IsTracked(meta::data::Object const& object) const override { return object.GetId() != 9; }
    std::shared_ptr<object::Object const> MakeTrackRecord() const override { return MakeObservableMetadata(); }
    std::string GetTrackName() const override { return GetName(); }
    std::string GetTrackType() const override { return "lasting"; }
    std::string GetTrackCategory() const override { return Long; }
};

template <class Work>
std::function<Trial()> OnChain(Work work) {
    return [=] {
        auto const chain = std::make_shared<Chain>();
        return Trial{[=] { work(*chain); },
                     [=] {
                         std::string text;
                         for (auto const& member : chain->GetObservables()) {
                             text += tests::TextOf(member->GetId(), member->GetName());
                         }
                         return text;
                     }};
    };
}

Operations OfBases() {
    auto const makeChain = [] { return std::make_shared<Chain>(); };
    auto const makeLasting = [] { return std::make_shared<Lasting>(); };
    return {
        Making("MakingACompound", makeChain, [](auto const& made) { return made->GetName(); }),
        {"MakingTheChain", OnChain([](Chain& chain) { chain.GetObservables(); })},
        {"AskingAConstCompoundForItsChain", OnChain([](Chain const& chain) { chain.GetObservables(); })},
        {"AskingACompoundForItsDependents", OnChain([](Chain const& chain) { chain.GetDependents(); })},
        Frugal("ResettingACompoundWithoutAChain", OnChain([](Chain& chain) { chain.Reset(); })),
        Refusal<std::logic_error>("RefusingANullInAChain",
                                  [] {
                                      auto const broken =
                                          std::make_shared<Broken>(std::vector<std::shared_ptr<Observable>>{nullptr});
                                      return Trial{[=] { broken->GetDependents(); }, [] { return ""; }};
                                  }),
        Refusal<std::logic_error>("RefusingAnEmptyChain",
                                  [] {
                                      auto const broken =
                                          std::make_shared<Broken>(std::vector<std::shared_ptr<Observable>>{});
                                      return Trial{[=] { broken->GetObservables(); }, [] { return ""; }};
                                  }),
        tests::SeenFrame("FirstFrameOfACompound", Playing(makeChain, {"12 1 . 2 .", "1 1 1 1 1", 0})),
        tests::SeenFrame("FrameOfACompound", Playing(makeChain, {"12 13,12 . . 2", "1 1 1 1 1", 1})),
        Making("MakingADurationTrack", makeLasting, [](auto const& made) { return made->GetName(); }),
        Frame("FrameOfADurationTrack", makeLasting, {"12 12 13,1 12,9 12 .", ". . 5 . 1 .", 2}),
        Frame("FrameOfADurationTrackThatGoesOn", makeLasting, {"12 12 12 12 12 .", ". . . 5 1 .", 3}),
        Frugal("SettingADurationTrack",
               [] {
                   auto const lasting = std::make_shared<Lasting>();
                   return Trial{[=] {
                                    lasting->SetDuration(milliseconds(7));
                                    lasting->ResetDurationTrack();
                                },
                                [=] { return tests::TextOf(lasting->GetDuration().count()); }};
               }),
    };
}

INSTANTIATE_TEST_SUITE_P(Bases, RuleAllocationFailuresTest, testing::ValuesIn(OfBases()), tests::NameOfOperation);

// ---- The rest -------------------------------------------------------------------------------------------------------

template <class T>
Operations OfSettings(std::string const& type, std::function<std::shared_ptr<Observable>()> const& make) {
    return {
        Making("Making" + type, make,
               [](std::shared_ptr<Observable> const& made) { return made->GetName() + made->GetTypeName(); }),
        Making(
            "ListingTheSettingsOf" + type, [] { return T::MakeProperties(); },
            [](auto const& schemas) { return Join(tests::DescribeSettings(schemas)); }),
        {"ListingTheDependentsOf" + type,
         [=] {
             auto const rule = make();
             return Trial{
                 [=] { rule->GetDependents(); },
                 [=] { return tests::TextOf(rule->GetDependents().size(), rule->GetInputProperties().size()); }};
         }},
        Frugal(
            "SettingTheChannelOf" + type,
            [=] {
                auto const rule = make();
                auto const property = tests::BindSetting(T::MakeProperties(), rule, "channel");
                auto const value = std::make_shared<object::UInt16>(std::uint16_t{3});
                return Trial{[=] { property->Set(*value); }, [=] { return tests::ValueText(*property->GetObject()); }};
            }),
        Refusal<std::out_of_range>(
            "RefusingTheChannelOf" + type,
            [=] {
                auto const property = tests::BindSetting(T::MakeProperties(), make(), "channel");
                property->Bind(nullptr, property::context::Direction::ToTarget);
                auto const value = std::make_shared<object::String>("70000");
                return Trial{[=] { property->Set(*value); }, [=] { return tests::ValueText(*property->GetObject()); }};
            }),
        {"Printing" + type,
         [=] {
             auto const rule = std::static_pointer_cast<T>(make());
             rule->SetId(7);
             return Trial{[=] { Printed(*rule); }, [=] { return Printed(*rule); }};
         }},
    };
}

INSTANTIATE_TEST_SUITE_P(AndSettings, RuleAllocationFailuresTest, testing::ValuesIn(OfSettings<And>("And", MakeAnd)),
                         tests::NameOfOperation);
INSTANTIATE_TEST_SUITE_P(OrSettings, RuleAllocationFailuresTest, testing::ValuesIn(OfSettings<Or>("Or", MakeOr)),
                         tests::NameOfOperation);
INSTANTIATE_TEST_SUITE_P(NotSettings, RuleAllocationFailuresTest, testing::ValuesIn(OfSettings<Not>("Not", MakeNot)),
                         tests::NameOfOperation);
INSTANTIATE_TEST_SUITE_P(PreviousSettings, RuleAllocationFailuresTest,
                         testing::ValuesIn(OfSettings<Previous>("Previous", MakePrevious)), tests::NameOfOperation);

Operations OfTheRest() {
    return {
        {"AddingZonesOfABuffer",
         [] {
             auto const zones = std::make_shared<std::set<meta::data::Zone>>();
             auto const buffer = std::make_shared<std::vector<Event>>();
             for (unsigned int zone = 1; zone < 4; ++zone) {
                 buffer->push_back(
                     *tests::MakeEvent(tests::At(0), tests::At(0), {tests::Person(5), tests::Zone(zone)}));
             }
             return Trial{[=] { AddEventBufferZonesToList(*zones, *buffer, 5); },
                          [=] {
                              AddEventBufferZonesToList(*zones, *buffer, 5);
                              return tests::TextOf(zones->size());
                          }};
         }},
        Making(
            "AddingTheCommonSettings", [] { return properties::Make({}, false); },
            [](auto const& schemas) { return Join(tests::DescribeSettings(schemas)); }),
        {"LoadingPlugins",
         [] {
             plugin::Loader();  // whose initialisers may not fail
             return Trial{[] { plugin::Loader(); }, [] { return ""; }};
         }},
    };
}

INSTANTIATE_TEST_SUITE_P(Rest, RuleAllocationFailuresTest, testing::ValuesIn(OfTheRest()), tests::NameOfOperation);

// ---- All together ---------------------------------------------------------------------------------------------------

/// A notifier with a rule of every type, and what must hold of a frame behind another one, whatever failed between
/// them.
struct Pass {
    Pass() {
        Add(MakeAnd(), 1);
        Add(MakeOr(), 2);
        Add(MakeNot(), 3);
        Add(std::make_shared<Previous>(Long, std::uint16_t{0}, 2, milliseconds(25)), 4);
        Add(std::make_shared<And>(Long, std::uint16_t{0}, 3, 4, false), 5);
        Add(std::make_shared<Chain>(), 6);
        notifier.Process(*frames[0]);
        Check(*frames[0]);
    }

    void Add(std::shared_ptr<Observable> const& rule, unsigned int id) {
        rule->SetId(id);
        rule->SetTriggersAction(id != 2);
        handles.push_back(notifier.AddObservable(rule));
    }

    void Check(Meta const& frame) {
        std::set<unsigned int> current;
        std::set<unsigned int> closed;
        for (auto const& event : meta::EventsOf(frame)) {
            if (event.GetName() == "test") {  // an input, which stands there already
                continue;
            }
            EXPECT_FALSE(event.IsInternal());
            EXPECT_TRUE((event.IsFinal() ? closed : current).insert(event.GetId()).second) << "more than once";
            EXPECT_EQ(event.IsDuplicate(), previous.count(event.GetId()) != 0);
        }
        std::set<unsigned int> ended = previous;
        std::erase_if(ended, [&](unsigned int id) { return current.count(id) != 0; });
        EXPECT_EQ(closed, ended);
        endings += ended.size();
        previous = std::move(current);
    }

    std::vector<std::unique_ptr<Meta>> frames = tests::MakeFrames({{A, "12 12 23 . 1 12"}, {B, "12 2 . 3 12 1"}});
    Notifier notifier;
    std::vector<type::Binding> handles;
    std::set<unsigned int> previous;
    std::size_t endings = 0;
};

template <class Failing>
void ExpectEventsToGoOnAndEndOnce(std::size_t failing) {
    std::size_t before = 0;
    for (bool failed = true; failed; ++before) {
        SCOPED_TRACE("frame " + std::to_string(failing) + " fails behind " + std::to_string(before) + " allocations");
        auto const live = tests::LiveBytes();
        {
            Pass pass;
            for (std::size_t number = 1; number < pass.frames.size(); ++number) {
                auto const process = [&] { pass.notifier.Process(*pass.frames[number]); };
                if (number == failing && tests::FailsForLackOfMemory<Failing>(before, process)) {
                    continue;
                }
                if (number == failing) {
                    failed = false;
                } else {
                    process();
                }
                pass.Check(*pass.frames[number]);
            }
        }
        EXPECT_EQ(tests::LiveBytes(), live);
    }
    EXPECT_GT(before, 20u);
}

TEST(RuleSetAllocationFailuresTest, LetEveryEventGoOnAndEndOnce) {
    Pass undisturbed;  // makes what is made once in the process
    for (std::size_t number = 1; number < undisturbed.frames.size(); ++number) {
        undisturbed.notifier.Process(*undisturbed.frames[number]);
        undisturbed.Check(*undisturbed.frames[number]);
    }
    EXPECT_GT(undisturbed.endings, 5u);
    for (std::size_t failing = 1; failing < 6; ++failing) {
        ExpectEventsToGoOnAndEndOnce<tests::FailingAllocation>(failing);
        ExpectEventsToGoOnAndEndOnce<tests::NoMoreMemory>(failing);
    }
}

}  // namespace
}  // namespace qel::observable
