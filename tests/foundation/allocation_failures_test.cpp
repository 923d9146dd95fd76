// Every operation of the foundation, with each of its allocations failing in turn.

#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/logging/config.hpp"
#include "foundation/logging/logger.hpp"
#include "foundation/meta/data/zone.hpp"
#include "foundation/meta/views.hpp"
#include "foundation/object/bad_cast.hpp"
#include "foundation/object/parse.hpp"
#include "foundation/object/primitive.hpp"
#include "foundation/property/schema.hpp"
#include "foundation/system/library_path.hpp"
#include "foundation/system/plugin.hpp"
#include "foundation/type/bad_cast.hpp"
#include "foundation/type/binding/function.hpp"
#include "foundation/type/container/callbacks.hpp"
#include "foundation/type/container/id_table.hpp"
#include "foundation/type/registry.hpp"
#include "foundation/type/registry/detail/scoped.hpp"
#include "tests/support/allocation_failures.hpp"
#include "tests/support/describe.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/setting_host.hpp"
#include "tests/support/settings.hpp"
#include "tests/support/stranger.hpp"
#include "tests/support/temporary_directory.hpp"
#include "tests/support/values.hpp"

namespace qel::tests {
namespace {

using meta::Meta;
using meta::data::Event;

using Operations = std::vector<Operation>;

/// Does not fit into a short string.
std::string const Long = "a text that does not fit into a short string";

class FoundationAllocationFailuresTest : public testing::TestWithParam<Operation> {};

TEST_P(FoundationAllocationFailuresTest, AreSurvived) { ExpectToSurviveLackOfMemory(GetParam()); }

/// An operation on a value that is made for it and described by `see`.
template <class Make, class Work, class See>
std::function<Trial()> On(Make make, Work work, See see) {
    return [=] {
        auto const value = make();
        return Trial{[=] { work(*value); }, [=] { return see(*value); }};
    };
}

auto const Nothing = [](auto const&) { return std::string(); };

/// An operation with nothing to see but that it ends well.
std::function<Trial()> Just(std::function<void()> const& work) {
    return [=] { return Trial{work, [] { return std::string(); }}; };
}

template <class T>
std::string DescribeItem(std::shared_ptr<T> const& item) {
    return Describer()(item);
}

// ---- Objects --------------------------------------------------------------------------------------------------------

template <class T>
Operations OfPrimitive(std::string const& type) {
    using Value = object::Primitive<T, object::Object>;
    bool const isText = std::is_same_v<T, std::string>;
    auto const make = [] { return std::make_shared<Value>(Values<T>::First()); };
    auto const other = [] { return std::make_shared<Value>(Values<T>::Second()); };
    auto const see = [](Value const& value) { return ValueText(value); };
    return {
        Making("Making" + type, make, [=](auto const& made) { return see(*made); }),
        Making(
            "Cloning" + type, [=] { return other()->Clone(); }, [](auto const& made) { return ValueText(*made); }),
        {"Setting" + type,
         On(
             make, [](Value& value) { value.Set(Values<T>::Second()); }, see),
         isText},
        {"Setting" + type + "ByAnObject",
         [=] {
             auto const value = make();
             auto const from = other();
             return Trial{[=] { value->Set(*from); }, [=] { return see(*value); }};
         },
         isText},
        Refusal<object::BadCast>("Setting" + type + "ByAStranger",
                                 [=] {
                                     auto const value = make();
                                     auto const from = std::make_shared<Stranger>();
                                     return Trial{[=] { value->Set(*from); }, [=] { return see(*value); }};
                                 }),
        Frugal("Comparing" + type, On(
                                       make, [](Value& value) { static_cast<void>(value.EqualTo(value)); }, see)),
    };
}

INSTANTIATE_TEST_SUITE_P(Bool, FoundationAllocationFailuresTest, testing::ValuesIn(OfPrimitive<bool>("ABool")),
                         NameOfOperation);
INSTANTIATE_TEST_SUITE_P(UInt32, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfPrimitive<std::uint32_t>("AUInt32")), NameOfOperation);
INSTANTIATE_TEST_SUITE_P(String, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfPrimitive<std::string>("AString")), NameOfOperation);

template <class T>
Operations OfParse(std::string const& type, std::string const& outOfRange) {
    return {
        Frugal("Parsing" + type,
               [] {
                   auto const text = std::make_shared<std::string>("12 and more that does not count here");
                   return Trial{[=] { object::Parse<T>(*text); }, [] { return std::string(); }};
               }),
        Refusal<std::invalid_argument>("ParsingNo" + type, Just([] { object::Parse<T>(Long); })),
        Refusal<std::out_of_range>("ParsingTooLargeA" + type, Just([=] { object::Parse<T>(outOfRange); })),
    };
}

std::string const Huge = std::string(400, '9');

INSTANTIATE_TEST_SUITE_P(ParseUInt16, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfParse<unsigned short>("UInt16", "70000")), NameOfOperation);
INSTANTIATE_TEST_SUITE_P(ParseUInt32, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfParse<unsigned int>("UInt32", Huge)), NameOfOperation);
INSTANTIATE_TEST_SUITE_P(ParseDouble, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfParse<double>("Double", Huge)), NameOfOperation);
INSTANTIATE_TEST_SUITE_P(ParseMilliseconds, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfParse<std::chrono::milliseconds>("Milliseconds", Huge)), NameOfOperation);

Operations OfObjects() {
    return {
        {.name = "RegisteringATypeName",
         .prepare =
             [] {
                 static int number = 0;
                 auto const name =
                     std::make_shared<std::string>("qel.tests.registered.name" + std::to_string(++number));
                 return Trial{[=] { object::RegisterTypeName(name->c_str()); },
                              [=] {
                                  auto const* const known =
                                      object::Object::TypeName(hash::MurmurThree32::MakeData(name->c_str()));
                                  return std::string(known == nullptr ? "unknown" : "known");
                              }};
             },
         .leavesTraces = true},
        Refusal<std::invalid_argument>("RegisteringNoTypeName", Just([] { object::RegisterTypeName(nullptr); })),
        Frugal("AskingForATypeName", Just([] {
                   object::Object::TypeName(object::TypeIdOf<Event>);
                   object::Object::TypeName(object::TypeIdOf<Stranger>);
               })),
        Frugal("AskingForAType",
               [] {
                   auto const event = MakeEvent(1, At(0), At(0), {});
                   return Trial{[=] { static_cast<void>(event->Is<Event>() && event->As<Event>().Is<Stranger>()); },
                                [] { return std::string(); }};
               }),
        Refusal<object::BadCast>("RefusingACast",
                                 On([] { return MakeEvent(1, At(0), At(0), {}); },
                                    [](object::Object& event) { event.As<meta::data::Zone>(); }, Nothing)),
        Refusal<object::BadCast>("RefusingACastOfAStranger",
                                 On([] { return std::make_shared<Stranger>(); },
                                    [](object::Object& stranger) { stranger.As<meta::data::Zone>(); }, Nothing)),
    };
}

INSTANTIATE_TEST_SUITE_P(Object, FoundationAllocationFailuresTest, testing::ValuesIn(OfObjects()), NameOfOperation);

// ---- Records --------------------------------------------------------------------------------------------------------

std::shared_ptr<Event> AnEvent() { return MakeEvent(1, At(0), At(5), {Person(1), nullptr, Record(2), Zone(3)}); }
std::string DescribeEvent(Event const& event) { return Describer()(&event); }

template <class Work>
Operation OfEvent(std::string name, Work work, bool allocates = true) {
    return {std::move(name), On(&AnEvent, work, &DescribeEvent), allocates};
}

Operations OfRecords() {
    auto const describe = [](auto const& made) { return Describer()(&made); };
    auto const cloned = [](auto const& made) { return Describer()(made); };
    return {
        Frugal("MakingADefaultEvent", Making(
                                          "", [] { return Event(); }, describe)
                                          .prepare),
        Making(
            "MakingAnEvent",
            [] {
                return Event(Long, Long, Long, At(0), At(0), {Person(1), Person(2)});
            },
            describe),
        Making(
            "MakingAnEventWithItsId", [] { return Event(7, Long, Long, Long, At(0), At(0), {}); }, describe),
        Making(
            "MakingAnEventWithSharedTexts",
            [] {
                auto const texts = std::make_shared<Event::Texts const>(Event::Texts{Long, Long, Long});
                return Event(texts, At(0), At(0), {Person(1)});
            },
            describe),
        Making(
            "CopyingAnEvent", [] { return Event(*AnEvent()); }, describe),
        Making(
            "CloningAnEvent", [] { return AnEvent()->Clone(); }, cloned),
        Making(
            "CloningAPerson", [] { return meta::data::Object(1, Long).Clone(); }, cloned),
        Making(
            "CloningAZone",
            [] {
                return meta::data::Zone(1, Long, {{0, 0}, {1, 0}, {1, 1}}).Clone();
            },
            cloned),
        Making(
            "CloningAChannel", [] { return meta::data::Channel(1, Long).Clone(); }, cloned),
        Making(
            "CloningARecord", [] { return meta::data::Observable(1).Clone(); }, cloned),
        OfEvent(
            "MovingAnEvent",
            [](Event& event) {
                Event moved(std::move(event));
                event = std::move(moved);
            },
            false),
        OfEvent("AssigningToAnEvent", [](Event& event) { event = *AnEvent(); }),
        OfEvent("NamingAnEvent", [](Event& event) { event.SetName(Long); }),
        OfEvent("TypingAnEvent", [](Event& event) { event.SetType(Long); }),
        OfEvent(
            "GivingAnEventNoTexts", [](Event& event) { event.SetTexts(nullptr); }, false),
        OfEvent(
            "MarkingAnEvent",
            [](Event& event) {
                event.SetDuplicate(true);
                event.SetFinal(true);
                event.SetInternal(true);
                event.SetEnd(At(9));
                event.WatchKeys();
            },
            false),
        {"AppendingASharedObject",
         [] {
             auto const event = AnEvent();
             auto const person = Person(9);
             return Trial{[=] { event->AppendObject(person); }, [=] { return DescribeEvent(*event); }};
         }},
        {"AppendingACopy",
         [] {
             auto const event = AnEvent();
             auto const person = std::make_shared<meta::data::Object>(9, Long);
             return Trial{[=] { event->AppendObject(*person); }, [=] { return DescribeEvent(*event); }};
         }},
        OfEvent("EditingObjects",
                [](Event& event) {
                    event.EditObjects([](Event::Objects& objects) {
                        objects.erase(objects.begin());
                        objects.push_back(Zone(8));
                        objects.push_back(Zone(9));
                    });
                }),
        Refusal<std::bad_function_call>("EditingObjectsByNothing",
                                        On(
                                            &AnEvent, [](Event& event) { event.EditObjects({}); }, &DescribeEvent)),
        Frugal("SettingTheIdOfARecord",
               On([] { return Record(1); }, [](meta::data::Observable& record) { record.SetId(2); },
                  [](auto const& record) { return TextOf(record.GetId()); })),
    };
}

INSTANTIATE_TEST_SUITE_P(Records, FoundationAllocationFailuresTest, testing::ValuesIn(OfRecords()), NameOfOperation);

// ---- Frames ---------------------------------------------------------------------------------------------------------

/// Of so many items, half of which are events that name observable 4.
std::shared_ptr<Meta> AFrame(unsigned int count) {
    auto frame = std::make_shared<Meta>(At(0));
    for (unsigned int id = 0; id < count; ++id) {
        if (id % 2 == 0) {
            frame->Append(MakeEvent(id + 1, At(0), At(0), {Record(4), Person(id)}));
        } else {
            frame->Append(Person(id));
        }
    }
    return frame;
}

std::string DescribeFrame(Meta const& frame) {
    std::string text = Join(Describer().Each(frame));
    for (unsigned int const observable : {4, 5}) {
        for (auto const& event : meta::EventsNaming(frame, observable)) {
            text += TextOf(event.GetId());
        }
        text += TextOf(frame.HasEvents(observable));
    }
    return text;
}

/// A frame, and a copy of it from which it has gone on.
struct Copied {
    std::shared_ptr<Meta> frame = AFrame(20);
    std::optional<Meta> copy{std::in_place, *frame};

    Copied() {
        frame->Append(Person(100));
        copy->Append(Person(101));
    }
    std::string See() const { return DescribeFrame(*frame) + DescribeFrame(*copy); }
};

/// An operation on a new frame, on one about which something has been asked, on a long one and on a copy of another.
template <class Work>
Operations OnFrames(std::string const& name, Work work, bool allocates = true) {
    auto const on = [&](std::string const& which, auto make) {
        return Operation{name + which, On(make, work, &DescribeFrame), allocates};
    };
    return {
        on("", [] { return AFrame(10); }),
        on("Asked",
           [] {
               auto frame = AFrame(16);
               frame->HasEvents(4);
               return frame;
           }),
        on("Long", [] { return AFrame(112); }),
        Operation{name + "Copied",
                  [=] {
                      auto const world = std::make_shared<Copied>();
                      return Trial{[=] { work(*world->copy); }, [=] { return world->See(); }};
                  },
                  allocates},
    };
}

void RemoveTheEvents(Meta& frame) {
    frame.RemoveIf([](auto const& item) { return item && item->template Is<Event>(); });
}

Operations OfFrames() {
    Operations operations{
        Making(
            "MakingAFrame", [] { return std::make_unique<Meta>(At(0)); },
            [](auto const& frame) { return DescribeFrame(*frame); }),
        Frugal("RemovingByNothing",
               Refusal<std::bad_function_call>(
                   "", On([] { return AFrame(3); }, [](Meta& frame) { frame.RemoveIf({}); }, &DescribeFrame))
                   .prepare),
        {"AppendingToANewFrame",
         [] {
             auto const frame = AFrame(0);
             auto const item = Person(1);
             return Trial{[=] { frame->Append(item); }, [=] { return DescribeFrame(*frame); }};
         }},
        {"AppendingOneTooManyForABlock",
         [] {
             auto const frame = AFrame(16);
             auto const item = Person(1);
             return Trial{[=] { frame->Append(item); }, [=] { return DescribeFrame(*frame); }};
         }},
        Frugal("Appending",
               [] {
                   auto const frame = AFrame(3);
                   auto const item = Person(1);
                   return Trial{[=] { frame->Append(item); }, [=] { return DescribeFrame(*frame); }};
               }),
        {"CopyingACopyOfACopy",
         [] {
             struct World {
                 std::vector<std::unique_ptr<Meta>> frames;
                 std::unique_ptr<Meta> copy;
             };
             auto const world = std::make_shared<World>();
             world->frames.push_back(std::make_unique<Meta>(At(0)));
             for (unsigned int id = 0; id < 40; ++id) {
                 world->frames.back()->Append(Person(id));
                 world->frames.push_back(std::make_unique<Meta>(*world->frames.back()));
             }
             // Where its parts become one and where they do not.
             return Trial{[=] {
                              for (std::size_t number = 10; number < 40; ++number) {
                                  world->copy = std::make_unique<Meta>(*world->frames[number]);
                              }
                          },
                          [=] {
                              return (world->copy ? DescribeFrame(*world->copy) : "") +
                                     DescribeFrame(*world->frames.back());
                          }};
         }},
        {"Asking", On([] { return AFrame(40); }, [](Meta& frame) { frame.FindEvents(4); }, &DescribeFrame)},
        Frugal("AskingAfterAKeyChange", On(
                                            [] {
                                                auto frame = AFrame(40);
                                                frame->HasEvents(4);
                                                Record(1)->SetId(2);
                                                return frame;
                                            },
                                            [](Meta& frame) { frame.HasEvents(4); }, &DescribeFrame)),
    };
    operations[5].mayBeSeen = [](std::string const&) { return true; };  // the copies that were made
    for (auto const& more :
         {OnFrames("Copying", [](Meta& frame) { Meta(frame).HasEvents(4); }),
          OnFrames("RemovingTheEvents", &RemoveTheEvents),
          OnFrames(
              "RemovingNothing", [](Meta& frame) { frame.RemoveIf([](auto const&) { return false; }); }, false),
          OnFrames(
              "Walking",
              [](Meta& frame) {
                  auto const lock = frame.GetLock();
                  unsigned int sum = 0;
                  for (auto const& event : meta::EventsOf(frame)) {
                      sum += event.GetId();
                      for (auto const& object : meta::ObjectsOf(event)) {
                          sum += object.GetId();
                      }
                  }
                  for (auto at = frame.Begin(); at != frame.End(); at++) {
                      sum += *at ? 1 : 0;
                  }
                  static_cast<void>(frame.CountLookUps().asked + sum);
              },
              false)}) {
        operations.insert(operations.end(), more.begin(), more.end());
    }
    for (auto& operation : operations) {
        // Few items, which nobody shares, are moved up where they are.
        operation.allocates =
            operation.allocates && operation.name != "RemovingTheEvents" && operation.name != "RemovingTheEventsAsked";
    }
    return operations;
}

INSTANTIATE_TEST_SUITE_P(Frames, FoundationAllocationFailuresTest, testing::ValuesIn(OfFrames()), NameOfOperation);

// ---- Properties -----------------------------------------------------------------------------------------------------

template <class T>
struct Bound {
    using Host = SettingHost<T>;

    std::shared_ptr<Host> host = std::make_shared<Host>(Values<T>::First());
    std::shared_ptr<property::External<T>> property =
        std::make_shared<property::External<T>>(Long, Values<T>::First(), &Host::SetValue, &Host::GetValue, Long);

    explicit Bound(bool isBound = true) {
        if (isBound) {
            property->Bind(Host::TargetOf(host), property::context::Direction::ToTarget);
        }
    }
    std::string See() const {
        return ValueText(object::Primitive<T, object::Object>(property->Get())) +
               ValueText(object::Primitive<T, object::Object>(host->value)) + ValueText(*property->GetObject());
    }
};

template <class T>
Operations OfProperty(std::string const& type) {
    bool const isText = std::is_same_v<T, std::string>;
    using Plain = property::Primitive<T>;
    using Value = object::Primitive<T, object::Object>;
    auto const plain = [] { return std::make_shared<Plain>(Long, Values<T>::First(), Long); };
    auto const see = [](Plain const& property) { return ValueText(*property.GetObject()); };
    auto const set = [=](bool isBound, auto makeValue) {
        return [=] {
            auto const world = std::make_shared<Bound<T>>(isBound);
            auto const value = std::make_shared<decltype(makeValue())>(makeValue());
            return Trial{[=] { world->property->Set(*value); }, [=] { return world->See(); }};
        };
    };
    return {
        Making("Making" + type, plain, [=](auto const& made) { return see(*made); }),
        Making(
            "Cloning" + type, [=] { return plain()->Clone(); },
            [=](auto const& made) { return see(static_cast<Plain const&>(*made)); }),
        Making(
            "Describing" + type,
            [=] {
                std::ostringstream text;
                text.exceptions(std::ios::badbit);
                plain()->DescribeValidValues(text);
                return text.str();
            },
            [](std::string const& text) { return text; }),
        {"Setting" + type,
         On(
             plain, [](Plain& property) { property.Set(Values<T>::Second()); }, see),
         isText},
        {"Getting" + type, On(
                               plain, [](Plain& property) { property.GetObject(); }, see)},
        Refusal<std::logic_error>(
            "Binding" + type,
            On(
                plain, [](Plain& property) { property.Bind(nullptr, property::context::Direction::ToTarget); }, see)),
        Making(
            "MakingAnExternal" + type, [] { return std::make_shared<Bound<T>>(); },
            [](auto const& made) { return made->See(); }),
        Making(
            "CloningAnExternal" + type, [] { return Bound<T>().property->Clone(); },
            [](auto const& made) { return ValueText(*static_cast<property::Property const&>(*made).GetObject()); }),
        {"SettingAnUnboundExternal" + type, set(false, [] { return Value(Values<T>::Second()); }), isText},
        {"SettingABoundExternal" + type, set(true, [] { return Value(Values<T>::Second()); }), isText},
        {"SettingAnExternal" + type + "ByAProperty", set(true, [] { return Plain(Long, Values<T>::Second(), Long); }),
         isText},
        Refusal<object::BadCast>("SettingAnExternal" + type + "ByAStranger", set(true, [] { return Stranger(); })),
        {"GettingABoundExternal" + type,
         [] {
             auto const world = std::make_shared<Bound<T>>();
             world->host->value = Values<T>::Second();
             return Trial{[=] { world->property->GetObject(); }, [=] { return world->See(); }};
         }},
        {"BindingAnExternal" + type + "FromItsTarget",
         [] {
             auto const world = std::make_shared<Bound<T>>(false);
             world->host->value = Values<T>::Second();
             return Trial{[=] {
                              world->property->Bind(Bound<T>::Host::TargetOf(world->host),
                                                    property::context::Direction::FromTarget);
                          },
                          [=] { return world->See(); }};
         }},
        Frugal("BindingAnExternal" + type + "ToItsTarget",
               [] {
                   auto const world = std::make_shared<Bound<T>>(false);
                   return Trial{[=] {
                                    world->property->Bind(Bound<T>::Host::TargetOf(world->host),
                                                          property::context::Direction::ToTarget);
                                },
                                [=] { return world->See(); }};
               }),
        Refusal<std::logic_error>(
            "ErasingFromAnExternal" + type,
            [] {
                auto const world = std::make_shared<Bound<T>>();
                return Trial{[=] { world->property->Erase(*world->property); }, [=] { return world->See(); }};
            }),
        Refusal<std::logic_error>(
            "AddingToAnExternal" + type,
            [] {
                auto const world = std::make_shared<Bound<T>>();
                return Trial{[=] { world->property->Add(*world->property); }, [=] { return world->See(); }};
            }),
        Refusal<std::logic_error>(
            "SettingAPlaceOfAnExternal" + type,
            [] {
                auto const world = std::make_shared<Bound<T>>();
                return Trial{[=] { world->property->SetAt(0, *world->property); }, [=] { return world->See(); }};
            }),
        {"Converting" + type,
         On([] { return std::make_shared<Value>(Values<T>::Second()); },
            [](Value& value) { static_cast<void>(property::external::Convert<T>(value)); },
            [](Value const& value) { return ValueText(value); }),
         isText},
        Refusal<type::BadCast>(
            "ConvertingAZoneTo" + type,
            On([] { return Zone(1); },
               [](meta::data::Zone& zone) { static_cast<void>(property::external::Convert<T>(zone)); }, Nothing)),
        Refusal<type::BadCast>(
            "ConvertingAStrangerTo" + type,
            On([] { return std::make_shared<Stranger>(); },
               [](Stranger& stranger) { static_cast<void>(property::external::Convert<T>(stranger)); }, Nothing)),
    };
}

INSTANTIATE_TEST_SUITE_P(BoolProperty, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfProperty<bool>("ABoolProperty")), NameOfOperation);
INSTANTIATE_TEST_SUITE_P(UInt16Property, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfProperty<std::uint16_t>("AUInt16Property")), NameOfOperation);
INSTANTIATE_TEST_SUITE_P(StringProperty, FoundationAllocationFailuresTest,
                         testing::ValuesIn(OfProperty<std::string>("AStringProperty")), NameOfOperation);

property::Schema ASchema() {
    using Host = SettingHost<std::uint16_t>;
    return property::Schema(Long, std::uint16_t{7}, &Host::SetValue, &Host::GetValue, 1, 300, Long);
}

std::string DescribeSchema(property::Schema const& schema) {
    std::string text = Join(DescribeSettings({schema})) + schema.GetReference();
    return text + Join(schema.GetChoices());
}

Operations OfSchema() {
    using Host = SettingHost<std::uint16_t>;
    using Setter = void (Host::*)(std::uint16_t);
    auto const make = [] { return std::make_shared<property::Schema>(ASchema()); };
    auto const property = [] { return ASchema().MakeProperty(); };
    return {
        Making(
            "MakingASchema", [] { return ASchema(); }, &DescribeSchema),
        Making(
            "CopyingASchema", [] { return property::Schema(ASchema()); }, &DescribeSchema),
        Making("MakingTheProperty", property, [](auto const& made) { return ValueText(*made->GetObject()); }),
        {"AskingForTheTypeName", On(
                                     make, [](property::Schema& schema) { schema.GetTypeName(); }, &DescribeSchema)},
        {"SettingTheReference",
         On(
             make, [](property::Schema& schema) { schema.SetReference(Long); }, &DescribeSchema)},
        {"SettingTheChoices", On(
                                  make,
                                  [](property::Schema& schema) {
                                      schema.SetChoices({Long, "another"});
                                  },
                                  &DescribeSchema)},
        Refusal<std::invalid_argument>(
            "BindingNoProperty",
            On(
                make,
                [](property::Schema& schema) { schema.Bind(nullptr, nullptr, property::context::Direction::ToTarget); },
                &DescribeSchema)),
        Refusal<std::invalid_argument>("MakingASchemaWithoutASetter", Just([] {
                                           property::Schema(Long, std::uint16_t{7}, Setter{}, &Host::GetValue, "");
                                       })),
        Refusal<std::out_of_range>("SettingOutOfTheRange",
                                   On(
                                       property, [](property::Property& made) { made.Set(object::UInt16(301)); },
                                       [](auto const& made) { return ValueText(*made.GetObject()); })),
        Refusal<std::invalid_argument>("SettingFromATextThatIsNoNumber",
                                       On(
                                           property, [](property::Property& made) { made.Set(object::String(Long)); },
                                           [](auto const& made) { return ValueText(*made.GetObject()); })),
        {"SettingFromAText",
         On(
             property, [](property::Property& made) { made.Set(object::String("12")); },
             [](auto const& made) { return ValueText(*made.GetObject()); }),
         false},
    };
}

INSTANTIATE_TEST_SUITE_P(Schema, FoundationAllocationFailuresTest, testing::ValuesIn(OfSchema()), NameOfOperation);

// ---- Logging --------------------------------------------------------------------------------------------------------

logging::Logger const Log("qel.tests.allocation");

struct Wordy {
    friend std::ostream& operator<<(std::ostream& stream, Wordy const&) { return stream << Long << 7 << Long; }
};

struct Cut {
    friend std::ostream& operator<<(std::ostream& stream, Cut const&) {
        return stream << "cut" << static_cast<char const*>(nullptr) << Long;
    }
};

/// Keeps the last line, for which it has room.
struct LastLine {
    std::string line;

    LastLine() {
        line.reserve(1000);
        logging::SetFilter([](auto const&, auto) { return true; });
        logging::SetSink([this](std::string const& text, bool) { line = text; });
    }
    ~LastLine() {
        logging::SetSink({});
        logging::SetFilter({});
    }
};

template <class Work>
Operation OfLog(std::string name, Work work) {
    return {std::move(name), [=] {
                auto const last = std::make_shared<LastLine>();
                return Trial{work, [=] { return last->line; }};
            }};
}

Operations OfLogging() {
    return {
        OfLog("Logging", [] { Log.Log(logging::Level::Info, Long.c_str()); }),
        OfLog("LoggingArguments",
              [] { Log.Log(logging::Level::Info, "%0% and %1% and %2%", Long, 1234567890123456789u, Long.c_str()); }),
        OfLog("LoggingWhatAStreamWrites", [] { Log.Log(logging::Level::Info, "%0% and %1%", 0.125, Wordy()); }),
        OfLog("LoggingWhatEndsItsStream", [] { Log.Log(logging::Level::Info, "%0% and %1%", Cut(), Cut()); }),
        Frugal("LoggingForNobody", Just([] { Log.Log(logging::Level::Info, "%0%", 0.5); })),
        {"SettingAFilter",
         [] {
             struct World {
                 ~World() { logging::SetFilter({}); }
             };
             auto const world = std::make_shared<World>();
             return Trial{[world] { logging::SetFilter([held = Long](auto const&, auto) { return true; }); },
                          [] { return TextOf(Log.Filter("qel", logging::Level::Trace)); }};
         }},
        {"SettingASink",
         [] {
             struct World {
                 int lines = 0;
                 ~World() { logging::SetSink({}); }
             };
             auto const world = std::make_shared<World>();
             logging::SetSink([](auto const&, bool) {});
             return Trial{
                 [world] { logging::SetSink([held = Long, lines = &world->lines](auto const&, bool) { ++*lines; }); },
                 [world] {
                     Log.Log(logging::Level::Error, "");
                     return TextOf(world->lines);
                 }};
         }},
    };
}

INSTANTIATE_TEST_SUITE_P(Logging, FoundationAllocationFailuresTest, testing::ValuesIn(OfLogging()), NameOfOperation);

TEST(DefaultSinkTest, LeavesNothingBehindWhereItCannotBeMade) {
    logging::SetFilter({});
    logging::SetSink({});  // what they are kept in stays
    testing::internal::CaptureStderr();
    std::size_t thrown = 0;
    bool isRefused = true;
    for (std::size_t before = 0; isRefused; ++before) {
        auto const live = LiveBytes();
        auto const failures = CountFailures();
        if (FailsForLackOfMemory(before, [] { Log.Log(logging::Level::Error, "important"); })) {
            ++thrown;
            EXPECT_EQ(LiveBytes(), live);
        }
        isRefused = CountFailures() > failures;
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::EndsWith("] [error] important\n"));
    EXPECT_GT(thrown, 2u);
}

// ---- Types ----------------------------------------------------------------------------------------------------------

using Callbacks = type::container::Callbacks<void()>;

struct Called {
    Callbacks callbacks;
    int calls = 0;

    Called() {
        for (int number = 0; number < 3; ++number) {
            callbacks.Insert([this] { ++calls; });
        }
    }
    std::string See() {
        calls = 0;
        callbacks.ForEach([](auto const& callback) { callback(); });
        return TextOf(callbacks.Count(), callbacks.Any(), calls);
    }
};

template <class Work>
std::function<Trial()> OnCallbacks(Work work) {
    return [=] {
        auto const world = std::make_shared<Called>();
        return Trial{[=] { work(*world); }, [=] { return world->See(); }};
    };
}

struct Entry {
    hash::MurmurThree32 type;
    char const* name;
    std::function<std::shared_ptr<Stranger>()> make;
    std::function<int()> properties;

    Entry(hash::MurmurThree32 type, char const* name, std::function<std::shared_ptr<Stranger>()> make,
          std::function<int()> properties)
        : type(type), name(name), make(std::move(make)), properties(std::move(properties)) {}
};

class Registrable : public Stranger {
public:
    using Stranger::Stranger;
    static auto DefaultArguments() { return std::tuple(3); }
    static int MakeProperties() { return 5; }
};

class Target {
public:
    void Unbind(unsigned int id) { unbound += id; }
    unsigned int unbound = 0;
};

Operations OfTypes() {
    return {
        {"Inserting", OnCallbacks([](Called& world) { world.callbacks.Insert([&] { world.calls += 10; }); })},
        {"InsertingIntoAFreeSlot",
         [] {
             auto const world = std::make_shared<Called>();
             world->callbacks.Remove(1);
             return Trial{[=] { world->callbacks.Insert([held = Long, world = world.get()] { world->calls += 10; }); },
                          [=] { return world->See(); }};
         }},
        Refusal<std::invalid_argument>("InsertingNothing",
                                       OnCallbacks([](Called& world) { world.callbacks.Insert({}); })),
        Frugal("RemovingACallback", OnCallbacks([](Called& world) { world.callbacks.Remove(1); })),
        Frugal("CallingCallbacks", OnCallbacks([](Called& world) { world.See(); })),
        {"MakingAnUnbinder",
         [] {
             struct World {
                 std::shared_ptr<Target> target = std::make_shared<Target>();
                 std::optional<type::Binding> binding;
             };
             auto const world = std::make_shared<World>();
             return Trial{[=] { world->binding.emplace(type::binding::function::MakeUnbind(world->target), 7); },
                          [=] {
                              world->binding.reset();
                              return TextOf(world->target->unbound);
                          }};
         }},
        Frugal("MovingAndDroppingABinding",
               [] {
                   struct World {
                       std::shared_ptr<Target> target = std::make_shared<Target>();
                       type::Binding one{type::binding::function::MakeUnbind(target), 7};
                       type::Binding two{type::binding::function::MakeUnbind(target), 8};
                   };
                   auto const world = std::make_shared<World>();
                   return Trial{[=] {
                                    type::Binding moved(std::move(world->one));
                                    world->two = std::move(moved);
                                    world->two.Reset();
                                },
                                [=] { return TextOf(world->target->unbound); }};
               }),
        {"MakingARegistry", Just([] { type::Registry<Entry>().GetMap()->reserve(100); })},
        {"RegisteringAClass",
         [] {
             struct World {
                 type::Registry<Entry> registry;
                 std::optional<type::registry::detail::Scoped<Registrable, type::Registry<Entry>>> scoped;
             };
             auto const world = std::make_shared<World>();
             return Trial{[=] { world->scoped.emplace(world->registry); },
                          [=] {
                              auto const view = world->registry.GetMap();
                              auto const found = view->find(object::TypeIdOf<Registrable>);
                              return found == view->end()
                                         ? "unknown"
                                         : TextOf(found->second.make()->value, found->second.properties());
                          }};
         }},
        Making(
            "Constructing", [] { return type::registry::Construct<Registrable>(); },
            [](auto const& made) { return TextOf(made->value); }),
        {"SettingPlacesById",
         [] {
             auto const table = std::make_shared<type::container::IdTable>();
             for (std::uint32_t id = 0; id < 16; ++id) {
                 table->Set(id, id + 1);
             }
             return Trial{[=] { table->Set(100, 1); },
                          [=] {
                              std::string text;
                              for (std::uint32_t id = 0; id < 101; ++id) {
                                  text += TextOf(table->Find(id));
                              }
                              return text;
                          }};
         }},
        Frugal("ClearingPlacesById",
               [] {
                   auto const table = std::make_shared<type::container::IdTable>();
                   for (std::uint32_t id = 0; id < 100; ++id) {
                       table->Set(id, id + 1);
                   }
                   return Trial{[=] {
                                    for (int times = 0; times < 5; ++times) {
                                        table->Clear();
                                    }
                                },
                                [=] { return TextOf(table->Find(7)); }};
               }),
    };
}

INSTANTIATE_TEST_SUITE_P(Types, FoundationAllocationFailuresTest, testing::ValuesIn(OfTypes()), NameOfOperation);

// ---- The system -----------------------------------------------------------------------------------------------------

Operations OfSystem() {
    using boost::filesystem::filesystem_error;
    return {
        Making(
            "AskingForThePathOfALibrary", [] { return system::GetLibraryPath("qel_foundation"); },
            [](std::string const& path) { return path; }),
        {"AskingForThePathOfAnUnknownLibrary", Just([] {
             try {
                 system::GetLibraryPath("qel_a_library_with_a_long_name_that_nobody_knows");
             } catch (filesystem_error const&) {
             }
         })},
        {"LoadingFromAMissingDirectory", Just([] {
             try {
                 system::plugin::LoadAll("", {"/there/is/no/directory/of/such/a/name"});
             } catch (filesystem_error const&) {
             }
         })},
        {"LoadingFilesThatCannotBeLoaded",
         [] {
             static TemporaryDirectory const directory;
             for (auto const* name : {"libqel_tests_one.so", "libqel_tests_two.so", "other.so"}) {
                 std::ofstream((directory / name).native()) << "no library";
             }
             auto const last = std::make_shared<LastLine>();
             return Trial{[=] { system::plugin::LoadAll("qel_tests", {directory.GetPath()}); },
                          [=] { return last->line.substr(0, 33); }};
         },
         true,
         // That of the first is written before the second is tried.
         [](std::string const& seen) { return seen == "Failed to load the plug-in '/tmp/"; }},
    };
}

INSTANTIATE_TEST_SUITE_P(System, FoundationAllocationFailuresTest, testing::ValuesIn(OfSystem()), NameOfOperation);

}  // namespace
}  // namespace qel::tests
