// Every operation of this library, with each of its allocations failing in turn.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "observable/and.hpp"
#include "observable/graph.hpp"
#include "observable/log_observable.hpp"
#include "observable/not.hpp"
#include "observable/notifier.hpp"
#include "observable/observable.hpp"
#include "observable/registry/get.hpp"
#include "tests/support/allocation_failures.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/registered.hpp"
#include "tests/support/scripted.hpp"
#include "tests/support/settings.hpp"

namespace qel::observable {
namespace {

using meta::Meta;
using meta::data::Event;
using std::chrono::milliseconds;
using tests::At;
using tests::Describer;
using tests::Frugal;
using tests::Join;
using tests::MakeEvent;
using tests::Making;
using tests::Person;
using tests::Printed;
using tests::Record;
using tests::Refusal;
using tests::Scripted;
using tests::TextOf;
using tests::Trial;

using Items = std::vector<std::shared_ptr<object::Object>>;
using Operations = std::vector<tests::Operation>;

/// Does not fit into a short string.
std::string const Long = "a name that does not fit into a short string";

std::shared_ptr<Scripted> Rule(unsigned int id, std::vector<unsigned int> dependents = {}) {
    auto rule = std::make_shared<Scripted>(Long);
    rule->SetId(id);
    rule->dependents = std::move(dependents);
    return rule;
}

class AllocationFailuresTest : public testing::TestWithParam<tests::Operation> {};

TEST_P(AllocationFailuresTest, AreSurvived) { tests::ExpectToSurviveLackOfMemory(GetParam()); }

// ---- The base class -------------------------------------------------------------------------------------------------

/// A rule that its subscriber `heard` of, and somebody who holds its record.
struct Subscribed {
    std::shared_ptr<Scripted> rule = Rule(5);
    std::shared_ptr<meta::data::Observable const> record = rule->MakeObservableMetadata();
    int heard = 0;
    type::Binding first = rule->Bind([this](auto const&) { ++heard; });
    type::Binding next;

    std::string See() {
        heard = 0;
        rule->Notify(MakeEvent(At(0), At(0), {}));
        return TextOf(rule->GetId(), record->GetId(), rule->MakeObservableMetadata()->GetId(),
                      rule->MakeObservableMetadata() == record, rule->GetName(), heard, rule->HasObservers());
    }
};

template <class Work>
std::function<Trial()> OnSubscribed(Work work) {
    return [=] {
        auto const world = std::make_shared<Subscribed>();
        return Trial{[=] { work(*world); }, [=] { return world->See(); }};
    };
}

Operations OfObservable() {
    return {
        Making(
            "MakingAnObservable", [] { return Rule(7); }, [](auto const& rule) { return rule->GetName(); }),
        {"SettingAnId", OnSubscribed([](Subscribed& world) { world.rule->SetId(7); })},
        Frugal("SettingAnIdOfItsOwnRecord",
               [] {
                   auto const rule = Rule(5);
                   return Trial{[=] { rule->SetId(7); },
                                [=] { return TextOf(rule->GetId(), rule->MakeObservableMetadata()->GetId()); }};
               }),
        {"SettingAName", OnSubscribed([](Subscribed& world) { world.rule->SetName(std::string(100, 'n')); })},
        {"GettingAName", OnSubscribed([](Subscribed& world) { static_cast<void>(world.rule->GetName()); })},
        Frugal("ReadingAndSettingTheRest", OnSubscribed([](Subscribed& world) {
                   auto& rule = *world.rule;
                   rule.SetTriggersAction(rule.GetTriggersAction());
                   static_cast<void>(rule.HasName(Long) && rule.GetTypeName() == nullptr && rule.HasObservers() &&
                                     rule.GetId() == 0 && rule.GetTypeNameId() == hash::MurmurThree32());
                   static_cast<void>(rule.GetInputProperties());
                   static_cast<void>(rule.GetPtr() == std::as_const(rule).GetPtr());
                   static_cast<void>(rule.GetLock());
                   static_cast<void>(rule.Observable::GetDependents());
                   rule.Reset();
                   rule.Unbind(99);
               })),
        {"ListingDependents", OnSubscribed([](Subscribed& world) {
             world.rule->dependents = {1, 2, 3};
             static_cast<void>(world.rule->GetDependents());
         })},
        {"Binding", OnSubscribed([](Subscribed& world) {
             world.next = world.rule->Bind([held = Long, &world](auto const&) { world.heard += 10; });
         })},
        {"BindingIntoAFreeSlot",
         [] {
             auto const world = std::make_shared<Subscribed>();
             world->first.Reset();
             return Trial{[=] {
                              world->first = world->rule->Bind(
                                  [held = Long, world = world.get()](auto const&) { ++world->heard; });
                          },
                          [=] { return world->See(); }};
         }},
        Refusal<std::invalid_argument>("BindingNothing",
                                       OnSubscribed([](Subscribed& world) { world.next = world.rule->Bind({}); })),
        Frugal("Unbinding", OnSubscribed([](Subscribed& world) { world.first.Reset(); })),
        Frugal("UnbindingById", OnSubscribed([](Subscribed& world) { world.rule->Unbind(0); })),
        {"AddingAnAugmentedMetaCallback",
         [] {
             struct World {
                 std::shared_ptr<Scripted> rule = Rule(5);
                 std::vector<type::Binding> bindings;
             };
             auto const world = std::make_shared<World>();
             world->bindings.reserve(1);
             return Trial{[=] {
                              world->bindings.push_back(
                                  Observable::AddAugmentedMetaCallback([held = Long] { return Person(3); }));
                          },
                          [=] {
                              auto const event = MakeEvent(1, At(0), At(0), {});
                              world->rule->Notify(event);
                              return Describer()(event);
                          }};
         }},
        Refusal<std::invalid_argument>("AddingNoAugmentedMetaCallback", OnSubscribed([](Subscribed&) {
                                           static_cast<void>(Observable::AddAugmentedMetaCallback({}));
                                       })),
        Frugal("NotifyingWithoutAugmentedMeta",
               [] {
                   auto const world = std::make_shared<Subscribed>();
                   auto const event = MakeEvent(1, At(0), At(0), {Person(3)});
                   return Trial{[=] { world->rule->Notify(event); },
                                [=] { return Describer()(event) + TextOf(world->heard); }};
               }),
        {"NotifyingWithAugmentedMeta",
         [] {
             struct World {
                 Subscribed subscribed;
                 std::shared_ptr<Event> event;
                 type::Binding one = Observable::AddAugmentedMetaCallback([] { return Person(3); });
                 type::Binding two = Observable::AddAugmentedMetaCallback([] { return nullptr; });
             };
             auto const world = std::make_shared<World>();
             return Trial{[=] {
                              world->event = MakeEvent(1, At(0), At(0), {Person(2)});
                              world->subscribed.rule->Notify(world->event);
                          },
                          [=] {
                              return world->subscribed.heard > 0
                                         ? Describer()(world->event) + TextOf(world->subscribed.heard)
                                         : std::string();
                          }};
         }},
        Refusal<std::invalid_argument>("NotifyingOfNothing",
                                       OnSubscribed([](Subscribed& world) { world.rule->Notify(nullptr); })),
        {"MakingTheMetadataRecord",
         [] {
             auto const rule = std::make_shared<Not>(Long, std::uint16_t{0}, UnsetId);
             return Trial{[=] { rule->MakeObservableMetadata(); },
                          [=] { return TextOf(rule->GetId() == rule->MakeObservableMetadata()->GetId()); }};
         }},
        Frugal("MakingTheMetadataRecordAgain",
               OnSubscribed([](Subscribed& world) { world.rule->MakeObservableMetadata(); })),
        Making(
            "CopyingEventMeta",
            [] {
                auto const rule = Rule(5);
                return rule->CopyEventMeta(*MakeEvent(At(0), At(0), {Person(1), Record(3), nullptr, Person(2)}));
            },
            [](auto const& objects) { return Join(Describer().Each(objects)); }),
        Making(
            "Generating",
            [] {
                auto const rule = Rule(5);
                rule->process = [](Meta const&) { return Items{Person(1)}; };
                return GenerateMeta(Meta(At(0)), rule);
            },
            [](auto const& objects) { return Join(Describer().Each(objects)); }),
        Refusal<std::invalid_argument>("GeneratingByNothing",
                                       OnSubscribed([](Subscribed&) { GenerateMeta(Meta(At(0)), nullptr); })),
        Making(
            "MakingABadCastError",
            [] { return Not(Long, 0, UnsetId).BadCastError("qel.observable.another.with.a.long.name"); },
            [](type::BadCast const& error) { return std::string(error.what()); }),
        Making(
            "MakingABadCastErrorForAnUnregisteredType", [] { return Rule(5)->BadCastError("another"); },
            [](type::BadCast const& error) { return std::string(error.what()); }),
        Making(
            "MakingAnObservableByType", [] { return Observable::Make(object::TypeIdOf<And>); },
            [](auto const& made) { return made->GetName() + made->GetTypeName(); }),
        Frugal("LookingForAnUnknownType", OnSubscribed([](Subscribed&) {
                   static_cast<void>(Observable::Make(object::TypeIdOf<Scripted>));
                   static_cast<void>(Observable::TypeName(object::TypeIdOf<Scripted>));
                   static_cast<void>(Observable::TypeName(object::TypeIdOf<And>));
                   static_cast<void>(registry::Get().GetMap()->size());
               })),
        {"Registering",
         [] {
             auto const registered = std::make_shared<std::unique_ptr<tests::Registered<Scripted>>>();
             return Trial{[=] { *registered = std::make_unique<tests::Registered<Scripted>>(); },
                          [=] {
                              auto const made = Observable::Make(object::TypeIdOf<Scripted>);
                              return made ? made->GetTypeName() : std::string("unknown");
                          }};
         }},
        {"MakingAnInfo",
         [] {
             auto const info = std::make_shared<std::optional<registry::Info>>();
             return Trial{[=] {
                              info->emplace(
                                  object::TypeIdOf<Scripted>, Scripted::ClassTypeName,
                                  [rule = Rule(1)] { return rule; },
                                  [held = Long] { return Scripted::MakeProperties(); });
                          },
                          [=] { return *info ? Join(tests::DescribeSettings((*info)->GetSchemas())) : ""; }};
         }},
        {"SettingANameAsAProperty",
         [] {
             auto const rule = Rule(5);
             auto const property = tests::BindSetting(Not::MakeProperties(), rule, "name");
             auto const value = std::make_shared<object::String>(std::string(100, 'n'));
             return Trial{[=] { property->Set(*value); },
                          [=] { return rule->GetName() + tests::ValueText(*property->GetObject()); }};
         }},
        Frugal("SettingTheFlagAsAProperty",
               [] {
                   auto const rule = Rule(5);
                   auto const property = tests::BindSetting(Not::MakeProperties(), rule, "triggers_action");
                   auto const value = std::make_shared<object::Bool>(false);
                   return Trial{[=] { property->Set(*value); }, [=] { return TextOf(rule->GetTriggersAction()); }};
               }),
    };
}

INSTANTIATE_TEST_SUITE_P(Observable, AllocationFailuresTest, testing::ValuesIn(OfObservable()), tests::NameOfOperation);

TEST(AugmentedMetaCallbackTest, ThatCannotBeAddedIsDestroyedWithoutTheLock) {
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
        // Its end takes the lock.
        auto other = std::make_shared<type::Binding>(Observable::AddAugmentedMetaCallback([] { return nullptr; }));
        Observable::AugmentedMetaCallback callback = [held = std::move(other)] { return nullptr; };
        type::Binding added;
        failed = tests::FailsForLackOfMemory(
            failures, [&] { added = Observable::AddAugmentedMetaCallback(std::move(callback)); });
    }
    EXPECT_GT(failures, 1u);
}

// ---- The graph ------------------------------------------------------------------------------------------------------

struct Rules {
    std::shared_ptr<Scripted> one = Rule(1);
    std::shared_ptr<Scripted> two = Rule(2, {1});
    std::shared_ptr<Scripted> three = Rule(3, {2, 1});
    std::shared_ptr<Scripted> four = Rule(4);
    std::shared_ptr<Scripted> first = Rule(10, {11});
    std::shared_ptr<Scripted> second = Rule(11);
};

std::string IdsOf(std::vector<std::shared_ptr<Observable>> const& path) {
    std::string text;
    for (auto const& each : path) {
        text += TextOf(each->GetId());
    }
    return text;
}

struct RuleGraph : Rules {
    RuleGraph() {
        graph->Add(one);
        graph->Add(two);
        graph->Add(three);
        graph->Add(first);
    }
    std::string See() { return Printed(*graph) + IdsOf(graph->GetPath()); }

    std::unique_ptr<Graph> graph = std::make_unique<Graph>();
};

template <class Work>
std::function<Trial()> OnGraph(Work work) {
    return [=] {
        auto const world = std::make_shared<RuleGraph>();
        return Trial{[=] { work(*world); }, [=] { return world->See(); }};
    };
}

Operations OfGraph() {
    return {
        Making(
            "MakingAGraph", [] { return std::make_unique<Graph>(); },
            [](auto const& graph) { return Printed(*graph); }),
        {"Adding", OnGraph([](RuleGraph& world) { world.graph->Add(world.four); })},
        {"AddingAnInputOfAnother", OnGraph([](RuleGraph& world) { world.graph->Add(world.second); })},
        {"AddingWithALine",
         [] {
             struct World : RuleGraph {
                 tests::LogCapture capture;
             };
             auto const world = std::make_shared<World>();
             return Trial{[=] { world->graph->Add(world->four); }, [=] { return world->See(); }};
         }},
        Refusal<std::runtime_error>("AddingAKnownOne", OnGraph([](RuleGraph& world) { world.graph->Add(Rule(2)); })),
        Refusal<std::runtime_error>("ClosingACycle", OnGraph([](RuleGraph& world) {
                                        world.second->dependents = {10};
                                        // Once it has been refused the graph holds it.
                                        if (!world.graph->HaveVertex(11)) {
                                            world.graph->Add(world.second);
                                        }
                                    })),
        Refusal<std::runtime_error>("ChangingIntoACycle", OnGraph([](RuleGraph& world) {
                                        world.one->dependents = {3};
                                        world.graph->Update(world.one);
                                    })),
        Refusal<std::invalid_argument>("AddingNothing", OnGraph([](RuleGraph& world) { world.graph->Add(nullptr); })),
        {"Updating", OnGraph([](RuleGraph& world) {
             world.one->dependents = {10};
             world.graph->Update(world.one);
         })},
        Refusal<std::runtime_error>("UpdatingAnUnknownOne",
                                    OnGraph([](RuleGraph& world) { world.graph->Update(world.four); })),
        {"UpdatingThePath", OnGraph([](RuleGraph& world) { world.graph->UpdatePath(); })},
        {"Removing", OnGraph([](RuleGraph& world) { world.graph->Remove(world.three); })},
        Refusal<std::runtime_error>("RemovingAnInput",
                                    OnGraph([](RuleGraph& world) { world.graph->Remove(world.one); })),
        Refusal<std::runtime_error>("RemovingAnUnknownOne",
                                    OnGraph([](RuleGraph& world) { world.graph->Remove(world.four); })),
        Refusal<std::runtime_error>("AskingForAnUnknownVertex",
                                    OnGraph([](RuleGraph& world) { world.graph->GetVertex(4); })),
        Refusal<std::runtime_error>("AskingForAnUnknownObservable",
                                    OnGraph([](RuleGraph& world) { world.graph->GetObservable(4); })),
        Refusal<std::logic_error>("UsingAGraphThatWasMovedFrom", OnGraph([](RuleGraph&) {
                                      Graph graph;
                                      Graph const moved(std::move(graph));
                                      graph.UpdatePath();
                                  })),
        Frugal("Looking", OnGraph([](RuleGraph& world) {
                   static_cast<void>(world.graph->GetVertex(3) + world.graph->GetPath().size());
                   static_cast<void>(world.graph->GetObservable(3));
                   static_cast<void>(HasDependency(world.three->dependents, 4));
               })),
        Frugal("MovingAGraph", OnGraph([](RuleGraph& world) {
                   Graph moved(std::move(*world.graph));
                   world.graph->~Graph();
                   new (world.graph.get()) Graph(std::move(moved));
               })),
    };
}

INSTANTIATE_TEST_SUITE_P(Graph, AllocationFailuresTest, testing::ValuesIn(OfGraph()), tests::NameOfOperation);

// ---- The notifier ---------------------------------------------------------------------------------------------------

/// A rule set whose rules report by the frame's time.
struct RuleSet : Rules {
    RuleSet() {
        bindings.reserve(8);
        Add(one);
        Add(two);
        Add(three);
        Add(first);
        two->SetTriggersAction(false);
        one->process = [](Meta const& frame) {
            return frame.GetTimestamp() <= At(1) ? Items{About(1, 1), About(2, 1)} : Items{About(1, 1)};
        };
        two->process = [](Meta const& frame) {
            return frame.GetTimestamp() == At(1) ? Items{About(3, 2), nullptr, About(4, 2)} : Items{About(4, 2)};
        };
        three->process = [](Meta const& frame) {
            Items items;
            for (unsigned int id = 5; frame.GetTimestamp() == At(1) && id < 25; ++id) {
                items.push_back(About(id, id));
            }
            return items;
        };
        heard = one->Bind([](auto const&) {});
        Process(At(0));
    }

    static std::shared_ptr<Event> About(unsigned int id, unsigned int person) {
        return MakeEvent(id, At(0), At(0), {Record(person), Person(person)});
    }
    void Add(std::shared_ptr<Observable> const& rule) { bindings.push_back(notifier->AddObservable(rule)); }

    std::string Process(meta::Timestamp time) {
        Meta const frame(time);
        frame.Append(tests::Channel(9));
        notifier->Process(frame);
        return Join(Describer().Each(frame));
    }
    std::string See() {
        std::string text = IdsOf(notifier->GetObservables()) + '\n';
        for (int time = 2; time < 4; ++time) {
            text += Process(At(time)) + '\n';
        }
        return text;
    }

    std::unique_ptr<Notifier> notifier = std::make_unique<Notifier>();
    std::vector<type::Binding> bindings;
    type::Binding heard;
};

template <class Work>
std::function<Trial()> OnNotifier(Work work) {
    return [=] {
        auto const world = std::make_shared<RuleSet>();
        return Trial{[=] { work(*world); }, [=] { return world->See(); }};
    };
}

template <class World>
Trial ProcessOf(std::shared_ptr<World> const& world) {
    auto const text = std::make_shared<std::string>();
    auto const frame = std::make_shared<std::optional<Meta>>();
    auto const done = std::make_shared<bool>(false);
    return {[=] {
                frame->emplace(At(1));
                (*frame)->Append(tests::Channel(9, Long));
                world->notifier->Process(**frame);
                *done = true;
            },
            [=] { return (*done ? Join(Describer().Each(**frame)) : std::string()) + world->See(); }};
}

Operations OfNotifier() {
    return {
        Making(
            "MakingANotifier", [] { return std::make_unique<Notifier>(); },
            [](auto const& notifier) { return IdsOf(notifier->GetObservables()); }),
        {"AddingToANotifier", OnNotifier([](RuleSet& world) { world.Add(world.four); })},
        {"AddingAnInputOfAnotherToANotifier", OnNotifier([](RuleSet& world) { world.Add(world.second); })},
        Refusal<std::runtime_error>("AddingAKnownOneToANotifier",
                                    OnNotifier([](RuleSet& world) { world.Add(Rule(1)); })),
        Refusal<std::runtime_error>("ClosingACycleInANotifier", OnNotifier([](RuleSet& world) {
                                        world.one->dependents = {3};
                                        world.notifier->ObservableChanged(world.one);
                                    })),
        Refusal<std::invalid_argument>("AddingNothingToANotifier",
                                       OnNotifier([](RuleSet& world) { world.Add(nullptr); })),
        {"RemovingFromANotifier", OnNotifier([](RuleSet& world) { world.notifier->RemoveObservable(world.three); })},
        {"RemovingByIdFromANotifier", OnNotifier([](RuleSet& world) { world.notifier->RemoveObservableId(3); })},
        Refusal<std::runtime_error>("RemovingAnInputFromANotifier",
                                    OnNotifier([](RuleSet& world) { world.notifier->RemoveObservableId(1); })),
        Refusal<std::runtime_error>("RemovingAnUnknownOneFromANotifier",
                                    OnNotifier([](RuleSet& world) { world.notifier->RemoveObservableId(99); })),
        {"ChangingTheInputsInANotifier", OnNotifier([](RuleSet& world) {
             world.one->dependents = {10};
             world.notifier->ObservableChanged(world.one);
         })},
        Frugal("AskingANotifier", OnNotifier([](RuleSet& world) {
                   world.notifier->SetEventRetriggerTime(milliseconds(0));
                   static_cast<void>(world.notifier->GetObservables());
               })),
        Frugal("DroppingHandlesOfANotifier",
               [] {
                   auto const world = std::make_shared<RuleSet>();
                   std::weak_ptr<Observable> const dropped = world->three;
                   world->notifier->RemoveObservable(world->three);
                   world->three.reset();
                   return Trial{[=] {
                                    for (auto& binding : world->bindings) {
                                        binding.Reset();
                                    }
                                },
                                [=] { return TextOf(dropped.expired()); }};
               }),
        Frugal("DroppingHandlesOfADestroyedNotifier",
               [] {
                   auto const world = std::make_shared<RuleSet>();
                   return Trial{[=] {
                                    world->notifier.reset();
                                    world->bindings.clear();
                                },
                                [=] { return TextOf(world->one.use_count()); }};
               }),
        {"Processing", [] { return ProcessOf(std::make_shared<RuleSet>()); }},
        {"ProcessingAfterAKeyChange",
         [] {
             auto const world = std::make_shared<RuleSet>();
             meta::data::Observable(1).SetId(2);
             return ProcessOf(world);
         }},
        {"ProcessingWithLines",
         [] {
             struct World : RuleSet {
                 tests::LogCapture capture;
             };
             return ProcessOf(std::make_shared<World>());
         }},
        {"ProcessingWithAugmentedMeta",
         [] {
             struct World : RuleSet {
                 type::Binding augmented = Observable::AddAugmentedMetaCallback([] { return Person(77); });
             };
             return ProcessOf(std::make_shared<World>());
         }},
        {"LoggingAnObservable",
         [] {
             auto const capture = std::make_shared<tests::LogCapture>();
             return Trial{[=] {
                              LogObservable({MakeEvent(At(0), At(0), {})}, 7, 8, Long);
                              LogObservable({MakeEvent(At(0), At(0), {})}, std::nullopt, 8, Long);
                          },
                          [=] { return ""; }};
         }},
        Frugal("LoggingAnObservableForNobody",
               [] {
                   auto const generated = std::make_shared<Items>(Items{MakeEvent(At(0), At(0), {})});
                   return Trial{[=] { LogObservable(*generated, 7, 8, Long); }, [=] { return ""; }};
               }),
    };
}

INSTANTIATE_TEST_SUITE_P(Notifier, AllocationFailuresTest, testing::ValuesIn(OfNotifier()), tests::NameOfOperation);

TEST(NotifierHandleTest, ThatIsDroppedInsideAPassNeedsNoMemory) {
    Notifier notifier;
    auto const again = Rule(1);
    auto const add = [&](std::shared_ptr<Observable> const& rule) {
        auto handle = notifier.AddObservable(rule);
        notifier.RemoveObservable(rule);
        return handle;
    };
    // More handles than observables: the first that is dropped of a round gives up all that have its id.
    std::vector<type::Binding> handles;
    for (int round = 0; round < 10; ++round) {
        auto const first = add(again);
        handles.push_back(add(again));
    }
    std::weak_ptr<Observable> last;
    {
        auto const rule = Rule(2);
        last = rule;
        handles.push_back(add(rule));
    }
    auto const dropping = Rule(3);
    dropping->process = [&](Meta const&) {
        tests::NoMoreMemory const noMore;
        for (auto& handle : handles) {
            handle.Reset();
        }
        return Items{};
    };
    auto const added = notifier.AddObservable(dropping);
    EXPECT_FALSE(last.expired());
    notifier.Process(Meta(At(0)));
    EXPECT_TRUE(last.expired());
}

}  // namespace
}  // namespace qel::observable
