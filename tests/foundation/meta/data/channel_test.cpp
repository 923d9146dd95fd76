#include "foundation/meta/data/channel.hpp"

#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace qel::tests {
namespace {

using meta::data::Channel;

std::string const LongName = "the camera that looks down on the northern gate";

TEST(ChannelTest, IsTypedAsAChannel) {
    Channel const channel(1, "camera");
    EXPECT_TRUE(channel.Is<Channel>());
    EXPECT_EQ(channel.GetTypeNameId(), hash::MurmurThree32::MakeData("qel.meta.data.Channel"));
    EXPECT_STREQ(Channel::ClassTypeName, "qel.meta.data.Channel");
}

TEST(ChannelTest, HasAnIdAndAName) {
    Channel const channel(70000, "camera");
    EXPECT_EQ(channel.GetId(), 70000u);
    EXPECT_EQ(channel.GetName(), "camera");
}

TEST(ChannelTest, IsCopied) {
    Channel const channel(1, LongName);
    Channel const copy(channel);
    EXPECT_EQ(copy.GetId(), 1u);
    EXPECT_EQ(copy.GetName(), LongName);
    EXPECT_EQ(channel.GetName(), LongName);
}

TEST(ChannelTest, IsMovedWithItsText) {
    Channel channel(1, LongName);
    char const* const text = channel.GetName().data();
    Channel const moved(std::move(channel));
    EXPECT_TRUE(moved.Is<Channel>());
    EXPECT_EQ(moved.GetId(), 1u);
    EXPECT_EQ(moved.GetName(), LongName);
    EXPECT_EQ(moved.GetName().data(), text);
}

TEST(ChannelTest, IsCloned) {
    Channel const channel(1, LongName);
    std::shared_ptr<object::Object> const clone = channel.Clone();
    EXPECT_NE(clone.get(), &channel);
    EXPECT_EQ(clone->As<Channel>().GetId(), 1u);
    EXPECT_EQ(clone->As<Channel>().GetName(), LongName);
}

}  // namespace
}  // namespace qel::tests
