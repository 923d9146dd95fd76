#include "observable/registry/info.hpp"

#include <functional>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "observable/properties/make.hpp"
#include "tests/support/scripted.hpp"

namespace qel::observable::registry {
namespace {

using hash::MurmurThree32;

char const* const name = "qel.tests.Scripted";

std::shared_ptr<Observable> MakeScripted() { return std::make_shared<tests::Scripted>(); }
std::vector<property::Schema> NoSchemas() { return {}; }

TEST(RegistryInfo, KeepsWhatItIsMadeOf) {
    Info const info(MurmurThree32::MakeData(name), name, MakeScripted, NoSchemas);
    EXPECT_EQ(info.GetTypeNameId(), MurmurThree32::MakeData(name));
    EXPECT_EQ(&info.GetTypeNameId(), &info.GetTypeNameId()) << "a reference";
    EXPECT_EQ(info.GetTypeName(), name) << "the very text, not a copy";
    EXPECT_EQ(&info.GetMake(), &info.GetMake()) << "a reference";
    EXPECT_EQ(info.GetMake()()->GetName(), "scripted");
}

TEST(RegistryInfo, CallsTheSchemaFunctionEachTimeItIsAsked) {
    int calls = 0;
    Info const info(MurmurThree32::MakeData(name), name, MakeScripted, [&] {
        ++calls;
        return properties::Make({}, true);
    });
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(info.GetSchemas().size(), 2u);
    EXPECT_EQ(info.GetSchemas().size(), 2u);
    EXPECT_EQ(calls, 2);
}

TEST(RegistryInfo, HasNoSchemasWithoutASchemaFunction) {
    Info const info(MurmurThree32::MakeData(name), name, MakeScripted, nullptr);
    EXPECT_THROW(info.GetSchemas(), std::bad_function_call);
}

TEST(RegistryInfo, MayHaveNoFactory) {
    Info const info(MurmurThree32::MakeData(name), name, nullptr, NoSchemas);
    EXPECT_FALSE(info.GetMake());
}

TEST(RegistryInfo, TakesTheFunctionsWithoutCopyingThem) {
    auto const kept = std::make_shared<int>(0);
    Info::Make make = [kept] { return nullptr; };
    Info::Schemas schemas = [kept] { return NoSchemas(); };
    Info const info(MurmurThree32::MakeData(name), name, std::move(make), std::move(schemas));
    EXPECT_EQ(kept.use_count(), 3);
}

TEST(RegistryInfo, PassesOnWhatTheSchemaFunctionThrows) {
    Info const info(MurmurThree32::MakeData(name), name, MakeScripted,
                    []() -> std::vector<property::Schema> { throw std::runtime_error("no settings today"); });
    EXPECT_THAT([&] { info.GetSchemas(); }, testing::ThrowsMessage<std::runtime_error>("no settings today"));
}

}  // namespace
}  // namespace qel::observable::registry
