// The loading of plug-ins, with each of its allocations failing in turn.

#include <dlfcn.h>

#include <map>
#include <string>

#include <gtest/gtest.h>

#include "foundation/system/plugin.hpp"
#include "observable/observable.hpp"
#include "tests/support/allocation_counter.hpp"
#include "tests/support/temporary_directory.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

std::map<std::string, char const*> const Plugins{{"qel.tests.plugin.One", ONE}, {"qel.tests.plugin.Two", TWO}};

bool IsRegistered(std::string const& type) {
    return observable::Observable::TypeName(hash::MurmurThree32::MakeData(type.c_str())) != nullptr;
}

bool IsLoaded(char const* file) {
    void* const library = dlopen(file, RTLD_NOW | RTLD_NOLOAD);
    return library != nullptr && dlclose(library) == 0;
}

TEST(PluginAllocationFailuresTest, LeaveNoPluginWithoutItsType) {
    TemporaryDirectory const directory;
    boost::filesystem::create_symlink(ONE, directory / "libqel_observable_one.so");
    boost::filesystem::create_symlink(TWO, directory / "libqel_observable_two.so");
    std::size_t before = 0;
    auto const load = [&] { system::plugin::LoadAll("qel_observable_", {directory.GetPath()}); };
    // Sorting gets by without memory, so one refusal would not be noticed there.
    for (; FailsForLackOfMemory<NoMoreMemory>(before, load); ++before) {
        for (auto const& [type, file] : Plugins) {
            EXPECT_EQ(IsRegistered(type), IsLoaded(file)) << type << ", behind " << before << " allocations";
            // The dynamic linker goes on.
            EXPECT_EQ(OnAnotherThread([file = file] { return IsLoaded(file); }), IsLoaded(file));
        }
    }
    EXPECT_GT(before, 20u);
    for (auto const& [type, file] : Plugins) {
        EXPECT_TRUE(IsRegistered(type) && IsLoaded(file)) << type;
    }
}

TEST(PluginAllocationFailuresTest, LeaveTheTypesThatOthersRegisteredFirst) {
    void* const one = dlopen(ONE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(one, nullptr) << dlerror();
    TemporaryDirectory const directory;
    boost::filesystem::create_symlink(ONE_AND_THREE, directory / "libqel_observable_one_and_three.so");
    std::size_t before = 0;
    auto const load = [&] { system::plugin::LoadAll("qel_observable_", {directory.GetPath()}); };
    for (; FailsForLackOfMemory<NoMoreMemory>(before, load); ++before) {
        EXPECT_TRUE(IsRegistered("qel.tests.plugin.One")) << "behind " << before << " allocations";
        EXPECT_FALSE(IsRegistered("qel.tests.plugin.Three")) << "behind " << before << " allocations";
        EXPECT_FALSE(IsLoaded(ONE_AND_THREE)) << "behind " << before << " allocations";
    }
    EXPECT_GT(before, 10u);
    EXPECT_TRUE(IsRegistered("qel.tests.plugin.One"));
    EXPECT_TRUE(IsRegistered("qel.tests.plugin.Three"));
    dlclose(one);
}

}  // namespace
}  // namespace qel::tests
