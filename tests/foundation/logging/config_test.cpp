#include "foundation/logging/config.hpp"

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "foundation/logging/logger.hpp"
#include "tests/support/threads.hpp"

namespace qel::tests {
namespace {

using logging::Level;
using logging::Logger;
using logging::Name;
using logging::SetFilter;
using logging::SetSink;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::ThrowsMessage;

Logger const logger("qel.tests.Config");

/// Does something when it is destroyed.
class AtEnd {
public:
    explicit AtEnd(std::function<void()> action) : action(std::move(action)) {}
    ~AtEnd() { action(); }
    AtEnd(AtEnd const&) = delete;
    AtEnd& operator=(AtEnd const&) = delete;

private:
    std::function<void()> action;
};

class ConfigTest : public testing::Test {
protected:
    ~ConfigTest() override {
        SetFilter({});
        SetSink({});
    }

    std::function<void(std::string const&, bool)> CollectIn(std::vector<std::string>& lines) {
        return [&lines](std::string const& line, bool) { lines.push_back(line); };
    }

    static bool AcceptAll(Name const&, Level) { return true; }

    std::vector<std::string> lines;
};

TEST_F(ConfigTest, WantsImportantMessagesOnlyByDefault) {
    for (unsigned int const level : {1u, 4u, 8u, 15u}) {
        EXPECT_FALSE(logger.Filter(logger.GetName(), static_cast<Level>(level))) << level;
    }
    for (unsigned int const level : {16u, 17u, 64u}) {
        EXPECT_TRUE(logger.Filter(logger.GetName(), static_cast<Level>(level))) << level;
    }
}

TEST_F(ConfigTest, WritesToStandardErrorByDefault) {
    testing::internal::CaptureStderr();
    logger.Log(Level::Info, "not wanted");
    logger.Log(Level::Error, "braces {} %0%", "{1}");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), MatchesRegex("\\[[-0-9]+ [0-9:.]+\\] \\[error\\] "
                                                                     "braces \\{\\} \\{1\\}\n"));
}

TEST_F(ConfigTest, WritesUnimportantLinesToStandardErrorWhenTheyAreWanted) {
    SetFilter(AcceptAll);
    testing::internal::CaptureStderr();
    logger.Log(Level::Info, "text");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), MatchesRegex("\\[[-0-9]+ [0-9:.]+\\] \\[info\\] text\n"));
}

TEST_F(ConfigTest, ReplacesTheSinkAndRestoresIt) {
    SetSink(CollectIn(lines));
    testing::internal::CaptureStderr();
    logger.Log(Level::Error, "first");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(lines, ElementsAre("first"));

    SetSink({});
    testing::internal::CaptureStderr();
    logger.Log(Level::Error, "second");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::EndsWith("second\n"));
    EXPECT_THAT(lines, ElementsAre("first"));
}

TEST_F(ConfigTest, ReplacesTheFilterAndRestoresIt) {
    SetSink(CollectIn(lines));
    SetFilter([](Name const&, Level level) { return level == Level::Debug; });
    logger.Log(Level::Debug, "debug");
    logger.Log(Level::Error, "error");
    EXPECT_THAT(lines, ElementsAre("debug"));

    SetFilter(nullptr);
    logger.Log(Level::Debug, "debug");
    logger.Log(Level::Error, "error");
    EXPECT_THAT(lines, ElementsAre("debug", "error"));
}

TEST_F(ConfigTest, LogsOnAfterTheSinkHasThrown) {
    SetSink([](std::string const&, bool) { throw std::runtime_error("full"); });
    EXPECT_THAT([] { logger.Log(Level::Error, "first"); }, ThrowsMessage<std::runtime_error>("full"));
    EXPECT_THAT([] { logger.Log(Level::Error, "second"); }, ThrowsMessage<std::runtime_error>("full"));
    SetSink(CollectIn(lines));
    logger.Log(Level::Error, "third");
    EXPECT_THAT(lines, ElementsAre("third"));
}

TEST_F(ConfigTest, MayBeCalledFromInsideTheSink) {
    auto const held = std::make_shared<int>(7);
    SetSink([this, held](std::string const& line, bool) {
        SetSink(CollectIn(lines));
        SetFilter(AcceptAll);
        // This function is not destroyed under its own call.
        lines.push_back(line + " " + std::to_string(*held));
        logger.Log(Level::Trace, "from inside");
    });
    logger.Log(Level::Error, "first");
    logger.Log(Level::Trace, "second");
    EXPECT_THAT(lines, ElementsAre("first 7", "from inside", "second"));
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(ConfigTest, MayBeCalledFromInsideTheFilter) {
    SetFilter([this, answer = std::make_shared<bool>(true)](Name const&, Level) {
        SetSink(CollectIn(lines));
        SetFilter({});
        return *answer;
    });
    logger.Log(Level::Trace, "first");
    logger.Log(Level::Trace, "second");
    EXPECT_THAT(lines, ElementsAre("first"));
}

TEST_F(ConfigTest, MayBeCalledWhenAFunctionIsDestroyed) {
    SetFilter(AcceptAll);
    SetSink([atEnd = std::make_shared<AtEnd>([this] { SetSink(CollectIn(lines)); })](std::string const&, bool) {});
    SetSink([](std::string const&, bool) {});
    logger.Log(Level::Trace, "text");
    EXPECT_THAT(lines, ElementsAre("text"));
}

TEST_F(ConfigTest, DropsAReplacedFunctionAtOnce) {
    bool dropped = false;
    SetFilter([atEnd = std::make_shared<AtEnd>([&] { dropped = true; })](Name const&, Level) { return true; });
    EXPECT_FALSE(dropped);
    SetFilter({});
    EXPECT_TRUE(dropped);
}

TEST_F(ConfigTest, MayBeCalledWhileOtherThreadsLog) {
    constexpr int Threads = 4;
    constexpr int Rounds = 500;
    std::atomic<int> odd = 0;
    std::atomic<int> even = 0;
    SetSink([&](std::string const&, bool) { ++even; });
    RunTogether(Threads, [&](int index) {
        for (int round = 0; round < Rounds; ++round) {
            if (index == 0) {
                SetFilter(round % 2 == 0 ? AcceptAll : std::function<bool(Name const&, Level)>());
                round % 2 == 0 ? SetSink([&](std::string const&, bool) { ++even; })
                               : SetSink([&](std::string const&, bool) { ++odd; });
            } else {
                logger.Log(Level::Error, "%0%", round);  // wanted by either filter
            }
        }
    });
    EXPECT_EQ(odd + even, (Threads - 1) * Rounds);
}

TEST(ConfigDeathTest, LogsUntilTheEndOfTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Outlives all that is made after it.
            static AtEnd const atEnd([] { logger.Log(Level::Error, "the last words"); });
            SetFilter([](Name const&, Level) { return true; });
            logger.Log(Level::Error, "the first words");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "the first words\n.*the last words\n");
}

}  // namespace
}  // namespace qel::tests
