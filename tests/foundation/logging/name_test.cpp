#include "foundation/logging/name.hpp"

#include <string>

#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using logging::Name;

TEST(NameTest, GivesTheTextItWasMadeFrom) {
    EXPECT_EQ(Name("qel.observable.Graph").GetText(), "qel.observable.Graph");
    EXPECT_EQ(Name("").GetText(), "");
}

TEST(NameTest, IsEqualByText) {
    std::string const text = "qel.observable.Graph";
    EXPECT_EQ(Name("qel.observable.Graph"), Name(text.c_str()));
    EXPECT_NE(Name("qel.observable.Graph"), Name("qel.observable.graph"));
    EXPECT_NE(Name("qel.observable.Graph"), Name("qel.observable.Graphs"));
}

}  // namespace
}  // namespace qel::tests
