// What a host does that knows an observable type by nothing but its name.

#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/object/primitive.hpp"
#include "foundation/property/schema.hpp"
#include "foundation/type/bad_cast.hpp"
#include "observable/observable.hpp"
#include "observable/properties/make.hpp"
#include "observable/registry/get.hpp"
#include "tests/support/registered.hpp"
#include "tests/support/settings.hpp"

namespace qel::observable {
namespace {

using hash::MurmurThree32;
using property::Property;
using property::Schema;
using property::context::Direction;
using testing::ElementsAre;
using testing::ThrowsMessage;
using tests::ValueText;

/// Has a setting of every value type; the host below does not see this class.
class Everything : public Observable {
public:
    static constexpr char const* ClassTypeName = "qel.tests.Everything";
    static auto DefaultArguments() { return std::tuple("Everything"); }

    explicit Everything(std::string name) : Observable(object::TypeIdOf<Everything>) { SetName(std::move(name)); }

    template <class T, T Everything::*setting>
    T Get() const {
        return this->*setting;
    }
    template <class T, T Everything::*setting>
    void Set(T value) {
        this->*setting = std::move(value);
    }

    static std::vector<Schema> MakeProperties();

private:
    bool enabled = true;
    std::uint16_t channel = 3;
    std::uint32_t limit = 70000;
    double confidence = 0.5;
    std::string classes = "person";
    std::chrono::milliseconds interval{1500};
};

std::vector<Schema> Everything::MakeProperties() {
    using std::chrono::milliseconds;
    std::vector<Schema> schemas;
    schemas.emplace_back("enabled", true, &Everything::Set<bool, &Everything::enabled>,
                         &Everything::Get<bool, &Everything::enabled>, "Whether it looks at all");
    schemas.emplace_back("channel", std::uint16_t{3}, &Everything::Set<std::uint16_t, &Everything::channel>,
                         &Everything::Get<std::uint16_t, &Everything::channel>, 1, 300, "Where it looks");
    schemas.emplace_back("limit", 70000u, &Everything::Set<std::uint32_t, &Everything::limit>,
                         &Everything::Get<std::uint32_t, &Everything::limit>, "How many it sees");
    schemas.emplace_back("confidence", 0.5, &Everything::Set<double, &Everything::confidence>,
                         &Everything::Get<double, &Everything::confidence>, 0.0, 1.0, "How sure it wants to be");
    schemas.emplace_back("classes", "person", &Everything::Set<std::string, &Everything::classes>,
                         &Everything::Get<std::string, &Everything::classes>, "What it looks for");
    schemas.emplace_back("interval", milliseconds(1500), &Everything::Set<milliseconds, &Everything::interval>,
                         &Everything::Get<milliseconds, &Everything::interval>, milliseconds(100),
                         milliseconds(86400000), "How long it looks");
    return properties::Make(std::move(schemas), true);
}

class Settings : public testing::Test {
protected:
    /// The settings of a type, by the name of the type.
    static std::vector<Schema> Of(std::string const& typeName) {
        auto const types = registry::Get().GetMap();
        return types->at(MurmurThree32::MakeData(typeName.c_str())).GetSchemas();
    }

    static std::shared_ptr<Observable> Make(std::string const& typeName) {
        return Observable::Make(MurmurThree32::MakeData(typeName.c_str()));
    }

    static std::string Read(std::vector<Schema> const& schemas, std::shared_ptr<Observable> const& observable,
                            std::string const& name) {
        return ValueText(*tests::BindSetting(schemas, observable, name)->GetObject());
    }

    std::vector<std::string> ReadAll() const {
        std::vector<std::string> values;
        for (auto const& schema : schemas) {
            values.push_back(schema.GetName() + "=" + Read(schemas, observable, schema.GetName()));
        }
        return values;
    }

    void Write(std::string const& name, object::Object const& value) const {
        tests::BindSetting(schemas, observable, name)->Set(value);
    }

    /// Writes what a user has typed: a property that is not bound reads the text, checks it and gives a value.
    void WriteText(std::string const& name, std::string const& text) const {
        for (auto const& schema : schemas) {
            if (schema.GetName() == name) {
                auto const reader = schema.MakeProperty();
                reader->Set(object::String(text));
                Write(name, *reader->GetObject());
            }
        }
    }

    tests::Registered<Everything> const registered;
    std::vector<Schema> const schemas = Of("qel.tests.Everything");
    std::shared_ptr<Observable> const observable = Make("qel.tests.Everything");
};

TEST_F(Settings, AreListedWithTypeDefaultRangeAndDescription) {
    EXPECT_THAT(
        tests::DescribeSettings(schemas),
        ElementsAre("enabled: qel.property.Bool = true. . Whether it looks at all",
                    "channel: qel.property.UInt16 = 3. Must be a number between 1 to 300. Where it looks",
                    "limit: qel.property.UInt32 = 70000. Must be a number between 0 to 4294967295. How many it sees",
                    "confidence: qel.property.Double = 0.500000. Must be a number between 0 to 1. "
                    "How sure it wants to be",
                    "classes: qel.property.String = 'person'. . What it looks for",
                    "interval: qel.property.Milliseconds = 1500ms. Must be a number between 100 to 86400000. "
                    "How long it looks",
                    "name: qel.property.String = ''. . The user-defined name for the observable",
                    "triggers_action: qel.property.Bool = true. . Whether the observable triggers actions and other "
                    "observables"));
}

TEST_F(Settings, OfAFreshInstanceAreTheDefaultsAndTheNameOfTheClass) {
    EXPECT_THAT(ReadAll(),
                ElementsAre("enabled=true", "channel=3", "limit=70000", "confidence=0.500000", "classes='person'",
                            "interval=1500ms", "name='Everything'", "triggers_action=true"));
}

TEST_F(Settings, AreWrittenAndReadByName) {
    Write("enabled", object::Bool(false));
    Write("channel", object::UInt16(300));
    Write("limit", object::UInt32(std::numeric_limits<std::uint32_t>::max()));
    Write("confidence", object::Double(1.0));
    Write("classes", object::String("car,bus"));
    Write("interval", object::Milliseconds(std::chrono::milliseconds(100)));
    Write("name", object::String("gate"));
    Write("triggers_action", object::Bool(false));
    EXPECT_THAT(ReadAll(), ElementsAre("enabled=false", "channel=300", "limit=4294967295", "confidence=1.000000",
                                       "classes='car,bus'", "interval=100ms", "name='gate'", "triggers_action=false"));
    EXPECT_EQ(observable->GetName(), "gate");
    EXPECT_FALSE(observable->GetTriggersAction());
}

TEST_F(Settings, AreWrittenFromTextsThroughAPropertyThatIsNotBound) {
    WriteText("channel", "12abc");
    WriteText("limit", "70001");
    WriteText("confidence", "0.25");
    WriteText("classes", "car");
    WriteText("interval", "2000");
    WriteText("name", "kerb");
    EXPECT_THAT(ReadAll(), ElementsAre("enabled=true", "channel=12", "limit=70001", "confidence=0.250000",
                                       "classes='car'", "interval=2000ms", "name='kerb'", "triggers_action=true"));
}

TEST_F(Settings, AreWhatTheyWereWhenAValueIsRefused) {
    auto const before = ReadAll();
    EXPECT_THAT(
        [&] { Write("channel", object::UInt16(301)); },
        ThrowsMessage<std::out_of_range>("The 'channel' property only accepts values in the range of 1 to 300: 301"));
    EXPECT_THAT(
        [&] { WriteText("channel", "0"); },
        ThrowsMessage<std::out_of_range>("The 'channel' property only accepts values in the range of 1 to 300: 0"));
    EXPECT_THAT([&] { WriteText("limit", "4294967296"); },
                ThrowsMessage<std::out_of_range>("The parsed value '4294967296' was out of range of the integer type: "
                                                 "0 to 4294967295"));
    EXPECT_THAT([&] { WriteText("limit", "abc"); },
                ThrowsMessage<std::invalid_argument>("Failed to parse the string into an unsigned integer: abc"));
    EXPECT_THAT([&] { Write("confidence", object::Double(1.5)); },
                ThrowsMessage<std::out_of_range>("The 'confidence' property only accepts values in the range of "
                                                 "0.000000 to 1.000000: 1.500000"));
    EXPECT_THAT([&] { Write("limit", object::String("1")); },
                ThrowsMessage<type::BadCast>("Cannot set external property with a 'qel.object.String'. Make sure to "
                                             "use the same type as the property"));
    EXPECT_EQ(ReadAll(), before);
}

TEST_F(Settings, AreOfOneInstance) {
    auto const other = Make("qel.tests.Everything");
    Write("channel", object::UInt16(12));
    EXPECT_EQ(Read(schemas, other, "channel"), "3");
}

TEST_F(Settings, AreCopiedFromOneInstanceToAnother) {
    Write("channel", object::UInt16(12));
    Write("classes", object::String("bus"));
    auto const copy = Make("qel.tests.Everything");
    for (auto const& schema : schemas) {
        auto const from = tests::BindSetting(schemas, observable, schema.GetName())->GetObject();
        tests::BindSetting(schemas, copy, schema.GetName())->Set(*from);
    }
    for (auto const& schema : schemas) {
        EXPECT_EQ(Read(schemas, copy, schema.GetName()), Read(schemas, observable, schema.GetName()));
    }
}

TEST_F(Settings, AreReadAtOnceWhenAPropertyIsBoundFromTheTarget) {
    Write("channel", object::UInt16(12));
    for (auto const& schema : schemas) {
        auto const property = schema.MakeProperty();
        schema.Bind(property, observable, Direction::FromTarget);
        EXPECT_EQ(ValueText(*property->GetObject()), Read(schemas, observable, schema.GetName()));
    }
}

/// Another value of the same type that the setting of a built-in type accepts.
std::shared_ptr<object::Object const> Another(object::Object const& value) {
    if (value.Is<object::Bool>()) {
        return std::make_shared<object::Bool>(!value.As<object::Bool>().Get());
    }
    if (value.Is<object::UInt16>()) {
        return std::make_shared<object::UInt16>(value.As<object::UInt16>().Get() ^ 1);
    }
    if (value.Is<object::UInt32>()) {
        return std::make_shared<object::UInt32>(value.As<object::UInt32>().Get() ^ 1);
    }
    if (value.Is<object::Milliseconds>()) {
        return std::make_shared<object::Milliseconds>(value.As<object::Milliseconds>().Get() +
                                                      std::chrono::milliseconds(1));
    }
    return std::make_shared<object::String>(value.As<object::String>().Get() + "x");
}

class BuiltInSettings : public Settings, public testing::WithParamInterface<char const*> {};

TEST_P(BuiltInSettings, AreListedMadeWrittenAndRead) {
    auto const settings = Of(GetParam());
    auto const instance = Make(GetParam());
    std::map<std::string, std::string> expected;
    for (auto const& schema : settings) {
        auto const& name = schema.GetName();
        EXPECT_NE(schema.GetTypeName(), "") << name;
        EXPECT_NE(schema.GetDescription(), "") << name;

        auto const property = tests::BindSetting(settings, instance, name);
        auto const another = Another(*property->GetObject());
        property->Set(*another);
        EXPECT_TRUE(expected.emplace(name, ValueText(*another)).second) << name << " is there twice";
    }
    for (auto const& [name, text] : expected) {
        EXPECT_EQ(Read(settings, instance, name), text) << name;
        EXPECT_NE(Read(settings, Make(GetParam()), name), text) << name << " of another instance";
    }
}

TEST_P(BuiltInSettings, OfAnInstanceMayAllBeSetToTheirDefaults) {
    auto const settings = Of(GetParam());
    auto const instance = Make(GetParam());
    for (auto const& schema : settings) {
        auto const value = schema.GetPrototype()->GetObject();
        tests::BindSetting(settings, instance, schema.GetName())->Set(*value);
        EXPECT_EQ(Read(settings, instance, schema.GetName()), ValueText(*value)) << schema.GetName();
    }
}

TEST_P(BuiltInSettings, OfAFreshInstanceAreTheDefaultsButForTheNameAndTheMode) {
    auto const settings = Of(GetParam());
    auto const instance = Make(GetParam());
    std::string const typeName = GetParam();
    for (auto const& schema : settings) {
        auto const value = Read(settings, instance, schema.GetName());
        if (schema.GetName() == "name") {
            EXPECT_EQ(value, "'" + typeName.substr(typeName.rfind('.') + 1) + "'");
        } else if (schema.GetName() == "constrain_target" && typeName != "qel.observable.And") {
            EXPECT_EQ(value, "false") << "whatever the default says";
        } else {
            EXPECT_EQ(value, ValueText(*schema.GetPrototype()->GetObject())) << schema.GetName();
        }
    }
}

TEST_P(BuiltInSettings, HaveEveryInputAmongThem) {
    auto const settings = Of(GetParam());
    auto const instance = Make(GetParam());
    EXPECT_FALSE(instance->GetInputProperties().empty());
    for (auto const input : instance->GetInputProperties()) {
        EXPECT_EQ(Read(settings, instance, std::string(input)), "4294967295") << input;
        tests::BindSetting(settings, instance, std::string(input))->Set(object::UInt32(12));
        EXPECT_THAT(instance->GetDependents(), testing::Contains(12u)) << input;
        tests::BindSetting(settings, instance, std::string(input))->Set(object::UInt32(UnsetId));
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, BuiltInSettings,
                         testing::Values("qel.observable.And", "qel.observable.Not", "qel.observable.Or",
                                         "qel.observable.Previous"),
                         [](auto const& info) {
                             std::string const name = info.param;
                             return name.substr(name.rfind('.') + 1);
                         });

}  // namespace
}  // namespace qel::observable
