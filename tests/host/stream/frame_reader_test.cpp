#include "host/stream/frame_reader.hpp"

#include <gtest/gtest.h>

namespace qel::host {
namespace {

TEST(UniqueIdsTest, NoticesAnIdThatIsThereAlreadyInAnyOrder) {
    UniqueIds ids;
    EXPECT_TRUE(ids.Insert(5));
    EXPECT_TRUE(ids.Insert(9));
    EXPECT_TRUE(ids.Insert(7));
    EXPECT_TRUE(ids.Insert(0));
    EXPECT_TRUE(ids.Insert(0xFFFFFFFF));
    for (unsigned int const id : {0u, 5u, 7u, 9u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(ids.Insert(id)) << id;
    }
}

TEST(UniqueIdsTest, NoticesAnIdAgainThatIsNowTheHighestInARow) {
    UniqueIds ids;
    EXPECT_TRUE(ids.Insert(9));
    ids.Clear();
    EXPECT_TRUE(ids.Insert(3));
    EXPECT_TRUE(ids.Insert(2));
    EXPECT_TRUE(ids.Insert(5));
    EXPECT_FALSE(ids.Insert(2));
    EXPECT_FALSE(ids.Insert(5));
    EXPECT_FALSE(ids.Insert(3));
}

TEST(UniqueIdsTest, ForgetsThemForTheNextFrame) {
    UniqueIds ids;
    EXPECT_TRUE(ids.Insert(5));
    ids.Clear();
    EXPECT_TRUE(ids.Insert(5));
}

}  // namespace
}  // namespace qel::host
