#include "host/rules/evaluation.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "foundation/meta/views.hpp"
#include "tests/host/support/types.hpp"
#include "tests/support/frames.hpp"
#include "tests/support/registered.hpp"

namespace qel::host {
namespace {

using testing::ElementsAre;

class Lines : public EventWriter {
public:
    void Write(EventChange const& change) override {
        std::string channelName = "none";
        for (auto const& channel : meta::ItemsOf<meta::data::Channel>(change.event)) {
            channelName = channel.GetName();
        }
        written.push_back(
            fmt::format("{} {} on {} {}", NameOf(change.phase), change.rule, change.channel, channelName));
    }
    std::vector<std::string> written;
};

class EvaluationTest : public testing::Test {
protected:
    EvaluationTest()
        : file(ReadRules("rules", R"({"zones": [{"id": 1, "polygon": [[0, 0], [1, 0], [1, 1]]}],
                                      "rules": [{"name": "watch", "type": "qel.tests.Watcher", "zone": 1}]})",
                         types)
                   .file) {}

    void See(std::int64_t time, std::uint16_t channel, std::string const& name, std::vector<unsigned int> const& ids) {
        Frame frame;
        frame.time = tests::At(time);
        frame.channel = channel;
        frame.channelName = name;
        for (auto const id : ids) {
            frame.objects.push_back(tests::Person(id));
        }
        evaluation.Process(frame);
    }

    tests::Registered<tests::Watcher> watcher;
    TypeCatalogue types;
    RuleFile file;
    Lines lines;
    EventLog log{lines, false};
    Evaluation evaluation{file, log};
};

TEST_F(EvaluationTest, RunsEveryChannelByItself) {
    See(0, 1, "one", {7});
    See(0, 2, "two", {7});
    See(40, 1, "one", {});
    See(40, 2, "two", {7});
    EXPECT_THAT(lines.written, ElementsAre("start watch on 1 one", "start watch on 2 two", "end watch on 1 one"));
}

TEST_F(EvaluationTest, GivesFramesTheChannelAsItIsCalledNow) {
    See(0, 0, "", {7});
    See(40, 0, "renamed", {7, 8});
    EXPECT_THAT(lines.written, ElementsAre("start watch on 0 ", "start watch on 0 renamed"));
}

TEST_F(EvaluationTest, CountsFramesAndChannels) {
    See(0, 1, "", {});
    See(0, 2, "", {});
    See(40, 1, "", {});
    EXPECT_EQ(evaluation.GetCounts().frames, 3u);
    EXPECT_EQ(evaluation.GetCounts().channels, 2u);
}

TEST_F(EvaluationTest, CountsTimesThatRepeatOrRunBackwardsOnTheirChannel) {
    for (std::int64_t const time : {100, 140, 140, 120, 130, 140, 180}) {
        See(time, 1, "", {});
    }
    See(50, 2, "", {});
    EXPECT_EQ(evaluation.GetCounts().repeated, 2u);
    EXPECT_EQ(evaluation.GetCounts().backwards, 2u);
}

TEST_F(EvaluationTest, AddsUpTheTimeThatPassesOnTheChannels) {
    See(1000, 1, "", {});
    EXPECT_EQ(evaluation.GetCounts().seconds, 0.0);
    See(3000, 1, "", {});
    See(0, 2, "", {});
    See(500, 2, "", {});
    See(2000, 1, "", {});
    EXPECT_DOUBLE_EQ(evaluation.GetCounts().seconds, 2.5);
    See(0, 1, "", {});
    EXPECT_DOUBLE_EQ(evaluation.GetCounts().seconds, 3.5);
}

TEST_F(EvaluationTest, TakesTheEarliestAndTheLatestTime) {
    Frame frame;
    frame.time = meta::Timestamp::min();
    evaluation.Process(frame);
    frame.time = meta::Timestamp::max();
    evaluation.Process(frame);
    EXPECT_NEAR(evaluation.GetCounts().seconds, 1.8446744e10, 1e4);
}

}  // namespace
}  // namespace qel::host
