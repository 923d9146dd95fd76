#include "host/rules/setting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "foundation/object/primitive.hpp"
#include "host/rules/type_catalogue.hpp"
#include "tests/host/support/types.hpp"
#include "tests/support/registered.hpp"

namespace qel::host {
namespace {

using std::chrono::milliseconds;

class SettingTest : public testing::Test {
protected:
    Setting const& Get(char const* name) { return *types.Find("qel.tests.Watcher")->Find(name); }

    /// The object for a value of a rule file.
    std::shared_ptr<object::Object const> Make(char const* setting, char const* json) {
        return MakeObject(Get(setting).schema, json::Document(json).GetRoot());
    }

    tests::Registered<tests::Watcher> watcher;
    tests::Registered<tests::Tripwire> tripwire;
    TypeCatalogue types;
};

TEST_F(SettingTest, HasAKindForPeople) {
    EXPECT_EQ(KindOf(Get("strict")), "bool");
    EXPECT_EQ(KindOf(Get("side")), "text");
    EXPECT_EQ(KindOf(Get("limit")), "integer");
    EXPECT_EQ(KindOf(Get("count")), "integer");
    EXPECT_EQ(KindOf(Get("share")), "number");
    EXPECT_EQ(KindOf(Get("hold")), "milliseconds");
    EXPECT_EQ(KindOf(Get("zone")), "polygon");
    EXPECT_EQ(KindOf(*types.Find("qel.tests.Tripwire")->Find("wire")), "line");
    EXPECT_EQ(KindOf(*types.Find("qel.observable.And")->Find("inputb")), "rule");
}

TEST_F(SettingTest, SaysWhatIsAllowed) {
    EXPECT_EQ(AllowedFor(Get("strict")), "true or false");
    EXPECT_EQ(AllowedFor(Get("side")), "a text");
    EXPECT_EQ(AllowedFor(Get("limit")), "a whole number from 1 to 300");
    EXPECT_EQ(AllowedFor(Get("count")), "a whole number from 0 to 4294967295");
    EXPECT_EQ(AllowedFor(Get("share")), "a number from 0 to 1");
    EXPECT_EQ(AllowedFor(Get("anything")), "a number");
    EXPECT_EQ(AllowedFor(Get("hold")), "a whole number of milliseconds from -10 to 1000");
    EXPECT_EQ(AllowedFor(Get("zone")), "the name or id of a zone with a polygon");
    EXPECT_EQ(AllowedFor(*types.Find("qel.tests.Tripwire")->Find("wire")), "the name or id of a zone with a line");
    EXPECT_EQ(AllowedFor(*types.Find("qel.tests.Tripwire")->Find("way")), "both, inward, outward");
    EXPECT_EQ(AllowedFor(*types.Find("qel.observable.Not")->Find("input")), "the name of a rule");
}

TEST_F(SettingTest, HasADefaultUnlessItNamesSomethingOrIsTheHosts) {
    EXPECT_EQ(DefaultOf(Get("strict")), false);
    EXPECT_EQ(DefaultOf(Get("side")), "left");
    EXPECT_EQ(DefaultOf(Get("limit")), 2);
    EXPECT_EQ(DefaultOf(Get("share")), 0.5);
    EXPECT_EQ(DefaultOf(Get("hold")), 200);
    EXPECT_EQ(DefaultOf(Get("zone")), nullptr);
    EXPECT_EQ(DefaultOf(Get("channel")), nullptr);
    EXPECT_EQ(DefaultOf(Get("name")), nullptr);
    EXPECT_EQ(DefaultOf(*types.Find("qel.observable.Not")->Find("input")), nullptr);
}

TEST_F(SettingTest, HasARangeWhereThereIsOne) {
    auto const range = RangeOf(Get("hold"));
    ASSERT_TRUE(range);
    EXPECT_EQ(range->minimum, -10);
    EXPECT_EQ(range->maximum, 1000);
    EXPECT_TRUE(RangeOf(Get("share")));
    EXPECT_FALSE(RangeOf(Get("anything")));
    EXPECT_FALSE(RangeOf(Get("strict")));
    EXPECT_FALSE(RangeOf(Get("side")));
    EXPECT_FALSE(RangeOf(Get("zone")));
}

TEST_F(SettingTest, IsPlainTextForPeople) {
    EXPECT_EQ(PlainText(360.0), "360");
    EXPECT_EQ(PlainText(0.1), "0.1");
    EXPECT_EQ(PlainText(-3), "-3");
    EXPECT_EQ(PlainText("x"), "\"x\"");
    EXPECT_EQ(PlainText(true), "true");
}

TEST_F(SettingTest, TakesValuesOfItsOwnTypeOnly) {
    struct Case {
        char const* setting;
        std::vector<char const*> taken;
        std::vector<char const*> refused;
    };
    for (auto const& [setting, taken, refused] : {
             Case{"strict", {"true", "false"}, {"0", "1", "\"true\"", "null", "[]", "{}"}},
             Case{"side", {"\"left\"", "\"\""}, {"1", "true", "null", "[\"left\"]"}},
             Case{"limit", {"0", "65535", "-0"}, {"65536", "-1", "1.0", "1e2", "\"1\"", "true", "null"}},
             Case{"count", {"0", "4294967295"}, {"4294967296", "-1", "0.5", "\"1\"", "18446744073709551616"}},
             Case{"share", {"0", "1", "0.25", "-7", "1e300", "18446744073709551616"}, {"\"0.5\"", "true", "null"}},
             Case{"hold",
                  {"0", "-9223372036854775807", "9223372036854775807"},
                  {"9223372036854775808", "-9223372036854775808", "1.5", "\"5s\""}},
         }) {
        for (char const* const value : taken) {
            EXPECT_NE(Make(setting, value), nullptr) << setting << " " << value;
        }
        for (char const* const value : refused) {
            EXPECT_EQ(Make(setting, value), nullptr) << setting << " " << value;
        }
    }
}

TEST_F(SettingTest, MakesObjectsOfItsOwnType) {
    EXPECT_EQ(Make("strict", "true")->As<object::Bool>().Get(), true);
    EXPECT_EQ(Make("side", "\"right\"")->As<object::String>().Get(), "right");
    EXPECT_EQ(Make("limit", "300")->As<object::UInt16>().Get(), 300);
    EXPECT_EQ(Make("count", "4294967295")->As<object::UInt32>().Get(), 4294967295u);
    EXPECT_EQ(Make("share", "1")->As<object::Double>().Get(), 1.0);
    EXPECT_EQ(Make("share", "0.25")->As<object::Double>().Get(), 0.25);
    EXPECT_EQ(Make("hold", "-5")->As<object::Milliseconds>().Get(), milliseconds(-5));
}

TEST_F(SettingTest, TakesNumbersOfTheHostWhereTheyFit) {
    EXPECT_EQ(MakeObject(Get("zone").schema, 0xFFFFFFFEu)->As<object::UInt32>().Get(), 0xFFFFFFFEu);
    EXPECT_EQ(MakeObject(Get("channel").schema, 65535u)->As<object::UInt16>().Get(), 65535);
    EXPECT_EQ(MakeObject(Get("channel").schema, 65536u), nullptr);
    EXPECT_EQ(MakeObject(Get("side").schema, 1u), nullptr);
}

}  // namespace
}  // namespace qel::host
