#include "host/rules/type_catalogue.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/failure.hpp"
#include "observable/registry/info.hpp"
#include "tests/host/support/types.hpp"
#include "tests/support/registered.hpp"
#include "tests/support/temporary_directory.hpp"

namespace qel::host {
namespace {

using testing::IsSupersetOf;
using Role = Setting::Role;

std::vector<std::string> NamesOf(TypeCatalogue const& types) {
    std::vector<std::string> names;
    for (auto const& type : types.GetTypes()) {
        names.push_back(type.name);
    }
    return names;
}

TEST(TypeCatalogueTest, HasTheRegisteredTypesByName) {
    tests::Registered<tests::Watcher> const watcher;
    auto const names = NamesOf(TypeCatalogue());
    EXPECT_THAT(names, IsSupersetOf({"qel.observable.And", "qel.observable.Not", "qel.observable.Or",
                                     "qel.observable.Previous", "qel.tests.Watcher"}));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST(TypeCatalogueTest, KnowsWhatASettingNames) {
    tests::Registered<tests::Watcher> const watcher;
    tests::Registered<tests::Tripwire> const tripwire;
    TypeCatalogue const types;
    auto const role = [&](char const* type, char const* setting) { return types.Find(type)->Find(setting)->role; };
    EXPECT_EQ(role("qel.observable.And", "inputa"), Role::Rule);
    EXPECT_EQ(role("qel.observable.And", "inputb"), Role::Rule);
    EXPECT_EQ(role("qel.observable.And", "channel"), Role::Channel);
    EXPECT_EQ(role("qel.observable.And", "name"), Role::Name);
    EXPECT_EQ(role("qel.observable.And", "constrain_target"), Role::Value);
    EXPECT_EQ(role("qel.observable.And", "triggers_action"), Role::Value);
    EXPECT_EQ(role("qel.tests.Watcher", "zone"), Role::Zone);
    EXPECT_EQ(role("qel.tests.Watcher", "count"), Role::Value);
    EXPECT_EQ(types.Find("qel.tests.Watcher")->Find("zone")->shape, meta::data::Zone::Shape::Polygon);
    EXPECT_EQ(types.Find("qel.tests.Tripwire")->Find("wire")->shape, meta::data::Zone::Shape::Line);
    EXPECT_EQ(types.Find("qel.tests.Watcher")->Find("wire"), nullptr);
}

TEST(TypeCatalogueTest, MakesInstances) {
    TypeCatalogue const types;
    EXPECT_STREQ(types.Find("qel.observable.Or")->Make()->GetTypeName(), "qel.observable.Or");
    EXPECT_EQ(types.Find("qel.observable.or"), nullptr);
}

TEST(TypeCatalogueTest, FindsTheTypeThatWasMeant) {
    TypeCatalogue const types;
    EXPECT_EQ(types.FindNearest("qel.observable.Adn"), "qel.observable.And");
    EXPECT_EQ(types.FindNearest("And"), "qel.observable.And");
    EXPECT_EQ(types.FindNearest("other.family.Previous"), "qel.observable.Previous");
    EXPECT_EQ(types.FindNearest("Xor"), "");
    EXPECT_EQ(types.FindNearest(""), "");
}

TEST(TypeCatalogueTest, KeepsATypeThatCannotBeUsedWithTheReason) {
    auto const entry = [](char const* name, auto make) {
        return observable::registry::Info(hash::MurmurThree32::MakeData(name), name, make,
                                          [] { return std::vector<property::Schema>(); });
    };
    tests::RegisteredInfo const nothing(
        entry("qel.tests.Nothing", [] { return std::shared_ptr<observable::Observable>(); }));
    tests::RegisteredInfo const throwing(entry("qel.tests.Throwing", []() -> std::shared_ptr<observable::Observable> {
        throw std::runtime_error("no licence");
    }));
    TypeCatalogue const types;
    EXPECT_EQ(types.Find("qel.tests.Nothing")->defect, "its factory makes nothing");
    EXPECT_EQ(types.Find("qel.tests.Throwing")->defect, "no licence");
    EXPECT_EQ(types.Find("qel.observable.And")->defect, "");
}

TEST(TypeCatalogueTest, RefusesADirectoryThatCannotBeRead) {
    tests::TemporaryDirectory const directory;
    auto const missing = (directory / "missing").string();
    try {
        TypeCatalogue::LoadPlugins(missing);
        FAIL();
    } catch (CommandLineError const& error) {
        EXPECT_EQ(error.what(), "--plugins: " + missing + ": cannot be read: No such file or directory");
    }
}

}  // namespace
}  // namespace qel::host
